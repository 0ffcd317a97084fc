// trox plot as a user runs it.
#include "run_trox.h"
#include "sample_files.h"
#include "temp_directory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using trox_test::run_trox;
using trox_test::temp_directory;

const std::string charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
const std::string image = "LINAC.DIAG/CAM/SCR.4/IMG";

std::string contents_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(trox_plot, draws_in_the_lines_that_it_is_given)
{
    const auto result = run_trox({"plot", "data_2010", charge, "--style", "ascii", "--width", "60", "--height", "15"});
    EXPECT_EQ(result.code, 0) << result.err;
    std::istringstream lines(result.out);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_LE(line.size(), 60U);
    }
    EXPECT_EQ(count, 15U);
    EXPECT_THAT(result.out, HasSubstr("*"));
    EXPECT_THAT(result.out, HasSubstr("event 388120040"));
}

TEST(trox_plot, takes_width_and_colours_from_the_terminal)
{
    const auto shown =
        trox_test::run_trox_on_terminal({"plot", "data_2010", image}, 50, {TROX_TEST_DATA_DIR, {{"TERM", "xterm"}}});
    EXPECT_EQ(shown.code, 0);
    EXPECT_THAT(shown.out, HasSubstr("\x1b[38;2;"));
    EXPECT_THAT(run_trox({"plot", "data_2010", image}).out, Not(HasSubstr("\x1b[")));
    EXPECT_THAT(run_trox({"plot", "data_2010", image, "--color", "always"}).out, HasSubstr("\x1b[38;2;"));
}

TEST(trox_plot, writes_svg_and_png)
{
    const temp_directory directory;
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "-o", directory.file("a.svg"), "--size", "640x400"}).code, 0);
    EXPECT_THAT(contents_of(directory.file("a.svg")), HasSubstr("width=\"640\" height=\"400\""));
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "-o", directory.file("a.png")}).code, 0);
    EXPECT_THAT(contents_of(directory.file("a.png")), StartsWith("\x89PNG"));
    EXPECT_THAT(run_trox({"plot", "data_2010", charge, "--format", "svg"}).out, StartsWith("<?xml"));
}

TEST(trox_plot, refuses_endings_that_tell_no_format)
{
    const temp_directory directory;
    for (const char* name : {"a.pdf", "a", "a.svgz"}) {
        const auto result = run_trox({"plot", "data_2010", charge, "-o", directory.file(name)});
        EXPECT_EQ(result.code, 2);
        EXPECT_THAT(result.err, HasSubstr("does not tell the format"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory.file("")));
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "-o", directory.file("a.txt")}).code, 0);
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "-o", directory.file("a"), "--format", "terminal"}).code, 0);
    EXPECT_EQ(contents_of(directory.file("a.txt")), run_trox({"plot", "data_2010", charge}).out);
    EXPECT_EQ(contents_of(directory.file("a")), contents_of(directory.file("a.txt")));
}

TEST(trox_plot, shows_times_in_the_zone_and_format_that_are_wanted)
{
    const std::string slow = "LINAC.MAG/QUAD/Q5.BC2/I.RBV";
    const auto zoned = run_trox({"plot", "data_2010", slow, "--format", "svg", "--tz", "Europe/Berlin"});
    EXPECT_EQ(zoned.code, 0) << zoned.err;
    EXPECT_THAT(zoned.out, HasSubstr("time (2012-06-14 Europe/Berlin)"));
    EXPECT_THAT(zoned.out, HasSubstr("11:30:02"));
    EXPECT_THAT(run_trox({"plot", "data_2010", slow, "--format", "svg", "--time-format", "epoch"}).out,
                HasSubstr(">1339666205.000000<"));
    EXPECT_THAT(run_trox({"plot", "data_2010", charge, "--time-format", "%H:%M"}).out,
                HasSubstr("event 388120040, 09:30\n"));
}

TEST(trox_plot, tells_of_a_damaged_record_and_fails_when_nothing_is_left)
{
    const temp_directory directory;
    const std::string name = trox_test::sample_names(trox_test::sample_generation::g2010)[0];
    const std::string trace = "LINAC.RF/ADC/A07.M1/TRACE.Z";
    std::filesystem::copy_file(trox_test::sample_directory(trox_test::sample_generation::g2010) + name,
                               directory.file("a.raw"));
    const auto dump = trox_test::read_dump(name);
    ASSERT_EQ(dump["channels"][1]["name"], trace);
    const auto& record = dump["channels"][1]["records"][5];
    {
        std::fstream damaged(directory.file("a.raw"), std::ios::binary | std::ios::in | std::ios::out);
        damaged.seekp(record["pos"][3].get<std::streamoff>() + 40);
        damaged.write("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8);
    }
    const auto result = run_trox({"plot", directory.file("a.raw"), trace, "--event", "388120045"});
    EXPECT_EQ(result.code, 1) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("passed over"));
    EXPECT_THAT(result.err, HasSubstr("nothing is drawn: the records of event 388120045 cannot be read\n"));
}

TEST(trox_plot, refuses_binary_on_a_terminal)
{
    EXPECT_EQ(trox_test::run_trox_on_terminal({"plot", "data_2010", charge, "--format", "png"}, 80).code, 2);
}

TEST(trox_plot, refuses_what_makes_no_sense)
{
    EXPECT_EQ(run_trox({"plot", "data_2010"}).code, 2);
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "--member", "CH9"}).code, 2);
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "--as", "image"}).code, 2);
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "--event", "7"}).code, 1);
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "--size", "640"}).code, 2);
    EXPECT_EQ(run_trox({"plot", "data_2010", charge, "--format", "svg", "--size", "1x1"}).code, 2);
}

} // namespace
