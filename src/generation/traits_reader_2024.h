// What the reader layer needs to know of the 2024 generation.
#ifndef TROX_GENERATION_TRAITS_READER_2024_H
#define TROX_GENERATION_TRAITS_READER_2024_H

#include "detail/generation_2024.h"
#include "event_util.h"
#include "generation/messages_reader_2024.h"
#include "generation/traits_reader_common.h"
#include "trox_xml.h"

namespace trox_detail
{

template <> struct reader_traits<generation_2024> : reader_traits_since_2010<generation_2024> {
    static constexpr auto copy_request = trox_copy_daq_request_2024;

    static void select_data_format()
    {
        set_data_format_2024(true);
    }
    /// An event number as the texts print it.
    static long printed(generation_2024::event_number number)
    {
        return static_cast<long>(number);
    }
};

} // namespace trox_detail

#endif
