// What the golden tests need to know of a file generation. A further generation is a further struct here and a
// further type in the tests' lists.
#ifndef TROX_GOLDEN_GENERATION_H
#define TROX_GOLDEN_GENERATION_H

#include "detail/big_endian.h"
#include "event_util.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_slicer_2010.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trox_golden
{

/// Head fields of a spectrum, as the event utility library tells them for one member.
struct spectrum_axis {
    std::int32_t members = 0;
    int samples = 0;
    int groups = 1;
    std::int32_t code = 0;
    float start = 0;
    float inc = 0;
    float group_inc = 0;
    std::uint32_t flags = 0;
    const trox_spect_statistics_2010* statistics = nullptr;
};

struct golden_2010 : trox_detail::generation_2010 {
    using daq_reader = trox_daq_reader_2010;

    static constexpr const char* name = "2010";
    static constexpr const char* data_folder = "data_2010";
    static constexpr int run = 1042;
    static constexpr std::size_t trailer_size = 12;
    using trailer_position = std::uint32_t; // first in the trailer: where the file reference table lies

    /// Block type under which update and environment records are published.
    static constexpr std::int32_t published_update = TROX_UPD_BLOCK_2010;
    static constexpr bool is_update(std::int32_t dtype)
    {
        return dtype == TROX_UPD_BLOCK_2010 || dtype == TROX_BOR_BLOCK_2010 || dtype == TROX_EOR_BLOCK_2010;
    }

    static const float* member_data(const subhead& block, int member)
    {
        return get_pointer_to_data_2010(&block, member);
    }

    /// Non-zero when the block holds no such member.
    static int read_axis(const subhead& block, int member, spectrum_axis& axis)
    {
        void* head_address = nullptr;
        trox_spect_statistics_2010* statistics = nullptr;
        const int status =
            get_spect_params_for_data_type_2010(&block, &axis.start, &axis.inc, &head_address, &axis.samples,
                                                &axis.groups, &axis.group_inc, &statistics, member);
        if (status == 0) {
            const auto head = trox_detail::load_record<trox_spect_head_2010>(head_address);
            axis.members = head.nmemb;
            axis.code = get_spect_code_description_2010(&block);
            axis.flags = head.flags;
            axis.statistics = statistics;
        }
        return status;
    }

    static void set_time_diff(daq_reader& reader, time_stamp tolerance)
    {
        reader.set_time_diff(&tolerance);
    }
};

} // namespace trox_golden

#endif
