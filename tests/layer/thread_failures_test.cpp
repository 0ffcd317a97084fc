// Reading goes on with as many threads as the system gives.
#include "small_file.h"
#include "temp_directory.h"

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <numeric>
#include <pthread.h>

namespace
{

std::atomic<bool> limits_threads{false};
std::atomic<int> threads_left{0}; ///< that can still be made, when they are limited
std::atomic<int> threads_made{0};

} // namespace

extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                                             void* (*entry)(void*), void* argument) noexcept
{
    using function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto system = reinterpret_cast<function>(::dlsym(RTLD_NEXT, "pthread_create"));
    if (limits_threads && threads_left-- <= 0) {
        return EAGAIN;
    }
    ++threads_made;
    return system(thread, attributes, entry, argument);
}

namespace
{

using namespace layer_test;
namespace tw = trox::writer;

class thread_failures : public testing::Test
{
protected:
    thread_failures()
    {
        std::iota(numbers_.begin(), numbers_.end(), std::uint64_t{1});
        path_ = write_numbers(directory_.file("a.raw"), tw::generation::v2010, numbers_);
    }
    ~thread_failures() override
    {
        limits_threads = false;
    }

    trox_test::temp_directory directory_;
    std::vector<std::uint64_t> numbers_ = std::vector<std::uint64_t>(500);
    std::string path_;
};

TEST_F(thread_failures, leave_the_workers_that_there_are)
{
    const auto data = trox::data_set::open_files({path_});
    for (int threads = 0; threads <= 4; ++threads) {
        SCOPED_TRACE(threads);
        limits_threads = true;
        threads_left = threads;
        threads_made = 0;
        trox::event_reader reader(data, {}, {std::size_t{1} << 20, 4, true});
        EXPECT_EQ(threads_made, threads);
        limits_threads = false;
        EXPECT_EQ(numbers_of(reader), numbers_);
        EXPECT_EQ(number_of(reader.previous()), 499U);
        EXPECT_EQ(number_of(reader.at_number(250)), 250U);
    }
}

TEST_F(thread_failures, do_not_come_from_asking_for_ever_so_many)
{
    limits_threads = true;
    threads_left = 1;
    trox::event_reader reader(trox::data_set::open_files({path_}), {}, {std::size_t{1} << 20, 0xFFFFFFFFU, true});
    EXPECT_GE(threads_left, -1); // given up after the first that fails
    EXPECT_EQ(numbers_of(reader), numbers_);
    threads_left = 10000;
    threads_made = 0;
    const trox::event_reader many(trox::data_set::open_files({path_}), {}, {std::size_t{1} << 20, 0xFFFFFFFFU, true});
    EXPECT_EQ(threads_made, 256);
}

} // namespace
