#include "generic/memory_chunks.h"

#include "generic/os_calls.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <sys/mman.h>
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

constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t kept_at_most = std::size_t{64} << 20;

constexpr std::size_t rounded_up(std::size_t size, std::size_t unit) noexcept
{
    return (size + unit - 1) / unit * unit;
}

/// Pieces given back, up to a bound.
class chunk_store
{
public:
    /// A kept piece of at least `size` bytes but not over twice as much.
    std::pair<unsigned char*, std::size_t> take(std::size_t size) noexcept
    {
        const std::lock_guard lock(mutex_);
        for (auto piece = pieces_.begin(); piece != pieces_.end(); ++piece) {
            if (piece->second >= size && piece->second / 2 <= size) {
                const auto taken = *piece;
                kept_ -= taken.second;
                pieces_.erase(piece);
                return taken;
            }
        }
        return {nullptr, 0};
    }

    /// False when the piece would pass the bound.
    bool keep(unsigned char* data, std::size_t size) noexcept
    try {
        const std::lock_guard lock(mutex_);
        if (size > kept_at_most - kept_) {
            return false;
        }
        pieces_.emplace_back(data, size);
        kept_ += size;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }

private:
    std::mutex mutex_;
    std::vector<std::pair<unsigned char*, std::size_t>> pieces_;
    std::size_t kept_ = 0;
};

/// Lives as long as the process: readers may end in destructors of static objects.
chunk_store& store()
{
    static auto* const instance = new chunk_store;
    return *instance;
}

/// Anonymous memory that begins at a huge page.
unsigned char* map_huge_pages(std::size_t size) noexcept
{
    constexpr std::size_t slack = huge_page;
    void* mapped =
        os().mmap(nullptr, size + slack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) {
        return nullptr;
    }
    auto* begin = static_cast<unsigned char*>(mapped);
    const auto address = reinterpret_cast<std::uintptr_t>(begin);
    const std::size_t front = rounded_up(address, huge_page) - address;
    if (front != 0) {
        ::munmap(begin, front);
    }
    ::munmap(begin + front + size, slack - front); // never empty: front is less than a huge page
    ::madvise(begin + front, size, MADV_HUGEPAGE); // a wish; ordinary pages serve as well
    return begin + front;
}

} // namespace

memory_chunk memory_chunk::take(std::size_t size) noexcept
{
    if (size < huge_page || separate_blocks) {
        return {static_cast<unsigned char*>(os().malloc(size)), size};
    }
    const std::size_t whole = rounded_up(size, huge_page);
    if (whole < size) {
        return {};
    }
    const auto [kept, kept_size] = store().take(whole);
    return kept != nullptr ? memory_chunk(kept, kept_size) : memory_chunk(map_huge_pages(whole), whole);
}

memory_chunk::~memory_chunk()
{
    if (data_ == nullptr) {
        return;
    }
    if (size_ < huge_page || separate_blocks) {
        std::free(data_);
    } else if (!store().keep(data_, size_)) {
        ::munmap(data_, size_);
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

void* record_arena::allocate(std::size_t size) noexcept
try {
    constexpr std::size_t alignment = 8;
    constexpr std::size_t smallest_chunk = 4096;
    constexpr std::size_t largest_chunk = std::size_t{32} << 20;
    const std::size_t wanted = rounded_up(size, alignment);
    if (chunks_.empty() || separate_blocks || wanted > chunks_.back().size() - used_) {
        const std::size_t next = chunks_.empty() ? smallest_chunk : std::min(2 * chunks_.back().size(), largest_chunk);
        memory_chunk chunk = memory_chunk::take(separate_blocks ? size : std::max(next, wanted));
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
