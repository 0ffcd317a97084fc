// How many workers a channel gets, from the masks of its dictionary entry.
#include "event.h"
#include "generic/thread_count.h"

#include <gtest/gtest.h>

using trox_detail::preferred_thread_count;

namespace
{

constexpr std::uint32_t bit(int number)
{
    return std::uint32_t{1} << number;
}

} // namespace

TEST(thread_count, without_block_types_is_6_doubled)
{
    EXPECT_EQ(preferred_thread_count(0, bit(TROX_EV_NORMAL)), 12);
    EXPECT_EQ(preferred_thread_count(0, 0), 12);
}

TEST(thread_count, for_images_is_10_doubled)
{
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_IMAGE), bit(TROX_EV_IMAGE)), 20);
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_IMAGE_EXT), 0), 20);
}

TEST(thread_count, for_several_members_is_twice_their_number)
{
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_BPM), bit(TROX_EV_NORMAL)), 8) << "X, Y, SUM, QUALITY";
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_TOROID), bit(TROX_EV_NORMAL)), 4) << "CHARGE, TIME";
}

TEST(thread_count, is_decided_by_the_highest_block_type)
{
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_BPM) | bit(TROX_BLOCK_TOROID), 0), 4);
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_IMAGE) | bit(TROX_BLOCK_WS_FAST), 0), 4) << "POSITION, SIGNAL";
    EXPECT_EQ(preferred_thread_count(bit(TROX_BLOCK_BPM) | bit(TROX_BLOCK_SINGLE), bit(TROX_EV_UPD)), 1);
}

TEST(thread_count, for_single_values_follows_the_event_types)
{
    const std::uint32_t single = bit(TROX_BLOCK_SINGLE);
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_NORMAL)), 4) << "local";
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_LLRF_ML)), 2) << "several lines";
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_TOROID_ML)), 2);
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_UPD) | bit(TROX_EV_ENV)), 1) << "global";
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_HB) | bit(TROX_EV_31)), 1) << "undefined";
    EXPECT_EQ(preferred_thread_count(single, 0), 1);
}

TEST(thread_count, for_single_values_takes_the_first_event_type_that_says_something)
{
    const std::uint32_t single = bit(TROX_BLOCK_SINGLE);
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_UPD) | bit(TROX_EV_IMAGE)), 4);
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_LLRF_ML) | bit(TROX_EV_SPECTR_1)), 2);
    EXPECT_EQ(preferred_thread_count(single, bit(TROX_EV_PHOTEN) | bit(TROX_EV_LLRF_ML)), 4);
}

TEST(thread_count, counts_unassigned_types_as_one_member)
{
    EXPECT_EQ(preferred_thread_count(bit(0), 0), 1);
    EXPECT_EQ(preferred_thread_count(bit(30), 0), 1);
    EXPECT_EQ(preferred_thread_count(bit(30), bit(TROX_EV_NORMAL)), 4);
}
