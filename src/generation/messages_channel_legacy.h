#ifndef TROX_GENERATION_MESSAGES_CHANNEL_LEGACY_H
#define TROX_GENERATION_MESSAGES_CHANNEL_LEGACY_H

#include "detail/generation_legacy.h"
#include "generation/messages_channel.h"

namespace trox_detail
{

template <> struct channel_texts<generation_legacy> {
    static constexpr message_table<channel_message> table{{
        "Failed to get file reference tabel err: %d\n", "Failed to get EIT err: %d\n", "Failed to get CDT err: %d\n",
        "Failed to get ECPT err: %d\n", "Failed to get ECPT (with list) err: %d\n", "Failed to get XCD err: %d\n",
        "Failed to load XCD err: %d\n", "  GET ALL TABLES %f msec file: %s\n",
        "START MMAP IN %f msec  file: %s chn_base_size: %lu  entries: %d\n",
        "trox_daq_read_chan:start() %s  not initialized\n", "trox_daq_read_chan:get_chan_data() %s not initialized\n",
        "trox_daq_read_chan: channel not found\n",
        // Names the younger function; logs are searched for this text.
        "device_to_one_channel_2010() failed for %s:%d\n",
        "", // says nothing
        "", // says nothing
        "", // has no such trace
        " EventID: %u Time: %s : %u\n",
        "", // has no such dump
    }};
    static constexpr const char* text(channel_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
