#include "trox_daq_slicer_2024.h"

#include "generation/traits_slicer_2024.h"
#include "generic/slicer_events.inl"

template class trox_detail::basic_slicer<trox_detail::generation_2024>;

void* get_table_thread_2024(void* task)
{
    return trox_detail::run_table_thread<trox_detail::generation_2024>(task);
}
