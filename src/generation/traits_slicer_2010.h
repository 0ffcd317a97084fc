// What the slicing layer needs to know of the 2010 generation.
#ifndef TROX_GENERATION_TRAITS_SLICER_2010_H
#define TROX_GENERATION_TRAITS_SLICER_2010_H

#include "generation/messages_slicer_2010.h"
#include "trox_daq_slicer_2010.h"

namespace trox_detail
{

template <class Generation> struct slicer_traits;

template <> struct slicer_traits<generation_2010> {
    static constexpr auto table_thread = get_table_thread_2010;

    /// Type of the update blocks that channel readers deliver.
    static constexpr int update_type = TROX_UPD_BLOCK_2010;

    /// Channel readers take `by_time_fix`.
    static constexpr bool has_by_time_fix = true;

    /// The table-loading thread keeps at most three loaded tables ahead, and stays until it is stopped.
    static constexpr bool bounds_read_ahead = true;
    static constexpr bool table_thread_stays = true;

    /// A single channel that cannot be moved because it is out of window is moved once more.
    static constexpr bool moves_again = true;

    // Traces that not every generation has, or whose arguments differ.
    static constexpr bool has_timing_traces = true;
    static constexpr bool has_life_cycle_traces = true;

    /// An event number as the texts print it.
    static int printed(generation_2010::event_number number)
    {
        return static_cast<int>(number);
    }
};

} // namespace trox_detail

#endif
