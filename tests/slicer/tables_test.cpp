// The table-loading thread, and finding the tables that it loads.
#include "tables_fixture.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>

namespace slicer_test
{

using namespace std::chrono_literals;

/// Long enough for the thread to have loaded all that it may.
void let_the_thread_load()
{
    std::this_thread::sleep_for(150ms);
}

/// Runs `prepare` and then `call` in a process of its own. False when `call` has to be killed, `patience` after
/// it was begun; a failed `prepare` fails the test.
template <class Prepare, class Call> bool ends_within(std::chrono::milliseconds patience, Prepare prepare, Call call)
{
    int pipe_ends[2];
    if (::pipe(pipe_ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(prepare() && ::write(pipe_ends[1], "x", 1) == 1 && call() ? 0 : 1);
    }
    ::close(pipe_ends[1]);
    char begun = 0;
    EXPECT_EQ(::read(pipe_ends[0], &begun, 1), 1) << "prepared";
    ::close(pipe_ends[0]);
    const auto limit = std::chrono::steady_clock::now() + patience;
    do {
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child) {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
            return true;
        }
        std::this_thread::sleep_for(10ms);
    } while (std::chrono::steady_clock::now() < limit);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    return false;
}

TYPED_TEST_SUITE(slicer_tables, slicer_generations, slicer_generation_names);

TYPED_TEST(slicer_tables, a_loaded_file_is_found_again_and_again)
{
    this->add_files(2);
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    ASSERT_EQ(slicer.start(), 0);
    auto* table = slicer.find_ready_table(this->files[1].c_str());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->get_file_name(), this->files[1]);
    EXPECT_EQ(slicer.find_ready_table(this->files[0].c_str())->get_file_name(), this->files[0]);
    EXPECT_EQ(table->get_ecp_tab_entry_index("A"), 0) << "loaded for the request's channels";
}

template <class T> using slicer_tables_since_2010 = slicer_tables<T>;
TYPED_TEST_SUITE(slicer_tables_since_2010, slicer_generations_since_2010, slicer_generation_names);

TYPED_TEST(slicer_tables_since_2010, a_fourth_table_is_not_loaded_while_three_are_untaken)
{
    this->add_files(6);
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    ASSERT_EQ(slicer.start(), 0); // takes file 0
    let_the_thread_load();
    EXPECT_EQ(slicer.find_ready_table(this->files[4].c_str()), nullptr) << "1, 2 and 3 are untaken";
    EXPECT_NE(slicer.find_ready_table(this->files[1].c_str()), nullptr);
    EXPECT_NE(slicer.find_ready_table(this->files[4].c_str()), nullptr) << "waited for, now that one was taken";
    EXPECT_NE(slicer.find_ready_table(this->files[5].c_str()), nullptr);
}

TYPED_TEST(slicer_tables_since_2010, a_file_out_of_reach_is_null_whatever_the_timing)
{
    this->add_files(5);
    for (int repetition = 0; repetition < 10; ++repetition) {
        slicer_of<TypeParam> slicer;
        ASSERT_EQ(init(slicer, this->files, this->channels), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_EQ(slicer.find_ready_table(this->files[4].c_str()), nullptr)
            << "out of reach until another one is taken";
    }
}

TYPED_TEST(slicer_tables, a_file_within_reach_is_waited_for_whatever_the_timing)
{
    this->add_files(5);
    for (int repetition = 0; repetition < 30; ++repetition) {
        slicer_of<TypeParam> slicer;
        ASSERT_EQ(init(slicer, this->files, this->channels), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_NE(slicer.find_ready_table(this->files[3].c_str()), nullptr) << "third behind the one taken";
    }
}

TYPED_TEST(slicer_tables, a_file_that_cannot_be_loaded_is_null_at_once)
{
    this->add_files(1);
    this->add_damaged_file("bad");
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    ASSERT_EQ(slicer.start(), 0);
    EXPECT_EQ(slicer.find_ready_table(this->files[1].c_str()), nullptr);
    EXPECT_EQ(slicer.find_ready_table("unknown"), nullptr);
    EXPECT_EQ(slicer.get_number_of_bad_files(), 0) << "only counted when passed over";
}

TYPED_TEST(slicer_tables, a_loaded_file_is_found_although_the_load_behind_it_failed)
{
    this->add_files(2);
    this->add_damaged_file("bad");
    this->add_files(0);
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    ASSERT_EQ(slicer.start(), 0);
    let_the_thread_load();
    EXPECT_NE(slicer.find_ready_table(this->files[0].c_str()), nullptr);
    EXPECT_NE(slicer.find_ready_table(this->files[1].c_str()), nullptr);
    EXPECT_EQ(slicer.find_ready_table(this->files[2].c_str()), nullptr);
}

TYPED_TEST(slicer_tables, files_behind_a_bad_one_are_lost_unless_bad_records_are_skipped)
{
    this->add_files(1);
    this->add_damaged_file("bad");
    this->add_damaged_file("worse");
    this->add_file("good", {{"A", events(11, 13)}});
    for (const bool skips : {false, true}) {
        slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        ASSERT_EQ(init(slicer, this->files, this->channels), 0);
        ASSERT_EQ(slicer.start(), 0);
        EXPECT_EQ(slicer.find_ready_table(this->files[3].c_str()) != nullptr, skips);
        EXPECT_EQ(slicer.find_ready_table(this->files[1].c_str()), nullptr);
        EXPECT_EQ(slicer.get_number_of_bad_files(), skips ? 2 : 0);
        slicer.clean_up();
        EXPECT_EQ(slicer.get_number_of_bad_files(), skips ? 2 : 0) << "kept for who asks afterwards";
        ASSERT_EQ(init(slicer, this->files, this->channels), 0);
        EXPECT_EQ(slicer.get_number_of_bad_files(), 0);
    }
}

TYPED_TEST(slicer_tables, bad_files_do_not_count_as_read_ahead)
{
    this->add_files(1);
    for (int i = 0; i < 5; ++i) {
        this->add_damaged_file("bad" + std::to_string(i));
    }
    this->add_file("good", {{"A", events(11, 13)}});
    for (int repetition = 0; repetition < 20; ++repetition) {
        slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(true);
        ASSERT_EQ(init(slicer, this->files, this->channels), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_NE(slicer.find_ready_table(this->files[6].c_str()), nullptr);
    }
}

TYPED_TEST(slicer_tables, start_needs_the_first_file_unless_bad_records_are_skipped)
{
    this->add_damaged_file("bad");
    this->add_file("good", {{"A", events(11, 13)}});
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    EXPECT_EQ(slicer.start(), -6);
    EXPECT_EQ(slicer.start(), -8) << "its thread is there until clean_up";
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    EXPECT_EQ(slicer.start(), 0);
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@11"));
    EXPECT_EQ(slicer.get_number_of_bad_files(), 1);
}

TYPED_TEST(slicer_tables, start_fails_when_no_file_can_be_loaded)
{
    this->add_damaged_file("bad");
    this->add_damaged_file("worse");
    this->files.push_back(this->path("absent"));
    slicer_of<TypeParam> slicer;
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    EXPECT_EQ(slicer.start(), -6);
    EXPECT_EQ(slicer.get_number_of_bad_files(), 3);
}

TYPED_TEST(slicer_tables, the_wait_for_a_released_file_does_not_end)
{
    this->add_files(2);
    const auto asking_for_released_ends = [&](bool skips, std::chrono::milliseconds patience) {
        slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        return ends_within(
            patience,
            [&] {
                // The move releases file 0 and takes file 1; nothing is left to be loaded.
                return init(slicer, this->files, this->channels) == 0 && slicer.start() == 0 &&
                       slicer.change_config(0, next, 1) == 0;
            },
            [&] { return slicer.find_ready_table(this->files[0].c_str()) == nullptr; });
    };
    EXPECT_FALSE(asking_for_released_ends(false, 600ms));
    EXPECT_TRUE(asking_for_released_ends(true, 30s));
}

TYPED_TEST(slicer_tables, the_wait_for_a_file_that_no_slot_comes_free_for_does_not_end)
{
    this->add_files(3);
    const auto asking_for_the_last_ends = [&](bool skips, std::chrono::milliseconds patience) {
        slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        return ends_within(
            patience,
            [&] {
                return init(slicer, this->files, this->channels) == 0 && slicer.set_num_of_get_tables(2) == 0 &&
                       slicer.start() == 0 && slicer.find_ready_table(this->files[1].c_str()) != nullptr;
            },
            [&] { return slicer.find_ready_table(this->files[2].c_str()) == nullptr; });
    };
    EXPECT_FALSE(asking_for_the_last_ends(false, 600ms));
    EXPECT_TRUE(asking_for_the_last_ends(true, 30s));
}

TYPED_TEST(slicer_tables, going_back_to_a_released_file_finds_nothing_and_then_loses_the_channel)
{
    this->add_files(3);
    // With bad records skipped, or while the table of the file ahead is untaken.
    for (const auto& [skips, number_of_files] : {std::pair{true, 2}, std::pair{false, 3}}) {
        slicer_of<TypeParam> slicer;
        slicer.set_skip_bad_records(skips);
        const std::vector<std::string> some(this->files.begin(), this->files.begin() + number_of_files);
        ASSERT_EQ(init(slicer, some, this->channels), 0);
        ASSERT_EQ(slicer.start(), 0);
        records_of<TypeParam> found;
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
        }
        ASSERT_THAT(this->labels(found), ElementsAre("A@4")) << "the first event of the second file";
        int status = 1;
        EXPECT_EQ(printed_by([&] { status = slicer.get_data(nullptr, &found, previous); }), "");
        EXPECT_EQ(status, 0);
        EXPECT_THAT(found, IsEmpty());
        const time_id_of<TypeParam> five{5, time_of(5)};
        EXPECT_EQ(slicer.get_data(&five, &found, current), 0);
        EXPECT_THAT(this->labels(found), ElementsAre("A@5")) << "the channel stays in its file";
        const time_id_of<TypeParam> four{4, time_of(4)};
        EXPECT_EQ(printed_by([&] { status = slicer.get_data(&four, &found, previous); }),
                  "STRANGE trox_file_get_tables not found in the table... removing it anyway\n"
                  "STRANGE no files found we'll lose the channel[0] A\n");
        EXPECT_EQ(status, -3);
    }
}

TYPED_TEST(slicer_tables, the_debug_level_and_the_count_of_bad_files_are_for_any_thread)
{
    this->add_damaged_file("bad0");
    this->add_damaged_file("bad1");
    this->add_files(2);
    this->add_damaged_file("bad2");
    this->add_file("last", {{"A", events(7, 9)}});
    slicer_of<TypeParam> slicer;
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    std::atomic<bool> ends{false};
    std::atomic<int> rounds{0};
    bool counts_ascend = true;
    std::thread other([&] {
        for (int last_count = 0; !ends; ++rounds) {
            slicer.set_debug(rounds % 2);
            const int count = slicer.get_number_of_bad_files();
            counts_ascend = counts_ascend && count >= last_count;
            last_count = count;
            std::this_thread::yield();
        }
        slicer.set_debug(0);
    });
    while (rounds < 2) {
        std::this_thread::yield();
    }
    std::vector<typename TypeParam::event_number> numbers;
    int status = 1;
    printed_by([&] {
        status = slicer.start();
        records_of<TypeParam> found;
        while (slicer.get_data(nullptr, &found, next) == 0) {
            if (!found.empty()) {
                numbers.push_back(found[0]->event_id.event_number);
            }
        }
        ends = true;
        other.join();
    });
    EXPECT_EQ(status, 0);
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
    EXPECT_TRUE(counts_ascend);
    EXPECT_EQ(slicer.get_number_of_bad_files(), 3);
}

TYPED_TEST(slicer_tables, a_released_file_is_null_while_another_is_untaken)
{
    this->add_files(3);
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, this->files, this->channels), 0);
    ASSERT_EQ(slicer.start(), 0);
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    EXPECT_EQ(slicer.find_ready_table(this->files[0].c_str()), nullptr) << "file 2 is loaded or about to be";
}

TYPED_TEST(slicer_tables, clean_up_stops_the_thread_wherever_it_is)
{
    this->add_files(6);
    for (int repetition = 0; repetition < 20; ++repetition) {
        slicer_of<TypeParam> slicer;
        ASSERT_EQ(init(slicer, this->files, this->channels), 0);
        ASSERT_EQ(slicer.start(), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(300 * repetition));
        slicer.clean_up();
        EXPECT_EQ(slicer.find_ready_table(this->files[0].c_str()), nullptr);
    }
}

} // namespace slicer_test
