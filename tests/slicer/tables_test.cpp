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

TEST_F(slicer_tables, a_loaded_file_is_found_again_and_again)
{
    add_files(2);
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    ASSERT_EQ(slicer.start(), 0);
    auto* table = slicer.find_ready_table(files[1]);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->get_file_name(), files[1]);
    EXPECT_EQ(slicer.find_ready_table(files[1].c_str()), table);
    EXPECT_EQ(slicer.find_ready_table(files[0])->get_file_name(), files[0]);
    EXPECT_EQ(table->get_ecp_tab_entry_index("A"), 0) << "loaded for the request's channels";
}

TEST_F(slicer_tables, a_fourth_table_is_not_loaded_while_three_are_untaken)
{
    add_files(6);
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    ASSERT_EQ(slicer.start(), 0); // takes file 0
    let_the_thread_load();
    EXPECT_EQ(slicer.find_ready_table(files[4]), nullptr) << "1, 2 and 3 are untaken";
    EXPECT_NE(slicer.find_ready_table(files[1]), nullptr);
    EXPECT_NE(slicer.find_ready_table(files[4]), nullptr) << "waited for, now that one was taken";
    EXPECT_NE(slicer.find_ready_table(files[5]), nullptr);
}

TEST_F(slicer_tables, a_file_within_reach_is_waited_for_whatever_the_timing)
{
    add_files(5);
    for (int repetition = 0; repetition < 30; ++repetition) {
        trox_daq_slicer_2010 slicer;
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_NE(slicer.find_ready_table(files[3]), nullptr) << "third behind the one taken";
    }
    for (int repetition = 0; repetition < 10; ++repetition) {
        trox_daq_slicer_2010 slicer;
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_EQ(slicer.find_ready_table(files[4]), nullptr) << "out of reach until another one is taken";
    }
}

TEST_F(slicer_tables, a_file_that_cannot_be_loaded_is_null_at_once)
{
    add_files(1);
    add_damaged_file("bad");
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    ASSERT_EQ(slicer.start(), 0);
    EXPECT_EQ(slicer.find_ready_table(files[1]), nullptr);
    EXPECT_EQ(slicer.find_ready_table(std::string("unknown")), nullptr);
    EXPECT_EQ(slicer.get_number_of_bad_files(), 0) << "only counted when passed over";
}

TEST_F(slicer_tables, a_loaded_file_is_found_although_the_load_behind_it_failed)
{
    add_files(2);
    add_damaged_file("bad");
    add_files(0);
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    ASSERT_EQ(slicer.start(), 0);
    let_the_thread_load();
    EXPECT_NE(slicer.find_ready_table(files[0]), nullptr);
    EXPECT_NE(slicer.find_ready_table(files[1]), nullptr);
    EXPECT_EQ(slicer.find_ready_table(files[2]), nullptr);
}

TEST_F(slicer_tables, files_behind_a_bad_one_are_lost_unless_bad_records_are_skipped)
{
    add_files(1);
    add_damaged_file("bad");
    add_damaged_file("worse");
    add_file("good", {{"A", events(11, 13)}});
    for (const bool skips : {false, true}) {
        trox_daq_slicer_2010 slicer;
        slicer.set_skip_bad_records(skips);
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        ASSERT_EQ(slicer.start(), 0);
        EXPECT_EQ(slicer.find_ready_table(files[3]) != nullptr, skips);
        EXPECT_EQ(slicer.find_ready_table(files[1]), nullptr);
        EXPECT_EQ(slicer.get_number_of_bad_files(), skips ? 2 : 0);
        slicer.clean_up();
        EXPECT_EQ(slicer.get_number_of_bad_files(), skips ? 2 : 0) << "kept for who asks afterwards";
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        EXPECT_EQ(slicer.get_number_of_bad_files(), 0);
    }
}

TEST_F(slicer_tables, bad_files_do_not_count_as_read_ahead)
{
    add_files(1);
    for (int i = 0; i < 5; ++i) {
        add_damaged_file("bad" + std::to_string(i));
    }
    add_file("good", {{"A", events(11, 13)}});
    for (int repetition = 0; repetition < 20; ++repetition) {
        trox_daq_slicer_2010 slicer;
        slicer.set_skip_bad_records(true);
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        ASSERT_EQ(slicer.start(), 0);
        ASSERT_NE(slicer.find_ready_table(files[6]), nullptr);
    }
}

TEST_F(slicer_tables, start_needs_the_first_file_unless_bad_records_are_skipped)
{
    add_damaged_file("bad");
    add_file("good", {{"A", events(11, 13)}});
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    EXPECT_EQ(slicer.start(), -6);
    EXPECT_EQ(slicer.start(), -8) << "its thread is there until clean_up";
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    EXPECT_EQ(slicer.start(), 0);
    records found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(labels(found), ElementsAre("A@11"));
    EXPECT_EQ(slicer.get_number_of_bad_files(), 1);
}

TEST_F(slicer_tables, start_fails_when_no_file_can_be_loaded)
{
    add_damaged_file("bad");
    add_damaged_file("worse");
    files.push_back(path("absent"));
    trox_daq_slicer_2010 slicer;
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    EXPECT_EQ(slicer.start(), -6);
    EXPECT_EQ(slicer.get_number_of_bad_files(), 3);
}

TEST_F(slicer_tables, the_wait_for_a_released_file_does_not_end)
{
    add_files(2);
    const auto asking_for_released_ends = [&](bool skips, std::chrono::milliseconds patience) {
        trox_daq_slicer_2010 slicer;
        slicer.set_skip_bad_records(skips);
        return ends_within(
            patience,
            [&] {
                // The move releases file 0 and takes file 1; nothing is left to be loaded.
                return slicer.init(&files, &channels, 0) == 0 && slicer.start() == 0 &&
                       slicer.change_config(0, next, 1) == 0;
            },
            [&] { return slicer.find_ready_table(files[0]) == nullptr; });
    };
    EXPECT_FALSE(asking_for_released_ends(false, 600ms));
    EXPECT_TRUE(asking_for_released_ends(true, 30s));
}

TEST_F(slicer_tables, the_wait_for_a_file_that_no_slot_comes_free_for_does_not_end)
{
    add_files(3);
    const auto asking_for_the_last_ends = [&](bool skips, std::chrono::milliseconds patience) {
        trox_daq_slicer_2010 slicer;
        slicer.set_skip_bad_records(skips);
        return ends_within(
            patience,
            [&] {
                return slicer.init(&files, &channels, 0) == 0 && slicer.set_num_of_get_tables(2) == 0 &&
                       slicer.start() == 0 && slicer.find_ready_table(files[1]) != nullptr;
            },
            [&] { return slicer.find_ready_table(files[2]) == nullptr; });
    };
    EXPECT_FALSE(asking_for_the_last_ends(false, 600ms));
    EXPECT_TRUE(asking_for_the_last_ends(true, 30s));
}

TEST_F(slicer_tables, going_back_to_a_released_file_finds_nothing_and_then_loses_the_channel)
{
    add_files(3);
    // With bad records skipped, or while the table of the file ahead is untaken.
    for (const auto& [skips, number_of_files] : {std::pair{true, 2}, std::pair{false, 3}}) {
        trox_daq_slicer_2010 slicer;
        slicer.set_skip_bad_records(skips);
        const std::vector<std::string> some(files.begin(), files.begin() + number_of_files);
        ASSERT_EQ(slicer.init(&some, &channels, 0), 0);
        ASSERT_EQ(slicer.start(), 0);
        records found;
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
        }
        ASSERT_THAT(labels(found), ElementsAre("A@4")) << "the first event of the second file";
        int status = 1;
        EXPECT_EQ(printed_by([&] { status = slicer.get_data(nullptr, &found, previous); }), "");
        EXPECT_EQ(status, 0);
        EXPECT_THAT(found, IsEmpty());
        const trox_time_id five{5, time_of(5)};
        EXPECT_EQ(slicer.get_data(&five, &found, current), 0);
        EXPECT_THAT(labels(found), ElementsAre("A@5")) << "the channel stays in its file";
        const trox_time_id four{4, time_of(4)};
        EXPECT_EQ(printed_by([&] { status = slicer.get_data(&four, &found, previous); }),
                  "STRANGE trox_file_get_tables not found in the table... removing it anyway\n"
                  "STRANGE no files found we'll lose the channel[0] A\n");
        EXPECT_EQ(status, -3);
    }
}

TEST_F(slicer_tables, the_debug_level_and_the_count_of_bad_files_are_for_any_thread)
{
    add_damaged_file("bad0");
    add_damaged_file("bad1");
    add_files(2);
    add_damaged_file("bad2");
    add_file("last", {{"A", events(7, 9)}});
    trox_daq_slicer_2010 slicer;
    slicer.set_skip_bad_records(true);
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
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
    std::vector<std::uint32_t> numbers;
    int status = 1;
    printed_by([&] {
        status = slicer.start();
        records found;
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

TEST_F(slicer_tables, a_released_file_is_null_while_another_is_untaken)
{
    add_files(3);
    trox_daq_slicer_2010 slicer;
    ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
    ASSERT_EQ(slicer.start(), 0);
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    EXPECT_EQ(slicer.find_ready_table(files[0]), nullptr) << "file 2 is loaded or about to be";
}

TEST_F(slicer_tables, clean_up_stops_the_thread_wherever_it_is)
{
    add_files(6);
    for (int repetition = 0; repetition < 20; ++repetition) {
        trox_daq_slicer_2010 slicer;
        ASSERT_EQ(slicer.init(&files, &channels, 0), 0);
        ASSERT_EQ(slicer.start(), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(300 * repetition));
        slicer.clean_up();
        EXPECT_EQ(slicer.find_ready_table(files[0]), nullptr);
    }
}

} // namespace slicer_test
