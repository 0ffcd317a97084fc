// Large baskets, which the workers fill while they decode (or which stay mapped), in memory that another channel used
// before.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "channel_waiting.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <unistd.h>
#include <vector>

using namespace trox_test;

namespace
{

constexpr std::uint32_t first_number = 500;
constexpr std::size_t events = 12;
constexpr int worker_counts[] = {1, 2, 10};

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

template <class T> class large_basket : public ::testing::Test
{
protected:
    void write(tw::arrangement records)
    {
        tw::file_options options;
        options.layout.records = records;
        options.layout.odd_positions = records != tw::arrangement::tidy;
        options.layout.seed = 3;
        options.replace_existing = true;
        tw::file_writer file(path_, T::format, options);
        const tw::channel_id first = file.add_channel("FIRST");
        const tw::channel_id second = file.add_channel("SECOND");
        for (std::size_t event = 0; event < events; ++event) {
            file.begin_event({first_number + event, {1'700'000'000 + static_cast<std::uint32_t>(event), 0}});
            file.begin_server_block({"SVR", {}, {}, 0, 0});
            file.add_record(first, tw::spectrum_payload(T::format, T::trace_type, samples(1, event)));
            file.add_record(second, tw::spectrum_payload(T::format, T::trace_type, samples(2, event)));
            file.end_event();
        }
        file.finish();
    }

    /// Reads one channel whole and compares every value.
    void expect_channel(const char* name, int channel, int workers)
    {
        typename T::loader tables(0);
        ASSERT_EQ(tables.get_all_tables(path_, 0, nullptr), 0);
        typename T::reader reader(&tables, name, -1, nullptr);
        reader.set_number_of_threads(workers);
        ASSERT_TRUE(start_and_wait(reader));
        for (std::size_t event = 0; event < events; ++event) {
            int status = -1;
            const auto* record = find_by_number(reader, first_number + static_cast<std::uint32_t>(event),
                                                TROX_DAQ_READ_CHAN_EVENT_CUR, &status);
            ASSERT_EQ(status, 0);
            const std::vector<float> floats = floats_of<T>(*record);
            const std::vector<float> expected = samples(channel, event);
            ASSERT_EQ(floats, expected) << name << " event " << event;
        }
    }

    void expect_both_channels()
    {
        for (const int workers : worker_counts) {
            expect_channel("FIRST", 1, workers);
            expect_channel("SECOND", 2, workers);
        }
    }

    temp_directory directory_;
    std::string path_ = directory_.file("large.raw");
};
TYPED_TEST_SUITE(large_basket, channel_generations);

} // namespace

TYPED_TEST(large_basket, in_order_delivers_every_value)
{
    this->write(tw::arrangement::tidy);
    this->expect_both_channels();
}

TYPED_TEST(large_basket, shuffled_at_odd_positions_delivers_every_value)
{
    this->write(tw::arrangement::shuffled);
    this->expect_both_channels();
}

TYPED_TEST(large_basket, of_a_file_that_was_cut_since_its_tables_were_read_does_not_start)
{
    for (const int workers : worker_counts) {
        this->write(tw::arrangement::tidy);
        typename TypeParam::loader tables(0);
        ASSERT_EQ(tables.get_all_tables(this->path_, 0, nullptr), 0);
        ASSERT_EQ(::truncate(this->path_.c_str(), 4096), 0);
        typename TypeParam::reader reader(&tables, "SECOND", -1, nullptr);
        reader.set_number_of_threads(workers);
        int status = 0;
        EXPECT_EQ(capture([&] { status = reader.start(nullptr, nullptr, nullptr); }).out,
                  "SECOND Failed to map channel basket header\n");
        EXPECT_EQ(status, TROX_DAQ_READ_CHAN_INTERN_ERROR);
    }
}
