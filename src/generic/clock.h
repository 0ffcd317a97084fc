// Wall clock for timing messages.
#ifndef TROX_GENERIC_CLOCK_H
#define TROX_GENERIC_CLOCK_H

#include <sys/time.h>

namespace trox_detail
{

inline long now_us() noexcept
{
    constexpr long second_us = 1000000;
    timeval now{};
    ::gettimeofday(&now, nullptr);
    return now.tv_sec * second_us + now.tv_usec;
}

/// Milliseconds since a moment that `now_us` gave.
inline double elapsed_ms(long since_us) noexcept
{
    constexpr double us_per_ms = 1000.0;
    return static_cast<double>(now_us() - since_us) / us_per_ms;
}

} // namespace trox_detail

#endif
