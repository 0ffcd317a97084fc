// How many decompression threads a channel gets.
#ifndef TROX_GENERIC_THREAD_COUNT_H
#define TROX_GENERIC_THREAD_COUNT_H

#include <cstdint>

namespace trox_detail
{

/// From the channel's block types and event types (the masks of its dictionary entry), before any bound.
int preferred_thread_count(std::uint32_t dtype_mask, std::uint32_t ev_mask) noexcept;

} // namespace trox_detail

#endif
