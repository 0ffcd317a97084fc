// Texts of the reader layer.
#ifndef TROX_GENERATION_MESSAGES_READER_H
#define TROX_GENERATION_MESSAGES_READER_H

#include "generation/message_table.h"

namespace trox_detail
{

/// Texts that the generations word differently: most name the class.
enum class reader_message {
    no_candidate_memory,
    file_not_found,
    file_not_closed,
    no_path_memory,
    not_in_path_list,
    runs_not_in_catalogue,
    period_not_in_catalogue,
    no_very_first_name,
    no_very_last_name,
    directory_not_read,
    run_time_not_found_trying_locally,
    run_time_not_found,
    no_local_start_time,
    no_local_stop_time,
    time_corrected,
    time_reset,
    wrong_event_ids,
    slicer_timing,
    no_channel_head,
    inspection_parameters,
    inspection_no_file,
    inspection_no_entry,
    inspection_no_channel,
    inspection_not_started,
    count
};

template <class Generation> struct reader_texts;

/// Texts that are the same in all generations.
enum class common_reader_message {
    files_begin,
    files_line,
    files_end,
    channels_begin,
    channel_with_nickname,
    channel_without_nickname,
    channel_params,
    channels_end,
    no_event_index,
    wrong_event_index,
    no_events_in_index,
    removing_files,
    comparing_files,
    scanned_file,
    scanned_file_of_runs,
    scanned_file_of_period,
    taking_file_before,
    taking_file,
    very_first_file,
    very_last_file,
    file_number,
    partial_name,
    found_very_first,
    found_very_last,
    wrong_times,
    already_started,
    request_not_ok,
    slicer_init_failed,
    synch_mode_failed,
    time_diff_failed,
    event_step_failed,
    slicer_start_failed,
    slicer_answer,
    unexpected_status,
    empty_event,
    unknown_synch_mode,
    belongs,
    found,
    no_data_memory,
    updated,
    count
};

struct common_reader_texts {
    static constexpr message_table<common_reader_message> table{{
        "========== READER files ==============\n",
        "[%d] %s\n",
        "========== READER files END ==========\n",
        "========== READER channels ==============\n",
        "[%d] %s:%d -> %s\t",
        "[%d] %s:%d\t",
        "params:\tstart:%d\tsamples:%d\tinc:%d\ttstart:%f\ttsamples:%f\ttinc:%f\tfunc:0x%x\n",
        "========== READER channels END ==========\n",
        "No event index table\n",
        "Wrong pattern for index table\n",
        "No events in event index table\n",
        "removing those that are not in our list sz: %lu  from sz: %lu\n",
        "Comparing:[%s][%s]\n",
        "Found file %s time_stamp: %i  (star:%d  stop:%d\n",
        "------>Found file %s time_stamp: %i  (star:%d  stop:%d\n",
        "-**--->Found file %s time_stamp: %i  (star:%d  stop:%d\n",
        ".Pushing  file %s \n",
        "Pushing file %s (time_stamp: %i  star:%d  stop:%d) \n",
        "The very first file: %s\n",
        "The very last file: %s\n",
        "LAST FILE NUMBER: '%s'\n",
        "PARTIAL FILE NAME: '%s'\n",
        "FOUND the very first file: '%s'\n",
        "FOUND the very last file: '%s'\n",
        "Wrong Time start:%d_%d > stop:%d_%d\n",
        "We have already slicer\n",
        "Request is not OK ret:%d\n",
        "Failed to init slicer error:%d\n",
        "Failed to set synch mode:%d at the slicer error:%d\n",
        "Failed to set time diff erro:%d\n",
        "Failed to set event step error:%d\n",
        "Failed to start slicer error:%d\n",
        "reader.get_data() CUR_RES.SIZE(): %d  STATUS: %d\n",
        "Unexpected return code %d\n",
        "BREAKING HERE 1 mode: %d \n",
        "Unknown synch mode %d\n",
        "reader.get_data() BELONG: %d\n",
        "reader.get_data() FOUND: %d\n",
        "Failed to realloc %d of data for %s\n",
        "UPDATED %s\n",
    }};
    static constexpr const char* text(common_reader_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
