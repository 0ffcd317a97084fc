// Baskets that the workers fill while they decode, in memory that another channel used before.
#include "trox_daq_read_chan_2010.h"
#include "trox_writer.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace tw = trox::writer;

namespace
{

constexpr std::uint32_t first_number = 500;
constexpr std::size_t events = 12;

/// Samples of an event: small and large records in turn, each value telling channel, event and position.
std::vector<float> samples(int channel, std::size_t event)
{
    const std::size_t count = event % 3 == 0 ? 700 * 256 : 100 * 256; // of 4 bytes: 700 and 100 KiB
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] =
            static_cast<float>(channel * 1'000'000 + static_cast<int>(event) * 10'000 + static_cast<int>(i % 9973));
    }
    return values;
}

class large_basket : public testing::TestWithParam<int>
{
protected:
    large_basket()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "trox_large_XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
        path_ = directory_ + "/large.raw";
    }
    ~large_basket() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    void write(tw::arrangement records)
    {
        tw::file_options options;
        options.layout.records = records;
        options.layout.odd_positions = records != tw::arrangement::tidy;
        options.layout.seed = 3;
        options.replace_existing = true;
        tw::file_writer file(path_, tw::generation::v2010, options);
        const tw::channel_id first = file.add_channel("FIRST");
        const tw::channel_id second = file.add_channel("SECOND");
        for (std::size_t event = 0; event < events; ++event) {
            file.begin_event({first_number + event, {1'700'000'000 + static_cast<std::uint32_t>(event), 0}});
            file.begin_server_block({"SVR", {}, {}, 0, 0});
            file.add_record(first,
                            tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, samples(1, event)));
            file.add_record(second,
                            tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, samples(2, event)));
            file.end_event();
        }
        file.finish();
    }

    /// Reads one channel whole and compares every value.
    void expect_channel(const char* name, int channel)
    {
        trox_file_get_tables_2010 tables(0);
        ASSERT_EQ(tables.get_all_tables(path_, 0, nullptr), 0);
        trox_daq_read_chan_2010 reader(&tables, name, -1, nullptr);
        reader.set_number_of_threads(GetParam());
        pthread_mutex_t* mutex = nullptr;
        pthread_cond_t* cond = nullptr;
        int* flag = nullptr;
        ASSERT_EQ(reader.start(&mutex, &cond, &flag), 0);
        ::pthread_mutex_lock(mutex);
        while (*flag == 0) {
            ::pthread_cond_wait(cond, mutex);
        }
        ::pthread_mutex_unlock(mutex);
        for (std::size_t event = 0; event < events; ++event) {
            int status = -1;
            const auto* record =
                reader.find_entry_by_event_id(first_number + static_cast<std::uint32_t>(event), 0, &status);
            ASSERT_EQ(status, 0);
            const auto* floats =
                reinterpret_cast<const float*>(record->sbchdata[0].data + sizeof(trox_spect_head_2010));
            const std::vector<float> expected = samples(channel, event);
            ASSERT_EQ(std::vector<float>(floats, floats + expected.size()), expected) << name << " event " << event;
        }
    }

    std::string directory_;
    std::string path_;
};

TEST_P(large_basket, in_order_delivers_every_value)
{
    write(tw::arrangement::tidy);
    expect_channel("FIRST", 1);
    expect_channel("SECOND", 2);
}

TEST_P(large_basket, shuffled_at_odd_positions_delivers_every_value)
{
    write(tw::arrangement::shuffled);
    expect_channel("FIRST", 1);
    expect_channel("SECOND", 2);
}

TEST_P(large_basket, of_a_file_that_was_cut_since_its_tables_were_read_does_not_start)
{
    write(tw::arrangement::tidy);
    trox_file_get_tables_2010 tables(0);
    ASSERT_EQ(tables.get_all_tables(path_, 0, nullptr), 0);
    ASSERT_EQ(::truncate(path_.c_str(), 4096), 0);
    trox_daq_read_chan_2010 reader(&tables, "SECOND", -1, nullptr);
    reader.set_number_of_threads(GetParam());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = reader.start(nullptr, nullptr, nullptr);
    const std::string text = testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_EQ(text, "SECOND Failed to map channel basket header\n");
}

INSTANTIATE_TEST_SUITE_P(workers, large_basket, testing::Values(1, 2, 10));

} // namespace
