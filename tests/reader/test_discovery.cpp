// The data files of a request in the run catalogue, and its times.
#include "discovery_fixture.h"

namespace
{

using trox_test::channel_list;
using trox_test::printed_by;
using trox_test::reader_discovery;
using trox_test::run_file_name;
using trox_test::run_second;

TEST_F(reader_discovery, null_request_is_invalid)
{
    EXPECT_EQ(reader.init(static_cast<trox_daq_request*>(nullptr), nullptr), -7);
    EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
}

TEST_F(reader_discovery, request_is_copied)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    request.synch_mode = 1;
    request.period = {3, {4, 5}};
    request.time_diff = {6, 7};
    request.ddir.pop_back();
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(reader.get_synch_mode(), 1);
    EXPECT_EQ(reader.get_period()->event_number, 3U);
    EXPECT_EQ(reader.get_time_diff()->timelow, 7U);
    EXPECT_EQ(reader.get_catalog_dir(), catalogue);
    EXPECT_EQ(reader.get_data_dir(), dir.path()) << "closed by a slash";
}

TEST_F(reader_discovery, names_that_fill_their_fields_are_cut)
{
    trox_test::write_run(dir);
    std::fill_n(request.exp_name, sizeof request.exp_name, 'e');
    std::fill_n(request.stream_name, sizeof request.stream_name, 's');
    EXPECT_EQ(reader.init(&request, nullptr), -10);
    EXPECT_EQ(reader.get_experiment(), std::string(31, 'e'));
    EXPECT_EQ(reader.get_stream(), std::string(31, 's'));
}

TEST_F(reader_discovery, bad_channel_ends_init)
{
    trox_test::write_run(dir);
    channel_list channels{""};
    EXPECT_EQ(reader.init(&request, channels.list()), -7);
    EXPECT_EQ(reader.get_number_of_files(), 0);
}

// --- run catalogue ------------------------------------------------------------------------------------

TEST_F(reader_discovery, runs_are_found_in_the_catalogue)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); }), "");
    EXPECT_EQ(names(), run_names(7, 1, 3));
    expect_times(run_second, run_second + 3);
    EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(reader_discovery, files_of_the_catalogue_are_not_filtered_again_but_once)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 7);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    trox_time_id late{0, {run_second + 100, 0}};
    trox_time_id later{0, {run_second + 200, 0}};
    reader.set_start_point(&late);
    reader.set_stop_point(&later);
    EXPECT_EQ(reader.check_request(), 0);
    EXPECT_EQ(names(), run_names(7, 1, 3));
    EXPECT_EQ(reader.check_request(), 0);
    EXPECT_EQ(names(), run_names(7, 1, 1)) << "the second time they are";
}

TEST_F(reader_discovery, several_runs_are_found_and_one_is_taken_for_a_range_turned_round)
{
    for (int run = 7; run <= 9; ++run) {
        trox_test::write_run_catalogue(catalogue, 1, run);
        trox_test::write_file(dir / run_file_name(run, 1), 1000, 1009);
    }
    set_runs(7, 8);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), (std::vector<std::string>{run_file_name(7, 1), run_file_name(8, 1)}));
    trox_daq_reader_2010 other;
    set_runs(9, 7);
    ASSERT_EQ(other.init(&request, nullptr), 0);
    EXPECT_EQ(other.get_number_of_files(), 1);
    EXPECT_EQ(other.get_file_name(0), dir / run_file_name(9, 1));
}

TEST_F(reader_discovery, any_range_of_runs_is_looked_up)
{
    for (const int run : {7, 8, 2147483647}) {
        trox_test::write_run_catalogue(catalogue, 1, run);
        trox_test::write_file(dir / run_file_name(run, 1), 1000, 1009);
    }
    set_runs(1, 2147483647);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    // All begin in the same second: the names order them.
    EXPECT_EQ(names(),
              (std::vector<std::string>{run_file_name(2147483647, 1), run_file_name(7, 1), run_file_name(8, 1)}));
    trox_daq_reader_2010 other;
    set_runs(8, 2147483646);
    ASSERT_EQ(other.init(&request, nullptr), 0);
    ASSERT_EQ(other.get_number_of_files(), 1) << "both ends bound a wide range";
    EXPECT_EQ(other.get_file_name(0), dir / run_file_name(8, 1));
}

TEST_F(reader_discovery, any_range_of_runs_is_scanned_for)
{
    trox_test::write_file(dir / run_file_name(7, 1), 1000, 1009);
    trox_test::write_file(dir / run_file_name(2147483647, 1), 1000, 1009);
    set_runs(8, 2147483647);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(2147483647, 1, 1));
}

TEST_F(reader_discovery, wide_range_of_runs_is_limited_to_the_stream)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    copy_name(request.stream_name, "side");
    set_runs(1, 2147483647);
    request.ddir = empty;
    EXPECT_EQ(reader.init(&request, nullptr), -10);
}

TEST_F(reader_discovery, runs_and_a_period_without_common_files_find_none)
{
    // Both are in the catalogue, each with a file of its own.
    trox_test::write_run_catalogue(catalogue, 1, 7);
    const std::uint32_t later = run_second + 1000;
    trox_test::tw::catalogue_run entry{{"linac", "main", 8}, later, later + 1, {}};
    entry.files.push_back({run_file_name(8, 1), "raw", later, later + 1});
    trox_test::tw::write_catalogue(catalogue, entry);
    trox_test::write_file(dir / run_file_name(7, 1), 1000, 1009);
    trox_test::write_file(dir / run_file_name(8, 1), 1000, 1009);
    set_runs(7, 0);
    set_times(later, later + 1);
    EXPECT_EQ(reader.init(&request, nullptr), -10);
    EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TEST_F(reader_discovery, run_seconds_beyond_32_bits_count_as_unknown)
{
    trox_test::write_run(dir);
    for (const char* stop : {"4294967295", "4294967296", "9223372036854775807"}) {
        std::ofstream(catalogue + "linac_main_run7_20120614T093000_20120614T093003.xml")
            << "<daq_run number=\"7\" experiment=\"linac\" stream=\"main\" start=\"" << run_second << "\" stop=\""
            << stop << "\"><file name=\"" << run_file_name(7, 1)
            << "\" format=\"raw\" start=\"1\" stop=\"2\"/></daq_run>";
        set_runs(7, 0);
        trox_daq_reader_2010 other;
        ASSERT_EQ(other.init(&request, nullptr), 0) << stop;
        const bool is_known = std::string(stop) == "4294967295";
        EXPECT_EQ(other.get_start_point()->time.timeup, is_known ? run_second : 0) << stop;
        EXPECT_EQ(other.get_stop_point()->time.timeup, is_known ? 4294967295U : 0) << stop;
    }
}

TEST_F(reader_discovery, runs_with_times_keep_the_files_of_the_period)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    set_times(run_second, run_second);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(7, 1, 1));
    expect_times(run_second, run_second);
}

TEST_F(reader_discovery, comparing_runs_and_period_is_told)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    set_times(run_second, run_second);
    reader.set_debug(1);
    const std::string one = run_file_name(7, 1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); }),
              "removing those that are not in our list sz: 1  from sz: 3\n"
              "Comparing:[" +
                  one + "][" + one + "]\nComparing:[" + run_file_name(7, 2) + "][" + one + "]\nComparing:[" +
                  run_file_name(7, 3) + "][" + one + "]\n");
}

TEST_F(reader_discovery, runs_with_times_elsewhere_keep_all_files_and_get_the_runs_times)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    set_times(1000, 2000);
    reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); }),
              "trox_daq_reader_2010::init() making correction in time\n");
    EXPECT_EQ(names(), run_names(7, 1, 3));
    expect_times(run_second, run_second + 3);
}

TEST_F(reader_discovery, correction_clears_event_numbers)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    request.start_time.event_number = 5;
    request.start_time.time.timelow = 6;
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(reader.get_start_point()->event_number, 0U);
    EXPECT_EQ(reader.get_start_point()->time.timelow, 0U);
    expect_times(run_second, run_second + 3);
}

TEST_F(reader_discovery, open_run_resets_the_times)
{
    trox_test::write_run(dir);
    trox_test::tw::catalogue_run entry{{"linac", "main", 7}, run_second, 0, {}};
    entry.files.push_back({run_file_name(7, 1), "raw", run_second, run_second + 1});
    trox_test::tw::write_catalogue(catalogue, entry);
    set_runs(7, 0);
    set_times(run_second, run_second + 1);
    reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] {
                  EXPECT_EQ(reader.init(&request, nullptr), 0);
              }).find("trox_daq_reader_2010::init() time reset\n"),
              0U);
    expect_times(0, 0);
}

TEST_F(reader_discovery, time_of_an_unknown_last_run_is_told)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 8);
    reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); });
    EXPECT_NE(text.find("trox_daq_reader_2010::init() failed to extract time for run: 8\n"), std::string::npos) << text;
    expect_times(run_second, run_second + 3);
}

TEST_F(reader_discovery, period_is_found_in_the_catalogue)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_times(run_second + 2, run_second + 10);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(7, 2, 3)) << "file 2 goes on to second 2";
    expect_times(run_second + 2, run_second + 10);
    EXPECT_EQ(reader.check_request(), 0);
    EXPECT_EQ(names(), run_names(7, 2, 3));
}

TEST_F(reader_discovery, open_period_is_everything_in_the_catalogue)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(7, 1, 3));
    expect_times(0, 0);
}

TEST_F(reader_discovery, another_stream_is_not_taken)
{
    trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    copy_name(request.stream_name, "side");
    set_runs(7, 0);
    request.ddir = empty;
    EXPECT_EQ(reader.init(&request, nullptr), -10);
}

TEST_F(reader_discovery, files_of_the_catalogue_that_are_nowhere_give_files_not_found)
{
    env.unset("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    EXPECT_EQ(reader.init(&request, nullptr), -10);
    EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TEST_F(reader_discovery, channels_missing_in_the_first_file_are_told_apart_from_a_bad_file)
{
    const auto run = trox_test::write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    set_runs(7, 0);
    channel_list unknown{"NO/SUCH/CHANNEL"};
    EXPECT_EQ(reader.init(&request, unknown.list()), -5);
    EXPECT_STREQ(reader.get_last_error(), "Channel not found");
    std::filesystem::resize_file(run[0], 50);
    trox_daq_reader_2010 other;
    EXPECT_EQ(other.init(&request, nullptr), -9);
    EXPECT_STREQ(other.get_last_error(), "Invalid file format");
}

} // namespace
