#include "npy.h"

#include "consumer.h"

#include <bit>
#include <charconv>
#include <string_view>

namespace trox_export
{
namespace
{

constexpr std::string_view magic{"\x93NUMPY\x01\x00", 8};
constexpr std::size_t head_alignment = 64;
constexpr char order = std::endian::native == std::endian::little ? '<' : '>';

std::string type_text(const npy_array& array)
{
    switch (array.type) {
    case element::u8:
        return "|u1";
    case element::u16:
        return order + std::string("u2");
    case element::u32:
        return order + std::string("u4");
    case element::u64:
        return order + std::string("u8");
    case element::i32:
        return order + std::string("i4");
    case element::f32:
        return order + std::string("f4");
    case element::f64:
        return order + std::string("f8");
    case element::time:
        return order + std::string("M8[us]");
    case element::text:
        return "|S" + std::to_string(array.text_size);
    }
    return {};
}

std::string shape_text(const npy_array& array)
{
    std::string text = "(" + std::to_string(array.rows) + ",";
    if (array.form == layout::matrix) {
        text += " " + std::to_string(array.shape[0]) + ",";
    }
    if (array.form != layout::scalar) {
        text += " " + std::to_string(array.shape[1]) + ",";
    }
    return text + ")";
}

/// Numbers of a tuple "(1, 2,)"; fewer than there are names when it holds something else.
std::size_t parse_tuple(std::string_view text, std::array<std::uint64_t, 3>& numbers)
{
    std::size_t count = 0;
    while (count < numbers.size()) {
        const std::size_t begin = text.find_first_not_of("( ,");
        if (begin == std::string_view::npos) {
            break;
        }
        text.remove_prefix(begin);
        const auto end = std::from_chars(text.data(), text.data() + text.size(), numbers[count]);
        if (end.ec != std::errc()) {
            break;
        }
        text.remove_prefix(static_cast<std::size_t>(end.ptr - text.data()));
        ++count;
    }
    return count;
}

/// What stands between two texts; empty without them.
std::string_view between(std::string_view text, std::string_view begin, std::string_view end)
{
    const std::size_t first = text.find(begin);
    if (first == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(first + begin.size());
    return text.substr(0, text.find(end));
}

} // namespace

std::size_t element_size(const npy_array& array) noexcept
{
    return array.type == element::text ? array.text_size : size_of(array.type);
}

std::size_t row_size(const npy_array& array) noexcept
{
    return array.shape[0] * array.shape[1] * element_size(array);
}

std::string npy_head(const npy_array& array)
{
    std::string text =
        "{'descr': '" + type_text(array) + "', 'fortran_order': False, 'shape': " + shape_text(array) + ", }";
    constexpr std::size_t length_size = 2;
    const std::size_t begin = magic.size() + length_size;
    const std::size_t used = begin + text.size() + 1;
    text.append((head_alignment - used % head_alignment) % head_alignment, ' ');
    text += '\n';
    std::string head(magic);
    head += static_cast<char>(text.size() & 0xFFU);
    head += static_cast<char>(text.size() >> 8U);
    return head + text;
}

void load_npy_head(const std::function<void(void*, std::size_t)>& read, npy_array& array)
{
    std::array<unsigned char, 10> start{};
    read(start.data(), start.size());
    if (std::string_view(reinterpret_cast<const char*>(start.data()), magic.size()) != magic) {
        throw difference("an array begins otherwise than arrays do");
    }
    std::string text(start[8] | static_cast<std::size_t>(start[9]) << 8U, '\0');
    read(text.data(), text.size());

    const std::string_view type = between(text, "'descr': '", "'");
    if (array.type == element::text && type.starts_with("|S")) {
        std::from_chars(type.data() + 2, type.data() + type.size(), array.text_size);
    }
    std::array<std::uint64_t, 3> numbers{};
    const std::size_t count = parse_tuple(between(text, "'shape': ", ")"), numbers);
    const std::size_t expected = array.form == layout::scalar ? 1 : array.form == layout::vector ? 2 : 3;
    if (type != type_text(array) || count != expected || text.find("'fortran_order': False") == std::string::npos) {
        throw difference("an array has another type or shape");
    }
    array.rows = numbers[0];
    array.shape = {expected == 3 ? numbers[1] : 1, expected == 1 ? 1 : numbers[expected - 1]};
}

} // namespace trox_export
