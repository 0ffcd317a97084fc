// The slicer when channel readers cannot be made or started, and what it hands to those that can.
#include "fake_readers.h"

namespace slicer_test
{

TEST_F(fake_readers, a_reader_gets_the_settings_of_the_slicer)
{
    fake_slicer slicer;
    start(slicer, {"A"});
    const auto& channel = world.channels["A"];
    EXPECT_EQ(channel.subchan, 3);
    EXPECT_TRUE(channel.by_time_fix);
    EXPECT_FALSE(channel.skips);
    EXPECT_EQ(channel.time_diff.timeup, 0U);
    EXPECT_EQ(channel.time_diff.timelow, 50000U);
    EXPECT_EQ(channel.step.event_number, 1U);
    EXPECT_EQ(channel.step.time.timeup, 0U);
    EXPECT_EQ(channel.step.time.timelow, 100000U);
    slicer.clean_up();
    time_stamp diff{2, 3};
    trox_time_id step{4, {5, 6}};
    slicer.set_time_diff(&diff);
    slicer.set_event_step(&step);
    slicer.set_skip_bad_records(true);
    start(slicer, {"A"});
    EXPECT_TRUE(channel.skips);
    EXPECT_EQ(channel.time_diff.timeup, 2U);
    EXPECT_EQ(channel.time_diff.timelow, 3U);
    EXPECT_EQ(channel.step.event_number, 4U);
    EXPECT_EQ(channel.step.time.timeup, 5U);
    EXPECT_EQ(channel.step.time.timelow, 6U);
}

TEST_F(fake_readers, a_file_that_does_not_know_a_channel_is_passed_over_when_bad_records_are_skipped)
{
    for (const bool skips : {true, false}) {
        fake_slicer slicer;
        slicer.set_skip_bad_records(skips);
        init(slicer, {"A"}, {"file0", "file1", "file2"});
        answers("A", record(50, 50, 0));
        auto& channel = world.channels["A"];
        channel.start_statuses = {-5, 0, -5, 0};
        printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
        EXPECT_STREQ(slicer.get_not_found_channels(), skips ? "" : "A") << "at the start";
        if (skips) {
            records found;
            ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
            channel.answers = {{-3, nullptr}, {0, record(51, 51, 0)}};
            channel.start_statuses = {-5, -5};
            printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), -3); });
        }
        slicer.clean_up();
        world.channels.clear();
    }
    for (const bool skips : {true, false}) {
        fake_slicer slicer;
        slicer.set_skip_bad_records(skips);
        start(slicer, {"A"});
        auto& channel = world.channels["A"];
        channel.answers = {{-3, nullptr}, {0, record(51, 51, 0)}};
        channel.start_statuses = {-5, 0};
        records found;
        printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), skips ? 0 : -3); });
        slicer.clean_up();
        world.channels.clear();
    }
}

TEST_F(fake_readers, a_channel_whose_last_move_led_to_no_records_is_dropped)
{
    for (const int request : {current, first, last, next}) {
        fake_slicer slicer;
        slicer.set_skip_bad_records(true); // a wait for the last file, which by LAST is left twice, ends
        // By NEXT, the second file leads to itself over and over: its name is found in the first place.
        start(slicer, {"A", "B"}, {"file0", "file0", "file1"});
        auto& channel = world.channels["A"];
        channel.answers = {{-3, nullptr}};
        channel.number_of_records = 0;
        records found;
        slicer.set_debug(1);
        const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); });
        EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for A:3 \n")) << "request " << request;
        EXPECT_EQ(found.size(), 1U);
        EXPECT_EQ(slicer.start_channel(0, first), -1) << "dropped";
        channel.answers = {{-4, nullptr}}; // what a reader without records would go on to answer
        slicer.set_debug(0);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); }), "");
        slicer.clean_up();
        world.channels.clear();
    }
}

TEST_F(fake_readers, dropping_after_the_last_move_is_silent_without_debug)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    world.channels["A"].answers = {{-3, nullptr}};
    world.channels["A"].number_of_records = 0;
    records found;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0); }), "");
    EXPECT_EQ(found.size(), 1U);
}

TEST_F(fake_readers, no_memory_for_a_reader_fails_start)
{
    fake_slicer slicer;
    init(slicer, {"A", "B"}, {"file0"});
    answers("A", record(1, 1, 0));
    world.channels["B"].construction_throws = true;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, HasSubstr("CREATE_CHANNEL[1] failed\n"));
    slicer.set_debug(0);
    world.channels["B"].construction_throws = false;
    start(slicer, {"A", "B"}); // init cleans up
}

TEST_F(fake_readers, no_memory_for_a_reader_drops_the_channel_when_it_moves)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    world.channels["A"].answers = {{-3, nullptr}};
    world.channels["A"].construction_throws = true;
    answers("B", record(51, 51, 0));
    records found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->event_id.event_number, 51U);
    EXPECT_EQ(slicer.start_channel(0, first), -1) << "it has no reader any more";
    EXPECT_EQ(slicer.change_config(1, next, 1), 0) << "the other one can still move";
    world.channels["B"].construction_throws = true;
    EXPECT_EQ(slicer.change_config(1, current, 1), -6);
}

TEST_F(fake_readers, a_reader_that_runs_out_of_memory_cannot_be_started)
{
    fake_slicer slicer;
    init(slicer, {"A"}, {"file0"});
    world.channels["A"].start_throws = true;
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    EXPECT_EQ(text, "Start failed for read_chans[0] for A:3  erro: -6\n");
    EXPECT_STREQ(slicer.get_not_found_channels(), "A");
}

TEST_F(fake_readers, a_loader_that_throws_is_a_file_that_cannot_be_loaded)
{
    for (const bool skips : {true, false}) {
        fake_slicer slicer;
        slicer.set_skip_bad_records(skips);
        world.file_that_throws = "file0";
        init(slicer, {"A"}, {"file0", "file1"});
        answers("A", record(1, 1, 0));
        EXPECT_EQ(slicer.start(), skips ? 0 : -6);
        EXPECT_EQ(slicer.get_number_of_bad_files(), skips ? 1 : 0);
    }
}

} // namespace slicer_test
