// Texts of the channel-reading layer: table loader and channel reader.
#ifndef TROX_GENERATION_MESSAGES_CHANNEL_H
#define TROX_GENERATION_MESSAGES_CHANNEL_H

#include "generation/message_table.h"

namespace trox_detail
{

/// Texts that the generations word differently.
enum class channel_message {
    reference_table_failed,
    event_index_failed,
    dictionary_failed,
    pointers_table_failed,
    pointers_table_by_list_failed,
    descriptions_failed,
    decoding_descriptions_failed,
    tables_timing,
    start_timing,
    start_not_initialized,
    get_data_not_initialized,
    channel_not_found,
    cut_failed,
    lookup_without_records,
    lookup_met_end,
    lookup_timing,
    time_limit,
    record_line,
    count
};

template <class Generation> struct channel_texts;

/// Texts that are the same in all generations.
enum class common_channel_message {
    file_mapped,
    bits_without_count,
    dims_without_count,
    bits_allocation_failed,
    dims_allocation_failed,
    no_records_memory,
    basket_head_not_mapped,
    basket_not_mapped,
    thread_not_started,
    no_out_array,
    no_pointer_entry,
    no_event_header_memory,
    no_server_block_memory,
    no_additional_memory,
    no_working_memory,
    unknown_unzipper,
    uncompress_failed,
    size_differs,
    environment_conversion_failed,
    conversion_failed,
    no_update_memory,
    no_plain_memory,
    thread_finished,
    no_reference,
    check_by_number,
    no_description,
    zlib_invalid_parameter,
    zlib_init_failed,
    zlib_failed,
    lzo_invalid_parameter,
    lzo_init_failed,
    lzo_init_hint,
    lzo_failed,
    time_limit_unknown,
    first_of_channel,
    first_of_subchannel,
    last_of_channel,
    last_of_subchannel,
    event_headers_begin,
    event_headers_end,
    server_blocks_begin,
    server_blocks_end,
    subheads_begin,
    subheads_end,
    channel_begin,
    channel_end,
    count
};

struct common_channel_texts {
    static constexpr message_table<common_channel_message> table{{
        "Length: %ld offset: %ld  fd: %x\n",
        "ERROR: nbits = 0, but bits.size()=%zu\n",
        "ERROR: ndims = 0, but ndims.size()=%zu\n",
        "Failed to malloc bits entry for %s\n",
        "Failed to malloc dim desription  entry for %s\n",
        "%s Failed to create out array for %d entries\n",
        "%s Failed to map channel basket header\n",
        "%s Failed to map channel basket\n",
        "failed to start thread %d\n",
        "Wrong out from object tid:%lu... exiting\n",
        "Failed to obtain pointer to event data pointer %lu\n",
        "Failed to malloc additional event header %lu .. exiting\n",
        "Failed to malloc additional server block header %lu .. exiting\n",
        "Failed to malloc additional memory %lu .. exiting\n",
        "Failed to malloc working memory %lu .. exiting\n",
        "Unknown unzipper: 0x%x!!! exiting tid:%lu\n",
        "Failed to uncompress PID %lu!!!\n",
        "Orig size (%d) != unzip size (%d) tid:%lu\n",
        "Failed to convert env  %lu .. exiting\n",
        "Failed to convert_data  %lu .. exiting\n",
        "Failed to malloc working memory (UPD) %lu .. exiting\n",
        "Failed to malloc working memory (NOTZIPPPED) %lu .. exiting\n",
        "thread: finished %lu  %d  in %f msec\n",
        "Start channel is we are here   %d@%d\n",
        "Double check instead of time -> by EvID\n",
        "%s NO DESCRIPTION SET\n",
        "make_zlib() invalid parameter(s)\n",
        "make_zlib() - inflateInit() failed: %d !!!\n",
        "make_zlib() -  !!!! inflate() returnd %d !!!!",
        "make_lzo() invalid parameter(s)\n",
        "make_lzo - internal error - lzo_init() failed !!!\n",
        "make_lzo - (this usually indicates a compiler bug - try recompiling\nwithout optimizations, and enable "
        "`-DLZO_DEBUG' for diagnostics)\n",
        "make_lzo - internal error - decompression failed: %d\n",
        " Unknown\n",
        "%s First: ",
        "%s:%d First: ",
        "%s Last : ",
        "%s:%d Last : ",
        "=================EVENT HEADERS======\n",
        "==========END=OF=EVENT=HEADERS=======\n",
        "=================SB HEADERS======\n",
        "==========END=OF=SB=HEADERS=======\n",
        "=================CHANNEL HEADERS======\n",
        "==========END=OF=CHANNEL=HEADERS=======\n",
        "=================CHANNEL======\n",
        "==========END=OF=CHANNEL========\n",
    }};
    static constexpr const char* text(common_channel_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
