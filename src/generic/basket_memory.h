// A basket of a data file in memory: mapped, or copied to the heap.
#ifndef TROX_GENERIC_BASKET_MEMORY_H
#define TROX_GENERIC_BASKET_MEMORY_H

#include <cstddef>
#include <cstdint>

namespace trox_detail
{

/// Bytes of a file that are in memory, looked up by file position.
struct byte_range {
    const unsigned char* base = nullptr; ///< where `position` lies in memory
    std::uint64_t position = 0;          ///< file position of the first byte
    std::uint64_t length = 0;

    /// Address of [at, at + size), or null when it does not lie inside.
    const unsigned char* find(std::uint64_t at, std::uint64_t size) const noexcept
    {
        const bool inside = at >= position && at - position <= length && size <= length - (at - position);
        return inside ? base + (at - position) : nullptr;
    }
    /// Bytes from `at`, which lies inside, to the end.
    std::uint64_t rest(std::uint64_t at) const noexcept
    {
        return length - (at - position);
    }
};

/// How the head of a kind of basket looks.
struct basket_shape {
    std::size_t word;      ///< bytes of `pattern` and of `length`: 4 or 8
    std::size_t fixed;     ///< bytes of head and first record, which are mapped to read the head
    std::uint64_t pattern; ///< what `pattern` must be
};

enum class basket_status {
    loaded,
    head_failed, ///< position outside the file, wrong pattern, or the mapping failed; errno tells
    body_failed  ///< the length does not fit the file, or mapping or copying failed; errno tells
};

/// False (and errno set) when a file was cut since its length was taken: its mapping would fault there.
bool is_still_there(int fd, std::uint64_t position, std::uint64_t length) noexcept;

/// Reads and checks the head of the basket at `position`; `length` receives the bytes of the whole basket. Exported for
/// this project's other libraries.
[[gnu::visibility("default")]] basket_status read_basket_head(int fd, std::uint64_t file_length, std::uint64_t position,
                                                              const basket_shape& shape, std::uint64_t& length);

/// Owns one basket's memory. Exported for this project's other libraries.
class [[gnu::visibility("default")]] basket_memory
{
public:
    basket_memory() = default;
    ~basket_memory();
    basket_memory(const basket_memory&) = delete;
    basket_memory& operator=(const basket_memory&) = delete;

    /// Brings the basket at `position` into memory, mapped or as a copy.
    basket_status load_mapped(int fd, std::uint64_t file_length, std::uint64_t position, const basket_shape& shape);
    basket_status load_copy(int fd, std::uint64_t file_length, std::uint64_t position, const basket_shape& shape);
    /// Maps [position, position + length) of a file, whatever lies there; false, and errno, when it cannot.
    bool map_range(int fd, std::uint64_t position, std::uint64_t length);
    void release() noexcept;

    /// Start of the mapping; after a copy the place where it was.
    unsigned char* base() const noexcept
    {
        return base_;
    }
    std::size_t base_size() const noexcept
    {
        return base_size_;
    }
    /// File position of what `data` of a copy, or `base` of a mapping, points at.
    std::uint64_t offset() const noexcept
    {
        return copied_ ? position_ : position_ - static_cast<std::uint64_t>(data_ - base_);
    }
    /// First byte of the basket, null while nothing is loaded.
    unsigned char* data() const noexcept
    {
        return data_;
    }
    std::uint64_t length() const noexcept
    {
        return length_;
    }
    byte_range range() const noexcept
    {
        return {data_, position_, length_};
    }

private:
    bool copy_from_mapping();

    unsigned char* base_ = nullptr;
    std::size_t base_size_ = 0;
    unsigned char* data_ = nullptr;
    std::uint64_t position_ = 0;
    std::uint64_t length_ = 0;
    bool copied_ = false;
};

} // namespace trox_detail

#endif
