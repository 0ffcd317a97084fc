// The sorted numbers of records beside the plain scan, over many random arrays.
#include "trox/number_order.h"

#include "trox/data_file.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace
{

using trox::detail::indexed_record;
using trox::detail::number_order;

constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
constexpr int types[] = {TROX_DAQ_READ_CHAN_EVENT_CUR, TROX_DAQ_READ_CHAN_EVENT_NEXT, TROX_DAQ_READ_CHAN_EVENT_PREV,
                         TROX_DAQ_READ_CHAN_EVENT_FIRST, TROX_DAQ_READ_CHAN_EVENT_LAST};

std::vector<indexed_record> records_of(const std::vector<std::uint64_t>& numbers)
{
    std::vector<indexed_record> records;
    for (const std::uint64_t number : numbers) {
        records.push_back({{number, {1, 0}}, 0, false});
    }
    return records;
}

int find(const std::vector<std::uint64_t>& numbers, std::uint64_t id, int type)
{
    const auto records = records_of(numbers);
    return number_order<indexed_record>(records.data(), records.size()).find(id, type);
}

TEST(number_order, answers_like_the_scan)
{
    std::mt19937_64 random(1042);
    std::size_t found = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::uint64_t limit = 1 + random() % 40;
        std::vector<std::uint64_t> numbers(random() % 24);
        for (std::uint64_t& number : numbers) {
            number = random() % limit;
        }
        if (round % 3 == 0) { // ascending but for one
            std::sort(numbers.begin(), numbers.end());
            if (!numbers.empty()) {
                numbers[random() % numbers.size()] = random() % limit;
            }
        }
        const auto records = records_of(numbers);
        const number_order<indexed_record> order(records.data(), records.size());
        for (std::uint64_t id = 0; id <= limit + 1; ++id) {
            for (const int type : types) {
                const int expected =
                    trox_detail::scan_by_number(records.data(), static_cast<int>(records.size()), id, type, highest);
                ASSERT_EQ(order.find(id, type), expected)
                    << "round " << round << ", number " << id << ", type " << type;
                found += expected >= 0 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(found, 100000U);
}

TEST(number_order, counts_every_number)
{
    const std::vector<std::uint64_t> numbers{10, 12, highest, 14, highest - 1};
    EXPECT_EQ(find(numbers, highest, TROX_DAQ_READ_CHAN_EVENT_CUR), 2);
    EXPECT_EQ(find(numbers, 11, TROX_DAQ_READ_CHAN_EVENT_NEXT), 1);
    EXPECT_EQ(find(numbers, 15, TROX_DAQ_READ_CHAN_EVENT_NEXT), 4);
    EXPECT_EQ(find(numbers, highest - 2, TROX_DAQ_READ_CHAN_EVENT_PREV), 3);
    EXPECT_EQ(find(numbers, 9, TROX_DAQ_READ_CHAN_EVENT_PREV), -1);
    EXPECT_EQ(find({5, highest / 2 + 10, 1}, 2, TROX_DAQ_READ_CHAN_EVENT_NEXT), 0);
}

} // namespace
