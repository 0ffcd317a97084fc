// The look-up tables of complete records beside the plain scans, over many random arrays.
#include "channel_types.h"
#include "generic/record_index.h"
#include "lookup_by_scan.h"

#include <limits>
#include <random>

using namespace trox_test;

namespace
{

template <class T> class index_of_records : public ::testing::Test
{
protected:
    using event_number = typename T::event_number;
    using index_type = trox_detail::record_index<typename T::generation>;

    static std::vector<typename T::entry> records_of(const std::vector<event_number>& numbers,
                                                     const std::vector<time_stamp>& times)
    {
        std::vector<typename T::entry> records(std::max(numbers.size(), times.size()));
        for (std::size_t i = 0; i < records.size(); ++i) {
            records[i].event_id.event_number = i < numbers.size() ? numbers[i] : static_cast<event_number>(i + 1);
            records[i].event_id.time = i < times.size() ? times[i] : time_stamp{static_cast<std::uint32_t>(i + 1), 0};
        }
        return records;
    }
    static index_type make(const std::vector<event_number>& numbers)
    {
        const auto records = records_of(numbers, {});
        return index_type(records.data(), static_cast<int>(records.size()), T::undecoded);
    }
    static index_type make(const std::vector<time_stamp>& times)
    {
        const auto records = records_of({}, times);
        return index_type(records.data(), static_cast<int>(records.size()), T::undecoded);
    }

    std::mt19937_64 random_{1042};
};
TYPED_TEST_SUITE(index_of_records, channel_generations);

time_stamp stamp(std::uint64_t us)
{
    return {static_cast<std::uint32_t>(us / 1000000), static_cast<std::uint32_t>(us % 1000000)};
}

} // namespace

TYPED_TEST(index_of_records, knows_strictly_ascending_numbers_only)
{
    EXPECT_TRUE(this->make({1, 2, 3}).knows_number(2));
    EXPECT_TRUE(this->make({1, 20, 300}).knows_number(7));
    EXPECT_TRUE(this->make({0, 1, 2}).knows_number(5));
    EXPECT_FALSE(this->make({1, 2, 2}).knows_number(2));
    EXPECT_FALSE(this->make({1, 3, 2}).knows_number(2));
    EXPECT_FALSE(this->make({1, 2, TypeParam::undecoded}).knows_number(2));
    EXPECT_FALSE(this->make(std::vector<typename TypeParam::event_number>{}).knows_number(2));
}

TYPED_TEST(index_of_records, leaves_distances_that_a_signed_number_does_not_hold_to_the_scans)
{
    using number = typename TypeParam::event_number;
    constexpr auto half = static_cast<number>(std::numeric_limits<std::make_signed_t<number>>::max());
    EXPECT_TRUE(this->make({1, 10}).knows_number(half + 1));
    EXPECT_FALSE(this->make({1, 10}).knows_number(half + 2));
    EXPECT_FALSE(this->make({1, half + 5}).knows_number(7));
    EXPECT_TRUE(this->make({half + 5, half + 8}).knows_number(half + 7));
    EXPECT_FALSE(this->make({half + 5, half + 8}).knows_number(1));
}

TYPED_TEST(index_of_records, finds_numbers_like_the_scans)
{
    int known = 0;
    for (int round = 0; round < 3000; ++round) {
        std::vector<typename TypeParam::event_number> numbers;
        const std::uint64_t widest = round % 5 == 0 ? 0x90000000 : round % 3 + 1;
        typename TypeParam::event_number number = static_cast<typename TypeParam::event_number>(this->random_() % 3);
        for (std::uint64_t left = this->random_() % 12; left > 0; --left) {
            numbers.push_back(number);
            number +=
                static_cast<typename TypeParam::event_number>((round % 7 != 0 ? 1 : 0) + this->random_() % widest);
        }
        if (round % 11 == 0) {
            std::shuffle(numbers.begin(), numbers.end(), this->random_);
        }
        const auto index = this->make(numbers);
        int hint = -1;
        for (int query = 0; query < 12; ++query) {
            const auto id = static_cast<typename TypeParam::event_number>(
                query % 2 == 0 && !numbers.empty() ? numbers[this->random_() % numbers.size()] + this->random_() % 3
                                                   : this->random_() % (widest * 12 + 2));
            if (id == 0 || !index.knows_number(id)) {
                continue;
            }
            ++known;
            const int type = static_cast<int>(this->random_() % 5) - 2;
            const int found = index.find_number(id, type, hint);
            ASSERT_EQ(found, number_by_scan(numbers, id, type)) << "round " << round << " number " << id;
            hint = query % 4 == 3 ? static_cast<int>(this->random_() % 14) - 1 : found;
        }
    }
    EXPECT_GT(known, 10000) << "most arrays are indexed";
}

TYPED_TEST(index_of_records, knows_strictly_ascending_times_only)
{
    EXPECT_TRUE(this->make({time_stamp{1, 5}, time_stamp{1, 6}}).knows_times());
    EXPECT_FALSE(this->make({time_stamp{1, 5}, time_stamp{1, 5}}).knows_times());
    EXPECT_FALSE(this->make({time_stamp{1, 5}, time_stamp{1, 4}}).knows_times());
    EXPECT_FALSE(this->make({time_stamp{0, 5}, time_stamp{1, 4}}).knows_times()) << "no time";
    EXPECT_FALSE(this->make({time_stamp{1, 1000000}, time_stamp{2, 4}}).knows_times()) << "not a normal time";
    EXPECT_FALSE(this->make(std::vector<time_stamp>{}).knows_times());
}

TYPED_TEST(index_of_records, finds_times_like_the_scans)
{
    for (int round = 0; round < 3000; ++round) {
        std::vector<time_stamp> times;
        const std::uint64_t widest = round % 3 == 0 ? 10 : round % 3 == 1 ? 200000 : 3000000;
        std::uint64_t us = 1000000 + this->random_() % 1000000;
        for (std::uint64_t left = 1 + this->random_() % 12; left > 0; --left) {
            times.push_back(stamp(us));
            us += 1 + this->random_() % widest;
        }
        auto index = this->make(times);
        ASSERT_TRUE(index.knows_times());
        for (int query = 0; query < 12; ++query) {
            const std::uint64_t base =
                query % 2 == 0 ? 900000
                               : static_cast<std::uint64_t>(in_microseconds(times[this->random_() % times.size()]));
            const time_stamp wanted = stamp(base + this->random_() % (query % 2 == 0 ? us : widest));
            const auto tolerance = static_cast<double>(query % 4 == 0 ? 0 : this->random_() % (widest * 2));
            const int type = static_cast<int>(this->random_() % 5) - 2;
            ASSERT_EQ(index.find_time(wanted, type, tolerance), time_by_scan(times, wanted, type, tolerance))
                << "round " << round << " query " << query;
        }
    }
}

TYPED_TEST(index_of_records, takes_a_time_whose_microseconds_are_a_whole_second)
{
    auto index = this->make({time_stamp{10, 0}, time_stamp{11, 0}, time_stamp{12, 0}});
    EXPECT_EQ(index.find_time({10, 1000000}, TROX_DAQ_READ_CHAN_EVENT_CUR, 0), 1);
    EXPECT_EQ(index.find_time({11, 1000001}, TROX_DAQ_READ_CHAN_EVENT_PREV, 0), 2);
}
