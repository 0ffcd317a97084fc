// Runs the program trox as a user does.
#ifndef TROX_TEST_RUN_TROX_H
#define TROX_TEST_RUN_TROX_H

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace trox_test
{

struct program_result {
    int code = -1; ///< exit code; -1 when a signal ended the program
    std::string out;
    std::string err;

    nlohmann::json json() const
    {
        return nlohmann::json::parse(out);
    }
};

/// How the program is run, beside its arguments.
struct run_options {
    std::string directory = TROX_TEST_DATA_DIR;                     ///< where it starts
    std::vector<std::pair<std::string, std::string>> environment{}; ///< added to that of the test
    unsigned user = 0;                                              ///< whom it runs as; 0: as the test does
    std::size_t largest_file = 0; ///< bytes; 0: no limit. A file that is larger fails as one on a full disk does
    std::vector<int> closed{};    ///< descriptors that are not open
    std::string out_file{};       ///< where standard output goes instead
};

/// A program that does not end within two minutes is ended by a signal.
program_result run_trox(const std::vector<std::string>& arguments, const run_options& options = {});

/// The same with standard output and standard error on a terminal of `columns` columns; `out` is what it shows.
program_result run_trox_on_terminal(const std::vector<std::string>& arguments, unsigned short columns,
                                    const run_options& options = {});

/// The same with a reader of standard output that takes `bytes` bytes and goes away.
program_result run_trox_into_closing_pipe(const std::vector<std::string>& arguments, std::size_t bytes,
                                          const run_options& options = {});

/// Runs it with a standard output that takes what a pipe holds and no more; sends a signal when that is full. The
/// signal that ended it; 0 when none did.
int signal_that_ended_trox_before_a_full_pipe(const std::vector<std::string>& arguments, int signal);

} // namespace trox_test

#endif
