// The slicer on channel readers that answer anything: every status, every rule of choosing an event.
#include "fake_readers.h"

namespace slicer_test
{

TYPED_TEST(fake_readers, hard_errors_end_the_call_with_their_text)
{
    const std::vector<std::pair<int, std::string>> texts{
        {-7, "Channel[1] B  TROX_DAQ_READ_CHAN_INV_PARAM\n"},
        {-6, "Channel[1] B  TROX_DAQ_READ_CHAN_INTERN_ERROR\n"},
        {-5, "Channel[1] B  TROX_DAQ_READ_CHAN_NOT_FOUND\n"},
        {-4, "Channel[1] B TROX_DAQ_READ_CHAN_NOT_INIT\n"},
    };
    for (const auto& [status, expected] : texts) {
        fake_slicer_of<TypeParam> slicer;
        this->start(slicer, {"A", "B", "C"});
        this->answers("A", this->record(51, 51, 0));
        this->world.channels["B"].answers = {{status, nullptr}};
        this->world.channels["C"].questions = 0;
        records_of<TypeParam> found;
        int answer = 0;
        EXPECT_EQ(printed_by([&] { answer = slicer.get_data(nullptr, &found, next); }), expected);
        EXPECT_EQ(answer, -6);
        EXPECT_EQ(this->world.channels["C"].questions, 0) << "at once";
        this->answers("B", this->record(51, 51, 0));
        this->answers("C", this->record(51, 51, 0));
        ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0) << "the call may be repeated";
        EXPECT_EQ(found.size(), 3U);
    }
}

TYPED_TEST(fake_readers, a_channel_that_is_not_ready_ends_the_call)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    this->world.channels["A"].answers = {{-2, nullptr}};
    records_of<TypeParam> found;
    int answer = 0;
    EXPECT_EQ(printed_by([&] { answer = slicer.get_data(nullptr, &found, next); }),
              "Channel[0] A TROX_DAQ_READ_CHAN_NOT_READY\n");
    EXPECT_EQ(answer, -2);
}

TYPED_TEST(fake_readers, a_failed_first_call_is_repeated_as_a_first_call)
{
    fake_slicer_of<TypeParam> slicer;
    this->init(slicer, {"A"}, {"file0"});
    this->answers("A", this->record(7, 7, 0));
    ASSERT_EQ(slicer.start(), 0);
    this->world.channels["A"].answers = {{-2, nullptr}, {0, this->record(7, 7, 0)}};
    records_of<TypeParam> found;
    slicer.set_debug(1);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), -2); }),
                HasSubstr("Calling 0 with:0\n"));
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }),
                HasSubstr("Calling 0 with:0\n"));
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }),
                HasSubstr("Calling 0 with:1\n"));
}

TYPED_TEST(fake_readers, no_data_and_positive_codes_pass_to_the_next_channel)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B", "C"});
    this->world.channels["A"].answers = {{-1, nullptr}};
    this->world.channels["B"].answers = {{4, nullptr}};
    this->answers("C", this->record(51, 51, 0));
    records_of<TypeParam> found;
    int answer = 1;
    EXPECT_EQ(printed_by([&] { answer = slicer.get_data(nullptr, &found, next); }),
              "Channel[0] A  TROX_DAQ_READ_CHAN_NO_DATA\n");
    EXPECT_EQ(answer, 0);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->event_id.event_number, 51U);
}

TYPED_TEST(fake_readers, an_answer_without_a_record_is_no_answer)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    this->answers("A", nullptr);
    this->answers("B", this->record(51, 51, 0));
    records_of<TypeParam> found;
    slicer.set_debug(2);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }), HasSubstr("rs NULL\n"));
    EXPECT_EQ(found.size(), 1U);
}

TYPED_TEST(fake_readers, an_event_that_a_channel_has_not_got_is_traced_with_the_loader)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    this->answers("A", this->record(51, 51, 1));
    this->answers("B", this->record(53, 53, 3));
    records_of<TypeParam> found;
    slicer.set_debug(2);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }),
                HasSubstr("EMPTY B 51:51_1  53:53_3  cfg_status:456789ab\n"));
}

TYPED_TEST(fake_readers, the_first_answer_sets_the_candidate_whatever_it_is)
{
    EXPECT_EQ(this->chosen(next, this->record(20, 20, 0), this->record(20, 20, 0)), 20U) << "before the target";
    EXPECT_EQ(this->chosen(current, this->record(51, 51, 0), this->record(52, 52, 0)), 51U);
}

TYPED_TEST(fake_readers, the_channel_that_sets_the_candidate_is_traced_and_those_that_replace_it_are_not)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B", "C"});
    this->world.channels["A"].answers = {{-1, nullptr}};
    this->answers("B", this->record(53, 53, 0));
    this->answers("C", this->record(52, 52, 0));
    records_of<TypeParam> found;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_THAT(text, HasSubstr("Copying temp evid: 53 (from:1)\n"));
    EXPECT_EQ(text.find("Copying"), text.rfind("Copying"));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->event_id.event_number, 52U);
}

TYPED_TEST(fake_readers, the_next_event_is_the_earliest_behind_the_target)
{
    EXPECT_EQ(this->chosen(next, this->record(53, 53, 0), this->record(52, 52, 0)), 52U);
    EXPECT_EQ(this->chosen(next, this->record(52, 52, 0), this->record(53, 53, 0)), 52U);
    EXPECT_EQ(this->chosen(next, this->record(53, 53, 0), this->record(50, 50, 0)), 53U)
        << "the target itself does not count";
    EXPECT_EQ(this->chosen(next, this->record(53, 53, 0), this->record(20, 20, 0)), 53U) << "nor what lies before it";
}

TYPED_TEST(fake_readers, the_previous_event_is_the_latest_before_the_target)
{
    EXPECT_EQ(this->chosen(previous, this->record(47, 47, 0), this->record(48, 48, 0)), 48U);
    EXPECT_EQ(this->chosen(previous, this->record(48, 48, 0), this->record(47, 47, 0)), 48U);
    EXPECT_EQ(this->chosen(previous, this->record(47, 47, 0), this->record(50, 50, 0)), 47U);
    EXPECT_EQ(this->chosen(previous, this->record(47, 47, 0), this->record(70, 70, 0)), 47U);
}

TYPED_TEST(fake_readers, the_first_event_is_the_earliest_before_the_target)
{
    EXPECT_EQ(this->chosen(first, this->record(48, 48, 0), this->record(47, 47, 0)), 47U);
    EXPECT_EQ(this->chosen(first, this->record(47, 47, 0), this->record(48, 48, 0)), 47U);
    EXPECT_EQ(this->chosen(first, this->record(60, 60, 0), this->record(55, 55, 0)), 60U);
}

TYPED_TEST(fake_readers, the_last_event_is_the_earliest_behind_the_target)
{
    EXPECT_EQ(this->chosen(last, this->record(53, 53, 0), this->record(52, 52, 0)), 52U);
    EXPECT_EQ(this->chosen(last, this->record(52, 52, 0), this->record(53, 53, 0)), 52U);
    EXPECT_EQ(this->chosen(last, this->record(53, 53, 0), this->record(40, 40, 0)), 53U);
}

TYPED_TEST(fake_readers, the_current_event_is_the_target)
{
    EXPECT_EQ(this->chosen(current, this->record(51, 51, 0), this->record(50, 50, 0)), 50U);
    EXPECT_EQ(this->chosen(current, this->record(50, 50, 0), this->record(51, 51, 0)), 50U);
}

TYPED_TEST(fake_readers, by_time_an_exactly_earlier_record_wins_a_tie)
{
    EXPECT_EQ(this->chosen_by_time(next, this->record(7, 51, 80), this->record(8, 51, 20)), "0:51_20");
    EXPECT_EQ(this->chosen_by_time(next, this->record(7, 51, 20), this->record(8, 51, 80)), "0:51_20");
    EXPECT_EQ(this->chosen_by_time(next, this->record(7, 52, 10), this->record(8, 51, 999990)), "0:51_999990")
        << "over a second";
    EXPECT_EQ(this->chosen_by_time(last, this->record(7, 51, 80), this->record(8, 51, 20)), "0:51_20");
    EXPECT_EQ(this->chosen_by_time(previous, this->record(7, 49, 80), this->record(8, 49, 20)), "0:49_80")
        << "no tie rule backwards";
    EXPECT_EQ(this->chosen_by_time(first, this->record(7, 49, 80), this->record(8, 49, 20)), "0:49_80");
}

TYPED_TEST(fake_readers, an_update_does_not_win_a_tie_for_the_last_event)
{
    EXPECT_EQ(this->chosen_by_time(last, this->record(7, 51, 80), this->record(8, 51, 20, TypeParam::update_type)),
              "0:51_80");
    EXPECT_EQ(this->chosen_by_time(next, this->record(7, 51, 80), this->record(8, 51, 20, TypeParam::update_type)),
              "0:51_20");
    EXPECT_EQ(this->chosen_by_time(last, this->record(7, 51, 900), this->record(8, 51, 20, TypeParam::update_type)),
              "0:51_20")
        << "outside the tolerance it is simply earlier";
    auto* without_block = this->record(8, 51, 20);
    without_block->sbchdata[0].chhd = 0;
    EXPECT_EQ(this->chosen_by_time(last, this->record(7, 51, 80), without_block), "0:51_20");
}

TYPED_TEST(fake_readers, channels_whose_file_cannot_hold_the_event_are_not_asked)
{
    struct range {
        int request;
        std::uint32_t first_event;
        std::uint32_t last_event;
        bool is_asked;
    };
    const std::vector<range> ranges{
        {current, 51, 60, false},  {current, 40, 49, false}, {current, 50, 50, true},  {next, 51, 60, true},
        {next, 40, 49, false},     {next, 40, 50, true},     {last, 51, 60, true},     {last, 40, 49, false},
        {previous, 51, 60, false}, {previous, 40, 49, true}, {previous, 50, 60, true}, {first, 51, 60, false},
        {first, 40, 49, true},
    };
    for (const auto& one : ranges) {
        fake_slicer_of<TypeParam> slicer;
        this->start(slicer, {"A"});
        auto& channel = this->world.channels["A"];
        channel.first = {one.first_event, {one.first_event, 0}};
        channel.last = {one.last_event, {one.last_event, 0}};
        channel.questions = 0;
        records_of<TypeParam> found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, one.request), 0);
        EXPECT_EQ(channel.questions, one.is_asked ? 1 : 0)
            << "request " << one.request << ", file " << one.first_event << " to " << one.last_event;
        channel = {};
    }
}

} // namespace slicer_test
