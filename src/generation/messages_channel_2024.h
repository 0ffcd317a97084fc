#ifndef TROX_GENERATION_MESSAGES_CHANNEL_2024_H
#define TROX_GENERATION_MESSAGES_CHANNEL_2024_H

#include "detail/generation_2024.h"
#include "generation/messages_channel.h"

namespace trox_detail
{

template <> struct channel_texts<generation_2024> {
    static constexpr message_table<channel_message> table{{
        "Failed to get file reference tabel (2024) err: %d\n",
        "Failed to get EIT (2024) err: %d\n",
        "Failed to get CDT (2024) err: %d\n",
        "Failed to get ECPT (2024) err: %d\n",
        "Failed to get ECPT (with list 2024) err: %d\n",
        "Failed to get XCD (2024) err: %d\n",
        "Failed to load XCD (2024) err: %d\n",
        "GET ALL TABLES %f msec file:%s\n",
        "START MMAP IN %f msec file:%s chbasket_size: %lu  chn_base_size: %lu   entries: %d\n",
        "trox_daq_read_chan_2024:start() %s not initialized\n",
        "trox_daq_read_chan_2024:get_chan_data() %s  not initialized\n",
        "trox_daq_read_chan_2024: channel not found\n",
        "device_to_one_channel_2010() failed for %s:%d\n",
        "HERE STATUS NO_DATA.\n",
        "HERE STATUS NO_DATA...\n",
        "get_by_event_id()  %f msec event_id:%ld\n",
        " EventID: %lu Time: %s : %u\n",
        "%ld %d:%d\n",
    }};
    static constexpr const char* text(channel_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
