// Payload functions: host order in memory, and what they refuse. Their bytes in the file are in the scenario.
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using namespace writer_test;
using testing::ElementsAre;

namespace
{

template <class Value> Value host_value(const tw::payload& payload, std::size_t at)
{
    Value value;
    std::memcpy(&value, payload.bytes.data() + at, sizeof value);
    return value;
}

tw::fault fault_of(const std::function<void()>& call)
{
    try {
        call();
    } catch (const tw::error& failure) {
        return failure.why();
    }
    ADD_FAILURE() << "not refused";
    return tw::fault::input_output;
}

TEST(payloads, are_in_host_order)
{
    const auto update = tw::update_payload(tw::generation::legacy, "N", 2.5F, {11, 12}, 13);
    EXPECT_EQ(update.dtype, 1);
    ASSERT_EQ(update.bytes.size(), 96U);
    EXPECT_EQ(host_value<std::int32_t>(update, 80), 13);
    EXPECT_EQ(host_value<std::uint32_t>(update, 84), 11U);
    EXPECT_EQ(host_value<float>(update, 92), 2.5F);
}

TEST(payloads, have_the_block_types_of_their_generation)
{
    EXPECT_EQ(tw::update_payload(tw::generation::v2010, "N", 0, {}).dtype, 33);
    EXPECT_EQ(tw::begin_of_run_payload(tw::generation::legacy, "N", 0, {}).dtype, 4);
    EXPECT_EQ(tw::begin_of_run_payload(tw::generation::v2024, "N", 0, {}).dtype, 36);
    EXPECT_EQ(tw::end_of_run_payload(tw::generation::legacy, "N", 0, {}).dtype, 5);
    EXPECT_EQ(tw::end_of_run_payload(tw::generation::v2024, "N", 0, {}).dtype, 37);
    EXPECT_EQ(tw::environment_payload(1, 0, {}).dtype, 3);
}

TEST(payloads, of_spectra_refuse_values_that_cannot_be_divided)
{
    tw::spectrum_head head;
    head.members = 2;
    head.groups = 2;
    EXPECT_EQ(fault_of([&] {
                  tw::spectrum_payload(tw::generation::v2010, 28, {1, 2, 3, 4, 5, 6}, head);
              }),
              tw::fault::bad_value);
    head.members = 0;
    EXPECT_EQ(fault_of([&] { tw::spectrum_payload(tw::generation::v2010, 28, {1, 2}, head); }), tw::fault::bad_value);
}

TEST(payloads, of_legacy_spectra_refuse_what_only_later_heads_hold)
{
    tw::spectrum_head head;
    head.groups = 2;
    EXPECT_EQ(fault_of([&] {
                  tw::spectrum_payload(tw::generation::legacy, 28, {1, 2}, head);
              }),
              tw::fault::unsupported);
    tw::spectrum_head coded;
    coded.code = 1;
    EXPECT_EQ(fault_of([&] {
                  tw::spectrum_payload(tw::generation::legacy, 28, {1, 2}, coded);
              }),
              tw::fault::unsupported);
}

TEST(payloads, of_spectra_refuse_statistics_for_some_members_only)
{
    tw::spectrum_head head;
    head.members = 2;
    head.statistics.resize(1);
    EXPECT_EQ(fault_of([&] { tw::spectrum_payload(tw::generation::v2010, 28, {1, 2}, head); }), tw::fault::bad_value);
}

TEST(payloads, of_regions_refuse_other_block_types)
{
    EXPECT_EQ(fault_of([] { tw::region_payload(tw::generation::v2010, 23, {}, {1}); }), tw::fault::bad_value);
}

TEST(payloads, refuse_names_longer_than_their_fields)
{
    const std::string name_79(79, 'x');
    const std::string name_80(80, 'x');
    EXPECT_NO_THROW(tw::update_payload(tw::generation::legacy, name_79, 0, {}));
    EXPECT_EQ(fault_of([&] { tw::update_payload(tw::generation::legacy, name_80, 0, {}); }), tw::fault::bad_name);
    EXPECT_NO_THROW(tw::update_payload(tw::generation::v2010, std::string(255, 'x'), 0, {}));
    EXPECT_EQ(fault_of([] { tw::update_payload(tw::generation::v2010, std::string(256, 'x'), 0, {}); }),
              tw::fault::bad_name);
    EXPECT_NO_THROW(tw::name_value_payload(1, name_79, {{name_79, 1.0F}}));
    EXPECT_EQ(fault_of([&] { tw::name_value_payload(1, name_80, {}); }), tw::fault::bad_name);
    EXPECT_EQ(fault_of([&] { tw::name_value_payload(1, "", {{name_80, 1.0F}}); }), tw::fault::bad_name);
}

} // namespace
