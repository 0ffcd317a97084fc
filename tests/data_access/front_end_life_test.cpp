// The property front end from Init to Clean: what it hands to its readers, what belongs to whom, and for how long.
#include "front_end_fixture.h"

#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"

#include <filesystem>

using namespace trox_test;
namespace tw = trox::writer;

namespace
{

constexpr const char* channel = "A/CHANNEL";
constexpr std::uint32_t first_number = 10; // of a small file's three events

} // namespace

class front_end_life : public front_end
{
protected:
    front_end_life()
    {
        want(channel);
    }
    /// Begins with a small file of a generation.
    void start(tw::generation generation)
    {
        const std::string path = list(small_file("linac_main_run1_file1_20120614T093000.raw", generation) + "\n");
        capture([&] { EXPECT_EQ(generation == tw::generation::v2024 ? init_2024(path) : init(path), 0); });
    }
    /// Number of the event that was read last.
    std::uint64_t event_number()
    {
        trox_daq_getdata event(data_.GetRes_2024() != nullptr);
        if (data_.GetRes_2024() != nullptr) {
            return event.SetRes_2024(data_.GetRes_2024()) == 1 ? event.GetEventHead_2024()->event_number : 0;
        }
        return event.SetRes(data_.GetRes()) == 1 ? event.GetEventHead()->event_number : 0;
    }
    void expect_nothing_left()
    {
        EXPECT_EQ(data_.GetStatus(), 0);
        EXPECT_EQ(data_.GetRes(), nullptr);
        EXPECT_EQ(data_.GetRes_2024(), nullptr);
        EXPECT_EQ(data_.GetReader(), nullptr);
        EXPECT_EQ(data_.GetReader_2010(), nullptr);
        EXPECT_EQ(data_.GetReader_2024(), nullptr);
        EXPECT_EQ(data_.GetFiles(), nullptr);
        EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -1); }), "trox_daq_data::GetData: wrong status= 0\n");
    }
};

// --- Init -------------------------------------------------------------------------------------------------

/// What a reader was set up with.
template <class Reader, class TimeId>
void expect_settings(Reader& reader, const TimeId& period, const TimeId& start, const TimeId& stop)
{
    EXPECT_EQ(reader.get_debug(), -1);
    EXPECT_EQ(reader.get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    EXPECT_EQ(reader.get_period()->event_number, period.event_number);
    EXPECT_EQ(reader.get_period()->time.timelow, period.time.timelow);
    EXPECT_EQ(reader.get_start_point()->event_number, start.event_number);
    EXPECT_EQ(reader.get_stop_point()->event_number, stop.event_number);
    EXPECT_EQ(reader.get_stop_point()->time.timeup, stop.time.timeup);
    const trox_chan_prms* window = reader.get_channel_params(channel);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->start, -1);
    EXPECT_EQ(window->inc, -1);
    EXPECT_EQ(window->length, -1);
    EXPECT_EQ(window->func, -1);
}

TEST_F(front_end_life, readers_of_all_generations_get_debug_level_range_and_the_whole_channel)
{
    period_ = {1, {0, 7}};
    start_ = {first_number + 1, {0, 0}};
    stop_ = {first_number + 2, {1339666300, 0}};
    period_2024_ = {1, {0, 7}};
    start_2024_ = {first_number + 1, {0, 0}};
    stop_2024_ = {first_number + 2, {1339666300, 0}};
    for (const auto generation : {tw::generation::legacy, tw::generation::v2010, tw::generation::v2024}) {
        SCOPED_TRACE(static_cast<std::uint32_t>(generation));
        const std::string path = list(small_file("linac_main_run1_file1_20120614T093000.raw", generation) + "\n");
        if (generation == tw::generation::v2024) {
            capture([&] {
                ASSERT_EQ(data_.Init2024(path.c_str(), &properties_, -1, &period_2024_, &start_2024_, &stop_2024_), 0);
            });
            expect_settings(*data_.GetReader_2024(), period_2024_, start_2024_, stop_2024_);
        } else {
            capture([&] { ASSERT_EQ(data_.Init(path.c_str(), &properties_, -1, &period_, &start_, &stop_), 0); });
            ASSERT_EQ(data_.GetReader() != nullptr, generation == tw::generation::legacy);
            if (data_.GetReader() != nullptr) {
                expect_settings(*data_.GetReader(), period_, start_, stop_);
            }
            expect_settings(*data_.GetReader_2010(), period_, start_, stop_);
        }
        for (const std::uint32_t number : {first_number + 1, first_number + 2}) {
            capture([&] { ASSERT_EQ(data_.GetData(), 0); });
            EXPECT_EQ(event_number(), number);
        }
        capture([&] { EXPECT_EQ(data_.GetData(), -2); });
    }
}

TEST_F(front_end_life, the_tolerance_of_the_environment_is_taken_back)
{
    ::setenv("DAQ_MAX_TIME_STEP_SEC", "7", 1);
    ::setenv("DAQ_MAX_TIME_STEP_USEC", "8", 1);
    ASSERT_EQ(trox_daq_reader_2010().get_time_diff()->timeup, 7U) << "a reader of one's own has it";
    start(tw::generation::v2010);
    EXPECT_EQ(data_.GetReader_2010()->get_time_diff()->timeup, 0U);
    EXPECT_EQ(data_.GetReader_2010()->get_time_diff()->timelow, 50000U);
    start(tw::generation::v2024);
    EXPECT_EQ(data_.GetReader_2024()->get_time_diff()->timeup, 0U);
    EXPECT_EQ(data_.GetReader_2024()->get_time_diff()->timelow, 50000U);
    ::unsetenv("DAQ_MAX_TIME_STEP_SEC");
    ::unsetenv("DAQ_MAX_TIME_STEP_USEC");
}

TEST_F(front_end_life, the_range_may_be_that_of_its_own_readers)
{
    start_ = {first_number + 1, {0, 0}};
    stop_ = {first_number + 1, {0, 0}};
    start_2024_ = {first_number + 1, {0, 0}};
    stop_2024_ = {first_number + 1, {0, 0}};
    const auto expect_one_event = [&] {
        capture([&] { ASSERT_EQ(data_.GetData(), 0); });
        EXPECT_EQ(event_number(), first_number + 1);
        capture([&] { EXPECT_EQ(data_.GetData(), -2); });
    };
    for (const auto generation : {tw::generation::legacy, tw::generation::v2010}) {
        start(generation);
        const auto again = [&](auto& reader) {
            capture([&] {
                EXPECT_EQ(data_.Init(data_.GetFileName(), data_.GetLprop(), 0, reader.get_period(),
                                     reader.get_start_point(), reader.get_stop_point()),
                          0);
            });
        };
        again(*data_.GetReader_2010());
        if (data_.GetReader() != nullptr) {
            again(*data_.GetReader());
        }
        EXPECT_EQ(data_.GetReader_2010()->get_start_point()->event_number, first_number + 1);
        expect_one_event();
    }
    start(tw::generation::v2024);
    capture([&] {
        auto& reader = *data_.GetReader_2024();
        EXPECT_EQ(data_.Init2024(data_.GetFileName(), data_.GetLprop(), 0, reader.get_period(),
                                 reader.get_start_point(), reader.get_stop_point()),
                  0);
    });
    expect_one_event();
}

TEST_F(front_end_life, a_file_that_only_the_2010_reader_refuses_ends_Init)
{
    // A bare name: the legacy reader searches it along the path list, the 2010 reader in its data directory. The file
    // has to be older than what may still be written.
    const char* directory = "/usr/bin";
    const char* name = "printf";
    if (!std::filesystem::exists(std::filesystem::path(directory) / name)) {
        GTEST_SKIP() << "no file that is old for certain";
    }
    ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    ::setenv("TROX_DAQ_DATA_PATH_LIST", (std::string(directory) + ":").c_str(), 1);
    const std::string path = list(std::string(name) + "\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -9); }), "trox_daq_data::Init: can not add file Reader2010\n");
    ::unsetenv("TROX_DAQ_DATA_PATH_LIST");
    EXPECT_NE(data_.GetReader(), nullptr);
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetNfile(), 0);
    EXPECT_EQ(data_.GetStatus(), 0);
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -1); }), "trox_daq_data::GetData: wrong status= 0\n");
}

// --- events -----------------------------------------------------------------------------------------------

TEST_F(front_end_life, records_are_forgotten_when_reading_fails)
{
    for (const auto generation : {tw::generation::legacy, tw::generation::v2010, tw::generation::v2024}) {
        SCOPED_TRACE(static_cast<std::uint32_t>(generation));
        start(generation);
        capture([&] { ASSERT_EQ(data_.GetData(), 0); });
        ASSERT_EQ(event_number(), first_number);
        // The reader ends its work, and with it the records.
        if (generation == tw::generation::v2024) {
            data_.GetReader_2024()->clean_up();
        } else if (generation == tw::generation::v2010) {
            data_.GetReader_2010()->clean_up();
        } else {
            data_.GetReader()->clean_up();
        }
        capture([&] { EXPECT_EQ(data_.GetData(), -2); });
        EXPECT_TRUE(data_.GetRes_2024() != nullptr ? data_.GetRes_2024()->empty() : data_.GetRes()->empty());
        EXPECT_EQ(capture([&] { data_.PrintAll(); }).out, "");
    }
}

TEST_F(front_end_life, two_started_readers_are_both_asked_and_the_2010_reader_s_records_stay)
{
    ::setenv("TROX_DAQ_READER_SKIP_BAD_RECORDS", "1", 1); // each passes the other's file over
    const std::string older = small_file("linac_main_run1_file1_20120614T093000.raw", tw::generation::legacy);
    const std::string younger = small_file("linac_main_run1_file2_20120614T093001.raw", tw::generation::v2010);
    const std::string path = list(older + "\n" + younger + "\n");
    capture([&] {
        ASSERT_EQ(init(path), 0);
        ASSERT_NE(data_.GetReader(), nullptr);
        ASSERT_EQ(data_.GetReader_2010()->start(), 0);
    });
    ::unsetenv("TROX_DAQ_READER_SKIP_BAD_RECORDS");
    for (std::uint32_t i = 0; i < 3; ++i) {
        capture([&] { ASSERT_EQ(data_.GetData(), 0); });
        ASSERT_EQ(data_.GetRes()->size(), 1U) << "of the reader that was asked last";
        EXPECT_EQ(event_number(), first_number + i);
        trox_daq_getdata event(false);
        event.SetRes(data_.GetRes());
        EXPECT_NE(event.GetChanHead_2010(), nullptr);
    }
    EXPECT_EQ(capture([&] { EXPECT_EQ(data_.GetData(), -2); }).err,
              "trox_daq_data::GetData: data are not read Reader\n");
    EXPECT_TRUE(data_.GetRes()->empty());
}

// --- Clean ------------------------------------------------------------------------------------------------

TEST_F(front_end_life, Clean_ends_started_readers_of_all_generations)
{
    for (const auto generation : {tw::generation::legacy, tw::generation::v2010, tw::generation::v2024}) {
        SCOPED_TRACE(static_cast<std::uint32_t>(generation));
        for (const bool has_read : {false, true}) {
            start(generation);
            ASSERT_EQ(data_.GetStatus(), 1);
            if (has_read) {
                capture([&] { ASSERT_EQ(data_.GetData(), 0); });
            }
            data_.Clean();
            expect_nothing_left();
        }
        start(generation);
        capture([&] { EXPECT_EQ(data_.GetData(), 0); });
        EXPECT_EQ(event_number(), first_number) << "from the beginning again";
    }
}
