// The data files of a request in the run catalogue, and its times.
#include "discovery_fixture.h"

namespace
{

using trox_test::channel_list;
using trox_test::printed_by;
using trox_test::reader_discovery;
using trox_test::run_file_name;
using trox_test::run_second;

TYPED_TEST_SUITE(reader_discovery, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_discovery, null_request_is_invalid)
{
    EXPECT_EQ(this->reader.init(static_cast<typename TypeParam::request*>(nullptr), nullptr), -7);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(reader_discovery, request_is_copied)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    this->request.synch_mode = 1;
    this->request.period = {3, {4, 5}};
    this->request.time_diff = {6, 7};
    this->request.ddir.pop_back();
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->reader.get_synch_mode(), 1);
    EXPECT_EQ(this->reader.get_period()->event_number, 3U);
    EXPECT_EQ(this->reader.get_catalog_dir(), this->catalogue);
    EXPECT_EQ(this->reader.get_data_dir(), this->dir.path()) << "closed by a slash";
}

TYPED_TEST(reader_discovery, names_that_fill_their_fields_are_cut)
{
    this->write_run(this->dir);
    std::fill_n(this->request.exp_name, sizeof this->request.exp_name, 'e');
    std::fill_n(this->request.stream_name, sizeof this->request.stream_name, 's');
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
    EXPECT_EQ(this->reader.get_experiment(), std::string(31, 'e'));
    EXPECT_EQ(this->reader.get_stream(), std::string(31, 's'));
}

TYPED_TEST(reader_discovery, bad_channel_ends_init)
{
    this->write_run(this->dir);
    channel_list channels{""};
    EXPECT_EQ(this->reader.init(&this->request, channels.list()), -7);
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

// --- run catalogue ------------------------------------------------------------------------------------

TYPED_TEST(reader_discovery, runs_are_found_in_the_catalogue)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); }), "");
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
    this->expect_times(run_second, run_second + 3);
    EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(reader_discovery, several_runs_are_found_and_one_is_taken_for_a_range_turned_round)
{
    for (int run = 7; run <= 9; ++run) {
        trox_test::write_run_catalogue(this->catalogue, 1, run);
        this->write_file(this->dir / run_file_name(run, 1), 1000, 1009);
    }
    this->set_runs(7, 8);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), (std::vector<std::string>{run_file_name(7, 1), run_file_name(8, 1)}));
    typename TypeParam::reader other;
    this->set_runs(9, 7);
    ASSERT_EQ(other.init(&this->request, nullptr), 0);
    EXPECT_EQ(other.get_number_of_files(), 1);
    EXPECT_EQ(other.get_file_name(0), this->dir / run_file_name(9, 1));
}

TYPED_TEST(reader_discovery, any_range_of_runs_is_looked_up)
{
    for (const int run : {7, 8, 2147483647}) {
        trox_test::write_run_catalogue(this->catalogue, 1, run);
        this->write_file(this->dir / run_file_name(run, 1), 1000, 1009);
    }
    this->set_runs(1, 2147483647);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    // All begin in the same second: the names order them.
    EXPECT_EQ(this->names(),
              (std::vector<std::string>{run_file_name(2147483647, 1), run_file_name(7, 1), run_file_name(8, 1)}));
    typename TypeParam::reader other;
    this->set_runs(8, 2147483646);
    ASSERT_EQ(other.init(&this->request, nullptr), 0);
    ASSERT_EQ(other.get_number_of_files(), 1) << "both ends bound a wide range";
    EXPECT_EQ(other.get_file_name(0), this->dir / run_file_name(8, 1));
}

TYPED_TEST(reader_discovery, any_range_of_runs_is_scanned_for)
{
    this->write_file(this->dir / run_file_name(7, 1), 1000, 1009);
    this->write_file(this->dir / run_file_name(2147483647, 1), 1000, 1009);
    this->set_runs(8, 2147483647);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(2147483647, 1, 1));
}

TYPED_TEST(reader_discovery, wide_range_of_runs_is_limited_to_the_stream)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->copy_name(this->request.stream_name, "side");
    this->set_runs(1, 2147483647);
    this->request.ddir = this->empty;
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
}

TYPED_TEST(reader_discovery, runs_and_a_period_without_common_files_find_none)
{
    // Both are in the catalogue, each with a file of its own.
    trox_test::write_run_catalogue(this->catalogue, 1, 7);
    const std::uint32_t later = run_second + 1000;
    trox_test::tw::catalogue_run run{{"linac", "main", 8}, later, later + 1, {}};
    run.files.push_back({run_file_name(8, 1), "raw", later, later + 1});
    trox_test::tw::write_catalogue(this->catalogue, run);
    this->write_file(this->dir / run_file_name(7, 1), 1000, 1009);
    this->write_file(this->dir / run_file_name(8, 1), 1000, 1009);
    this->set_runs(7, 0);
    this->set_times(later, later + 1);
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
}

TYPED_TEST(reader_discovery, run_seconds_beyond_32_bits_count_as_unknown)
{
    this->write_run(this->dir);
    for (const char* stop : {"4294967295", "4294967296", "9223372036854775807"}) {
        std::ofstream(this->catalogue + "linac_main_run7_20120614T093000_20120614T093003.xml")
            << "<daq_run number=\"7\" experiment=\"linac\" stream=\"main\" start=\"" << run_second << "\" stop=\""
            << stop << "\"><file name=\"" << run_file_name(7, 1)
            << "\" format=\"raw\" start=\"1\" stop=\"2\"/></daq_run>";
        this->set_runs(7, 0);
        typename TypeParam::reader other;
        ASSERT_EQ(other.init(&this->request, nullptr), 0) << stop;
        const bool is_known = std::string(stop) == "4294967295";
        EXPECT_EQ(other.get_start_point()->time.timeup, is_known ? run_second : 0) << stop;
        EXPECT_EQ(other.get_stop_point()->time.timeup, is_known ? 4294967295U : 0) << stop;
    }
}

TYPED_TEST(reader_discovery, runs_with_times_keep_the_files_of_the_period)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    this->set_times(run_second, run_second);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 1, 1));
    this->expect_times(run_second, run_second);
}

TYPED_TEST(reader_discovery, comparing_runs_and_period_is_told)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    this->set_times(run_second, run_second);
    this->reader.set_debug(1);
    const std::string one = run_file_name(7, 1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); }),
              "removing those that are not in our list sz: 1  from sz: 3\n"
              "Comparing:[" +
                  one + "][" + one + "]\nComparing:[" + run_file_name(7, 2) + "][" + one + "]\nComparing:[" +
                  run_file_name(7, 3) + "][" + one + "]\n");
}

TYPED_TEST(reader_discovery, runs_with_times_elsewhere_keep_all_files_and_get_the_runs_times)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    this->set_times(1000, 2000);
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); }),
              TypeParam::class_name + "::init() making correction in time\n");
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
    this->expect_times(run_second, run_second + 3);
}

TYPED_TEST(reader_discovery, correction_clears_event_numbers)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    this->request.start_time.event_number = 5;
    this->request.start_time.time.timelow = 6;
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->reader.get_start_point()->event_number, 0U);
    EXPECT_EQ(this->reader.get_start_point()->time.timelow, 0U);
    this->expect_times(run_second, run_second + 3);
}

TYPED_TEST(reader_discovery, open_run_resets_the_times)
{
    this->write_run(this->dir);
    trox_test::tw::catalogue_run run{{"linac", "main", 7}, run_second, 0, {}};
    run.files.push_back({run_file_name(7, 1), "raw", run_second, run_second + 1});
    trox_test::tw::write_catalogue(this->catalogue, run);
    this->set_runs(7, 0);
    this->set_times(run_second, run_second + 1);
    this->reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] {
                  EXPECT_EQ(this->reader.init(&this->request, nullptr), 0);
              }).find(TypeParam::class_name + "::init() time reset\n"),
              0U);
    this->expect_times(0, 0);
}

TYPED_TEST(reader_discovery, time_of_an_unknown_last_run_is_told)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 8);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_NE(text.find(TypeParam::class_name + "::init() failed to extract time for run: 8\n"), std::string::npos)
        << text;
    this->expect_times(run_second, run_second + 3);
}

TYPED_TEST(reader_discovery, period_is_found_in_the_catalogue)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_times(run_second + 2, run_second + 10);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 2, 3)) << "file 2 goes on to second 2";
    this->expect_times(run_second + 2, run_second + 10);
    EXPECT_EQ(this->reader.check_request(), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 2, 3));
}

TYPED_TEST(reader_discovery, open_period_is_everything_in_the_catalogue)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
    this->expect_times(0, 0);
}

TYPED_TEST(reader_discovery, another_stream_is_not_taken)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->copy_name(this->request.stream_name, "side");
    this->set_runs(7, 0);
    this->request.ddir = this->empty;
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
}

TYPED_TEST(reader_discovery, files_of_the_catalogue_that_are_nowhere_give_files_not_found)
{
    this->env.unset("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    EXPECT_EQ(this->reader.init(&this->request, nullptr), -10);
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
}

TYPED_TEST(reader_discovery, channels_missing_in_the_first_file_are_told_apart_from_a_bad_file)
{
    const auto run = this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    channel_list unknown{"NO/SUCH/CHANNEL"};
    EXPECT_EQ(this->reader.init(&this->request, unknown.list()), -5);
    EXPECT_STREQ(this->reader.get_last_error(), "Channel not found");
    std::filesystem::resize_file(run[0], 50);
    typename TypeParam::reader other;
    EXPECT_EQ(other.init(&this->request, nullptr), -9);
    EXPECT_STREQ(other.get_last_error(), "Invalid file format");
}

// --- what the generations do differently --------------------------------------------------------------

template <class T> class reader_discovery_since_2010 : public trox_test::reader_discovery<T>
{
};
TYPED_TEST_SUITE(reader_discovery_since_2010, trox_test::reader_types_since_2010, trox_test::reader_type_names);

TYPED_TEST(reader_discovery_since_2010, files_of_the_catalogue_are_not_filtered_again_but_once)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 7);
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    typename TypeParam::time_id late{0, {run_second + 100, 0}};
    typename TypeParam::time_id later{0, {run_second + 200, 0}};
    this->reader.set_start_point(&late);
    this->reader.set_stop_point(&later);
    EXPECT_EQ(this->reader.check_request(), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 1, 3));
    EXPECT_EQ(this->reader.check_request(), 0);
    EXPECT_EQ(this->names(), this->run_names(7, 1, 1)) << "the second time they are";
}

TYPED_TEST(reader_discovery_since_2010, tolerance_of_a_request_is_copied)
{
    this->write_run(this->dir);
    trox_test::write_run_catalogue(this->catalogue);
    this->set_runs(7, 0);
    this->request.time_diff = {6, 7};
    ASSERT_EQ(this->reader.init(&this->request, nullptr), 0);
    EXPECT_EQ(this->reader.get_time_diff()->timeup, 6U);
    EXPECT_EQ(this->reader.get_time_diff()->timelow, 7U);
}

using reader_discovery_legacy = trox_test::reader_discovery<trox_test::reader_legacy>;

TEST_F(reader_discovery_legacy, files_of_the_catalogue_are_looked_at_again)
{
    write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    for (const int run : {7, 0}) {
        set_runs(run, run);
        trox_daq_reader other;
        ASSERT_EQ(other.init(&request, nullptr), 0);
        ASSERT_EQ(other.get_number_of_files(), 3) << run;
        trox_time_id late{0, {run_second + 100, 0}};
        trox_time_id later{0, {run_second + 200, 0}};
        other.set_start_point(&late);
        other.set_stop_point(&later);
        EXPECT_EQ(other.check_request(), 0);
        ASSERT_EQ(other.get_number_of_files(), 1) << run;
        EXPECT_EQ(other.get_file_name(0), dir / run_file_name(7, 1)) << "the first may reach into any range";
    }
}

} // namespace
