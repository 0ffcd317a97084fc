// The run catalogue as the readers ask it.
#ifndef TROX_GENERIC_RUN_FILES_H
#define TROX_GENERIC_RUN_FILES_H

#include <optional>
#include <string>
#include <vector>

namespace trox_detail
{

/// Runs `first` to `last`, both included.
struct run_range {
    int first = 0;
    int last = 0;
};

/// First and last second of a run; `stop_s` 0 for a run that still goes on. A time stamp holds 32 bits of seconds:
/// a second that needs more counts as unknown, 0.
struct run_span {
    long start_s = 0;
    long stop_s = 0;
};

/// A run catalogue, limited to an experiment's stream.
class run_files
{
public:
    run_files(std::string directory, const std::string& experiment, const std::string& stream);

    /// Data file names; none when the catalogue cannot be read or has none.
    std::vector<std::string> of_runs(run_range runs) const;
    /// Seconds; 0 is open on that side.
    std::vector<std::string> of_period(long start_s, long stop_s) const;
    std::optional<run_span> span_of(int run) const;

private:
    std::vector<std::string> of_listed_runs(run_range runs) const;
    std::vector<std::string> of_wide_range(run_range runs) const;

    std::string directory_;
    std::string key_;
};

} // namespace trox_detail

#endif
