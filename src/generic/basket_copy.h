// A channel's basket: a heap copy, filled by the threads that decode from it, or a mapping.
#ifndef TROX_GENERIC_BASKET_COPY_H
#define TROX_GENERIC_BASKET_COPY_H

#include "generic/basket_memory.h"
#include "generic/memory_chunks.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace trox_detail
{

enum class basket_kind { copied, mapped };

/// Bytes of a file. A copy is made in stripes, each when it is first needed: so the copying runs on all workers, and
/// what was just copied is decoded from the cache; it reads through the descriptor: a file that is cut meanwhile is an
/// error, not a fault. After `open` any number of threads may call `fetch` and `fetch_all`.
class basket_copy
{
public:
    explicit basket_copy(basket_kind kind = basket_kind::copied) noexcept : kind_(kind) {}

    /// Prepares the bytes of the basket at `position`; checks its head.
    basket_status open(int fd, std::uint64_t file_length, std::uint64_t position, const basket_shape& shape);
    /// Prepares those of [position, position + length), whatever lies there; false when it cannot.
    bool open_range(int fd, std::uint64_t file_length, std::uint64_t position, std::uint64_t length);

    /// Address of [at, at + size), which is then filled; null when it lies outside or cannot be read.
    const unsigned char* fetch(std::uint64_t at, std::uint64_t size) noexcept;
    /// Fills all that is not yet filled; false when something cannot be read.
    bool fetch_all() noexcept;

    unsigned char* data() const noexcept
    {
        return kind_ == basket_kind::mapped ? mapping_.data() : memory_.data();
    }
    /// Start of the copy, or of the mapping, and bytes from there to the basket's end (of a copy as if it were mapped).
    unsigned char* base() const noexcept
    {
        return kind_ == basket_kind::mapped ? mapping_.base() : data();
    }
    std::uint64_t base_size() const noexcept;
    /// File position of `base`.
    std::uint64_t offset() const noexcept
    {
        return kind_ == basket_kind::mapped ? mapping_.offset() : position();
    }
    std::uint64_t position() const noexcept
    {
        return range_.position;
    }
    std::uint64_t length() const noexcept
    {
        return range_.length;
    }
    /// The bytes, filled or not.
    byte_range range() const noexcept
    {
        return range_;
    }

private:
    enum class stripe_state : unsigned char { empty, filling, filled, unreadable };

    bool fill(std::uint64_t stripe) noexcept;
    stripe_state try_fill(std::uint64_t stripe) noexcept;
    bool read_stripe(std::uint64_t stripe) noexcept;
    std::uint64_t stripes() const noexcept;

    basket_kind kind_;
    int fd_ = -1;
    basket_memory mapping_;
    memory_chunk memory_;
    byte_range range_;
    std::unique_ptr<std::atomic<stripe_state>[]> states_;
};

} // namespace trox_detail

#endif
