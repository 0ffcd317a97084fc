// Lookups in sound catalogues: which runs and files are found, by run, period, key and format.
#include "catalogue_fixture.h"

#include <algorithm>
#include <climits>
#include <sys/inotify.h>
#include <unistd.h>

namespace
{

using trox_test::catalogue_test;
using trox_test::lookup;
using trox_test::period_of;
using trox_test::runs_of;
using file_names = std::vector<std::vector<std::string>>;

const std::string sample = std::string(TROX_TEST_DATA_DIR) + "/catalogue";
const std::string run_1042_xml = "linac_main_run1042_20120614T093000_20120614T093013.xml";

TEST(SampleCatalogue, NamesTheFilesOfARunInFileOrder)
{
    const lookup found = runs_of(sample, {1042}, "linac/main");
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.files(), (file_names{{"linac_main_run1042_file1_20120614T093000.raw",
                                          "linac_main_run1042_file2_20120614T093004.raw",
                                          "linac_main_run1042_file3_20120614T093008.raw"}}));
    EXPECT_EQ(*found.lists.at(0)->xmlfile, sample + "/" + run_1042_xml);
    EXPECT_EQ(found.xml_name, sample + "/" + run_1042_xml);
    EXPECT_EQ(found.key, "linac/main") << "only a failure changes it";
}

TEST(SampleCatalogue, RawTakesBothRawFormatsAndRaw64OnlyItsOwn)
{
    const lookup raw = runs_of(sample, {2210, 977, 1042, 977});
    ASSERT_EQ(raw.status, 0);
    ASSERT_EQ(raw.lists.size(), 3U) << "each run once";
    EXPECT_EQ(*raw.lists[0]->rfiles[0], "linac_main_run977_file1_20091103T221510.raw") << "ordered by run number";
    EXPECT_EQ(*raw.lists[2]->rfiles[2], "linac_main_run2210_file3_20240305T040002.250.raw");
    EXPECT_EQ(raw.xml_name, *raw.lists[2]->xmlfile) << "the last one used";

    const lookup raw64 = runs_of(sample, {977, 1042, 2210}, "", TROX_DAQ_DATA_RAW64_FORMAT);
    ASSERT_EQ(raw64.lists.size(), 1U);
    EXPECT_EQ(*raw64.lists[0]->rfiles[0], "linac_main_run2210_file1_20240305T035954.250.raw");
    EXPECT_NE(runs_of(sample, {977, 1042, 2210}, "", TROX_DAQ_DATA_ROOT_FORMAT).status, 0);
}

TEST(SampleCatalogue, TellsTheSpanOfARun)
{
    long start = -1;
    long stop = -1;
    std::string key = "linac/main";
    EXPECT_EQ(get_time_for_run(977, &start, &stop, &key, sample.c_str()), 0);
    EXPECT_EQ(start, 1257286510);
    EXPECT_EQ(stop, 1257286523);
    EXPECT_EQ(get_time_for_run(977, nullptr, nullptr, nullptr, sample.c_str()), 0);

    EXPECT_NE(get_time_for_run(978, &start, &stop, &key, sample.c_str()), 0);
    EXPECT_EQ(key, "the run catalogue has no run 978");
    EXPECT_EQ(start, 1257286510) << "as before";
}

TEST(SampleCatalogue, PeriodEndsBelongToIt)
{
    // Files of run 1042: 1339666200 to 205, 204 to 209, 208 to 213.
    EXPECT_EQ(period_of(sample, 1339666213, 1339666300).files(),
              (file_names{{"linac_main_run1042_file3_20120614T093008.raw"}}));
    EXPECT_EQ(period_of(sample, 1339666100, 1339666200).files(),
              (file_names{{"linac_main_run1042_file1_20120614T093000.raw"}}));
    EXPECT_EQ(period_of(sample, 1339666206, 1339666207).files(),
              (file_names{{"linac_main_run1042_file2_20120614T093004.raw"}}));
    EXPECT_NE(period_of(sample, 1339666214, 1339666300).status, 0);
    EXPECT_NE(period_of(sample, 1339666100, 1339666199).status, 0);
}

TEST(SampleCatalogue, ZeroLeavesASideOfThePeriodOpen)
{
    EXPECT_EQ(period_of(sample, 0, 0).lists.size(), 3U);
    const lookup until = period_of(sample, 0, 1339666203);
    ASSERT_EQ(until.lists.size(), 2U);
    EXPECT_EQ(until.lists[0]->rfiles.size(), 3U) << "all of run 977";
    EXPECT_EQ(until.lists[1]->rfiles.size(), 1U) << "the first file of run 1042";
    const lookup from = period_of(sample, 1709611207, 0);
    EXPECT_EQ(from.files(), (file_names{{"linac_main_run2210_file3_20240305T040002.250.raw"}}));
    EXPECT_NE(period_of(sample, LONG_MAX, LONG_MIN).status, 0) << "an empty period";
}

/// 100 s after the epoch is 19700101T000140.
class Catalogue : public catalogue_test
{
protected:
    void SetUp() override
    {
        catalogue_test::SetUp();
        write("linac_main_run7_19700101T000140_19700101T000200.xml",
              R"(<?xml version="1.0" encoding="UTF-8"?><!-- closed -->
                 <daq_run number="7" experiment="linac" stream="main" start="100" stop="120" operator="x">
                 <note/><file name="b.raw" format="raw" start="110" stop="120"/>
                 <file name="a&amp;1.raw" format="raw" start="100" stop="110"/>
                 <file name="a.root" format="root" start="100" stop="120"/>
                 <file name="a.future" format="other" start="100" stop="120"/></daq_run>)");
        write("linac_laser_run7_19700101T000140_19700101T000200.xml",
              R"(<daq_run number="7" experiment="linac" stream="laser" start="100" stop="120">
                 <file name="l.raw" format="raw64" start="100" stop="120"/></daq_run>)");
        write("gun_main_run8_19700101T000320_open.xml",
              R"(<daq_run number="8" experiment="gun" stream="main" start="200" stop="0">
                 <file name="g1.raw" format="raw" start="200" stop="210"/>
                 <file name="g2.raw" format="raw" start="210" stop="0"/></daq_run>)");
    }
};

TEST_F(Catalogue, KeyLimitsExperimentAndStream)
{
    EXPECT_EQ(runs_of(folder(), {7}, "").files(), (file_names{{"l.raw"}, {"a&1.raw", "b.raw"}}));
    EXPECT_EQ(runs_of(folder(), {7}, "linac").lists.size(), 2U);
    EXPECT_EQ(runs_of(folder(), {7}, "linac/laser").files(), (file_names{{"l.raw"}}));
    EXPECT_EQ(runs_of(folder(), {7}, "linac/").lists.size(), 2U);
    EXPECT_EQ(runs_of(folder(), {7}, "/main").files(), (file_names{{"a&1.raw", "b.raw"}}));
    EXPECT_NE(runs_of(folder(), {7}, "lin").status, 0);
    EXPECT_NE(runs_of(folder(), {7}, "linac/mai").status, 0);
    EXPECT_NE(runs_of(folder(), {7}, "linac/main/").status, 0);
    EXPECT_NE(runs_of(folder(), {7}, "gun").status, 0);
    EXPECT_EQ(period_of(folder(), 0, 0, "gun/main").lists.size(), 1U);
}

TEST_F(Catalogue, EachFormatTakesItsFiles)
{
    const auto files = [&](int format) { return runs_of(folder(), {7}, "", format).files(); };
    EXPECT_EQ(files(0), (file_names{{"a.root"}}));
    EXPECT_EQ(files(1), (file_names{{"l.raw"}, {"a&1.raw", "b.raw"}}));
    EXPECT_EQ(files(2), (file_names{{"l.raw"}, {"a&1.raw", "a.root", "b.raw"}}));
    EXPECT_EQ(files(3), (file_names{{"l.raw"}}));
    for (const int unknown : {-1, 4, INT_MAX, INT_MIN}) {
        const lookup found = runs_of(folder(), {7}, "", unknown);
        EXPECT_NE(found.status, 0);
        EXPECT_EQ(found.key, "unknown data format " + std::to_string(unknown));
    }
}

TEST_F(Catalogue, OpenRunReachesUpToAnyTime)
{
    EXPECT_EQ(period_of(folder(), 5000000000, 6000000000).files(), (file_names{{"g2.raw"}}));
    EXPECT_EQ(period_of(folder(), 205, 207).files(), (file_names{{"g1.raw"}}));
    EXPECT_NE(period_of(folder(), 150, 199).status, 0);
    long start = 0;
    long stop = -1;
    EXPECT_EQ(get_time_for_run(8, &start, &stop, nullptr, folder().c_str()), 0);
    EXPECT_EQ(start, 200);
    EXPECT_EQ(stop, 0);
}

TEST_F(Catalogue, RunThatWasJustClosedIsListedOnce)
{
    write("gun_main_run8_19700101T000320_19700101T000340.xml",
          R"(<daq_run number="8" experiment="gun" stream="main" start="200" stop="220">
             <file name="g1.raw" format="raw" start="200" stop="220"/></daq_run>)");
    EXPECT_EQ(runs_of(folder(), {8}).files(), (file_names{{"g1.raw"}}));
    EXPECT_EQ(period_of(folder(), 215, 0).files(), (file_names{{"g1.raw"}}));
    EXPECT_NE(period_of(folder(), 221, 0).status, 0) << "the run is over, whatever the older file says";
    long stop = -1;
    EXPECT_EQ(get_time_for_run(8, nullptr, &stop, nullptr, folder().c_str()), 0);
    EXPECT_EQ(stop, 220);

    write("gun_main_run8_19700101T000320_19700101T000340.xml", "<daq_run");
    EXPECT_EQ(runs_of(folder(), {8}).files(), (file_names{{"g1.raw", "g2.raw"}})) << "the open one stands in";
}

TEST_F(Catalogue, SameRunInTwoStreamsAnswersTheFirstByName)
{
    write("linac_laser_run7_19700101T000140_19700101T000200.xml",
          R"(<daq_run number="7" experiment="linac" stream="laser" start="101" stop="119"/>)");
    long start = 0;
    long stop = 0;
    EXPECT_EQ(get_time_for_run(7, &start, &stop, nullptr, folder().c_str()), 0);
    EXPECT_EQ(start, 101);
    std::string key = "linac/main";
    EXPECT_EQ(get_time_for_run(7, &start, &stop, &key, folder().c_str()), 0);
    EXPECT_EQ(start, 100);
}

TEST_F(Catalogue, AppendsToTheListsAndTakesNullStrings)
{
    lookup found = runs_of(folder(), {8});
    ASSERT_EQ(found.lists.size(), 1U);
    EXPECT_EQ(get_files_for_runs({7}, &found.lists, nullptr, nullptr, (folder() + "/").c_str(), 1), 0);
    ASSERT_EQ(found.lists.size(), 3U);
    EXPECT_EQ(*found.lists[1]->xmlfile, folder() + "/linac_laser_run7_19700101T000140_19700101T000200.xml");
}

/// The names of the files that `action` opens in a folder.
template <class Action> std::vector<std::string> opened_files(const std::string& folder, Action&& action)
{
    const int watcher = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    EXPECT_GE(inotify_add_watch(watcher, folder.c_str(), IN_OPEN), 0);
    action();
    alignas(inotify_event) char bytes[8192];
    const ssize_t got = read(watcher, bytes, sizeof bytes);
    close(watcher);
    std::vector<std::string> names;
    for (ssize_t at = 0; at < got;) {
        inotify_event event;
        std::copy_n(bytes + at, sizeof event, reinterpret_cast<char*>(&event));
        if (event.len != 0) {
            names.emplace_back(bytes + at + sizeof event);
        }
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(Catalogue, LookupOpensOnlyTheFilesThatItNeeds)
{
    const std::vector<std::string> run_8{"gun_main_run8_19700101T000320_open.xml"};
    EXPECT_EQ(opened_files(folder(), [&] { period_of(folder(), 121, 0); }), run_8);
    EXPECT_EQ(opened_files(folder(), [&] { runs_of(folder(), {8, 9}); }), run_8);
    EXPECT_EQ(opened_files(folder(), [&] { get_time_for_run(8, nullptr, nullptr, nullptr, folder().c_str()); }), run_8);
    EXPECT_EQ(opened_files(folder(), [&] { period_of(folder(), 0, 0, "gun"); }), run_8);
    EXPECT_EQ(opened_files(folder(), [&] { period_of(folder(), 121, 199); }), std::vector<std::string>{});
}

} // namespace
