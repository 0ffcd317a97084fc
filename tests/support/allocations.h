// What the test program allocates with new: counted, and made to fail.
#ifndef TROX_TEST_ALLOCATIONS_H
#define TROX_TEST_ALLOCATIONS_H

#include <atomic>

namespace trox_test
{

/// Number of allocations so far, of all threads.
extern std::atomic<long> allocations;

/// Makes the n-th allocation of all other threads together fail, counted from 1, as long as it lives. One at a time.
class failing_allocation_elsewhere
{
public:
    explicit failing_allocation_elsewhere(long n);
    failing_allocation_elsewhere(const failing_allocation_elsewhere&) = delete;
    failing_allocation_elsewhere& operator=(const failing_allocation_elsewhere&) = delete;
    ~failing_allocation_elsewhere();

    /// Whether there were so many.
    bool has_failed() const;
};

/// Makes the n-th allocation of the calling thread fail, counted from 1, as long as it lives. One at a time.
class failing_allocation
{
public:
    explicit failing_allocation(long n);
    failing_allocation(const failing_allocation&) = delete;
    failing_allocation& operator=(const failing_allocation&) = delete;
    ~failing_allocation();

    /// Whether there were so many.
    bool has_failed() const;
};

} // namespace trox_test

#endif
