// Listing the channels of a file of any generation.
#include "detail/big_endian.h"
#include "inspection_types.h"
#include "trox_daq_data.h"

#include <vector>

using namespace trox_test;

namespace
{

constexpr sample_generation generations[] = {sample_generation::legacy, sample_generation::g2010,
                                             sample_generation::g2024};

std::string hexadecimal(unsigned mask)
{
    char text[16];
    std::snprintf(text, sizeof text, "%x", mask);
    return text;
}

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
    const auto bit = [](unsigned mask) {
        int i = 0;
        while (mask >> i != 1) {
            ++i;
        }
        return std::to_string(i);
    };
    for (const auto generation : generations) {
        // In the second file of the run two channels have no events.
        ASSERT_EQ(browser_.Init(sample(generation, 1).c_str()), 0);
        const std::string printed = capture([&] { browser_.PrintChan(); }).out;
        std::string expected;
        int number = 0;
        int index = 0;
        const auto expected_file = dump(generation, 1);
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
        EXPECT_EQ(index - number, 2);
        EXPECT_EQ(printed, expected + "collected " + std::to_string(number) + "- channels\n");
    }
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

TEST_F(browser, prints_the_number_of_the_only_bit_below_30)
{
    const temp_directory directory;
    const std::string path = directory.file("linac_main_run1_file1_20120614T093000.raw");
    const struct {
        int type;      ///< of the event
        int dtype;     ///< of the block, which counts by its low five bits
        int event_bit; ///< as printed
        int data_bit;
    } channels[] = {{0, 32, 0, 0}, {1, 1, 1, 1}, {29, 29, 29, 29}, {30, 62, 0, 0}, {31, 31, 0, 0}};
    std::string expected;
    {
        tw::file_writer file(path, tw::generation::v2010);
        std::uint32_t number = 1;
        for (const auto& channel : channels) {
            const std::string name = "A/TYPE" + std::to_string(channel.type);
            const std::string index = std::to_string(number - 1);
            const auto id = file.add_channel(name);
            file.begin_event({number, {1339666200 + number, 0}, channel.type});
            file.begin_server_block({"SVR"});
            file.add_record(id, tw::stored_record{channel.dtype});
            file.end_event();
            ++number;
            expected += index + "-" + index + " 1  evtype: " + std::to_string(channel.event_bit) +
                        " mask: " + hexadecimal(1U << channel.type) + "d dtype: " + std::to_string(channel.data_bit) +
                        " mask:" + hexadecimal(1U << (channel.dtype & 31)) + " " + name + "\n";
        }
        file.finish();
    }
    ASSERT_EQ(browser_.Init(path.c_str()), 0);
    EXPECT_EQ(capture([&] { browser_.PrintChan(); }).out, expected + "collected 5- channels\n");
}

TEST_F(browser, prints_type_0_for_an_empty_mask)
{
    using table = trox_detail::generation_2010::chan_dictionary_table;
    using stored = trox_detail::generation_2010::chan_dictionary_entry;
    const temp_directory directory;
    const std::string path = directory.file("linac_main_run1_file1_20120614T093000.raw");
    std::size_t entry = 0;
    {
        tw::file_writer file(path, tw::generation::v2010);
        const auto id = file.add_channel("A/CHANNEL");
        file.begin_event({1, {1339666201, 0}});
        file.begin_server_block({"SVR"});
        file.add_record(id, tw::stored_record{TROX_BLOCK_1CHAN_2010});
        file.end_event();
        entry = static_cast<std::size_t>(file.finish().channel_dictionary.position) + offsetof(table, entries);
    }
    std::vector<std::uint8_t> bytes = read_bytes(path);
    trox_detail::store_big_endian(&bytes.at(entry + offsetof(stored, ev_mask)), std::uint32_t{0});
    trox_detail::store_big_endian(&bytes.at(entry + offsetof(stored, dtype_mask)), std::uint32_t{0});
    write_bytes(path, bytes);
    ASSERT_EQ(browser_.Init(path.c_str()), 0);
    EXPECT_EQ(capture([&] { browser_.PrintChan(); }).out,
              "0-0 1  evtype: 0 mask: 0d dtype: 0 mask:0 A/CHANNEL\ncollected 1- channels\n");
}

TEST_F(browser, lists_once_also_when_the_channels_were_counted)
{
    for (const auto generation : generations) {
        ASSERT_EQ(browser_.Init(sample(generation).c_str()), 0);
        const std::string before = capture([&] { browser_.ListChan(); }).out;
        const int channels = browser_.GetNchan();
        int listed = 0;
        for (std::size_t at = 0; (at = before.find("chan_name: ", at)) != std::string::npos; ++at) {
            ++listed;
        }
        EXPECT_EQ(listed, channels);
        const auto after = capture([&] { browser_.ListChan(); });
        EXPECT_EQ(after.out, before) << "the readers that cannot read the file print nothing";
        EXPECT_EQ(after.err, "");
        EXPECT_EQ(browser_.GetNchan(), channels);
    }
}

TEST_F(browser, begins_anew_with_a_second_init)
{
    for (const auto generation : generations) {
        ASSERT_EQ(browser_.Init(sample(generation).c_str()), 0);
        EXPECT_NE(browser_.GetReader(), nullptr) << "also those that could not read the file before";
        EXPECT_NE(browser_.GetReader_2010(), nullptr);
        EXPECT_NE(browser_.GetReader_2024(), nullptr);
        EXPECT_EQ(browser_.GetFileName(), sample(generation));
        EXPECT_EQ(browser_.GetChanName(0, nullptr, nullptr, nullptr), nullptr) << "no reader has loaded it yet";
        EXPECT_EQ(browser_.GetNchan(), static_cast<int>(dump(generation).at("cdt").size()));
    }
    capture([&] { EXPECT_EQ(browser_.Init("x"), -2); });
    EXPECT_EQ(browser_.GetStatus(), 1) << "a refused name leaves what there is";
    EXPECT_EQ(browser_.GetFileName(), sample(sample_generation::g2024));
    EXPECT_EQ(browser_.GetNchan(), static_cast<int>(dump(sample_generation::g2024).at("cdt").size()));
}

TEST_F(browser, counts_no_events_where_it_has_no_name)
{
    int count = 77;
    EXPECT_EQ(capture([&] { EXPECT_EQ(browser_.GetChanName(0, &count, nullptr, nullptr), nullptr); }).err,
              "trox_daq_browser::GetNchan: wrong Status 0\n");
    EXPECT_EQ(count, 77) << "not asked";
    for (const auto generation : generations) {
        ASSERT_EQ(browser_.Init(sample(generation, 1).c_str()), 0);
        count = 77;
        EXPECT_EQ(browser_.GetChanName(0, &count, nullptr, nullptr), nullptr);
        EXPECT_EQ(count, 0) << "nothing is loaded";
        const int channels = browser_.GetNchan();
        const nlohmann::json expected = dump(generation, 1).at("cdt");
        int without_events = 0;
        for (int i = 0; i < channels; ++i) {
            count = 77;
            const bool is_named = browser_.GetChanName(i, &count, nullptr, nullptr) != nullptr;
            EXPECT_EQ(count, expected.at(static_cast<std::size_t>(i)).at("count").get<int>());
            EXPECT_EQ(is_named, count > 0);
            without_events += is_named ? 0 : 1;
        }
        EXPECT_EQ(without_events, 2);
        for (const int i : {channels, -1}) {
            count = 77;
            EXPECT_EQ(browser_.GetChanName(i, &count, nullptr, nullptr), nullptr);
            EXPECT_EQ(count, 0) << i;
        }
    }
}
