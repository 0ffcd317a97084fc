// Records without a good row are put where they belong, or are lost: never into another event.
#include "recovered_file.h"

#include "detail/big_endian.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace recover_test;
using testing::IsEmpty;

namespace
{

struct layout_case {
    const char* name;
    void (*change)(tw::layout_options&);
};

const layout_case layouts[] = {
    {"tidy", [](tw::layout_options&) {}},
    {"shuffled", [](auto& l) { l.baskets = l.tables = l.records = tw::arrangement::shuffled; }},
    {"reversed", [](auto& l) { l.records = tw::arrangement::reversed; }},
    {"small_gaps", [](auto& l) { l.max_gap = 9; }},
    {"large_gaps", [](auto& l) { l.max_gap = 600; }},
    {"shared_updates", [](auto& l) { l.updates = tw::update_layout::shared; }},
    {"shared_updates_one_length",
     [](auto& l) {
         l.updates = tw::update_layout::shared;
         l.shared = tw::shared_length::one_record;
     }},
    {"updates_away", [](auto& l) { l.updates = tw::update_layout::away; }},
    {"updates_away_shuffled",
     [](auto& l) {
         l.updates = tw::update_layout::away;
         l.records = tw::arrangement::shuffled;
         l.odd_positions = true;
     }},
};

class without_rows : public testing::TestWithParam<std::tuple<tw::generation, layout_case>>
{
protected:
    static tw::layout_options layout()
    {
        tw::layout_options result;
        result.seed = 11;
        std::get<1>(GetParam()).change(result);
        return result;
    }
    damaged_scenario file_{std::get<0>(GetParam()), layout()};
};

TEST_P(without_rows, nothing_is_put_into_another_event_and_all_that_is_lost_is_counted)
{
    file_.destroy(file_.map().pointers.position, file_.map().pointers.length);
    const auto report = file_.recover();
    ASSERT_NE(report.end, tr::outcome::nothing) << report.failure;
    const auto now = file_.recovered();
    EXPECT_THAT(find_differences(file_.original(), now), IsEmpty());
    EXPECT_EQ(lost_count(report), missing_records(file_.original(), now).size());
}

TEST_P(without_rows, and_without_any_other_table_neither)
{
    for (const auto& table : {file_.map().pointers, file_.map().event_index, file_.map().channel_dictionary,
                              file_.map().environment, file_.map().descriptions, file_.map().references}) {
        file_.destroy(table.position, table.length);
    }
    const auto report = file_.recover();
    ASSERT_NE(report.end, tr::outcome::nothing) << report.failure;
    const auto now = file_.recovered();
    comparison what;
    what.keys = false;
    EXPECT_THAT(find_differences(file_.original(), now, what), IsEmpty());
    const auto missing = missing_records(file_.original(), now);
    EXPECT_TRUE(missing.empty() || !report.lost_records.empty());
}

INSTANTIATE_TEST_SUITE_P(recover, without_rows,
                         testing::Combine(testing::ValuesIn(generations), testing::ValuesIn(layouts)),
                         [](const auto& tested) {
                             return generation_name(std::get<0>(tested.param)) + "_" + std::get<1>(tested.param).name;
                         });

// --- rows that point at something that is there, but not theirs ----------------------------------------------

class wrong_rows : public testing::TestWithParam<tw::generation>
{
protected:
    std::uint64_t row_position(const damaged_scenario& file, std::size_t column, std::size_t row) const
    {
        const auto word = file.word();
        return file.map().pointers.position + 3 * word + (column * file.original().file.rows + row) * 4 * word;
    }
    static std::uint64_t get(const damaged_scenario& file, std::uint64_t position)
    {
        return file.word() == 8 ? trox_detail::load_big_endian<std::uint64_t>(&file.content.at(position))
                                : trox_detail::load_big_endian<std::uint32_t>(&file.content.at(position));
    }
    static void put(damaged_scenario& file, std::uint64_t position, std::uint64_t value)
    {
        if (file.word() == 8) {
            trox_detail::store_big_endian(&file.content.at(position), value);
        } else {
            trox_detail::store_big_endian(&file.content.at(position), static_cast<std::uint32_t>(value));
        }
    }
};

TEST_P(wrong_rows, of_any_channel_lead_to_no_record_of_another_event)
{
    const damaged_scenario whole(GetParam());
    for (std::size_t column = 0; column < whole.original().file.channels.size(); ++column) {
        if (whole.original().file.channels[column].records.size() < 3) {
            continue;
        }
        for (std::size_t field = 0; field < 4; ++field) {
            damaged_scenario file(GetParam());
            const auto at = row_position(file, column, 1) + field * file.word();
            put(file, at, get(file, row_position(file, column, 2) + field * file.word()));
            const auto report = file.recover();
            const auto now = file.recovered();
            const auto where = whole.original().file.channels[column].name + ", field " + std::to_string(field);
            EXPECT_THAT(find_differences(file.original(), now), IsEmpty()) << where;
            const auto missing = missing_records(file.original(), now);
            EXPECT_LE(missing.size(), 2U) << where; // the row's record, and at worst the one that it claims
            EXPECT_EQ(lost_count(report), missing.size()) << where;
            EXPECT_EQ(report.end == tr::outcome::complete, missing.empty()) << where;
        }
    }
}

TEST_P(wrong_rows, that_are_zero_are_made_good_from_the_basket)
{
    damaged_scenario file(GetParam());
    for (std::size_t column = 0; column < file.original().file.channels.size(); ++column) {
        if (file.original().file.channels[column].records.size() > 3) {
            file.destroy(row_position(file, column, 2), 4 * file.word(), 0);
        }
    }
    const auto report = file.recover();
    const auto now = file.recovered();
    EXPECT_EQ(report.end, tr::outcome::complete);
    EXPECT_THAT(find_differences(file.original(), now), IsEmpty());
    EXPECT_THAT(missing_records(file.original(), now), IsEmpty());
}

// Columns exchanged: every row leads to a record of the other channel.
TEST_P(wrong_rows, of_exchanged_columns_put_no_record_under_another_channel)
{
    damaged_scenario file(GetParam());
    const auto size = file.original().file.rows * 4 * file.word();
    const auto one = row_position(file, 1, 0);
    const auto other = row_position(file, 4, 0);
    std::swap_ranges(file.content.begin() + static_cast<std::ptrdiff_t>(one),
                     file.content.begin() + static_cast<std::ptrdiff_t>(one + size),
                     file.content.begin() + static_cast<std::ptrdiff_t>(other));
    const auto report = file.recover();
    ASSERT_NE(report.end, tr::outcome::nothing) << report.failure;
    const auto now = file.recovered();
    EXPECT_THAT(find_differences(file.original(), now), IsEmpty());
    EXPECT_EQ(lost_count(report), missing_records(file.original(), now).size());
}

INSTANTIATE_TEST_SUITE_P(recover, wrong_rows, testing::ValuesIn(generations),
                         [](const auto& tested) { return generation_name(tested.param); });

// --- records that look alike ---------------------------------------------------------------------------------

class twins : public testing::TestWithParam<tw::generation>
{
protected:
    // Two channels of equal lengths on two servers, or on one, their records in the order that is asked for.
    tw::file_map write(const char* second_server, tw::arrangement records)
    {
        tw::file_options options;
        options.layout.records = records;
        options.layout.seed = 3;
        tw::file_writer file(input_, GetParam(), options);
        const auto one = file.add_channel("TWIN.A");
        const auto other = file.add_channel("TWIN.B");
        for (std::uint64_t i = 0; i < 20; ++i) {
            file.begin_event({100 + i, {1700000000, static_cast<std::uint32_t>(i * 1000)}});
            file.begin_server_block({"ONE", {}, {}, 0, 0});
            file.add_record(one, tw::spectrum_payload(GetParam(), TROX_BLOCK_GENERIC_SPECT, {static_cast<float>(i)}));
            if (std::string(second_server) != "ONE") {
                file.begin_server_block({second_server, {}, {}, 0, 0});
            }
            file.add_record(other,
                            tw::spectrum_payload(GetParam(), TROX_BLOCK_GENERIC_SPECT, {static_cast<float>(100 + i)}));
            file.end_event();
        }
        return file.finish();
    }
    tr::report recover(const tw::file_map& map, bool with_pointers)
    {
        original_ = parse(input_);
        auto content = writer_test::read_file(input_);
        if (!with_pointers) {
            std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(map.pointers.position), map.pointers.length,
                        static_cast<unsigned char>(0x5A));
        }
        damage_(content, map);
        write_bytes(damaged_, content);
        return tr::recover_file(damaged_, output_);
    }

    writer_test::scratch_directory directory_;
    const std::string input_ = directory_.path("whole.raw");
    const std::string damaged_ = directory_.path("damaged.raw");
    const std::string output_ = directory_.path("recovered.raw");
    full_file original_;
    void (*damage_)(bytes&, const tw::file_map&) = [](bytes&, const tw::file_map&) {};
};

TEST_P(twins, without_rows_are_lost_since_nothing_tells_them_apart)
{
    for (const auto order : {tw::arrangement::tidy, tw::arrangement::shuffled}) {
        for (const auto* server : {"ONE", "TWO"}) {
            const auto map = write(server, order);
            const auto report = recover(map, false);
            EXPECT_EQ(report.end, tr::outcome::partial) << report.failure;
            EXPECT_EQ(report.records, 0U);
            EXPECT_EQ(report.events, 20U);
            EXPECT_EQ(lost_count(report), 40U);
            std::filesystem::remove(input_);
            std::filesystem::remove(output_);
        }
    }
}

// The bytes of one basket where the other's were, and the rows as they are.
TEST_P(twins, in_exchanged_baskets_come_back_under_their_own_names_or_not_at_all)
{
    const auto map = write("TWO", tw::arrangement::tidy);
    damage_ = [](bytes& content, const tw::file_map& where) {
        const auto one = where.channels.at(0);
        const auto other = where.channels.at(1);
        ASSERT_EQ(one.length, other.length);
        std::swap_ranges(content.begin() + static_cast<std::ptrdiff_t>(one.position),
                         content.begin() + static_cast<std::ptrdiff_t>(one.position + one.length),
                         content.begin() + static_cast<std::ptrdiff_t>(other.position));
    };
    const auto report = recover(map, true);
    EXPECT_EQ(report.end, tr::outcome::partial) << report.failure;
    const auto now = parse(output_);
    EXPECT_THAT(find_differences(original_, now), IsEmpty());
    EXPECT_EQ(lost_count(report), missing_records(original_, now).size());
}

INSTANTIATE_TEST_SUITE_P(recover, twins, testing::ValuesIn(generations),
                         [](const auto& tested) { return generation_name(tested.param); });

} // namespace
