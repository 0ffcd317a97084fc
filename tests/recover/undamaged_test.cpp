// An undamaged file comes back equal: every record, event, server block, key, description.
#include "recovered_file.h"
#include "sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace recover_test;
using testing::IsEmpty;

namespace
{

void expect_equal(const full_file& original, const full_file& recovered)
{
    EXPECT_THAT(find_differences(original, recovered), IsEmpty());
    EXPECT_THAT(missing_records(original, recovered), IsEmpty());
    EXPECT_EQ(recovered.file.generation, original.file.generation);
    EXPECT_EQ(recovered.file.environment, original.file.environment);
    EXPECT_EQ(recovered.file.descriptions, original.file.descriptions);
    ASSERT_EQ(recovered.file.channels.size(), original.file.channels.size());
    for (std::size_t i = 0; i < original.file.channels.size(); ++i) {
        const auto& before = original.file.channels[i];
        const auto& now = recovered.file.channels[i];
        EXPECT_EQ(std::tie(now.name, now.key, now.event_mask, now.dtype_mask),
                  std::tie(before.name, before.key, before.event_mask, before.dtype_mask));
    }
    // Events and blocks in order, also those without records.
    ASSERT_EQ(recovered.file.events.size(), original.file.events.size());
    auto now = recovered.file.events.begin();
    for (const auto& [position, before] : original.file.events) {
        EXPECT_EQ(std::tie(now->second.number, now->second.seconds, now->second.microseconds, now->second.type,
                           now->second.tmask, now->second.status, now->second.blocks, now->second.length),
                  std::tie(before.number, before.seconds, before.microseconds, before.type, before.tmask, before.status,
                           before.blocks, before.length));
        ++now;
    }
    ASSERT_EQ(recovered.file.blocks.size(), original.file.blocks.size());
    auto block = recovered.file.blocks.begin();
    for (const auto& [position, before] : original.file.blocks) {
        EXPECT_EQ(std::tie(block->second.server, block->second.seconds, block->second.mpulse, block->second.tmask,
                           block->second.status, block->second.channels, block->second.ltotal),
                  std::tie(before.server, before.seconds, before.mpulse, before.tmask, before.status, before.channels,
                           before.ltotal));
        ++block;
    }
}

class undamaged_sample : public testing::TestWithParam<std::string>
{
};

TEST_P(undamaged_sample, comes_back_equal)
{
    if (!tw::has_lzo()) {
        GTEST_SKIP() << "the sample files hold LZO records";
    }
    damaged_scenario file(GetParam());
    const auto report = file.recover();
    EXPECT_EQ(report.end, tr::outcome::complete) << report.failure;
    EXPECT_EQ(report.records, file.original().records.size());
    EXPECT_THAT(report.remarks, IsEmpty());
    expect_equal(file.original(), file.recovered());
}

std::vector<std::string> samples()
{
    std::vector<std::string> paths;
    for (const auto generation : {trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                  trox_test::sample_generation::g2024}) {
        for (const auto& name : trox_test::sample_names(generation)) {
            paths.push_back(trox_test::sample_directory(generation) + name);
        }
    }
    return paths;
}

INSTANTIATE_TEST_SUITE_P(recover, undamaged_sample, testing::ValuesIn(samples()),
                         [](const auto& tested) { return "sample" + std::to_string(tested.index); });

struct layout_case {
    const char* name;
    void (*change)(tw::layout_options&);
};

const layout_case layouts[] = {
    {"tidy", [](tw::layout_options&) {}},
    {"shuffled", [](auto& l) { l.baskets = l.tables = l.records = tw::arrangement::shuffled; }},
    {"gaps", [](auto& l) { l.max_gap = 600; }},
    {"odd", [](auto& l) { l.odd_positions = true; }},
    {"shared_updates", [](auto& l) { l.updates = tw::update_layout::shared; }},
    {"updates_away", [](auto& l) { l.updates = tw::update_layout::away; }},
    {"spare_rows_and_empty_tables",
     [](auto& l) {
         l.spare_rows = 3;
         l.trailer_gap = 10000;
         l.empty_tables = true;
     }},
};

class undamaged_layout : public testing::TestWithParam<std::tuple<tw::generation, layout_case>>
{
};

TEST_P(undamaged_layout, comes_back_equal)
{
    tw::layout_options layout;
    layout.seed = 7;
    std::get<1>(GetParam()).change(layout);
    damaged_scenario file(std::get<0>(GetParam()), layout);
    const auto report = file.recover();
    EXPECT_EQ(report.end, tr::outcome::complete) << report.failure;
    EXPECT_THAT(report.remarks, IsEmpty());
    EXPECT_THAT(report.lost_records, IsEmpty());
    expect_equal(file.original(), file.recovered());
}

INSTANTIATE_TEST_SUITE_P(recover, undamaged_layout,
                         testing::Combine(testing::ValuesIn(generations), testing::ValuesIn(layouts)),
                         [](const auto& tested) {
                             return generation_name(std::get<0>(tested.param)) + "_" + std::get<1>(tested.param).name;
                         });

} // namespace
