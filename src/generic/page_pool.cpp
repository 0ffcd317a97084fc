#include "generic/page_pool.h"

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <utility>
#include <vector>

namespace trox_detail
{

namespace
{

constexpr std::size_t page = 4096;
constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t kept_at_most = std::size_t{256} << 20;

constexpr std::size_t rounded_up(std::size_t size, std::size_t unit) noexcept
{
    return (size + unit - 1) / unit * unit;
}

/// Anonymous memory that begins at a huge page.
unsigned char* map_huge_pages(std::size_t size) noexcept
{
    constexpr std::size_t slack = huge_page;
    void* mapped =
        ::mmap(nullptr, size + slack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
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

/// Whole huge pages: mapped, and kept for reuse up to a bound when they are given back.
class huge_page_store
{
public:
    huge_page_store() = default;
    huge_page_store(const huge_page_store&) = delete;
    huge_page_store& operator=(const huge_page_store&) = delete;
    ~huge_page_store()
    {
        for (const auto& [data, size] : pieces_) {
            ::munmap(data, size);
        }
    }

    /// From `size` bytes up to `most`, as few as there are; `size` becomes what it is.
    unsigned char* take(std::size_t& size, std::size_t most) noexcept
    {
        auto best = pieces_.end();
        for (auto piece = pieces_.begin(); piece != pieces_.end(); ++piece) {
            if (piece->second >= size && piece->second <= most &&
                (best == pieces_.end() || piece->second < best->second)) {
                best = piece;
            }
        }
        if (best == pieces_.end()) {
            return map_huge_pages(size);
        }
        const auto [taken, taken_size] = *best;
        *best = pieces_.back();
        pieces_.pop_back();
        kept_ -= taken_size;
        size = taken_size;
        return taken;
    }

    void give(unsigned char* data, std::size_t size) noexcept
    {
        if (!keep(data, size)) {
            ::munmap(data, size);
        }
    }

private:
    bool keep(unsigned char* data, std::size_t size) noexcept
    try {
        if (size > kept_at_most - kept_) {
            return false;
        }
        pieces_.emplace_back(data, size);
        kept_ += size;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }

    std::vector<std::pair<unsigned char*, std::size_t>> pieces_;
    std::size_t kept_ = 0;
};

/// One huge page, shared by the takers of smaller pieces.
class shared_block
{
public:
    static constexpr std::size_t pages = huge_page / page;

    /// The first of `count` free pages in a row, `pages` when there are not so many.
    std::size_t take(std::size_t count) noexcept
    {
        if (count > longest_) {
            return pages;
        }
        std::size_t run = 0;
        std::size_t longest = 0;
        for (std::size_t i = 0; i < pages; ++i) {
            run = used_[i] ? 0 : run + 1;
            longest = std::max(longest, run);
            if (run == count) {
                mark(i + 1 - count, count, true);
                return i + 1 - count;
            }
        }
        longest_ = longest;
        return pages;
    }

    void give(std::size_t first, std::size_t count) noexcept
    {
        mark(first, count, false);
        longest_ = pages;
    }

    bool is_empty() const noexcept
    {
        return used_.none();
    }

private:
    void mark(std::size_t first, std::size_t count, bool used) noexcept
    {
        for (std::size_t i = first; i < first + count; ++i) {
            used_[i] = used;
        }
    }

    std::bitset<pages> used_;
    std::size_t longest_ = pages; // no more free pages in a row than these
};

} // namespace

/// Takes go on where the last one succeeded: what is taken together lies together, and mostly goes together.
class page_pool::state
{
public:
    void* take(std::size_t& size) noexcept
    try {
        const std::lock_guard lock(mutex_);
        if (size > huge_page) {
            const std::size_t whole = rounded_up(size, huge_page);
            if (whole < size) {
                return nullptr;
            }
            size = whole;
            return store_.take(size, 2 * whole);
        }
        size = rounded_up(std::max<std::size_t>(size, 1), page);
        const std::size_t count = size / page;
        constexpr int most_tries = 32;
        for (int tries = 0; tries < most_tries && !blocks_.empty(); ++tries) {
            if (last_ == blocks_.end()) {
                last_ = blocks_.begin();
            }
            if (const std::size_t first = last_->second.take(count); first != shared_block::pages) {
                return reinterpret_cast<unsigned char*>(last_->first) + first * page;
            }
            ++last_;
        }
        return take_from_new_block(count);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }

    void give(void* pages, std::size_t size) noexcept
    {
        const std::lock_guard lock(mutex_);
        if (size > huge_page) {
            store_.give(static_cast<unsigned char*>(pages), size);
            return;
        }
        const auto address = reinterpret_cast<std::uintptr_t>(pages);
        const auto block = blocks_.find(address / huge_page * huge_page);
        block->second.give(address % huge_page / page, size / page);
        if (block->second.is_empty()) {
            if (block == last_) {
                ++last_;
            }
            store_.give(reinterpret_cast<unsigned char*>(block->first), huge_page);
            blocks_.erase(block);
        }
    }

private:
    void* take_from_new_block(std::size_t count)
    {
        auto node = blocks_.try_emplace(0).first; // before the memory, which would be lost if there were none for it
        std::size_t size = huge_page;
        unsigned char* memory = store_.take(size, huge_page);
        auto extracted = blocks_.extract(node);
        if (memory == nullptr) {
            return nullptr;
        }
        extracted.key() = reinterpret_cast<std::uintptr_t>(memory);
        last_ = blocks_.insert(std::move(extracted)).position;
        return memory + last_->second.take(count) * page;
    }

    std::mutex mutex_;
    huge_page_store store_;
    std::map<std::uintptr_t, shared_block> blocks_; // by address
    std::map<std::uintptr_t, shared_block>::iterator last_ = blocks_.end();
};

page_pool::page_pool() : state_(std::make_unique<state>()) {}

page_pool::~page_pool() = default;

void* page_pool::take(std::size_t& size) noexcept
{
    return state_->take(size);
}

void page_pool::give(void* pages, std::size_t size) noexcept
{
    state_->give(pages, size);
}

namespace
{

/// Lives as long as the process: readers may end in destructors of static objects.
page_pool& pool()
{
    static auto* const instance = new page_pool;
    return *instance;
}

} // namespace

void* take_pages(std::size_t& size) noexcept
try {
    return pool().take(size);
} catch (const std::bad_alloc&) { // for the pool itself, at the first call
    return nullptr;
}

void give_pages(void* pages, std::size_t size) noexcept
{
    pool().give(pages, size);
}

} // namespace trox_detail
