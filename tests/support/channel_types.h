// What the tests of the channel-reading layer need to know of each generation: its types, and its texts as a user
// of the library reads them.
#ifndef TROX_TEST_CHANNEL_TYPES_H
#define TROX_TEST_CHANNEL_TYPES_H

#include "byte_builder.h"
#include "sample_files.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_writer.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace trox_test
{

struct channel_2010 {
    using generation = trox_detail::generation_2010;
    using loader = trox_file_get_tables_2010;
    using reader = trox_daq_read_chan_2010;
    using entry = generation::channel_entry;
    using time_id = generation::time_id;
    using event_number = generation::event_number;
    using event_header = generation::event_header;
    using server_block_head = generation::server_block_head;
    using subhead = generation::subhead;
    using update_block = generation::update_block;
    using reference_table = generation::file_reference_table;
    using dictionary_entry = generation::chan_dictionary_entry;
    using pointers_entry = generation::chan_ptr_entry;
    using word = std::uint32_t; ///< of table heads, positions and counts in the file

    static constexpr auto format = trox::writer::generation::v2010;
    static constexpr auto samples = sample_generation::g2010;
    static constexpr auto run_worker = unzip_thread_2010;

    static constexpr std::size_t trailer_size = 12;
    static constexpr bool may_copy_baskets = true;
    static constexpr std::uint32_t event_header_pattern = 0xFFEEFF10;
    static constexpr event_number undecoded = 0xFFFFFFFF;
    static constexpr std::int32_t trace_type = TROX_BLOCK_1CHAN_2010;
    static constexpr std::int32_t four_member_type = TROX_BLOCK_4CHAN_2010;
    static constexpr std::int32_t update_type = TROX_UPD_BLOCK_2010;
    static constexpr std::size_t spectrum_head_size = 32;

    static constexpr const char* lookup_timing_format = "get_by_event_id()  %f msec event_id:%d\n";

    /// An event header and a server block head as in the file, with these values and others of no meaning: event
    /// length 1000, mask 0x55, status -2, 3 blocks; length 640, mask 10, status 11, 2 channels.
    static void append_event_header(byte_builder& bytes, event_number number, time_stamp time)
    {
        bytes.word(event_header_pattern).word(1000).word(number).word(TROX_EV_NORMAL);
        bytes.word(time.timeup).word(time.timelow).word(0x55).word(0xFFFFFFFE).word(3);
    }
    static void append_server_block(byte_builder& bytes, event_number number, time_stamp time, std::string_view server)
    {
        bytes.word(time.timeup).word(time.timelow).word(640).word(number).text(server, 256).word(10).word(11).word(2);
    }

    static std::string reference_table_failed(int error)
    {
        return "Failed to get file reference tabel (2010) err: " + std::to_string(error) + "\n";
    }
    static std::string event_index_failed(int error)
    {
        return "Failed to get EIT (2010) err: " + std::to_string(error) + "\n";
    }
    static std::string dictionary_failed(int error)
    {
        return "Failed to get CDT (2010) err: " + std::to_string(error) + "\n";
    }
    static std::string pointers_failed(int error)
    {
        return "Failed to get ECPT (2010) err: " + std::to_string(error) + "\n";
    }
    static std::string pointers_by_list_failed(int error)
    {
        return "Failed to get ECPT (2010) err: " + std::to_string(error) + "\n";
    }
    static std::string descriptions_failed(int error)
    {
        return "Failed to get XCD (2010) err: " + std::to_string(error) + "\n";
    }
    static std::string decoding_failed(int error)
    {
        return "Failed to load XCD (2010) err: " + std::to_string(error) + "\n";
    }
    /// With regular expressions for the times taken.
    static std::string tables_timing(const std::string& file)
    {
        return "GET ALL TABLES [0-9]+\\.[0-9]+ msec file:" + file + "\n";
    }
    static std::string start_timing(const std::string& file)
    {
        return "START MMAP IN [0-9]+\\.[0-9]+ msec file:" + file +
               " chbasket_size: [0-9]+  chn_base_size: [0-9]+   entries: [0-9]+\n";
    }
    static std::string start_not_initialized(const std::string& channel)
    {
        return "trox_daq_read_chan_2010:start() " + channel + " not initialized\n";
    }
    static std::string get_data_not_initialized(const std::string& channel)
    {
        return "trox_daq_read_chan_2010:get_chan_data() " + channel + "  not initialized\n";
    }
    static std::string channel_not_found()
    {
        return "trox_daq_read_chan_2010: channel not found\n";
    }
    static std::string cut_failed(const std::string& channel, int member)
    {
        return "device_to_one_channel_2010() failed for " + channel + ":" + std::to_string(member) + "\n";
    }
    static std::string lookup_met_end()
    {
        return "HERE STATUS NO_DATA...\n";
    }
};

/// The generations that the layer is there for.
using channel_generations = ::testing::Types<channel_2010>;

} // namespace trox_test

#endif
