#include "signals.h"

#include <cstddef>

namespace trox_cli
{
namespace
{

volatile std::sig_atomic_t signal_received = 0;

extern "C" void note_signal(int signal)
{
    signal_received = signal;
}

} // namespace

signal_guard::signal_guard()
{
    for (std::size_t i = 0; i < signals.size(); ++i) {
        struct sigaction action {
        };
        ::sigaction(signals[i], nullptr, &before_[i]);
        action.sa_handler = &note_signal;
        if (before_[i].sa_handler != SIG_IGN) {
            ::sigaction(signals[i], &action, nullptr);
        }
    }
}

signal_guard::~signal_guard()
{
    for (std::size_t i = 0; i < signals.size(); ++i) {
        ::sigaction(signals[i], &before_[i], nullptr);
    }
}

void signal_guard::check()
{
    if (signal_received != 0) {
        throw interrupted();
    }
}

void signal_guard::end_by_signal()
{
    std::signal(signal_received, SIG_DFL);
    std::raise(signal_received);
}

} // namespace trox_cli
