// Big-endian fields appended to a growing buffer.
#ifndef TROX_WRITER_BYTE_BUFFER_H
#define TROX_WRITER_BYTE_BUFFER_H

#include "detail/big_endian.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <vector>

namespace trox::writer
{

class byte_buffer
{
public:
    template <class Value> void put(Value value)
    {
        static_assert(std::is_integral_v<Value>);
        const Value stored = trox_detail::big_endian(value);
        put_bytes(&stored, sizeof stored);
    }
    void put_bytes(const void* data, std::size_t size)
    {
        if (size == 0) {
            return;
        }
        const auto* first = static_cast<const unsigned char*>(data);
        bytes_.insert(bytes_.end(), first, first + size);
    }
    /// Text in a field of `width` bytes: cut to leave one NUL, padded with NULs.
    void put_text(std::string_view text, std::size_t width)
    {
        const auto kept = text.substr(0, width - 1);
        put_bytes(kept.data(), kept.size());
        put_zeros(width - kept.size());
    }
    void put_zeros(std::size_t count)
    {
        bytes_.insert(bytes_.end(), count, static_cast<unsigned char>(0));
    }
    void clear() noexcept
    {
        bytes_.clear();
    }
    const unsigned char* data() const noexcept
    {
        return bytes_.data();
    }
    std::size_t size() const noexcept
    {
        return bytes_.size();
    }

private:
    std::vector<unsigned char> bytes_;
};

} // namespace trox::writer

#endif
