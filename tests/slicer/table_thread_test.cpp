// The table-loading thread, on a task of its own.
#include "tables_fixture.h"

#include <chrono>
#include <thread>

namespace slicer_test
{

using namespace std::chrono_literals;

/// A table-loading thread on a task of its own.
class table_task : public slicer_tables
{
protected:
    void SetUp() override
    {
        slicer_tables::SetUp();
        ::pthread_mutex_init(&mutex, nullptr);
        ::pthread_cond_init(&cond, nullptr);
        task.slicer = &slicer;
        task.files = &files;
        task.chans = &names;
        task.tmx = &mutex;
        task.tcond = &cond;
    }
    void TearDown() override
    {
        stop();
        ::pthread_cond_destroy(&cond);
        ::pthread_mutex_destroy(&mutex);
        slicer_tables::TearDown();
    }

    /// Calls under the task's lock, then wakes the thread.
    template <class Call> void with_lock(Call call)
    {
        ::pthread_mutex_lock(&mutex);
        call();
        ::pthread_cond_broadcast(&cond);
        ::pthread_mutex_unlock(&mutex);
    }
    /// A field of the task, read under its lock.
    int value(int get_tables_task_2010::*field)
    {
        int read = 0;
        with_lock([&] { read = task.*field; });
        return read;
    }
    void run(std::size_t number_of_slots, int credits)
    {
        slots.resize(number_of_slots);
        task.get_tables = slots.data();
        task.get_tables_num = static_cast<int>(number_of_slots);
        task.go = credits;
        task.bad.assign(files.size(), false);
        thread = std::thread([this] { result = get_table_thread_2010(&task); });
    }
    void stop()
    {
        if (thread.joinable()) {
            with_lock([&] { task.stop = 1; });
            thread.join();
        }
    }
    int ready()
    {
        return value(&get_tables_task_2010::ready);
    }
    /// Waits until so many tables are loaded.
    bool becomes_ready(int count)
    {
        for (int i = 0; i < 500 && ready() != count; ++i) {
            std::this_thread::sleep_for(10ms);
        }
        return ready() == count;
    }

    trox_daq_slicer_2010 slicer;
    const std::vector<std::string> names{"A"};
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    get_tables_task_2010 task;
    std::vector<std::shared_ptr<trox_file_get_tables_2010>> slots;
    std::thread thread;
    void* result = nullptr;
};

TEST_F(table_task, stays_idle_behind_the_last_file_until_it_is_stopped)
{
    add_files(2);
    run(2, 2);
    ASSERT_TRUE(becomes_ready(2));
    std::this_thread::sleep_for(30ms);
    EXPECT_TRUE(thread.joinable());
    EXPECT_EQ(value(&get_tables_task_2010::status), 0);
    stop();
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(slots[0]->get_file_name(), files[0]);
    EXPECT_EQ(slots[1]->get_file_name(), files[1]);
    EXPECT_EQ(task.go, 0);
}

TEST_F(table_task, ends_with_one_after_a_failed_load)
{
    add_files(1);
    add_damaged_file("bad");
    run(2, 2);
    thread.join();
    EXPECT_EQ(result, reinterpret_cast<void*>(1));
    EXPECT_EQ(task.status, 1);
    EXPECT_EQ(task.ready, 1);
    EXPECT_EQ(slots[1], nullptr);
}

TEST_F(table_task, does_nothing_for_an_empty_list)
{
    run(1, 1);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(ready(), 0);
    stop();
    EXPECT_EQ(result, nullptr);
}

TEST_F(table_task, does_nothing_when_it_is_stopped_from_the_start)
{
    add_files(2);
    task.stop = 1;
    run(2, 2);
    thread.join();
    EXPECT_EQ(task.ready, 0);
    EXPECT_EQ(task.go, 2);
}

TEST_F(table_task, waits_for_a_credit)
{
    add_files(2);
    run(2, 0);
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(ready(), 0);
    with_lock([&] { task.go = 1; });
    EXPECT_TRUE(becomes_ready(1));
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(ready(), 1);
}

TEST_F(table_task, never_stores_outside_the_slots)
{
    add_files(3);
    run(1, 3);
    ASSERT_TRUE(becomes_ready(1));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(ready(), 1);
    EXPECT_EQ(value(&get_tables_task_2010::go), 2) << "the credit is given back";
    with_lock([&] { slots[0].reset(); });
    EXPECT_TRUE(becomes_ready(2));
    with_lock([&] {
        EXPECT_EQ(slots[0]->get_file_name(), files[1]);
        slots[0].reset();
    });
    EXPECT_TRUE(becomes_ready(3));
}

TEST_F(table_task, keeps_three_untaken_tables_at_most)
{
    add_files(6);
    run(6, 6);
    ASSERT_TRUE(becomes_ready(3));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(ready(), 3);
    EXPECT_EQ(value(&get_tables_task_2010::go), 3);
    with_lock([&] { task.ready -= 2; });
    EXPECT_TRUE(becomes_ready(3));
    EXPECT_EQ(value(&get_tables_task_2010::go), 1);
}

TEST_F(table_task, fills_the_first_free_slot)
{
    add_files(3);
    run(3, 2);
    ASSERT_TRUE(becomes_ready(2));
    with_lock([&] {
        slots[0].reset();
        ++task.go;
    });
    ASSERT_TRUE(becomes_ready(3));
    stop();
    EXPECT_EQ(slots[0]->get_file_name(), files[2]);
    EXPECT_EQ(slots[2], nullptr);
}

TEST_F(table_task, passes_over_bad_files_when_told_to)
{
    add_damaged_file("bad");
    add_files(1);
    add_damaged_file("worse");
    task.skip = true;
    run(3, 3);
    ASSERT_TRUE(becomes_ready(1));
    for (int i = 0; i < 500 && value(&get_tables_task_2010::bad_files) < 2; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    stop();
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(task.status, 0);
    EXPECT_EQ(task.bad, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(task.go, 2) << "credits of bad files are given back";
    EXPECT_EQ(slots[0]->get_file_name(), files[1]);
}

TEST_F(table_task, gives_loaders_the_debug_level_of_the_slicer)
{
    add_files(1);
    slicer.set_debug(-7);
    const std::string text = printed_by([&] {
        run(1, 1);
        EXPECT_TRUE(becomes_ready(1));
    });
    EXPECT_THAT(text, HasSubstr("GET ALL TABLES "));
    EXPECT_EQ(slots[0]->get_debug(), -7);
}

} // namespace slicer_test
