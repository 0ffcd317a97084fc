// Benchmarks of the reader: trox_bench [decode|events|tables|layer] [rounds]. Every measurement stands beside a limit
// that was measured in the same rounds. Exit code 0 when all goals were met, 1 when not.
#include "benchmarks.h"
#include "measure.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

int main(int argc, char** argv)
{
    constexpr int default_rounds = 9;
    const char* only = argc > 1 ? argv[1] : "";
    const int rounds = argc > 2 ? std::atoi(argv[2]) : default_rounds;
    if (rounds < 1) {
        std::fprintf(stderr, "usage: trox_bench [decode|events|tables|layer] [rounds]\n");
        return 2;
    }
    ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    const auto wanted = [only](const char* name) { return *only == '\0' || std::strcmp(only, name) == 0; };
    try {
        if (wanted("decode")) {
            bench::decode_channels(rounds);
        }
        if (wanted("events")) {
            bench::loop_over_events(rounds);
        }
        if (wanted("tables")) {
            bench::open_wide_file(rounds);
        }
        if (wanted("layer")) {
            bench::read_through_layer(rounds);
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "trox_bench: %s\n", failure.what());
        return 2;
    }
    return bench::all_goals_met() ? 0 : 1;
}
