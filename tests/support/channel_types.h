// What the tests of the channel-reading layer need to know of each generation: its types, and its texts as a user
// of the library reads them.
#ifndef TROX_TEST_CHANNEL_TYPES_H
#define TROX_TEST_CHANNEL_TYPES_H

#include "byte_builder.h"
#include "find_by_number.h"
#include "sample_files.h"
#include "trox_daq_read_chan.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_read_chan_2024.h"
#include "trox_writer.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>

namespace trox_test
{

/// The types of a generation's records and file structures.
template <class Generation> struct channel_records {
    using generation = Generation;
    using loader = typename generation::table_loader;
    using reader = typename generation::channel_reader;
    using entry = typename generation::channel_entry;
    using time_id = typename generation::time_id;
    using event_number = typename generation::event_number;
    using event_header = typename generation::event_header;
    using server_block_head = typename generation::server_block_head;
    using subhead = typename generation::subhead;
    using update_block = typename generation::update_block;
    using reference_table = typename generation::file_reference_table;
    using dictionary_entry = typename generation::chan_dictionary_entry;
    using pointers_entry = typename generation::chan_ptr_entry;
};

/// A text of the library that ends with an error code.
inline std::string failed(const std::string& what, int error)
{
    return "Failed to " + what + " err: " + std::to_string(error) + "\n";
}

struct channel_legacy : channel_records<trox_detail::generation_legacy> {
    using word = std::uint32_t; ///< of table heads, positions and counts in the file

    static constexpr auto format = trox::writer::generation::legacy;
    static constexpr auto samples = sample_generation::legacy;
    static constexpr auto run_worker = unzip_thread;

    static constexpr std::size_t trailer_size = 4;
    static constexpr bool has_trailer_checks = false; ///< a checksum and a pattern in the trailer
    static constexpr bool may_copy_baskets = false;
    static constexpr bool maps_channel_baskets = true;
    static constexpr bool checks_neighbours = false; ///< found by time, against the event numbers
    static constexpr bool dumps_records = false;
    static constexpr bool has_lookup_timing = false;
    static constexpr bool clears_all_records = false; ///< before they are decoded
    static constexpr std::size_t longest_name = 79;
    static constexpr std::uint32_t event_header_pattern = 0xFFEEFFEE;
    static constexpr event_number undecoded = 0xFFFFFFFF;
    static constexpr std::int32_t trace_type = TROX_BLOCK_SINGLE;
    static constexpr std::int32_t four_member_type = TROX_BLOCK_BPM;
    static constexpr std::int32_t update_type = TROX_UPD_BLOCK;
    static constexpr std::size_t spectrum_head_size = 16;

    /// An event header and a server block head as in the file, with these values and others of no meaning: event
    /// length 1000, mask 0x55, status -2, 3 blocks; length 640, mask 10, status 11, 2 channels.
    static void append_event_header(byte_builder& bytes, event_number number, time_stamp time)
    {
        bytes.word(event_header_pattern).word(1000).word(number).word(TROX_EV_NORMAL);
        bytes.word(time.timeup).word(time.timelow).word(0x55).word(0xFFFFFFFE).word(3);
    }
    static void append_server_block(byte_builder& bytes, event_number number, time_stamp time, std::string_view server)
    {
        bytes.word(time.timeup).word(time.timelow).word(640).word(number).text(server, 48).word(10).word(11).word(2);
    }

    static std::string reference_table_failed(int error)
    {
        return failed("get file reference tabel", error);
    }
    static std::string event_index_failed(int error)
    {
        return failed("get EIT", error);
    }
    static std::string dictionary_failed(int error)
    {
        return failed("get CDT", error);
    }
    static std::string pointers_failed(int error)
    {
        return failed("get ECPT", error);
    }
    static std::string pointers_by_list_failed(int error)
    {
        return failed("get ECPT (with list)", error);
    }
    static std::string descriptions_failed(int error)
    {
        return failed("get XCD", error);
    }
    static std::string decoding_failed(int error)
    {
        return failed("load XCD", error);
    }
    /// With regular expressions for the times taken.
    static std::string tables_timing(const std::string& file)
    {
        return "  GET ALL TABLES [0-9]+\\.[0-9]+ msec file: " + file + "\n";
    }
    /// `mapped`: bytes from the page in which a basket begins to its end.
    static std::string start_timing(const std::string& file, std::uint64_t, std::uint64_t mapped, int entries)
    {
        return "START MMAP IN [0-9]+\\.[0-9]+ msec  file: " + file + " chn_base_size: " + std::to_string(mapped) +
               "  entries: " + std::to_string(entries) + "\n";
    }
    static std::string start_not_initialized(const std::string& channel)
    {
        return "trox_daq_read_chan:start() " + channel + "  not initialized\n";
    }
    static std::string get_data_not_initialized(const std::string& channel)
    {
        return "trox_daq_read_chan:get_chan_data() " + channel + " not initialized\n";
    }
    static std::string channel_not_found()
    {
        return "trox_daq_read_chan: channel not found\n";
    }
    static std::string cut_failed(const std::string& channel, int member)
    {
        return "device_to_one_channel_2010() failed for " + channel + ":" + std::to_string(member) + "\n";
    }
    static std::string lookup_without_records()
    {
        return "";
    }
    static std::string lookup_met_end()
    {
        return "";
    }
};

/// What the two younger generations share: 256-character names, and blocks of the 2010 layout.
template <class Generation> struct channel_since_2010 : channel_records<Generation> {
    static constexpr bool has_trailer_checks = true;
    static constexpr bool may_copy_baskets = true;
    static constexpr bool maps_channel_baskets = false;
    static constexpr bool checks_neighbours = true;
    static constexpr bool dumps_records = true;
    static constexpr bool has_lookup_timing = true;
    static constexpr std::int32_t trace_type = TROX_BLOCK_1CHAN_2010;
    static constexpr std::int32_t four_member_type = TROX_BLOCK_4CHAN_2010;
    static constexpr std::int32_t update_type = TROX_UPD_BLOCK_2010;
    static constexpr std::size_t spectrum_head_size = 32;

    static std::string tables_timing(const std::string& file)
    {
        return "GET ALL TABLES [0-9]+\\.[0-9]+ msec file:" + file + "\n";
    }
    static std::string start_timing(const std::string& file, std::uint64_t length, std::uint64_t mapped, int entries)
    {
        return "START MMAP IN [0-9]+\\.[0-9]+ msec file:" + file + " chbasket_size: " + std::to_string(length) +
               "  chn_base_size: " + std::to_string(mapped) + "   entries: " + std::to_string(entries) + "\n";
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

struct channel_2010 : channel_since_2010<trox_detail::generation_2010> {
    using word = std::uint32_t;

    static constexpr auto format = trox::writer::generation::v2010;
    static constexpr auto samples = sample_generation::g2010;
    static constexpr auto run_worker = unzip_thread_2010;
    static constexpr bool clears_all_records = false;

    static constexpr std::size_t trailer_size = 12;
    static constexpr std::size_t longest_name = std::string::npos; // any
    static constexpr std::uint32_t event_header_pattern = 0xFFEEFF10;
    static constexpr event_number undecoded = 0xFFFFFFFF;

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
        return failed("get file reference tabel (2010)", error);
    }
    static std::string event_index_failed(int error)
    {
        return failed("get EIT (2010)", error);
    }
    static std::string dictionary_failed(int error)
    {
        return failed("get CDT (2010)", error);
    }
    static std::string pointers_failed(int error)
    {
        return failed("get ECPT (2010)", error);
    }
    static std::string pointers_by_list_failed(int error)
    {
        return failed("get ECPT (2010)", error);
    }
    static std::string descriptions_failed(int error)
    {
        return failed("get XCD (2010)", error);
    }
    static std::string decoding_failed(int error)
    {
        return failed("load XCD (2010)", error);
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
    static std::string lookup_without_records()
    {
        return "";
    }
};

struct channel_2024 : channel_since_2010<trox_detail::generation_2024> {
    using word = std::uint64_t;

    static constexpr auto format = trox::writer::generation::v2024;
    static constexpr auto samples = sample_generation::g2024;
    static constexpr auto run_worker = unzip_thread_2024;
    static constexpr bool clears_all_records = true;

    static constexpr std::size_t trailer_size = 24;
    static constexpr std::size_t longest_name = 255;
    static constexpr std::uint32_t event_header_pattern = 0xFFEEFF24;
    static constexpr event_number undecoded = 0xFFFFFFFFFFFFFFFF;

    static void append_event_header(byte_builder& bytes, event_number number, time_stamp time)
    {
        bytes.word(event_header_pattern).word(TROX_EV_NORMAL).integer(std::uint64_t{1000}).integer(number);
        bytes.word(time.timeup).word(time.timelow).word(0x55).word(0xFFFFFFFE).word(3).word(0);
    }
    static void append_server_block(byte_builder& bytes, event_number number, time_stamp time, std::string_view server)
    {
        bytes.integer(std::uint64_t{0xFFBBFF24}).integer(std::uint64_t{640}).integer(number);
        bytes.word(time.timeup).word(time.timelow).text(server, 256).word(10).word(11).word(2).word(0);
    }

    static std::string reference_table_failed(int error)
    {
        return failed("get file reference tabel (2024)", error);
    }
    static std::string event_index_failed(int error)
    {
        return failed("get EIT (2024)", error);
    }
    static std::string dictionary_failed(int error)
    {
        return failed("get CDT (2024)", error);
    }
    static std::string pointers_failed(int error)
    {
        return failed("get ECPT (2024)", error);
    }
    static std::string pointers_by_list_failed(int error)
    {
        return failed("get ECPT (with list 2024)", error);
    }
    static std::string descriptions_failed(int error)
    {
        return failed("get XCD (2024)", error);
    }
    static std::string decoding_failed(int error)
    {
        return failed("load XCD (2024)", error);
    }
    static std::string start_not_initialized(const std::string& channel)
    {
        return "trox_daq_read_chan_2024:start() " + channel + " not initialized\n";
    }
    static std::string get_data_not_initialized(const std::string& channel)
    {
        return "trox_daq_read_chan_2024:get_chan_data() " + channel + "  not initialized\n";
    }
    static std::string channel_not_found()
    {
        return "trox_daq_read_chan_2024: channel not found\n";
    }
    static std::string lookup_without_records()
    {
        return "HERE STATUS NO_DATA.\n";
    }
};

/// The generations that the layer is there for, and those with the checks and dumps that came with 2010.
using channel_generations = ::testing::Types<channel_legacy, channel_2010, channel_2024>;
using channel_generations_since_2010 = ::testing::Types<channel_2010, channel_2024>;

/// What was printed but for the lines of workers, which may end any time after the last record is done.
inline std::string without_worker_lines(const std::string& text)
{
    return std::regex_replace(text, std::regex("thread: finished [^\n]*\n"), "");
}

/// Switches the check of neighbours against the event numbers off, where there is one.
template <class Reader> void do_not_check_neighbours(Reader& reader)
{
    if constexpr (requires { reader.set_by_time_fix(false); }) {
        reader.set_by_time_fix(false);
    }
}

} // namespace trox_test

#endif
