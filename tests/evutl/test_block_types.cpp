// The members of the block types: how many, and their names.
#include "spectrum_block.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace
{

using namespace trox_test;

/// Member names of the types that are not one VALUE.
const std::map<int, std::vector<std::string>>& member_names()
{
    static const std::vector<std::string> position{"X", "Y", "SUM", "QUALITY"};
    static const std::vector<std::string> channels{"CH0", "CH1", "CH2", "CH3", "CH4", "CH5", "CH6", "CH7"};
    const auto first = [](std::size_t count) {
        return std::vector<std::string>(channels.begin(), channels.begin() + static_cast<long>(count));
    };
    static const std::map<int, std::vector<std::string>> names{
        {6, position},
        {38, position},
        {7, {"Z", "SUM"}},
        {39, {"Z", "SUM"}},
        {8, {"SUM"}},
        {40, {"SUM"}},
        {10, {"CHARGE", "TIME"}},
        {42, {"CHARGE", "TIME"}},
        {11, {"I", "Q", "AMPLITUDE", "PHASE"}},
        {43, {"I", "Q", "AMPLITUDE", "PHASE"}},
        {12, {"ENERGY"}},
        {44, {"ENERGY"}},
        {14, {"POSITION", "SIGNAL"}},
        {15, {"POSITION", "SIGNAL"}},
        {46, {"POSITION", "SIGNAL"}},
        {45, first(2)},
        {60, first(3)},
        {47, first(4)},
        {61, first(5)},
        {52, first(6)},
        {62, first(7)},
        {53, first(8)},
    };
    return names;
}

TEST(members, of_every_type_have_a_number_and_names)
{
    for (int type = -1; type < 100; ++type) {
        if (type == TROX_BLOCK_GENERIC_SPECT) {
            continue;
        }
        const auto known = member_names().find(type);
        std::vector<std::string> expected{"VALUE"};
        if (known != member_names().end()) {
            expected = known->second;
        }
        if (is_unassigned(type)) {
            expected.clear();
        }
        const int count = static_cast<int>(expected.size());
        const trox_serv_block_subhead legacy{};
        const trox_serv_block_subhead_2010 later{};
        EXPECT_EQ(get_channel_number(type, nullptr), count) << type;
        EXPECT_EQ(get_channel_number(type, &legacy), count) << type;
        EXPECT_EQ(get_channel_number(type, &later), count) << type;
        EXPECT_EQ(get_channel_number(type, static_cast<const trox_serv_block_subhead_2010*>(nullptr)), count) << type;
        for (int i = 0; i < count; ++i) {
            EXPECT_STREQ(get_chan_name(type, i), expected[static_cast<std::size_t>(i)].c_str()) << type;
        }
        EXPECT_EQ(get_chan_name(type, count), nullptr) << type;
        EXPECT_EQ(get_chan_name(type, -1), nullptr) << type;
    }
}

TEST(members, of_a_cut_block_are_one_value)
{
    for (int type = 0; type < 64; ++type) {
        const int cut = type << 16 | type;
        if (type == 0) {
            continue;
        }
        EXPECT_EQ(get_channel_number(cut, nullptr), is_unassigned(type) ? 0 : 1) << type;
        if (is_unassigned(type)) {
            EXPECT_EQ(get_chan_name(cut, 0), nullptr) << type;
        } else {
            EXPECT_STREQ(get_chan_name(cut, 0), "VALUE") << type;
            EXPECT_EQ(get_chan_name(cut, 1), nullptr) << type;
        }
    }
    EXPECT_EQ(get_channel_number(0x1001E, nullptr), 0);
}

TEST(members, of_a_generic_spectrum_are_named_by_number)
{
    EXPECT_STREQ(get_chan_name(28, 0), "CH0");
    EXPECT_STREQ(get_chan_name(28, 9), "CH9");
    EXPECT_STREQ(get_chan_name(28, 10), "CH10");
    EXPECT_STREQ(get_chan_name(28, 999), "CH999");
    EXPECT_STREQ(get_chan_name(28, 4095), "CH4095");
    EXPECT_EQ(get_chan_name(28, -1), nullptr);
    EXPECT_EQ(get_chan_name(28, 0), get_chan_name(28, 0)) << "the text lives as long as the program";
}

} // namespace
