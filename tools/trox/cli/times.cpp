#include "times.h"

#include "errors.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <string_view>

namespace trox_cli
{
namespace
{

/// Other files lie beside those of the zones.
bool is_zone_file(const std::filesystem::path& path)
{
    constexpr std::string_view mark = "TZif";
    std::error_code ignored;
    std::string begin(mark.size(), '\0');
    return std::filesystem::is_regular_file(path, ignored) &&
           std::ifstream(path, std::ios::binary).read(begin.data(), static_cast<std::streamsize>(begin.size())) &&
           begin == mark;
}

/// glibc takes an unknown zone for UTC without a word, so the zone's file is looked for first.
void use_zone(const std::string& zone)
{
    if (zone == "local") {
        ::tzset();
        return;
    }
    const char* const configured = std::getenv("TZDIR");
    const std::filesystem::path root = configured != nullptr ? configured : "/usr/share/zoneinfo";
    if (zone.empty() || zone.front() == '/' || zone.find("..") != std::string::npos || !is_zone_file(root / zone)) {
        throw wrong_use("--tz: there is no time zone \"" + zone + "\"",
                        "UTC, local, or a name like Europe/Berlin from " + root.string());
    }
    ::setenv("TZ", (":" + zone).c_str(), 1);
    ::tzset();
}

/// Whole seconds, rounded down, and the microseconds behind them.
struct split_time {
    std::time_t seconds;
    long microseconds;
};

split_time split(trox::time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return {static_cast<std::time_t>(seconds.time_since_epoch().count()), static_cast<long>((time - seconds).count())};
}

/// Length of the conversion that begins with the "%" at `at`: flags, width, modifier and letter. 0 when it is cut.
std::size_t conversion_length(std::string_view pattern, std::size_t at)
{
    const std::size_t letter = pattern.find_first_not_of("_-+0123456789^#EO", at + 1);
    return letter == std::string_view::npos ? 0 : letter + 1 - at;
}

/// Whether it is %f, or something that strftime knows, of a sensible width.
bool is_known(const std::string& conversion)
{
    constexpr std::string_view letters = "aAbBcCdDeFgGhHIjklmMnpPrRsStTuUVwWxXyYzZ%";
    constexpr std::size_t most_digits = 2; // of the width
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    const auto digits = static_cast<std::size_t>(std::count_if(conversion.begin(), conversion.end(), is_digit));
    return conversion == "%f" || (letters.find(conversion.back()) != std::string_view::npos && digits <= most_digits);
}

/// Throws wrong_use for what does not begin a conversion, or none that there is.
void check_conversions(const std::string& pattern)
{
    for (std::size_t at = pattern.find('%'); at != std::string::npos;) {
        const std::size_t length = conversion_length(pattern, at);
        if (length == 0) {
            throw wrong_use("--time-format: \"" + pattern + "\" ends within a conversion", "%% shows a per cent sign");
        }
        const std::string conversion = pattern.substr(at, length);
        if (!is_known(conversion)) {
            throw wrong_use("--time-format: there is no conversion \"" + conversion + "\"",
                            "%f for microseconds, else those of strftime; %% shows a per cent sign");
        }
        at = pattern.find('%', at + length);
    }
}

/// Puts in what strftime does not know (%f), and what it would take for a time of the local zone (%s).
std::string with_numbers(const std::string& pattern, const split_time& time)
{
    std::string result;
    for (std::size_t at = 0; at < pattern.size();) {
        if (pattern[at] != '%') {
            result += pattern[at++];
            continue;
        }
        const std::string conversion = pattern.substr(at, conversion_length(pattern, at));
        at += conversion.size();
        result += conversion == "%f"         ? fmt::format("{:06}", time.microseconds)
                  : conversion.back() == 's' ? std::to_string(time.seconds)
                                             : conversion;
    }
    return result;
}

std::string format_time(const std::string& pattern, const std::tm& parts)
{
    // The mark tells an empty result from one that does not fit.
    const std::string marked = pattern + "x";
    std::string buffer(marked.size() * 4 + 128, '\0');
    for (int attempt = 0; attempt < 8; ++attempt) {
        const std::size_t length = std::strftime(buffer.data(), buffer.size(), marked.c_str(), &parts);
        if (length != 0) {
            return buffer.substr(0, length - 1);
        }
        buffer.resize(buffer.size() * 2);
    }
    return {};
}

std::string iso_text(const std::tm& parts, long microseconds)
{
    const std::string zone = format_time("%z", parts); // "+0200"
    return fmt::format("{}.{:06}{}:{}", format_time("%Y-%m-%dT%H:%M:%S", parts), microseconds, zone.substr(0, 3),
                       zone.substr(3));
}

} // namespace

time_display::time_display(const std::string& zone, const std::string& format)
    : is_utc_(zone == "UTC"), is_epoch_(format == "epoch")
{
    if (!is_utc_) {
        use_zone(zone);
    }
    if (format != "iso" && format != "epoch") {
        if (format.find('%') == std::string::npos) {
            throw wrong_use("--time-format: \"" + format + "\" shows no time",
                            "iso, epoch, or a pattern like \"%H:%M:%S.%f\"");
        }
        check_conversions(format);
        pattern_ = format;
    }
}

std::string time_display::show(trox::time_point time) const
{
    const split_time parts = split(time);
    if (is_epoch_) {
        const long long total = time.time_since_epoch().count();
        return total < 0 ? fmt::format("-{}.{:06}", -(total / 1000000), -(total % 1000000))
                         : fmt::format("{}.{:06}", total / 1000000, total % 1000000);
    }
    if (is_utc_ && pattern_.empty()) {
        return trox::to_text(time);
    }
    std::tm calendar{};
    const std::tm* const found =
        is_utc_ ? ::gmtime_r(&parts.seconds, &calendar) : ::localtime_r(&parts.seconds, &calendar);
    if (found == nullptr) {
        return trox::to_text(time);
    }
    return pattern_.empty() ? iso_text(calendar, parts.microseconds)
                            : format_time(with_numbers(pattern_, parts), calendar);
}

} // namespace trox_cli
