#include "text.h"

#include "trox/basics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cwchar>
#include <fmt/format.h>
#include <utility>

namespace trox_cli
{
namespace
{

constexpr char32_t replacement = 0xFFFD;

/// Length of a sequence by its first byte; 0 for a byte that begins none.
std::size_t sequence_length(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool is_scalar_value(char32_t code_point, std::size_t length)
{
    constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
    return code_point >= least[length] && code_point <= 0x10FFFF && (code_point < 0xD800 || code_point > 0xDFFF);
}

std::size_t width_of(char32_t code_point)
{
    const int width = ::wcwidth(static_cast<wchar_t>(code_point));
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

template <class Real> std::string shortest(Real value)
{
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-inf" : "inf";
    }
    std::array<char, 64> digits{};
    const auto [end, failure] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), end};
}

/// Splits "1.5ms" into its number and its unit; none when it does not begin with a number.
std::optional<std::pair<double, std::string_view>> number_and_unit(std::string_view text)
{
    double number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || !std::isfinite(number)) {
        return std::nullopt;
    }
    return std::pair(number, text.substr(static_cast<std::size_t>(end - text.data())));
}

} // namespace

char32_t take_code_point(std::string_view& text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t length = sequence_length(byte(0));
    constexpr std::array<unsigned, 5> first_bits{0, 0x7F, 0x1F, 0x0F, 0x07};
    char32_t code_point = byte(0) & first_bits[length];
    bool is_good = length != 0 && length <= text.size();
    for (std::size_t i = 1; is_good && i < length; ++i) {
        is_good = (byte(i) & 0xC0U) == 0x80U;
        code_point = (code_point << 6U) | (byte(i) & 0x3FU);
    }
    is_good = is_good && is_scalar_value(code_point, length);
    text.remove_prefix(is_good ? length : 1);
    return is_good ? code_point : replacement;
}

void append_utf8(std::string& text, char32_t code_point)
{
    const auto add = [&](char32_t byte) { text.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (code_point < 0x80) {
        add(code_point);
        return;
    }
    if (code_point < 0x800) {
        add(0xC0U | (code_point >> 6U));
    } else if (code_point < 0x10000) {
        add(0xE0U | (code_point >> 12U));
        add(0x80U | ((code_point >> 6U) & 0x3FU));
    } else {
        add(0xF0U | (code_point >> 18U));
        add(0x80U | ((code_point >> 12U) & 0x3FU));
        add(0x80U | ((code_point >> 6U) & 0x3FU));
    }
    add(0x80U | (code_point & 0x3FU));
}

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        char32_t code_point = take_code_point(text);
        if (code_point == '\n' || code_point == '\t' || code_point == '\r') {
            code_point = ' ';
        } else if (code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0)) {
            code_point = replacement;
        }
        append_utf8(result, code_point);
    }
    return result;
}

std::string valid_utf8(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        append_utf8(result, take_code_point(text));
    }
    return result;
}

std::size_t display_width(std::string_view text)
{
    std::size_t width = 0;
    while (!text.empty()) {
        width += width_of(take_code_point(text));
    }
    return width;
}

std::string fit_width(std::string_view text, std::size_t width)
{
    if (display_width(text) <= width) {
        return std::string(text);
    }
    std::string result;
    for (std::size_t used = 0; !text.empty();) {
        const char32_t code_point = take_code_point(text);
        used += width_of(code_point);
        if (used + 1 > width) {
            break;
        }
        append_utf8(result, code_point);
    }
    return width == 0 ? result : result + "…";
}

std::vector<std::string> wrap(std::string_view text, std::size_t width)
{
    std::vector<std::string> lines;
    std::string line;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && display_width(line) + 1 + display_width(word) > width) {
            lines.push_back(std::exchange(line, {}));
        }
        line += line.empty() ? "" : " ";
        line += word;
    }
    if (!line.empty() || lines.empty()) {
        lines.push_back(line);
    }
    return lines;
}

std::string join(const std::vector<std::string>& words, std::string_view between)
{
    return fmt::format("{}", fmt::join(words, between));
}

std::vector<std::string> similar_words(std::string_view word, const std::vector<std::string>& words, std::size_t most)
{
    std::vector<std::pair<std::size_t, std::string>> found;
    for (const auto& candidate : words) {
        const bool is_beginning = !word.empty() && candidate.starts_with(word);
        const std::size_t distance = is_beginning ? 1 : trox::edit_distance(word, candidate);
        if (distance <= std::max<std::size_t>(1, candidate.size() / 3)) {
            found.emplace_back(distance, candidate);
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> result;
    for (std::size_t i = 0; i < std::min(found.size(), most); ++i) {
        result.push_back(found[i].second);
    }
    return result;
}

std::string did_you_mean(const std::vector<std::string>& words)
{
    if (words.empty()) {
        return {};
    }
    const std::vector<std::string> front(words.begin(), words.end() - 1);
    const std::string before = front.empty() ? "" : join(front, ", ") + " or ";
    return "did you mean " + before + words.back() + "?";
}

std::string bytes_text(std::uint64_t bytes)
{
    constexpr std::array units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024) {
        return fmt::format("{} B", bytes);
    }
    double value = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; value >= 1023.95 && unit + 1 < units.size(); ++unit) {
        value /= 1024;
    }
    return fmt::format("{:.1f} {}", value, units[unit]);
}

std::string duration_text(std::chrono::microseconds duration)
{
    const std::int64_t us = duration.count();
    const double size = std::abs(static_cast<double>(us));
    if (size < 1000) {
        return fmt::format("{} us", us);
    }
    if (size < 1000000) {
        return fmt::format("{:.4g} ms", static_cast<double>(us) / 1e3);
    }
    constexpr double hour = 3600e6;
    constexpr double day = 24 * hour;
    if (size < 2 * hour) {
        return fmt::format("{:.4g} s", static_cast<double>(us) / 1e6);
    }
    return size < 2 * day ? fmt::format("{:.1f} h", static_cast<double>(us) / hour)
                          : fmt::format("{:.1f} d", static_cast<double>(us) / day);
}

std::string real_text(float value)
{
    return shortest(value);
}

std::string real_text(double value)
{
    return shortest(value);
}

std::optional<std::uint64_t> bytes_from_text(std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc()) {
        return std::nullopt;
    }
    std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    constexpr std::string_view letters = "KMGT";
    unsigned shift = 0;
    if (!unit.empty() && letters.find(unit.front()) != std::string_view::npos) {
        shift = 10U * (static_cast<unsigned>(letters.find(unit.front())) + 1);
        unit.remove_prefix(1);
        unit = unit == "iB" ? std::string_view("B") : unit;
    }
    if ((!unit.empty() && unit != "B") || number > (UINT64_MAX >> shift)) {
        return std::nullopt;
    }
    return number << shift;
}

std::optional<std::chrono::microseconds> duration_from_text(std::string_view text)
{
    constexpr std::array<std::pair<std::string_view, double>, 5> units{
        {{"us", 1}, {"ms", 1e3}, {"s", 1e6}, {"min", 60e6}, {"h", 3600e6}}};
    const auto parts = number_and_unit(text);
    for (const auto& [name, factor] : units) {
        constexpr double most = 9e18;
        if (parts && parts->second == name && std::abs(parts->first * factor) < most) {
            return std::chrono::microseconds(std::llround(parts->first * factor));
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> number_from_text(std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

} // namespace trox_cli
