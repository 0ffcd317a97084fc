// Names of data files, and run catalogue files.
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace writer_test;

namespace
{

constexpr time_stamp sample_time = {1709611194, 250000}; // 2024-03-05 03:59:54.25 UTC

std::string text_of(const std::string& path)
{
    const auto bytes = read_file(path);
    return {bytes.begin(), bytes.end()};
}

tw::catalogue_run sample_run()
{
    return {{"linac", "main", 1042},
            1339666200,
            1339666213,
            {{"linac_main_run1042_file1_20120614T093000.raw", "raw", 1339666200, 1339666205},
             {"linac_main_run1042_file2_20120614T093004.raw", "raw", 1339666204, 1339666209},
             {"linac_main_run1042_file3_20120614T093008.raw", "raw", 1339666208, 1339666213}}};
}

TEST(data_file_names, hold_run_file_and_time)
{
    EXPECT_EQ(tw::data_file_name({"linac", "main", 2210}, 1, sample_time),
              "linac_main_run2210_file1_20240305T035954.raw");
    EXPECT_EQ(tw::data_file_name({"linac", "main", 2210}, 1, sample_time, 3),
              "linac_main_run2210_file1_20240305T035954.250.raw");
    EXPECT_EQ(tw::data_file_name({"a-b.c+1", "m", 0}, 0, {0, 1}, 6), "a-b.c+1_m_run0_file0_19700101T000000.000001.raw");
    EXPECT_EQ(tw::data_file_name({"a", "m", 1}, 12, {0xFFFFFFFF, 999999}, 1), "a_m_run1_file12_21060207T062815.9.raw");
}

TEST(data_file_names, refuse_what_they_cannot_hold)
{
    const tw::run_identity good = {"linac", "main", 1};
    const std::vector<tw::run_identity> bad = {
        {"", "main", 1},       {"linac", "", 1},    {"li_nac", "main", 1},
        {"linac", "a/b", 1},   {"linac", "m n", 1}, {std::string(32, 'x'), "m", 1},
        {"linac", "main", -1}, {"..", "main", 1},   {"\xC3\xA4", "main", 1}};
    for (const auto& run : bad) {
        EXPECT_THROW(tw::data_file_name(run, 1, sample_time), tw::error) << run.experiment << " " << run.stream;
        EXPECT_THROW(tw::catalogue_file_name({run, 1, 2, {}}), tw::error) << run.experiment << " " << run.stream;
    }
    EXPECT_THROW(tw::data_file_name(good, -1, sample_time), tw::error);
    EXPECT_THROW(tw::data_file_name(good, 1, sample_time, 7), tw::error);
    EXPECT_THROW(tw::data_file_name(good, 1, sample_time, -1), tw::error);
    EXPECT_THROW(tw::data_file_name(good, 1, {1, 1000000}), tw::error);
    EXPECT_NO_THROW(tw::data_file_name({std::string(31, 'x'), "m", 1}, 1, sample_time));
}

TEST(catalogue, is_named_after_run_and_times)
{
    EXPECT_EQ(tw::catalogue_file_name(sample_run()), "linac_main_run1042_20120614T093000_20120614T093013.xml");
    auto open = sample_run();
    open.stop = 0;
    EXPECT_EQ(tw::catalogue_file_name(open), "linac_main_run1042_20120614T093000_open.xml");
}

TEST(catalogue, equals_one_of_an_independent_writer)
{
    scratch_directory directory;
    const auto path = tw::write_catalogue(directory.path(), sample_run());
    EXPECT_EQ(path, directory.path("linac_main_run1042_20120614T093000_20120614T093013.xml"));
    EXPECT_EQ(text_of(path),
              text_of(TROX_TEST_DATA_DIR "/catalogue/linac_main_run1042_20120614T093000_20120614T093013.xml"));
    EXPECT_EQ(directory.entries().size(), 1U);
}

TEST(catalogue, replaces_the_file_of_the_same_name)
{
    scratch_directory directory;
    auto run = sample_run();
    run.files.clear();
    tw::write_catalogue(directory.path(), run);
    const auto path = tw::write_catalogue(directory.path(), sample_run(), true);
    EXPECT_THAT(text_of(path), testing::HasSubstr("file3"));
    EXPECT_EQ(directory.entries().size(), 1U);
}

TEST(catalogue, refuses_entries_that_are_wrong_and_leaves_nothing)
{
    scratch_directory directory;
    const auto refused = [&](const std::function<void(tw::catalogue_run&)>& change) {
        auto run = sample_run();
        change(run);
        EXPECT_THROW(tw::write_catalogue(directory.path(), run), tw::error);
    };
    refused([](auto& run) { run.files[0].name = "a/b.raw"; });
    refused([](auto& run) { run.files[0].name = ""; });
    refused([](auto& run) { run.files[0].name = "\x01"; });
    refused([](auto& run) { run.files[0].format = "xml"; });
    refused([](auto& run) { run.files[0].stop = run.files[0].start - 1; });
    refused([](auto& run) { run.stop = run.start - 1; });
    refused([](auto& run) { run.start = -1; });
    EXPECT_TRUE(directory.entries().empty());
    EXPECT_THROW(tw::write_catalogue(directory.path("nowhere"), sample_run()), tw::error);
}

TEST(catalogue, calls_formats_by_generation)
{
    EXPECT_STREQ(tw::catalogue_format(tw::generation::legacy), "raw");
    EXPECT_STREQ(tw::catalogue_format(tw::generation::v2010), "raw");
    EXPECT_STREQ(tw::catalogue_format(tw::generation::v2024), "raw64");
}

} // namespace
