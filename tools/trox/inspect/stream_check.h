// Decompresses payloads to see that they can be, keeping their first bytes only.
#ifndef TROX_INSPECT_STREAM_CHECK_H
#define TROX_INSPECT_STREAM_CHECK_H

#include "input_file.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace trox::inspect
{

/// A compressed payload in a file.
struct zipped_payload {
    std::uint64_t position = 0;
    std::uint32_t zipped = 0;   ///< bytes in the file
    std::uint32_t original = 0; ///< bytes that must come out
};

enum class stream_verdict {
    good,
    broken,    ///< not a stream of its kind, or it does not end
    too_short, ///< fewer bytes than announced
    too_long,
    unchecked ///< no decompressor, or too large
};

/// The first bytes of a payload: no head of a block type is longer.
using payload_head = std::array<unsigned char, 512>;

/// Work areas of one thread, taken when they are needed first.
class stream_checker
{
public:
    stream_checker(const input_file& file, std::uint64_t largest);
    ~stream_checker();
    stream_checker(const stream_checker&) = delete;
    stream_checker& operator=(const stream_checker&) = delete;

    /// Puts the first bytes of the payload into `head`. A zlib stream passes through a window, whatever its size.
    stream_verdict check_zlib(const zipped_payload& payload, payload_head& head);
    /// The same for LZO1X, which needs the whole payload in memory.
    stream_verdict check_lzo(const zipped_payload& payload, payload_head& head);

private:
    struct inflater;
    const input_file& file_;
    const std::uint64_t largest_;
    std::unique_ptr<inflater> inflater_;
    std::vector<unsigned char> in_;
    std::vector<unsigned char> out_;
};

} // namespace trox::inspect

#endif
