// Event types, comparing times, and the machine clock.
#include "event_util.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>

namespace trox_evutl
{

namespace
{

constexpr std::int64_t second_us = 1'000'000;

std::int64_t microseconds(const time_stamp& time) noexcept
{
    return std::int64_t{time.timeup} * second_us + std::int64_t{time.timelow};
}

/// The machine clock: event `event` at `seconds`, then `rate / rate_scale` events a second.
struct machine_clock {
    std::uint64_t seconds;
    std::uint64_t event;
    std::uint64_t rate;
    std::uint64_t rate_scale;
};

bool take_number(std::string_view text, std::uint64_t& number) noexcept
{
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end;
}

/// A rate in Hz: digits, or digits with up to six decimals.
bool take_rate(std::string_view text, machine_clock& clock) noexcept
{
    constexpr std::size_t most_decimals = 6;
    clock.rate_scale = 1;
    const std::size_t point = text.find('.');
    if (point == std::string_view::npos) {
        return take_number(text, clock.rate) && clock.rate > 0;
    }
    const std::string_view decimals = text.substr(point + 1);
    std::uint64_t whole = 0;
    std::uint64_t fraction = 0;
    if (decimals.size() > most_decimals || !take_number(text.substr(0, point), whole) ||
        !take_number(decimals, fraction)) {
        return false;
    }
    for (std::size_t i = 0; i < decimals.size(); ++i) {
        clock.rate_scale *= 10;
    }
    return !__builtin_mul_overflow(whole, clock.rate_scale, &clock.rate) &&
           !__builtin_add_overflow(clock.rate, fraction, &clock.rate) && clock.rate > 0;
}

std::optional<machine_clock> parse_clock(const char* text) noexcept
{
    if (text == nullptr) {
        return std::nullopt;
    }
    const std::string_view whole(text);
    const std::size_t first = whole.find(':');
    const std::size_t second = first == std::string_view::npos ? first : whole.find(':', first + 1);
    if (second == std::string_view::npos) {
        return std::nullopt;
    }
    machine_clock clock{};
    if (!take_number(whole.substr(0, first), clock.seconds) ||
        !take_number(whole.substr(first + 1, second - first - 1), clock.event) ||
        !take_rate(whole.substr(second + 1), clock)) {
        return std::nullopt;
    }
    return clock;
}

} // namespace

} // namespace trox_evutl

bool is_slow_event(int type)
{
    return type == TROX_EV_BOR || type == TROX_EV_EOR || type == TROX_EV_ENV || type == TROX_EV_UPD;
}

int get_event_struct_type(int type)
{
    if (type < 0 || type >= TROX_EV_EVMAX) {
        return TROX_EV_STRUCT_UNKNOWN;
    }
    if (is_slow_event(type)) {
        return TROX_EV_STRUCT_GLOBAL;
    }
    if (type == TROX_EV_LLRF_ML || type == TROX_EV_TOROID_ML) {
        return TROX_EV_STRUCT_ML;
    }
    return type == TROX_EV_HB || type >= TROX_EV_28 ? TROX_EV_STRUCT_UNDEF : TROX_EV_STRUCT_LOCAL;
}

bool trox_time_stamp_eq(time_stamp* a, time_stamp* b)
{
    return a != nullptr && b != nullptr && a->timeup == b->timeup && a->timelow == b->timelow;
}

bool trox_time_stamp_eq(time_stamp* a, time_stamp* b, double tolerance_us, int* sign, double* distance_us)
{
    if (a == nullptr || b == nullptr) {
        return false;
    }
    const std::int64_t difference = trox_evutl::microseconds(*a) - trox_evutl::microseconds(*b);
    const double distance = std::fabs(static_cast<double>(difference));
    const bool is_equal = distance <= tolerance_us;
    if (sign != nullptr) {
        *sign = is_equal ? 0 : (difference > 0) - (difference < 0);
    }
    if (distance_us != nullptr) {
        *distance_us = distance;
    }
    return is_equal;
}

unsigned long trox_get_event_id(time_stamp* time)
{
    using namespace trox_evutl;
    if (time == nullptr || (time->timeup == 0 && time->timelow == 0)) {
        return 0;
    }
    const auto clock = parse_clock(std::getenv("TROX_EVENT_CLOCK"));
    if (!clock || time->timeup < clock->seconds) {
        return 0;
    }
    // Exact in 128 bits: 2^52 microseconds at most, times a 64-bit rate.
    __extension__ using wide = unsigned __int128;
    const auto elapsed_us = static_cast<wide>(microseconds(*time)) - static_cast<wide>(clock->seconds) * second_us;
    const wide events = elapsed_us * clock->rate / (static_cast<wide>(second_us) * clock->rate_scale);
    const wide number = events + clock->event;
    return number > std::numeric_limits<unsigned long>::max() ? 0 : static_cast<unsigned long>(number);
}
