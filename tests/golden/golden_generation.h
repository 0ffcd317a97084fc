// What the golden tests need to know of a file generation. A further generation is a further struct here and a
// further type in the tests' lists.
#ifndef TROX_GOLDEN_GENERATION_H
#define TROX_GOLDEN_GENERATION_H

#include "detail/big_endian.h"
#include "event_util.h"
#include "trox_daq_read_chan.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_read_chan_2024.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"
#include "trox_daq_slicer.h"
#include "trox_daq_slicer_2010.h"
#include "trox_daq_slicer_2024.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
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

/// What the 2010 and the 2024 generation share.
template <class G> struct golden_since_2010 : G {
    static constexpr bool may_copy_baskets = true;
    /// Block type under which update and environment records are published.
    static constexpr std::int32_t published_update = TROX_UPD_BLOCK_2010;
    static constexpr bool is_update(std::int32_t dtype)
    {
        return dtype == TROX_UPD_BLOCK_2010 || dtype == TROX_BOR_BLOCK_2010 || dtype == TROX_EOR_BLOCK_2010;
    }

    static const float* member_data(const typename G::subhead& block, int member)
    {
        return get_pointer_to_data_2010(&block, member);
    }

    /// Non-zero when the block holds no such member.
    static int read_axis(const typename G::subhead& block, int member, spectrum_axis& axis)
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

    template <class Reader> static void set_time_diff(Reader& reader, time_stamp tolerance)
    {
        reader.set_time_diff(&tolerance);
    }
    template <class Slicer>
    static int init_slicer(Slicer& slicer, std::vector<std::string>& files,
                           std::vector<typename G::chan_param*>& params)
    {
        return slicer.init(&files, &params, 0);
    }
};

struct golden_2010 : golden_since_2010<trox_detail::generation_2010> {
    using daq_reader = trox_daq_reader_2010;

    static constexpr const char* name = "2010";
    static constexpr const char* data_folder = "data_2010";
    static constexpr int run = 1042;
    static constexpr std::size_t trailer_size = 12;
    using trailer_position = std::uint32_t; // first in the trailer: where the file reference table lies
};

struct golden_2024 : golden_since_2010<trox_detail::generation_2024> {
    using daq_reader = trox_daq_reader_2024;

    static constexpr const char* name = "2024";
    static constexpr const char* data_folder = "data_2024";
    static constexpr int run = 2210;
    static constexpr std::size_t trailer_size = 24;
    using trailer_position = std::uint64_t;
};

struct golden_legacy : trox_detail::generation_legacy {
    using daq_reader = trox_daq_reader;

    static constexpr const char* name = "legacy";
    static constexpr const char* data_folder = "data_legacy";
    static constexpr int run = 977;
    static constexpr std::size_t trailer_size = 4;
    using trailer_position = std::uint32_t;

    static constexpr bool may_copy_baskets = false;
    static constexpr std::int32_t published_update = TROX_UPD_BLOCK;
    static constexpr bool is_update(std::int32_t dtype)
    {
        return dtype == TROX_UPD_BLOCK || dtype == TROX_BOR_BLOCK || dtype == TROX_EOR_BLOCK;
    }

    static const float* member_data(const subhead& block, int member)
    {
        return get_pointer_to_data_2009(&block, member);
    }

    static int read_axis(const subhead& block, int member, spectrum_axis& axis)
    {
        void* head_address = nullptr;
        const int status =
            get_spect_params_for_data_type_2009(&block, &axis.start, &axis.inc, &head_address, &axis.samples, member);
        if (status == 0) {
            axis.members = trox_detail::load_record<trox_spect_head>(head_address).nmemb;
        }
        return status;
    }

    /// Only a request sets the tolerance; one that finds no files leaves its settings behind.
    static void set_time_diff(daq_reader& reader, time_stamp tolerance)
    {
        trox_daq_request request;
        request.time_diff = tolerance;
        request.ddir = "/no/such/directory";
        if (reader.init(&request, nullptr) != TROX_DAQ_READER_FILES_NOT_FOUND) {
            throw std::runtime_error("a request without files is taken");
        }
    }
    static int init_slicer(slicer& slicer, std::vector<std::string>& files, std::vector<chan_param*>& params)
    {
        return slicer.init(files, &params, 0);
    }
};

} // namespace trox_golden

#endif
