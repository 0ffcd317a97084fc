#ifndef TROX_GENERATION_MESSAGES_READER_LEGACY_H
#define TROX_GENERATION_MESSAGES_READER_LEGACY_H

#include "detail/generation_legacy.h"
#include "generation/messages_reader.h"

namespace trox_detail
{

template <> struct reader_texts<generation_legacy> {
    static constexpr message_table<reader_message> table{{
        "trox_daq_reader::add_file() Failed to malloc for file: %s\n",
        "trox_daq_reader::add_file() file %s not found \n",
        "trox_daq_reader::add_file() file %s skipped (not closed)\n",
        "trox_daq_reader::add_file() faile to allocate file buffer of %d bytes\n",
        "trox_daq_reader::add_file() file %s not found in any default data path %s\n",
        "trox_daq_reader::init() Failed to get list of files for runs .. trying local directory scan\n",
        "trox_daq_reader::init() Failed to get list of files for period ... trying local scan\n",
        "trox_daq_reader(): unable to get the name of the very first file\n",
        // Names the first file although the last one is meant; programs look for this text.
        "trox_daq_reader(): unable to get the name if the very first file\n",
        "trox_daq_reader(): unable read the files in the directory to get the name if the very first file\n",
        "----->trox_daq_reader::init() failed to extract time for run: %d trying locally\n",
        "trox_daq_reader::init() failed to extract time for run: %d\n",
        "trox_daq_reader::init() failed to extract start time locally\n",
        "trox_daq_reader::init() failed to extract stop time locally\n",
        "trox_daq_reader::init() making correction in time\n",
        "trox_daq_reader::init() time reset\n",
        "Wrong Event IDs start:%d > stop:%d\n",
        // Names the 2010 slicer; programs look for this text.
        "slicer_2010->get_data() %f msec\n",
        "trox_daq_reader::get_data() chan_header is NULL\n",
        "", // does not offer these operations
        "",
        "",
        "",
        "",
    }};
    static constexpr const char* text(reader_message row)
    {
        return table[row];
    }
};

} // namespace trox_detail

#endif
