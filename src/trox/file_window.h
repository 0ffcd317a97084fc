// A piece of a file in memory, moved on as it is asked for other bytes.
#ifndef TROX_TROX_FILE_WINDOW_H
#define TROX_TROX_FILE_WINDOW_H

#include "generic/basket_memory.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace trox::detail
{

/// Reads with pread into memory that it keeps: a file that is cut meanwhile gives an error, not a fault. One thread.
class file_window
{
public:
    /// Lets the window look at [begin, end) of a file; reads `ahead` bytes at once when it must read. `file` tells
    /// files apart, which descriptors do not: they are used again.
    void look_at(std::uint64_t file, int fd, std::uint64_t begin, std::uint64_t end, std::size_t ahead) noexcept;
    /// Address of [at, at + size), valid until the next call; null when it lies outside or cannot be read.
    const unsigned char* fetch(std::uint64_t at, std::uint64_t size) noexcept;
    const unsigned char* find(std::uint64_t at, std::uint64_t size) noexcept
    {
        return fetch(at, size);
    }
    /// The bytes that it may look at; they are not at an address.
    trox_detail::byte_range range() const noexcept
    {
        return {nullptr, begin_, end_ - begin_};
    }

private:
    bool load(std::uint64_t at, std::uint64_t size) noexcept;

    std::uint64_t file_ = 0;
    int fd_ = -1;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
    std::size_t ahead_ = 0;
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t capacity_ = 0;
    std::uint64_t at_ = 0; // what the buffer holds
    std::size_t held_ = 0;
};

} // namespace trox::detail

#endif
