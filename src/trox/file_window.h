// A piece of a file in memory, moved on as it is asked for other bytes.
#ifndef TROX_TROX_FILE_WINDOW_H
#define TROX_TROX_FILE_WINDOW_H

#include "generic/basket_memory.h"
#include "trox/decoded.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace trox::detail
{

/// Reads with pread into memory that it keeps: a file that is cut meanwhile gives an error, not a fault. A large piece
/// is read into memory that it does not keep. One thread.
class file_window
{
public:
    file_window() = default;
    ~file_window()
    {
        give_back();
    }
    file_window(const file_window&) = delete;
    file_window& operator=(const file_window&) = delete;

    /// What is read together with a piece, since it will be asked for next.
    enum class reach { behind, before };

    /// Lets the window look at [begin, end) of a file; reads `bytes` at once when it must read. `file` tells files
    /// apart, which descriptors do not: they are used again.
    void look_at(std::uint64_t file, int fd, std::uint64_t begin, std::uint64_t end, std::size_t bytes,
                 reach also = reach::behind) noexcept;
    /// Address of [at, at + size), valid until the next call; null when it lies outside or cannot be read.
    const unsigned char* fetch(std::uint64_t at, std::uint64_t size) noexcept;
    /// The same; a large piece is read into `room`, which must have space for it.
    const unsigned char* fetch_into(std::uint64_t at, std::uint64_t size, unsigned char* room) noexcept;
    const unsigned char* find(std::uint64_t at, std::uint64_t size) noexcept
    {
        return fetch(at, size);
    }
    /// The bytes that it may look at; they are not at an address.
    trox_detail::byte_range range() const noexcept
    {
        return {nullptr, begin_, end_ - begin_};
    }

    /// Large pieces lie in memory of `lender` (null: of the heap) from now on, until they are given back.
    void borrow_from(batch_arena* lender) noexcept;
    void give_back() noexcept;
    /// Why a piece inside could not be read since `forget_failure`: 0 when all could, an error number, or `cut`.
    static constexpr int cut = -1;
    int failure() const noexcept
    {
        return failure_;
    }
    void forget_failure() noexcept
    {
        failure_ = 0;
    }

private:
    bool load(std::uint64_t at, std::uint64_t size) noexcept;
    unsigned char* room_for(std::uint64_t size) noexcept;
    std::size_t read(std::uint64_t at, std::uint64_t least, std::uint64_t most, unsigned char* to) noexcept;
    bool fill(std::uint64_t at, std::uint64_t least, std::uint64_t most, unsigned char* to) noexcept;

    std::uint64_t file_ = 0;
    int fd_ = -1;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
    std::size_t bytes_ = 0; // that are read at once
    reach also_ = reach::behind;
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t capacity_ = 0;
    batch_arena* lender_ = nullptr;
    memory_block borrowed_;               // for a large piece
    const unsigned char* data_ = nullptr; // the buffer, or what is borrowed
    std::uint64_t at_ = 0;                // what is there
    std::size_t held_ = 0;
    int failure_ = 0;
};

} // namespace trox::detail

#endif
