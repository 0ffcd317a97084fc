// Decoding one stored record of a channel. No lock, no thread: the workers of a channel reader use it, and so can
// any other code that has a file's baskets in memory.
#ifndef TROX_GENERIC_RECORD_DECODER_H
#define TROX_GENERIC_RECORD_DECODER_H

#include "generic/basket_copy.h"
#include "generic/basket_memory.h"
#include "generic/loaded_file.h"
#include "generic/memory_chunks.h"

#include <cstddef>
#include <string>

namespace trox_detail
{

/// Where the records of one channel of one file are decoded from. Borrowed; must outlive the decoder. Any type with the
/// same members serves: the first two are asked with `find`, the channel's bytes with `fetch`, `range` and, if there
/// is one, `fetch_into`.
template <class Generation> struct record_source {
    byte_range event_headers;
    byte_range server_blocks;
    basket_copy* channel = nullptr;
    const char* name = ""; ///< the channel's name
    int subchan = -1;      ///< the member to cut the block to, -1 for none
};

enum class decode_outcome {
    record,               ///< decoded; its blocks lie in the arena
    record_without_block, ///< a compressed payload did not convert: event header and server block head only
    failed,               ///< not decoded; the next record may be
    failed_hard           ///< not decoded, and a worker gives up
};

/// Why a record was not decoded, or has no block.
enum class decode_failure {
    none,
    outside, ///< a row that is missing, or points outside the baskets
    length,  ///< a length that is negative, or passes the basket's end
    unknown_compressor,
    announced_sizes, ///< sizes of a compressed record that pass the basket, or cannot be true
    damaged_stream,
    stream_size, ///< a stream that gives another size than announced
    payload,     ///< a payload that is too short for its block type
    no_memory
};

/// Decodes records of one channel. Each thread has its own. A failure prints its text, with the thread's id.
template <class Generation, class Source = record_source<Generation>, class Arena = record_arena> class record_decoder
{
public:
    using entry = typename Generation::channel_entry;
    using row = typename Generation::chan_ptr_entry;
    using subhead = typename Generation::subhead;

    /// Decoded records lie in `arena`, which must outlive their use.
    record_decoder(const Source& source, Arena& arena);

    /// Decodes the record that `pointers` (null: `failed_hard`) points at. `out` receives the event's identity and
    /// in the first element of `sbchdata` the addresses of the event header, the server block head, the block (a
    /// sub-head and the payload, in host order) and its payload, all in the arena. After a failure nothing of the
    /// record is left there.
    decode_outcome decode(const row* pointers, entry& out);
    /// Why the last record was not decoded, or has no block.
    decode_failure failure() const noexcept
    {
        return failure_;
    }

private:
    struct stored; // the record's heads, and where they lie
    template <class T> T* allocate(std::size_t size);
    bool locate(const row& pointers, stored& record) const;
    decode_outcome decode_located(const stored& record, entry& out);
    decode_outcome decode_block(const stored& record, subhead*& result);
    decode_outcome unzip(const stored& record, subhead*& result);
    decode_outcome convert_update(const stored& record, subhead*& result);
    decode_outcome convert_environment(const stored& record, subhead*& result);
    decode_outcome convert_plain(const stored& record, subhead*& result);
    bool cut_to_subchannel(bool was_zipped, typename Arena::mark whole, subhead*& result);

    const Source& source_;
    Arena& arena_;
    decode_failure failure_ = decode_failure::none;
    malloc_ptr<unsigned char> scratch_; // work area of the decompressors, kept from record to record
    std::size_t scratch_size_ = 0;
};

} // namespace trox_detail

#endif
