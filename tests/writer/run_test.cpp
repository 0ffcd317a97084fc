// Whole runs: names, roll-over, channels from file to file, the catalogue.
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace writer_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr std::uint32_t start_second = 1339666200; // 2012-06-14 09:30:00 UTC

class runs : public testing::Test
{
protected:
    runs()
    {
        std::filesystem::create_directory(directory_.path("data"));
        std::filesystem::create_directory(directory_.path("catalogue"));
        settings_.data_directory = directory_.path("data");
        settings_.catalogue_directory = directory_.path("catalogue");
        settings_.run = {"linac", "main", 7};
    }
    // One event a second and a half, from 0.25 s on.
    static void add_event(tw::run_writer& run, std::uint32_t number, std::size_t size = 100)
    {
        const std::uint32_t ms = 250 + 1500 * number;
        run.begin_event({number, {start_second + ms / 1000, ms % 1000 * 1000}});
        run.begin_server_block({"S"});
        const std::vector<unsigned char> bytes(size);
        run.add_record(tw::channel_id{0}, tw::record{9, bytes});
        run.end_event();
    }
    static std::vector<std::string> names(const std::filesystem::path& directory)
    {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            result.push_back(entry.path().filename());
        }
        std::sort(result.begin(), result.end());
        return result;
    }
    static std::string text_of(const std::string& path)
    {
        const auto bytes = read_file(path);
        return {bytes.begin(), bytes.end()};
    }
    scratch_directory directory_;
    tw::run_settings settings_;
};

TEST_F(runs, roll_over_by_number_of_events_and_enter_the_catalogue)
{
    settings_.max_events_per_file = 2;
    tw::run_writer run(settings_);
    run.add_channel("A", tw::storage::zlib);
    run.add_environment_entry(9, 1);
    for (std::uint32_t i = 0; i < 5; ++i) {
        add_event(run, i);
    }
    run.finish();
    EXPECT_THAT(names(directory_.path("data")),
                ElementsAre("linac_main_run7_file1_20120614T093000.raw", "linac_main_run7_file2_20120614T093003.raw",
                            "linac_main_run7_file3_20120614T093006.raw"));
    ASSERT_EQ(run.files().size(), 3U);
    std::vector<std::size_t> events;
    for (const auto& path : run.files()) {
        const auto file = check_file(path);
        EXPECT_THAT(file.problems, IsEmpty());
        EXPECT_EQ(file.channels.at(0).records.at(0).zip_flags, 1U);
        EXPECT_THAT(file.environment, ElementsAre(std::pair(9U, 1)));
        events.push_back(file.events.size());
    }
    EXPECT_THAT(events, ElementsAre(2, 2, 1));
    // Events at 0.25 and 1.75, 3.25 and 4.75, 6.25: whole seconds that enclose them.
    EXPECT_EQ(text_of(run.catalogue()),
              "<daq_run number=\"7\" experiment=\"linac\" stream=\"main\" start=\"1339666200\" stop=\"1339666207\">\n"
              "  <file name=\"linac_main_run7_file1_20120614T093000.raw\" format=\"raw\" start=\"1339666200\" "
              "stop=\"1339666202\"/>\n"
              "  <file name=\"linac_main_run7_file2_20120614T093003.raw\" format=\"raw\" start=\"1339666203\" "
              "stop=\"1339666205\"/>\n"
              "  <file name=\"linac_main_run7_file3_20120614T093006.raw\" format=\"raw\" start=\"1339666206\" "
              "stop=\"1339666207\"/>\n"
              "</daq_run>\n");
    EXPECT_THAT(names(directory_.path("catalogue")),
                ElementsAre("linac_main_run7_20120614T093000_20120614T093007.xml"));
}

TEST_F(runs, roll_over_by_bytes)
{
    settings_.max_bytes_per_file = 10000;
    tw::run_writer run(settings_);
    run.add_channel("A");
    for (std::uint32_t i = 0; i < 6; ++i) {
        add_event(run, i, 5000);
    }
    run.finish();
    EXPECT_EQ(run.files().size(), 3U);
}

TEST_F(runs, tell_the_size_of_the_present_file)
{
    tw::run_writer run(settings_);
    run.add_channel("A");
    EXPECT_EQ(run.projected_size(), 0U); // no file is open
    add_event(run, 0, 5000);
    const auto projected = run.projected_size();
    run.next_file();
    EXPECT_EQ(run.projected_size(), 0U);
    EXPECT_EQ(std::filesystem::file_size(run.files().at(0)), projected);
}

TEST_F(runs, name_files_with_fractions_and_from_any_number_on)
{
    settings_.fraction_digits = 2;
    settings_.first_file_number = 5;
    settings_.format = tw::generation::v2024;
    tw::run_writer run(settings_);
    run.add_channel("A");
    add_event(run, 0);
    run.next_file();
    run.next_file();
    tw::layout_options odd;
    odd.odd_positions = true;
    run.set_layout(odd);
    add_event(run, 1);
    run.finish();
    EXPECT_THAT(names(directory_.path("data")), ElementsAre("linac_main_run7_file5_20120614T093000.25.raw",
                                                            "linac_main_run7_file6_20120614T093001.75.raw"));
    EXPECT_EQ(check_file(run.files()[1]).channels.at(0).basket % 2, 1U);
    EXPECT_EQ(check_file(run.files()[0]).channels.at(0).basket % 2, 0U);
    EXPECT_THAT(text_of(run.catalogue()), testing::HasSubstr("format=\"raw64\""));
}

TEST_F(runs, give_later_files_the_channels_that_were_added_meanwhile)
{
    settings_.max_events_per_file = 1;
    tw::run_writer run(settings_);
    run.add_channel("A");
    add_event(run, 0);
    add_event(run, 1);
    run.add_channel("B");
    run.finish();
    EXPECT_EQ(check_file(run.files().at(0)).channels.size(), 1U);
    EXPECT_EQ(check_file(run.files().at(1)).channels.size(), 2U);
}

TEST_F(runs, keep_an_open_catalogue_while_they_go_on)
{
    settings_.max_events_per_file = 1;
    settings_.open_catalogue = true;
    tw::run_writer run(settings_);
    run.add_channel("A");
    add_event(run, 0);
    add_event(run, 1);
    EXPECT_THAT(names(directory_.path("catalogue")), ElementsAre("linac_main_run7_20120614T093000_open.xml"));
    EXPECT_THAT(text_of(run.catalogue()), testing::HasSubstr("stop=\"0\""));
    run.finish();
    EXPECT_THAT(names(directory_.path("catalogue")),
                ElementsAre("linac_main_run7_20120614T093000_20120614T093002.xml"));
}

TEST_F(runs, that_are_not_finished_keep_closed_files_only)
{
    settings_.max_events_per_file = 1;
    {
        tw::run_writer run(settings_);
        run.add_channel("A");
        add_event(run, 0);
        add_event(run, 1);
    }
    EXPECT_THAT(names(directory_.path("data")), ElementsAre("linac_main_run7_file1_20120614T093000.raw"));
    EXPECT_THAT(names(directory_.path("catalogue")), IsEmpty());
}

TEST_F(runs, name_a_file_after_its_first_event_even_when_one_before_was_refused)
{
    tw::run_writer run(settings_);
    run.add_channel("A");
    EXPECT_THROW(run.begin_event({1, {5, 0}, 99}), tw::error);
    add_event(run, 0);
    run.finish();
    EXPECT_THAT(names(directory_.path("data")), ElementsAre("linac_main_run7_file1_20120614T093000.raw"));
}

TEST_F(runs, refuse_wrong_settings)
{
    const auto refused = [&](const std::function<void(tw::run_settings&)>& change) {
        auto settings = settings_;
        change(settings);
        EXPECT_THROW(tw::run_writer{settings}, tw::error);
    };
    refused([](auto& s) { s.run.stream = "a_b"; });
    refused([](auto& s) { s.run.number = -1; });
    refused([](auto& s) { s.data_directory = "/nowhere"; });
    refused([](auto& s) { s.catalogue_directory = "/nowhere"; });
    refused([](auto& s) { s.fraction_digits = 9; });
    refused([](auto& s) { s.first_file_number = -3; });
    EXPECT_THAT(names(directory_.path("data")), IsEmpty());
}

TEST_F(runs, refuse_calls_out_of_order)
{
    tw::run_writer run(settings_);
    run.add_channel("A");
    EXPECT_THROW(run.add_channel("A"), tw::error);
    EXPECT_THROW(run.begin_server_block({"S"}), tw::error);
    EXPECT_THROW(run.end_event(), tw::error);
    EXPECT_THROW(run.add_record(tw::channel_id{0}, tw::record{9}), tw::error);
    EXPECT_THROW(run.finish(), tw::error); // without events
    run.begin_event({1, {start_second, 0}});
    EXPECT_THROW(run.begin_event({2, {start_second, 0}}), tw::error);
    EXPECT_THROW(run.next_file(), tw::error);
    EXPECT_THROW(run.finish(), tw::error);
    run.end_event();
    run.finish();
    EXPECT_THROW(run.finish(), tw::error);
    EXPECT_THROW(run.begin_event({3, {}}), tw::error);
    EXPECT_THROW(run.add_channel("B"), tw::error);
    EXPECT_THROW(run.set_layout({}), tw::error);
}

} // namespace
