// The table-loading thread, on a task of its own.
#include "tables_fixture.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace slicer_test
{

using namespace std::chrono_literals;

/// A table-loading thread on a task of its own.
template <class T> class table_task : public slicer_tables<T>
{
protected:
    void SetUp() override
    {
        slicer_tables<T>::SetUp();
        ::pthread_mutex_init(&mutex, nullptr);
        ::pthread_cond_init(&cond, nullptr);
        task.slicer = &slicer;
        task.files = &this->files;
        task.chans = &names;
        task.tmx = &mutex;
        task.tcond = &cond;
    }
    void TearDown() override
    {
        stop();
        ::pthread_cond_destroy(&cond);
        ::pthread_mutex_destroy(&mutex);
        slicer_tables<T>::TearDown();
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
    int value(int T::task::*field)
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
        task.bad.assign(this->files.size(), false);
        thread = std::thread([this] {
            result = T::run_thread(&task);
            has_ended = true;
        });
    }
    /// As the slicer does: with a credit, for which the legacy thread waits.
    void stop()
    {
        if (thread.joinable()) {
            with_lock([&] {
                task.stop = 1;
                task.go = 1;
            });
            thread.join();
        }
    }
    int ready()
    {
        return value(&T::task::ready);
    }
    /// Waits until so many tables are loaded.
    bool becomes_ready(int count)
    {
        for (int i = 0; i < 500 && ready() != count; ++i) {
            std::this_thread::sleep_for(10ms);
        }
        return ready() == count;
    }

    slicer_of<T> slicer;
    const std::vector<std::string> names{"A"};
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    typename T::task task;
    std::vector<std::shared_ptr<typename T::loader>> slots;
    std::thread thread;
    std::atomic<bool> has_ended{false};
    void* result = nullptr;
};
TYPED_TEST_SUITE(table_task, slicer_generations, slicer_generation_names);

template <class T> using table_task_since_2010 = table_task<T>;
TYPED_TEST_SUITE(table_task_since_2010, slicer_generations_since_2010, slicer_generation_names);

using legacy_table_task = table_task<trox_test::slicer_legacy>;

TYPED_TEST(table_task_since_2010, stays_idle_behind_the_last_file_until_it_is_stopped)
{
    this->add_files(2);
    this->run(2, 2);
    ASSERT_TRUE(this->becomes_ready(2));
    std::this_thread::sleep_for(30ms);
    EXPECT_TRUE(this->thread.joinable());
    EXPECT_FALSE(this->has_ended);
    EXPECT_EQ(this->value(&TypeParam::task::status), 0);
    EXPECT_EQ(this->value(&TypeParam::task::go), 0);
    this->stop();
    EXPECT_EQ(this->result, nullptr);
    EXPECT_EQ(this->slots[0]->get_file_name(), this->files[0]);
    EXPECT_EQ(this->slots[1]->get_file_name(), this->files[1]);
}

TEST_F(legacy_table_task, ends_at_once_behind_the_last_file)
{
    add_files(2);
    task.status = 5;
    run(2, 2);
    thread.join(); // nobody stops it
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(task.status, 0);
    EXPECT_EQ(task.ready, 2);
    EXPECT_EQ(task.go, 0);
    EXPECT_EQ(slots[0]->get_file_name(), files[0]);
    EXPECT_EQ(slots[1]->get_file_name(), files[1]);
}

TEST_F(legacy_table_task, fills_all_slots_although_nothing_is_taken)
{
    add_files(6);
    run(6, 6);
    thread.join();
    EXPECT_EQ(task.ready, 6);
    for (std::size_t i = 0; i < files.size(); ++i) {
        ASSERT_NE(slots[i], nullptr);
        EXPECT_EQ(slots[i]->get_file_name(), files[i]);
    }
}

TEST_F(legacy_table_task, waits_for_a_slot_without_looking_for_it_time_and_again)
{
    add_files(2);
    run(1, 2);
    ASSERT_TRUE(becomes_ready(1));
    const auto without_signal = [&](auto call) {
        ::pthread_mutex_lock(&mutex);
        call();
        ::pthread_mutex_unlock(&mutex);
    };
    std::this_thread::sleep_for(200ms); // it waits by now
    without_signal([&] { slots[0].reset(); });
    std::this_thread::sleep_for(50ms);
    without_signal([&] { EXPECT_EQ(task.ready, 1); });
    EXPECT_TRUE(becomes_ready(2)) << "now that it was woken";
}

TYPED_TEST(table_task, ends_with_one_after_a_failed_load)
{
    this->add_files(1);
    this->add_damaged_file("bad");
    this->run(2, 2);
    this->thread.join();
    EXPECT_EQ(this->result, reinterpret_cast<void*>(1));
    EXPECT_EQ(this->task.status, 1);
    EXPECT_EQ(this->task.ready, 1);
    EXPECT_EQ(this->slots[1], nullptr);
}

TYPED_TEST(table_task, does_nothing_for_an_empty_list)
{
    this->run(1, 1);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(this->ready(), 0);
    this->stop();
    EXPECT_EQ(this->result, nullptr);
}

TYPED_TEST(table_task_since_2010, does_nothing_when_it_is_stopped_from_the_start)
{
    this->add_files(2);
    this->task.stop = 1;
    this->run(2, 2);
    this->thread.join();
    EXPECT_EQ(this->task.ready, 0);
    EXPECT_EQ(this->task.go, 2);
}

TYPED_TEST(table_task_since_2010, ends_when_it_is_stopped_while_it_waits_for_a_credit)
{
    this->add_files(2);
    this->run(2, 0);
    std::this_thread::sleep_for(30ms);
    this->with_lock([&] { this->task.stop = 1; });
    this->thread.join();
    EXPECT_EQ(this->task.ready, 0);
    EXPECT_EQ(this->task.go, 0);
}

TEST_F(legacy_table_task, takes_one_credit_when_it_is_stopped_from_the_start)
{
    add_files(2);
    task.status = 5;
    task.stop = 1;
    run(2, 2);
    thread.join();
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(task.ready, 0);
    EXPECT_EQ(task.go, 1);
    EXPECT_EQ(task.status, 0);
}

TEST_F(legacy_table_task, without_a_credit_waits_also_when_it_is_stopped_until_it_is_given_one)
{
    add_files(2);
    run(2, 0);
    with_lock([&] { task.stop = 1; });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(has_ended);
    with_lock([&] { task.go = 1; });
    thread.join();
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(task.ready, 0);
    EXPECT_EQ(task.go, 0);
}

TEST_F(legacy_table_task, without_a_slot_ends_when_it_is_stopped)
{
    add_files(2);
    run(1, 3);
    ASSERT_TRUE(becomes_ready(1));
    std::this_thread::sleep_for(30ms);
    with_lock([&] { task.stop = 1; });
    thread.join();
    EXPECT_EQ(task.ready, 1);
    EXPECT_EQ(task.go, 1) << "one for the file, one for the stop";
}

TYPED_TEST(table_task, waits_for_a_credit)
{
    this->add_files(2);
    this->run(2, 0);
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(this->ready(), 0);
    this->with_lock([&] { this->task.go = 1; });
    EXPECT_TRUE(this->becomes_ready(1));
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(this->ready(), 1);
}

TYPED_TEST(table_task, never_stores_outside_the_slots)
{
    this->add_files(3);
    this->run(1, 3);
    ASSERT_TRUE(this->becomes_ready(1));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(this->ready(), 1);
    EXPECT_EQ(this->value(&TypeParam::task::go), 2) << "the credit is given back";
    this->with_lock([&] { this->slots[0].reset(); });
    EXPECT_TRUE(this->becomes_ready(2));
    this->with_lock([&] {
        EXPECT_EQ(this->slots[0]->get_file_name(), this->files[1]);
        this->slots[0].reset();
    });
    EXPECT_TRUE(this->becomes_ready(3));
}

TYPED_TEST(table_task_since_2010, keeps_three_untaken_tables_at_most)
{
    this->add_files(6);
    this->run(6, 6);
    ASSERT_TRUE(this->becomes_ready(3));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(this->ready(), 3);
    EXPECT_EQ(this->value(&TypeParam::task::go), 3);
    this->with_lock([&] { this->task.ready -= 2; });
    EXPECT_TRUE(this->becomes_ready(3));
    EXPECT_EQ(this->value(&TypeParam::task::go), 1);
}

TYPED_TEST(table_task, fills_the_first_free_slot)
{
    this->add_files(3);
    this->run(3, 2);
    ASSERT_TRUE(this->becomes_ready(2));
    this->with_lock([&] {
        this->slots[0].reset();
        ++this->task.go;
    });
    ASSERT_TRUE(this->becomes_ready(3));
    this->stop();
    EXPECT_EQ(this->slots[0]->get_file_name(), this->files[2]);
    EXPECT_EQ(this->slots[2], nullptr);
}

TYPED_TEST(table_task, passes_over_bad_files_when_told_to)
{
    this->add_damaged_file("bad");
    this->add_files(1);
    this->add_damaged_file("worse");
    this->task.skip = true;
    this->run(3, 3);
    ASSERT_TRUE(this->becomes_ready(1));
    for (int i = 0; i < 500 && this->value(&TypeParam::task::bad_files) < 2; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(this->value(&TypeParam::task::go), 2) << "credits of bad files are given back";
    this->stop();
    EXPECT_EQ(this->result, nullptr);
    EXPECT_EQ(this->task.status, 0);
    EXPECT_EQ(this->task.bad, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(this->slots[0]->get_file_name(), this->files[1]);
}

TYPED_TEST(table_task, gives_loaders_the_debug_level_of_the_slicer)
{
    this->add_files(1);
    this->slicer.set_debug(-7);
    const std::string text = printed_by([&] {
        this->run(1, 1);
        EXPECT_TRUE(this->becomes_ready(1));
    });
    EXPECT_THAT(text, HasSubstr("GET ALL TABLES "));
    EXPECT_EQ(this->slots[0]->get_debug(), -7);
}

} // namespace slicer_test
