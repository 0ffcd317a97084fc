// trox export as a user runs it.
#include "run_trox.h"
#include "sample_files.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

namespace
{

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;
using trox_test::run_trox;
using trox_test::temp_directory;

const std::string charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
const std::string trace_z = "LINAC.RF/ADC/A07.M1/TRACE.Z";

std::string contents_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(trox_export, writes_every_format_verified)
{
    for (const char* name : {"run.csv", "run.ndjson", "run.npz", "run.h5"}) {
        const temp_directory directory;
        const auto result = run_trox({"export", "data_2024", "-o", directory.file(name), "--verify"});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("run." + fs::path(name).extension().string().substr(1) + ": 120 events"));
        EXPECT_THAT(result.err, HasSubstr("verified"));
        EXPECT_TRUE(fs::exists(directory.file(name)));
    }
}

TEST(trox_export, writes_csv_to_standard_output_by_itself)
{
    const auto result =
        run_trox({"export", "data_2010", charge, "--from-event", "388120041", "--to-event", "388120042"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, StartsWith("event,time,channel,member,"));
    // The values of that event, in the dump of the file.
    const auto dump = trox_test::read_dump(trox_test::sample_names(trox_test::sample_generation::g2010)[0]);
    std::string values;
    for (const auto& value : dump["channels"][0]["records"][1]["v"]["memb"][0]) {
        values += (values.empty() ? "" : " ") + value.dump();
    }
    EXPECT_THAT(result.out, HasSubstr("388120041,2012-06-14T09:30:00.349972Z," + charge + ",VALUE,"));
    EXPECT_THAT(result.out, HasSubstr("," + values + "\n"));
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2);
}

TEST(trox_export, tells_of_missing_records)
{
    const temp_directory directory;
    const auto result =
        run_trox({"export", "data_2010", charge, "LINAC.RF/ADC/A07.M3/TRACE.P", "-o", directory.file("run.npz")});
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.err, HasSubstr("LINAC.RF/ADC/A07.M3/TRACE.P: no record in 108 of 120 events\n"));
    EXPECT_THAT(result.err, HasSubstr("run.npz: 120 events, 132 records\n"));
}

TEST(trox_export, ends_with_3_when_data_are_lost)
{
    const temp_directory directory;
    const std::string name = trox_test::sample_names(trox_test::sample_generation::g2010)[0];
    fs::copy_file(trox_test::sample_directory(trox_test::sample_generation::g2010) + name, directory.file("a.raw"));
    const auto dump = trox_test::read_dump(name);
    ASSERT_EQ(dump["channels"][1]["name"], trace_z);
    const auto position = dump["channels"][1]["records"][5]["pos"][3].get<std::streamoff>();
    {
        std::fstream damaged(directory.file("a.raw"), std::ios::binary | std::ios::in | std::ios::out);
        damaged.seekp(position + 40);
        damaged.write("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8);
    }
    const auto result =
        run_trox({"export", directory.file("a.raw"), trace_z, charge, "-o", directory.file("run.h5"), "--verify"});
    EXPECT_EQ(result.code, 3) << result.err;
    EXPECT_THAT(result.err, HasSubstr("passed over"));
    EXPECT_THAT(result.err, HasSubstr(trace_z + ": no record in 1 of 40 events"));
    EXPECT_TRUE(fs::exists(directory.file("run.h5")));
}

TEST(trox_export, refuses_what_makes_no_sense)
{
    const temp_directory directory;
    EXPECT_EQ(run_trox({"export", "data_2010", "-o", directory.file("run.xyz")}).code, 2);
    EXPECT_EQ(run_trox({"export", "data_2010", "--format", "hdf5"}).code, 2);
    EXPECT_EQ(run_trox({"export", "data_2010", "--verify"}).code, 2);
    EXPECT_EQ(run_trox({"export", "data_2010", trace_z, "--wide"}).code, 2);
    EXPECT_EQ(run_trox({"export", "data_2010", charge, "-o", directory.file("run.png")}).code, 2);
    EXPECT_EQ(run_trox({"export", "data_2010", charge, "-o", directory.file("no/run.h5")}).code, 1);
    EXPECT_EQ(run_trox({"export", "data_2010", "CHARG", "-o", directory.file("run.h5")}).code, 1);
    EXPECT_TRUE(fs::is_empty(directory.file("")));
}

TEST(trox_export, writes_text_into_a_named_pipe_as_it_comes_and_leaves_it_there)
{
    for (const char* format : {"csv", "ndjson"}) {
        const temp_directory directory;
        const std::string pipe = directory.file("pipe");
        ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
        auto text = std::async(std::launch::async, [&] { return contents_of(pipe); });
        const auto into_pipe = run_trox({"export", "data_2010", charge, "--format", format, "-o", pipe});
        EXPECT_EQ(into_pipe.code, 0) << into_pipe.err;
        EXPECT_EQ(text.get(), run_trox({"export", "data_2010", charge, "--format", format}).out);
        EXPECT_TRUE(fs::is_fifo(pipe));
    }
}

TEST(trox_export, puts_no_file_in_the_place_of_a_pipe_or_terminal)
{
    const temp_directory directory;
    const std::string pipe = directory.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const char* format : {"npz", "hdf5", "png"}) {
        const auto result = run_trox({"export", "data_2010", charge, "--format", format, "-o", pipe});
        EXPECT_EQ(result.code, 2);
        EXPECT_THAT(result.err, HasSubstr("this format needs a file, and " + pipe + " is a device or a pipe\n"));
    }
    const auto verified = run_trox({"export", "data_2010", charge, "--format", "csv", "--verify", "-o", pipe});
    EXPECT_EQ(verified.code, 2);
    EXPECT_THAT(verified.err, HasSubstr("what is written to " + pipe + " cannot be verified\n"));
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST(trox_export, replaces_what_a_link_leads_to_and_keeps_the_link)
{
    const temp_directory directory;
    std::ofstream(directory.file("old.csv")) << "before";
    fs::create_directory(directory.file("below"));
    fs::create_symlink("../old.csv", directory.file("below/there.csv"));
    fs::create_symlink("new.csv", directory.file("below/not_there.csv"));
    for (const char* link : {"below/there.csv", "below/not_there.csv"}) {
        EXPECT_EQ(run_trox({"export", "data_2010", charge, "-o", directory.file(link)}).code, 0);
        EXPECT_TRUE(fs::is_symlink(directory.file(link)));
        EXPECT_THAT(contents_of(directory.file(link)), StartsWith("event,time,"));
    }
    EXPECT_FALSE(fs::is_symlink(directory.file("old.csv")));
    EXPECT_TRUE(fs::is_regular_file(directory.file("below/new.csv")));
}

TEST(trox_export, fails_and_leaves_nothing_behind_when_the_disk_is_full)
{
    for (const char* name : {"run.csv", "run.ndjson", "run.npz", "run.h5"}) {
        for (const std::size_t size : {100, 3000, 20000, 50000}) {
            const temp_directory directory;
            trox_test::run_options limited;
            limited.largest_file = size;
            const auto result = run_trox({"export", "data_2024", "-o", directory.file(name)}, limited);
            EXPECT_EQ(result.code, 1) << name << " " << size << ": " << result.err;
            EXPECT_THAT(result.err, StartsWith("trox: export: "));
            EXPECT_THAT(result.err, HasSubstr("File too large"));
            EXPECT_THAT(result.err, HasSubstr("run." + fs::path(name).extension().string().substr(1)));
            EXPECT_TRUE(fs::is_empty(directory.file(""))) << name << " " << size;
        }
    }
    const temp_directory directory;
    trox_test::run_options limited;
    limited.largest_file = 100;
    const auto result =
        run_trox({"export", "data_2010", "LINAC.DIAG/CAM/SCR.4/IMG", "-o", directory.file("beam.png")}, limited);
    EXPECT_EQ(result.code, 1) << result.err;
    EXPECT_TRUE(fs::is_empty(directory.file("")));
}

TEST(trox_export, shows_times_of_csv_as_list_does)
{
    const std::vector<std::string> rows{"export",    "data_2010",     charge, "--to-event",
                                        "388120041", "--time-format", "epoch"};
    EXPECT_THAT(run_trox(rows).out, HasSubstr("\n388120040,1339666200.249944,"));
    const auto zoned = run_trox({"export", "data_2010", charge, "--to-event", "388120041", "--tz", "Europe/Berlin"});
    EXPECT_THAT(zoned.out, HasSubstr("\n388120040,2012-06-14T11:30:00.249944+02:00,"));
    EXPECT_EQ(run_trox({"export", "data_2010", charge, "--tz", "Mars/Olympus"}).code, 2);
    EXPECT_EQ(run_trox({"export", "data_2010", charge, "--format", "ndjson", "--tz", "Europe/Berlin"}).code, 2);
}

TEST(trox_export, says_why_standard_output_cannot_be_verified_and_what_a_wide_table_lacks)
{
    EXPECT_THAT(run_trox({"export", "data_2010", "--verify"}).err,
                HasSubstr("what is written to standard output cannot be verified\n"));
    EXPECT_THAT(run_trox({"export", "data_2010", trace_z, "--wide"}).err,
                HasSubstr("is of kind trace, and a wide table has room for single values only"));
}

TEST(trox_export, survives_a_pipe_that_closes)
{
    const auto result = trox_test::run_trox_into_closing_pipe({"export", "data_2010", "--format", "ndjson"}, 100);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
}

TEST(trox_export, writes_a_picture_per_image)
{
    const temp_directory directory;
    const auto result = run_trox({"export", "data_2010", "LINAC.DIAG/CAM/SCR.4/IMG", "--to-event", "388120050", "-o",
                                  directory.file("beam.png"), "--verify"});
    EXPECT_EQ(result.code, 0) << result.err;
    // Every fourth machine event, from the third one on: 42 and 46.
    EXPECT_TRUE(fs::exists(directory.file("beam-388120042.png")));
    EXPECT_TRUE(fs::exists(directory.file("beam-388120046.png")));
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.file("")), {}), 2);
}

} // namespace
