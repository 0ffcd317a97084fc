#include "cli/context.h"
#include "cli/errors.h"
#include "cli/output.h"
#include "temp_directory.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using trox_cli::output;

std::string text_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::size_t entries_of(const std::string& directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

class output_file : public testing::Test
{
protected:
    trox_test::temp_directory directory_;
    std::string path_ = directory_.file("result");
};

TEST_F(output_file, appears_when_it_is_finished)
{
    output out(path_);
    out.write("half");
    out.flush();
    EXPECT_FALSE(std::filesystem::exists(path_));
    out.write(" and half");
    out.finish();
    EXPECT_EQ(text_of(path_), "half and half");
    EXPECT_EQ(entries_of(directory_.file("")), 1U);
}

TEST_F(output_file, stays_as_it_was_when_the_work_fails)
{
    std::ofstream(path_) << "before";
    {
        output out(path_);
        out.write("after");
        out.flush();
    }
    EXPECT_EQ(text_of(path_), "before");
    EXPECT_EQ(entries_of(directory_.file("")), 1U);
}

TEST_F(output_file, has_the_permissions_of_a_new_file)
{
    const mode_t mask = ::umask(027);
    output out(path_);
    out.finish();
    ::umask(mask);
    struct stat status {
    };
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(output_file, is_replaced_behind_a_link_that_stays)
{
    std::ofstream(path_) << "before";
    const std::string link = directory_.file("link");
    std::filesystem::create_symlink("result", link);
    output out(link);
    out.write("after");
    out.finish();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(text_of(path_), "after");
}

TEST_F(output_file, may_be_large)
{
    const std::string block(100000, 'x');
    output out(path_);
    for (int i = 0; i < 30; ++i) {
        out.write(block);
        out.write("y");
    }
    out.finish();
    EXPECT_EQ(text_of(path_).size(), 3000030U);
}

TEST_F(output_file, cannot_be_a_directory_or_lie_nowhere)
{
    EXPECT_THROW(output(directory_.file("")), trox_cli::failure);
    EXPECT_THROW(output(directory_.file("none/result")), trox_cli::failure);
}

TEST_F(output_file, leaves_nothing_behind_when_a_signal_ends_the_program)
{
    const pid_t child = ::fork();
    if (child == 0) {
        trox_cli::install_signal_handlers();
        output out(path_);
        out.write("half");
        out.flush();
        std::raise(SIGTERM);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_EQ(entries_of(directory_.file("")), 0U);
}

TEST_F(output_file, takes_binary_results_and_a_terminal_does_not)
{
    trox_cli::common_options options;
    options.output_file = path_;
    trox_cli::context to_file("test", options);
    EXPECT_NO_THROW(to_file.binary_out());

    int terminal = -1;
    int screen = -1;
    std::array<char, 64> name{};
    ASSERT_EQ(::openpty(&terminal, &screen, name.data(), nullptr, nullptr), 0);
    options.output_file = name.data();
    trox_cli::context to_terminal("test", options);
    EXPECT_NO_THROW(to_terminal.out());
    EXPECT_THROW(to_terminal.binary_out(), trox_cli::wrong_use);
    ::close(screen);
    ::close(terminal);
}

TEST(output_device, takes_bytes_as_they_come)
{
    output out("/dev/full");
    out.write("x");
    EXPECT_THROW(out.finish(), trox_cli::failure);
    output nowhere("/dev/null");
    nowhere.write("x");
    nowhere.finish();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

} // namespace
