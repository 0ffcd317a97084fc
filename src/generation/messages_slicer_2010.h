#ifndef TROX_GENERATION_MESSAGES_SLICER_2010_H
#define TROX_GENERATION_MESSAGES_SLICER_2010_H

#include "detail/generation_2010.h"
#include "generation/messages_slicer.h"

namespace trox_detail
{

template <> struct slicer_texts<generation_2010> {
    static constexpr message_table<slicer_message> table{{
        "trox_daq_slicer_2010::init() failed to malloc channel entry for %s\n",
        "", // has no such text
        "", // tells files and channels apart
        "trox_daq_slicer_2010::create_channel()CREATING CHANNEL: %s:%d file:%s\n",
        "Channel[%d] switching to the next file fentry before: %d\n",
        "Calling get_chan_data() start channel (up) ret:%d \n",
        "", // has no such text
        "get_data() start %f msec\n",
        "Copying temp evid: %d (from:%d)\n",
        "Got from get_chan_data() get_data() %d:%d_%d (have already %d:%d_%d)\n",
        "Calling get_chan_data() gete_data() end\n",
        "found: \n",
        "EMPTY %s %d:%d_%d  %d:%d_%d  cfg_status:%x\n",
        "current_event_id.event_number (output): %d:%d_%d res.size():%d\n",
    }};
    static constexpr const char* text(slicer_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
