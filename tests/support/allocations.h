// What the test program allocates with new: counted, and made to fail.
#ifndef TROX_TEST_ALLOCATIONS_H
#define TROX_TEST_ALLOCATIONS_H

#include <atomic>
#include <cstddef>

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

/// Makes all allocations of all other threads fail, as long as it lives. One at a time.
class failing_allocations_elsewhere
{
public:
    failing_allocations_elsewhere();
    failing_allocations_elsewhere(const failing_allocations_elsewhere&) = delete;
    failing_allocations_elsewhere& operator=(const failing_allocations_elsewhere&) = delete;
    ~failing_allocations_elsewhere();
};

/// Makes all allocations fail that are of so many bytes or more, in all threads, as long as it lives. One at a time.
class failing_large_allocations
{
public:
    explicit failing_large_allocations(std::size_t bytes);
    failing_large_allocations(const failing_large_allocations&) = delete;
    failing_large_allocations& operator=(const failing_large_allocations&) = delete;
    ~failing_large_allocations();
};

} // namespace trox_test

#endif
