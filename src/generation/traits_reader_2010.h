// What the reader layer needs to know of the 2010 generation.
#ifndef TROX_GENERATION_TRAITS_READER_2010_H
#define TROX_GENERATION_TRAITS_READER_2010_H

#include "detail/generation_2010.h"
#include "event_util.h"
#include "generation/messages_reader_2010.h"
#include "generic/data_path_list.h"
#include "trox_xml.h"

#include <string>

namespace trox_detail
{

template <class Generation> struct reader_traits;

template <> struct reader_traits<generation_2010> {
    using generation = generation_2010;

    static constexpr const char* data_dir = "/daq/trox_ext/LINAC/";
    static constexpr generation::time_id period{1, {0, 100000}};
    static constexpr time_stamp time_diff{0, 50000};
    /// The tolerance may come from the environment.
    static constexpr bool reads_max_time_step = true;
    /// Slicer and channel readers offer the check of neighbours by event number.
    static constexpr bool has_by_time_fix = true;

    static std::string default_path_list()
    {
        return data_path_list_of_this_host();
    }
    static void select_data_format()
    {
        set_data_format_2010(true);
    }
    static constexpr auto copy_request = trox_copy_daq_request;

    static constexpr int update_type = TROX_UPD_BLOCK_2010;
    /// Blocks that begin with the channel's full name.
    static constexpr bool is_update_type(int type)
    {
        return type == TROX_UPD_BLOCK_2010 || type == TROX_BOR_BLOCK_2010 || type == TROX_EOR_BLOCK_2010;
    }

    /// An event number as the texts print it.
    static int printed(generation::event_number number)
    {
        return static_cast<int>(number);
    }
};

} // namespace trox_detail

#endif
