// Whether a compressed stream is sound, found out without room for what it holds.
#ifndef TROX_TROX_STREAM_CHECK_H
#define TROX_TROX_STREAM_CHECK_H

#include "generic/record_decoder.h"
#include "trox/file_window.h"

#include <cstdint>

namespace trox::detail
{

/// Inflates the zlib stream at [at, at + length) of the window's file piece by piece, into nowhere. `damaged_stream`,
/// `stream_size` when it does not give `announced` bytes, `none` when it is sound or could not be looked at.
trox_detail::decode_failure check_zlib_stream(file_window& window, std::uint64_t at, std::uint64_t length,
                                              std::uint64_t announced) noexcept;

} // namespace trox::detail

#endif
