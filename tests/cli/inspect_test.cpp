// doctor and dump on damaged files, as a user runs them: what they say, and how they end.
#include "run_trox.h"

#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

namespace
{

using nlohmann::json;
using trox_test::run_trox;

const std::string sample = TROX_TEST_DATA_DIR "/data_2010/linac_main_run1042_file3_20120614T093008.raw";
const std::string charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";

class damaged_file : public testing::Test
{
protected:
    damaged_file()
    {
        std::ifstream in(sample, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(in), {});
    }
    std::string write(const std::string& name = "a.raw") const
    {
        std::ofstream(directory_.file(name), std::ios::binary) << bytes_;
        return directory_.file(name);
    }
    void flip(std::size_t at)
    {
        bytes_.at(at) = static_cast<char>(bytes_.at(at) ^ 0x55);
    }

    const trox_test::temp_directory directory_;
    std::string bytes_;
};

TEST_F(damaged_file, ends_the_check_with_its_finding)
{
    flip(0x2522d); // inside the zlib stream of record 1, which begins at 0x25223
    const auto result = run_trox({"doctor", write(), "--json"});
    EXPECT_EQ(result.code, 3);
    EXPECT_NE(result.err.find("1 error"), std::string::npos) << result.err;
    const json found = result.json();
    EXPECT_EQ(found["schema"], "trox.doctor/1");
    ASSERT_EQ(found["findings"].size(), 1U);
    const json& one = found["findings"][0];
    EXPECT_EQ(one["code"], "record-stream");
    EXPECT_EQ(one["severity"], "error");
    EXPECT_EQ(one["item"], "channel");
    EXPECT_EQ(one["channel"], charge);
    EXPECT_EQ(one["event"], 388120121);
    EXPECT_EQ(one["record"], 1);
    EXPECT_EQ(one["offset"], 0x25223);
    EXPECT_EQ(found["channels"][0]["damaged"], 1);
    EXPECT_EQ(found["channels"][0]["good"], 39);
    EXPECT_EQ(found["files"][0]["damaged"], 1);
}

TEST_F(damaged_file, is_told_in_the_fields_that_the_page_of_the_schema_has)
{
    flip(0x2522d);
    std::ifstream in(TROX_SOURCE_DIR "/docs/json-schema.md");
    const std::string page{std::istreambuf_iterator<char>(in), {}};
    const auto begin = page.find("## `trox.doctor/1`");
    ASSERT_NE(begin, std::string::npos);
    const std::string part = page.substr(begin, page.find("\n## ", begin + 1) - begin);
    const json document = run_trox({"doctor", write(), "--json"}).json();
    for (const std::string section : {"files", "codes", "findings", "channels"}) {
        const auto row = part.find("\n| `" + section + "` |");
        ASSERT_NE(row, std::string::npos) << section;
        const std::string fields = part.substr(row + 1, part.find('\n', row + 1) - row);
        for (const auto& [field, value] : document.at(section).at(0).items()) {
            EXPECT_NE(fields.find("`" + field + "`"), std::string::npos) << section << ": " << field;
        }
    }
}

TEST_F(damaged_file, is_told_to_people_with_what_can_still_be_read)
{
    flip(0x2522d);
    const auto result = run_trox({"doctor", write()});
    EXPECT_EQ(result.code, 3);
    for (const std::string text : {"record-stream", "all records but this one", charge.c_str(), "Damaged channels"}) {
        EXPECT_NE(result.out.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(result.out.find("LINAC.RF/ADC/A07.M1/TRACE.Z"), std::string::npos); // a sound channel
}

TEST_F(damaged_file, with_warnings_only_is_no_loss)
{
    flip(2);
    const auto result = run_trox({"doctor", write(), "--json"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.json()["findings"][0]["code"], "file-head");
    EXPECT_EQ(result.json()["files"][0]["warnings"], 1);
}

TEST_F(damaged_file, does_not_keep_others_from_being_checked)
{
    bytes_ = "no data file";
    const std::string other = write("other.raw");
    const auto result = run_trox({"doctor", other, sample, directory_.file("none.raw"), "--json"});
    EXPECT_EQ(result.code, 1);
    const json found = result.json();
    ASSERT_EQ(found["files"].size(), 2U);
    EXPECT_TRUE(found["files"][0]["generation"].is_null());
    EXPECT_EQ(found["files"][1]["errors"], 0);
    EXPECT_EQ(found["findings"][0]["code"], "not-a-data-file");
    EXPECT_NE(result.err.find("other.raw: is no data file"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("none.raw"), std::string::npos) << result.err;
}

TEST_F(damaged_file, is_dumped_as_far_as_it_goes)
{
    flip(0x3603d); // the dictionary's pattern
    const auto result = run_trox({"dump", write(), "--item", "dictionary", "--rows", "1", "--json"});
    EXPECT_EQ(result.code, 3);
    EXPECT_NE(result.err.find("dictionary at 0x3603d: pattern"), std::string::npos) << result.err;
    const json fields = result.json()["fields"];
    ASSERT_EQ(fields.size(), 7U); // head, and one entry of five fields
    EXPECT_EQ(fields[3]["field"], "chan_name");
    EXPECT_EQ(fields[3]["offset"], 0x36049);
    EXPECT_EQ(fields[3]["value"], "\"" + charge + "\"");
}

/// A cut file ends each verb with a code of its own, never with a signal.
TEST_F(damaged_file, cut_short_ends_both_verbs)
{
    const std::string whole = bytes_;
    for (const std::size_t length : {0UL, 1UL, 15UL, 16UL, 1000UL, 100'000UL, 225'604UL, 225'700UL, 225'784UL}) {
        bytes_ = whole.substr(0, length);
        const std::string path = write();
        const auto checked = run_trox({"doctor", path});
        EXPECT_TRUE(checked.code == 1 || checked.code == 3) << length << ": " << checked.code;
        const auto dumped = run_trox({"dump", path, "--rows", "all"});
        EXPECT_TRUE(dumped.code == 1 || dumped.code == 3) << length << ": " << dumped.code;
        EXPECT_EQ(run_trox({"dump", path, "--hex", "--at", "0"}).code, 0) << length;
    }
}

TEST(dump_use, refuses_what_makes_no_sense)
{
    EXPECT_EQ(run_trox({"dump"}).code, 2);
    EXPECT_EQ(run_trox({"dump", sample, "--hex"}).code, 2);
    EXPECT_EQ(run_trox({"dump", sample, "--at", "5"}).code, 2);
    EXPECT_EQ(run_trox({"dump", sample, "--items", "--hex"}).code, 2);
    EXPECT_EQ(run_trox({"dump", sample, "--rows", "many"}).code, 2);
    EXPECT_EQ(run_trox({"dump", sample, "--item", "basket"}).code, 2);
    const auto missing = run_trox({"dump", sample, "-c", "LINAC.DIAG/TOROID/3.UNDU/CHARG"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.err.find("did you mean " + charge), std::string::npos) << missing.err;
    EXPECT_EQ(run_trox({"dump", TROX_TEST_DATA_DIR "/data_2010"}).code, 1);
    EXPECT_EQ(run_trox({"doctor"}).code, 2);
}

TEST(dump_use, refuses_selections_that_would_have_no_effect)
{
    for (const std::vector<std::string>& options : {std::vector<std::string>{"--hex", "--at", "0", "--item", "trailer"},
                                                    {"--hex", "--at", "0", "-c", charge},
                                                    {"--hex", "--item", "trailer", "--rows", "1"},
                                                    {"--hex", "--item", "trailer", "--event", "388120125"},
                                                    {"--items", "--rows", "1"},
                                                    {"--items", "--event", "388120125"}}) {
        std::vector<std::string> arguments{"dump", sample};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const auto result = run_trox(arguments);
        EXPECT_EQ(result.code, 2) << testing::PrintToString(options);
        EXPECT_EQ(result.out, "");
    }
}

TEST(dump_use, tells_of_events_and_positions_that_the_file_has_not_got)
{
    const auto event = run_trox({"dump", sample, "--event", "99999"});
    EXPECT_EQ(event.code, 1);
    EXPECT_NE(event.err.find("has no event 99999"), std::string::npos) << event.err;
    EXPECT_EQ(run_trox({"dump", sample, "--event", "388120125"}).code, 0);
    EXPECT_EQ(run_trox({"dump", sample, "--hex", "--at", "225784"}).code, 0); // the last byte
    const auto position = run_trox({"dump", sample, "--hex", "--at", "225785"});
    EXPECT_EQ(position.code, 1);
    EXPECT_NE(position.err.find("ends at 0x371f9"), std::string::npos) << position.err;
}

TEST(inspecting, refuses_a_pipe_that_nobody_writes_to)
{
    const trox_test::temp_directory directory;
    ASSERT_EQ(::mkfifo(directory.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(run_trox({"doctor", directory.file("pipe")}).code, 1);
    EXPECT_EQ(run_trox({"dump", directory.file("pipe")}).code, 1);
}

TEST(dump_use, survives_a_reader_that_goes_away)
{
    EXPECT_EQ(trox_test::run_trox_into_closing_pipe({"dump", sample, "--rows", "all"}, 1000).code, 0);
    EXPECT_EQ(trox_test::run_trox_into_closing_pipe({"doctor", sample, "--long"}, 10).code, 0);
}

} // namespace
