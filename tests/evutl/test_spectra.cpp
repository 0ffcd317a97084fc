// Data pointers and axes of spectra, traces and control-system values.
#include "spectrum_block.h"

#include "evutl_api.h"

#include <limits>
#include <string>
#include <tuple>
#include <utility>

namespace
{

using namespace trox_test;

template <class Layout> class spectra : public ::testing::Test
{
};

using layouts = ::testing::Types<layout_legacy, layout_2010>;
TYPED_TEST_SUITE(spectra, layouts);

TYPED_TEST(spectra, have_a_data_pointer_for_every_spectrum_type_and_member)
{
    for (int type = 0; type < 70; ++type) {
        for (const int dtype : {type, type << 16 | type}) {
            auto block = make_spectrum<TypeParam>(dtype);
            const std::size_t offset = (is_region_type(type) ? 16 : 0) + sizeof(typename TypeParam::head);
            for (int member = -1; member < 5; ++member) {
                const float* const data = TypeParam::data(block.get(), member);
                if (!is_spectrum_type(type) || member < 0 || member > 2) {
                    if (type != TROX_BLOCK_EQDATA) {
                        EXPECT_EQ(data, nullptr) << type << ":" << member;
                    }
                    EXPECT_NE(TypeParam::parameters(block.get(), member), 0) << type << ":" << member;
                    continue;
                }
                ASSERT_EQ(reinterpret_cast<const unsigned char*>(data), block.payload() + offset + 16 * member)
                    << dtype << ":" << member;
                EXPECT_EQ(load<float>(data), 4.0F * static_cast<float>(member));
                EXPECT_EQ(TypeParam::parameters(block.get(), member), 0);
            }
        }
    }
    EXPECT_EQ(TypeParam::data(nullptr, 0), nullptr);
    EXPECT_NE(TypeParam::parameters(nullptr, 0), 0);
}

TYPED_TEST(spectra, that_are_too_short_for_their_head_have_no_data)
{
    for (const int type : {9, 41, 24, 28}) {
        auto block = make_spectrum<TypeParam>(type);
        for (std::int32_t length = block.length() - 1; length >= 0; --length) {
            block.set_length(length);
            ASSERT_EQ(TypeParam::data(block.get(), 0), nullptr) << length;
            ASSERT_NE(TypeParam::parameters(block.get(), 0), 0) << length;
            typename TypeParam::subhead* cut = nullptr;
            ASSERT_NE(TypeParam::cut(block.get(), 0, nullptr, nullptr, &cut), 0) << length;
            ASSERT_EQ(cut, nullptr);
        }
        for (const std::int32_t length : {-1, std::numeric_limits<std::int32_t>::min()}) {
            block.set_length(length);
            EXPECT_EQ(TypeParam::data(block.get(), 0), nullptr);
        }
        block.set_length(block.length());
        EXPECT_NE(TypeParam::data(block.get(), 0), nullptr);
    }
}

TYPED_TEST(spectra, that_announce_what_no_payload_can_hold_have_no_data)
{
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    for (const auto& [members, samples] : std::vector<std::pair<int, int>>{{4, 4},
                                                                           {3, 5},
                                                                           {most, most},
                                                                           {1, most},
                                                                           {most, 1},
                                                                           {0x40000000, 4},
                                                                           {-1, 4},
                                                                           {3, -1},
                                                                           {least, least},
                                                                           {0x8000, 0x20000},
                                                                           {0, 4}}) {
        test_block<TypeParam> block(41);
        block.add(spectrum_head<TypeParam>(members, samples)).add_floats(12, 0);
        EXPECT_EQ(TypeParam::data(block.get(), 0), nullptr) << members << " x " << samples;
        EXPECT_NE(TypeParam::parameters(block.get(), 0), 0) << members << " x " << samples;
    }
}

TYPED_TEST(spectra, without_samples_point_behind_their_head)
{
    test_block<TypeParam> block(41);
    block.add(spectrum_head<TypeParam>(2, 0));
    const auto* data = reinterpret_cast<const unsigned char*>(TypeParam::data(block.get(), 1));
    EXPECT_EQ(data, block.payload() + sizeof(typename TypeParam::head));
}

TYPED_TEST(spectra, of_generic_type_tell_their_number_of_members)
{
    auto block = make_spectrum<TypeParam>(28);
    EXPECT_EQ(get_channel_number(28, block.get()), 3);
    EXPECT_EQ(get_channel_number(28 << 16 | 28, block.get()), 1);
    EXPECT_EQ(get_channel_number(28, nullptr), 1);
    EXPECT_EQ(get_channel_number(28, static_cast<const typename TypeParam::subhead*>(nullptr)), 1);
    test_block<TypeParam> none(28);
    EXPECT_EQ(get_channel_number(28, none.get()), 1) << "a payload too short for a head";
    test_block<TypeParam> damaged(28);
    damaged.add(spectrum_head<TypeParam>(0x7FFFFFFF, 0));
    EXPECT_EQ(get_channel_number(28, damaged.get()), 1) << "more members than the payload has words";
    test_block<TypeParam> negative(28);
    negative.add(spectrum_head<TypeParam>(-2, 0));
    EXPECT_EQ(get_channel_number(28, negative.get()), 1);
}

TYPED_TEST(spectra, of_a_control_system_value_point_at_its_first_element)
{
    const auto make = [](int type, std::int32_t length, std::size_t room) {
        test_block<TypeParam> block(23);
        block.add(trox_eqdata_head{type, 0, {1, 2}, length});
        for (std::size_t i = 0; i < room; ++i) {
            block.add(static_cast<unsigned char>(i));
        }
        return block;
    };
    for (const auto& [type, length, room, fits] : std::vector<std::tuple<int, int, std::size_t, bool>>{
             {DATA_FLOAT, 1, 4, true},
             {DATA_FLOAT, 1, 3, false},
             {DATA_A_INT, 5, 20, true},
             {DATA_A_INT, 6, 23, false},
             {DATA_A_INT, 0x7FFFFFFF, 23, false},
             {DATA_STRING, 13, 13, true},
             {DATA_STRING, 14, 13, false},
             {DATA_IMAGE, 5, 8, true},
             {DATA_INT, 0, 0, true},
             {DATA_INT, -1, 8, false},
         }) {
        auto block = make(type, length, room);
        const auto* data = reinterpret_cast<const unsigned char*>(TypeParam::data(block.get(), 0));
        EXPECT_EQ(data, fits ? block.payload() + 20 : nullptr) << type << " of " << length;
        EXPECT_EQ(TypeParam::data(block.get(), 1), nullptr);
        EXPECT_NE(TypeParam::parameters(block.get(), 0), 0) << "has no axis";
    }
    test_block<TypeParam> none(23);
    EXPECT_EQ(TypeParam::data(none.get(), 0), nullptr);
}

TEST(grouped_spectra, give_all_parameters)
{
    auto block = grouped_block();
    float start = 0;
    float inc = 0;
    void* extra = nullptr;
    int length = 0;
    int groups = 0;
    float group_inc = 0;
    trox_spect_statistics_2010* stat = nullptr;
    ASSERT_EQ(
        get_spect_params_for_data_type_2010(block.get(), &start, &inc, &extra, &length, &groups, &group_inc, &stat, 1),
        0);
    EXPECT_EQ(start, 120);
    EXPECT_EQ(inc, 0.5F);
    EXPECT_EQ(extra, block.payload());
    EXPECT_EQ(length, 2);
    EXPECT_EQ(groups, 3);
    EXPECT_EQ(group_inc, 1000);
    const auto statistics = load<trox_spect_statistics_2010>(stat);
    EXPECT_EQ(statistics.mask, 16U);
    EXPECT_EQ(statistics.val[31], 8);
    EXPECT_EQ(load<float>(get_pointer_to_data_2010(block.get(), 1)), 6);
    EXPECT_EQ(get_spect_code_description_2010(block.get()), 12);
}

TEST(grouped_spectra, have_statistics_by_bit_0_of_the_flags_only)
{
    auto block = grouped_block(0xFFFFFFFE);
    auto* stat = reinterpret_cast<trox_spect_statistics_2010*>(1);
    ASSERT_EQ(get_spect_params_for_data_type_2010(block.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                  &stat, 0),
              0);
    EXPECT_EQ(stat, nullptr);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(get_pointer_to_data_2010(block.get(), 0)), block.payload() + 32);
}

TEST(grouped_spectra, of_0_groups_have_one)
{
    test_block<layout_2010> block(41);
    block.add(spectrum_head<layout_2010>(1, 4)).add_floats(4, 0);
    int groups = 0;
    ASSERT_EQ(get_spect_params_for_data_type_2010(block.get(), nullptr, nullptr, nullptr, nullptr, &groups, nullptr,
                                                  nullptr, 0),
              0);
    EXPECT_EQ(groups, 1);
}

TEST(grouped_spectra, too_short_for_groups_or_statistics_have_no_data)
{
    constexpr int most = std::numeric_limits<int>::max();
    for (const auto& [members, samples, groups, flags] :
         std::vector<std::tuple<int, int, int, std::uint32_t>>{{1, 4, 4, 0},
                                                               {1, 4, -1, 0},
                                                               {1, 1, 1, 1},
                                                               {most, 0, 1, 1},
                                                               {most, most, most, 1},
                                                               {1, most, most, 0},
                                                               {0x10000, 0x10000, 0x40000000, 0}}) {
        test_block<layout_2010> block(41);
        block.add(trox_spect_head_2010{members, samples, groups, 9, 0, 1, 0, flags}).add_floats(12, 0);
        EXPECT_EQ(get_pointer_to_data_2010(block.get(), 0), nullptr) << members << " " << samples << " " << groups;
        EXPECT_EQ(get_spect_code_description_2010(block.get()), -1);
    }
    EXPECT_EQ(get_spect_code_description_2010(nullptr), -1);
    test_block<layout_2010> image(13);
    image.add_floats(40, 0);
    EXPECT_EQ(get_spect_code_description_2010(image.get()), -1);
}

} // namespace
