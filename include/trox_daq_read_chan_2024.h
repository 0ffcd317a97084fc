// Reading one channel of one data file of the 2024 generation: the table loader and the channel reader.
#ifndef TROX_DAQ_READ_CHAN_2024_H
#define TROX_DAQ_READ_CHAN_2024_H

#include "detail/basic_file_get_tables.h"
#include "detail/basic_read_chan.h"
#include "detail/decompressors.h"
#include "detail/generation_2024.h"

#pragma GCC visibility push(default)

extern template class trox_detail::basic_file_get_tables<trox_detail::generation_2024>;
extern template class trox_detail::basic_read_chan<trox_detail::generation_2024>;

/// Table loader of the 2024 generation; see basic_file_get_tables.
class trox_file_get_tables_2024 : public trox_detail::basic_file_get_tables<trox_detail::generation_2024>
{
public:
    using basic_file_get_tables::basic_file_get_tables;
};

/// Channel reader of the 2024 generation; see basic_read_chan. Holds channel names of up to 255
/// characters.
class trox_daq_read_chan_2024 : public trox_detail::basic_read_chan<trox_detail::generation_2024>
{
public:
    using basic_read_chan::basic_read_chan;

    /// Finds by number, as basic_read_chan::find_entry_by_event_id does.
    entry* find_entry_by_event_id_2024(unsigned long id, int type, int* status)
    {
        return find_entry_by_event_id(id, type, status);
    }

    /// Whether a neighbour found by time is checked against the event numbers (default on).
    using basic_read_chan::is_by_time_fix;
    using basic_read_chan::set_by_time_fix;

    /// Dumps of every record: event headers, server block heads, sub-heads, data.
    using basic_read_chan::print_channel;
    using basic_read_chan::print_channel_headers;
    using basic_read_chan::print_event_headers;
    using basic_read_chan::print_server_block_headers;
};

/// Entry of a decompression worker; `reader` is a trox_daq_read_chan_2024.
void* unzip_thread_2024(void* reader);

#pragma GCC visibility pop

#endif
