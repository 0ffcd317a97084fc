#ifndef TROX_GENERATION_MESSAGES_READER_2024_H
#define TROX_GENERATION_MESSAGES_READER_2024_H

#include "detail/generation_2024.h"
#include "generation/messages_reader.h"

namespace trox_detail
{

template <> struct reader_texts<generation_2024> {
    static constexpr message_table<reader_message> table{{
        "trox_daq_reader_2024::add_file() Failed to malloc for file: %s\n",
        "trox_daq_reader_2024::add_file() file %s not found \n",
        "trox_daq_reader_2024::add_file() file %s skipped (not closed)\n",
        "trox_daq_reader_2024::add_file() faile to allocate file buffer of %d bytes\n",
        "trox_daq_reader_2024::add_file() file %s not found in any default data path %s\n",
        "trox_daq_reader_2024::init() Failed to get list of files for runs .. trying local directory scan\n",
        "trox_daq_reader_2024::init() Failed to get list of files for period ... trying local scan\n",
        "trox_daq_reader_2024(): unable to get the name of the very first file\n",
        // Names the first file although the last one is meant; programs look for this text.
        "trox_daq_reader_2024(): unable to get the name if the very first file\n",
        "trox_daq_reader_2024(): unable read the files in the directory to get the name if the very first file\n",
        "----->trox_daq_reader_2024::init() failed to extract time for run: %d trying locally\n",
        "trox_daq_reader_2024::init() failed to extract time for run: %d\n",
        "trox_daq_reader_2024::init() failed to extract start time locally\n",
        "trox_daq_reader_2024::init() failed to extract stop time locally\n",
        "trox_daq_reader_2024::init() making correction in time\n",
        "trox_daq_reader_2024::init() time reset\n",
        "Wrong Event IDs start:%ld > stop:%ld\n",
        // Names the 2010 slicer; programs look for this text.
        "slicer_2010->get_data() %f msec\n",
        "trox_daq_reader_2024::get_data() chan_header is NULL\n",
        // The first operation's name stands for all four.
        "trox_daq_reader_2024::print_channel_event_headers() check input parameters\n",
        "trox_daq_reader_2024::print_channel_event_headers() check if file: %s accesible\n",
        "trox_daq_reader_2024::print_channel_event_headers() something wrong with file: %s\n",
        "trox_daq_reader_2024::print_channel_event_headers() channel: %s not found in file: %s\n",
        "trox_daq_reader_2024::print_channel_event_headers() failed to initialize channel: %s\n",
    }};
    static constexpr const char* text(reader_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
