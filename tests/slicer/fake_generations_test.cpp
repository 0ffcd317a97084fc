// What the slicers of the generations differ in, on channel readers that answer anything.
#include "fake_readers.h"

#include <utility>

namespace slicer_test
{

using trox_test::event_text;
using trox_test::slicer_2024;
using trox_test::slicer_legacy;
using fake_readers_with_long_numbers = fake_readers<slicer_2024>;

// --- the tie for the last event by time -----------------------------------------------------------------

TYPED_TEST(fake_readers, only_the_update_type_of_its_own_generation_loses_a_tie)
{
    for (const int dtype : {1, 4, 5, 33, 36, 37}) {
        const bool loses = dtype == TypeParam::update_type;
        EXPECT_EQ(this->chosen_by_time(last, this->record(7, 51, 80), this->record(8, 51, 20, dtype)),
                  loses ? "0:51_80" : "0:51_20")
            << "block type " << dtype;
    }
}

// --- channels out of window -----------------------------------------------------------------------------

TEST_F(legacy_fake_readers, a_channel_that_cannot_be_moved_is_not_moved_again)
{
    fake_slicer_of<slicer_legacy> slicer;
    start(slicer, {"A"}, {"file0"});
    world.channels["A"].answers = {{-3, nullptr}};
    world.channels["A"].constructed = 0;
    records_of<slicer_legacy> found;
    slicer.set_debug(1);
    int status = 0;
    const std::string text = printed_by([&] { status = slicer.get_data(nullptr, &found, next); });
    EXPECT_EQ(status, -3) << "no channel is left";
    EXPECT_EQ(world.channels["A"].constructed, 0);
    const std::string moved = "Channel A switching to the next file file0\n"
                              "Channel A switching to the next file fentry before: 0\n"
                              "Channel[0] switching to the next file fentry after: 1\n"
                              "NO FILES can be found [1] we'll lose the channel[0] A\n";
    const auto at = text.find(moved);
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_EQ(text.find("Channel A switching", at + moved.size()), std::string::npos) << "one move";
    EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for A:3 \n"));
    EXPECT_THAT(text, Not(HasSubstr("Changing configuration")));
}

TEST_F(legacy_fake_readers, a_channel_that_does_not_start_moves_on)
{
    fake_slicer_of<slicer_legacy> slicer;
    start(slicer, {"A", "B"}, {"file0", "file1", "file2"});
    auto& channel = world.channels["A"];
    channel.answers = {{-3, nullptr}, {0, record(51, 51, 0)}};
    channel.start_statuses = {-3, 0};
    channel.constructed = 0;
    records_of<slicer_legacy> found;
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_EQ(channel.constructed, 2);
    EXPECT_THAT(text, HasSubstr("Channel A switching to the next file fentry before: 0\n"));
    EXPECT_THAT(text, HasSubstr("Channel A switching to the next file fentry before: 1\n"));
    EXPECT_THAT(text, Not(HasSubstr("NO CONGIGS")));
}

// --- timing traces --------------------------------------------------------------------------------------

TYPED_TEST(fake_readers_since_2010, long_calls_are_timed)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    this->world.answer_takes = std::chrono::milliseconds(3);
    this->world.construction_takes = std::chrono::milliseconds(3);
    records_of<TypeParam> found;
    slicer.set_debug(-1);
    std::string text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    EXPECT_THAT(text, testing::ContainsRegex(std::string("^") + TypeParam::start_of_pass_timing +
                                             "get_data\\(\\) middle [0-9.]+ msec\n$"));
    text = printed_by([&] { slicer.change_config(0, next, 1); });
    EXPECT_THAT(text, testing::ContainsRegex("CREATE CHANNEl [0-9.]+ msec\n"));
    EXPECT_THAT(printed_by([&] { slicer.start_channel(0, next); }),
                testing::ContainsRegex("^slicer_2010->start\\(\\) for channel took: [0-9.]+ msec\n$"));
    slicer.set_debug(1);
    text = printed_by([&] { slicer.get_data(nullptr, &found, next); });
    EXPECT_THAT(text, Not(HasSubstr("msec")));
}

TYPED_TEST(fake_readers_since_2010, short_calls_are_not_timed)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    slicer.set_debug(-1);
    std::string all;
    for (int i = 0; i < 20 && all != "quiet"; ++i) { // unless the machine is busy just then
        all = printed_by([&] { slicer.get_data(nullptr, &found, next); });
        all = all.empty() ? "quiet" : all;
    }
    EXPECT_EQ(all, "quiet");
}

TEST_F(fake_readers_with_long_numbers, the_start_of_a_pass_is_timed_for_each_channel)
{
    fake_slicer_of<slicer_2024> slicer;
    start(slicer, {"A", "B"});
    world.answer_takes = std::chrono::milliseconds(3);
    records_of<slicer_2024> found;
    slicer.set_debug(-1);
    EXPECT_THAT(printed_by([&] { slicer.get_data(nullptr, &found, next); }),
                testing::ContainsRegex("^get_data\\(\\) start [0-9.]+ msec for \\[0\\]\n"
                                       "get_data\\(\\) start [0-9.]+ msec for \\[1\\]\n"
                                       "get_data\\(\\) middle [0-9.]+ msec\n$"));
}

TEST_F(legacy_fake_readers, long_calls_are_not_timed)
{
    fake_slicer_of<slicer_legacy> slicer;
    start(slicer, {"A"});
    world.answer_takes = std::chrono::milliseconds(3);
    world.construction_takes = std::chrono::milliseconds(3);
    records_of<slicer_legacy> found;
    slicer.set_debug(-1);
    EXPECT_EQ(printed_by([&] {
                  EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
                  EXPECT_EQ(slicer.change_config(0, next, 1), 0);
                  EXPECT_EQ(slicer.start_channel(0, next), 0);
              }),
              "");
}

TYPED_TEST(fake_readers, moves_are_traced_step_by_step)
{
    fake_slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    slicer.set_debug(-2);
    this->world.channels["A"].answers = {{-3, nullptr}, {0, this->record(60, 60, 0)}};
    records_of<TypeParam> found;
    EXPECT_THAT(printed_by([&] { slicer.get_data(nullptr, &found, next); }), HasSubstr("lop: "));
}

// --- life-cycle traces ----------------------------------------------------------------------------------

TYPED_TEST(fake_readers, failures_at_the_start_are_traced_by_those_that_trace_their_life)
{
    fake_slicer_of<TypeParam> slicer;
    this->init(slicer, {"A", "B"}, {"file0"});
    this->answers("A", this->record(1, 1, 0));
    this->world.channels["A"].start_statuses = {-1};
    this->world.set_step_status = 0;
    this->world.channels["B"].construction_throws = true;
    slicer.set_debug(-3); // any level but 0
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), -6); });
    EXPECT_THAT(text, HasSubstr("ERROR with channel (no cfgs) A:3\n"));
    EXPECT_EQ(text.find("Calling clean_descr()\n") != std::string::npos, TypeParam::has_life_cycle_traces);
    EXPECT_EQ(text.find("CREATE_CHANNEL[1] failed\n") != std::string::npos, TypeParam::has_life_cycle_traces);
}

// --- event numbers of 64 bits ---------------------------------------------------------------------------

TEST_F(fake_readers_with_long_numbers, numbers_are_carried_to_the_readers_and_back)
{
    constexpr std::uint64_t beyond = 4294967296;
    fake_slicer_of<slicer_2024> slicer;
    trox_time_id_2024 step{beyond + 2, {0, 100000}};
    ASSERT_EQ(slicer.set_event_step(&step), 0);
    start(slicer, {"A", "B"});
    EXPECT_EQ(world.channels["A"].step.event_number, beyond + 2);
    answers("A", record(beyond + 49, 70, 1));
    answers("B", record(beyond + 47, 60, 2)); // nearer to the target, although its low half is smaller
    records_of<slicer_2024> found;
    slicer.set_debug(2);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0); });
    EXPECT_THAT(text, HasSubstr("Got from get_chan_data() get_data() 4294967343:60_2 (have already "
                                "4294967345:70_1)\n"));
    EXPECT_THAT(text, HasSubstr("Copying temp evid: 4294967345 (from:0)\n"));
    EXPECT_THAT(text, HasSubstr("EMPTY A 4294967343:60_2  4294967345:70_1  cfg_status:456789ab\n"));
    EXPECT_THAT(text, HasSubstr("current_event_id.event_number (output): 4294967343:60_2 res.size():1\n"));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->event_id.event_number, beyond + 47);
}

TEST_F(fake_readers_with_long_numbers, files_are_left_out_by_the_whole_number)
{
    constexpr std::uint64_t beyond = 4294967296;
    fake_slicer_of<slicer_2024> slicer;
    start(slicer, {"A"});
    auto& channel = world.channels["A"];
    channel.first = {40, {40, 0}};
    channel.last = {60, {60, 0}};
    records_of<slicer_2024> found;
    for (const auto& [number, is_asked] : {std::pair{std::uint64_t{50}, true}, {beyond + 50, false}}) {
        const trox_time_id_2024 target{number, {50, 0}};
        channel.questions = 0;
        EXPECT_EQ(slicer.get_data(&target, &found, current), 0);
        EXPECT_EQ(channel.questions, is_asked ? 1 : 0) << number;
    }
}

// --- the table-loading thread ---------------------------------------------------------------------------

/// A task of the fake table-loading thread, which is stopped from within the load of its first file.
template <class T> class stopped_load : public fake_readers<T>
{
protected:
    void TearDown() override
    {
        ::pthread_cond_destroy(&cond);
        ::pthread_mutex_destroy(&mutex);
    }
    /// Runs the thread to its end; `load_status` is what loading answers.
    void* run(int load_status)
    {
        task.slicer = &slicer;
        task.files = &files;
        task.chans = &files;
        task.get_tables = slots;
        task.get_tables_num = 2;
        task.tmx = &mutex;
        task.tcond = &cond;
        task.go = 2;
        task.bad.assign(2, false);
        this->world.load_status = [this, load_status] {
            task.stop = 1;
            return load_status;
        };
        return fake_table_thread<typename T::generation>(&task);
    }

    const std::vector<std::string> files{"file0", "file1"};
    fake_slicer_of<T> slicer;
    std::shared_ptr<fake_loader<typename T::generation>> slots[2];
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
    trox_detail::basic_get_tables_task<fake_generation<typename T::generation>> task;
};
TYPED_TEST_SUITE(stopped_load, slicer_generations, slicer_generation_names);

TYPED_TEST(stopped_load, keeps_its_tables_only_in_the_legacy_generation)
{
    constexpr bool keeps = std::is_same_v<TypeParam, slicer_legacy>;
    EXPECT_EQ(this->run(0), nullptr);
    EXPECT_EQ(this->slots[0] != nullptr, keeps);
    EXPECT_EQ(this->slots[1], nullptr) << "no further load is begun";
    EXPECT_EQ(this->task.ready, keeps ? 1 : 0);
    EXPECT_EQ(this->task.status, 0);
}

TYPED_TEST(stopped_load, fails_like_any_other)
{
    EXPECT_EQ(this->run(3), reinterpret_cast<void*>(1));
    EXPECT_EQ(this->slots[0], nullptr);
    EXPECT_EQ(this->task.ready, 0);
    EXPECT_EQ(this->task.status, 1);
}

} // namespace slicer_test
