// Memory of decoded records that goes back to the system when it must, and is reused while it may.
#ifndef TROX_TROX_MEMORY_POOL_H
#define TROX_TROX_MEMORY_POOL_H

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>

namespace trox::detail
{

/// Blocks of whole pages. What is in use and what is kept for reuse stay together within a limit as long as what is in
/// use does; a general allocator would hold on to freed memory in as many heaps as there are threads. Any thread.
class memory_pool
{
public:
    static constexpr std::size_t page = 4096;

    explicit memory_pool(std::size_t limit) noexcept : limit_(limit) {}
    memory_pool(const memory_pool&) = delete;
    memory_pool& operator=(const memory_pool&) = delete;
    /// All that was taken must have been given back.
    ~memory_pool();

    /// At least `least` bytes, at most `most`; `size` becomes what they are. Null when there are none. Content is
    /// unspecified.
    unsigned char* take(std::size_t least, std::size_t most, std::size_t& size) noexcept;
    void give(unsigned char* memory, std::size_t size) noexcept;
    /// Keeps nothing any more.
    void close() noexcept;

private:
    void drop_kept(std::size_t bytes) noexcept;

    std::mutex mutex_; // guards all below
    std::size_t limit_;
    std::size_t used_ = 0;
    std::size_t kept_ = 0;
    std::multimap<std::size_t, unsigned char*> free_; // by size
};

/// Returns a block to where it came from.
struct block_return {
    std::shared_ptr<memory_pool> pool{}; ///< null: from the heap
    std::size_t size = 0;
    void operator()(unsigned char* memory) const noexcept;
};
using memory_block = std::unique_ptr<unsigned char, block_return>;

/// A block of `least` to `most` bytes, from the pool when there is one and it is large enough for whole pages. Null
/// when there is no memory.
memory_block take_block(const std::shared_ptr<memory_pool>& pool, std::size_t least, std::size_t most) noexcept;

} // namespace trox::detail

#endif
