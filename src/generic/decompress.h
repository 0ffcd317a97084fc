// What this build's decompressors can do.
#ifndef TROX_GENERIC_DECOMPRESS_H
#define TROX_GENERIC_DECOMPRESS_H

#include "detail/decompressors.h"

#include <cstdint>

namespace trox_detail
{

// Exported for this project's other libraries and programs.

/// True when this build decompresses LZO.
[[gnu::visibility("default")]] bool has_lzo() noexcept;

/// True when `original` bytes can come from `zipped` bytes of a zlib or LZO1X stream at all. No stream of either
/// kind expands further, so a larger announcement is damage and nothing is allocated for it.
[[gnu::visibility("default")]] bool can_expand_to(std::uint64_t zipped, std::uint64_t original, bool lzo) noexcept;

} // namespace trox_detail

#endif
