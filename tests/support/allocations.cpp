#include "allocations.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local long allocations_left = 0; // until one fails; 0 when none does

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

} // namespace trox_test

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++trox_test::allocations;
    if (allocations_left > 0 && --allocations_left == 0) {
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
