// The slicer on channel readers that answer anything: every status, every rule of choosing an event.
#include "captured_stdout.h"
#include "fake_generation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace slicer_test
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using trox_test::printed_by;
using records = std::vector<trox_channel_entry_long*>;

constexpr int first = TROX_DAQ_READ_CHAN_EVENT_FIRST;
constexpr int previous = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int current = TROX_DAQ_READ_CHAN_EVENT_CUR;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int last = TROX_DAQ_READ_CHAN_EVENT_LAST;

class fake_readers : public testing::Test
{
protected:
    void SetUp() override
    {
        world = {};
    }

    /// A record that lives as long as the test.
    trox_channel_entry_long* record(std::uint32_t number, std::uint32_t seconds, std::uint32_t microseconds,
                                    int dtype = TROX_BLOCK_1CHAN_2010)
    {
        auto& block = *blocks_.emplace_back(std::make_unique<trox_serv_block_subhead_2010>());
        block.dtype = dtype;
        auto& made = *records_.emplace_back(std::make_unique<trox_channel_entry_long>());
        made.event_id = {number, {seconds, microseconds}};
        made.sbchdata[0].chhd = reinterpret_cast<std::uint64_t>(&block);
        return &made;
    }
    /// Makes a channel answer with an event, and hold it as its current one.
    void answers(const std::string& name, trox_channel_entry_long* answer)
    {
        world.channels[name].answers = {{0, answer}};
        world.channels[name].current = {0, answer};
    }
    /// Starts the slicer on channels that answer well; the first call, which is special, is done.
    void start(fake_slicer& slicer, const std::vector<std::string>& names,
               const std::vector<std::string>& files = {"file0", "file1", "file2"})
    {
        init(slicer, names, files);
        for (const auto& name : names) {
            answers(name, record(50, 50, 0));
        }
        ASSERT_EQ(slicer.start(), 0);
        records found;
        ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    }
    void init(fake_slicer& slicer, const std::vector<std::string>& names, const std::vector<std::string>& files)
    {
        std::vector<std::unique_ptr<trox_daq_chan_param_2010>> params;
        std::vector<trox_daq_chan_param_2010*> pointers;
        for (const auto& name : names) {
            auto& param = *params.emplace_back(std::make_unique<trox_daq_chan_param_2010>());
            name.copy(param.name, sizeof(param.name) - 1);
            param.subchan = 3;
            pointers.push_back(&param);
        }
        ASSERT_EQ(slicer.init(&files, &pointers, 0), 0);
    }
    /// The event that is chosen among these answers of channels A and B to a request relative to event 50.
    std::uint32_t chosen(int request, trox_channel_entry_long* a, trox_channel_entry_long* b)
    {
        fake_slicer slicer;
        start(slicer, {"A", "B"});
        answers("A", a);
        answers("B", b);
        records found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0);
        return found.empty() ? 0 : found.front()->event_id.event_number;
    }
    /// The same by time, relative to second 50, with a tolerance of 100 us; microseconds of the chosen event.
    std::string chosen_by_time(int request, trox_channel_entry_long* a, trox_channel_entry_long* b)
    {
        fake_slicer slicer;
        time_stamp diff{0, 100};
        slicer.set_time_diff(&diff);
        slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
        start(slicer, {"A", "B"});
        answers("A", a);
        answers("B", b);
        records found;
        slicer.set_debug(1);
        const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); });
        const std::string mark = "(output): ";
        const auto at = text.find(mark) + mark.size();
        return text.substr(at, text.find(' ', at) - at);
    }

private:
    std::vector<std::unique_ptr<trox_serv_block_subhead_2010>> blocks_;
    std::vector<std::unique_ptr<trox_channel_entry_long>> records_;
};

TEST_F(fake_readers, hard_errors_end_the_call_with_their_text)
{
    const std::vector<std::pair<int, std::string>> texts{
        {-7, "Channel[1] B  TROX_DAQ_READ_CHAN_INV_PARAM\n"},
        {-6, "Channel[1] B  TROX_DAQ_READ_CHAN_INTERN_ERROR\n"},
        {-5, "Channel[1] B  TROX_DAQ_READ_CHAN_NOT_FOUND\n"},
        {-4, "Channel[1] B TROX_DAQ_READ_CHAN_NOT_INIT\n"},
    };
    for (const auto& [status, expected] : texts) {
        fake_slicer slicer;
        start(slicer, {"A", "B", "C"});
        answers("A", record(51, 51, 0));
        world.channels["B"].answers = {{status, nullptr}};
        world.channels["C"].questions = 0;
        records found;
        int answer = 0;
        EXPECT_EQ(printed_by([&] { answer = slicer.get_data(nullptr, &found, next); }), expected);
        EXPECT_EQ(answer, -6);
        EXPECT_EQ(world.channels["C"].questions, 0) << "at once";
        answers("B", record(51, 51, 0));
        answers("C", record(51, 51, 0));
        ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0) << "the call may be repeated";
        EXPECT_EQ(found.size(), 3U);
    }
}

TEST_F(fake_readers, a_channel_that_is_not_ready_ends_the_call)
{
    fake_slicer slicer;
    start(slicer, {"A"});
    world.channels["A"].answers = {{-2, nullptr}};
    records found;
    int answer = 0;
    EXPECT_EQ(printed_by([&] { answer = slicer.get_data(nullptr, &found, next); }),
              "Channel[0] A TROX_DAQ_READ_CHAN_NOT_READY\n");
    EXPECT_EQ(answer, -2);
}

TEST_F(fake_readers, a_failed_first_call_is_repeated_as_a_first_call)
{
    fake_slicer slicer;
    init(slicer, {"A"}, {"file0"});
    answers("A", record(7, 7, 0));
    ASSERT_EQ(slicer.start(), 0);
    world.channels["A"].answers = {{-2, nullptr}, {0, record(7, 7, 0)}};
    records found;
    slicer.set_debug(1);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), -2); }),
                HasSubstr("Calling 0 with:0\n"));
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }),
                HasSubstr("Calling 0 with:0\n"));
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }),
                HasSubstr("Calling 0 with:1\n"));
}

TEST_F(fake_readers, no_data_and_positive_codes_pass_to_the_next_channel)
{
    fake_slicer slicer;
    start(slicer, {"A", "B", "C"});
    world.channels["A"].answers = {{-1, nullptr}};
    world.channels["B"].answers = {{4, nullptr}};
    answers("C", record(51, 51, 0));
    records found;
    int answer = 1;
    EXPECT_EQ(printed_by([&] { answer = slicer.get_data(nullptr, &found, next); }),
              "Channel[0] A  TROX_DAQ_READ_CHAN_NO_DATA\n");
    EXPECT_EQ(answer, 0);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->event_id.event_number, 51U);
}

TEST_F(fake_readers, an_answer_without_a_record_is_no_answer)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    answers("A", nullptr);
    answers("B", record(51, 51, 0));
    records found;
    slicer.set_debug(2);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }), HasSubstr("rs NULL\n"));
    EXPECT_EQ(found.size(), 1U);
}

TEST_F(fake_readers, an_event_that_a_channel_has_not_got_is_traced_with_the_loader)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    answers("A", record(51, 51, 1));
    answers("B", record(53, 53, 3));
    records found;
    slicer.set_debug(2);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); }),
                HasSubstr("EMPTY B 51:51_1  53:53_3  cfg_status:456789ab\n"));
}

TEST_F(fake_readers, the_first_answer_sets_the_candidate_whatever_it_is)
{
    EXPECT_EQ(chosen(next, record(20, 20, 0), record(20, 20, 0)), 20U) << "before the target";
    EXPECT_EQ(chosen(current, record(51, 51, 0), record(52, 52, 0)), 51U);
}

TEST_F(fake_readers, the_next_event_is_the_earliest_behind_the_target)
{
    EXPECT_EQ(chosen(next, record(53, 53, 0), record(52, 52, 0)), 52U);
    EXPECT_EQ(chosen(next, record(52, 52, 0), record(53, 53, 0)), 52U);
    EXPECT_EQ(chosen(next, record(53, 53, 0), record(50, 50, 0)), 53U) << "the target itself does not count";
    EXPECT_EQ(chosen(next, record(53, 53, 0), record(20, 20, 0)), 53U) << "nor what lies before it";
}

TEST_F(fake_readers, the_previous_event_is_the_latest_before_the_target)
{
    EXPECT_EQ(chosen(previous, record(47, 47, 0), record(48, 48, 0)), 48U);
    EXPECT_EQ(chosen(previous, record(48, 48, 0), record(47, 47, 0)), 48U);
    EXPECT_EQ(chosen(previous, record(47, 47, 0), record(50, 50, 0)), 47U);
    EXPECT_EQ(chosen(previous, record(47, 47, 0), record(70, 70, 0)), 47U);
}

TEST_F(fake_readers, the_first_event_is_the_earliest_before_the_target)
{
    EXPECT_EQ(chosen(first, record(48, 48, 0), record(47, 47, 0)), 47U);
    EXPECT_EQ(chosen(first, record(47, 47, 0), record(48, 48, 0)), 47U);
    EXPECT_EQ(chosen(first, record(60, 60, 0), record(55, 55, 0)), 60U);
}

TEST_F(fake_readers, the_last_event_is_the_earliest_behind_the_target)
{
    EXPECT_EQ(chosen(last, record(53, 53, 0), record(52, 52, 0)), 52U);
    EXPECT_EQ(chosen(last, record(52, 52, 0), record(53, 53, 0)), 52U);
    EXPECT_EQ(chosen(last, record(53, 53, 0), record(40, 40, 0)), 53U);
}

TEST_F(fake_readers, the_current_event_is_the_target)
{
    EXPECT_EQ(chosen(current, record(51, 51, 0), record(50, 50, 0)), 50U);
    EXPECT_EQ(chosen(current, record(50, 50, 0), record(51, 51, 0)), 50U);
}

TEST_F(fake_readers, by_time_an_exactly_earlier_record_wins_a_tie)
{
    EXPECT_EQ(chosen_by_time(next, record(7, 51, 80), record(8, 51, 20)), "0:51_20");
    EXPECT_EQ(chosen_by_time(next, record(7, 51, 20), record(8, 51, 80)), "0:51_20");
    EXPECT_EQ(chosen_by_time(next, record(7, 52, 10), record(8, 51, 999990)), "0:51_999990") << "over a second";
    EXPECT_EQ(chosen_by_time(last, record(7, 51, 80), record(8, 51, 20)), "0:51_20");
    EXPECT_EQ(chosen_by_time(previous, record(7, 49, 80), record(8, 49, 20)), "0:49_80") << "no tie rule backwards";
    EXPECT_EQ(chosen_by_time(first, record(7, 49, 80), record(8, 49, 20)), "0:49_80");
}

TEST_F(fake_readers, an_update_does_not_win_a_tie_for_the_last_event)
{
    EXPECT_EQ(chosen_by_time(last, record(7, 51, 80), record(8, 51, 20, TROX_UPD_BLOCK_2010)), "0:51_80");
    EXPECT_EQ(chosen_by_time(next, record(7, 51, 80), record(8, 51, 20, TROX_UPD_BLOCK_2010)), "0:51_20");
    EXPECT_EQ(chosen_by_time(last, record(7, 51, 900), record(8, 51, 20, TROX_UPD_BLOCK_2010)), "0:51_20")
        << "outside the tolerance it is simply earlier";
    auto* without_block = record(8, 51, 20);
    without_block->sbchdata[0].chhd = 0;
    EXPECT_EQ(chosen_by_time(last, record(7, 51, 80), without_block), "0:51_20");
}

TEST_F(fake_readers, channels_whose_file_cannot_hold_the_event_are_not_asked)
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
        fake_slicer slicer;
        start(slicer, {"A"});
        auto& channel = world.channels["A"];
        channel.first = {one.first_event, {one.first_event, 0}};
        channel.last = {one.last_event, {one.last_event, 0}};
        channel.questions = 0;
        records found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, one.request), 0);
        EXPECT_EQ(channel.questions, one.is_asked ? 1 : 0)
            << "request " << one.request << ", file " << one.first_event << " to " << one.last_event;
        channel = {};
    }
}

TEST_F(fake_readers, a_channel_out_of_window_moves_until_a_file_starts)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"}, {"file0", "file1", "file2", "file3"});
    auto& channel = world.channels["A"];
    channel.answers = {{-3, nullptr}, {0, record(51, 51, 0)}};
    channel.start_statuses = {-1, -3, 0};
    channel.constructed = 0;
    records found;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_EQ(channel.constructed, 3);
    EXPECT_THAT(text, HasSubstr("fentry after: 3\n"));
    EXPECT_THAT(text, HasSubstr("Start failed for read_chans[0] for A:3  erro: -1\n"));
}

TEST_F(fake_readers, a_channel_that_fails_in_its_new_file_is_dropped)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    world.channels["A"].answers = {{-3, nullptr}};
    world.channels["A"].start_statuses = {-5};
    answers("B", record(51, 51, 0));
    records found;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_THAT(text, HasSubstr("NO DATA  ANY MORE for A removing\n"));
    EXPECT_EQ(found.size(), 1U);
    EXPECT_EQ(slicer.start_channel(0, first), -1);
}

TEST_F(fake_readers, damage_in_a_new_file_is_passed_over_when_bad_records_are_skipped)
{
    for (const bool skips : {true, false}) {
        fake_slicer slicer;
        slicer.set_skip_bad_records(skips);
        start(slicer, {"A"});
        world.channels["A"].answers = {{-3, nullptr}, {0, record(51, 51, 0)}};
        world.channels["A"].start_statuses = {-6, 0};
        records found;
        printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), skips ? 0 : -3); });
        world.channels.clear();
    }
}

TEST_F(fake_readers, damage_in_the_first_file_is_passed_over_when_bad_records_are_skipped)
{
    for (const bool skips : {true, false}) {
        fake_slicer slicer;
        slicer.set_skip_bad_records(skips);
        init(slicer, {"A"}, {"file0", "file1"});
        answers("A", record(1, 1, 0));
        world.channels["A"].start_statuses = {-6, 0};
        printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
        EXPECT_STREQ(slicer.get_not_found_channels(), skips ? "" : "A");
    }
}

TEST_F(fake_readers, the_same_file_is_opened_anew_once)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    auto& channel = world.channels["A"];
    channel.answers = {{-3, nullptr}};
    channel.constructed = 0;
    records found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0);
    EXPECT_EQ(channel.constructed, 1);
    EXPECT_EQ(found.size(), 2U) << "it goes on with the next channel, and keeps this one";
}

TEST_F(fake_readers, moves_are_bounded_by_the_number_of_files)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"}, {"file0", "file0", "file1"}); // the second leads back to the first
    world.channels["A"].answers = {{-3, nullptr}};
    world.channels["A"].constructed = 0;
    records found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_EQ(world.channels["A"].constructed, 3);
}

TEST_F(fake_readers, refused_settings_fail_the_channel)
{
    fake_slicer slicer;
    init(slicer, {"A"}, {"file0"});
    slicer.set_debug(1);
    world.set_time_diff_status = -7;
    std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, HasSubstr("Failed to set time difference read_chans[0] for A:3\n"));
    EXPECT_THAT(text, HasSubstr("CREATE_CHANNEL[0] failed\n"));
    world.set_time_diff_status = 0;
    world.set_step_status = -7;
    init(slicer, {"A"}, {"file0"});
    text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, HasSubstr("Failed to set event step read_chans[0] for A:3\n"));
    slicer.set_debug(0);
    init(slicer, {"A"}, {"file0"});
    text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, Not(HasSubstr("CREATE_CHANNEL")));
}

TEST_F(fake_readers, a_channel_whose_first_event_is_missing_is_traced)
{
    fake_slicer slicer;
    init(slicer, {"A"}, {"file0"});
    world.channels["A"].current = {-1, nullptr};
    slicer.set_debug(-1);
    EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.start(), 0); }), HasSubstr("FIRST -> -1\n"));
}

TEST_F(fake_readers, the_first_current_event_is_the_earliest)
{
    const auto first_event = [&](trox_channel_entry_long* a, trox_channel_entry_long* b, int mode) {
        fake_slicer slicer;
        slicer.set_synch_mode(mode);
        init(slicer, {"A", "B"}, {"file0"});
        answers("A", a);
        answers("B", b);
        EXPECT_EQ(slicer.start(), 0);
        records found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0);
        return found.size() == 1 ? found[0]->event_id.event_number : 0;
    };
    EXPECT_EQ(first_event(record(5, 90, 0), record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_EVID), 4U) << "by number";
    EXPECT_EQ(first_event(record(5, 90, 0), record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_TIME), 5U) << "by time";
    EXPECT_EQ(first_event(record(5, 96, 0), record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_TIME), 4U);
    EXPECT_EQ(first_event(record(0, 96, 0), record(4, 95, 0), TROX_DAQ_SLICER_SYNCH_MODE_EVID), 4U)
        << "a first event without a number is compared by time";
}

TEST_F(fake_readers, long_calls_are_timed)
{
    fake_slicer slicer;
    start(slicer, {"A"});
    world.answer_takes = std::chrono::milliseconds(3);
    world.construction_takes = std::chrono::milliseconds(3);
    records found;
    slicer.set_debug(-1);
    std::string text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    EXPECT_THAT(text,
                testing::ContainsRegex("^get_data\\(\\) start [0-9.]+ msec\nget_data\\(\\) middle [0-9.]+ msec\n$"));
    text = printed_by([&] { slicer.change_config(0, next, 1); });
    EXPECT_THAT(text, testing::ContainsRegex("CREATE CHANNEl [0-9.]+ msec\n"));
    slicer.set_debug(1);
    text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    EXPECT_THAT(text, Not(HasSubstr("msec")));
    world.answer_takes = {};
    slicer.set_debug(-2);
    world.channels["A"].answers = {{-3, nullptr}, {0, record(60, 60, 0)}};
    EXPECT_THAT(printed_by([&] { slicer.get_data(nullptr, &found, next); }), HasSubstr("lop: "));
}

TEST_F(fake_readers, bad_records_of_present_and_past_readers_are_summed)
{
    fake_slicer slicer;
    start(slicer, {"A", "B"});
    world.channels["A"].bad_records = 3;
    world.channels["B"].bad_records = 4;
    EXPECT_EQ(slicer.get_number_of_bad_records(), 7);
    slicer.remove_channel(0);
    EXPECT_EQ(slicer.get_number_of_bad_records(), 7);
    slicer.change_config(1, next, 1); // a new reader of B, which has met four as well
    EXPECT_EQ(slicer.get_number_of_bad_records(), 11);
    slicer.clean_up();
    EXPECT_EQ(slicer.get_number_of_bad_records(), 11);
}

TEST_F(fake_readers, readers_are_cleaned_before_they_and_their_loader_go)
{
    fake_slicer slicer;
    start(slicer, {"A"}, {"file0"});
    world.log.clear();
    slicer.clean_up();
    EXPECT_THAT(world.log, ElementsAre("clean", "~loader file0"));
    EXPECT_TRUE(world.channels["A"].descriptions_cleaned);
}

TEST_F(fake_readers, no_memory_is_allocated_per_event)
{
    fake_slicer slicer;
    start(slicer, {"A", "B", "C"});
    records found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    const auto* const buffer = found.data();
    const auto capacity = found.capacity();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
        ASSERT_EQ(found.size(), 3U);
    }
    EXPECT_EQ(found.data(), buffer);
    EXPECT_EQ(found.capacity(), capacity);
}

} // namespace slicer_test
