// Events of the slicer: what get_data chooses, and which records it hands back.
#include "slicer_files.h"

namespace slicer_test
{

template <class T> class slicer_events : public slicer_files<T>
{
protected:
    static void by_time(slicer_of<T>& slicer, std::uint32_t tolerance_us, std::uint32_t step_us = 100000)
    {
        time_stamp diff{0, tolerance_us};
        time_id_of<T> step{1, {0, step_us}};
        slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
        slicer.set_time_diff(&diff);
        slicer.set_event_step(&step);
    }
    /// Labels of all events from the current one on.
    static std::vector<std::vector<std::string>> all_events(slicer_of<T>& slicer, int request)
    {
        std::vector<std::vector<std::string>> all;
        records_of<T> found;
        while (all.size() < 1000 && slicer.get_data(nullptr, &found, request) == 0) {
            all.push_back(slicer_events::labels(found));
        }
        EXPECT_THAT(found, IsEmpty());
        return all;
    }
};

TYPED_TEST_SUITE(slicer_events, slicer_generations, slicer_generation_names);

using testing::SizeIs;
using event_labels = std::vector<std::string>;

TYPED_TEST(slicer_events, unknown_requests_and_a_null_result_are_invalid)
{
    this->add_file("0", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, 3), -7);
    EXPECT_EQ(slicer.get_data(nullptr, &found, -3), -7);
    EXPECT_EQ(slicer.get_data(nullptr, nullptr, next), -7);
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1")) << "refused calls are not the first";
}

TYPED_TEST(slicer_events, the_first_call_delivers_the_earliest_first_event_whatever_is_asked)
{
    this->add_file("0", {{"A", events(5, 9)}, {"B", events(3, 9)}, {"C", events(3, 9, 2)}});
    for (const int request : {first, previous, current, next, last}) {
        slicer_of<TypeParam> slicer;
        this->start(slicer, {"A", "B", "C"});
        records_of<TypeParam> found;
        ASSERT_EQ(slicer.get_data(nullptr, &found, request), 0);
        EXPECT_THAT(this->labels(found), ElementsAre("B@3", "C@3")) << "request " << request;
    }
}

TYPED_TEST(slicer_events, only_the_first_call_ever_is_special)
{
    this->add_file("0", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    EXPECT_THAT(this->all_events(slicer, next), SizeIs(3));
    this->start(slicer, {"A"}); // clean_up does not make the next call a first one
    EXPECT_THAT(this->all_events(slicer, next), ElementsAre(event_labels{"A@2"}, event_labels{"A@3"}));
}

TYPED_TEST(slicer_events, channels_of_different_rates_are_merged)
{
    this->add_file("0", {{"FAST", events(1, 25)}, {"SLOW", events(10, 25, 10)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"FAST", "SLOW"});
    const auto all = this->all_events(slicer, next);
    ASSERT_THAT(all, SizeIs(25));
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        event_labels expected{"FAST@" + number};
        if ((i + 1) % 10 == 0) {
            expected.push_back("SLOW@" + number);
        }
        EXPECT_EQ(all[i], expected);
    }
}

TYPED_TEST(slicer_events, events_that_only_a_slower_channel_has_are_delivered)
{
    this->add_file("0", {{"A", events(1, 9, 4)}, {"B", events(2, 9, 3)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    EXPECT_THAT(this->all_events(slicer, next),
                ElementsAre(event_labels{"A@1"}, event_labels{"B@2"}, event_labels{"A@5", "B@5"}, event_labels{"B@8"},
                            event_labels{"A@9"}));
}

TYPED_TEST(slicer_events, channels_go_on_from_file_to_file_each_at_its_own_time)
{
    this->add_file("0", {{"A", events(1, 4)}, {"B", events(1, 2)}});
    this->add_file("1", {{"A", events(5, 6)}, {"B", events(3, 6)}}); // B is ahead of A by two events
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    EXPECT_THAT(this->all_events(slicer, next),
                ElementsAre(event_labels{"A@1", "B@1"}, event_labels{"A@2", "B@2"}, event_labels{"A@3", "B@3"},
                            event_labels{"A@4", "B@4"}, event_labels{"A@5", "B@5"}, event_labels{"A@6", "B@6"}));
}

TYPED_TEST(slicer_events, a_channel_that_ends_early_is_dropped_and_the_others_go_on)
{
    this->add_file("0", {{"A", events(1, 4)}, {"B", events(1, 2)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    slicer.set_debug(1);
    std::vector<event_labels> all;
    const std::string text = printed_by([&] { all = this->all_events(slicer, next); });
    EXPECT_THAT(all, ElementsAre(event_labels{"A@1", "B@1"}, event_labels{"A@2", "B@2"}, event_labels{"A@3"},
                                 event_labels{"A@4"}));
    EXPECT_THAT(text, HasSubstr("NO FILES can be found [1] we'll lose the channel[1] B\n"));
    EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for B:-1 \n"));
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), -3) << "no channel is left";
    EXPECT_EQ(slicer.get_data(nullptr, &found, previous), -3);
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
}

TYPED_TEST(slicer_events, events_are_stepped_through_backwards_over_files)
{
    // B's records keep every file loaded, so that A can go back.
    this->add_file("0", {{"A", events(1, 3)}, {"B", events(1, 3)}});
    this->add_file("1", {{"A", events(4, 6)}, {"B", events(4, 6)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    ASSERT_EQ(slicer.start_channel(0, last), 0);
    records_of<TypeParam> found;
    const time_id_of<TypeParam> six{6, time_of(6)};
    ASSERT_EQ(slicer.get_data(&six, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@6"));
    std::vector<event_labels> all;
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(slicer.get_data(nullptr, &found, previous), 0);
        all.push_back(this->labels(found));
    }
    EXPECT_THAT(all, ElementsAre(event_labels{"A@5"}, event_labels{"A@4"}, event_labels{"A@3", "B@3"},
                                 event_labels{"A@2", "B@2"}, event_labels{"A@1", "B@1"}));
    EXPECT_EQ(slicer.get_data(nullptr, &found, previous), -3) << "there is no file before";
}

TYPED_TEST(slicer_events, a_target_is_what_the_request_is_relative_to)
{
    this->add_file("0", {{"A", events(2, 20, 2)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    const auto ask = [&](std::uint64_t number, int request) {
        const time_id_of<TypeParam> target{static_cast<typename TypeParam::event_number>(number), time_of(number)};
        EXPECT_EQ(slicer.get_data(&target, &found, request), 0);
        return this->labels(found);
    };
    EXPECT_THAT(ask(10, current), ElementsAre("A@10"));
    EXPECT_THAT(ask(10, next), ElementsAre("A@12"));
    EXPECT_THAT(ask(13, next), ElementsAre("A@14"));
    EXPECT_THAT(ask(11, previous), ElementsAre("A@10"));
    EXPECT_THAT(ask(7, previous), ElementsAre("A@6"));
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@8")) << "relative to the event chosen last";
    EXPECT_THAT(ask(12, last), ElementsAre("A@12")) << "first and last look for the target itself";
    EXPECT_THAT(ask(14, first), ElementsAre("A@14"));
}

TYPED_TEST(slicer_events, a_number_that_is_not_there_prints_and_keeps_the_channel)
{
    this->add_file("0", {{"A", events(2, 20, 2)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    const time_id_of<TypeParam> eleven{11, time_of(11)};
    int status = 1;
    EXPECT_EQ(printed_by([&] { status = slicer.get_data(&eleven, &found, current); }),
              "Channel[0] A  TROX_DAQ_READ_CHAN_NO_DATA\n");
    EXPECT_EQ(status, 0);
    EXPECT_THAT(found, IsEmpty());
    const time_id_of<TypeParam> twelve{12, time_of(12)};
    EXPECT_EQ(slicer.get_data(&twelve, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@12"));
}

TYPED_TEST(slicer_events, without_any_answer_the_current_event_becomes_zero)
{
    this->add_file("0", {{"A", events(2, 20)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    const time_id_of<TypeParam> far{100, time_of(100)};
    EXPECT_EQ(slicer.get_data(&far, &found, next), 0) << "the channel is there, its file ends before";
    EXPECT_THAT(found, IsEmpty());
    int status = 1;
    EXPECT_EQ(printed_by([&] { status = slicer.get_data(nullptr, &found, next); }),
              "Channel[0] A  TROX_DAQ_READ_CHAN_INV_PARAM\n");
    EXPECT_EQ(status, -6) << "there is nothing to be relative to";
    const time_id_of<TypeParam> two{2, time_of(2)};
    EXPECT_EQ(slicer.get_data(&two, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@2"));
}

TYPED_TEST(slicer_events, a_channel_that_is_not_started_is_a_hard_error)
{
    this->add_file("0", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    ASSERT_EQ(slicer.create_channel(0, slicer.find_ready_table(this->files[0].c_str())), 0);
    const time_id_of<TypeParam> without_time{2, {0, 0}};
    int status = 0;
    EXPECT_THAT(printed_by([&] { status = slicer.get_data(&without_time, &found, next); }),
                testing::EndsWith("Channel[0] A TROX_DAQ_READ_CHAN_NOT_INIT\n"));
    EXPECT_EQ(status, -6);
    ASSERT_EQ(slicer.start_channel(0, next), 0);
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@2")) << "the current event was left as it was";
}

TYPED_TEST(slicer_events, events_without_numbers_are_merged_by_time)
{
    std::vector<sample> later;
    for (const sample& one : events(1, 4)) {
        later.push_back({one.number + 70, one.time + time_stamp{0, 30000}}); // numbers do not agree
    }
    this->add_file("0", {{"A", events(1, 4)}, {"B", later}});
    slicer_of<TypeParam> slicer;
    this->by_time(slicer, 50000);
    this->start(slicer, {"A", "B"});
    EXPECT_THAT(this->all_events(slicer, next), ElementsAre(event_labels{"A@1", "B@71"}, event_labels{"A@2", "B@72"},
                                                            event_labels{"A@3", "B@73"}, event_labels{"A@4", "B@74"}));
}

TYPED_TEST(slicer_events, times_further_apart_than_the_tolerance_are_different_events)
{
    std::vector<sample> later;
    for (const sample& one : events(1, 3)) {
        later.push_back({one.number, one.time + time_stamp{0, 30000}});
    }
    this->add_file("0", {{"A", events(1, 3)}, {"B", later}});
    slicer_of<TypeParam> slicer;
    this->by_time(slicer, 20000, 30000);
    if constexpr (requires { slicer.set_by_time_fix(false); }) {
        slicer.set_by_time_fix(false);
    }
    this->start(slicer, {"A", "B"});
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1"));
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("B@1")) << "same number, 30 ms later";
}

TYPED_TEST(slicer_events, among_equal_times_the_exactly_earlier_becomes_the_current_event)
{
    std::vector<sample> earlier;
    for (const sample& one : events(1, 3)) {
        earlier.push_back({one.number, time_of(one.number - 1, 70000)}); // 30 ms before
    }
    this->add_file("0", {{"A", events(1, 3)}, {"B", earlier}});
    for (const bool b_first : {false, true}) {
        slicer_of<TypeParam> slicer;
        this->by_time(slicer, 50000);
        this->start(slicer, b_first ? channel_list<TypeParam>{"B", "A"} : channel_list<TypeParam>{"A", "B"});
        records_of<TypeParam> found;
        ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
        slicer.set_debug(1);
        const std::string text = printed_by([&] { ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0); });
        EXPECT_THAT(found, SizeIs(2));
        const time_stamp expected = time_of(1, 70000);
        EXPECT_THAT(text, HasSubstr("current_event_id.event_number (output): 0:" + std::to_string(expected.timeup) +
                                    "_" + std::to_string(expected.timelow) + " res.size():2\n"));
    }
}

TYPED_TEST(slicer_events, update_records_take_part_by_number)
{
    std::vector<sample> updates{{2, time_of(2, 7000), kind::update}, {4, time_of(4, 9000), kind::update}};
    this->add_file("0", {{"A", events(1, 4)}, {"U", updates}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "U"});
    records_of<TypeParam> found;
    std::vector<std::size_t> sizes;
    while (slicer.get_data(nullptr, &found, next) == 0) {
        sizes.push_back(found.size());
    }
    EXPECT_THAT(sizes, ElementsAre(1, 2, 1, 2));
}

TYPED_TEST(slicer_events, records_are_those_of_the_event)
{
    this->add_file("0", {{"A", events(1, 50)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    std::uint64_t number = 0;
    while (slicer.get_data(nullptr, &found, next) == 0) {
        ASSERT_THAT(found, SizeIs(1));
        ++number;
        EXPECT_EQ(found[0]->event_id.event_number, number);
        EXPECT_EQ(found[0]->event_id.time.timelow, time_of(number).timelow);
        EXPECT_EQ(this->value_in(*found[0]), value_of(number));
    }
    EXPECT_EQ(number, 50U);
}

TYPED_TEST(slicer_events, progress_is_traced)
{
    this->add_file("0", {{"A", events(1, 4)}, {"B", events(1, 4, 2)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    records_of<TypeParam> found;
    const std::string one = event_text(1, time_of(1));
    slicer.set_debug(3);
    std::string text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    const std::string end = TypeParam::end_pass;
    EXPECT_EQ(text, TypeParam::input(1, time_of(1), TROX_DAQ_SLICER_SYNCH_MODE_EVID) +
                        "Calling 0 with:0\n"
                        "Calling get_chan_data() get_data()\n"
                        "Got from get_chan_data() get_data() " +
                        one +
                        " (have already 0:0_0)\n"
                        "Copying temp evid: 1 (from:0)\n"
                        "Calling 1 with:0\n"
                        "Calling get_chan_data() get_data()\n"
                        "Got from get_chan_data() get_data() " +
                        one + " (have already " + one +
                        ")\n"
                        "Diff: 0\n"
                        "CURRENT 0\n" +
                        end + TypeParam::found + end + TypeParam::found +
                        "current_event_id.event_number (output): " + one + " res.size():2\n");
    slicer.set_debug(2);
    text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    EXPECT_THAT(text, HasSubstr("Diff: -1\n"));
    EXPECT_THAT(text,
                HasSubstr("EMPTY B " + event_text(2, time_of(2)) + "  " + event_text(3, time_of(3)) + "  cfg_status:"));
    EXPECT_THAT(text, Not(HasSubstr("found: ")));
    slicer.set_debug(-2);
    text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    EXPECT_THAT(text, testing::ContainsRegex("^Channel 0 [0-9]+\nChannel 1 [0-9]+\nNEXT -1 0\n"));
    slicer.set_debug(0);
    EXPECT_EQ(printed_by([&] { slicer.get_data(nullptr, &found, next); }), "");
}

TYPED_TEST(slicer_events, every_comparison_of_the_second_pass_is_traced_in_the_legacy_generation)
{
    this->add_file("0", {{"A", events(1, 4)}, {"B", events(1, 4, 2)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    slicer.set_debug(3);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    const std::string end = TypeParam::end_pass;
    EXPECT_THAT(text, HasSubstr(end + TypeParam::found + end + TypeParam::not_found + "EMPTY B "));
}

TYPED_TEST(slicer_events, the_start_is_traced)
{
    this->add_file("0", {{"A", events(1, 4)}});
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"A"};
    const auto start_at_level = [&](int level) {
        EXPECT_EQ(init(slicer, this->files, channels), 0);
        slicer.set_debug(level);
        const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
        slicer.set_debug(0);
        return text;
    };
    EXPECT_THAT(start_at_level(2), HasSubstr("Calling get_chan_data() start\n"));
    const std::string limits = start_at_level(-1);
    EXPECT_THAT(limits, HasSubstr("FIRST OK\n"));
    EXPECT_THAT(limits, HasSubstr("A First: "));
    EXPECT_THAT(limits, HasSubstr("A Last : "));
    EXPECT_THAT(start_at_level(-2), Not(HasSubstr("FIRST OK")));
}

} // namespace slicer_test
