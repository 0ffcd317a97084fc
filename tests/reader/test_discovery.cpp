// The data files of a request: run catalogue, directory scan, neighbours, times.
#include "reader_fixture.h"

namespace
{

using trox_test::channel_list;
using trox_test::printed_by;
using trox_test::run_file_name;
using trox_test::run_second;

class reader_discovery : public trox_test::reader_test
{
protected:
    reader_discovery() : catalogue(dir.make_directory("catalogue")), empty(dir.make_directory("empty"))
    {
        copy_name(request.exp_name, "linac");
        copy_name(request.stream_name, "main");
        request.cdir = catalogue;
        request.ddir = dir.path();
        request.period = {1, {0, 100000}};
        request.time_diff = {0, 50000};
    }

    static void copy_name(char* field, const char* text)
    {
        std::snprintf(field, 32, "%s", text);
    }
    void set_times(std::uint32_t start_s, std::uint32_t stop_s)
    {
        request.start_time = {0, {start_s, 0}};
        request.stop_time = {0, {stop_s, 0}};
    }
    void set_runs(int first, int last)
    {
        request.run_first = first;
        request.run_last = last;
    }
    /// Base names of the reader's files.
    std::vector<std::string> names() const
    {
        std::vector<std::string> list;
        for (int i = 0; i < reader.get_number_of_files(); ++i) {
            list.push_back(std::filesystem::path(reader.get_file_name(i)).filename());
        }
        return list;
    }
    static std::vector<std::string> run_names(int run, int first, int last)
    {
        std::vector<std::string> list;
        for (int n = first; n <= last; ++n) {
            list.push_back(run_file_name(run, n));
        }
        return list;
    }
    void expect_times(std::uint32_t start_s, std::uint32_t stop_s)
    {
        EXPECT_EQ(reader.get_start_point()->time.timeup, start_s);
        EXPECT_EQ(reader.get_stop_point()->time.timeup, stop_s);
    }

    std::string catalogue;
    std::string empty;
    trox_daq_request request;
    trox_daq_reader_2010 reader;
};

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

TEST_F(reader_discovery, absurdly_many_runs_are_invalid)
{
    set_runs(1, 2147483647);
    EXPECT_EQ(reader.init(&request, nullptr), -7);
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

// --- directory scan -----------------------------------------------------------------------------------

TEST_F(reader_discovery, unreadable_directory_ends_the_scan)
{
    request.ddir = "/no/such/directory";
    EXPECT_EQ(reader.init(&request, nullptr), -10);
    set_runs(7, 0);
    EXPECT_EQ(reader.init(&request, nullptr), -10);
    EXPECT_STREQ(reader.get_last_error(), "Files not found");
    request.ddir = "";
    EXPECT_EQ(reader.init(&request, nullptr), -10) << "a path list cannot be scanned";
}

TEST_F(reader_discovery, scan_for_runs_tells_what_it_does)
{
    trox_test::write_run(dir);
    trox_test::write_file(dir / run_file_name(8, 1), 1000, 1009);
    dir.touch("linac_main_run7_file9_notime.raw");
    set_runs(7, 0);
    set_times(run_second, run_second + 1);
    reader.set_debug(-1);
    const std::string s = std::to_string(run_second);
    const std::string t = std::to_string(run_second + 1);
    const std::string u = std::to_string(run_second + 2);
    const std::string span = "  (star:" + s + "  stop:" + t + "\n";
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); }),
              "trox_daq_reader_2010::init() Failed to get list of files for runs .. trying local directory scan\n"
              "Found file " +
                  run_file_name(7, 1) + " time_stamp: " + s + span + "------>Found file " + run_file_name(7, 1) +
                  " time_stamp: " + s + span + "Found file " + run_file_name(7, 2) + " time_stamp: " + t + span +
                  "------>Found file " + run_file_name(7, 2) + " time_stamp: " + t + span + "Found file " +
                  run_file_name(7, 3) + " time_stamp: " + u + span + "The very first file: " + run_file_name(7, 1) +
                  "\n"
                  "LAST FILE NUMBER: 'file1'\n"
                  "trox_daq_reader_2010(): unable to get the name of the very first file\n"
                  "The very last file: " +
                  run_file_name(7, 2) +
                  "\n"
                  "LAST FILE NUMBER: 'file2'\n"
                  "PARTIAL FILE NAME: 'linac_main_run7_file3_'\n"
                  "FOUND the very last file: '" +
                  run_file_name(7, 3) +
                  "'\n"
                  "----->trox_daq_reader_2010::init() failed to extract time for run: 7 trying locally\n");
}

TEST_F(reader_discovery, scan_for_runs_without_times_takes_all_files_of_the_runs)
{
    trox_test::write_run(dir);
    trox_test::write_file(dir / run_file_name(8, 1), 1000, 1009);
    trox_test::write_file(dir / run_file_name(70, 1), 1000, 1009);
    set_runs(7, 0);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(7, 1, 3));
    // From the names: the last file lasts as long as the others.
    expect_times(run_second, run_second + 3);
}

TEST_F(reader_discovery, scan_takes_the_experiment_only)
{
    trox_test::write_run(dir);
    trox_test::write_file(dir / "other_main_run7_file1_20120614T093000.raw", 1000, 1009);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(7, 1, 3));
}

TEST_F(reader_discovery, scan_for_a_period_takes_both_ends)
{
    for (int n = 1; n <= 5; ++n) {
        dir.touch(run_file_name(7, n));
    }
    trox_test::write_file(dir / run_file_name(6, 2), 1010, 1019);
    set_times(run_second + 1, run_second + 3);
    // Files 2 to 4, file 2 of run 6, and the neighbours by number: file 1 of run 6 is not there, file 5 is.
    EXPECT_EQ(reader.init(&request, nullptr), 0);
    std::vector<std::string> expected{run_file_name(6, 2)};
    for (const std::string& name : run_names(7, 2, 5)) {
        expected.push_back(name);
    }
    EXPECT_EQ(names(), expected);
    EXPECT_EQ(reader.check_request(), 0);
    expected.pop_back();
    EXPECT_EQ(names(), expected) << "what lies behind the range is dropped before the start";
}

TEST_F(reader_discovery, scan_for_a_period_tells_what_it_takes)
{
    trox_test::write_run(dir);
    set_times(run_second + 2, run_second + 9);
    reader.set_debug(-1);
    const std::string name = run_file_name(7, 3);
    const std::string second = std::to_string(run_second + 2);
    const std::string span = "  (star:" + second + "  stop:" + std::to_string(run_second + 9) + "\n";
    const std::string text = printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); });
    EXPECT_EQ(text.rfind("trox_daq_reader_2010::init() Failed to get list of files for period ... trying local scan\n"
                         "Found file ",
                         0),
              0U)
        << text;
    EXPECT_NE(text.find("Found file " + name + " time_stamp: " + second + span + "-**--->Found file " + name +
                        " time_stamp: " + second + span + "Pushing file " + name + " (time_stamp: " + second +
                        "  star:" + second + "  stop:" + std::to_string(run_second + 9) + ") \n"),
              std::string::npos)
        << text;
}

TEST_F(reader_discovery, file_before_a_scanned_period_is_found_by_its_number)
{
    trox_test::write_run(dir);
    set_times(run_second + 1, run_second + 9);
    reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); });
    EXPECT_EQ(names(), run_names(7, 1, 3));
    EXPECT_NE(text.find("The very first file: " + run_file_name(7, 2) +
                        "\nLAST FILE NUMBER: 'file2'\nPARTIAL FILE NAME: 'linac_main_run7_file1_'\n"
                        "FOUND the very first file: '" +
                        run_file_name(7, 1) + "'\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("The very last file: " + run_file_name(7, 3) +
                        "\nLAST FILE NUMBER: 'file3'\nPARTIAL FILE NAME: 'linac_main_run7_file4_'\n"),
              std::string::npos)
        << text;
}

TEST_F(reader_discovery, nearest_file_before_a_scanned_period_is_taken_when_its_events_reach_it)
{
    // Before file 3 of run 7 there is no file 2, but a file of another run.
    trox_test::write_file(dir / run_file_name(7, 3), 1020, 1029);
    trox_test::write_file(dir / run_file_name(5, 1), 1000, 1009);
    set_times(run_second + 2, run_second + 9);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(names(), run_names(7, 3, 3)) << "it ends before second 2";

    trox_test::write_file(dir / run_file_name(6, 2), 1000, 1029);
    trox_daq_reader_2010 other;
    ASSERT_EQ(other.init(&request, nullptr), 0);
    ASSERT_EQ(other.get_number_of_files(), 2);
    EXPECT_EQ(other.get_file_name(0), dir / run_file_name(6, 2));
}

TEST_F(reader_discovery, period_within_one_file_takes_that_file)
{
    trox_test::write_file(dir / run_file_name(7, 1), 1000, 1049);
    set_times(run_second + 2, run_second + 3);
    reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); });
    EXPECT_EQ(names(), run_names(7, 1, 1));
    EXPECT_NE(text.find(".Pushing  file " + run_file_name(7, 1) + " \n"), std::string::npos) << text;
    set_runs(7, 0);
    trox_daq_reader_2010 of_runs;
    EXPECT_EQ(of_runs.init(&request, nullptr), 0);
    EXPECT_EQ(of_runs.get_number_of_files(), 1);
}

TEST_F(reader_discovery, period_behind_all_files_finds_none)
{
    trox_test::write_run(dir);
    set_times(run_second + 100, run_second + 200);
    EXPECT_EQ(reader.init(&request, nullptr), -10);
    EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TEST_F(reader_discovery, name_without_file_number_has_no_neighbours)
{
    trox_test::write_file(dir / "linac_main_run7_20120614T093000.raw", 1000, 1009);
    reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); });
    EXPECT_NE(text.find("LAST FILE NUMBER: 'run7'\n"
                        "trox_daq_reader_2010(): unable to get the name of the very first file\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("trox_daq_reader_2010(): unable to get the name if the very first file\n"), std::string::npos)
        << text;
}

TEST_F(reader_discovery, scanned_files_without_times_are_not_taken)
{
    trox_test::write_file(dir / "linac_plain.raw", 1000, 1009);
    EXPECT_EQ(reader.init(&request, nullptr), -10);
}

TEST_F(reader_discovery, run_without_catalogue_keeps_a_range_that_overlaps_its_names)
{
    trox_test::write_run(dir);
    set_runs(7, 7);
    set_times(run_second + 1, run_second + 50);
    reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); });
    expect_times(run_second + 1, run_second + 50);
    EXPECT_NE(text.find("----->trox_daq_reader_2010::init() failed to extract time for run: 7 trying locally\n"
                        "trox_daq_reader_2010::init() failed to extract time for run: 7\n"),
              std::string::npos)
        << text;
}

TEST_F(reader_discovery, run_of_a_single_file_without_catalogue_leaves_the_times)
{
    trox_test::write_file(dir / run_file_name(7, 1), 1000, 1009);
    set_runs(7, 0);
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    expect_times(0, 0);
}

TEST_F(reader_discovery, earlier_files_without_times_make_the_run_times_unknown)
{
    // A scan takes only names with a time; a file that was there before need not have one.
    trox_test::write_file(dir / run_file_name(7, 1), 1000, 1009);
    const std::string plain = trox_test::write_file(dir / "plain.raw", 1000, 1009);
    ASSERT_EQ(reader.add_file(plain.c_str(), true), 0);
    set_runs(7, 0);
    set_times(run_second, run_second + 5);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.init(&request, nullptr), 0); }),
              "trox_daq_reader_2010::init() failed to extract stop time locally\n");
    expect_times(0, 0);
}

} // namespace
