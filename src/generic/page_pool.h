// Memory in whole pages, from huge pages that many takers share.
#ifndef TROX_GENERIC_PAGE_POOL_H
#define TROX_GENERIC_PAGE_POOL_H

#include <cstddef>

namespace trox_detail
{

/// At least `size` bytes at the start of a page, or null when there is no memory; `size` becomes what is usable.
/// Content is unspecified. Stepping through the records of hundreds of channels touches as many places: on huge
/// pages, which the pieces of many channels share, their addresses stay known to the processor. Any thread.
void* take_pages(std::size_t& size) noexcept;

/// Gives back what `take_pages` gave, with the size that it answered. A bounded part stays with the process, since
/// pages that are touched for the first time cost as much as copying into them. Any thread.
void give_pages(void* pages, std::size_t size) noexcept;

} // namespace trox_detail

#endif
