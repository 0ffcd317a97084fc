// Filling the blocks of a server with the records of channels.
#include "fill.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace trox::recovery;
using testing::ElementsAre;
using testing::Optional;

namespace
{

constexpr std::uint64_t much = 1'000'000;

std::optional<fill_result> fill(const std::vector<fill_channel>& channels, const std::vector<fill_block>& blocks,
                                std::uint64_t effort = much)
{
    return fill_blocks(channels, blocks, effort);
}

TEST(fill, finds_in_which_blocks_the_records_of_a_rare_channel_are)
{
    // A record of 100 bytes in every block, one of 60 in the second and the fourth.
    const auto result = fill({{{100, 100, 100, 100}, 0, true}, {{60, 60}, 0, true}},
                             {{1, 100, 1}, {2, 160, 1}, {1, 100, 1}, {2, 160, 1}});
    ASSERT_TRUE(result);
    EXPECT_THAT(result->places[0], ElementsAre(Optional(0U), Optional(1U), Optional(2U), Optional(3U)));
    EXPECT_THAT(result->places[1], ElementsAre(Optional(1U), Optional(3U)));
    EXPECT_THAT(result->is_used, ElementsAre(true, true));
    EXPECT_THAT(result->is_unused, ElementsAre(false, false));
}

TEST(fill, leaves_open_what_can_be_in_two_ways)
{
    // Two channels with records of equal length, one in each block: either way round.
    const auto result = fill({{{50}, 0, true}, {{50}, 0, true}, {{70, 70}, 0, true}}, {{2, 120, 1}, {2, 120, 1}});
    ASSERT_TRUE(result);
    EXPECT_THAT(result->places[0], ElementsAre(std::nullopt));
    EXPECT_THAT(result->places[1], ElementsAre(std::nullopt));
    EXPECT_THAT(result->places[2], ElementsAre(Optional(0U), Optional(1U)));
}

TEST(fill, looks_at_the_event_types_of_a_channel)
{
    const auto result = fill({{{50}, 1U << 1U, true}, {{50}, 1U << 6U, true}}, {{1, 50, 6}, {1, 50, 1}});
    ASSERT_TRUE(result);
    EXPECT_THAT(result->places[0], ElementsAre(Optional(1U)));
    EXPECT_THAT(result->places[1], ElementsAre(Optional(0U)));
}

TEST(fill, tells_that_a_channel_may_belong_elsewhere)
{
    const auto result = fill({{{50, 50}, 0, false}, {{50, 50}, 0, false}}, {{1, 50, 1}, {1, 50, 1}});
    ASSERT_TRUE(result);
    EXPECT_THAT(result->is_used, ElementsAre(true, true));
    EXPECT_THAT(result->is_unused, ElementsAre(true, true));
}

TEST(fill, refuses_what_does_not_add_up)
{
    EXPECT_FALSE(fill({{{50, 50}, 0, true}}, {{1, 50, 1}, {1, 51, 1}}));   // another length
    EXPECT_FALSE(fill({{{50, 50}, 0, true}}, {{1, 50, 1}}));               // a record left over
    EXPECT_FALSE(fill({{{50}, 0, true}}, {{1, 50, 1}, {1, 50, 1}}));       // a block left over
    EXPECT_FALSE(fill({{{50, 50}, 0, false}}, {{1, 50, 1}, {-1, 50, 1}})); // a count that is none
}

TEST(fill, keeps_the_order_of_records)
{
    EXPECT_TRUE(fill({{{10, 20, 30}, 0, true}}, {{1, 10, 1}, {1, 20, 1}, {1, 30, 1}}));
    EXPECT_FALSE(fill({{{20, 10, 30}, 0, true}}, {{1, 10, 1}, {1, 20, 1}, {1, 30, 1}}));
}

TEST(fill, gives_up_where_the_ways_are_too_many)
{
    const std::vector<fill_channel> channels(24, fill_channel{{50, 50, 50, 50}, 0, false});
    const std::vector<fill_block> blocks(8, fill_block{12, 600, 1});
    std::uint64_t effort = 100'000;
    EXPECT_FALSE(fill_blocks(channels, blocks, effort));
    EXPECT_EQ(effort, 0U);
}

TEST(fill, gives_up_where_the_ways_would_fill_the_memory_whatever_effort_is_left)
{
    const std::vector<fill_channel> channels(24, fill_channel{{50, 50, 50, 50}, 0, false});
    const std::vector<fill_block> blocks(8, fill_block{12, 600, 1});
    std::uint64_t effort = 1'000'000'000'000;
    EXPECT_FALSE(fill_blocks(channels, blocks, effort));
    EXPECT_EQ(effort, 0U);
}

} // namespace
