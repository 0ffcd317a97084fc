// Writing the simulated run.
#ifndef TROX_DEMO_WRITE_RUN_H
#define TROX_DEMO_WRITE_RUN_H

#include "machine.h"

#include <string>
#include <vector>

namespace trox_demo
{

inline constexpr int file_count = 3;

/// The run's experiment, stream and number.
const tw::run_identity& run();

struct written_run {
    std::vector<std::string> files;
    std::string catalogue;
};

/// Writes all events into three files of the directory, and their run catalogue. Throws trox::writer::error.
written_run write_run(const std::string& directory, int events);

} // namespace trox_demo

#endif
