// What recovery refuses, and that it leaves files alone that it must not touch.
#include "recovered_file.h"

#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace recover_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

class refusal : public testing::Test
{
protected:
    std::string file(const std::string& name, const bytes& content)
    {
        write_bytes(directory_.path(name), content);
        return directory_.path(name);
    }
    std::string data_file()
    {
        writer_test::write_scenario(directory_.path("a.raw"), tw::generation::v2010, {});
        return directory_.path("a.raw");
    }
    writer_test::scratch_directory directory_;
};

TEST_F(refusal, of_an_output_that_is_the_input_whatever_its_name)
{
    const auto input = data_file();
    const auto before = writer_test::read_file(input);
    const auto link = directory_.path("link.raw");
    ASSERT_EQ(::link(input.c_str(), link.c_str()), 0);
    tr::recover_options replace;
    replace.replace_existing = true;
    for (const auto& output : {input, link}) {
        const auto report = tr::recover_file(input, output, replace);
        EXPECT_EQ(report.end, tr::outcome::nothing);
        EXPECT_THAT(report.failure, HasSubstr("is the damaged file itself"));
    }
    EXPECT_EQ(writer_test::read_file(input), before);
}

TEST_F(refusal, of_an_output_that_exists_unless_it_may_be_replaced)
{
    const auto input = data_file();
    const auto output = file("b.raw", {1, 2, 3});
    const auto report = tr::recover_file(input, output);
    EXPECT_EQ(report.end, tr::outcome::nothing);
    EXPECT_THAT(report.failure, HasSubstr("a file of that name exists"));
    EXPECT_EQ(writer_test::read_file(output), (bytes{1, 2, 3}));
    tr::recover_options replace;
    replace.replace_existing = true;
    EXPECT_EQ(tr::recover_file(input, output, replace).end, tr::outcome::complete);
    EXPECT_THAT(directory_.entries(), ElementsAre("a.raw", "b.raw")); // nothing else is left behind
}

TEST_F(refusal, of_what_cannot_be_read_or_written)
{
    EXPECT_THAT(tr::recover_file(directory_.path("none.raw"), directory_.path("b.raw")).failure,
                HasSubstr("No such file"));
    EXPECT_THAT(tr::recover_file(directory_.path(), directory_.path("b.raw")).failure, HasSubstr("no regular file"));
    EXPECT_THAT(tr::recover_file(data_file(), directory_.path("no/such/b.raw")).failure, HasSubstr("No such file"));
    EXPECT_THAT(directory_.entries(), ElementsAre("a.raw"));
}

TEST_F(refusal, of_files_that_hold_no_data)
{
    bytes noise(200'000);
    std::uint32_t state = 1;
    for (auto& byte : noise) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<unsigned char>(state >> 24U);
    }
    const bytes contents[] = {{}, {0}, bytes(100'000, 0), bytes(100'000, 0xFF), noise};
    for (const auto& content : contents) {
        const auto report = tr::recover_file(file("a.raw", content), directory_.path("b.raw"));
        EXPECT_EQ(report.end, tr::outcome::nothing);
        EXPECT_FALSE(report.failure.empty());
    }
    EXPECT_THAT(directory_.entries(), ElementsAre("a.raw"));
}

// Patterns one behind the other, sub-heads that overlap, names without end: bytes made to keep a reader busy.
TEST_F(refusal, of_hostile_bytes_within_seconds)
{
    const auto begin = std::chrono::steady_clock::now();
    for (const auto format : generations) {
        const bool is_wide = format == tw::generation::v2024;
        bytes content(std::size_t{4} << 20);
        const unsigned char pattern[] = {0xCB, 0xAC, 0xBA, 0xF3};
        for (std::size_t at = 16; at + 400 < content.size(); at += 24) {
            std::copy(std::begin(pattern), std::end(pattern), content.begin() + static_cast<std::ptrdiff_t>(at));
            content[at + (is_wide ? 12 : 4)] = 'A';
        }
        tr::recover_options options;
        options.generation = format;
        const auto report = tr::recover_file(file("a.raw", content), directory_.path("b.raw"), options);
        EXPECT_EQ(report.end, tr::outcome::nothing);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

// A pipe that nobody writes to must not keep a recovery waiting; one that is there is not replaced.
TEST_F(refusal, of_pipes_and_links)
{
    const auto pipe = directory_.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT(tr::recover_file(pipe, directory_.path("b.raw")).failure, HasSubstr("no regular file"));
    const auto input = data_file();
    const auto link = directory_.path("link");
    std::filesystem::create_symlink(directory_.path("elsewhere"), link);
    tr::recover_options replace;
    replace.replace_existing = true;
    for (const auto& output : {pipe, link}) {
        EXPECT_THAT(tr::recover_file(input, output, replace).failure, HasSubstr("no regular file"));
    }
    EXPECT_THAT(directory_.entries(), ElementsAre("a.raw", "link", "pipe"));
}

// What stops a recovery leaves nothing behind, at whatever point it comes.
TEST_F(refusal, of_what_is_stopped_leaves_nothing)
{
    struct stop {
    };
    const auto input = data_file();
    std::uint64_t calls = 0;
    tr::recover_options options;
    options.seen = [&](std::uint64_t) { ++calls; };
    ASSERT_EQ(tr::recover_file(input, directory_.path("b.raw"), options).end, tr::outcome::complete);
    std::filesystem::remove(directory_.path("b.raw"));
    ASSERT_GT(calls, 100U);
    for (const auto at : {std::uint64_t{1}, calls / 2, calls}) {
        std::uint64_t left = at;
        options.seen = [&](std::uint64_t) {
            if (--left == 0) {
                throw stop();
            }
        };
        EXPECT_THROW(tr::recover_file(input, directory_.path("b.raw"), options), stop);
        EXPECT_THAT(directory_.entries(), ElementsAre("a.raw"));
    }
}

} // namespace
