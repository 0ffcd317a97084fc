// Memory for decoded records and basket copies.
#ifndef TROX_GENERIC_MEMORY_CHUNKS_H
#define TROX_GENERIC_MEMORY_CHUNKS_H

#include <cstddef>
#include <vector>

namespace trox_detail
{

/// A piece of memory in whole pages; gives itself back when it ends. Content is unspecified. Pieces are independent;
/// any thread may take and end one.
class memory_chunk
{
public:
    memory_chunk() = default;
    /// At least `size` bytes, or an empty piece when there is no memory.
    static memory_chunk take(std::size_t size) noexcept;
    ~memory_chunk();
    memory_chunk(memory_chunk&& other) noexcept;
    memory_chunk& operator=(memory_chunk&& other) noexcept;

    unsigned char* data() const noexcept
    {
        return data_;
    }
    std::size_t size() const noexcept
    {
        return size_;
    }

private:
    memory_chunk(unsigned char* data, std::size_t size) noexcept : data_(data), size_(size) {}

    unsigned char* data_ = nullptr;
    std::size_t size_ = 0;
};

/// What the records that one worker decodes lie in: taken piece by piece, released as a whole. One thread at a time.
class record_arena
{
public:
    /// A place to return to.
    struct mark {
        std::size_t chunks = 0;
        std::size_t used = 0;
    };

    /// `size` bytes at a multiple of 8, or null when there is no memory. Lives until the arena ends or is rewound.
    void* allocate(std::size_t size) noexcept;
    mark position() const noexcept
    {
        return {chunks_.size(), used_};
    }
    /// Gives back what was allocated since `to`.
    void rewind(mark to) noexcept;

private:
    std::size_t next_chunk(std::size_t wanted) const noexcept;

    std::vector<memory_chunk> chunks_; // the last one is in use
    std::size_t used_ = 0;             // bytes of it
};

} // namespace trox_detail

#endif
