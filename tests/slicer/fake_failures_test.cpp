// The slicer when channel readers cannot be made or started, and what it hands to those that can.
#include "fake_readers.h"

namespace slicer_test
{

TYPED_TEST(fake_readers, a_reader_gets_the_settings_of_the_slicer)
{
    constexpr bool has_by_time_fix = !std::is_same_v<TypeParam, trox_test::slicer_legacy>;
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    const auto& channel = this->world.channels["A"];
    EXPECT_EQ(channel.subchan, 3);
    EXPECT_EQ(channel.by_time_fix, has_by_time_fix) << "the default";
    EXPECT_FALSE(channel.skips);
    EXPECT_EQ(channel.time_diff.timeup, 0U);
    EXPECT_EQ(channel.time_diff.timelow, 50000U);
    EXPECT_EQ(channel.step.event_number, 1U);
    EXPECT_EQ(channel.step.time.timeup, 0U);
    EXPECT_EQ(channel.step.time.timelow, 100000U);
    slicer.clean_up();
    time_stamp diff{2, 3};
    time_id_of<TypeParam> step{4, {5, 6}};
    slicer.set_time_diff(&diff);
    slicer.set_event_step(&step);
    slicer.set_skip_bad_records(true);
    this->start(slicer, {"A"});
    EXPECT_TRUE(channel.skips);
    EXPECT_EQ(channel.time_diff.timeup, 2U);
    EXPECT_EQ(channel.time_diff.timelow, 3U);
    EXPECT_EQ(channel.step.event_number, 4U);
    EXPECT_EQ(channel.step.time.timeup, 5U);
    EXPECT_EQ(channel.step.time.timelow, 6U);
}

TYPED_TEST(fake_readers, a_file_that_does_not_know_a_channel_is_passed_over_when_bad_records_are_skipped)
{
    for (const bool skips : {true, false}) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        this->init(slicer, {"A"}, {"file0", "file1", "file2"});
        this->answers("A", this->record(50, 50, 0));
        auto& channel = this->world.channels["A"];
        channel.start_statuses = {-5, 0, -5, 0};
        printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
        EXPECT_STREQ(slicer.get_not_found_channels(), skips ? "" : "A") << "at the start";
        if (skips) {
            records_of<TypeParam> found;
            ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
            channel.answers = {{-3, nullptr}, {0, this->record(51, 51, 0)}};
            channel.start_statuses = {-5, -5};
            printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), -3); });
        }
        slicer.clean_up();
        this->world.channels.clear();
    }
    for (const bool skips : {true, false}) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        this->start(slicer, {"A"});
        auto& channel = this->world.channels["A"];
        channel.answers = {{-3, nullptr}, {0, this->record(51, 51, 0)}};
        channel.start_statuses = {-5, 0};
        records_of<TypeParam> found;
        printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), skips ? 0 : -3); });
        slicer.clean_up();
        this->world.channels.clear();
    }
}

TYPED_TEST(fake_readers, a_channel_whose_last_move_led_to_no_records_is_dropped)
{
    for (const int request : {current, first, last, next}) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(true); // a wait for the last file, which by LAST is left twice, ends
        // By NEXT, the second file leads to itself over and over: its name is found in the first place.
        this->start(slicer, {"A", "B"}, {"file0", "file0", "file1"});
        auto& channel = this->world.channels["A"];
        channel.answers = {{-3, nullptr}};
        channel.number_of_records = 0;
        records_of<TypeParam> found;
        slicer.set_debug(1);
        const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); });
        EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for A:3 \n")) << "request " << request;
        EXPECT_EQ(found.size(), 1U);
        EXPECT_EQ(slicer.start_channel(0, first), -1) << "dropped";
        channel.answers = {{-4, nullptr}}; // what a reader without records would go on to answer
        slicer.set_debug(0);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); }), "");
        slicer.clean_up();
        this->world.channels.clear();
    }
}

TYPED_TEST(fake_readers, dropping_after_the_last_move_is_silent_without_debug)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    this->world.channels["A"].answers = {{-3, nullptr}};
    this->world.channels["A"].number_of_records = 0;
    records_of<TypeParam> found;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0); }), "");
    EXPECT_EQ(found.size(), 1U);
}

TYPED_TEST(fake_readers, no_memory_for_a_reader_fails_start)
{
    fake_slicer_of<TypeParam> slicer;
    this->init(slicer, {"A", "B"}, {"file0"});
    this->answers("A", this->record(1, 1, 0));
    this->world.channels["B"].construction_throws = true;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_EQ(text.find("CREATE_CHANNEL[1] failed\n") != std::string::npos, TypeParam::has_life_cycle_traces);
    slicer.set_debug(0);
    this->world.channels["B"].construction_throws = false;
    this->start(slicer, {"A", "B"}); // init cleans up
}

TYPED_TEST(fake_readers, no_memory_for_a_reader_drops_the_channel_when_it_moves)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    this->world.channels["A"].answers = {{-3, nullptr}};
    this->world.channels["A"].construction_throws = true;
    this->answers("B", this->record(51, 51, 0));
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->event_id.event_number, 51U);
    EXPECT_EQ(slicer.start_channel(0, first), -1) << "it has no reader any more";
    EXPECT_EQ(slicer.change_config(1, next, 1), 0) << "the other one can still move";
    this->world.channels["B"].construction_throws = true;
    EXPECT_EQ(slicer.change_config(1, current, 1), -6);
}

TYPED_TEST(fake_readers, a_reader_that_runs_out_of_memory_cannot_be_started)
{
    fake_slicer_of<TypeParam> slicer;
    this->init(slicer, {"A"}, {"file0"});
    this->world.channels["A"].start_throws = true;
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    EXPECT_EQ(text, "Start failed for read_chans[0] for A:3  erro: -6\n");
    EXPECT_STREQ(slicer.get_not_found_channels(), "A");
}

TYPED_TEST(fake_readers, a_loader_that_throws_is_a_file_that_cannot_be_loaded)
{
    for (const bool skips : {true, false}) {
        fake_slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        this->world.file_that_throws = "file0";
        this->init(slicer, {"A"}, {"file0", "file1"});
        this->answers("A", this->record(1, 1, 0));
        EXPECT_EQ(slicer.start(), skips ? 0 : -6);
        EXPECT_EQ(slicer.get_number_of_bad_files(), skips ? 1 : 0);
    }
}

} // namespace slicer_test
