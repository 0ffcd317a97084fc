// What the reader's tests need to know of each generation: its types, its numbers and its name as texts have it.
#ifndef TROX_TEST_READER_TYPES_H
#define TROX_TEST_READER_TYPES_H

#include "trox_daq_read_chan.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_read_chan_2024.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"
#include "trox_daq_slicer.h"
#include "trox_daq_slicer_2010.h"
#include "trox_daq_slicer_2024.h"
#include "trox_writer.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace trox_test
{

struct reader_legacy : trox_detail::generation_legacy {
    using generation = trox_detail::generation_legacy;
    using reader = trox_daq_reader;

    static constexpr const char* label = "legacy";
    static inline const std::string class_name = "trox_daq_reader";
    static constexpr auto format = trox::writer::generation::legacy;

    static constexpr const char* data_dir = "";
    static constexpr std::uint32_t period_us = 200000;
    static constexpr bool trusts_catalogue = false;

    static constexpr int one_channel = TROX_BLOCK_SINGLE;
    static constexpr int four_members = TROX_BLOCK_BPM;
    static constexpr int update_type = TROX_UPD_BLOCK;
    static constexpr int begin_of_run_type = TROX_BOR_BLOCK;
    static constexpr int end_of_run_type = TROX_EOR_BLOCK;
    static constexpr std::size_t spectrum_head_size = 16;
    static constexpr std::size_t subhead_size = 44;
    static constexpr std::size_t head_name_size = 32;
    static constexpr std::size_t update_size = 96;
    static constexpr std::size_t update_name_size = 80;
    /// Characters of a channel name and of a nickname.
    static constexpr std::size_t longest_name = 79;
};

/// What the 2010 and the 2024 generation share.
struct reader_since_2010 {
    static constexpr const char* data_dir = "/daq/trox_ext/LINAC/";
    static constexpr std::uint32_t period_us = 100000;
    static constexpr bool trusts_catalogue = true;

    static constexpr int one_channel = TROX_BLOCK_1CHAN_2010;
    static constexpr int four_members = TROX_BLOCK_4CHAN_2010;
    static constexpr int update_type = TROX_UPD_BLOCK_2010;
    static constexpr int begin_of_run_type = TROX_BOR_BLOCK_2010;
    static constexpr int end_of_run_type = TROX_EOR_BLOCK_2010;
    static constexpr std::size_t spectrum_head_size = 32;
    static constexpr std::size_t subhead_size = 268;
    static constexpr std::size_t head_name_size = 256;
    static constexpr std::size_t update_size = 272;
    static constexpr std::size_t update_name_size = 256;
    static constexpr std::size_t longest_name = 255;
};

struct reader_2010 : trox_detail::generation_2010, reader_since_2010 {
    using generation = trox_detail::generation_2010;
    using reader = trox_daq_reader_2010;

    static constexpr const char* label = "2010";
    static inline const std::string class_name = "trox_daq_reader_2010";
    static constexpr auto format = trox::writer::generation::v2010;
};

struct reader_2024 : trox_detail::generation_2024, reader_since_2010 {
    using generation = trox_detail::generation_2024;
    using reader = trox_daq_reader_2024;

    static constexpr const char* label = "2024";
    static inline const std::string class_name = "trox_daq_reader_2024";
    static constexpr auto format = trox::writer::generation::v2024;
};

using reader_types = ::testing::Types<reader_legacy, reader_2010, reader_2024>;
using reader_types_since_2010 = ::testing::Types<reader_2010, reader_2024>;

/// Names the tests of a generation after it.
struct reader_type_names {
    template <class T> static std::string GetName(int /*index*/)
    {
        return T::label;
    }
};

} // namespace trox_test

#endif
