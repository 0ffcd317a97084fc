// The slicer on channel readers that answer anything: moves from file to file, start, timing, release.
#include "allocations.h"
#include "fake_readers.h"

namespace slicer_test
{

using trox_test::allocations;

TYPED_TEST(fake_readers, a_channel_out_of_window_moves_until_a_file_starts)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"}, {"file0", "file1", "file2", "file3"});
    auto& channel = this->world.channels["A"];
    channel.answers = {{-3, nullptr}, {0, this->record(51, 51, 0)}};
    channel.start_statuses = {-1, -3, 0};
    channel.constructed = 0;
    records_of<TypeParam> found;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_EQ(channel.constructed, 3);
    EXPECT_THAT(text, HasSubstr("fentry after: 3\n"));
    EXPECT_THAT(text, HasSubstr("Start failed for read_chans[0] for A:3  erro: -1\n"));
}

TYPED_TEST(fake_readers, a_channel_that_fails_in_its_new_file_is_dropped)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    this->world.channels["A"].answers = {{-3, nullptr}};
    this->world.channels["A"].start_statuses = {-5};
    this->answers("B", this->record(51, 51, 0));
    records_of<TypeParam> found;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_THAT(text, HasSubstr("NO DATA  ANY MORE for A removing\n"));
    EXPECT_EQ(found.size(), 1U);
    EXPECT_EQ(slicer.start_channel(0, first), -1);
}

TYPED_TEST(fake_readers, damage_in_a_new_file_is_passed_over_when_bad_records_are_skipped)
{
    for (const bool skips : {true, false}) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        this->start(slicer, {"A"});
        this->world.channels["A"].answers = {{-3, nullptr}, {0, this->record(51, 51, 0)}};
        this->world.channels["A"].start_statuses = {-6, 0};
        records_of<TypeParam> found;
        printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), skips ? 0 : -3); });
        slicer.clean_up();
        this->world.channels.clear();
    }
}

TYPED_TEST(fake_readers, damage_in_the_first_file_is_passed_over_when_bad_records_are_skipped)
{
    for (const bool skips : {true, false}) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        this->init(slicer, {"A"}, {"file0", "file1"});
        this->answers("A", this->record(1, 1, 0));
        this->world.channels["A"].start_statuses = {-6, 0};
        printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
        EXPECT_STREQ(slicer.get_not_found_channels(), skips ? "" : "A");
    }
}

TYPED_TEST(fake_readers, the_same_file_is_opened_anew_once)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    auto& channel = this->world.channels["A"];
    channel.answers = {{-3, nullptr}};
    channel.constructed = 0;
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0);
    EXPECT_EQ(channel.constructed, 1);
    EXPECT_EQ(found.size(), 2U) << "it goes on with the next channel, and keeps this one";
}

TYPED_TEST(fake_readers, moves_are_bounded_by_the_number_of_files)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"}, {"file0", "file0", "file1"}); // the second leads back to the first
    this->world.channels["A"].answers = {{-3, nullptr}};
    this->world.channels["A"].constructed = 0;
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_EQ(this->world.channels["A"].constructed, 3);
}

TYPED_TEST(fake_readers, refused_settings_fail_the_channel)
{
    fake_slicer_of<TypeParam> slicer;
    this->init(slicer, {"A"}, {"file0"});
    slicer.set_debug(1);
    this->world.set_time_diff_status = -7;
    std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, HasSubstr("Failed to set time difference read_chans[0] for A:3\n"));
    EXPECT_EQ(text.find("CREATE_CHANNEL[0] failed\n") != std::string::npos, TypeParam::has_life_cycle_traces);
    this->world.set_time_diff_status = 0;
    this->world.set_step_status = -7;
    this->init(slicer, {"A"}, {"file0"});
    text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, HasSubstr("Failed to set event step read_chans[0] for A:3\n"));
    slicer.set_debug(0);
    this->init(slicer, {"A"}, {"file0"});
    text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, Not(HasSubstr("CREATE_CHANNEL")));
}

TYPED_TEST(fake_readers, a_channel_whose_first_event_is_missing_is_traced)
{
    fake_slicer_of<TypeParam> slicer;
    this->init(slicer, {"A"}, {"file0"});
    this->world.channels["A"].current = {-1, nullptr};
    slicer.set_debug(-1);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.start(), 0); }), HasSubstr("FIRST -> -1\n"));
}

TYPED_TEST(fake_readers, the_first_current_event_is_the_earliest)
{
    const auto first_event = [&](typename TypeParam::entry* a, typename TypeParam::entry* b, int mode) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_synch_mode(mode);
        this->init(slicer, {"A", "B"}, {"file0"});
        this->answers("A", a);
        this->answers("B", b);
        EXPECT_EQ(slicer.start(), 0);
        records_of<TypeParam> found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0);
        return found.size() == 1 ? found[0]->event_id.event_number : 0;
    };
    EXPECT_EQ(first_event(this->record(5, 90, 0), this->record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_EVID), 4U)
        << "by number";
    EXPECT_EQ(first_event(this->record(5, 90, 0), this->record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_TIME), 5U)
        << "by time";
    EXPECT_EQ(first_event(this->record(5, 96, 0), this->record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_TIME), 4U);
    EXPECT_EQ(first_event(this->record(0, 96, 0), this->record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_EVID), 4U)
        << "a first event without a number is compared by time";
}

TYPED_TEST(fake_readers, bad_records_of_present_and_past_readers_are_summed)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    this->world.channels["A"].bad_records = 3;
    this->world.channels["B"].bad_records = 4;
    EXPECT_EQ(slicer.get_number_of_bad_records(), 7);
    slicer.remove_channel(0);
    EXPECT_EQ(slicer.get_number_of_bad_records(), 7);
    slicer.change_config(1, next, 1); // a new reader of B, which has met four as well
    EXPECT_EQ(slicer.get_number_of_bad_records(), 11);
    slicer.clean_up();
    EXPECT_EQ(slicer.get_number_of_bad_records(), 11);
}

TYPED_TEST(fake_readers, readers_are_cleaned_before_they_and_their_loader_go)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"}, {"file0"});
    this->world.log.clear();
    slicer.clean_up();
    EXPECT_THAT(this->world.log, ElementsAre("clean", "~loader file0"));
    EXPECT_TRUE(this->world.channels["A"].descriptions_cleaned);
}

TYPED_TEST(fake_readers, no_memory_is_allocated_per_event)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B", "C"}, {"file0"});
    records_of<TypeParam> found;
    const time_id_of<TypeParam> target{50, {50, 0}};
    ASSERT_EQ(slicer.get_data(&target, &found, current), 0);
    ASSERT_EQ(found.size(), 3U);
    const long before = allocations;
    for (const int request : {current, next, previous, last, first}) {
        for (int i = 0; i < 100; ++i) {
            slicer.get_data(&target, &found, request);
        }
    }
    EXPECT_EQ(allocations, before);
}

} // namespace slicer_test
