// Catalogues and arguments that are wrong: a clear reason, and the sound runs beside them.
#include "catalogue_fixture.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace
{

using testing::HasSubstr;
using trox_test::catalogue_test;
using trox_test::lookup;
using trox_test::period_of;
using trox_test::runs_of;
using file_names = std::vector<std::vector<std::string>>;

const std::string run_7_xml = "linac_main_run7_19700101T000140_19700101T000200.xml";
const std::string run_7_text = R"(<daq_run number="7" experiment="linac" stream="main" start="100" stop="120">
  <file name="a.raw" format="raw" start="100" stop="120"/>
</daq_run>)";
const std::string run_8_xml = "linac_main_run8_19700101T000320_19700101T000340.xml";
const std::string run_8_text = R"(<daq_run number="8" experiment="linac" stream="main" start="200" stop="220">
  <file name="b.raw" format="raw" start="200" stop="220"/>
</daq_run>)";

std::string run_7_with(const std::string& from, const std::string& to)
{
    std::string text = run_7_text;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos);
    return text.replace(at, from.size(), to);
}

struct damage {
    const char* name;
    std::string text;
    const char* reason;
};

class DamagedCatalogue : public catalogue_test, public testing::WithParamInterface<damage>
{
};

TEST_P(DamagedCatalogue, IsNamedInTheReasonAndHidesNoOtherRun)
{
    write(run_7_xml, GetParam().text);
    write(run_8_xml, run_8_text);

    const lookup alone = runs_of(folder(), {7}, "linac/main");
    EXPECT_NE(alone.status, 0);
    EXPECT_TRUE(alone.lists.empty());
    EXPECT_EQ(alone.xml_name, "before");
    EXPECT_THAT(alone.key, HasSubstr(run_7_xml));
    EXPECT_THAT(alone.key, HasSubstr(GetParam().reason));
    EXPECT_LT(alone.key.size(), 1000U);

    EXPECT_EQ(runs_of(folder(), {7, 8}).files(), (file_names{{"b.raw"}}));
    EXPECT_EQ(period_of(folder(), 0, 0).files(), (file_names{{"b.raw"}}));
    std::string reason;
    EXPECT_NE(get_time_for_run(7, nullptr, nullptr, &reason, folder().c_str()), 0);
    EXPECT_THAT(reason, HasSubstr(GetParam().reason));
}

std::string nested(std::size_t depth)
{
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
        text += "<a>";
    }
    return text;
}

const std::string huge_number = "99999999999999999999999999";

INSTANTIATE_TEST_SUITE_P(
    Kinds, DamagedCatalogue,
    testing::Values(
        damage{"empty", "", "line 1"}, damage{"binary", std::string("\0\xff\xfe\x00", 4), "line 1"},
        damage{"cut", run_7_text.substr(0, run_7_text.size() - 4), "line 3"},
        damage{"trailing", run_7_text + "<x/>", "line 3"},
        damage{"twice", run_7_with("stop=\"120\"", "stop=\"120\" stop=\"120\""), "line 1"},
        damage{"entity", "<!DOCTYPE d [<!ENTITY e \"x\">]>" + run_7_text, "line 1"},
        damage{"undefined_entity", run_7_with("a.raw", "&e;"), "line 2"}, damage{"deep", nested(100000), "line 1"},
        damage{"long_root", "<" + std::string(100000, 'r') + "/>", "not \"daq_run\""},
        damage{"other_root", "<channels/>", "not \"daq_run\""},
        damage{"no_number", run_7_with("number=\"7\"", ""), "another run"},
        damage{"other_number", run_7_with("number=\"7\"", "number=\"8\""), "another run"},
        damage{"number_and_more", run_7_with("number=\"7\"", "number=\"7 \""), "another run"},
        damage{"huge_number", run_7_with("number=\"7\"", "number=\"" + huge_number + "\""), "another run"},
        damage{"wrapping_number", run_7_with("number=\"7\"", "number=\"4294967303\""), "another run"},
        damage{"other_experiment", run_7_with("linac", "gun"), "another run"},
        damage{"other_stream", run_7_with("main", "laser"), "another run"},
        damage{"no_start", run_7_with("start=\"100\" stop", "stop"), "start or stop"},
        damage{"signed_start", run_7_with("start=\"100\"", "start=\"-100\""), "start or stop"},
        damage{"stop_before_start", run_7_with("stop=\"120\"", "stop=\"99\""), "start or stop"},
        damage{"huge_stop", run_7_with("stop=\"120\"", "stop=\"" + huge_number + "\""), "start or stop"},
        damage{"file_without_name", run_7_with("name=\"a.raw\" ", ""), "bad file entry"},
        damage{"file_with_path", run_7_with("a.raw", "../../etc/a.raw"), "bad file entry"},
        damage{"file_is_folder", run_7_with("a.raw", ".."), "bad file entry"},
        damage{"file_name_too_long", run_7_with("a.raw", std::string(100000, 'n')), "bad file entry"},
        damage{"file_without_format", run_7_with("format=\"raw\"", ""), "bad file entry"},
        damage{"file_with_fraction", run_7_with("start=\"100\" stop=\"120\"/", "start=\"100.5\" stop=\"120\"/"),
               "bad file entry"},
        damage{"file_backwards", run_7_with("start=\"100\" stop=\"120\"/", "start=\"120\" stop=\"100\"/"),
               "bad file entry"},
        damage{"too_large", run_7_text + std::string(std::size_t{8} << 20, ' '), "larger than 8388608 bytes"}),
    [](const auto& kind) { return kind.param.name; });

TEST_F(DamagedCatalogue, EveryCutOfAFileIsRefused)
{
    for (std::size_t length = 0; length < run_7_text.size(); ++length) {
        write(run_7_xml, run_7_text.substr(0, length));
        EXPECT_NE(runs_of(folder(), {7}).status, 0) << length;
    }
    write(run_7_xml, run_7_text);
    EXPECT_EQ(runs_of(folder(), {7}).status, 0);
}

TEST_F(DamagedCatalogue, FilesUnderOtherNamesAreNoCatalogueFiles)
{
    const char* const odd_names[] = {
        "linac_main_run7_19700101T000140_19700101T000200.xml~",
        ".linac_main_run7_19700101T000140_19700101T000200.xml.tmp",
        "linac_main_run7_19700101T000140.xml",
        "a_linac_main_run7_19700101T000140_19700101T000200.xml",
        "_main_run7_19700101T000140_19700101T000200.xml",
        "linac__run7_19700101T000140_19700101T000200.xml",
        "linac_main_7_19700101T000140_19700101T000200.xml",
        "linac_main_run_19700101T000140_19700101T000200.xml",
        "linac_main_run07_19700101T000140_19700101T000200.xml",
        "linac_main_run-7_19700101T000140_19700101T000200.xml",
        "linac_main_run4294967303_19700101T000140_19700101T000200.xml",
        "linac_main_run99999999999999999999999_19700101T000140_19700101T000200.xml",
        "linac_main_run7_19700101t000140_19700101T000200.xml",
        "linac_main_run7_19700132T000140_19700201T000200.xml",
        "linac_main_run7_19710229T000140_19710301T000200.xml",
        "linac_main_run7_19700101T240000_19700102T000200.xml",
        "linac_main_run7_19700101T000060_19700102T000200.xml",
        "linac_main_run7_19700101T000200_19700101T000140.xml",
        "linac_main_run7_open_19700101T000140.xml",
        "linac_main_run7_19700101T000140_Open.xml",
        "linac_main_run7_19700101T000140_.xml",
        ".xml",
        "____.xml",
        "\xff\xfe_\n_run7_19700101T000140_19700101T0002OO.xml",
    };
    for (const char* name : odd_names) {
        write(name, run_7_text);
    }
    const lookup found = period_of(folder(), 0, 0);
    EXPECT_NE(found.status, 0);
    EXPECT_EQ(found.key, "the run catalogue has no files of this period");
    write(run_8_xml, run_8_text);
    EXPECT_EQ(period_of(folder(), 0, 0).files(), (file_names{{"b.raw"}}));
}

TEST_F(DamagedCatalogue, FoldersPipesAndDeadLinksAreNoCatalogueFiles)
{
    std::filesystem::create_directory(folder() + "/" + run_7_xml);
    ASSERT_EQ(mkfifo((folder() + "/linac_main_run9_19700101T000140_open.xml").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", folder() + "/linac_main_run10_19700101T000140_open.xml");
    EXPECT_THAT(runs_of(folder(), {7}).key, HasSubstr("not a regular file"));
    EXPECT_THAT(runs_of(folder(), {9}).key, HasSubstr("not a regular file"));
    EXPECT_THAT(runs_of(folder(), {10}).key, HasSubstr("No such file"));
    const lookup all = period_of(folder(), 0, 0);
    EXPECT_NE(all.status, 0);
    EXPECT_THAT(all.key, HasSubstr("3 damaged catalogue file(s)"));
}

TEST_F(DamagedCatalogue, DirectoryThatCannotBeReadIsTheReason)
{
    write("file", "");
    EXPECT_THAT(runs_of(folder() + "/absent", {7}).key, HasSubstr("/absent\": No such file"));
    EXPECT_THAT(period_of(folder() + "/file", 0, 0).key, HasSubstr("Not a directory"));
    EXPECT_NE(runs_of("", {7}).status, 0);
    EXPECT_NE(runs_of(std::string(100000, 'd'), {7}).status, 0);
}

TEST_F(DamagedCatalogue, NullArgumentsAreFailures)
{
    write(run_7_xml, run_7_text);
    std::string key = "linac";
    std::vector<trox_root_xml_files*> lists;
    EXPECT_NE(get_files_for_runs({7}, &lists, nullptr, &key, nullptr, 1), 0);
    EXPECT_EQ(key, "no run catalogue directory given");
    EXPECT_NE(get_files_for_period(0, 0, &lists, nullptr, nullptr, nullptr, 1), 0);
    EXPECT_NE(get_time_for_run(7, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_NE(get_files_for_runs({7}, nullptr, nullptr, &key, folder().c_str(), 1), 0);
    EXPECT_EQ(key, "no list to fill");
    EXPECT_NE(get_files_for_period(0, 0, nullptr, nullptr, nullptr, folder().c_str(), 1), 0);
    EXPECT_TRUE(lists.empty());
}

TEST_F(DamagedCatalogue, NoRunsAndUnknownRunsMatchNothing)
{
    write(run_7_xml, run_7_text);
    EXPECT_NE(runs_of(folder(), {}).status, 0);
    const lookup none = runs_of(folder(), {-7, 0, 2147483647});
    EXPECT_NE(none.status, 0);
    EXPECT_EQ(none.key, "the run catalogue has no files of these runs");
}

} // namespace
