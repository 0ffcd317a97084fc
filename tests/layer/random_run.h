// Small runs of random shape: several files, channels of different rates, gaps, slow channels, cameras that answer
// late; optionally with event numbers that repeat, or events recorded out of order.
#ifndef TROX_TESTS_LAYER_RANDOM_RUN_H
#define TROX_TESTS_LAYER_RANDOM_RUN_H

#include "trox_writer.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace layer_test
{

/// Disorder beyond what a healthy run has.
enum class disorder {
    none,
    repeated_numbers, ///< some events come twice, the second time shortly behind the first
    unordered         ///< events of a file are recorded in any order
};

struct random_run {
    std::vector<std::string> files;
    std::vector<std::string> channels;
    std::size_t events = 0; ///< machine events
    std::uint64_t first_number = 0;
    std::uint32_t first_second = 0;
};

/// Writes a run to a directory. Equal seeds give the same logical events in all generations, but that the
/// numbers of the youngest are above 2^40.
random_run write_random_run(const std::string& directory, trox::writer::generation format, std::uint32_t seed,
                            disorder kind);

} // namespace layer_test

#endif
