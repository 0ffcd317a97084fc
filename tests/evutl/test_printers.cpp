// The printers' exact output.
#include "spectrum_block.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace
{

using namespace trox_test;

/// What a print function writes on standard output.
template <class Print> std::string printed(Print print)
{
    ::testing::internal::CaptureStdout();
    print();
    std::fflush(stdout);
    return ::testing::internal::GetCapturedStdout();
}

std::uint32_t big(std::uint32_t value)
{
    return __builtin_bswap32(value);
}

std::uint64_t big64(std::uint64_t value)
{
    return __builtin_bswap64(value);
}

class printers : public ::testing::Test
{
protected:
    void TearDown() override
    {
        set_data_format_2010(false);
        set_data_format_2024(false);
    }
};

TEST_F(printers, zip_header)
{
    const trox_zip_header header{2, 4128, 444};
    EXPECT_EQ(printed([&] { print_trox_zip_header(&header); }),
              "zip_flags: 0x2\norig_length: 4128\nzipp_length: 444\n");
}

TEST_F(printers, dictionary_entry)
{
    trox_chan_dictionary_entry entry{7, "A/B", 2, 0x200, -1};
    EXPECT_EQ(printed([&] { print_trox_chan_dictionary_entry(&entry); }),
              "key: 7\nchan_name: A/B\nev_mask: 0x2\ndtype_mask: 0x200\ncount: -1\n");
    trox_chan_dictionary_entry_2010 later{4294967295U, "C", 0x80000000, 0, 3};
    EXPECT_EQ(printed([&] { print_trox_chan_dictionary_entry(&later); }),
              "layout: 2010\nkey: 4294967295\nchan_name: C\nev_mask: 0x80000000\ndtype_mask: 0x0\ncount: 3\n");
}

template <class Table> std::string printed_dictionary()
{
    constexpr std::size_t head = offsetof(Table, entries);
    using entry_type = std::remove_reference_t<decltype(Table::entries[0])>;
    std::vector<unsigned char> block(head + 2 * sizeof(entry_type));
    Table table{};
    table.pattern = 0xDCADCAF3;
    table.length = static_cast<decltype(table.length)>(block.size());
    std::memcpy(block.data(), &table, head);
    entry_type entry{};
    entry.key = 5;
    std::memset(entry.chan_name, 'N', sizeof entry.chan_name); // fills its field
    entry.count = 1;
    std::memcpy(block.data() + head, &entry, sizeof entry);
    return printed([&] { print_trox_channel_dictionary_table(reinterpret_cast<const Table*>(block.data())); });
}

std::string expected_dictionary(const std::string& length, std::size_t name_size)
{
    return "pattern: 0xdcadcaf3\nlength: " + length +
           "\nentries[0].key: 5\nentries[0].chan_name: " + std::string(name_size, 'N') +
           "\nentries[0].ev_mask: 0x0\nentries[0].dtype_mask: 0x0\nentries[0].count: 1\n"
           "entries[1].key: 0\nentries[1].chan_name: \nentries[1].ev_mask: 0x0\nentries[1].dtype_mask: 0x0\n"
           "entries[1].count: 0\n";
}

TEST_F(printers, dictionary_table)
{
    EXPECT_EQ(printed_dictionary<trox_chan_dictionary_table>(), expected_dictionary("200", 80));
    EXPECT_EQ(printed_dictionary<trox_chan_dictionary_table_2010>(), expected_dictionary("552", 256));
    EXPECT_EQ(printed_dictionary<trox_chan_dictionary_table_2024>(), expected_dictionary("560", 256));
}

TEST_F(printers, event_index_entry)
{
    struct {
        trox_event_index_entry_head head;
        trox_event_info_entry info[2];
    } entry{{1, {big(1339666200), big(249944)}, {big(1339666204), big(5)}, big(71), big(72), 64},
            {{{big(1339666200), big(249944)}, big(71), 24}, {{big(1339666204), big(5)}, big(72), 60}}};
    const auto print = [&] { print_trox_event_index_table(reinterpret_cast<const trox_event_index_entry*>(&entry)); };
    const std::string fields = "event_type: 1\n"
                               "event_time_first: 2012-06-14 09:30:00.249944 UTC\n"
                               "event_time_last: 2012-06-14 09:30:04.000005 UTC\n"
                               "event_number_first: 71\nevent_number_last: 72\nlength: 64\n"
                               "info[0].time: 2012-06-14 09:30:00.249944 UTC\ninfo[0].event_number: 71\n"
                               "info[0].offset: 24\n"
                               "info[1].time: 2012-06-14 09:30:04.000005 UTC\ninfo[1].event_number: 72\n"
                               "info[1].offset: 60\n";
    EXPECT_EQ(printed(print), "layout: legacy\n" + fields);
    set_data_format_2010(true);
    EXPECT_EQ(printed(print), "layout: 2010\n" + fields);
    set_data_format_2010(false);
    EXPECT_EQ(printed(print), "layout: legacy\n" + fields);
}

TEST_F(printers, event_index_entry_2024)
{
    const trox_event_index_entry_2024 entry{
        {6, {0, 0}, {big(4294967295U), big(999999)}, big64(81604378624001), big64(81604378624002), 72},
        {{{0, 0}, big64(81604378624001), 24}}};
    EXPECT_EQ(printed([&] { print_trox_event_index_table(&entry); }),
              "event_type: 6\nevent_time_first: 1970-01-01 00:00:00.000000 UTC\n"
              "event_time_last: 2106-02-07 06:28:15.999999 UTC\n"
              "event_number_first: 81604378624001\nevent_number_last: 81604378624002\nlength: 72\n"
              "info[0].time: 1970-01-01 00:00:00.000000 UTC\ninfo[0].event_number: 81604378624001\n"
              "info[0].offset: 24\n");
}

TEST_F(printers, pointers_entry)
{
    const trox_event_chan_ptr_entry entry{1, 2, 4294967295U, 4};
    EXPECT_EQ(printed([&] { print_trox_event_chan_ptr_entry(&entry); }),
              "layout: legacy\nevhd: 1\nsbhd: 2\nchhd: 4294967295\ndata: 4\n");
    const trox_event_chan_ptr_entry_2024 later{1, 2, 4294967296, -4};
    EXPECT_EQ(printed([&] { print_trox_event_chan_ptr_entry(&later); }),
              "evhd: 1\nsbhd: 2\nchhd: 4294967296\ndata: -4\n");
}

TEST_F(printers, event_header)
{
    const trox_eventheader header{0xFFEEFF10, 1000, 71, 5, {1339666200, 7}, -1, 3, 4};
    EXPECT_EQ(printed([&] { print_trox_event_header(&header); }),
              "pattern: 0xffeeff10\nevent_length: 1000\nevent_number: 71\nevent_type: 5\n"
              "event_time: 2012-06-14 09:30:00.000007 UTC\ntmask: 0xffffffff\nstatus: 0x3\nnum_svr_block: 4\n");
    const trox_eventheader_2024 later{0xFFEEFF24, 5, 1000, 81604378624001, {1339666200, 7}, 1, 3, 4, 0};
    EXPECT_EQ(printed([&] { print_trox_event_header(&later); }),
              "pattern: 0xffeeff24\nevent_type: 5\nevent_length: 1000\nevent_number: 81604378624001\n"
              "event_time: 2012-06-14 09:30:00.000007 UTC\ntmask: 0x1\nstatus: 0x3\nnum_svr_block: 4\n");
}

TEST_F(printers, server_block_head)
{
    const std::string legacy_fields = "time: 2012-06-14 09:30:00.000007 UTC\nltotal: 500\nmpulse: -6\nserver: RF.SVR3\n"
                                      "tmask: 0x1\nstatus: 0x2\nnchan: 3\n";
    const trox_serv_block_head head{{1339666200, 7}, 500, -6, "RF.SVR3", 1, 2, 3};
    EXPECT_EQ(printed([&] { print_trox_serv_block_head(&head); }), legacy_fields);
    const trox_serv_block_head_2010 later{{1339666200, 7}, 500, -6, "RF.SVR3", 1, 2, 3};
    EXPECT_EQ(printed([&] { print_trox_serv_block_head(&later); }), legacy_fields);
    const trox_serv_block_head_2024 latest{0xFFBBFF24, 500, 81604378624001, {1339666200, 7}, "RF.SVR3", 1, 2, 3, 0};
    EXPECT_EQ(printed([&] { print_trox_serv_block_head(&latest); }),
              "pattern: 0xffbbff24\nltotal: 500\nmpulse: 81604378624001\ntime: 2012-06-14 09:30:00.000007 UTC\n"
              "server: RF.SVR3\ntmask: 0x1\nstatus: 0x2\nnchan: 3\n");
}

TEST_F(printers, subhead)
{
    test_block<layout_legacy> block(41, std::string_view("A\x01\xFF"));
    EXPECT_EQ(printed([&] { print_trox_serv_block_subhead(block.get()); }),
              "chname: A??\ndtype: 41\nerror: 0x1000\nldata: 44\n");
    test_block<layout_2010> later(41);
    const auto print = [&] { print_trox_serv_block_subhead(later.get()); };
    const std::string fields = "chname: LINAC.X\ndtype: 41\nerror: 0x1000\nldata: 268\n";
    EXPECT_EQ(printed(print), "layout: 2010\n" + fields);
    set_data_format_2024(true);
    EXPECT_EQ(printed(print), "layout: 2024\n" + fields);
}

std::string head_lines(int dtype, std::int32_t length)
{
    return "chname: LINAC.X\ndtype: " + std::to_string(dtype) + "\nerror: 0x1000\nldata: " + std::to_string(length) +
           "\n";
}

template <class Layout> std::string printed_data(test_block<Layout>& block)
{
    return printed([&] { print_trox_channel_data(block.get()); });
}

TEST_F(printers, data_of_a_legacy_trace)
{
    test_block<layout_legacy> block(10);
    block.add(trox_spect_head{2, 3, 100, 0.5}).add_floats(3, 1).add(-0.1F).add(1e30F).add(0.0F);
    EXPECT_EQ(printed_data(block), head_lines(10, 84) + "nmemb: 2\nnsamp: 3\nstart: 100\ninc: 0.5\n"
                                                        "CHARGE: 1 2 3\nTIME: -0.1 1e+30 0\n");
}

TEST_F(printers, data_of_a_region_with_statistics)
{
    test_block<layout_2010> block(24);
    trox_spect_statistics_2010 statistics{};
    statistics.mask = 3;
    statistics.val[0] = 1.5;
    block.add(trox_roi_head{5, 3, 18, 12}).add(trox_spect_head_2010{1, 2, 0, 9, 0, 1, 0, 1});
    block.add(statistics).add_floats(2, 7);
    std::string zeros;
    for (int i = 1; i < 32; ++i) {
        zeros += " 0";
    }
    EXPECT_EQ(printed_data(block),
              "layout: 2010\n" + head_lines(24, 268 + 16 + 32 + 132 + 8) +
                  "x: 5\ny: 3\nwidth: 18\nheight: 12\nnmemb: 1\nnsamp: 2\ngroups: 0\ncode: 9\nstart: 0\ninc: 1\n"
                  "group_inc: 0\nflags: 0x1\nstatistics[0].mask: 0x3\nstatistics[0].val: 1.5" +
                  zeros + "\nVALUE: 7 8\n");
}

TEST_F(printers, data_of_updates)
{
    test_block<layout_legacy> block(1);
    block.add(trox_upd_data_block{"A/B", 3, {1339666200, 7}, 1.25});
    const std::string fields =
        "upd_prop: A/B\nupd_ch_status: 3\nupd_ch_time: 2012-06-14 09:30:00.000007 UTC\nupd_ch_data: 1.25\n";
    EXPECT_EQ(printed_data(block), head_lines(1, 140) + fields);
    test_block<layout_2010> later(33);
    later.add(trox_upd_data_block_2010{"A/B", 3, {1339666200, 7}, 1.25});
    EXPECT_EQ(printed_data(later), "layout: 2010\n" + head_lines(33, 540) + fields);
}

TEST_F(printers, data_of_an_environment_value)
{
    test_block<layout_legacy> block(3);
    block.add(trox_env_data_block{1, 2, {1339666200, 7}, 23.5});
    EXPECT_EQ(printed_data(block), head_lines(3, 64) +
                                       "env_ch_idx: 1\nenv_ch_status: 2\nenv_ch_time: 2012-06-14 09:30:00.000007 UTC\n"
                                       "env_ch_data: 23.5\n");
}

TEST_F(printers, data_of_a_name_value_list)
{
    test_block<layout_legacy> block(22);
    char comment[80] = "settings";
    block.add(std::int32_t{4}).add(comment).add(std::int32_t{9});
    block.add(trox_name_value_channel{"GAIN", 0.5}).add(trox_name_value_channel{"PHASE", -1});
    EXPECT_EQ(printed_data(block), head_lines(22, 44 + 88 + 168) +
                                       "id: 4\ncomment: settings\nndata: 9\nvalues[0].name: GAIN\nvalues[0].value: "
                                       "0.5\nvalues[1].name: PHASE\nvalues[1].value: -1\n");
}

TEST_F(printers, data_of_control_system_values)
{
    const std::string fields = "\nstatus: 1\ntime: 2012-06-14 09:30:00.000007 UTC\nlength: 2\n";
    const auto make = [](int type) {
        test_block<layout_legacy> block(23);
        block.add(trox_eqdata_head{type, 1, {1339666200, 7}, 2});
        return block;
    };
    auto integers = make(DATA_A_INT);
    integers.add(std::int32_t{-35}).add(std::int32_t{4});
    EXPECT_EQ(printed_data(integers), head_lines(23, 72) + "type: 105" + fields + "data: -35 4\n");
    auto floats = make(DATA_FLOAT);
    floats.add(4.25F).add(5.0F);
    EXPECT_EQ(printed_data(floats), head_lines(23, 72) + "type: 2" + fields + "data: 4.25 5\n");
    auto text = make(DATA_STRING);
    text.add('o').add('k').add('!');
    EXPECT_EQ(printed_data(text), head_lines(23, 67) + "type: 3" + fields + "data: ok\n");
    auto image = make(DATA_IMAGE);
    image.add('o').add('k');
    EXPECT_EQ(printed_data(image), head_lines(23, 66) + "type: 22" + fields + "data_bytes: 2\n");
    auto cut = make(DATA_INT);
    cut.add(std::int32_t{6});
    EXPECT_EQ(printed_data(cut), head_lines(23, 68) + "type: 1" + fields + "data: 6\n");
}

TEST_F(printers, data_of_images)
{
    test_block<layout_legacy> block(13);
    block.add(trox_image_frame_head{18, 12, 2, 0, 9, 0, 81604378624001, 3, 0}).add('a').add('b').add('c');
    EXPECT_EQ(printed_data(block), head_lines(13, 87) + "w: 18\nh: 12\nbpp: 2\ncompr: 0\nframe: 9\n"
                                                        "event_nm: 81604378624001\nlength: 3\npixel_bytes: 3\n");
    test_block<layout_legacy> extended(27);
    extended.add(trox_image_ext_frame_head{1,  2,  3,  4,    5,  6,  7,  8,  9,  10, 11, 12, 13,
                                           14, 15, 16, 17.5, 18, 19, 20, 33, 22, 23, 24, 25});
    EXPECT_EQ(printed_data(extended),
              head_lines(27, 144) +
                  "width: 1\nheight: 2\naoi_width: 3\naoi_height: 4\nx_start: 5\ny_start: 6\nbpp: 7\nebitpp: 8\n"
                  "hbin: 9\nvbin: 10\nsource_format: 11\nimage_format: 12\nframe: 13\nevent: 14\nscale_x: 15\n"
                  "scale_y: 16\nimage_rotation: 17.5\nfspare2: 18\nfspare3: 19\nfspare4: 20\nimage_flags: 0x21\n"
                  "ispare2: 22\nispare3: 23\nispare4: 24\nlength: 25\npixel_bytes: 0\n");
}

TEST_F(printers, data_of_other_types_and_of_payloads_that_are_too_short)
{
    for (const int type : {2, 29, 30, 31, 99}) {
        test_block<layout_legacy> block(type);
        block.add(std::int32_t{1});
        EXPECT_EQ(printed_data(block), head_lines(type, 48) + "payload_bytes: 4\n");
    }
    for (const int type : {1, 3, 13, 22, 23, 27, 33, 9, 24, 28}) {
        test_block<layout_legacy> block(type);
        block.add(std::int32_t{1}).add('x');
        EXPECT_EQ(printed_data(block), head_lines(type, 49) + "payload_bytes: 5\n");
    }
    test_block<layout_legacy> negative(41);
    negative.set_length(-1);
    EXPECT_EQ(printed_data(negative), head_lines(41, -1) + "payload_bytes: 0\n");
}

TEST_F(printers, description)
{
    bit_descr bit;
    bit.bit = 3;
    std::strcpy(bit.bit_name, "ON");
    std::strcpy(bit.bit_desc, "is on");
    auto* dimension = new dim_descr;
    dimension->dim = 1;
    std::strcpy(dimension->dim_name, "T");
    std::strcpy(dimension->units, "us");
    dimension->nstats = 1;
    auto* statistic = new stat_descr;
    statistic->stat = 2;
    std::strcpy(statistic->stat_name, "MAX");
    dimension->stats.push_back(statistic);
    chan_descr_2010 channel;
    channel.ev_type = 0x22;
    channel.count = 40;
    channel.dtype = 19;
    channel.db_key = -5;
    std::strcpy(channel.daq_name, "A/B");
    channel.nbits = 1;
    channel.bits.push_back(new bit_descr(bit));
    channel.ndims = 1;
    channel.dims.push_back(dimension);
    std::strcpy(channel.subsystem, "RF");
    EXPECT_EQ(printed([&] { print_trox_chan_descr(&channel); }),
              "stream: 0\nev_type: 0x22\ncount: 40\ndtype: 19\ndb_key: -5\nprop_name: \ndaq_name: A/B\nprop_desc: \n"
              "units: \nmax_size: 0\nnbits: 1\nbits[0].bit: 3\nbits[0].bit_name: ON\nbits[0].bit_desc: is on\n"
              "ndims: 1\ndims[0].dim: 1\ndims[0].dim_name: T\ndims[0].dim_desc: \ndims[0].units: us\n"
              "dims[0].nstats: 1\ndims[0].stats[0].stat: 2\ndims[0].stats[0].stat_name: MAX\n"
              "dims[0].stats[0].stat_desc: \ndims[0].stats[0].units: \nsb_name: \nset_point: 0\nsubsystem: RF\n");
}

TEST_F(printers, print_nothing_for_null)
{
    const auto print_all = [] {
        print_trox_channel_dictionary_table(static_cast<const trox_chan_dictionary_table*>(nullptr));
        print_trox_channel_dictionary_table(static_cast<const trox_chan_dictionary_table_2010*>(nullptr));
        print_trox_channel_dictionary_table(static_cast<const trox_chan_dictionary_table_2024*>(nullptr));
        print_trox_event_index_table(static_cast<const trox_event_index_entry*>(nullptr));
        print_trox_event_index_table(static_cast<const trox_event_index_entry_2024*>(nullptr));
        print_trox_event_chan_ptr_entry(static_cast<const trox_event_chan_ptr_entry*>(nullptr));
        print_trox_event_chan_ptr_entry(static_cast<const trox_event_chan_ptr_entry_2024*>(nullptr));
        print_trox_chan_dictionary_entry(static_cast<const trox_chan_dictionary_entry*>(nullptr));
        print_trox_chan_dictionary_entry(static_cast<const trox_chan_dictionary_entry_2010*>(nullptr));
        print_trox_zip_header(nullptr);
        print_trox_event_header(static_cast<const trox_eventheader*>(nullptr));
        print_trox_event_header(static_cast<const trox_eventheader_2024*>(nullptr));
        print_trox_serv_block_head(static_cast<const trox_serv_block_head*>(nullptr));
        print_trox_serv_block_head(static_cast<const trox_serv_block_head_2010*>(nullptr));
        print_trox_serv_block_head(static_cast<const trox_serv_block_head_2024*>(nullptr));
        print_trox_serv_block_subhead(static_cast<const trox_serv_block_subhead*>(nullptr));
        print_trox_serv_block_subhead(static_cast<const trox_serv_block_subhead_2010*>(nullptr));
        print_trox_channel_data(static_cast<const trox_serv_block_subhead*>(nullptr));
        print_trox_channel_data(static_cast<const trox_serv_block_subhead_2010*>(nullptr));
        print_trox_chan_descr(nullptr);
    };
    EXPECT_EQ(printed(print_all), "");
}

TEST_F(printers, the_format_switches_may_be_set_from_any_thread)
{
    // Says something under a thread sanitizer only.
    std::thread other([] {
        for (int i = 0; i < 1000; ++i) {
            set_data_format_2010(i % 2 == 0);
            set_data_format_2024(i % 2 == 0);
        }
    });
    test_block<layout_2010> block(41);
    const std::string text = printed([&] {
        for (int i = 0; i < 100; ++i) {
            print_trox_serv_block_subhead(block.get());
        }
    });
    other.join();
    EXPECT_FALSE(text.empty());
}

} // namespace
