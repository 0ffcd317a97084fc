// What the reader layer needs to know of the legacy generation.
#ifndef TROX_GENERATION_TRAITS_READER_LEGACY_H
#define TROX_GENERATION_TRAITS_READER_LEGACY_H

#include "detail/generation_legacy.h"
#include "event_util.h"
#include "generation/messages_reader_legacy.h"
#include "generation/traits_reader_common.h"
#include "trox_xml.h"

namespace trox_detail
{

template <> struct reader_traits<generation_legacy> {
    /// Empty: files are searched along the data path list.
    static constexpr const char* data_dir = "";
    static constexpr generation_legacy::time_id period{1, {0, 200000}};
    static constexpr time_stamp time_diff{0, 95000};
    static constexpr bool reads_max_time_step = false;
    static constexpr bool has_by_time_fix = false;
    static constexpr bool has_channel_dumps = false;
    static constexpr bool trusts_run_catalogue = false;

    /// The same on all hosts.
    static std::string default_path_list()
    {
        return built_in_data_path_list();
    }
    static void select_data_format() {}
    template <class Slicer, class Params>
    static int init_slicer(Slicer& slicer, const std::vector<std::string>& files, const Params& params)
    {
        return slicer.init(files, &params, 0);
    }
    static constexpr auto copy_request = trox_copy_daq_request;

    static constexpr int update_type = TROX_UPD_BLOCK;
    /// Blocks that begin with the channel's full name.
    static constexpr bool is_update_type(int type)
    {
        return type == TROX_UPD_BLOCK || type == TROX_BOR_BLOCK || type == TROX_EOR_BLOCK;
    }

    /// An event number as the texts print it.
    static int printed(generation_legacy::event_number number)
    {
        return static_cast<int>(number);
    }
};

} // namespace trox_detail

#endif
