// What the slicing layer needs to know of the legacy generation.
#ifndef TROX_GENERATION_TRAITS_SLICER_LEGACY_H
#define TROX_GENERATION_TRAITS_SLICER_LEGACY_H

#include "generation/messages_slicer_legacy.h"
#include "generation/traits_slicer_common.h"
#include "trox_daq_slicer.h"

namespace trox_detail
{

template <> struct slicer_traits<generation_legacy> {
    using texts = slicer_texts<generation_legacy>;

    static constexpr auto table_thread = get_table_thread;
    static constexpr int update_type = TROX_UPD_BLOCK;
    static constexpr bool has_by_time_fix = false;
    static constexpr bool leaves_empty_names_out = true;
    static constexpr bool copies_names = true;
    /// The table-loading thread fills all slots, keeps what it has loaded, and ends behind the last file. It looks for
    /// a stop only once it has a credit: who stops it gives it one.
    static constexpr bool bounds_read_ahead = false;
    static constexpr bool drops_late_tables = false;
    static constexpr bool table_thread_stays = false;
    static constexpr bool stops_without_credit = false;
    static constexpr bool moves_again = false;
    static constexpr bool has_timing_traces = false;
    static constexpr bool has_life_cycle_traces = false;

    static void tell_missing_lists(std::size_t files, std::size_t channels)
    {
        print<texts, slicer_message::missing_lists>(files, channels);
    }
    static void tell_leaving_file(int /*channel*/, const char* name, int file)
    {
        print<texts, slicer_message::leaving_file>(name, file);
    }
    static void tell_position_at_first(int /*status*/)
    {
        print<texts, slicer_message::position_at_first>();
    }
    static void tell_match(int result)
    {
        print<texts, slicer_message::match>(result);
    }
    static void tell_start_of_pass(double /*took_ms*/, int /*channel*/) {}
    /// An event number as the texts print it.
    static int printed(generation_legacy::event_number number)
    {
        return static_cast<int>(number);
    }
};

} // namespace trox_detail

#endif
