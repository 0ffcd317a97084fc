// Slicing of the legacy generation: the channels of a request as one stream of events.
#ifndef TROX_DAQ_SLICER_H
#define TROX_DAQ_SLICER_H

#include "detail/basic_slicer.h"
#include "detail/generation_legacy.h"
#include "trox_daq_read_chan.h"

#pragma GCC visibility push(default)

extern template class trox_detail::basic_slicer<trox_detail::generation_legacy>;

/// What a slicer and its table-loading thread share; see basic_get_tables_task.
using get_tables_task = trox_detail::basic_get_tables_task<trox_detail::generation_legacy>;

/// Entry of the table-loading thread; `task` is the slicer's get_tables_task. The result is null, or 1 as a
/// pointer after a file that could not be loaded. To stop it before its last file, set `stop` and give a credit (`go`).
void* get_table_thread(void* task);

/// Slicer of the legacy generation; see basic_slicer. Its table-loading thread loads ahead as long as there are slots,
/// and ends behind the last file.
class trox_daq_slicer : public trox_detail::basic_slicer<trox_detail::generation_legacy>
{
public:
    using basic_slicer::basic_slicer;

    /// A new request: cleans up, then copies the paths of the data files (in reading order; empty ones are left out)
    /// and the channels' parameter records (null entries are left out); all arguments stay the caller's. `mode` is
    /// handed to every table loader. 0; -7 for a null list of channels; -6 out of memory; -1, with a message, without
    /// files or channels.
    int init(const std::vector<std::string>& files, const std::vector<chan_param*>* chans, int mode)
    {
        return basic_slicer::init(&files, chans, mode);
    }
    int init(const std::vector<char*>& files, const std::vector<chan_param*>* chans, int mode)
    {
        return basic_slicer::init(&files, chans, mode);
    }

    /// As basic_slicer's, for a zero-terminated name only. The table-loading thread does not stop at three tables
    /// that nobody took: it waits for any file that is still to be loaded and has a slot.
    table_loader* find_ready_table(const char* name)
    {
        return basic_slicer::find_ready_table(name);
    }
};

#pragma GCC visibility pop

#endif
