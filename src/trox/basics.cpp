#include "trox/basics.h"

#include "event.h"
#include "trox/error.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <vector>

namespace trox
{

namespace
{

constexpr std::int64_t second_us = 1000000;

/// Reads a time piece by piece.
class time_parser
{
public:
    explicit time_parser(std::string_view text) : rest_(text), whole_(text) {}

    /// As many digits as there are, below 2^40.
    std::int64_t whole_seconds()
    {
        constexpr std::int64_t most_seconds = std::int64_t{1} << 40;
        std::int64_t seconds = 0;
        const auto [end, code] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), seconds);
        if (code != std::errc() || seconds > most_seconds || rest_.front() == '-') {
            fail();
        }
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return seconds;
    }

    /// Exactly `digits` digits.
    int number(std::size_t digits)
    {
        int value = 0;
        if (rest_.size() < digits) {
            fail();
        }
        const auto [end, code] = std::from_chars(rest_.data(), rest_.data() + digits, value);
        if (code != std::errc() || end != rest_.data() + digits || rest_.front() == '-') {
            fail();
        }
        rest_.remove_prefix(digits);
        return value;
    }
    /// Up to six digits of a second behind the point; more are cut.
    std::int64_t fraction_us()
    {
        if (!take('.')) {
            return 0;
        }
        std::int64_t us = 0;
        std::size_t digits = 0;
        for (; !rest_.empty() && std::isdigit(static_cast<unsigned char>(rest_.front())) != 0; ++digits) {
            us = digits < 6 ? us * 10 + (rest_.front() - '0') : us;
            rest_.remove_prefix(1);
        }
        if (digits == 0) {
            fail();
        }
        for (; digits < 6; ++digits) {
            us *= 10;
        }
        return us;
    }
    bool take(char wanted)
    {
        if (rest_.empty() || rest_.front() != wanted) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }
    bool at_end() const noexcept
    {
        return rest_.empty();
    }
    [[noreturn]] void fail() const
    {
        throw error(fault::wrong_use, "\"" + std::string(whole_) +
                                          "\" is no time; write 2012-06-14, 2012-06-14T09:30:00.25Z, "
                                          "2012-06-14T11:30:00+02:00, 20120614T093000 or @1339666200.25");
    }

private:
    std::string_view rest_;
    std::string_view whole_;
};

time_point from_epoch(time_parser& text)
{
    const std::int64_t seconds = text.whole_seconds();
    const std::int64_t us = text.fraction_us();
    if (!text.at_end()) {
        text.fail();
    }
    return time_point(microseconds(seconds * second_us + us));
}

std::int64_t offset_seconds(time_parser& text)
{
    if (text.take('Z') || text.at_end()) {
        return 0;
    }
    const int sign = text.take('+') ? 1 : text.take('-') ? -1 : 0;
    if (sign == 0) {
        text.fail();
    }
    const int hours = text.number(2);
    const int minutes = text.take(':') || !text.at_end() ? text.number(2) : 0;
    if (hours > 23 || minutes > 59) {
        text.fail();
    }
    return sign * (hours * 3600 + minutes * 60);
}

} // namespace

std::string to_text(time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const std::time_t whole = seconds.time_since_epoch().count();
    std::tm parts{};
    ::gmtime_r(&whole, &parts);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<int>((time - seconds).count()));
    return text.data();
}

time_point time_from_text(std::string_view text)
{
    time_parser rest(text);
    if (rest.take('@')) {
        return from_epoch(rest);
    }
    std::tm parts{};
    parts.tm_year = rest.number(4) - 1900;
    const bool has_dashes = rest.take('-');
    parts.tm_mon = rest.number(2) - 1;
    if (has_dashes && !rest.take('-')) {
        rest.fail();
    }
    parts.tm_mday = rest.number(2);
    std::int64_t us = 0;
    std::int64_t offset = 0;
    if (!rest.at_end()) {
        if (!rest.take('T') && !rest.take(' ')) {
            rest.fail();
        }
        parts.tm_hour = rest.number(2);
        const bool has_colons = rest.take(':');
        parts.tm_min = rest.number(2);
        if (has_colons ? rest.take(':') : !rest.at_end()) {
            parts.tm_sec = rest.number(2);
            us = rest.fraction_us();
        }
        offset = offset_seconds(rest);
    }
    std::tm normal = parts;
    const std::time_t seconds = ::timegm(&normal);
    const bool is_date = normal.tm_mon == parts.tm_mon && normal.tm_mday == parts.tm_mday &&
                         normal.tm_hour == parts.tm_hour && normal.tm_min == parts.tm_min &&
                         normal.tm_sec == parts.tm_sec;
    if (!rest.at_end() || !is_date) {
        rest.fail();
    }
    return time_point(microseconds((seconds - offset) * second_us + us));
}

const char* name_of(generation format) noexcept
{
    switch (format) {
    case generation::legacy:
        return "legacy";
    case generation::v2010:
        return "2010";
    case generation::v2024:
        return "2024";
    }
    return "unknown";
}

std::string event_type_name(int type)
{
    static constexpr std::array<const char*, TROX_EV_28> names{"HB",       "NORMAL",
                                                               "BOR",      "EOR",
                                                               "ENV",      "UPD",
                                                               "IMAGE",    "WS",
                                                               "MCP",      "WSS",
                                                               "BL1",      "BL2",
                                                               "BL3",      "PG0",
                                                               "PG1",      "PG2",
                                                               "GMD",      "PHOTEN",
                                                               "PHOTWL",   "BEAM_ENERGY",
                                                               "LLRF_ML",  "BEAM_ENERGY_BYPASS",
                                                               "SPECTR_1", "SPECTR_2",
                                                               "SPECTR_3", "SPECTR_4",
                                                               "SPECTR_5", "TOROID_ML"};
    return type >= 0 && type < static_cast<int>(names.size()) ? names[static_cast<std::size_t>(type)]
                                                              : std::to_string(type);
}

const char* name_of(channel_kind kind) noexcept
{
    switch (kind) {
    case channel_kind::unknown:
        return "unknown";
    case channel_kind::trace:
        return "trace";
    case channel_kind::single_values:
        return "single values";
    case channel_kind::image:
        return "image";
    case channel_kind::region_of_interest:
        return "region of interest";
    case channel_kind::name_value:
        return "name/value";
    case channel_kind::slow:
        return "slow";
    case channel_kind::control_value:
        return "control value";
    }
    return "unknown";
}

const char* name_of(compression stored) noexcept
{
    switch (stored) {
    case compression::none:
        return "none";
    case compression::zlib:
        return "zlib";
    case compression::lzo:
        return "lzo";
    }
    return "unknown";
}

std::size_t edit_distance(std::string_view a, std::string_view b)
{
    const auto same = [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    };
    std::vector<std::size_t> before(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1])) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        before.swap(last);
        last.swap(row);
    }
    return last[b.size()];
}

} // namespace trox
