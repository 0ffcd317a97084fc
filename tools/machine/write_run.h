// Writing a simulated run.
#ifndef TROX_MACHINE_WRITE_RUN_H
#define TROX_MACHINE_WRITE_RUN_H

#include "machine.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace trox_machine
{

/// How long a run is, and in how many files.
struct run_length {
    int events = 30;                    ///< when no size is given
    std::optional<std::uint64_t> bytes; ///< of all files together; what is written may be more by an event a file
    int files = 3;                      ///< at least 1, and no more than events
};

struct written_run {
    std::vector<std::string> files;
    std::string catalogue;
    int events = 0;
};

/// Writes a run into a directory: files with about equally many events or bytes, and the run's catalogue. `seen` is
/// told how many events, or bytes, have been written after every event. Throws trox::writer::error, and leaves none of
/// the files then.
written_run write_run(const machine& source, const tw::run_identity& run, const std::string& directory,
                      const run_length& length, const std::function<void(std::uint64_t done)>& seen = {});

} // namespace trox_machine

#endif
