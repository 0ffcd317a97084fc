#include "catalogue_name.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <limits>

namespace trox_xml
{
namespace
{

constexpr std::string_view suffix = ".xml";
constexpr std::string_view run_prefix = "run";
constexpr std::string_view open_stop = "open";
constexpr std::size_t word_count = 5;

bool all_digits(std::string_view text) noexcept
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The words between underscores; nothing when there are not exactly five, none of them empty.
std::optional<std::array<std::string_view, word_count>> split_words(std::string_view text)
{
    std::array<std::string_view, word_count> words;
    for (std::size_t i = 0; i < word_count; ++i) {
        const std::size_t end = text.find('_');
        const bool last = i + 1 == word_count;
        if (last != (end == std::string_view::npos)) {
            return std::nullopt;
        }
        words[i] = text.substr(0, end);
        if (words[i].empty()) {
            return std::nullopt;
        }
        text.remove_prefix(last ? text.size() : end + 1);
    }
    return words;
}

unsigned two_digits(std::string_view text, std::size_t at) noexcept
{
    return static_cast<unsigned>((text[at] - '0') * 10 + (text[at + 1] - '0'));
}

/// Seconds since the epoch of YYYYMMDDThhmmss (UTC).
std::optional<long> parse_time(std::string_view text)
{
    constexpr std::size_t date_length = 8;
    constexpr std::size_t clock_length = 6;
    if (text.size() != date_length + 1 + clock_length || text[date_length] != 'T' ||
        !all_digits(text.substr(0, date_length)) || !all_digits(text.substr(date_length + 1))) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const year_month_day date{year{static_cast<int>(two_digits(text, 0) * 100 + two_digits(text, 2))},
                              month{two_digits(text, 4)}, day{two_digits(text, 6)}};
    const hours hour{two_digits(text, 9)};
    const minutes minute{two_digits(text, 11)};
    const seconds second{two_digits(text, 13)};
    if (!date.ok() || hour >= days{1} || minute >= hours{1} || second >= minutes{1}) {
        return std::nullopt;
    }
    return duration_cast<seconds>((sys_days{date} + hour + minute + second).time_since_epoch()).count();
}

} // namespace

std::optional<long> parse_decimal(std::string_view text, long limit) noexcept
{
    long value = 0;
    const char* const end = text.data() + text.size();
    if (text.empty() || !all_digits(text)) {
        return std::nullopt;
    }
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stopped != end || value > limit) {
        return std::nullopt;
    }
    return value;
}

std::optional<catalogue_name> parse_catalogue_name(std::string_view file)
{
    if (!file.ends_with(suffix)) {
        return std::nullopt;
    }
    const auto words = split_words(file.substr(0, file.size() - suffix.size()));
    if (!words || !(*words)[2].starts_with(run_prefix)) {
        return std::nullopt;
    }
    const std::string_view number = (*words)[2].substr(run_prefix.size());
    const auto run = parse_decimal(number, std::numeric_limits<int>::max());
    const auto start = parse_time((*words)[3]);
    const bool open = (*words)[4] == open_stop;
    const auto stop = open ? std::optional<long>{0} : parse_time((*words)[4]);
    // A leading zero would make two names of one run.
    if (!run || (number.size() > 1 && number.front() == '0') || !start || !stop || (!open && *stop < *start)) {
        return std::nullopt;
    }
    return catalogue_name{std::string{file}, std::string{(*words)[0]}, std::string{(*words)[1]}, static_cast<int>(*run),
                          time_span{*start, *stop}};
}

} // namespace trox_xml
