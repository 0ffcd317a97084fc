// Cutting a block to one member, whole or to a window.
#include "spectrum_block.h"

#include "evutl_api.h"

#include <limits>
#include <string>
#include <tuple>
#include <utility>

namespace
{

using namespace trox_test;

template <class Layout> class cutting : public ::testing::Test
{
};

using layouts = ::testing::Types<layout_legacy, layout_2010>;
TYPED_TEST_SUITE(cutting, layouts);

TYPED_TEST(cutting, are_cut_to_one_member)
{
    for (const int type : {9, 28, 41, 53, 25}) {
        auto block = make_spectrum<TypeParam>(type);
        int length = -1;
        typename TypeParam::subhead* raw = nullptr;
        ASSERT_EQ(TypeParam::cut(block.get(), 2, nullptr, &length, &raw), 0);
        const table_ptr<typename TypeParam::subhead> cut(raw);
        const std::size_t region = is_region_type(type) ? 16 : 0;
        EXPECT_EQ(length, static_cast<int>(sizeof *raw + region + sizeof(typename TypeParam::head) + 16));
        EXPECT_EQ(cut->ldata, length);
        EXPECT_STREQ(cut->chname, "LINAC.X:2");
        EXPECT_EQ(cut->dtype, type);
        EXPECT_EQ(cut->error, 0x1000);
        const auto* payload = reinterpret_cast<const unsigned char*>(cut.get() + 1);
        if (region != 0) {
            EXPECT_EQ(load<trox_roi_head>(payload).height, 4);
        }
        const auto head = load<typename TypeParam::head>(payload + region);
        EXPECT_EQ(head.nmemb, 1);
        EXPECT_EQ(head.nsamp, 4);
        EXPECT_EQ(head.start, 100);
        EXPECT_EQ(head.inc, 0.5F);
        const float* const data = TypeParam::data(cut.get(), 0);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(load<float>(data + i), 8.0F + static_cast<float>(i));
        }
        EXPECT_EQ(TypeParam::data(cut.get(), 1), nullptr);
    }
}

TYPED_TEST(cutting, are_cut_to_a_window)
{
    struct example {
        trox_chan_prms window;
        std::vector<float> kept;
        float start;
        float inc;
    };
    const auto window = [](int start, int inc, int length) { return trox_chan_prms{start, inc, length, 0, 0, 0, 0}; };
    for (const auto& [wanted, kept, start, inc] : std::vector<example>{
             {window(0, 1, 4), {4, 5, 6, 7}, 100, 0.5},
             {window(1, 1, 2), {5, 6}, 100.5, 0.5},
             {window(0, 2, 2), {4, 6}, 100, 1},
             {window(1, 2, 2), {5, 7}, 100.5, 1},
             {window(1, 3, 9), {5}, 100.5, 1.5},
             {window(3, 1, 9), {7}, 101.5, 0.5},
             {window(4, 1, 9), {}, 102, 0.5},
             {window(-1, -1, -1), {4, 5, 6, 7}, 100, 0.5},
             {window(2, 0, 0), {6, 7}, 101, 0.5},
             {window(0, std::numeric_limits<int>::max(), 3), {4}, 100, 1073741824},
         }) {
        auto block = make_spectrum<TypeParam>(41);
        int length = -1;
        typename TypeParam::subhead* raw = nullptr;
        ASSERT_EQ(TypeParam::cut(block.get(), 1, &wanted, &length, &raw), 0);
        const table_ptr<typename TypeParam::subhead> cut(raw);
        const auto* payload = reinterpret_cast<const unsigned char*>(cut.get() + 1);
        const auto head = load<typename TypeParam::head>(payload);
        EXPECT_EQ(head.nsamp, static_cast<int>(kept.size()));
        EXPECT_EQ(head.start, start);
        EXPECT_EQ(head.inc, inc);
        EXPECT_EQ(length, static_cast<int>(sizeof *raw + sizeof head + 4 * kept.size()));
        for (std::size_t i = 0; i < kept.size(); ++i) {
            EXPECT_EQ(load<float>(payload + sizeof head + 4 * i), kept[i]);
        }
    }
}

TYPED_TEST(cutting, of_other_types_or_without_the_member_are_not_cut)
{
    for (int type = 0; type < 70; ++type) {
        auto block = make_spectrum<TypeParam>(type);
        for (const int member : {-1, 0, 3, 1000}) {
            typename TypeParam::subhead* raw = nullptr;
            int length = -1;
            const int status = TypeParam::cut(block.get(), member, nullptr, &length, &raw);
            const table_ptr<typename TypeParam::subhead> cut(raw);
            EXPECT_EQ(status == 0, is_spectrum_type(type) && member == 0) << type << ":" << member;
            EXPECT_EQ(cut != nullptr, status == 0);
            EXPECT_EQ(length == -1, status != 0);
        }
    }
    auto block = make_spectrum<TypeParam>(41);
    typename TypeParam::subhead* raw = nullptr;
    EXPECT_NE(TypeParam::cut(nullptr, 0, nullptr, nullptr, &raw), 0);
    EXPECT_NE(TypeParam::cut(block.get(), 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(TypeParam::cut(block.get(), 0, nullptr, nullptr, &raw), 0);
    const table_ptr<typename TypeParam::subhead> cut(raw);
}

TYPED_TEST(cutting, that_are_cut_have_a_name_cut_to_its_field)
{
    constexpr std::size_t field = sizeof(TypeParam::subhead::chname);
    for (const std::size_t size : {field - 4, field - 3, field - 2, field - 1, field}) {
        const std::string name(size, 'n');
        test_block<TypeParam> block(41, name);
        block.add(spectrum_head<TypeParam>(11, 1)).add_floats(11, 0);
        typename TypeParam::subhead* raw = nullptr;
        ASSERT_EQ(TypeParam::cut(block.get(), 10, nullptr, nullptr, &raw), 0);
        const table_ptr<typename TypeParam::subhead> cut(raw);
        EXPECT_EQ(std::string(cut->chname), (name + ":10").substr(0, field - 1));
    }
}

TEST(grouped_cutting, are_cut_with_their_statistics_and_groups)
{
    auto block = grouped_block();
    trox_serv_block_subhead_2010* raw = nullptr;
    int length = 0;
    ASSERT_EQ(device_to_one_channel_2010(block.get(), 1, nullptr, &length, &raw), 0);
    const table_ptr<trox_serv_block_subhead_2010> cut(raw);
    EXPECT_EQ(length, 268 + 32 + 132 + 6 * 4);
    const auto* payload = reinterpret_cast<const unsigned char*>(cut.get() + 1);
    const auto head = load<trox_spect_head_2010>(payload);
    EXPECT_EQ(head.nmemb, 1);
    EXPECT_EQ(head.groups, 3);
    EXPECT_EQ(head.code, 12);
    EXPECT_EQ(head.group_inc, 1000);
    EXPECT_EQ(head.flags, 1U);
    EXPECT_EQ(load<trox_spect_statistics_2010>(payload + 32).val[31], 8);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(load<float>(payload + 164 + 4 * i), 6.0F + static_cast<float>(i));
    }
}

TEST(grouped_cutting, of_any_number_of_groups_without_samples_leaves_the_heads)
{
    for (const std::uint32_t flags : {0U, 1U}) {
        test_block<layout_2010> block(28);
        block.add(trox_spect_head_2010{1, 0, std::numeric_limits<std::int32_t>::max(), 12, 120, 0.5, 1000, flags});
        if (flags != 0) {
            block.add(trox_spect_statistics_2010{});
        }
        for (const auto& window : {trox_chan_prms{}, trox_chan_prms{5, 3, 7, 0, 0, 0, 0}}) {
            trox_serv_block_subhead_2010* raw = nullptr;
            int length = 0;
            ASSERT_EQ(device_to_one_channel_2010(block.get(), 0, &window, &length, &raw), 0);
            const table_ptr<trox_serv_block_subhead_2010> cut(raw);
            EXPECT_EQ(length, flags != 0 ? 268 + 32 + 132 : 268 + 32);
            EXPECT_EQ(cut->ldata, length);
            const auto head = load<trox_spect_head_2010>(cut.get() + 1);
            EXPECT_EQ(head.nmemb, 1);
            EXPECT_EQ(head.nsamp, 0);
            EXPECT_EQ(head.groups, std::numeric_limits<std::int32_t>::max());
            EXPECT_EQ(head.group_inc, 1000);
        }
    }
}

TEST(grouped_cutting, behind_the_last_sample_of_each_group_leaves_the_heads)
{
    auto block = grouped_block();
    const trox_chan_prms window{2, 1, 9, 0, 0, 0, 0};
    trox_serv_block_subhead_2010* raw = nullptr;
    int length = 0;
    ASSERT_EQ(device_to_one_channel_2010(block.get(), 1, &window, &length, &raw), 0);
    const table_ptr<trox_serv_block_subhead_2010> cut(raw);
    EXPECT_EQ(length, 268 + 32 + 132);
    EXPECT_EQ(load<trox_spect_head_2010>(cut.get() + 1).nsamp, 0);
    EXPECT_EQ(load<trox_spect_head_2010>(cut.get() + 1).groups, 3);
}

TEST(grouped_cutting, are_windowed_group_by_group)
{
    auto block = grouped_block();
    const trox_chan_prms window{1, 1, 1, 0, 0, 0, 0};
    trox_serv_block_subhead_2010* raw = nullptr;
    int length = 0;
    ASSERT_EQ(device_to_one_channel_2010(block.get(), 0, &window, &length, &raw), 0);
    const table_ptr<trox_serv_block_subhead_2010> cut(raw);
    EXPECT_EQ(length, 268 + 32 + 132 + 3 * 4);
    const auto* payload = reinterpret_cast<const unsigned char*>(cut.get() + 1);
    EXPECT_EQ(load<trox_spect_head_2010>(payload).start, 120.5F);
    EXPECT_EQ(load<trox_spect_head_2010>(payload).nsamp, 1);
    for (std::size_t group = 0; group < 3; ++group) {
        EXPECT_EQ(load<float>(payload + 164 + 4 * group), 1.0F + 2 * static_cast<float>(group));
    }
}

} // namespace
