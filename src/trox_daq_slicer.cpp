#include "trox_daq_slicer.h"

#include "generation/traits_slicer_legacy.h"
#include "generic/slicer_events.inl"

template class trox_detail::basic_slicer<trox_detail::generation_legacy>;

void* get_table_thread(void* task)
{
    return trox_detail::run_table_thread<trox_detail::generation_legacy>(task);
}
