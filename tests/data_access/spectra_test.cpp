// Spectra, traces and regions of interest.
#include "typed_records.h"

using namespace trox_test;

template <class T> class spectra : public record_access<T>
{
protected:
    static std::string refused(int dtype)
    {
        return "trox_daq_getdata::GetSpectPar: error datatype:" + std::to_string(dtype) +
               " data_2010: " + (T::is_legacy || T::is_2024 ? "0" : "1") + "\n";
    }
};
TYPED_TEST_SUITE(spectra, all_access, access_names);

TYPED_TEST(spectra, give_axis_and_samples_of_each_member)
{
    this->add("XY", TypeParam::four_members_type, spectrum<TypeParam>(4, 2, {1, 2, 3, 4, 5, 6, 7, 8}));
    this->select_single();
    EXPECT_EQ(this->access_.GetNmemb(), 4);
    for (int member = 0; member < 4; ++member) {
        float start = 0;
        float inc = 0;
        void* extra = nullptr;
        int length = 0;
        int groups = 0;
        float group_inc = -1;
        ASSERT_EQ(this->access_.GetSpectPar(&start, &inc, &extra, &length, member, &groups, &group_inc, nullptr), 0);
        EXPECT_EQ(start, 500.0F);
        EXPECT_EQ(inc, 0.25F);
        EXPECT_EQ(extra, this->owned_[0]->data());
        EXPECT_EQ(length, 2);
        EXPECT_EQ(groups, 1);
        EXPECT_EQ(group_inc, TypeParam::is_legacy ? 0.0F : 1000.0F);
        const float* samples = this->access_.GetSpect(member);
        ASSERT_NE(samples, nullptr);
        EXPECT_EQ(samples[0], static_cast<float>(2 * member + 1));
        EXPECT_EQ(samples[1], static_cast<float>(2 * member + 2));
    }
    EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0), 0);
}

TYPED_TEST(spectra, members_outside_are_refused)
{
    this->add("XY", TypeParam::four_members_type, spectrum<TypeParam>(4, 1, {1, 2, 3, 4}));
    this->select_single();
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpect(-1), nullptr); }).err,
              "GetSpect() invalid memb:-1  max: 4\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpect(4), nullptr); }).err,
              "GetSpect() invalid memb:4  max: 4\n");
    int groups = 9;
    float group_inc = 9;
    EXPECT_EQ(capture([&] {
                  EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 4, &groups, &group_inc), -1);
              }).err,
              this->refused(TypeParam::four_members_type));
    EXPECT_EQ(groups, 1) << "set before anything else";
    EXPECT_EQ(group_inc, 0.0F);
}

/// Legacy spectra have no groups.
template <class T> class grouped_spectra : public spectra<T>
{
};
using access_with_groups = ::testing::Types<access_2010, access_2024>;
TYPED_TEST_SUITE(grouped_spectra, access_with_groups, access_names);

TYPED_TEST(grouped_spectra, values_are_counted_through_all_groups)
{
    std::vector<trox_spect_statistics_2010> statistics(2);
    statistics[0] = {3, {1.0F, 9.0F}};
    statistics[1] = {5, {2.0F, 0.0F, 7.0F}};
    this->add("GEN", TROX_BLOCK_GENERIC_SPECT,
              spectrum<TypeParam>(2, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 3, statistics));
    this->select_single();
    int length = 0;
    int groups = 0;
    float group_inc = 0;
    trox_spect_statistics_2010* stat = nullptr;
    ASSERT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, &length, 1, &groups, &group_inc, &stat), 0);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(groups, 3);
    EXPECT_EQ(group_inc, 1000.0F);
    ASSERT_NE(stat, nullptr);
    EXPECT_EQ(stat->mask, 5U);
    EXPECT_EQ(stat->val[2], 7.0F);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(this->access_.GetSpectVal(1, i), static_cast<float>(7 + i));
    }
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectVal(1, 6), 0.0F); }).err,
              "GetSpectVal() index is too big: 6 max: 2\n")
        << "the number of samples of a group is told";
}

TYPED_TEST(spectra, legacy_ones_have_neither_groups_nor_statistics)
{
    this->add("XY", TypeParam::four_members_type, spectrum<TypeParam>(4, 1, {1, 2, 3, 4}));
    this->select_single();
    trox_spect_statistics_2010 mine{};
    trox_spect_statistics_2010* stat = &mine;
    int groups = 9;
    float group_inc = 9;
    ASSERT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0, &groups, &group_inc, &stat), 0);
    EXPECT_EQ(groups, 1);
    EXPECT_EQ(group_inc, TypeParam::is_legacy ? 0.0F : 1000.0F);
    EXPECT_EQ(stat, TypeParam::is_legacy ? &mine : nullptr) << "left as it is in legacy records";
}

TYPED_TEST(spectra, GetSpectVal_at_length_times_groups_is_too_big)
{
    this->add_trace("FAST");
    this->select_single();
    EXPECT_EQ(this->access_.GetSpectVal(0, 0), 1.5F);
    EXPECT_EQ(this->access_.GetSpectVal(0, 2), 3.5F);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectVal(0, 3), 0.0F); }).err,
              "GetSpectVal() index is too big: 3 max: 3\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectVal(0, -1), 0.0F); }).err,
              "GetSpectVal() index is too big: -1 max: 3\n");
}

TYPED_TEST(spectra, group_count_0_is_one_group)
{
    this->add("FAST", TypeParam::trace_type, spectrum<TypeParam>(1, 3, {1.5F, 2.5F, 3.5F}, 0));
    this->select_single();
    EXPECT_EQ(this->access_.GetSpectVal(0, 2), 3.5F);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectVal(0, 3), 0.0F); }).err,
              "GetSpectVal() index is too big: 3 max: 3\n");
}

TYPED_TEST(spectra, one_float_less_than_announced_is_missing)
{
    this->add("FAST", TypeParam::trace_type, spectrum<TypeParam>(1, 4, {1.5F, 2.5F, 3.5F}));
    this->select_single();
    EXPECT_EQ(this->access_.GetData(), this->owned_[0]->data()) << "the payload, for want of samples";
    EXPECT_EQ(this->access_.GetSpect(0), nullptr);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0), -1); }).err,
              this->refused(TypeParam::trace_type));
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectVal(0, 0), 0.0F); }).err,
              this->refused(TypeParam::trace_type) + "GetSpectVal() index is too big: 0 max: 0\n");
}

TYPED_TEST(spectra, without_payload_are_missing)
{
    this->add("FAST", TypeParam::trace_type);
    this->select_single();
    EXPECT_EQ(capture([&] {
                  EXPECT_EQ(this->access_.GetSpect(0), nullptr);
                  EXPECT_EQ(this->access_.GetSpect(99), nullptr);
                  int groups = 9;
                  float group_inc = 9;
                  EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0, &groups, &group_inc), -2);
                  EXPECT_EQ(groups, 1) << "set before anything else";
                  EXPECT_EQ(group_inc, 0.0F);
                  EXPECT_EQ(this->access_.GetDescr(), -2);
              }).err,
              "");
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectVal(0, 0), 0.0F); }).err,
              "GetSpectVal() index is too big: 0 max: 0\n");
}

TYPED_TEST(spectra, of_a_negative_length_are_missing)
{
    auto& record = this->add_trace("FAST");
    record.head().ldata = -1;
    this->select_single();
    EXPECT_EQ(this->access_.GetSpect(0), nullptr);
    capture([&] {
        EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0), -1);
        EXPECT_EQ(this->access_.GetSpectVal(0, 0), 0.0F);
    });
}

TYPED_TEST(spectra, other_block_types_are_refused)
{
    this->add_image("IMAGE");
    this->select_single();
    EXPECT_EQ(this->access_.GetSpect(0), nullptr);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0), -1); }).err,
              this->refused(TROX_BLOCK_IMAGE));
}

TYPED_TEST(spectra, a_block_cut_to_one_member_has_one)
{
    const int type = TypeParam::four_members_type;
    this->add("XY:2", type << 16 | type, spectrum<TypeParam>(1, 2, {5, 6}));
    this->select_single();
    EXPECT_EQ(this->access_.GetPropType(), 3);
    EXPECT_EQ(this->access_.GetNmemb(), 1);
    EXPECT_STREQ(this->access_.GetMembName(0), "VALUE");
    EXPECT_EQ(this->access_.GetSpectVal(0, 1), 6.0F);
}

TYPED_TEST(spectra, description_codes_are_of_younger_records)
{
    this->add_trace("FAST");
    this->select_single();
    EXPECT_EQ(this->access_.GetDescr(), TypeParam::is_legacy ? -1 : 12);
}

// --- regions of interest ----------------------------------------------------------------------------------

template <class T> class regions : public spectra<T>
{
protected:
    static std::vector<unsigned char> region()
    {
        auto bytes = payload_bytes().add(trox_roi_head{5, 3, 18, 12}).get();
        const auto samples = spectrum<T>(1, 2, {1.5F, 2.5F});
        bytes.insert(bytes.end(), samples.begin(), samples.end());
        return bytes;
    }
};
TYPED_TEST_SUITE(regions, all_access, access_names);

TYPED_TEST(regions, give_the_region_and_the_axis)
{
    for (const int type : {24, 25, 26}) {
        this->records_.clear();
        auto& record = this->add("ROI", type, this->region());
        this->select_single();
        void* roi = nullptr;
        float start = 0;
        float inc = 0;
        void* extra = nullptr;
        int length = 0;
        ASSERT_EQ(this->access_.GetRoiPar(&roi, &start, &inc, &extra, &length, 0), 0);
        ASSERT_EQ(roi, record.data());
        EXPECT_EQ(static_cast<trox_roi_head*>(roi)->width, 18);
        EXPECT_EQ(start, 500.0F);
        EXPECT_EQ(inc, 0.25F);
        EXPECT_EQ(extra, record.data() + sizeof(trox_roi_head));
        EXPECT_EQ(length, 2);
        EXPECT_EQ(this->access_.GetSpectVal(0, 1), 2.5F);
        EXPECT_EQ(this->access_.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
    }
}

TYPED_TEST(regions, of_other_types_are_refused_by_name_for_legacy_records_only)
{
    for (const int type : {int{TROX_BLOCK_EQDATA}, int{TROX_BLOCK_IMAGE_EXT}}) {
        this->records_.clear();
        this->add("OTHER", type, this->region());
        this->select_single();
        const std::string expected =
            TypeParam::is_legacy ? "trox_daq_getdata::GetRoiPrm: 1 DType" + std::to_string(type) + "\n" : "";
        EXPECT_EQ(capture([&] {
                      EXPECT_EQ(this->access_.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), -1);
                  }).err,
                  expected);
    }
}

TYPED_TEST(regions, without_payload_or_too_short_are_missing)
{
    auto& record = this->add("ROI", TROX_BLOCK_IMG_ROI1, this->region());
    record.head().ldata -= 1;
    this->select_single();
    void* roi = &record;
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetRoiPar(&roi, nullptr, nullptr, nullptr, nullptr, 0), -1); }).err,
              this->refused(24));
    EXPECT_EQ(roi, &record) << "nothing is written";
    record.head().ldata = this->head_size;
    this->select_single();
    EXPECT_EQ(this->access_.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), -2);
}
