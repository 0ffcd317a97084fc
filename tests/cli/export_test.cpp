// trox export as a user runs it.
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

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;
using trox_test::run_trox;
using trox_test::temp_directory;

const std::string charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
const std::string trace_z = "LINAC.RF/ADC/A07.M1/TRACE.Z";

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
