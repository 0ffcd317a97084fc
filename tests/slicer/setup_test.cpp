// Requests and settings of the slicer.
#include "slicer_files.h"

#include <climits>
#include <stdexcept>

namespace slicer_test
{

using slicer_setup = slicer_files;

const std::vector<std::string> no_files;
const std::vector<std::string> two_names{"/no/such/a.raw", "/no/such/b.raw"};

TEST_F(slicer_setup, null_lists_are_invalid)
{
    trox_daq_slicer_2010 slicer;
    const channel_list channels{"A"};
    std::vector<char*> names;
    EXPECT_EQ(slicer.init(static_cast<const std::vector<std::string>*>(nullptr), &channels, 0), -7);
    EXPECT_EQ(slicer.init(static_cast<const std::vector<char*>*>(nullptr), &channels, 0), -7);
    EXPECT_EQ(slicer.init(&two_names, nullptr, 0), -7);
    EXPECT_EQ(slicer.init(&names, nullptr, 0), -7);
    names.push_back(nullptr);
    EXPECT_EQ(slicer.init(&names, nullptr, 0), -7) << "before any name is looked at";
}

TEST_F(slicer_setup, channels_without_files_print_one_message)
{
    trox_daq_slicer_2010 slicer;
    const channel_list channels{"A"};
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = slicer.init(&no_files, &channels, 0); }), "SLICER:  no files found\n");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(slicer.start(), -1);
}

TEST_F(slicer_setup, empty_lists_print_both_messages)
{
    trox_daq_slicer_2010 slicer;
    const channel_list channels{};
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = slicer.init(&no_files, &channels, 0); }),
              "SLICER:  no files found\nSLICER:  no channels in request, Pleas, add some\n");
    EXPECT_EQ(status, -1);
}

TEST_F(slicer_setup, files_without_channels_print_one_message)
{
    trox_daq_slicer_2010 slicer;
    const std::vector<trox_daq_chan_param_2010*> nulls{nullptr, nullptr};
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = slicer.init(&two_names, &nulls, 0); }),
              "SLICER:  no channels in request, Pleas, add some\n");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(slicer.start(), -1);
}

TEST_F(slicer_setup, null_channels_are_left_out)
{
    add_file("a", {{"A", events(1, 3)}, {"B", events(1, 3)}});
    channel_list channels{"A", "B"};
    const std::vector<trox_daq_chan_param_2010*> with_nulls{nullptr, &channels[0], nullptr, &channels[1]};
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &with_nulls, 0), 0);
    ASSERT_EQ(slicer.start(), 0);
    records found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(labels(found), ElementsAre("A@1", "B@1"));
    EXPECT_EQ(slicer.start_channel(2, first), -7) << "two channels are left";
}

TEST_F(slicer_setup, names_are_copied)
{
    add_file("a", {{"A", events(1, 3)}});
    trox_daq_slicer_2010 slicer;
    {
        std::vector<std::string> paths = files;
        channel_list channels{"A"};
        ASSERT_EQ(slicer.init(&paths, &channels, 0), 0);
        channels[0].name[0] = 'X';
        paths[0] = "X";
    }
    EXPECT_EQ(slicer.start(), 0);
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
}

TEST_F(slicer_setup, a_name_that_fills_its_field_is_ended_there)
{
    add_file("a", {{"A", events(1, 3)}});
    channel_list channels{"A", "B"};
    std::memset(channels[1].name, 'n', sizeof channels[1].name);
    std::memset(channels[1].nname, 'n', sizeof channels[1].nname);
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.start(), 0); }), HasSubstr("Start failed for read_chans[1]"));
    EXPECT_EQ(slicer.get_not_found_channels(), std::string(255, 'n'));
}

TEST_F(slicer_setup, zero_terminated_file_names_do_as_well)
{
    add_file("a", {{"A", events(1, 3)}});
    const channel_list channels{"A"};
    std::vector<char*> names{files[0].data()};
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&names, &channels, 0), 0);
    EXPECT_EQ(slicer.start(), 0);
    names[0] = nullptr;
    EXPECT_THROW(slicer.init(&names, &channels, 0), std::logic_error);
}

TEST_F(slicer_setup, init_sets_the_number_of_slots_to_that_of_files)
{
    trox_daq_slicer_2010 slicer;
    EXPECT_EQ(slicer.set_num_of_get_tables(0), -7);
    EXPECT_EQ(slicer.set_num_of_get_tables(-1), -7);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 0);
    EXPECT_EQ(slicer.set_num_of_get_tables(9), 0);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 9);
    const channel_list channels{"A"};
    ASSERT_EQ(slicer.init(&two_names, &channels, 0), 0);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 2);
}

TEST_F(slicer_setup, any_number_of_slots_is_safe)
{
    add_file("a", {{"A", events(1, 3)}});
    add_file("b", {{"A", events(4, 6)}});
    add_file("c", {{"A", events(7, 9)}});
    const channel_list channels{"A"};
    for (const int slots : {1, 2, 3, INT_MAX}) {
        trox_daq_slicer_2010 slicer;
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        ASSERT_EQ(slicer.set_num_of_get_tables(slots), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_EQ(slicer.set_num_of_get_tables(100), 0) << "a number set while running is for the next start";
        std::vector<std::uint32_t> numbers;
        records found;
        while (slicer.get_data(nullptr, &found, next) == 0) {
            ASSERT_EQ(found.size(), 1U);
            numbers.push_back(found[0]->event_id.event_number);
        }
        EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9)) << slots << " slots";
    }
}

TEST_F(slicer_setup, defaults)
{
    trox_daq_slicer_2010 slicer;
    EXPECT_EQ(slicer.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    EXPECT_EQ(slicer.get_debug(), 0);
    EXPECT_TRUE(slicer.is_by_time_fix());
    EXPECT_EQ(slicer.get_event_step()->event_number, 1U);
    EXPECT_EQ(slicer.get_event_step()->time.timeup, 0U);
    EXPECT_EQ(slicer.get_event_step()->time.timelow, 100000U);
    EXPECT_EQ(slicer.get_time_diff()->timeup, 0U);
    EXPECT_EQ(slicer.get_time_diff()->timelow, 50000U);
    EXPECT_EQ(slicer.get_number_of_bad_files(), 0);
    EXPECT_EQ(slicer.get_number_of_bad_records(), 0);
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "No channels created");
}

TEST_F(slicer_setup, accessors_keep_what_is_set)
{
    trox_daq_slicer_2010 slicer;
    slicer.set_debug(-3);
    EXPECT_EQ(slicer.get_debug(), -3);
    slicer.set_by_time_fix(false);
    EXPECT_FALSE(slicer.is_by_time_fix());
    slicer.set_skip_bad_records(true);
    EXPECT_TRUE(slicer.is_skip_bad_records());
    slicer.set_skip_bad_records(false);
    EXPECT_FALSE(slicer.is_skip_bad_records());
}

TEST_F(slicer_setup, the_environment_switches_the_skipping_of_bad_records_on)
{
    ::unsetenv("TROX_DAQ_READER_SKIP_BAD_RECORDS");
    EXPECT_FALSE(trox_daq_slicer_2010().is_skip_bad_records());
    ::setenv("TROX_DAQ_READER_SKIP_BAD_RECORDS", "", 1);
    EXPECT_TRUE(trox_daq_slicer_2010().is_skip_bad_records());
    ::unsetenv("TROX_DAQ_READER_SKIP_BAD_RECORDS");
}

TEST_F(slicer_setup, an_unknown_synch_mode_is_ignored)
{
    trox_daq_slicer_2010 slicer;
    EXPECT_EQ(slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME), 0);
    EXPECT_EQ(slicer.set_synch_mode(5), 0);
    EXPECT_EQ(slicer.set_synch_mode(-1), 0);
    EXPECT_EQ(slicer.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_TIME);
}

TEST_F(slicer_setup, null_settings_are_invalid)
{
    trox_daq_slicer_2010 slicer;
    EXPECT_EQ(slicer.set_event_step(nullptr), -7);
    EXPECT_EQ(slicer.set_time_diff(nullptr), -7);
}

TEST_F(slicer_setup, settings_of_a_running_slicer_are_refused)
{
    add_file("a", {{"A", events(1, 3)}});
    const channel_list channels{"A"};
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    trox_time_id step{7, {1, 2}};
    time_stamp diff{3, 4};
    EXPECT_EQ(slicer.set_event_step(&step), 0) << "allowed until the start";
    EXPECT_EQ(slicer.set_time_diff(&diff), 0);
    ASSERT_EQ(slicer.start(), 0);
    EXPECT_EQ(slicer.set_synch_mode(5), -8);
    EXPECT_EQ(slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME), -8);
    EXPECT_EQ(slicer.set_event_step(nullptr), -8);
    EXPECT_EQ(slicer.set_time_diff(nullptr), -8);
    EXPECT_EQ(slicer.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    slicer.clean_up();
    EXPECT_EQ(slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME), 0);
    EXPECT_EQ(slicer.get_event_step()->event_number, 7U) << "settings survive clean_up";
    EXPECT_EQ(slicer.get_time_diff()->timelow, 4U);
}

TEST_F(slicer_setup, a_slicer_can_be_used_again)
{
    add_file("a", {{"A", events(1, 3)}});
    add_file("b", {{"B", events(11, 13)}});
    trox_daq_slicer_2010 slicer;
    const std::vector<std::string> file_a{files[0]};
    const std::vector<std::string> file_b{files[1]};
    const channel_list channel_a{"A"};
    const channel_list channel_b{"B"};
    records found;
    ASSERT_EQ(slicer.init(&file_a, &channel_a, 0), 0);
    ASSERT_EQ(slicer.start(), 0);
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(labels(found), ElementsAre("A@1"));
    ASSERT_EQ(slicer.init(&file_b, &channel_b, 0), 0) << "init cleans up by itself";
    ASSERT_EQ(slicer.start(), 0);
    ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    EXPECT_THAT(labels(found), ElementsAre("B@11"));
}

TEST_F(slicer_setup, events_are_compared_by_number_when_both_have_one)
{
    const trox_daq_slicer_2010 slicer;
    const trox_time_id a{5, {100, 0}};
    const trox_time_id b{6, {100, 0}};
    int sign = 9;
    EXPECT_EQ(slicer.is_event_id_eq(&a, &b, &sign), 0);
    EXPECT_EQ(sign, -1);
    EXPECT_EQ(slicer.is_event_id_eq(&b, &a, &sign), 0);
    EXPECT_EQ(sign, 1);
    const trox_time_id later{5, {200, 0}};
    EXPECT_EQ(slicer.is_event_id_eq(&a, &later, &sign), 1) << "times do not count then";
    EXPECT_EQ(sign, 0);
    EXPECT_EQ(slicer.is_event_id_eq(&a, &later, nullptr), 1);
    EXPECT_EQ(slicer.is_event_id_eq(nullptr, &a, &sign), 0);
    EXPECT_EQ(slicer.is_event_id_eq(&a, nullptr, &sign), 0);
}

TEST_F(slicer_setup, numbers_are_compared_unsigned)
{
    const trox_daq_slicer_2010 slicer;
    const trox_time_id low{1, {100, 0}};
    const trox_time_id high{0xFFFFFFFE, {100, 0}};
    int sign = 0;
    EXPECT_EQ(slicer.is_event_id_eq(&low, &high, &sign), 0);
    EXPECT_EQ(sign, -1);
}

TEST_F(slicer_setup, events_without_a_number_are_compared_by_time)
{
    trox_daq_slicer_2010 slicer;
    const trox_time_id a{0, {100, 999990}};
    const trox_time_id b{6, {101, 10}}; // 20 us later
    int sign = 9;
    EXPECT_EQ(slicer.is_event_id_eq(&a, &b, &sign), 0) << "exactly, until a tolerance is set";
    EXPECT_EQ(sign, -1);
    time_stamp diff{0, 19};
    slicer.set_time_diff(&diff);
    EXPECT_EQ(slicer.is_event_id_eq(&b, &a, &sign), 0);
    EXPECT_EQ(sign, 1);
    diff.timelow = 20;
    slicer.set_time_diff(&diff);
    EXPECT_EQ(slicer.is_event_id_eq(&b, &a, &sign), 1);
    EXPECT_EQ(sign, 0);
}

TEST_F(slicer_setup, operations_before_start)
{
    trox_daq_slicer_2010 slicer;
    records found{nullptr};
    EXPECT_EQ(slicer.start(), -1);
    EXPECT_EQ(slicer.find_ready_table(std::string("a")), nullptr);
    EXPECT_EQ(slicer.find_ready_table("a"), nullptr);
    EXPECT_EQ(slicer.find_ready_table(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), -3);
    EXPECT_THAT(found, IsEmpty());
    EXPECT_EQ(slicer.start_channel(0, first), -7) << "there is no channel 0 yet";
    slicer.clean_up();
    const channel_list channels{"A"};
    trox_file_get_tables_2010 table(0);
    ASSERT_EQ(slicer.init(&two_names, &channels, 0), 0);
    EXPECT_EQ(slicer.create_channel(0, &table), -4);
    EXPECT_EQ(slicer.start_channel(0, first), -4);
    EXPECT_EQ(slicer.change_config(0, next, 1), -4);
    slicer.remove_channel(0);
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "No channels created");
    slicer.clean_up();
    EXPECT_EQ(slicer.start(), -1) << "clean_up empties the lists of a slicer that never ran";
    EXPECT_EQ(slicer.get_num_of_get_tables(), 2);
}

} // namespace slicer_test
