// The data files of a request that the catalogue does not know: directory scan, neighbours, times.
#include "discovery_fixture.h"

#include "failing_calls.h"

namespace
{

using trox_test::printed_by;
using trox_test::reader_discovery;
using trox_test::run_file_name;
using trox_test::run_second;

TYPED_TEST_SUITE(reader_discovery, trox_test::reader_types, trox_test::reader_type_names);

// --- directory scan -----------------------------------------------------------------------------------

TYPED_TEST(reader_discovery, unreadable_directory_ends_the_scan)
{
    this->request.ddir = "/no/such/directory";
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
    this->set_runs(7, 0);
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    this->request.ddir = "";
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10) << "a path list cannot be scanned";
}

TYPED_TEST(reader_discovery, directory_that_fails_while_it_is_listed_ends_the_scan)
{
    this->write_run(this->dir);
    const trox_test::failing_calls system;
    for (const int run : {0, 7}) {
        this->set_runs(run, 0);
        // Of seven entries four are no data files: the list would not be empty.
        system.listings.fail(6);
        typename TypeParam::reader other;
        EXPECT_EQ(other.init(&this->request, nullptr), -10);
        EXPECT_EQ(other.get_number_of_files(), 0);
        EXPECT_STREQ(other.get_last_error(), "Files not found");
    }
}

TYPED_TEST(reader_discovery, scan_for_runs_tells_what_it_does)
{
    this->write_run(this->dir);
    this->write_file(this->dir / run_file_name(8, 1), 1000, 1009);
    this->dir.touch("linac_main_run7_file9_notime.raw");
    this->set_runs(7, 0);
    this->set_times(run_second, run_second + 1);
    this->reader.set_debug(-1);
    const std::string s = std::to_string(run_second);
    const std::string t = std::to_string(run_second + 1);
    const std::string u = std::to_string(run_second + 2);
    const std::string span = "  (star:" + s + "  stop:" + t + "\n";
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); }),
              TypeParam::class_name +
                  "::init() Failed to get list of files for runs .. trying local directory scan\n"
                  "Found file " +
                  run_file_name(7, 1) + " time_stamp: " + s + span + "------>Found file " + run_file_name(7, 1) +
                  " time_stamp: " + s + span + "Found file " + run_file_name(7, 2) + " time_stamp: " + t + span +
                  "------>Found file " + run_file_name(7, 2) + " time_stamp: " + t + span + "Found file " +
                  run_file_name(7, 3) + " time_stamp: " + u + span + "The very first file: " + run_file_name(7, 1) +
                  "\n"
                  "LAST FILE NUMBER: 'file1'\n" +
                  TypeParam::class_name +
                  "(): unable to get the name of the very first file\n"
                  "The very last file: " +
                  run_file_name(7, 2) +
                  "\n"
                  "LAST FILE NUMBER: 'file2'\n"
                  "PARTIAL FILE NAME: 'linac_main_run7_file3_'\n"
                  "FOUND the very last file: '" +
                  run_file_name(7, 3) +
                  "'\n"
                  "----->" +
                  TypeParam::class_name + "::init() failed to extract time for run: 7 trying locally\n");
}

TYPED_TEST(reader_discovery, scan_for_runs_without_times_takes_all_files_of_the_runs)
{
    this->write_run(this->dir);
    this->write_file(this->dir / run_file_name(8, 1), 1000, 1009);
    this->write_file(this->dir / run_file_name(70, 1), 1000, 1009);
    this->set_runs(7, 0);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
    // From the names: the last file lasts as long as the others.
    this->expect_times(run_second, run_second + 3);
}

TYPED_TEST(reader_discovery, scan_takes_the_experiment_only)
{
    this->write_run(this->dir);
    this->write_file(this->dir / "other_main_run7_file1_20120614T093000.raw", 1000, 1009);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
}

TYPED_TEST(reader_discovery, scan_for_a_period_takes_both_ends)
{
    for (int n = 1; n <= 5; ++n) {
        this->dir.touch(run_file_name(7, n));
    }
    this->write_file(this->dir / run_file_name(6, 2), 1010, 1019);
    this->set_times(run_second + 1, run_second + 3);
    // Files 2 to 4, file 2 of run 6, and the neighbours by number: file 1 of run 6 is not there, file 5 is.
    EXPECT_EQ(this->reader.init(&this->request, nullptr), 0);
    std::vector<std::string> expected{run_file_name(6, 2)};
    for (const std::string& name : this->run_names(7, 2, 5)) {
        expected.push_back(name);
    }
    EXPECT_EQ(this->names(), expected);
    EXPECT_EQ(this->reader.check_request(), 0);
    expected.pop_back();
    EXPECT_EQ(this->names(), expected) << "what lies behind the range is dropped before the start";
}

TYPED_TEST(reader_discovery, scan_for_a_period_tells_what_it_takes)
{
    this->write_run(this->dir);
    this->set_times(run_second + 2, run_second + 9);
    this->reader.set_debug(-1);
    const std::string name = run_file_name(7, 3);
    const std::string second = std::to_string(run_second + 2);
    const std::string span = "  (star:" + second + "  stop:" + std::to_string(run_second + 9) + "\n";
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_EQ(text.rfind(TypeParam::class_name +
                             "::init() Failed to get list of files for period ... trying local scan\n"
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

TYPED_TEST(reader_discovery, file_before_a_scanned_period_is_found_by_its_number)
{
    this->write_run(this->dir);
    this->set_times(run_second + 1, run_second + 9);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
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

TYPED_TEST(reader_discovery, nearest_file_before_a_scanned_period_is_taken_when_its_events_reach_it)
{
    // Before file 3 of run 7 there is no file 2, but a file of another run.
    this->write_file(this->dir / run_file_name(7, 3), 1020, 1029);
    this->write_file(this->dir / run_file_name(5, 1), 1000, 1009);
    this->set_times(run_second + 2, run_second + 9);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 3, 3)) << "it ends before second 2";

    this->write_file(this->dir / run_file_name(6, 2), 1000, 1029);
    typename TypeParam::reader other;
    ASSERT_EQ(other.init(&this->request, nullptr), 0);
    ASSERT_EQ(other.get_number_of_files(), 2);
    EXPECT_EQ(other.get_file_name(0), this->dir / run_file_name(6, 2));
}

TYPED_TEST(reader_discovery, period_within_one_file_takes_that_file)
{
    this->write_file(this->dir / run_file_name(7, 1), 1000, 1049);
    this->set_times(run_second + 2, run_second + 3);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_EQ(this->names(), this->run_names(7, 1, 1));
    EXPECT_NE(text.find(".Pushing  file " + run_file_name(7, 1) + " \n"), std::string::npos) << text;
    this->set_runs(7, 0);
    typename TypeParam::reader of_runs;
    EXPECT_EQ(of_runs.init(&this->request, nullptr), 0);
    EXPECT_EQ(of_runs.get_number_of_files(), 1);
}

TYPED_TEST(reader_discovery, only_file_that_reaches_the_period_without_the_channels_says_that_they_are_missing)
{
    this->write_file(this->dir / run_file_name(7, 1), 1000, 1049);
    trox_test::channel_list unknown{"NO/SUCH/CHANNEL"};
    for (const int run : {0, 7}) {
        this->set_runs(run, 0);
        this->set_times(run_second + 2, run_second + 3);
        typename TypeParam::reader other;
        EXPECT_EQ(other.init(&this->request, unknown.list()), -5) << run;
        EXPECT_STREQ(other.get_last_error(), "Channel not found");
        this->set_times(run_second + 100, run_second + 200);
        typename TypeParam::reader later;
        EXPECT_EQ(later.init(&this->request, unknown.list()), -10) << "the file does not reach the period";
    }
}

TYPED_TEST(reader_discovery, file_before_the_period_without_the_channels_is_left_out_beside_others)
{
    this->write_file(this->dir / run_file_name(7, 3), 1020, 1029);
    trox_test::tw::file_writer other(this->dir / run_file_name(6, 2), TypeParam::format);
    const auto channel = other.add_channel("OTHER");
    for (const std::uint32_t number : {1000U, 1029U}) {
        other.begin_event({number, trox_test::time_of(number)});
        other.begin_server_block({"SVR"});
        other.add_record(channel, trox_test::tw::spectrum_payload(TypeParam::format, TypeParam::one_channel, {1.0F}));
        other.end_event();
    }
    other.finish();
    this->set_times(run_second + 2, run_second + 9);
    trox_test::channel_list channels{trox_test::trace_name};
    ASSERT_EQ(this->reader.init(&this->request, channels.list()), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 3, 3));
}

TYPED_TEST(reader_discovery, period_behind_all_files_finds_none)
{
    this->write_run(this->dir);
    this->set_times(run_second + 100, run_second + 200);
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
}

TYPED_TEST(reader_discovery, name_without_file_number_has_no_neighbours)
{
    this->write_file(this->dir / "linac_main_run7_20120614T093000.raw", 1000, 1009);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_NE(text.find("LAST FILE NUMBER: 'run7'\n" + TypeParam::class_name +
                        "(): unable to get the name of the very first file\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(TypeParam::class_name + "(): unable to get the name if the very first file\n"),
              std::string::npos)
        << text;
}

TYPED_TEST(reader_discovery, file_number_that_no_int_holds_has_no_neighbours)
{
    this->write_file(this->dir / "linac_main_run7_file9223372036854775807_20120614T093000.raw", 1000, 1009);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_NE(text.find("LAST FILE NUMBER: 'file9223372036854775807'\n" + TypeParam::class_name +
                        "(): unable to get the name if the very first file\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(this->reader.get_number_of_files(), 1);
}

TYPED_TEST(reader_discovery, neighbour_of_the_highest_file_number_is_sought_without_overflow)
{
    this->write_file(this->dir / "linac_main_run7_file2147483647_20120614T093000.raw", 1000, 1009);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_NE(text.find("PARTIAL FILE NAME: 'linac_main_run7_file2147483646_'\n"), std::string::npos) << text;
    EXPECT_NE(text.find("PARTIAL FILE NAME: 'linac_main_run7_file2147483648_'\n"), std::string::npos) << text;
}

TYPED_TEST(reader_discovery, scanned_files_without_times_are_not_taken)
{
    this->write_file(this->dir / "linac_plain.raw", 1000, 1009);
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
}

TYPED_TEST(reader_discovery, run_without_catalogue_keeps_a_range_that_overlaps_its_names)
{
    this->write_run(this->dir);
    this->set_runs(7, 7);
    this->set_times(run_second + 1, run_second + 50);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    this->expect_times(run_second + 1, run_second + 50);
    EXPECT_NE(text.find("----->" + TypeParam::class_name +
                        "::init() failed to extract time for run: 7 trying locally\n" + TypeParam::class_name +
                        "::init() failed to extract time for run: 7\n"),
              std::string::npos)
        << text;
}

TYPED_TEST(reader_discovery, run_of_a_single_file_without_catalogue_leaves_the_times)
{
    this->write_file(this->dir / run_file_name(7, 1), 1000, 1009);
    this->set_runs(7, 0);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    this->expect_times(0, 0);
}

TYPED_TEST(reader_discovery, earlier_files_without_times_make_the_run_times_unknown)
{
    // A scan takes only names with a time; a file that was there before need not have one.
    this->write_file(this->dir / run_file_name(7, 1), 1000, 1009);
    const std::string plain = this->write_file(this->dir / "plain.raw", 1000, 1009);
    ASSERT_EQ(this->reader.add_file(plain.c_str(), true), 0);
    this->set_runs(7, 0);
    this->set_times(run_second, run_second + 5);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); }),
              TypeParam::class_name + "::init() failed to extract stop time locally\n");
    this->expect_times(0, 0);
}

} // namespace
