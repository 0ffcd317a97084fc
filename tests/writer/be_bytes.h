// Big-endian bytes typed by hand, for what a file must hold.
#ifndef TROX_TESTS_WRITER_BE_BYTES_H
#define TROX_TESTS_WRITER_BE_BYTES_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace writer_test
{

class be_bytes
{
public:
    be_bytes& u32(std::uint32_t value)
    {
        for (int shift = 24; shift >= 0; shift -= 8) {
            bytes_.push_back(static_cast<unsigned char>(value >> shift));
        }
        return *this;
    }
    be_bytes& u64(std::uint64_t value)
    {
        return u32(static_cast<std::uint32_t>(value >> 32)).u32(static_cast<std::uint32_t>(value));
    }
    be_bytes& i32(std::int32_t value)
    {
        return u32(static_cast<std::uint32_t>(value));
    }
    be_bytes& f32(float value)
    {
        std::uint32_t word = 0;
        std::memcpy(&word, &value, sizeof word);
        return u32(word);
    }
    be_bytes& text(const std::string& value, std::size_t width)
    {
        for (std::size_t i = 0; i < width; ++i) {
            bytes_.push_back(i < value.size() ? static_cast<unsigned char>(value[i]) : '\0');
        }
        return *this;
    }
    be_bytes& raw(const std::vector<unsigned char>& value)
    {
        bytes_.insert(bytes_.end(), value.begin(), value.end());
        return *this;
    }
    be_bytes& zeros(std::size_t count)
    {
        bytes_.insert(bytes_.end(), count, 0);
        return *this;
    }
    const std::vector<unsigned char>& bytes() const
    {
        return bytes_;
    }

private:
    std::vector<unsigned char> bytes_;
};

} // namespace writer_test

#endif
