#include "trox/memory_pool.h"

#include <algorithm>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace trox::detail
{

namespace
{

constexpr std::size_t smallest_pooled = std::size_t{32} << 10;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool uses_pages = false; // the heap's blocks are watched
#else
constexpr bool uses_pages = true;
#endif

} // namespace

memory_pool::~memory_pool()
{
    close();
}

void memory_pool::close() noexcept
{
    const std::lock_guard lock(mutex_);
    limit_ = 0;
    drop_kept(kept_);
}

/// Unmaps the largest blocks first, until so many bytes are gone.
void memory_pool::drop_kept(std::size_t bytes) noexcept
{
    std::size_t dropped = 0;
    while (dropped < bytes && !free_.empty()) {
        const auto last = std::prev(free_.end());
        ::munmap(last->second, last->first);
        kept_ -= last->first;
        dropped += last->first;
        free_.erase(last);
    }
}

unsigned char* memory_pool::take(std::size_t least, std::size_t most, std::size_t& size) noexcept
{
    const std::lock_guard lock(mutex_);
    const auto found = free_.lower_bound(least);
    if (found != free_.end() && found->first <= most) {
        size = found->first;
        unsigned char* const memory = found->second;
        kept_ -= size;
        used_ += size;
        free_.erase(found);
        return memory;
    }
    size = (least + page - 1) / page * page;
    if (size > most) {
        return nullptr;
    }
    const std::size_t occupied = used_ + kept_ + size;
    drop_kept(occupied > limit_ ? occupied - limit_ : 0);
    void* const mapped = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
        return nullptr;
    }
    used_ += size;
    return static_cast<unsigned char*>(mapped);
}

void memory_pool::give(unsigned char* memory, std::size_t size) noexcept
{
    const std::lock_guard lock(mutex_);
    used_ -= size;
    try {
        if (used_ + kept_ + size <= limit_) {
            free_.emplace(size, memory);
            kept_ += size;
            return;
        }
    } catch (const std::bad_alloc&) { // not kept
    }
    ::munmap(memory, size);
}

void block_return::operator()(unsigned char* memory) const noexcept
{
    if (pool != nullptr) {
        pool->give(memory, size);
    } else {
        ::operator delete(memory);
    }
}

memory_block take_block(const std::shared_ptr<memory_pool>& pool, std::size_t least, std::size_t most) noexcept
{
    if (uses_pages && pool != nullptr && least >= smallest_pooled) {
        // A block of a fourth more is better than fresh pages.
        std::size_t size = 0;
        if (unsigned char* memory = pool->take(least, std::min(most, least + least / 4), size)) {
            return {memory, block_return{pool, size}};
        }
    }
    return {static_cast<unsigned char*>(::operator new(least, std::nothrow)), block_return{nullptr, least}};
}

} // namespace trox::detail
