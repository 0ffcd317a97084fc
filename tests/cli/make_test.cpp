// Sample runs: equal options give equal files, of any generation and size.
#include "run_trox.h"
#include "temp_directory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <map>

namespace
{

using testing::HasSubstr;
using trox_test::run_trox;

/// Names and bytes of the files of a directory.
std::map<std::string, std::string> contents_of(const std::string& directory)
{
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        contents[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file),
                                                      std::istreambuf_iterator<char>()};
    }
    return contents;
}

class make_run : public testing::TestWithParam<const char*>
{
protected:
    /// Makes a run in a directory of the test, and answers what the verb tells.
    nlohmann::json make(const std::string& name, std::vector<std::string> options)
    {
        options.insert(options.begin(), {"make", directory_.file(name), "--json"});
        const auto result = run_trox(options);
        EXPECT_EQ(result.code, 0) << result.err;
        return result.json();
    }

    trox_test::temp_directory directory_;
};

TEST_P(make_run, is_equal_for_equal_options_and_differs_for_another_seed)
{
    const std::vector<std::string> options{"--generation", GetParam(), "--events", "40", "--channels", "15"};
    auto seeded = options;
    seeded.insert(seeded.end(), {"--seed", "8"});
    make("first", options);
    make("second", options);
    make("third", seeded);
    EXPECT_EQ(contents_of(directory_.file("first")), contents_of(directory_.file("second")));
    EXPECT_NE(contents_of(directory_.file("first")), contents_of(directory_.file("third")));
}

TEST_P(make_run, is_read_with_as_many_events_and_channels_as_were_asked_for)
{
    const std::string directory = directory_.file("run");
    make("run", {"--generation", GetParam(), "--events", "25", "--files", "4", "--channels", "30", "--run", "9"});
    const auto told = run_trox({"info", "--run", "9", "--catalogue", directory, "--json"});
    ASSERT_EQ(told.code, 0) << told.err;
    const auto info = told.json();
    EXPECT_EQ(info.at("summary").at("generations"), nlohmann::json::array({GetParam()}));
    EXPECT_EQ(info.at("summary").at("channels"), 30);
    EXPECT_EQ(info.at("files").size(), 4U);
    EXPECT_EQ(info.at("event_types").at(0).at("name"), "NORMAL");
    EXPECT_EQ(info.at("event_types").at(0).at("events"), 25);
    const auto shown = run_trox({"show", directory, "--last", "--json"});
    ASSERT_EQ(shown.code, 0) << shown.err;
    EXPECT_EQ(shown.json().at("records").size(), 30U);
}

TEST_P(make_run, has_about_the_size_that_was_asked_for)
{
    const auto told = make("run", {"--generation", GetParam(), "--size", "2M", "--files", "2"});
    std::uint64_t size = 0;
    for (const auto& file : told.at("files")) {
        size += file.at("size").get<std::uint64_t>();
    }
    EXPECT_EQ(told.at("files").size(), 2U);
    EXPECT_GE(size, 2U << 20U);
    EXPECT_LT(size, (2U << 20U) + 100000);
}

INSTANTIATE_TEST_SUITE_P(generations, make_run, testing::Values("legacy", "2010", "2024"),
                         [](const auto& which) { return std::string("of_") + which.param; });

TEST(make, stores_records_as_it_was_asked_to)
{
    const trox_test::temp_directory directory;
    for (const std::string how : {"none", "zlib"}) {
        ASSERT_EQ(run_trox({"make", directory.file(how), "--events", "9", "--compression", how}).code, 0);
        const auto channels = run_trox({"list", directory.file(how), "--json"}).json().at("channels");
        EXPECT_EQ(channels.size(), 13U);
        for (const auto& channel : channels) {
            EXPECT_EQ(channel.at("compression"), how) << channel.at("name");
        }
    }
}

TEST(make, refuses_a_directory_that_holds_the_run)
{
    const trox_test::temp_directory directory;
    const std::string run = directory.file("run");
    ASSERT_EQ(run_trox({"make", run, "--events", "3"}).code, 0);
    const auto before = contents_of(run);
    const auto result = run_trox({"make", run, "--events", "5"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("holds files of run 1 already"));
    EXPECT_EQ(contents_of(run), before);
    EXPECT_EQ(run_trox({"make", run, "--events", "5", "--run", "2"}).code, 0);
}

TEST(make, refuses_what_makes_no_sense)
{
    const trox_test::temp_directory directory;
    const std::vector<std::vector<std::string>> wrong{{"--events", "0"},
                                                      {"--events", "2", "--files", "3"},
                                                      {"--channels", "0"},
                                                      {"--channels", "10001"},
                                                      {"--size", "5", "--events", "3"},
                                                      {"--generation", "2011"},
                                                      {"--seed", "-1"},
                                                      {"--size", "0"}};
    for (auto options : wrong) {
        options.insert(options.begin(), {"make", directory.file("run")});
        EXPECT_EQ(run_trox(options).code, 2) << options[2] << " " << options[3];
    }
    EXPECT_EQ(run_trox({"make", directory.file("run"), "--experiment", "a_b"}).code, 1);
    EXPECT_EQ(run_trox({"make", "/proc/none/run"}).code, 1);
}

TEST(make_run_size, beyond_what_positions_of_32_bits_reach_is_refused_before_anything_is_written)
{
    const trox_test::temp_directory directory;
    for (const std::string generation : {"legacy", "2010"}) {
        const auto result = run_trox({"make", directory.file("run"), "--generation", generation, "--size", "1000000T"});
        EXPECT_EQ(result.code, 2);
        EXPECT_THAT(result.err, HasSubstr("--generation 2024"));
        EXPECT_FALSE(std::filesystem::exists(directory.file("run")));
    }
}

TEST(make_run_size, that_is_too_small_for_one_event_a_file_is_told)
{
    const trox_test::temp_directory directory;
    const auto result = run_trox({"make", directory.file("run"), "--size", "10K"});
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.err, HasSubstr("where 10240 were asked for"));
    EXPECT_EQ(run_trox({"make", directory.file("other"), "--size", "2M"}).err, "");
}

} // namespace
