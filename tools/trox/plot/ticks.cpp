#include "ticks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace trox_plot
{
namespace
{

constexpr double second = 1e6;
constexpr double minute = 60 * second;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;

/// The smallest 1, 2 or 5 times a power of ten that is not below `least`.
double round_step(double least)
{
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least * (1 - 1e-9)) {
            return factor * power;
        }
    }
    return 10 * power;
}

double round_time_step(double least)
{
    if (least <= second) {
        return round_step(std::max(least, 1.0));
    }
    constexpr std::array steps{second, 2 * second, 5 * second, 10 * second, 15 * second, 30 * second,
                               minute, 2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
                               hour,   2 * hour,   3 * hour,   6 * hour,    12 * hour,   day};
    const auto found = std::find_if(steps.begin(), steps.end(), [least](double step) { return step >= least; });
    return found == steps.end() ? day * round_step(least / day) : *found;
}

/// Multiples of a step within the range. Counted, so that a step too small to make a difference ends all the same.
std::vector<double> multiples(range axis, double step)
{
    std::vector<double> values;
    const double first = std::ceil(axis.low / step - 1e-9);
    const double last = std::floor(axis.high / step + 1e-9);
    constexpr double most = 1000;
    for (double i = 0; i <= std::min(last - first, most); ++i) {
        values.push_back((first + i) * step);
    }
    return values;
}

std::string fixed_text(double value, int decimals)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    std::string result = text.data();
    return result.find_first_not_of("-0.") == std::string::npos && result[0] == '-' ? result.substr(1) : result;
}

/// The power of ten that numbers are given in: 0 where plain ones are short enough.
int common_exponent(range axis)
{
    const double largest = std::max(std::fabs(axis.low), std::fabs(axis.high));
    const int exponent = largest == 0 ? 0 : static_cast<int>(std::floor(std::log10(largest)));
    constexpr int longest = 5;
    constexpr int smallest = -3;
    return exponent > longest || exponent < smallest ? exponent : 0;
}

std::string time_text(double microseconds, const char* pattern, bool is_local)
{
    const double whole = std::floor(microseconds / second);
    const auto seconds = static_cast<std::time_t>(whole);
    std::tm parts{};
    if (is_local) {
        ::localtime_r(&seconds, &parts);
    } else {
        ::gmtime_r(&seconds, &parts);
    }
    std::array<char, 64> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), pattern, &parts);
    return {text.data(), size};
}

/// What clocks of the time zone are ahead of UTC.
double offset_of_zone(double microseconds)
{
    const auto seconds = static_cast<std::time_t>(std::floor(microseconds / second));
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    return static_cast<double>(parts.tm_gmtoff) * second;
}

std::string fraction_text(double microseconds, double step)
{
    const int decimals = std::clamp(static_cast<int>(std::ceil(-std::log10(step / second) - 1e-9)), 1, 6);
    const double part = microseconds - std::floor(microseconds / second) * second;
    return fixed_text(part / second, decimals).substr(1);
}

void include(range& all, double value, bool& is_any)
{
    all.low = is_any ? std::min(all.low, value) : value;
    all.high = is_any ? std::max(all.high, value) : value;
    is_any = true;
}

/// A range of one value gets some room around it.
range widened(range axis, double part)
{
    const double size = axis.high - axis.low;
    if (size > 0) {
        return {axis.low - part * size, axis.high + part * size};
    }
    const double around = axis.low == 0 ? 1 : std::fabs(axis.low) / 10;
    return {axis.low - around, axis.high + around};
}

} // namespace

scale number_scale(range axis, std::size_t most)
{
    constexpr std::size_t least_ticks = 2;
    double step = 0;
    std::vector<double> values;
    for (std::size_t parts = std::max(most, least_ticks); values.size() < least_ticks && parts < 4 * most + 8;
         ++parts) {
        step = round_step((axis.high - axis.low) / static_cast<double>(parts));
        values = multiples(axis, step);
    }
    const int exponent = common_exponent(axis);
    const double unit = std::pow(10.0, exponent);
    const int decimals = std::clamp(static_cast<int>(std::ceil(-std::log10(step / unit) - 1e-9)), 0, 9);
    scale result;
    for (const double value : values) {
        result.ticks.push_back({value, fixed_text(value / unit, decimals)});
    }
    if (exponent != 0) {
        result.suffix = "× 10^" + std::to_string(exponent);
    }
    return result;
}

scale time_scale(range axis, std::size_t most, const time_words& words)
{
    const double step = round_time_step((axis.high - axis.low) / static_cast<double>(std::max<std::size_t>(most, 2)));
    const auto text = [&](double value, const char* pattern) { return time_text(value, pattern, words.is_local); };
    const std::string first_day = text(axis.low, "%Y-%m-%d");
    const bool is_one_day = first_day == text(axis.high, "%Y-%m-%d");
    const double ahead = words.is_local ? offset_of_zone(axis.low) : 0;
    scale result;
    for (const double shifted : multiples({axis.low + ahead, axis.high + ahead}, step)) {
        const double value = shifted - ahead;
        if (words.show) {
            result.ticks.push_back({value, words.show(value)});
            continue;
        }
        std::string label = step >= day      ? text(value, "%Y-%m-%d")
                            : step >= minute ? text(value, is_one_day ? "%H:%M" : "%m-%d %H:%M")
                                             : text(value, "%H:%M:%S");
        if (step < second) {
            label += fraction_text(value, step);
        }
        result.ticks.push_back({value, std::move(label)});
    }
    if (!words.show) {
        result.suffix = (is_one_day ? first_day + " " : step < day ? "from " + first_day + " " : "") + words.zone;
    }
    return result;
}

scale scale_of(axis_kind kind, range axis, std::size_t most, const time_words& words)
{
    switch (kind) {
    case axis_kind::numbers:
        return number_scale(axis, most);
    case axis_kind::time:
        return time_scale(axis, most, words);
    }
    return {};
}

std::string label_with(const std::string& label, const scale& marks)
{
    const std::string& suffix = marks.suffix;
    if (suffix.empty() || label.empty()) {
        return label + suffix;
    }
    return suffix.starts_with("×") ? label + " " + suffix : label + " (" + suffix + ")";
}

range x_range(const figure& what)
{
    range all;
    bool is_any = false;
    for (const panel& panel : what.panels) {
        for (const series& curve : panel.curves) {
            for (const point& next : curve.points) {
                if (!std::isnan(next.y)) {
                    include(all, next.x, is_any);
                }
            }
        }
    }
    if (all.high > all.low) {
        return all;
    }
    return what.axis == axis_kind::time ? range{all.low - second, all.high + second} : widened(all, 0);
}

range y_range(const panel& what)
{
    range all;
    bool is_any = false;
    for (const series& curve : what.curves) {
        for (const point& next : curve.points) {
            if (!std::isnan(next.y)) {
                include(all, next.y, is_any);
            }
        }
    }
    constexpr double room = 0.05;
    return widened(all, room);
}

} // namespace trox_plot
