// Signals that end a verb once what it has half written is gone.
#ifndef TROX_CLI_SIGNALS_H
#define TROX_CLI_SIGNALS_H

#include <array>
#include <csignal>

namespace trox_cli
{

/// A signal came; thrown so that what is half written goes away.
struct interrupted {
};

/// Lets SIGINT, SIGTERM and SIGHUP be seen by `check` instead of ending the program at once. One at a time.
class signal_guard
{
public:
    signal_guard();
    signal_guard(const signal_guard&) = delete;
    signal_guard& operator=(const signal_guard&) = delete;
    ~signal_guard();

    /// Throws interrupted when a signal has come.
    static void check();
    /// Ends the program by the signal that came, as if nothing had caught it.
    static void end_by_signal();

private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, signals.size()> before_{};
};

} // namespace trox_cli

#endif
