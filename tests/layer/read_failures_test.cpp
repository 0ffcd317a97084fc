// What the system refuses: records on a bad part of a disk, files for which the process has no descriptor. Reading
// tells what the system said, and goes on behind it.
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace
{

constexpr off_t none = -1;
std::atomic<off_t> bad_byte{none}; ///< of any file, cannot be read
std::atomic<std::int64_t> bytes_read{0};

constexpr int unlimited = std::numeric_limits<int>::max();
std::atomic<int> first_refused{unlimited}; ///< no file is opened as this descriptor, or as one behind it
std::atomic<int> refused_with{EMFILE};

std::atomic<int> most_open{0}; ///< data files at once, as far as open has seen them

/// Descriptors of data files.
int open_data_files()
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        count += std::filesystem::read_symlink(entry.path(), ignored).extension() == ".raw" ? 1 : 0;
    }
    return count;
}

} // namespace

extern "C" [[gnu::visibility("default")]] ssize_t pread(int fd, void* to, std::size_t size, off_t at)
{
    using function = ssize_t (*)(int, void*, std::size_t, off_t);
    static const auto system = reinterpret_cast<function>(::dlsym(RTLD_NEXT, "pread"));
    const off_t bad = bad_byte;
    if (bad != none && at <= bad && bad - at < static_cast<off_t>(size)) {
        if (at == bad) {
            errno = EIO;
            return -1;
        }
        size = static_cast<std::size_t>(bad - at);
    }
    const ssize_t got = system(fd, to, size, at);
    bytes_read += got > 0 ? got : 0;
    return got;
}

// Not setrlimit: UndefinedBehaviorSanitizer makes pipes, and takes objects for wrong ones when it cannot.
extern "C" [[gnu::visibility("default")]] int open(const char* path, int flags, ...)
{
    using function = int (*)(const char*, int, ...);
    static const auto system = reinterpret_cast<function>(::dlsym(RTLD_NEXT, "open"));
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    const int fd = system(path, flags, mode);
    if (fd >= first_refused) {
        ::close(fd);
        errno = refused_with;
        return -1;
    }
    if (fd >= 0 && std::string_view(path).find(".raw") != std::string_view::npos) {
        most_open = std::max<int>(most_open, open_data_files());
    }
    return fd;
}

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using numbers = std::vector<std::uint64_t>;

class read_failures : public testing::TestWithParam<tw::storage>
{
protected:
    /// T/A in events 1 to 5; `bad_` lies in the payload of event 3.
    read_failures()
    {
        const auto format = tw::generation::v2010;
        {
            tw::file_writer file(path_, format);
            const auto channel = file.add_channel("T/A", GetParam());
            for (std::uint64_t number = 1; number <= 5; ++number) {
                file.begin_event({number, stamp_of(tenth(number))});
                file.begin_server_block({"SVR"});
                file.add_record(channel, tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010,
                                                              std::vector<float>(500, static_cast<float>(number))));
                file.end_event();
            }
            file.finish();
        }
        data_ = trox::data_set::open_files({path_});
        trox::event_reader reader(*data_, {});
        offset_ = reader.at_number(3).value()[0].offset();
    }
    ~read_failures() override
    {
        bad_byte = none;
    }

    trox_test::temp_directory directory_;
    std::string path_ = directory_.file("a.raw");
    std::optional<trox::data_set> data_;
    std::uint64_t offset_ = 0;
};

TEST_P(read_failures, leave_out_the_record_with_what_the_system_said)
{
    trox::event_reader reader(*data_, {}, {std::size_t{1} << 20, 1, true});
    bad_byte = static_cast<off_t>(offset_ + sizeof(trox_serv_block_subhead_2010) + 20);
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 4, 5}));
    ASSERT_EQ(reader.report().skipped_records.size(), 1U);
    EXPECT_EQ(reader.report().skipped_records[0].where.event, 3U);
    EXPECT_EQ(reader.report().skipped_records[0].where.offset, offset_);
    EXPECT_EQ(reader.report().skipped_records[0].reason, "it cannot be read: Input/output error");
}

TEST_P(read_failures, are_thrown_as_such_when_reading_strictly)
{
    trox::event_reader reader(*data_, {}, {std::size_t{1} << 20, 1, false});
    bad_byte = static_cast<off_t>(offset_ + sizeof(trox_serv_block_subhead_2010) + 20);
    const trox::error failure = error_of([&] { numbers_of(reader); });
    EXPECT_EQ(failure.why(), trox::fault::input_output);
    EXPECT_EQ(failure.where().event, 3U);
    EXPECT_EQ(failure.where().file, path_);
    EXPECT_EQ(number_of(reader.current()), 2U);
    bad_byte = none;
    EXPECT_EQ(number_of(reader.at_number(4)), 4U);
}

TEST_P(read_failures, going_backward_leave_out_that_record_alone)
{
    trox::event_reader reader(*data_, {}, {std::size_t{1} << 20, 1, true});
    bad_byte = static_cast<off_t>(offset_ + sizeof(trox_serv_block_subhead_2010) + 20);
    numbers found;
    while (const auto event = reader.previous()) {
        found.push_back(event->number());
    }
    EXPECT_EQ(found, (numbers{5, 4, 2, 1}));
    ASSERT_EQ(reader.report().skipped_records.size(), 1U);
    EXPECT_EQ(reader.report().skipped_records[0].where.event, 3U);
    EXPECT_EQ(reader.report().skipped_records[0].reason, "it cannot be read: Input/output error");
}

INSTANTIATE_TEST_SUITE_P(storage, read_failures, testing::Values(tw::storage::plain, tw::storage::zlib),
                         [](const auto& tested) {
                             return std::string(tested.param == tw::storage::plain ? "plain" : "zlib");
                         });

/// Leaves the process so many descriptors for files more than it has.
class descriptor_limit
{
public:
    explicit descriptor_limit(int more, int error_number = EMFILE)
    {
        refused_with = error_number;
        const int next = ::dup(STDERR_FILENO); // the lowest one that is free
        ::close(next);
        first_refused = next + more;
    }
    descriptor_limit(const descriptor_limit&) = delete;
    descriptor_limit& operator=(const descriptor_limit&) = delete;
    ~descriptor_limit()
    {
        first_refused = unlimited;
    }
};

TEST(lack_of_descriptors, is_not_taken_for_a_bad_file)
{
    const trox_test::temp_directory directory;
    std::vector<std::string> paths;
    numbers all;
    for (std::uint64_t number = 1; number <= 20; ++number) {
        const std::string path = directory.file("f" + std::to_string(number) + ".raw");
        paths.push_back(write_numbers(path, tw::generation::v2010, {number}));
        all.push_back(number);
    }
    const auto data = trox::data_set::open_files(paths);
    trox::event_reader reader(data, {}, {std::size_t{1} << 20, 1, true});
    {
        const descriptor_limit limit(8); // fewer than the reader would keep
        EXPECT_EQ(numbers_of(reader), all);
    }
    trox::event_reader later(data, {}, {std::size_t{1} << 20, 1, true});
    {
        const descriptor_limit limit(0);
        const trox::error failure = error_of([&] { later.next(); });
        EXPECT_EQ(failure.why(), trox::fault::input_output);
        EXPECT_EQ(failure.reason(), "Too many open files");
    }
    EXPECT_EQ(numbers_of(later), all); // not remembered
    EXPECT_TRUE(reader.report().skipped_files.empty());
    EXPECT_TRUE(later.report().skipped_files.empty());
}

/// Forty slow values, each in a file of its own, and an event behind them in which all of them are carried.
std::vector<std::string> write_one_value_per_file(const trox_test::temp_directory& directory)
{
    std::vector<std::string> paths;
    for (std::uint64_t i = 1; i <= 40; ++i) {
        const std::string name = std::to_string(i);
        small_file file(directory.file("s" + name + ".raw"));
        paths.push_back(file.update(i, tenth(i), "T/SLOW." + name, static_cast<float>(i)).finish());
    }
    paths.push_back(small_file(directory.file("z.raw")).machine(50, tenth(50), {{"T/A", 1.0F}}).finish());
    return paths;
}

void expect_all_values(const std::optional<trox::event>& event)
{
    ASSERT_TRUE(event);
    EXPECT_EQ(event->number(), 50U);
    for (std::size_t i = 0; i < 40; ++i) {
        ASSERT_TRUE((*event)[i]) << i;
        EXPECT_EQ((*event)[i].number(), static_cast<double>(i + 1));
    }
}

TEST(files_at_once, are_no_more_than_allowed)
{
    const trox_test::temp_directory directory;
    const auto paths = write_one_value_per_file(directory);
    for (const int allowed : {1, 2, 7}) {
        const auto data = trox::data_set::open_files(paths, {true, static_cast<std::size_t>(allowed)});
        for (const unsigned threads : {1U, 2U, 4U}) {
            SCOPED_TRACE(std::to_string(allowed) + " files, " + std::to_string(threads) + " threads");
            trox::event_reader reader(data, {}, {std::size_t{16} << 20, threads, true});
            most_open = 0;
            expect_all_values(reader.last());
            EXPECT_EQ(number_of(reader.first()), 1U);
            expect_all_values(reader.at_number(50));
            EXPECT_LE(most_open, allowed);
            EXPECT_GE(most_open, 1);
        }
    }
}

TEST(files_at_once, are_no_more_than_there_are_descriptors)
{
    const trox_test::temp_directory directory;
    const auto data = trox::data_set::open_files(write_one_value_per_file(directory));
    for (const unsigned threads : {1U, 3U}) {
        trox::event_reader reader(data, {}, {std::size_t{16} << 20, threads, true});
        const descriptor_limit limit(6);
        expect_all_values(reader.last());
        EXPECT_TRUE(reader.report().skipped_files.empty());
    }
}

class refused_files : public testing::TestWithParam<int>
{
};

TEST_P(refused_files, are_no_bad_ones)
{
    const trox_test::temp_directory directory;
    const std::string path = write_numbers(directory.file("a.raw"), tw::generation::v2010, {1, 2, 3});
    const std::string other = write_numbers(directory.file("b.raw"), tw::generation::v2010, {4});
    const auto data = trox::data_set::open_files({path, other});
    trox::event_reader reader(data, {});
    const auto without_files = [&](auto call) {
        const descriptor_limit limit(0, GetParam());
        const trox::error failure = error_of(call);
        EXPECT_EQ(failure.why(), trox::fault::input_output);
        EXPECT_EQ(failure.reason(), std::strerror(GetParam()));
        EXPECT_EQ(failure.where().file, path);
    };
    without_files([&] { trox::data_set::open_files({path, other}); });
    without_files([&] { data.stamps({0}); });
    without_files([&] { data.inspect(0); });
    without_files([&] { reader.first(); });
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3, 4}));
    EXPECT_TRUE(reader.report().skipped_files.empty());
}

INSTANTIATE_TEST_SUITE_P(for_lack, refused_files, testing::Values(EMFILE, ENFILE, ENOMEM),
                         [](const auto& tested) { return "of_" + std::to_string(tested.param); });

TEST(going_backward, reads_as_many_bytes_as_going_forward)
{
    const trox_test::temp_directory directory;
    const std::string path = directory.file("a.raw");
    constexpr int events = 2000;
    {
        tw::file_writer file(path, tw::generation::v2010);
        const auto channel = file.add_channel("T/A");
        for (std::uint64_t number = 1; number <= events; ++number) {
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            file.add_record(channel, tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010,
                                                          std::vector<float>(number % 300, 1.0F)));
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    const auto bytes_of = [&](auto step) {
        trox::event_reader reader(data, {}, {std::size_t{16} << 20, 1, true});
        EXPECT_EQ(reader.count(), static_cast<std::uint64_t>(events));
        const std::int64_t before = bytes_read;
        int delivered = 0;
        while (step(reader)) {
            ++delivered;
        }
        EXPECT_EQ(delivered, events);
        return bytes_read - before;
    };
    const std::int64_t forward = bytes_of([](trox::event_reader& reader) { return reader.next(); });
    const std::int64_t backward = bytes_of([](trox::event_reader& reader) { return reader.previous(); });
    EXPECT_GT(forward, events * 150);
    EXPECT_LT(backward, forward + forward / 2);
}

TEST(files_that_vanish, leave_the_places_of_their_records_as_far_as_they_are_known)
{
    const trox_test::temp_directory directory;
    const std::string gone = write_numbers(directory.file("a.raw"), tw::generation::v2010, {1, 2});
    const auto data = trox::data_set::open_files(
        {gone, write_numbers(directory.file("b.raw"), tw::generation::v2010, {3, 4})}, {true, 1});
    trox::event_reader skipping(data, {}, {std::size_t{1} << 20, 1, true});
    trox::event_reader strict(data, {}, {std::size_t{1} << 20, 1, false});
    EXPECT_EQ(skipping.count(), 4U);
    EXPECT_EQ(strict.count(), 4U);
    ASSERT_EQ(::unlink(gone.c_str()), 0);

    EXPECT_EQ(numbers_of(skipping), (numbers{3, 4}));
    const trox::reading_report& report = skipping.report();
    ASSERT_EQ(report.skipped_records.size(), 2U);
    for (std::uint64_t i = 0; i < 2; ++i) {
        EXPECT_EQ(report.skipped_records[i].reason, "its file cannot be loaded");
        EXPECT_EQ(report.skipped_records[i].where.file, gone);
        EXPECT_EQ(report.skipped_records[i].where.channel, "T/A");
        EXPECT_EQ(report.skipped_records[i].where.event, i + 1);
        EXPECT_FALSE(report.skipped_records[i].where.offset);
    }

    const trox::error failure = error_of([&] { strict.at_number(2); });
    EXPECT_EQ(failure.why(), trox::fault::not_found);
    EXPECT_STREQ(failure.what(), (gone + ", channel T/A, event 2: No such file or directory").c_str());
    EXPECT_EQ(number_of(strict.at_number(3)), 3U);
}

} // namespace
