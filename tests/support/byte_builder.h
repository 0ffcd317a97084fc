// Builds byte sequences for tests, big-endian as in a data file.
#ifndef TROX_TEST_BYTE_BUILDER_H
#define TROX_TEST_BYTE_BUILDER_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace trox_test
{

class byte_builder
{
public:
    /// Appends an integer of 1, 2, 4 or 8 bytes, most significant byte first.
    template <class Integer> byte_builder& integer(Integer value)
    {
        for (std::size_t i = sizeof value; i > 0; --i) {
            bytes_.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * (i - 1))));
        }
        return *this;
    }

    byte_builder& word(std::uint32_t value)
    {
        return integer(value);
    }

    byte_builder& real(float value)
    {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return integer(bits);
    }

    /// Appends text in a field of `width` bytes, the rest NULs.
    byte_builder& text(std::string_view value, std::size_t width)
    {
        const std::size_t begin = bytes_.size();
        bytes_.resize(begin + width);
        std::copy_n(value.begin(), std::min(width, value.size()), bytes_.begin() + static_cast<long>(begin));
        return *this;
    }

    byte_builder& raw(std::string_view value)
    {
        return text(value, value.size());
    }

    byte_builder& fill(std::size_t count, std::uint8_t value = 0)
    {
        bytes_.resize(bytes_.size() + count, value);
        return *this;
    }

    /// Overwrites an integer at a place that was written before.
    template <class Integer> byte_builder& patch(std::size_t position, Integer value)
    {
        for (std::size_t i = 0; i < sizeof value; ++i) {
            const auto shift = 8 * (sizeof value - 1 - i);
            bytes_.at(position + i) = static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> shift);
        }
        return *this;
    }

    std::size_t size() const
    {
        return bytes_.size();
    }

    const std::vector<std::uint8_t>& bytes() const
    {
        return bytes_;
    }

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace trox_test

#endif
