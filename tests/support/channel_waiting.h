// Starting channel readers and waiting for them as their callers do, with a time limit.
#ifndef TROX_TEST_CHANNEL_WAITING_H
#define TROX_TEST_CHANNEL_WAITING_H

#include <chrono>
#include <ctime>
#include <pthread.h>
#include <thread>

namespace trox_test
{

/// What `start` hands out.
struct start_signal {
    pthread_mutex_t* mutex = nullptr;
    pthread_cond_t* condition = nullptr;
    int* flag = nullptr;

    /// Waits until the flag is raised and lowers it; false when it is not raised in time.
    bool wait(std::chrono::milliseconds limit = std::chrono::seconds(60)) const
    {
        const auto deadline = std::chrono::system_clock::now() + limit;
        const auto since_epoch = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline.time_since_epoch());
        constexpr long second_ns = 1000000000;
        const timespec until{static_cast<time_t>(since_epoch.count() / second_ns), since_epoch.count() % second_ns};
        ::pthread_mutex_lock(mutex);
        int error = 0;
        while (*flag == 0 && error == 0) {
            error = ::pthread_cond_timedwait(condition, mutex, &until);
        }
        const bool raised = *flag != 0;
        *flag = 0;
        ::pthread_mutex_unlock(mutex);
        return raised;
    }

    bool is_raised() const
    {
        ::pthread_mutex_lock(mutex);
        const bool raised = *flag != 0;
        ::pthread_mutex_unlock(mutex);
        return raised;
    }
};

template <class Reader> int start(Reader& reader, start_signal& signal)
{
    return reader.start(&signal.mutex, &signal.condition, &signal.flag);
}

/// Starts a reader and waits for its records. False when it does not start or does not get ready in time.
template <class Reader> bool start_and_wait(Reader& reader)
{
    start_signal signal;
    return start(reader, signal) == 0 && signal.wait();
}

/// Waits until `condition()` holds; false when it does not in time.
template <class Condition> bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace trox_test

#endif
