// Texts of the slicing layer.
#ifndef TROX_GENERATION_MESSAGES_SLICER_H
#define TROX_GENERATION_MESSAGES_SLICER_H

#include "generation/message_table.h"

namespace trox_detail
{

/// Texts that the generations word differently.
enum class slicer_message {
    no_channel_memory,
    no_name_memory,
    missing_lists,
    creating_channel,
    leaving_file,
    position_at_first,
    input,
    start_of_pass_timing,
    candidate,
    answer,
    second_pass,
    match,
    no_data_of_event,
    chosen_event,
    count
};

template <class Generation> struct slicer_texts;

/// Texts that are the same in all generations that have them.
enum class common_slicer_message {
    no_files,
    no_channels,
    channels_missing,
    no_empty_channel,
    no_slots_memory,
    no_readers_memory,
    thread_not_started,
    thread_joined,
    thread_not_joined,
    time_diff_refused,
    step_refused,
    create_timing,
    start_failed,
    position_at_last,
    start_timing,
    deleting_reader,
    create_failed,
    no_file_has_channel,
    channel_not_started,
    cleaning_description,
    asking_for_first,
    first_found,
    first_missing,
    switching_file,
    loader_unknown,
    file_index,
    no_such_file,
    no_tables,
    switched,
    lost,
    reader_cleaned,
    invalid_parameter,
    intern_error,
    not_found,
    not_initialized,
    not_ready,
    no_data,
    no_more_data,
    moving_again,
    no_more_files,
    channel_trace,
    loop_trace,
    next_trace,
    calling,
    first_pass,
    no_record,
    difference,
    current,
    middle_timing,
    count
};

struct common_slicer_texts {
    static constexpr message_table<common_slicer_message> table{{
        "SLICER:  no files found\n",
        "SLICER:  no channels in request, Pleas, add some\n",
        "No channels created",
        "No channels known without events",
        "Failed to allocate get_tables pointers\n",
        "Failed to allocate read_chans pointers\n",
        "failed to start table_thread thread\n",
        "THREAD joined table_thread: \n",
        "Failed to join table_thread: %lu\n",
        "Failed to set time difference read_chans[%d] for %s:%d\n",
        "Failed to set event step read_chans[%d] for %s:%d\n",
        "CREATE CHANNEl %f msec\n",
        "Start failed for read_chans[%d] for %s:%d  erro: %d\n",
        "Calling get_chan_data() start channel (low)\n",
        "slicer_2010->start() for channel took: %f msec\n",
        "DELETING read_chans[%d] %u\n",
        "CREATE_CHANNEL[%d] failed\n",
        "ERROR with channel (no cfgs) %s:%d\n",
        "ERROR with channel (start) %s:%d error: %d\n",
        "Calling clean_descr()\n",
        "Calling get_chan_data() start\n",
        "FIRST OK\n",
        "FIRST -> %d\n",
        "Channel %s switching to the next file %s\n",
        "STRANGE trox_file_get_tables not found in the table... removing it anyway\n",
        "Channel[%d] switching to the next file fentry after: %d\n",
        "NO FILES can be found [%d] we'll lose the channel[%d] %s\n",
        "%s failed to find get_tbl for  %s\n",
        "change_config is OK fentry:%d  %s\n",
        "STRANGE no files found we'll lose the channel[%d] %s\n",
        "slicer clean_up read_chans[%d]\n",
        "Channel[%d] %s  TROX_DAQ_READ_CHAN_INV_PARAM\n",
        "Channel[%d] %s  TROX_DAQ_READ_CHAN_INTERN_ERROR\n",
        "Channel[%d] %s  TROX_DAQ_READ_CHAN_NOT_FOUND\n",
        "Channel[%d] %s TROX_DAQ_READ_CHAN_NOT_INIT\n",
        "Channel[%d] %s TROX_DAQ_READ_CHAN_NOT_READY\n",
        "Channel[%d] %s  TROX_DAQ_READ_CHAN_NO_DATA\n",
        "NO DATA  ANY MORE for %s removing\n",
        "Changing configuration due to out of winndow \n",
        "NO CONGIGS ANY MORE for %s:%d \n",
        "Channel %d %u\n",
        "lop: %d\n",
        "NEXT %d %d\n",
        "Calling %d with:%d\n",
        "Calling get_chan_data() get_data()\n",
        "rs NULL\n",
        "Diff: %d\n",
        "CURRENT %d\n",
        "get_data() middle %f msec\n",
    }};
    static constexpr const char* text(common_slicer_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
