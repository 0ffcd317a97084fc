// Noise that can be computed again.
#ifndef TROX_DEMO_NOISE_H
#define TROX_DEMO_NOISE_H

#include "machine.h"

#include <cstddef>
#include <cstdint>

namespace trox_demo
{

/// A well-mixed number that depends on its arguments only.
inline std::uint64_t hash(channel of, int event, std::size_t sample)
{
    std::uint64_t x = (index_of(of) + 1) * 0x9E3779B97F4A7C15U +
                      static_cast<std::uint64_t>(event) * 0xD1B54A32D192ED03U + sample * 0x8CB92BA72F3D8DD7U;
    x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
    x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
    return x ^ (x >> 31U);
}

/// Nearly Gaussian, mean 0, standard deviation 1: the sum of twelve uniform numbers less 6.
inline double noise(channel of, int event, std::size_t sample)
{
    double sum = -6;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::uint64_t bits = hash(of, event, 3 * sample + i);
        for (unsigned part = 0; part < 4; ++part) {
            sum += static_cast<double>((bits >> (16U * part)) & 0xFFFFU) / 65535.0;
        }
    }
    return sum;
}

} // namespace trox_demo

#endif
