#include "trox_daq_read_chan_2024.h"

#include "generation/traits_channel_2024.h"
#include "generic/file_get_tables.inl"
#include "generic/read_chan_delivery.inl"
#include "generic/read_chan_print.inl"
#include "generic/read_chan_start.inl"
#include "generic/read_chan_workers.inl"

template class trox_detail::basic_file_get_tables<trox_detail::generation_2024>;
template class trox_detail::basic_read_chan<trox_detail::generation_2024>;

void* unzip_thread_2024(void* reader)
{
    static_cast<trox_daq_read_chan_2024*>(reader)->decode_records();
    return nullptr;
}
