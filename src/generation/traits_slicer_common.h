// What the slicing layer needs to know of more than one generation.
#ifndef TROX_GENERATION_TRAITS_SLICER_COMMON_H
#define TROX_GENERATION_TRAITS_SLICER_COMMON_H

#include "event.h"
#include "generation/messages_slicer.h"
#include "generic/print.h"

#include <cstddef>

namespace trox_detail
{

template <class Generation> struct slicer_traits;

/// The same in the 2010 and the 2024 generation, but for the wording: `Texts` is a generation's message table.
template <class Texts> struct slicer_traits_since_2010 {
    /// Type of the update blocks that channel readers deliver.
    static constexpr int update_type = TROX_UPD_BLOCK_2010;

    /// Channel readers take `by_time_fix`.
    static constexpr bool has_by_time_fix = true;

    /// A list of files may hold empty names, which no file has.
    static constexpr bool leaves_empty_names_out = false;
    /// Zero-terminated names are copied one by one.
    static constexpr bool copies_names = false;

    /// The table-loading thread keeps at most three loaded tables ahead, drops what it has loaded when it is stopped
    /// meanwhile, and stays until it is stopped.
    static constexpr bool bounds_read_ahead = true;
    static constexpr bool drops_late_tables = true;
    static constexpr bool table_thread_stays = true;
    /// A stop ends the thread wherever it waits, without a credit.
    static constexpr bool stops_without_credit = true;

    /// A single channel that cannot be moved because it is out of window is moved once more.
    static constexpr bool moves_again = true;

    // Traces that not every generation has.
    static constexpr bool has_timing_traces = true;
    static constexpr bool has_life_cycle_traces = true;

    // Texts whose arguments differ.
    static void tell_missing_lists(std::size_t files, std::size_t channels)
    {
        if (files == 0) {
            print<common_slicer_texts, common_slicer_message::no_files>();
        }
        if (channels == 0) {
            print<common_slicer_texts, common_slicer_message::no_channels>();
        }
    }
    static void tell_leaving_file(int channel, const char* /*name*/, int file)
    {
        print<Texts, slicer_message::leaving_file>(channel, file);
    }
    static void tell_position_at_first(int status)
    {
        print<Texts, slicer_message::position_at_first>(status);
    }
    static void tell_match(int result)
    {
        if (result != 0) {
            print<Texts, slicer_message::match>();
        }
    }
};

} // namespace trox_detail

#endif
