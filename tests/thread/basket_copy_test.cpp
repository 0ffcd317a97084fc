// Copying a basket in stripes by the threads that need them, and files that change meanwhile.
#include "generic/basket_copy.h"

#include "memory_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/types.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace trox_test;
using trox_detail::basket_copy;

namespace
{

using pread_function = ssize_t (*)(int, void*, std::size_t, off_t);

/// Called before each read while it is set, with the position that is read.
std::atomic<const std::function<void(off_t)>*> before_read{nullptr};

} // namespace

// Stands before the system's call (or a sanitizer's) in the whole program.
extern "C" ssize_t pread(int fd, void* buffer, std::size_t size, off_t position)
{
    static const auto system_pread = reinterpret_cast<pread_function>(::dlsym(RTLD_NEXT, "pread"));
    if (const auto* call = before_read.load()) {
        (*call)(position);
    }
    return system_pread(fd, buffer, size, position);
}

namespace
{

constexpr std::size_t stripe = std::size_t{256} << 10;

/// Sets `before_read` as long as it lives.
class watched_reads
{
public:
    explicit watched_reads(std::function<void(off_t)> call) : call_(std::move(call))
    {
        before_read = &call_;
    }
    watched_reads(const watched_reads&) = delete;
    watched_reads& operator=(const watched_reads&) = delete;
    ~watched_reads()
    {
        before_read = nullptr;
    }

private:
    std::function<void(off_t)> call_;
};

/// A byte of the file; no two stripes hold the same.
std::uint8_t byte_at(std::size_t position)
{
    return static_cast<std::uint8_t>(position * 31 + position / stripe * 7 + position / 65536);
}

std::vector<std::uint8_t> file_bytes(std::size_t size)
{
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = byte_at(i);
    }
    return bytes;
}

/// A copy of a range of a file; the copy begins inside a page.
class copied_basket : public ::testing::Test
{
protected:
    static constexpr std::size_t position = 1000;
    static constexpr std::size_t stripes = 24;
    static constexpr std::size_t length = stripes * stripe - 12345;

    void SetUp() override
    {
        ASSERT_TRUE(copy_.open_range(file_.descriptor(), bytes_.size(), position, length));
    }
    /// Begin of a stripe in the file.
    static std::size_t begin_of(std::size_t number)
    {
        return position + number * stripe;
    }
    bool is_right(std::size_t at, std::size_t size)
    {
        const unsigned char* got = copy_.fetch(at, size);
        return got != nullptr && std::equal(got, got + size, bytes_.begin() + static_cast<std::ptrdiff_t>(at));
    }

    const std::vector<std::uint8_t> bytes_ = file_bytes(position + length + 500);
    memory_file file_{bytes_};
    basket_copy copy_;
};

/// Runs `work(number)` in `count` threads.
void run_in_threads(int count, const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// What threads wait for, with a time limit.
class event
{
public:
    void raise()
    {
        const std::lock_guard lock(mutex_);
        raised_ = true;
        condition_.notify_all();
    }
    bool wait(std::chrono::seconds limit = std::chrono::seconds(60))
    {
        std::unique_lock lock(mutex_);
        return condition_.wait_for(lock, limit, [this] { return raised_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool raised_ = false;
};

} // namespace

TEST_F(copied_basket, gives_1_2_and_10_threads_with_overlapping_ranges_the_bytes_of_the_file)
{
    for (const int threads : {1, 2, 10}) {
        ASSERT_TRUE(copy_.open_range(file_.descriptor(), bytes_.size(), position, length)) << "copied anew";
        std::atomic<int> wrong{0};
        run_in_threads(threads, [&](int) {
            // Ranges of one to three stripes, each of which begins in the one before: all threads want the same.
            for (std::size_t at = position; at < position + length; at += stripe / 2) {
                const std::size_t size = std::min(1 + at % (2 * stripe), position + length - at);
                wrong += is_right(at, size) ? 0 : 1;
            }
        });
        EXPECT_EQ(wrong, 0) << threads;
        EXPECT_TRUE(is_right(position, length)) << threads;
    }
}

TEST_F(copied_basket, reads_each_stripe_once_for_all_threads)
{
    std::atomic<std::size_t> reads{0};
    const watched_reads watch([&](off_t) { ++reads; });
    run_in_threads(10, [&](int) {
        for (std::size_t i = 0; i < stripes; ++i) {
            copy_.fetch(begin_of(i), 1);
        }
    });
    EXPECT_EQ(reads, stripes - 2) << "the first and the last are read when the copy is opened";
}

TEST_F(copied_basket, reads_the_next_stripe_while_another_thread_reads_the_wanted_one)
{
    event is_reading;
    event next_is_read;
    std::atomic<bool> came{false};
    const watched_reads watch([&](off_t at) {
        if (static_cast<std::size_t>(at) == begin_of(3)) {
            is_reading.raise();
            came = next_is_read.wait();
        } else if (static_cast<std::size_t>(at) == begin_of(4)) {
            next_is_read.raise();
        }
    });
    bool right[2] = {false, false};
    std::thread reads([&] { right[0] = is_right(begin_of(3), 100); });
    ASSERT_TRUE(is_reading.wait());
    right[1] = is_right(begin_of(3), 100);
    reads.join();
    EXPECT_TRUE(came) << "the waiting thread has begun the stripe behind";
    EXPECT_TRUE(right[0]);
    EXPECT_TRUE(right[1]);
    EXPECT_TRUE(is_right(begin_of(4), stripe));
}

TEST_F(copied_basket, is_null_outside_of_its_range)
{
    EXPECT_EQ(copy_.fetch(position - 1, 1), nullptr);
    EXPECT_EQ(copy_.fetch(position, length + 1), nullptr);
    EXPECT_EQ(copy_.fetch(position + length, 1), nullptr);
    EXPECT_EQ(copy_.fetch(position + 1, ~std::uint64_t{0}), nullptr);
    EXPECT_EQ(copy_.fetch(position, 0), copy_.data());
    EXPECT_EQ(copy_.fetch(position + length, 0), copy_.data() + length);
}

TEST_F(copied_basket, is_null_where_the_file_was_cut_since_it_was_opened)
{
    for (const int threads : {1, 2, 10}) {
        ASSERT_TRUE(copy_.open_range(file_.descriptor(), bytes_.size(), position, length));
        ASSERT_EQ(::ftruncate(file_.descriptor(), static_cast<off_t>(begin_of(5) + 10)), 0);
        std::atomic<int> wrong{0};
        run_in_threads(threads, [&](int) {
            for (std::size_t i = 0; i < stripes; ++i) {
                const bool is_there = i < 5 || i == stripes - 1; // the last one was read when the copy was opened
                wrong += is_there == (copy_.fetch(begin_of(i), 100) != nullptr) ? 0 : 1;
            }
            wrong += copy_.fetch(begin_of(4), 2 * stripe) == nullptr ? 0 : 1;
        });
        EXPECT_EQ(wrong, 0) << threads;
        EXPECT_FALSE(copy_.fetch_all());
        ASSERT_EQ(::pwrite(file_.descriptor(), bytes_.data(), bytes_.size(), 0), static_cast<ssize_t>(bytes_.size()));
    }
}

TEST_F(copied_basket, does_not_open_over_the_end_of_the_file)
{
    basket_copy other;
    EXPECT_FALSE(other.open_range(file_.descriptor(), bytes_.size(), position, bytes_.size()));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(other.open_range(file_.descriptor(), bytes_.size(), position, 0));
    EXPECT_EQ(errno, EINVAL);
    ASSERT_EQ(::ftruncate(file_.descriptor(), static_cast<off_t>(position + length - 1)), 0);
    EXPECT_FALSE(other.open_range(file_.descriptor(), bytes_.size(), position, length));
    EXPECT_EQ(errno, EIO) << "cut since its length was taken";
}
