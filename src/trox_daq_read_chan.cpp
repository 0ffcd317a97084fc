#include "trox_daq_read_chan.h"

#include "generation/traits_channel_legacy.h"
#include "generic/file_get_tables.inl"
#include "generic/read_chan_delivery.inl"
#include "generic/read_chan_print.inl"
#include "generic/read_chan_start.inl"
#include "generic/read_chan_workers.inl"

template class trox_detail::basic_file_get_tables<trox_detail::generation_legacy>;
template class trox_detail::basic_read_chan<trox_detail::generation_legacy>;

void* unzip_thread(void* reader)
{
    static_cast<trox_daq_read_chan*>(reader)->decode_records();
    return nullptr;
}
