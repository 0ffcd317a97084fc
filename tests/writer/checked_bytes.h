// The bytes of a data file as the checker takes them: numbers, texts and ranges by position, and what is wrong with
// them.
#ifndef TROX_TESTS_WRITER_CHECKED_BYTES_H
#define TROX_TESTS_WRITER_CHECKED_BYTES_H

#include "file_checker.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace writer_test
{

// What the generations differ in, typed from the format's description; positions within heads in bytes.
struct shape {
    std::uint64_t word, trailer, references, event, block, subhead, entry, name;
    std::uint64_t chname, server;
    std::uint32_t reference_pattern, event_pattern, trailer_pattern;
};
inline constexpr shape legacy_shape = {4, 4, 168, 36, 76, 44, 96, 80, 32, 48, 0xFAEFAEF1, 0xFFEEFFEE, 0};
inline constexpr shape shape_2010 = {4, 12, 168, 36, 284, 268, 272, 256, 256, 256, 0xFAEFAEF2, 0xFFEEFF10, 0x7A11F010};
inline constexpr shape shape_2024 = {8, 24, 336, 48, 304, 268, 272, 256, 256, 256, 0xFAEFAEF3, 0xFFEEFF24, 0x7A11F024};

/// Collects problems and ranges of a file while it is parsed. Reading outside the file throws std::runtime_error.
class checked_bytes
{
protected:
    explicit checked_bytes(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}

    void problem(const std::string& text)
    {
        constexpr std::size_t enough = 20;
        if (file_.problems.size() < enough) {
            file_.problems.push_back(text);
        }
    }
    template <class A, class B> void expect(const A& is, const B& should, const std::string& what)
    {
        const auto a = static_cast<std::uint64_t>(is);
        const auto b = static_cast<std::uint64_t>(should);
        if (a != b) {
            problem(what + " is " + std::to_string(a) + ", not " + std::to_string(b));
        }
    }
    void require(std::uint64_t position, std::uint64_t length) const
    {
        if (position > bytes_.size() || length > bytes_.size() - position) {
            throw std::runtime_error("bytes outside the file: " + std::to_string(position) + " + " +
                                     std::to_string(length));
        }
    }
    std::uint64_t number(std::uint64_t position, std::uint64_t width) const
    {
        require(position, width);
        std::uint64_t value = 0;
        for (std::uint64_t i = 0; i < width; ++i) {
            value = value << 8 | bytes_[position + i];
        }
        return value;
    }
    std::uint32_t u32(std::uint64_t position) const
    {
        return static_cast<std::uint32_t>(number(position, 4));
    }
    std::int32_t i32(std::uint64_t position) const
    {
        return static_cast<std::int32_t>(u32(position));
    }
    std::uint64_t word(std::uint64_t position) const
    {
        return number(position, s_.word);
    }
    std::string text(std::uint64_t position, std::uint64_t width)
    {
        require(position, width);
        const auto* first = &bytes_[position];
        const auto* end = std::find(first, first + width, 0);
        if (std::any_of(end, first + width, [](unsigned char c) { return c != 0; })) {
            problem("a name field at " + std::to_string(position) + " is not padded with NULs");
        }
        return {first, end};
    }
    std::vector<unsigned char> part(std::uint64_t position, std::uint64_t length) const
    {
        require(position, length);
        const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(position);
        return {first, first + static_cast<std::ptrdiff_t>(length)};
    }
    void range(const std::string& name, std::uint64_t position, std::uint64_t length)
    {
        require(position, length);
        file_.ranges.push_back({name, position, length});
    }
    // Head of a table or basket: checks the pattern, returns the length.
    std::uint64_t table(const std::string& name, std::uint64_t position, std::uint32_t pattern)
    {
        if (position == 0) {
            throw std::runtime_error(name + " is absent");
        }
        expect(word(position), pattern, name + "'s pattern");
        const auto length = word(position + s_.word);
        range(name, position, length);
        return length;
    }

    std::vector<unsigned char> bytes_;
    shape s_{};
    checked_file file_;
};

} // namespace writer_test

#endif
