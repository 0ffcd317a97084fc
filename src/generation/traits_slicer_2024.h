// What the slicing layer needs to know of the 2024 generation.
#ifndef TROX_GENERATION_TRAITS_SLICER_2024_H
#define TROX_GENERATION_TRAITS_SLICER_2024_H

#include "generation/messages_slicer_2024.h"
#include "generation/traits_slicer_common.h"
#include "trox_daq_slicer_2024.h"

namespace trox_detail
{

template <> struct slicer_traits<generation_2024> : slicer_traits_since_2010<slicer_texts<generation_2024>> {
    static constexpr auto table_thread = get_table_thread_2024;

    static void tell_start_of_pass(double took_ms, int channel)
    {
        print<slicer_texts<generation_2024>, slicer_message::start_of_pass_timing>(took_ms, channel);
    }
    /// An event number as the texts print it.
    static long printed(generation_2024::event_number number)
    {
        return static_cast<long>(number);
    }
};

} // namespace trox_detail

#endif
