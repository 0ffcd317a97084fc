#ifndef TROX_GENERATION_MESSAGES_CHANNEL_2010_H
#define TROX_GENERATION_MESSAGES_CHANNEL_2010_H

#include "detail/generation_2010.h"
#include "generation/messages_channel.h"

namespace trox_detail
{

template <> struct channel_texts<generation_2010> {
    static constexpr message_table<channel_message> table{{
        "Failed to get file reference tabel (2010) err: %d\n",
        "Failed to get EIT (2010) err: %d\n",
        "Failed to get CDT (2010) err: %d\n",
        "Failed to get ECPT (2010) err: %d\n",
        "Failed to get ECPT (2010) err: %d\n",
        "Failed to get XCD (2010) err: %d\n",
        "Failed to load XCD (2010) err: %d\n",
        "GET ALL TABLES %f msec file:%s\n",
        "START MMAP IN %f msec file:%s chbasket_size: %d  chn_base_size: %lu   entries: %d\n",
        "trox_daq_read_chan_2010:start() %s not initialized\n",
        "trox_daq_read_chan_2010:get_chan_data() %s  not initialized\n",
        "trox_daq_read_chan_2010: channel not found\n",
        "device_to_one_channel_2010() failed for %s:%d\n",
        "", // says nothing
        "HERE STATUS NO_DATA...\n",
        "get_by_event_id()  %f msec event_id:%d\n",
        " EventID: %u Time: %s : %u\n",
        "%d %d:%d\n",
    }};
    static constexpr const char* text(channel_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
