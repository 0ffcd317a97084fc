// trox recover: reports, exit codes, and files that read as the undamaged ones do.
#include "run_trox.h"
#include "sample_files.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::HasSubstr;
using trox_test::run_trox;

class recover : public testing::TestWithParam<trox_test::sample_generation>
{
protected:
    /// A sample file without its last bytes.
    std::string cut_sample(std::size_t cut)
    {
        auto bytes = trox_test::read_bytes(sample());
        bytes.resize(bytes.size() - cut);
        const auto path = directory_.file("damaged.raw");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }
    static std::string sample()
    {
        return trox_test::sample_directory(GetParam()) + trox_test::sample_names(GetParam()).front();
    }
    /// The records of an event but for what must differ: where they lie.
    static nlohmann::json without_places(const nlohmann::json& shown)
    {
        auto records = shown.at("records");
        EXPECT_FALSE(records.empty());
        for (auto& record : records) {
            record.erase("file");
            record.erase("offset");
        }
        return records;
    }
    trox_test::temp_directory directory_;
    const std::string output_ = directory_.file("recovered.raw");
};

TEST_P(recover, of_a_file_without_trailer_shows_the_events_of_the_whole_one)
{
    const auto result = run_trox({"recover", cut_sample(4), output_, "--json"});
    ASSERT_EQ(result.code, 0) << result.err;
    const auto told = result.json();
    EXPECT_EQ(told.at("recovery").at("complete"), true);
    EXPECT_EQ(told.at("parts").at(0).at("found"), "by its pattern");
    EXPECT_TRUE(told.at("lost_records").empty());
    for (const auto* which : {"--first", "--last"}) {
        const auto before = run_trox({"show", sample(), which, "--json"});
        const auto now = run_trox({"show", output_, which, "--json"});
        ASSERT_EQ(before.code, 0) << before.err;
        ASSERT_EQ(now.code, 0) << now.err;
        EXPECT_EQ(without_places(now.json()), without_places(before.json())) << which;
    }
}

TEST_P(recover, of_a_file_cut_in_its_pointers_table_ends_with_3_and_lists_what_is_lost)
{
    const auto size = std::filesystem::file_size(sample());
    const auto result = run_trox({"recover", cut_sample(size / 4), output_, "--json"});
    ASSERT_EQ(result.code, 3) << result.err;
    EXPECT_THAT(result.err, HasSubstr("are lost"));
    const auto told = result.json();
    EXPECT_EQ(told.at("recovery").at("complete"), false);
    EXPECT_FALSE(told.at("lost_records").empty());
    EXPECT_TRUE(std::filesystem::exists(output_));
}

TEST_P(recover, refuses_to_write_over_a_file_unless_told_so)
{
    std::ofstream(output_) << "mine";
    const auto result = run_trox({"recover", sample(), output_});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("exists"));
    EXPECT_THAT(result.err, HasSubstr("hint: --replace"));
    EXPECT_EQ(std::filesystem::file_size(output_), 4U);
    EXPECT_EQ(run_trox({"recover", sample(), output_, "--replace"}).code, 0);
    EXPECT_EQ(run_trox({"recover", output_, output_, "--replace"}).code, 1);
}

TEST_P(recover, of_what_is_no_data_file_fails)
{
    const auto path = directory_.file("text.raw");
    std::ofstream(path) << "no data";
    const auto result = run_trox({"recover", path, output_});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr("nothing tells of which generation it is"));
    EXPECT_FALSE(std::filesystem::exists(output_));
    EXPECT_EQ(run_trox({"recover", path}).code, 2);
}

TEST_P(recover, does_not_replace_the_new_file_by_its_report_whatever_their_names)
{
    const auto link = directory_.file("link.raw");
    std::filesystem::create_symlink(output_, link);
    const auto roundabout = std::filesystem::path(output_).parent_path() / "." / "recovered.raw";
    for (const auto& report : {output_, link, roundabout.string()}) {
        EXPECT_EQ(run_trox({"recover", sample(), output_, "-o", report}).code, 2) << report;
        EXPECT_FALSE(std::filesystem::exists(output_)) << report;
    }
}

TEST_P(recover, that_cannot_tell_of_it_says_that_the_new_file_is_in_place)
{
    trox_test::run_options options;
    options.closed = {1};
    const auto result = run_trox({"recover", sample(), output_}, options);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr(output_ + " is in place"));
    EXPECT_TRUE(std::filesystem::exists(output_));
}

TEST_P(recover, on_a_full_disk_names_the_new_file)
{
    trox_test::run_options options;
    options.largest_file = 4096;
    const auto result = run_trox({"recover", sample(), output_}, options);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr(output_));
    EXPECT_THAT(result.err, testing::Not(HasSubstr(output_ + ".")));
    EXPECT_FALSE(std::filesystem::exists(output_));
}

TEST_P(recover, names_what_is_lost_where_it_is_no_record)
{
    const auto path = cut_sample(0);
    auto bytes = trox_test::read_bytes(path);
    const unsigned char pattern[] = {0xEA, 0xAE, 0xAA, 0xF3}; // of the environment dictionary
    const auto at = std::search(bytes.begin(), bytes.end(), std::begin(pattern), std::end(pattern));
    ASSERT_NE(at, bytes.end());
    std::fill(at, at + 16, 0x5A);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const auto result = run_trox({"recover", path, output_});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, HasSubstr("environment"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("0 records")));
}

INSTANTIATE_TEST_SUITE_P(generations, recover,
                         testing::Values(trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                         trox_test::sample_generation::g2024));

} // namespace
