#include "allocations.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace
{

thread_local long allocations_left = 0; // until one fails; 0 when none does
thread_local bool is_spared = false;    // from failing elsewhere
std::atomic<long> left_elsewhere{0};    // until one fails; 0 or less when none does
std::atomic<bool> fails_elsewhere{false};
constexpr std::size_t none_is_large = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> large{none_is_large}; // these and larger ones fail

} // namespace

namespace trox_test
{

std::atomic<long> allocations{0};

failing_allocation::failing_allocation(long n)
{
    allocations_left = n;
}

failing_allocation::~failing_allocation()
{
    allocations_left = 0;
}

bool failing_allocation::has_failed() const
{
    return allocations_left == 0;
}

failing_allocation_elsewhere::failing_allocation_elsewhere(long n)
{
    is_spared = true;
    left_elsewhere = n;
}

failing_allocation_elsewhere::~failing_allocation_elsewhere()
{
    left_elsewhere = 0;
    is_spared = false;
}

bool failing_allocation_elsewhere::has_failed() const
{
    return left_elsewhere <= 0;
}

failing_allocations_elsewhere::failing_allocations_elsewhere()
{
    is_spared = true;
    fails_elsewhere = true;
}

failing_allocations_elsewhere::~failing_allocations_elsewhere()
{
    fails_elsewhere = false;
    is_spared = false;
}

failing_large_allocations::failing_large_allocations(std::size_t bytes)
{
    large = bytes;
}

failing_large_allocations::~failing_large_allocations()
{
    large = none_is_large;
}

} // namespace trox_test

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++trox_test::allocations;
    if (size >= large || (fails_elsewhere && !is_spared)) {
        return nullptr;
    }
    if (allocations_left > 0 && --allocations_left == 0) {
        return nullptr;
    }
    if (left_elsewhere > 0 && !is_spared && --left_elsewhere == 0) {
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}
void* operator new(std::size_t size)
{
    void* const block = operator new(size, std::nothrow);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
