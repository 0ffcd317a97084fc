// Every record of every channel of the sample run beside what an independent writer says it holds.
#include "captured_stdout.h"
#include "channel_types.h"
#include "channel_waiting.h"
#include "sha256.h"

#include <cstring>
#include <memory>
#include <tuple>

using namespace trox_test;
namespace tw = trox::writer;

namespace
{

template <class T> class sample_channels : public ::testing::Test
{
protected:
    /// Reads each channel of each file with this number of workers (0: as the reader chooses); by list when
    /// `listed`, so that the baskets of fast channels are copied.
    void compare_all(int workers, bool listed)
    {
        for (const std::string& file : sample_names(T::samples)) {
            const auto dump = read_dump(file);
            for (const auto& channel : dump["channels"]) {
                const auto name = channel["name"].template get<std::string>();
                SCOPED_TRACE(file + " " + name);
                const std::vector<std::string> list{name};
                typename T::loader loader(0);
                ASSERT_EQ(loader.get_all_tables(sample_directory(T::samples) + file, 0, listed ? &list : nullptr), 0);
                typename T::reader reader(&loader, name.c_str(), -1, nullptr);
                if (workers != 0) {
                    ASSERT_EQ(reader.set_number_of_threads(workers), 0);
                }
                ASSERT_TRUE(start_skipping_unreadable(reader));
                compare(reader, channel["records"]);
            }
        }
    }

    /// Builds without LZO cannot read its records: like those of an unknown compressor they are bad ones.
    static bool start_skipping_unreadable(typename T::reader& reader)
    {
        const captured_stdout quiet;
        reader.set_skip_bad_records(!tw::has_lzo());
        return start_and_wait(reader);
    }
    static nlohmann::json readable(const nlohmann::json& records)
    {
        nlohmann::json kept = nlohmann::json::array();
        for (const auto& record : records) {
            if (tw::has_lzo() || !record.contains("zip") || record["zip"][0] != trox_zip_lzo) {
                kept.push_back(record);
            }
        }
        return kept;
    }

private:
    void compare(typename T::reader& reader, const nlohmann::json& all)
    {
        const nlohmann::json records = readable(all);
        ASSERT_TRUE(reader.is_done());
        ASSERT_EQ(reader.get_number_of_records(), static_cast<int>(records.size()));
        EXPECT_EQ(reader.get_number_of_bad_records(), static_cast<int>(all.size() - records.size()));
        for (const auto& expected : records) {
            const time_stamp time{expected["t"][0], expected["t"][1]};
            typename T::time_id id{expected["ev"], time};
            typename T::entry* record = nullptr;
            ASSERT_EQ(reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
            EXPECT_EQ(record->event_id.event_number, id.event_number);
            EXPECT_EQ(record->event_id.time.timeup, time.timeup);
            EXPECT_EQ(record->event_id.time.timelow, time.timelow);
            compare_blocks(*record, expected);
        }
        compare_limits(reader, records);
    }

    static void compare_blocks(const typename T::entry& record, const nlohmann::json& expected)
    {
        const auto& at = record.sbchdata[0];
        const auto* header = reinterpret_cast<const typename T::event_header*>(at.evhd);
        const auto* server = reinterpret_cast<const typename T::server_block_head*>(at.sbhd);
        const auto* block = reinterpret_cast<const typename T::subhead*>(at.chhd);
        EXPECT_EQ(header->event_type, expected["type"]);
        EXPECT_EQ(header->event_number, expected["ev"]);
        EXPECT_EQ(server->server, expected["sb"]);
        EXPECT_EQ(server->mpulse, static_cast<int>(expected["ev"].template get<std::uint64_t>() & 0x7FFFFFFF));
        const auto& out = expected["out"];
        EXPECT_EQ(block->dtype, out["dtype"]);
        EXPECT_EQ(block->error, out["error"]);
        ASSERT_EQ(block->ldata, out["ldata"]);
        const auto size = static_cast<std::size_t>(block->ldata) - sizeof *block;
        EXPECT_EQ(sha256(reinterpret_cast<const void*>(at.data), size).substr(0, 12), out["sha"]);
    }

    /// First and last are the earliest and the latest; of equal times the earlier row.
    static void compare_limits(typename T::reader& reader, const nlohmann::json& records)
    {
        typename T::time_id first{};
        typename T::time_id last{};
        reader.get_time_limits(&first, &last);
        if (records.empty()) {
            EXPECT_EQ(first.event_number, 0U);
            EXPECT_EQ(last.event_number, 0U);
            return;
        }
        const auto earlier = [](const nlohmann::json& a, const nlohmann::json& b) { return a["t"] < b["t"]; };
        EXPECT_EQ(first.event_number, (*std::min_element(records.begin(), records.end(), earlier))["ev"]);
        EXPECT_EQ(last.event_number, (*std::max_element(records.begin(), records.end(), earlier))["ev"]);
    }
};
TYPED_TEST_SUITE(sample_channels, channel_generations);

} // namespace

TYPED_TEST(sample_channels, read_equal_with_the_readers_own_number_of_workers)
{
    this->compare_all(0, false);
}

TYPED_TEST(sample_channels, read_equal_with_1_worker)
{
    this->compare_all(1, false);
}

TYPED_TEST(sample_channels, read_equal_with_2_workers_and_listed_channels)
{
    this->compare_all(2, true);
}

TYPED_TEST(sample_channels, read_equal_with_10_workers_and_listed_channels)
{
    this->compare_all(10, true);
}

TYPED_TEST(sample_channels, of_one_file_read_equal_side_by_side_on_one_loader)
{
    const std::string file = sample_names(TypeParam::samples).back();
    const auto dump = read_dump(file);
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(sample_directory(TypeParam::samples) + file, 0, nullptr), 0);
    std::vector<std::unique_ptr<typename TypeParam::reader>> readers;
    std::vector<start_signal> signals;
    for (const auto& channel : dump["channels"]) {
        const auto name = channel["name"].template get<std::string>();
        readers.push_back(std::make_unique<typename TypeParam::reader>(&loader, name.c_str(), -1, nullptr));
        readers.back()->set_skip_bad_records(!tw::has_lzo());
        ASSERT_EQ(start(*readers.back(), signals.emplace_back()), 0);
    }
    for (std::size_t i = 0; i < readers.size(); ++i) {
        ASSERT_TRUE(signals[i].wait());
        const auto records = this->readable(dump["channels"][i]["records"]);
        ASSERT_EQ(readers[i]->get_number_of_records(), static_cast<int>(records.size()));
        typename TypeParam::entry* record = nullptr;
        if (!records.empty()) {
            ASSERT_EQ(readers[i]->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_LAST), 0);
            const auto* block = reinterpret_cast<const typename TypeParam::subhead*>(record->sbchdata[0].chhd);
            const auto size = static_cast<std::size_t>(block->ldata) - sizeof *block;
            const std::string sum = sha256(reinterpret_cast<const void*>(record->sbchdata[0].data), size);
            EXPECT_TRUE(std::any_of(records.begin(), records.end(),
                                    [&](const auto& expected) { return sum.substr(0, 12) == expected["out"]["sha"]; }));
        }
    }
}
