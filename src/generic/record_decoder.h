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

/// Where the records of one channel of one file are decoded from. Borrowed; must outlive the decoder.
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

/// Decodes records of one channel. Each thread has its own. A failure prints its text, with the thread's id.
template <class Generation> class record_decoder
{
public:
    using entry = typename Generation::channel_entry;
    using row = typename Generation::chan_ptr_entry;
    using subhead = typename Generation::subhead;

    /// Decoded records lie in `arena`, which must outlive their use.
    record_decoder(const record_source<Generation>& source, record_arena& arena);

    /// Decodes the record that `pointers` (null: `failed_hard`) points at. `out` receives the event's identity and
    /// in the first element of `sbchdata` the addresses of the event header, the server block head, the block (a
    /// sub-head and the payload, in host order) and its payload, all in the arena. After a failure nothing of the
    /// record is left there.
    decode_outcome decode(const row* pointers, entry& out);

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
    bool cut_to_subchannel(bool was_zipped, record_arena::mark whole, subhead*& result);

    const record_source<Generation>& source_;
    record_arena& arena_;
    malloc_ptr<unsigned char> scratch_; // work area of the decompressors, kept from record to record
    std::size_t scratch_size_ = 0;
};

} // namespace trox_detail

#endif
