// Requests and settings of the slicer.
#include "slicer_files.h"

#include <climits>

namespace slicer_test
{

template <class T> using slicer_setup = slicer_files<T>;
TYPED_TEST_SUITE(slicer_setup, slicer_generations, slicer_generation_names);

const std::vector<std::string> no_files;
const std::vector<std::string> two_names{"/no/such/a.raw", "/no/such/b.raw"};

TYPED_TEST(slicer_setup, a_null_list_of_channels_is_invalid)
{
    slicer_of<TypeParam> slicer;
    const auto status_with = [&slicer](const auto& names) {
        const params_of<TypeParam>* none = nullptr;
        if constexpr (requires { slicer.init(names, none, 0); }) {
            return slicer.init(names, none, 0);
        } else {
            return slicer.init(&names, none, 0);
        }
    };
    std::vector<char*> names;
    EXPECT_EQ(status_with(two_names), -7);
    EXPECT_EQ(status_with(names), -7);
    names.push_back(nullptr);
    EXPECT_EQ(status_with(names), -7) << "before any name is looked at";
}

TYPED_TEST(slicer_setup, channels_without_files_are_nothing_to_read)
{
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"A"};
    const std::vector<char*> no_names;
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = init(slicer, no_files, channels); }), TypeParam::nothing_to_read(0, 1));
    EXPECT_EQ(status, -1);
    EXPECT_EQ(slicer.start(), -1);
    EXPECT_EQ(printed_by([&] { status = init(slicer, no_names, channels); }), TypeParam::nothing_to_read(0, 1));
    EXPECT_EQ(status, -1);
}

TYPED_TEST(slicer_setup, empty_lists_are_nothing_to_read)
{
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{};
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = init(slicer, no_files, channels); }), TypeParam::nothing_to_read(0, 0));
    EXPECT_EQ(status, -1);
}

TYPED_TEST(slicer_setup, files_without_channels_are_nothing_to_read)
{
    slicer_of<TypeParam> slicer;
    const params_of<TypeParam> nulls{nullptr, nullptr};
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = init(slicer, two_names, nulls); }), TypeParam::nothing_to_read(2, 0));
    EXPECT_EQ(status, -1);
    EXPECT_EQ(slicer.start(), -1);
}

TYPED_TEST(slicer_setup, null_channels_are_left_out)
{
    this->add_file("a", {{"A", events(1, 3)}, {"B", events(1, 3)}});
    channel_list<TypeParam> channels{"A", "B"};
    const params_of<TypeParam> with_nulls{nullptr, &channels[0], nullptr, &channels[1]};
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, with_nulls), 0);
    ASSERT_EQ(slicer.start(), 0);
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1", "B@1"));
    EXPECT_EQ(slicer.start_channel(2, first), -7) << "two channels are left";
}

TYPED_TEST(slicer_setup, names_are_copied)
{
    this->add_file("a", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    {
        std::vector<std::string> paths = this->files;
        channel_list<TypeParam> channels{"A"};
        ASSERT_EQ(init(slicer, paths, channels), 0);
        channels[0].name[0] = 'X';
        paths[0] = "X";
    }
    EXPECT_EQ(slicer.start(), 0);
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
}

TYPED_TEST(slicer_setup, a_name_that_fills_its_field_is_ended_there)
{
    this->add_file("a", {{"A", events(1, 3)}});
    channel_list<TypeParam> channels{"A", "B"};
    std::memset(channels[1].name, 'n', sizeof channels[1].name);
    std::memset(channels[1].nname, 'n', sizeof channels[1].nname);
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, channels), 0);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.start(), 0); }), HasSubstr("Start failed for read_chans[1]"));
    EXPECT_EQ(slicer.get_not_found_channels(), std::string(TypeParam::name_size - 1, 'n'));
}

TYPED_TEST(slicer_setup, zero_terminated_file_names_do_as_well)
{
    this->add_file("a", {{"A", events(1, 3)}});
    const channel_list<TypeParam> channels{"A"};
    std::vector<char*> names{this->files[0].data()};
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, names, channels), 0);
    EXPECT_EQ(slicer.start(), 0);
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
}

TYPED_TEST(slicer_setup, init_sets_the_number_of_slots_to_that_of_files)
{
    slicer_of<TypeParam> slicer;
    EXPECT_EQ(slicer.set_num_of_get_tables(0), -7);
    EXPECT_EQ(slicer.set_num_of_get_tables(-1), -7);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 0);
    EXPECT_EQ(slicer.set_num_of_get_tables(9), 0);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 9);
    const channel_list<TypeParam> channels{"A"};
    ASSERT_EQ(init(slicer, two_names, channels), 0);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 2);
}

TYPED_TEST(slicer_setup, any_number_of_slots_is_safe)
{
    this->add_file("a", {{"A", events(1, 3)}});
    this->add_file("b", {{"A", events(4, 6)}});
    this->add_file("c", {{"A", events(7, 9)}});
    const channel_list<TypeParam> channels{"A"};
    for (const int slots : {1, 2, 3, INT_MAX}) {
        slicer_of<TypeParam> slicer;
        ASSERT_EQ(init(slicer, this->files, channels), 0);
        ASSERT_EQ(slicer.set_num_of_get_tables(slots), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_EQ(slicer.set_num_of_get_tables(100), 0) << "a number set while running is for the next start";
        std::vector<typename TypeParam::event_number> numbers;
        records_of<TypeParam> found;
        while (slicer.get_data(nullptr, &found, next) == 0) {
            ASSERT_EQ(found.size(), 1U);
            numbers.push_back(found[0]->event_id.event_number);
        }
        EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9)) << slots << " slots";
    }
}

TYPED_TEST(slicer_setup, defaults)
{
    slicer_of<TypeParam> slicer;
    EXPECT_EQ(slicer.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    EXPECT_EQ(slicer.get_debug(), 0);
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

TYPED_TEST(slicer_setup, accessors_keep_what_is_set)
{
    slicer_of<TypeParam> slicer;
    slicer.set_debug(-3);
    EXPECT_EQ(slicer.get_debug(), -3);
    slicer.set_skip_bad_records(true);
    EXPECT_TRUE(slicer.is_skip_bad_records());
    slicer.set_skip_bad_records(false);
    EXPECT_FALSE(slicer.is_skip_bad_records());
}

TYPED_TEST(slicer_setup, the_environment_switches_the_skipping_of_bad_records_on)
{
    ::unsetenv("TROX_DAQ_READER_SKIP_BAD_RECORDS");
    EXPECT_FALSE(slicer_of<TypeParam>().is_skip_bad_records());
    ::setenv("TROX_DAQ_READER_SKIP_BAD_RECORDS", "", 1);
    EXPECT_TRUE(slicer_of<TypeParam>().is_skip_bad_records());
    ::unsetenv("TROX_DAQ_READER_SKIP_BAD_RECORDS");
}

TYPED_TEST(slicer_setup, an_unknown_synch_mode_is_ignored)
{
    slicer_of<TypeParam> slicer;
    EXPECT_EQ(slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME), 0);
    EXPECT_EQ(slicer.set_synch_mode(5), 0);
    EXPECT_EQ(slicer.set_synch_mode(-1), 0);
    EXPECT_EQ(slicer.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_TIME);
}

TYPED_TEST(slicer_setup, null_settings_are_invalid)
{
    slicer_of<TypeParam> slicer;
    EXPECT_EQ(slicer.set_event_step(nullptr), -7);
    EXPECT_EQ(slicer.set_time_diff(nullptr), -7);
}

TYPED_TEST(slicer_setup, settings_of_a_running_slicer_are_refused)
{
    this->add_file("a", {{"A", events(1, 3)}});
    const channel_list<TypeParam> channels{"A"};
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, channels), 0);
    time_id_of<TypeParam> step{7, {1, 2}};
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

TYPED_TEST(slicer_setup, a_slicer_can_be_used_again)
{
    this->add_file("a", {{"A", events(1, 3)}});
    this->add_file("b", {{"B", events(11, 13)}});
    slicer_of<TypeParam> slicer;
    const std::vector<std::string> file_a{this->files[0]};
    const std::vector<std::string> file_b{this->files[1]};
    const channel_list<TypeParam> channel_a{"A"};
    const channel_list<TypeParam> channel_b{"B"};
    records_of<TypeParam> found;
    ASSERT_EQ(init(slicer, file_a, channel_a), 0);
    ASSERT_EQ(slicer.start(), 0);
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1"));
    ASSERT_EQ(init(slicer, file_b, channel_b), 0) << "init cleans up by itself";
    ASSERT_EQ(slicer.start(), 0);
    ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("B@11"));
}

TYPED_TEST(slicer_setup, events_are_compared_by_number_when_both_have_one)
{
    const slicer_of<TypeParam> slicer;
    const time_id_of<TypeParam> a{5, {100, 0}};
    const time_id_of<TypeParam> b{6, {100, 0}};
    int sign = 9;
    EXPECT_EQ(slicer.is_event_id_eq(&a, &b, &sign), 0);
    EXPECT_EQ(sign, -1);
    EXPECT_EQ(slicer.is_event_id_eq(&b, &a, &sign), 0);
    EXPECT_EQ(sign, 1);
    const time_id_of<TypeParam> later{5, {200, 0}};
    EXPECT_EQ(slicer.is_event_id_eq(&a, &later, &sign), 1) << "times do not count then";
    EXPECT_EQ(sign, 0);
    EXPECT_EQ(slicer.is_event_id_eq(&a, &later, nullptr), 1);
    EXPECT_EQ(slicer.is_event_id_eq(nullptr, &a, &sign), 0);
    EXPECT_EQ(slicer.is_event_id_eq(&a, nullptr, &sign), 0);
}

TYPED_TEST(slicer_setup, numbers_are_compared_unsigned)
{
    const slicer_of<TypeParam> slicer;
    const time_id_of<TypeParam> low{1, {100, 0}};
    const time_id_of<TypeParam> high{0xFFFFFFFE, {100, 0}};
    int sign = 0;
    EXPECT_EQ(slicer.is_event_id_eq(&low, &high, &sign), 0);
    EXPECT_EQ(sign, -1);
}

TYPED_TEST(slicer_setup, events_without_a_number_are_compared_by_time)
{
    slicer_of<TypeParam> slicer;
    const time_id_of<TypeParam> a{0, {100, 999990}};
    const time_id_of<TypeParam> b{6, {101, 10}}; // 20 us later
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

TYPED_TEST(slicer_setup, operations_before_start)
{
    slicer_of<TypeParam> slicer;
    records_of<TypeParam> found{nullptr};
    EXPECT_EQ(slicer.start(), -1);
    EXPECT_EQ(slicer.find_ready_table("a"), nullptr);
    EXPECT_EQ(slicer.find_ready_table(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), -3);
    EXPECT_THAT(found, IsEmpty());
    EXPECT_EQ(slicer.start_channel(0, first), -7) << "there is no channel 0 yet";
    slicer.clean_up();
    const channel_list<TypeParam> channels{"A"};
    typename TypeParam::loader table(0);
    ASSERT_EQ(init(slicer, two_names, channels), 0);
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
