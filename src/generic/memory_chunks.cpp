#include "generic/memory_chunks.h"

#include "generic/os_calls.h"
#include "generic/page_pool.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace trox_detail
{

namespace
{

// AddressSanitizer watches the bounds of malloc'd blocks only: in its builds every allocation is one.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool separate_blocks = true;
#elif defined(__has_feature)
constexpr bool separate_blocks = __has_feature(address_sanitizer);
#else
constexpr bool separate_blocks = false;
#endif

constexpr std::size_t rounded_up(std::size_t size, std::size_t unit) noexcept
{
    return (size + unit - 1) / unit * unit;
}

} // namespace

memory_chunk memory_chunk::take(std::size_t size) noexcept
{
    void* const data = separate_blocks ? os().malloc(size) : os().take_pages(size);
    return {static_cast<unsigned char*>(data), data != nullptr ? size : 0};
}

memory_chunk::~memory_chunk()
{
    if (data_ == nullptr) {
        return;
    }
    if (separate_blocks) {
        std::free(data_);
    } else {
        give_pages(data_, size_);
    }
}

memory_chunk::memory_chunk(memory_chunk&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0))
{
}

memory_chunk& memory_chunk::operator=(memory_chunk&& other) noexcept
{
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
}

/// Chunks grow, so that few records take little. They end at a common size, and room for some records where these are
/// large: chunks of the same size are what the pool can hand out again.
std::size_t record_arena::next_chunk(std::size_t wanted) const noexcept
{
    constexpr std::size_t smallest = 4096;
    constexpr std::size_t usual = std::size_t{2} << 20;
    constexpr std::size_t largest = std::size_t{32} << 20;
    constexpr std::size_t records = 8;
    const std::size_t grown = chunks_.empty() ? smallest : std::min(2 * chunks_.back().size(), usual);
    if (wanted <= usual / records) {
        return std::max(grown, wanted);
    }
    return wanted < largest / records ? records * wanted : std::max(largest, wanted);
}

void* record_arena::allocate(std::size_t size) noexcept
try {
    constexpr std::size_t alignment = 8;
    const std::size_t wanted = rounded_up(size, alignment);
    if (wanted < size) {
        return nullptr;
    }
    if (chunks_.empty() || separate_blocks || wanted > chunks_.back().size() - used_) {
        memory_chunk chunk = memory_chunk::take(separate_blocks ? size : next_chunk(wanted));
        if (chunk.data() == nullptr) {
            return nullptr;
        }
        chunks_.push_back(std::move(chunk));
        used_ = 0;
    }
    unsigned char* place = chunks_.back().data() + used_;
    used_ += wanted;
    return place;
} catch (const std::bad_alloc&) {
    return nullptr;
}

void record_arena::rewind(mark to) noexcept
{
    chunks_.erase(chunks_.begin() + static_cast<std::ptrdiff_t>(to.chunks), chunks_.end());
    used_ = to.used;
}

} // namespace trox_detail
