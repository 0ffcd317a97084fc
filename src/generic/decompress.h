// What this build's decompressors can do.
#ifndef TROX_GENERIC_DECOMPRESS_H
#define TROX_GENERIC_DECOMPRESS_H

#include "detail/decompressors.h"

#include <cstdint>

namespace trox_detail
{

/// True when this build decompresses LZO.
bool has_lzo() noexcept;

/// True when `original` bytes can come from `zipped` bytes of a zlib or LZO1X stream at all. No stream of either
/// kind expands further, so a larger announcement is damage and nothing is allocated for it.
bool can_expand_to(std::uint64_t zipped, std::uint64_t original, bool lzo) noexcept;

} // namespace trox_detail

#endif
