// What the slicing layer needs to know of the 2010 generation.
#ifndef TROX_GENERATION_TRAITS_SLICER_2010_H
#define TROX_GENERATION_TRAITS_SLICER_2010_H

#include "generation/messages_slicer_2010.h"
#include "generation/traits_slicer_common.h"
#include "trox_daq_slicer_2010.h"

namespace trox_detail
{

template <> struct slicer_traits<generation_2010> : slicer_traits_since_2010<slicer_texts<generation_2010>> {
    static constexpr auto table_thread = get_table_thread_2010;

    static void tell_start_of_pass(double took_ms, int /*channel*/)
    {
        print<slicer_texts<generation_2010>, slicer_message::start_of_pass_timing>(took_ms);
    }
    /// An event number as the texts print it.
    static int printed(generation_2010::event_number number)
    {
        return static_cast<int>(number);
    }
};

} // namespace trox_detail

#endif
