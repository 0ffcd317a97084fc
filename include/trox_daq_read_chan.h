// Reading one channel of one data file of the legacy generation: the table loader and the channel reader.
#ifndef TROX_DAQ_READ_CHAN_H
#define TROX_DAQ_READ_CHAN_H

#include "detail/basic_file_get_tables.h"
#include "detail/basic_read_chan.h"
#include "detail/decompressors.h"
#include "detail/generation_legacy.h"

#pragma GCC visibility push(default)

extern template class trox_detail::basic_file_get_tables<trox_detail::generation_legacy>;
extern template class trox_detail::basic_read_chan<trox_detail::generation_legacy>;

/// Table loader of the legacy generation; see basic_file_get_tables.
class trox_file_get_tables : public trox_detail::basic_file_get_tables<trox_detail::generation_legacy>
{
public:
    using basic_file_get_tables::basic_file_get_tables;
};

/// Channel reader of the legacy generation; see basic_read_chan. Holds channel names of up to 79
/// characters, keeps the channel's basket mapped, and makes no check of neighbours by event number.
class trox_daq_read_chan : public trox_detail::basic_read_chan<trox_detail::generation_legacy>
{
public:
    using basic_read_chan::basic_read_chan;

    using basic_read_chan::find_entry_by_event_id;
};

/// Entry of a decompression worker; `reader` is a trox_daq_read_chan.
void* unzip_thread(void* reader);

#pragma GCC visibility pop

#endif
