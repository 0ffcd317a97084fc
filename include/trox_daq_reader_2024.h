// Reading data files of the 2024 generation: the reader.
#ifndef TROX_DAQ_READER_2024_H
#define TROX_DAQ_READER_2024_H

#include "detail/basic_reader.h"
#include "detail/generation_2024.h"

#pragma GCC visibility push(default)

extern template class trox_detail::basic_reader<trox_detail::generation_2024>;

/// Reader of the 2024 generation; see basic_reader.
///
/// Defaults: data directory "/daq/trox_ext/LINAC/", period of 1 event and 100 ms, tolerance of 50 ms. The
/// constructor switches the event utility's print functions to the 2024 layout.
class trox_daq_reader_2024 : public trox_detail::basic_reader<trox_detail::generation_2024>
{
public:
    using basic_reader::basic_reader;

    /// Tolerance of matching by time, and the check of neighbours found by time against the event numbers
    /// (default on).
    using basic_reader::get_time_diff;
    using basic_reader::is_by_time_fix;
    using basic_reader::set_by_time_fix;
    using basic_reader::set_time_diff;

    /// Dumps of one channel of one file, on standard output; see basic_reader.
    using basic_reader::print_channel_channel;
    using basic_reader::print_channel_channel_headers;
    using basic_reader::print_channel_event_headers;
    using basic_reader::print_channel_server_block_headers;

    /// Index of each channel, in the order in which they were added, by its full name (`name`, or `name:sub-channel`).
    /// Valid until the list of channels changes.
    const std::map<std::string, int>& get_chan_name_map() const
    {
        return get_channel_index().names();
    }
};

#pragma GCC visibility pop

#endif
