// Memory in whole pages, from huge pages that many takers share.
#ifndef TROX_GENERIC_PAGE_POOL_H
#define TROX_GENERIC_PAGE_POOL_H

#include <cstddef>
#include <memory>

namespace trox_detail
{

/// Pages that any number of threads take and give back. Stepping through the records of hundreds of channels touches as
/// many places: on huge pages, which the pieces of many channels share, their addresses stay known to the processor.
class page_pool
{
public:
    page_pool();
    page_pool(const page_pool&) = delete;
    page_pool& operator=(const page_pool&) = delete;
    /// Unmaps what was given back; all that was taken must have been.
    ~page_pool();

    /// At least `size` bytes at the start of a page, or null when there is no memory; `size` becomes what is usable.
    /// Content is unspecified.
    void* take(std::size_t& size) noexcept;
    /// Gives back what `take` gave, with the size that it answered. A bounded part is kept, since pages that are
    /// touched for the first time cost as much as copying into them.
    void give(void* pages, std::size_t size) noexcept;

private:
    class state;
    std::unique_ptr<state> state_;
};

/// `take` and `give` of the pool that all readers share.
void* take_pages(std::size_t& size) noexcept;
void give_pages(void* pages, std::size_t size) noexcept;

} // namespace trox_detail

#endif
