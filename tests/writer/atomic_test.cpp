// A file is there whole or not at all, and nothing else stays.
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace writer_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr auto v2010 = tw::generation::v2010;

// Adds `events` events of one plain record of `size` bytes.
void add_events(tw::file_writer& file, int events, std::size_t size)
{
    const auto channel = file.find_channel("A") ? *file.find_channel("A") : file.add_channel("A");
    const std::vector<unsigned char> bytes(size, 1);
    for (int i = 0; i < events; ++i) {
        file.begin_event({static_cast<std::uint64_t>(i), {}});
        file.begin_server_block({"S"});
        file.add_record(channel, tw::record{9, bytes});
        file.end_event();
    }
}

// Why a file cannot be begun.
std::optional<tw::fault> refusal_of(const std::string& path, const tw::file_options& options = {})
{
    try {
        const tw::file_writer file(path, v2010, options);
        return std::nullopt;
    } catch (const tw::error& failure) {
        return failure.why();
    }
}

// Limits the size of every file that this process writes, as a full disk would.
class small_files
{
public:
    explicit small_files(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        auto limit = before_;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    small_files(const small_files&) = delete;
    small_files& operator=(const small_files&) = delete;
    ~small_files()
    {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int);
};

class atomic_files : public testing::Test
{
protected:
    scratch_directory directory_;
};

TEST_F(atomic_files, nothing_is_seen_before_finish)
{
    tw::file_options options;
    options.buffer_bytes = 100; // so that records are spooled at once
    tw::file_writer file(directory_.path("a.raw"), v2010, options);
    add_events(file, 50, 1000);
    EXPECT_THAT(directory_.entries(), IsEmpty());
    file.finish();
    EXPECT_THAT(directory_.entries(), ElementsAre("a.raw"));
}

TEST_F(atomic_files, nothing_stays_of_a_writer_that_is_destroyed)
{
    {
        tw::file_writer file(directory_.path("a.raw"), v2010);
        add_events(file, 50, 100000);
        file.begin_event({1, {}});
    }
    EXPECT_THAT(directory_.entries(), IsEmpty());
}

TEST_F(atomic_files, nothing_stays_of_a_process_that_is_killed)
{
    const auto child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        tw::file_writer file(directory_.path("a.raw"), v2010);
        add_events(file, 200, 100000);
        ::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_THAT(directory_.entries(), IsEmpty());
}

TEST_F(atomic_files, a_disk_that_fills_while_spooling_is_an_error_and_nothing_stays)
{
    tw::file_writer file(directory_.path("a.raw"), v2010);
    {
        const small_files full(1 << 20);
        try {
            add_events(file, 200, 100000);
            FAIL() << "no error";
        } catch (const tw::error& failure) {
            EXPECT_EQ(failure.why(), tw::fault::input_output);
            EXPECT_THAT(failure.what(), testing::HasSubstr("File too large"));
        }
    }
    EXPECT_THROW(file.finish(), tw::error);
    EXPECT_THAT(directory_.entries(), IsEmpty());
}

TEST_F(atomic_files, a_disk_that_fills_while_finishing_is_an_error_and_nothing_stays)
{
    tw::file_writer file(directory_.path("a.raw"), v2010);
    // The spool stays below the limit, the file does not: it has the tables as well.
    for (int i = 0; i < 500; ++i) {
        file.add_channel("T" + std::to_string(i));
    }
    add_events(file, 30, 10000);
    {
        const small_files full(350000);
        EXPECT_THROW(file.finish(), tw::error);
    }
    EXPECT_THAT(directory_.entries(), IsEmpty());
    EXPECT_THROW(file.finish(), tw::error);
}

TEST_F(atomic_files, a_file_to_be_replaced_stays_until_the_new_one_is_whole)
{
    std::ofstream(directory_.path("a.raw")) << "old";
    tw::file_options options;
    options.replace_existing = true;
    {
        tw::file_writer file(directory_.path("a.raw"), v2010, options);
        add_events(file, 5, 100);
    }
    EXPECT_EQ(read_file(directory_.path("a.raw")).size(), 3U);
    tw::file_writer file(directory_.path("a.raw"), v2010, options);
    add_events(file, 5, 100);
    file.finish();
    EXPECT_THAT(check_file(directory_.path("a.raw")).problems, IsEmpty());
    EXPECT_THAT(directory_.entries(), ElementsAre("a.raw"));
}

TEST_F(atomic_files, take_the_place_of_a_link_and_leave_alone_what_it_leads_to)
{
    std::ofstream(directory_.path("old.raw")) << "old";
    for (const char* target : {"old.raw", "none.raw"}) {
        std::filesystem::create_symlink(target, directory_.path("a.raw"));
        EXPECT_EQ(refusal_of(directory_.path("a.raw")), tw::fault::bad_name) << target;
        tw::file_options options;
        options.replace_existing = true;
        tw::file_writer file(directory_.path("a.raw"), v2010, options);
        file.finish();
        EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(directory_.path("a.raw"))));
        std::filesystem::remove(directory_.path("a.raw"));
    }
    EXPECT_EQ(read_file(directory_.path("old.raw")).size(), 3U);
    EXPECT_THAT(directory_.entries(), ElementsAre("old.raw"));
}

TEST_F(atomic_files, never_take_the_place_of_a_pipe_or_device)
{
    tw::file_options options;
    options.replace_existing = true;
    ASSERT_EQ(::mkfifo(directory_.path("pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("pipe", directory_.path("link"));
    for (const std::string& name : {directory_.path("pipe"), directory_.path("link"), std::string("/dev/null")}) {
        EXPECT_EQ(refusal_of(name, options), tw::fault::bad_name) << name;
    }
    EXPECT_TRUE(std::filesystem::is_fifo(directory_.path("pipe")));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(atomic_files, are_synchronised_when_asked)
{
    tw::file_options options;
    options.sync = true;
    tw::file_writer file(directory_.path("a.raw"), v2010, options);
    add_events(file, 5, 100);
    file.finish();
    EXPECT_THAT(check_file(directory_.path("a.raw")).problems, IsEmpty());
}

TEST_F(atomic_files, may_spool_elsewhere)
{
    tw::file_options options;
    options.spool_directory = directory_.path("nowhere");
    EXPECT_THROW(tw::file_writer(directory_.path("a.raw"), v2010, options), tw::error);
    std::filesystem::create_directory(directory_.path("spool"));
    options.spool_directory = directory_.path("spool");
    tw::file_writer file(directory_.path("a.raw"), v2010, options);
    add_events(file, 5, 100);
    file.finish();
    EXPECT_THAT(check_file(directory_.path("a.raw")).problems, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path("spool")));
}

TEST_F(atomic_files, get_the_permissions_that_the_umask_leaves)
{
    tw::file_writer file(directory_.path("a.raw"), v2010);
    file.finish();
    const auto mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(directory_.path("a.raw")).permissions()), 0666U & ~mask);
}

TEST_F(atomic_files, of_many_writers_at_a_time_do_not_meet)
{
    std::vector<tw::file_writer> files;
    for (int i = 0; i < 20; ++i) {
        files.emplace_back(directory_.path("f" + std::to_string(i)), v2010);
        add_events(files.back(), i, 100);
    }
    for (auto& file : files) {
        file.finish();
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto checked = check_file(files[i].path());
        EXPECT_THAT(checked.problems, IsEmpty());
        EXPECT_EQ(checked.events.size(), i);
    }
    EXPECT_EQ(directory_.entries().size(), files.size());
}

} // namespace
