// What the reader layer needs to know of more than one generation.
#ifndef TROX_GENERATION_TRAITS_READER_COMMON_H
#define TROX_GENERATION_TRAITS_READER_COMMON_H

#include "event.h"
#include "generic/data_path_list.h"

#include <string>
#include <vector>

namespace trox_detail
{

template <class Generation> struct reader_traits;

/// The same in the 2010 and the 2024 generation.
template <class Generation> struct reader_traits_since_2010 {
    static constexpr const char* data_dir = "/daq/trox_ext/LINAC/";
    static constexpr typename Generation::time_id period{1, {0, 100000}};
    static constexpr time_stamp time_diff{0, 50000};
    /// The tolerance may come from the environment.
    static constexpr bool reads_max_time_step = true;
    /// Slicer and channel readers offer the check of neighbours by event number.
    static constexpr bool has_by_time_fix = true;
    /// Channel readers print all their records.
    static constexpr bool has_channel_dumps = true;
    /// Files that the run catalogue has named are not looked at again.
    static constexpr bool trusts_run_catalogue = true;

    static std::string default_path_list()
    {
        return data_path_list_of_this_host();
    }
    template <class Slicer, class Params>
    static int init_slicer(Slicer& slicer, const std::vector<std::string>& files, const Params& params)
    {
        return slicer.init(&files, &params, 0);
    }

    static constexpr int update_type = TROX_UPD_BLOCK_2010;
    /// Blocks that begin with the channel's full name.
    static constexpr bool is_update_type(int type)
    {
        return type == TROX_UPD_BLOCK_2010 || type == TROX_BOR_BLOCK_2010 || type == TROX_EOR_BLOCK_2010;
    }
};

} // namespace trox_detail

#endif
