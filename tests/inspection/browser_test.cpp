// Listing the channels of a file of any generation.
#include "inspection_types.h"

#include "trox_daq_data.h"

#include <vector>

using namespace trox_test;

namespace
{

constexpr sample_generation generations[] = {sample_generation::legacy, sample_generation::g2010,
                                             sample_generation::g2024};

class browser : public sample_inspection
{
protected:
    trox_daq_browser browser_;
};

} // namespace

TEST_F(browser, counts_and_names_the_channels_of_every_generation)
{
    for (const auto generation : generations) {
        const nlohmann::json expected = dump(generation).at("cdt");
        ASSERT_EQ(browser_.Init(sample(generation).c_str()), 0);
        EXPECT_EQ(browser_.GetStatus(), 1);
        EXPECT_EQ(browser_.GetFileName(), sample(generation));
        ASSERT_EQ(browser_.GetNchan(), static_cast<int>(expected.size()));
        for (std::size_t i = 0; i < expected.size(); ++i) {
            int count = -1;
            int ev_mask = -1;
            int dtype_mask = -1;
            const char* name = browser_.GetChanName(static_cast<int>(i), &count, &ev_mask, &dtype_mask);
            EXPECT_STREQ(name, expected.at(i).at("name").get<std::string>().c_str());
            EXPECT_EQ(count, expected.at(i).at("count").get<int>());
            EXPECT_EQ(static_cast<unsigned>(ev_mask), expected.at(i).at("ev_mask").get<unsigned>());
            EXPECT_EQ(static_cast<unsigned>(dtype_mask), expected.at(i).at("dtype_mask").get<unsigned>());
            EXPECT_NE(browser_.GetChanName(static_cast<int>(i), nullptr, nullptr, nullptr), nullptr);
        }
        EXPECT_EQ(browser_.GetChanName(static_cast<int>(expected.size()), nullptr, nullptr, nullptr), nullptr);
        EXPECT_EQ(browser_.GetChanName(-1, nullptr, nullptr, nullptr), nullptr);
    }
}

TEST_F(browser, keeps_the_readers_that_can_read_the_file)
{
    ASSERT_EQ(browser_.Init(sample(sample_generation::g2010).c_str()), 0);
    EXPECT_NE(browser_.GetReader(), nullptr);
    EXPECT_NE(browser_.GetReader_2010(), nullptr);
    EXPECT_NE(browser_.GetReader_2024(), nullptr);
    ASSERT_GT(browser_.GetNchan(), 0);
    EXPECT_EQ(browser_.GetReader(), nullptr);
    EXPECT_NE(browser_.GetReader_2010(), nullptr);
    ASSERT_GT(browser_.GetNchan(), 0) << "asked again, it goes on with those that are left";
    browser_.Clean();
    EXPECT_EQ(browser_.GetReader_2010(), nullptr);
    EXPECT_EQ(browser_.GetReader_2024(), nullptr);
    EXPECT_EQ(browser_.GetStatus(), 0);
    EXPECT_STREQ(browser_.GetFileName(), "");
}

TEST_F(browser, refuses_missing_and_one_letter_names)
{
    EXPECT_EQ(capture([&] { EXPECT_EQ(browser_.Init(nullptr), -1); }).err,
              "trox_daq_browser::Init: no input filename\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(browser_.Init("x"), -2); }).err,
              "trox_daq_browser::Init: wrong filename len= 1\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(browser_.Init(""), -2); }).err,
              "trox_daq_browser::Init: wrong filename len= 0\n");
    EXPECT_EQ(browser_.GetStatus(), 0);
}

TEST_F(browser, asks_for_init_first)
{
    EXPECT_EQ(capture([&] { EXPECT_EQ(browser_.GetNchan(), -1); }).err, "trox_daq_browser::GetNchan: wrong Status 0\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(browser_.GetChanName(0, nullptr, nullptr, nullptr), nullptr); }).err,
              "trox_daq_browser::GetNchan: wrong Status 0\n");
    EXPECT_EQ(capture([&] { browser_.ListChan(); }).err, "trox_daq_browser::ListChan: wrong Status 0\n");
    EXPECT_EQ(capture([&] { browser_.PrintChan(); }).err, "trox_daq_browser::PrintChan: wrong Status 0\n");
}

TEST_F(browser, a_file_that_no_reader_can_read_has_no_channels)
{
    const temp_directory directory;
    const std::string path = directory.file("linac_main_run1_file1_20120614T093000.raw");
    std::ofstream(path) << "not a data file, but longer than any trailer";
    ASSERT_EQ(browser_.Init(path.c_str()), 0);
    EXPECT_EQ(browser_.GetNchan(), -2);
    EXPECT_EQ(browser_.GetNchan(), -2) << "no reader is left";
    EXPECT_EQ(browser_.GetChanName(0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(capture([&] { browser_.PrintChan(); }).out, "collected 0- channels\n");
}

TEST_F(browser, lists_the_dictionary_as_the_reader_prints_it)
{
    for (const auto generation : generations) {
        ASSERT_EQ(browser_.Init(sample(generation).c_str()), 0);
        const std::string printed = capture([&] { browser_.ListChan(); }).out;
        const auto expected_file = dump(generation);
        for (const auto& channel : expected_file.at("cdt")) {
            EXPECT_THAT(printed, ::testing::HasSubstr("chan_name: " + channel.at("name").get<std::string>() + "\n"));
        }
    }
}

TEST_F(browser, prints_a_line_per_channel_with_events)
{
    // In the second file of the run two channels have no events.
    ASSERT_EQ(browser_.Init(sample(sample_generation::g2010, 1).c_str()), 0);
    const std::string printed = capture([&] { browser_.PrintChan(); }).out;
    std::string expected;
    int number = 0;
    int index = 0;
    const auto bit = [](unsigned mask) {
        int i = 0;
        while (mask >> i != 1) {
            ++i;
        }
        return std::to_string(i);
    };
    const auto hexadecimal = [](unsigned mask) {
        char text[16];
        std::snprintf(text, sizeof text, "%x", mask);
        return std::string(text);
    };
    const auto expected_file = dump(sample_generation::g2010, 1);
    for (const auto& channel : expected_file.at("cdt")) {
        const auto ev_mask = channel.at("ev_mask").get<unsigned>();
        const auto dtype_mask = channel.at("dtype_mask").get<unsigned>();
        if (channel.at("count").get<int>() > 0) {
            expected += std::to_string(number++) + "-" + std::to_string(index) + " " +
                        std::to_string(channel.at("count").get<int>()) + "  evtype: " + bit(ev_mask) +
                        " mask: " + hexadecimal(ev_mask) + "d dtype: " + bit(dtype_mask) +
                        " mask:" + hexadecimal(dtype_mask) + " " + channel.at("name").get<std::string>() + "\n";
        }
        ++index;
    }
    EXPECT_LT(number, index);
    EXPECT_EQ(printed, expected + "collected " + std::to_string(number) + "- channels\n");
}

TEST_F(browser, prints_type_0_for_a_mask_of_two_bits)
{
    const temp_directory directory;
    const std::string path = directory.file("linac_main_run1_file1_20120614T093000.raw");
    {
        tw::file_writer file(path, tw::generation::v2010);
        const auto channel = file.add_channel("A/CHANNEL");
        std::uint32_t number = 1;
        for (const int type : {TROX_EV_NORMAL, TROX_EV_IMAGE}) {
            file.begin_event({number, {1339666200 + number, 0}, type});
            file.begin_server_block({"SVR"});
            file.add_record(channel, tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, {1.0F}));
            file.end_event();
            ++number;
        }
        file.finish();
    }
    ASSERT_EQ(browser_.Init(path.c_str()), 0);
    EXPECT_EQ(capture([&] { browser_.PrintChan(); }).out,
              "0-0 2  evtype: 0 mask: 42d dtype: 9 mask:200 A/CHANNEL\ncollected 1- channels\n");
}
