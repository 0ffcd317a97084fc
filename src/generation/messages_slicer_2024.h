#ifndef TROX_GENERATION_MESSAGES_SLICER_2024_H
#define TROX_GENERATION_MESSAGES_SLICER_2024_H

#include "detail/generation_2024.h"
#include "generation/messages_slicer.h"

namespace trox_detail
{

template <> struct slicer_texts<generation_2024> {
    static constexpr message_table<slicer_message> table{{
        // Names the 2010 class; programs look for this text.
        "trox_daq_slicer_2010::init() failed to malloc channel entry for %s\n",
        "", // has no such text
        "", // tells files and channels apart
        "trox_daq_slicer_2024::create_channel()CREATING CHANNEL: %s:%d file:%s\n",
        "Channel[%d] switching to the next file fentry before: %d\n",
        "Calling get_chan_data() start channel (up) ret:%d \n",
        "", // has no such text
        "get_data() start %f msec for [%d]\n",
        "Copying temp evid: %ld (from:%d)\n",
        "Got from get_chan_data() get_data() %ld:%d_%d (have already %ld:%d_%d)\n",
        "Calling get_chan_data() get_data() end\n",
        "found: \n",
        "EMPTY %s %ld:%d_%d  %ld:%d_%d  cfg_status:%x\n",
        "current_event_id.event_number (output): %ld:%d_%d res.size():%d\n",
    }};
    static constexpr const char* text(slicer_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
