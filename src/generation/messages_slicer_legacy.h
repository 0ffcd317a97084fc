#ifndef TROX_GENERATION_MESSAGES_SLICER_LEGACY_H
#define TROX_GENERATION_MESSAGES_SLICER_LEGACY_H

#include "detail/generation_legacy.h"
#include "generation/messages_slicer.h"

namespace trox_detail
{

template <> struct slicer_texts<generation_legacy> {
    static constexpr message_table<slicer_message> table{{
        "trox_daq_slicer::init() failed to malloc channel entry for %s\n",
        "trox_daq_slicer::init() failed to malloc %d bytes for a file name %s\n",
        "SLICER: either no files (%zu) or channels: (%zu)\n",
        "trox_daq_slicer::create_channel()CREATING CHANNEL: %s:%d WITH FILE %s\n",
        "Channel %s switching to the next file fentry before: %d\n",
        "Calling get_chan_data() start channel (up)\n",
        "current_event_id.event_number (input): %d:%d_%d  synch_mode:%d\n",
        "", // has no such text
        "Copying temp evid: %d (from:%d)\n",
        "Got from get_chan_data() get_data() %d:%d_%d (have already %d:%d_%d)\n",
        "Calling get_chan_data() gete_data() end\n",
        "found: %d\n",
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
