#include "trox_daq_slicer_2010.h"

#include "generation/traits_slicer_2010.h"
#include "generic/slicer_events.inl"

template class trox_detail::basic_slicer<trox_detail::generation_2010>;

void* get_table_thread_2010(void* task)
{
    return trox_detail::run_table_thread<trox_detail::generation_2010>(task);
}
