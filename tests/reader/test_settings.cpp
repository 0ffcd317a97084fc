// Settings, defaults and status texts of the reader.
#include "reader_fixture.h"

#include "generic/data_path_list.h"

#include <limits>

namespace
{

using trox_test::printed_by;

template <class T> class reader_settings : public trox_test::reader_test<T>
{
protected:
    /// Makes the reader run: a slicer exists from `start` on, whatever comes of it.
    void make_run(typename T::reader& reader)
    {
        printed_by([&] { EXPECT_NE(reader.start(), 0); });
    }
};
TYPED_TEST_SUITE(reader_settings, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_settings, constructor_sets_the_defaults)
{
    const typename TypeParam::reader fresh;
    EXPECT_STREQ(fresh.get_experiment(), "linac");
    EXPECT_STREQ(fresh.get_stream(), "main");
    EXPECT_STREQ(fresh.get_catalog_dir(), "/daq/trox/admtemp/");
    EXPECT_STREQ(fresh.get_data_dir(), TypeParam::data_dir);
    EXPECT_EQ(fresh.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    EXPECT_EQ(fresh.get_debug(), 0);
    EXPECT_FALSE(fresh.is_skip_bad_records());
    EXPECT_EQ(fresh.get_number_of_files(), 0);
    EXPECT_EQ(fresh.get_number_of_channels(), 0);
    EXPECT_EQ(fresh.get_number_of_events(), 0);
    EXPECT_EQ(fresh.get_number_of_empty_events(), 0);
    EXPECT_EQ(fresh.get_number_of_bad_records(), 0);
    EXPECT_EQ(fresh.get_number_of_bad_files(), 0);
}

TYPED_TEST(reader_settings, constructor_sets_the_period_and_an_open_range)
{
    typename TypeParam::reader fresh;
    EXPECT_EQ(fresh.get_period()->event_number, 1U);
    EXPECT_EQ(fresh.get_period()->time.timeup, 0U);
    EXPECT_EQ(fresh.get_period()->time.timelow, TypeParam::period_us);
    for (const typename TypeParam::time_id* point : {fresh.get_start_point(), fresh.get_stop_point()}) {
        EXPECT_EQ(point->event_number, 0U);
        EXPECT_EQ(point->time.timeup, 0U);
        EXPECT_EQ(point->time.timelow, 0U);
    }
    EXPECT_TRUE(fresh.get_descr_list()->empty());
}

TYPED_TEST(reader_settings, clean_up_puts_the_defaults_back)
{
    typename TypeParam::reader reader;
    typename TypeParam::time_id period{5, {1, 2}};
    typename TypeParam::time_id start{7, {0, 0}};
    typename TypeParam::time_id stop{9, {0, 0}};
    reader.set_experiment("other");
    reader.set_stream("side");
    reader.set_catalog_dir("/cat");
    reader.set_data_dir("/data");
    reader.set_period(&period);
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
    reader.set_synch_mode(1);
    reader.clean_up();

    EXPECT_STREQ(reader.get_experiment(), "linac");
    EXPECT_STREQ(reader.get_stream(), "main");
    EXPECT_STREQ(reader.get_catalog_dir(), "/daq/trox/admtemp/");
    EXPECT_STREQ(reader.get_data_dir(), TypeParam::data_dir);
    EXPECT_EQ(reader.get_period()->event_number, 1U);
    EXPECT_EQ(reader.get_period()->time.timelow, TypeParam::period_us);
    EXPECT_EQ(reader.get_synch_mode(), 0);
    // The range is not among what is put back.
    EXPECT_EQ(reader.get_start_point()->event_number, 7U);
    EXPECT_EQ(reader.get_stop_point()->event_number, 9U);
}

TYPED_TEST(reader_settings, clean_up_keeps_path_list_debug_level_and_switches)
{
    typename TypeParam::reader reader;
    reader.set_data_path_list("/a:/b");
    reader.set_debug(3);
    reader.set_skip_bad_records(true);
    reader.clean_up();
    EXPECT_STREQ(reader.get_data_path_list(), "/a:/b");
    EXPECT_EQ(reader.get_debug(), 3);
    EXPECT_TRUE(reader.is_skip_bad_records());
}

TYPED_TEST(reader_settings, environment_switches_skipping_on)
{
    this->env.set("TROX_DAQ_READER_SKIP_BAD_RECORDS", "");
    EXPECT_TRUE(typename TypeParam::reader().is_skip_bad_records());
}

TYPED_TEST(reader_settings, environment_replaces_the_data_path_list)
{
    this->env.set("TROX_DAQ_DATA_PATH_LIST", "/one:/two");
    EXPECT_STREQ(typename TypeParam::reader().get_data_path_list(), "/one:/two");
    this->env.set("TROX_DAQ_DATA_PATH_LIST", "");
    EXPECT_STREQ(typename TypeParam::reader().get_data_path_list(), "");
}

TYPED_TEST(reader_settings, path_list_depends_on_the_host_name)
{
    using trox_detail::data_path_list_of_host;
    EXPECT_EQ(data_path_list_of_host("pc-vorn12"),
              "/space/POOL:/daq_data/vorn/LINAC:/daq_data/vorn/LLRF:/daq_data/vorn/EXT:/daq_data/vorn/SIM:"
              "/daq_data/vorn/USR1:/daq_data/vorn/USR1:/daq_data/vorn/LASER:/daq_data/vorn/SYNC1:"
              "/daq_data/vorn/TEST1");
    EXPECT_EQ(data_path_list_of_host("kimb"), "/space/POOL:/daq_data/kimb");
    EXPECT_EQ(data_path_list_of_host("xdralx"), "/space/POOL:/daq_data/dral");
    EXPECT_EQ(data_path_list_of_host("dral-vorn"), data_path_list_of_host("vorn")) << "the first test decides";
    EXPECT_EQ(data_path_list_of_host("elsewhere"), trox_detail::built_in_data_path_list());
}

TYPED_TEST(reader_settings, built_in_path_list_is_the_pool_and_fourteen_directories)
{
    const std::string list = trox_detail::built_in_data_path_list();
    EXPECT_EQ(list.rfind("/space/POOL:/daq_data/", 0), 0U);
    EXPECT_EQ(std::count(list.begin(), list.end(), ':'), 14);
    std::size_t areas = 0;
    for (std::size_t at = list.find(":/daq_data/"); at != std::string::npos; at = list.find(":/daq_data/", at + 1)) {
        ++areas;
    }
    EXPECT_EQ(areas, 14U);
}

// --- status texts -------------------------------------------------------------------------------------

TYPED_TEST(reader_settings, every_status_has_its_text)
{
    const typename TypeParam::reader reader;
    const std::map<int, const char*> texts{{0, "OK"},
                                           {-1, "No required data"},
                                           {-2, "Some entries are not ready"},
                                           {-3, "Time is out of file"},
                                           {-4, "Not Initialized"},
                                           {-5, "Channel not found"},
                                           {-6, "Intern error"},
                                           {-7, "Invalid Parameter"},
                                           {-8, "Not allowed"},
                                           {-9, "Invalid file format"},
                                           {-10, "Files not found"}};
    for (const auto& [code, text] : texts) {
        EXPECT_STREQ(reader.error_i2a(code), text);
    }
    for (const int code : {-11, 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_STREQ(reader.error_i2a(code), "Unknown error");
    }
}

TYPED_TEST(reader_settings, set_error_answers_its_code_and_keeps_the_text)
{
    typename TypeParam::reader reader;
    EXPECT_EQ(reader.set_error(-9), -9);
    EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
    EXPECT_EQ(reader.set_error(77), 77);
    EXPECT_STREQ(reader.get_last_error(), "Unknown error");
    EXPECT_EQ(reader.set_error(0), 0);
    EXPECT_STREQ(reader.get_last_error(), "OK");
}

// --- setters ------------------------------------------------------------------------------------------

TYPED_TEST(reader_settings, unknown_synch_mode_is_ignored_and_answered_ok)
{
    typename TypeParam::reader reader;
    EXPECT_EQ(reader.set_synch_mode(1), 0);
    EXPECT_EQ(reader.get_synch_mode(), 1);
    reader.set_error(-1);
    EXPECT_EQ(reader.set_synch_mode(2), 0);
    EXPECT_EQ(reader.get_synch_mode(), 1);
    EXPECT_STREQ(reader.get_last_error(), "OK");
    EXPECT_EQ(reader.set_synch_mode(-1), 0);
    EXPECT_EQ(reader.get_synch_mode(), 1);
}

TYPED_TEST(reader_settings, points_and_period_are_copied)
{
    typename TypeParam::reader reader;
    typename TypeParam::time_id value{11, {22, 33}};
    EXPECT_EQ(reader.set_period(&value), 0);
    EXPECT_EQ(reader.set_start_point(&value), 0);
    EXPECT_EQ(reader.set_stop_point(&value), 0);
    value = {};
    for (const typename TypeParam::time_id* kept :
         {reader.get_period(), reader.get_start_point(), reader.get_stop_point()}) {
        EXPECT_EQ(kept->event_number, 11U);
        EXPECT_EQ(kept->time.timeup, 22U);
        EXPECT_EQ(kept->time.timelow, 33U);
    }
}

TYPED_TEST(reader_settings, null_arguments_are_invalid_parameters)
{
    typename TypeParam::reader reader;
    EXPECT_EQ(reader.set_period(nullptr), -7);
    EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
    EXPECT_EQ(reader.set_start_point(nullptr), -7);
    EXPECT_EQ(reader.set_stop_point(nullptr), -7);
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(reader.set_experiment(text), -7);
        EXPECT_EQ(reader.set_stream(text), -7);
        EXPECT_EQ(reader.set_catalog_dir(text), -7);
    }
    EXPECT_STREQ(reader.get_experiment(), "linac");
}

TYPED_TEST(reader_settings, experiment_and_stream_are_cut_to_31_characters)
{
    typename TypeParam::reader reader;
    const std::string long_name = "0123456789012345678901234567890123456789";
    EXPECT_EQ(reader.set_experiment(long_name.c_str()), 0);
    EXPECT_EQ(reader.get_experiment(), long_name.substr(0, 31));
    EXPECT_EQ(reader.set_stream(long_name.c_str()), 0);
    EXPECT_EQ(reader.get_stream(), long_name.substr(0, 31));
    EXPECT_EQ(reader.set_experiment("short"), 0);
    EXPECT_STREQ(reader.get_experiment(), "short");
}

TYPED_TEST(reader_settings, data_directory_gets_its_slash_and_the_catalogue_does_not)
{
    typename TypeParam::reader reader;
    EXPECT_EQ(reader.set_data_dir("/data"), 0);
    EXPECT_STREQ(reader.get_data_dir(), "/data/");
    EXPECT_EQ(reader.set_data_dir("/data/"), 0);
    EXPECT_STREQ(reader.get_data_dir(), "/data/");
    EXPECT_EQ(reader.set_data_dir(""), 0);
    EXPECT_STREQ(reader.get_data_dir(), "");
    reader.set_data_dir("/data");
    EXPECT_EQ(reader.set_data_dir(nullptr), 0);
    EXPECT_STREQ(reader.get_data_dir(), "");
    EXPECT_EQ(reader.set_catalog_dir("/cat"), 0);
    EXPECT_STREQ(reader.get_catalog_dir(), "/cat");
}

TYPED_TEST(reader_settings, setters_take_the_readers_own_text)
{
    typename TypeParam::reader reader;
    reader.set_data_dir("/some/where/with/a/long/name");
    EXPECT_EQ(reader.set_data_dir(reader.get_data_dir()), 0);
    EXPECT_STREQ(reader.get_data_dir(), "/some/where/with/a/long/name/");
    EXPECT_EQ(reader.set_experiment(reader.get_experiment()), 0);
    EXPECT_STREQ(reader.get_experiment(), "linac");
}

TYPED_TEST(reader_settings, null_data_path_list_changes_nothing)
{
    typename TypeParam::reader reader;
    reader.set_data_path_list("/a");
    reader.set_data_path_list(nullptr);
    EXPECT_STREQ(reader.get_data_path_list(), "/a");
}

// --- while running ------------------------------------------------------------------------------------

TYPED_TEST(reader_settings, running_reader_refuses_changes_of_the_request)
{
    typename TypeParam::reader reader;
    const std::string file = this->dir.touch(trox_test::run_file_name(1, 1));
    ASSERT_EQ(reader.add_file(file.c_str(), true), 0);
    daq_channel_entry channel{"CH", {}};
    ASSERT_EQ(reader.add_channel(&channel), 0);
    this->make_run(reader);

    const typename TypeParam::time_id start = *reader.get_start_point();
    const typename TypeParam::time_id stop = *reader.get_stop_point();
    typename TypeParam::time_id id{1, {2, 3}};
    EXPECT_EQ(reader.set_synch_mode(1), -8);
    EXPECT_STREQ(reader.get_last_error(), "Not allowed");
    EXPECT_EQ(reader.set_period(&id), -8);
    EXPECT_EQ(reader.set_start_point(&id), -8);
    EXPECT_EQ(reader.set_stop_point(&id), -8);
    EXPECT_EQ(reader.set_experiment("x"), -8);
    EXPECT_EQ(reader.set_stream("x"), -8);
    EXPECT_EQ(reader.set_catalog_dir("x"), -8);
    EXPECT_EQ(reader.set_data_dir("x"), -8);
    EXPECT_EQ(reader.set_data_dir(nullptr), -8);
    EXPECT_EQ(reader.add_file("x", true), -8);
    EXPECT_EQ(reader.remove_file(file), -8) << "also of a file that is listed";
    EXPECT_EQ(reader.remove_file(file.c_str()), -8);
    EXPECT_EQ(reader.add_channel(&channel), -8);
    EXPECT_EQ(reader.rem_channel("CH"), -8);
    trox_test::channel_list more{"OTHER"};
    EXPECT_EQ(reader.set_channels(more.list()), -8);
    EXPECT_STREQ(reader.get_last_error(), "Not allowed");
    EXPECT_EQ(reader.get_synch_mode(), 0);
    EXPECT_EQ(reader.get_period()->event_number, 1U);
    EXPECT_EQ(reader.get_period()->time.timelow, TypeParam::period_us);
    EXPECT_EQ(reader.get_start_point()->event_number, start.event_number);
    EXPECT_EQ(reader.get_start_point()->time.timeup, start.time.timeup);
    EXPECT_EQ(reader.get_stop_point()->event_number, stop.event_number);
    EXPECT_EQ(reader.get_stop_point()->time.timeup, stop.time.timeup);
    EXPECT_STREQ(reader.get_experiment(), "linac");
    EXPECT_STREQ(reader.get_stream(), "main");
    EXPECT_STREQ(reader.get_catalog_dir(), "/daq/trox/admtemp/");
    EXPECT_STREQ(reader.get_data_dir(), TypeParam::data_dir);
    EXPECT_EQ(reader.get_number_of_channels(), 1);
    EXPECT_STREQ(reader.get_channel_name(0, nullptr), "CH");
    ASSERT_EQ(reader.get_number_of_files(), 1);
    EXPECT_EQ(reader.get_file_name(0), file);
}

TYPED_TEST(reader_settings, invalid_arguments_count_before_running)
{
    typename TypeParam::reader reader;
    this->make_run(reader);
    EXPECT_EQ(reader.set_period(nullptr), -7);
    EXPECT_EQ(reader.set_experiment(""), -7);
    EXPECT_EQ(reader.set_catalog_dir(nullptr), -7);
    EXPECT_EQ(reader.add_file("", true), -7);
    EXPECT_EQ(reader.remove_file(std::string()), -7);
    EXPECT_EQ(reader.add_channel(nullptr), -7);
    EXPECT_EQ(reader.rem_channel(""), -7);
}

TYPED_TEST(reader_settings, running_reader_takes_the_other_settings)
{
    typename TypeParam::reader reader;
    this->make_run(reader);
    reader.set_data_path_list("/x");
    EXPECT_STREQ(reader.get_data_path_list(), "/x");
    reader.set_debug(0);
    EXPECT_EQ(reader.get_debug(), 0);
    reader.clean_up();
    EXPECT_EQ(reader.set_synch_mode(1), 0) << "configured again";
}

// --- settings of the 2010 and 2024 generations ----------------------------------------------------------

template <class T> class reader_settings_since_2010 : public reader_settings<T>
{
};
TYPED_TEST_SUITE(reader_settings_since_2010, trox_test::reader_types_since_2010, trox_test::reader_type_names);

TYPED_TEST(reader_settings_since_2010, constructor_sets_the_tolerance_and_the_check_of_neighbours)
{
    typename TypeParam::reader fresh;
    EXPECT_EQ(fresh.get_time_diff()->timeup, 0U);
    EXPECT_EQ(fresh.get_time_diff()->timelow, 50000U);
    EXPECT_TRUE(fresh.is_by_time_fix());
}

TYPED_TEST(reader_settings_since_2010, environment_gives_seconds_and_microseconds_of_the_tolerance_independently)
{
    this->env.set("DAQ_MAX_TIME_STEP_SEC", "3");
    typename TypeParam::reader seconds;
    EXPECT_EQ(seconds.get_time_diff()->timeup, 3U);
    EXPECT_EQ(seconds.get_time_diff()->timelow, 50000U);

    this->env.unset("DAQ_MAX_TIME_STEP_SEC");
    this->env.set("DAQ_MAX_TIME_STEP_USEC", "1250 us");
    typename TypeParam::reader microseconds;
    EXPECT_EQ(microseconds.get_time_diff()->timeup, 0U);
    EXPECT_EQ(microseconds.get_time_diff()->timelow, 1250U);
}

TYPED_TEST(reader_settings_since_2010, tolerance_from_the_environment_is_bounded_by_its_field)
{
    const std::map<const char*, std::uint32_t> taken{
        {"-1", 0U},       {"4294967295", 4294967295U}, {"4294967296", 4294967295U},
        {"nonsense", 0U}, {"2000000", 2000000U},       {"99999999999999999999", 4294967295U},
        {"", 0U}};
    for (const auto& [text, value] : taken) {
        this->env.set("DAQ_MAX_TIME_STEP_SEC", text);
        this->env.set("DAQ_MAX_TIME_STEP_USEC", text);
        typename TypeParam::reader reader;
        EXPECT_EQ(reader.get_time_diff()->timeup, value) << text;
        EXPECT_EQ(reader.get_time_diff()->timelow, value) << text;
    }
}

TYPED_TEST(reader_settings_since_2010, tolerance_setter_answers_1_for_null_and_leaves_the_last_error)
{
    typename TypeParam::reader reader;
    reader.set_error(-5);
    EXPECT_EQ(reader.set_time_diff(nullptr), 1);
    EXPECT_STREQ(reader.get_last_error(), "Channel not found");
    time_stamp tolerance{1, 2};
    EXPECT_EQ(reader.set_time_diff(&tolerance), 0);
    EXPECT_STREQ(reader.get_last_error(), "Channel not found");
    EXPECT_EQ(reader.get_time_diff()->timeup, 1U);
    EXPECT_EQ(reader.get_time_diff()->timelow, 2U);
}

TYPED_TEST(reader_settings_since_2010, path_list_without_environment_is_that_of_this_host)
{
    EXPECT_EQ(typename TypeParam::reader().get_data_path_list(), trox_detail::data_path_list_of_this_host());
}

TYPED_TEST(reader_settings_since_2010, clean_up_puts_the_tolerance_back_without_reading_the_environment)
{
    this->env.set("DAQ_MAX_TIME_STEP_USEC", "1250");
    typename TypeParam::reader reader;
    ASSERT_EQ(reader.get_time_diff()->timelow, 1250U);
    reader.set_by_time_fix(false);
    reader.clean_up();
    EXPECT_EQ(reader.get_time_diff()->timeup, 0U);
    EXPECT_EQ(reader.get_time_diff()->timelow, 50000U);
    EXPECT_FALSE(reader.is_by_time_fix()) << "kept";
}

TYPED_TEST(reader_settings_since_2010, running_reader_takes_tolerance_and_check_of_neighbours)
{
    typename TypeParam::reader reader;
    this->make_run(reader);
    time_stamp tolerance{0, 7};
    EXPECT_EQ(reader.set_time_diff(&tolerance), 0);
    EXPECT_EQ(reader.get_time_diff()->timelow, 7U);
    reader.set_by_time_fix(false);
    EXPECT_FALSE(reader.is_by_time_fix());
}

} // namespace
