// Sound files give no finding, whatever freedom of the format they use.
#include "checked_file.h"

#include "sample_files.h"

#include <algorithm>

namespace
{

using namespace inspect_test;

TEST(doctor_samples, give_no_finding_and_all_their_records)
{
    for (const auto generation : {trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                  trox_test::sample_generation::g2024}) {
        for (const std::string& name : trox_test::sample_names(generation)) {
            const auto report = ti::check_file(trox_test::sample_directory(generation) + name);
            EXPECT_EQ(codes_of(report), "") << name;
            const auto dump = trox_test::read_dump(name);
            ASSERT_EQ(report.channels.size(), dump["channels"].size());
            for (std::size_t i = 0; i < report.channels.size(); ++i) {
                const auto& expected = dump["channels"][i];
                const auto& found = report.channels[i];
                EXPECT_EQ(found.good, expected["records"].size()) << found.name;
                EXPECT_EQ(found.checked, found.good);
                if (found.good != 0) {
                    EXPECT_EQ(found.position, expected["basket"][0].get<std::uint64_t>());
                    EXPECT_EQ(found.length, expected["basket"][1].get<std::uint64_t>());
                }
            }
            std::uint64_t events = 0;
            for (const auto& entry : dump["eit"]) {
                events += entry["events"].size();
            }
            EXPECT_EQ(report.events, events);
        }
    }
}

template <class T> class doctor_layouts : public testing::Test
{
};
using generations = testing::Types<trox_test::channel_legacy, trox_test::channel_2010, trox_test::channel_2024>;
TYPED_TEST_SUITE(doctor_layouts, generations);

TYPED_TEST(doctor_layouts, of_every_kind_give_no_finding)
{
    const trox_test::temp_directory directory;
    for (std::uint32_t seed = 0; seed < 24; ++seed) {
        tw::layout_options layout;
        layout.seed = seed;
        const auto arrangement = static_cast<tw::arrangement>(seed % 3);
        layout.baskets = layout.tables = layout.records = arrangement;
        layout.max_gap = seed % 2 == 0 ? 0 : 30;
        layout.odd_positions = seed % 4 >= 2;
        layout.updates = static_cast<tw::update_layout>(seed / 8);
        layout.shared = static_cast<tw::shared_length>(seed / 4 % 2);
        layout.spare_rows = seed % 5;
        layout.trailer_gap = seed % 3 * 11;
        layout.empty_tables = seed % 2 == 0;
        make_file<TypeParam>(directory.file("a.raw"), layout);
        const auto report = ti::check_file(directory.file("a.raw"));
        EXPECT_EQ(codes_of(report), "") << "seed " << seed;
        EXPECT_EQ(report.channels.size(), channel_count);
        for (std::size_t i = 0; i < report.channels.size(); ++i) {
            EXPECT_EQ(report.channels[i].good, i == no_records ? 0U : 3U) << channel_names[i];
        }
    }
}

TYPED_TEST(doctor_layouts, are_told_piece_by_piece_and_without_a_gap)
{
    const trox_test::temp_directory directory;
    tw::layout_options layout;
    layout.max_gap = 40;
    layout.seed = 7;
    layout.trailer_gap = 5;
    const auto file = make_file<TypeParam>(directory.file("a.raw"), layout);
    const auto report = ti::check_file(directory.file("a.raw"));
    std::uint64_t end = 0;
    std::uint64_t unused = 0;
    for (const ti::item& one : report.items) {
        EXPECT_EQ(one.position, end) << one.title();
        end = one.end();
        unused += one.kind == ti::item_kind::unused ? one.length : 0;
    }
    EXPECT_EQ(end, file.map().file_size);
    EXPECT_EQ(unused, report.unused_bytes);
    const auto starts_at = [&](ti::item_kind kind, std::uint64_t position) {
        return std::any_of(report.items.begin(), report.items.end(),
                           [&](const ti::item& one) { return one.kind == kind && one.position == position; });
    };
    EXPECT_TRUE(starts_at(ti::item_kind::dictionary, file.map().channel_dictionary.position));
    EXPECT_TRUE(starts_at(ti::item_kind::pointers, file.map().pointers.position));
    EXPECT_TRUE(starts_at(ti::item_kind::trailer, file.map().trailer.position));
}

} // namespace
