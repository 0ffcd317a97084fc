// Slicing of the 2024 generation: the channels of a request as one stream of events.
#ifndef TROX_DAQ_SLICER_2024_H
#define TROX_DAQ_SLICER_2024_H

#include "detail/basic_slicer.h"
#include "detail/generation_2024.h"
#include "trox_daq_read_chan_2024.h"

#pragma GCC visibility push(default)

extern template class trox_detail::basic_slicer<trox_detail::generation_2024>;

/// What a slicer and its table-loading thread share; see basic_get_tables_task.
using get_tables_task_2024 = trox_detail::basic_get_tables_task<trox_detail::generation_2024>;

/// Entry of the table-loading thread; `task` is the slicer's get_tables_task_2024. The result is null, or 1 as a
/// pointer after a file that could not be loaded.
void* get_table_thread_2024(void* task);

/// Slicer of the 2024 generation; see basic_slicer.
class trox_daq_slicer_2024 : public trox_detail::basic_slicer<trox_detail::generation_2024>
{
public:
    using basic_slicer::basic_slicer;

    /// A new request: cleans up, then copies the paths of the data files (in reading order) and the channels'
    /// parameter records (null entries are left out); all arguments stay the caller's. `mode` is handed to every
    /// table loader. 0; -7 for a null list; -6 out of memory; -1, with a message, without files or channels. A null
    /// name in the list of zero-terminated names throws std::logic_error.
    using basic_slicer::init;

    /// Whether channel readers check a neighbour found by time against the event numbers (default on). Takes effect
    /// with the readers made from then on.
    using basic_slicer::is_by_time_fix;
    using basic_slicer::set_by_time_fix;
};

#pragma GCC visibility pop

#endif
