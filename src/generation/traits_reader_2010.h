// What the reader layer needs to know of the 2010 generation.
#ifndef TROX_GENERATION_TRAITS_READER_2010_H
#define TROX_GENERATION_TRAITS_READER_2010_H

#include "detail/generation_2010.h"
#include "event_util.h"
#include "generation/messages_reader_2010.h"
#include "generation/traits_reader_common.h"
#include "trox_xml.h"

namespace trox_detail
{

template <> struct reader_traits<generation_2010> : reader_traits_since_2010<generation_2010> {
    static constexpr auto copy_request = trox_copy_daq_request;

    static void select_data_format()
    {
        set_data_format_2010(true);
    }
    /// An event number as the texts print it.
    static int printed(generation_2010::event_number number)
    {
        return static_cast<int>(number);
    }
};

} // namespace trox_detail

#endif
