// Damage that leaves rows, heads and names readable, and makes them tell different things: a record comes back under
// its own event and name, or not at all.
#include "recovered_file.h"
#include "sample_files.h"

#include "detail/big_endian.h"
#include "event.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

using namespace recover_test;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

std::string sample(trox_test::sample_generation generation, std::size_t which)
{
    return trox_test::sample_directory(generation) + trox_test::sample_names(generation).at(which);
}

class contradiction : public testing::TestWithParam<trox_test::sample_generation>
{
protected:
    void SetUp() override
    {
        if (!tw::has_lzo()) {
            GTEST_SKIP() << "the sample files hold LZO records";
        }
    }
    static std::uint64_t subhead_size(const damaged_scenario& file)
    {
        return file.original().file.generation == 2009 ? 44 : 268;
    }
    static std::uint64_t row_position(const damaged_scenario& file, std::size_t column, std::size_t row)
    {
        for (const auto& one : file.original().file.ranges) {
            if (one.name == "pointers") {
                return one.position + 3 * file.word() + (column * file.original().file.rows + row) * 4 * file.word();
            }
        }
        throw std::logic_error("no pointers table");
    }
    // Every record that came back is the original's, and what did not is counted.
    static void expect_nothing_wrong(damaged_scenario& file, const tr::report& report, const std::string& where)
    {
        ASSERT_NE(report.end, tr::outcome::nothing) << where << report.failure;
        const auto now = file.recovered();
        EXPECT_THAT(find_differences(file.original(), now), IsEmpty()) << where;
        const auto missing = missing_records(file.original(), now);
        EXPECT_EQ(report.lost, missing.size()) << where;
        EXPECT_EQ(lost_count(report), missing.size()) << where;
        EXPECT_TRUE(missing.empty() || report.end == tr::outcome::partial) << where;
    }
};

TEST_P(contradiction, of_exchanged_rows_and_their_server_blocks_puts_no_record_under_another_event)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    int tried = 0;
    for (std::size_t column = 0; column < whole.original().file.channels.size(); ++column) {
        const auto& records = whole.original().file.channels[column].records;
        const auto other = std::find_if(records.begin(), records.end(),
                                        [&](const auto& one) { return one.ldata != records.front().ldata; });
        if (other == records.end()) {
            continue;
        }
        ++tried;
        damaged_scenario file(sample(GetParam(), 0));
        const auto half = 2 * file.word(); // sub-head and data
        const auto a = row_position(file, column, 0) + half;
        const auto b = row_position(file, column, static_cast<std::size_t>(other - records.begin())) + half;
        std::swap_ranges(file.content.begin() + static_cast<std::ptrdiff_t>(a),
                         file.content.begin() + static_cast<std::ptrdiff_t>(a + half),
                         file.content.begin() + static_cast<std::ptrdiff_t>(b));
        expect_nothing_wrong(file, file.recover(), whole.original().file.channels[column].name);
    }
    EXPECT_GT(tried, 3);
}

TEST_P(contradiction, of_a_row_that_leads_to_the_record_of_an_empty_one_puts_no_record_under_another_event)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    for (std::size_t column = 0; column < whole.original().file.channels.size(); ++column) {
        const auto& records = whole.original().file.channels[column].records;
        const auto other = std::find_if(records.begin(), records.end(),
                                        [&](const auto& one) { return one.ldata != records.front().ldata; });
        if (other == records.end()) {
            continue;
        }
        damaged_scenario file(sample(GetParam(), 0));
        const auto half = 2 * file.word();
        const auto from = row_position(file, column, static_cast<std::size_t>(other - records.begin()));
        std::copy_n(file.content.begin() + static_cast<std::ptrdiff_t>(from + half), half,
                    file.content.begin() + static_cast<std::ptrdiff_t>(row_position(file, column, 0) + half));
        file.destroy(from, 2 * half, 0);
        expect_nothing_wrong(file, file.recover(), whole.original().file.channels[column].name);
    }
}

// The records of a sub-head that says nothing, or nothing that can be, are lost; no other.
TEST_P(contradiction, of_a_cleared_sub_head_loses_its_record_only)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    std::size_t count = 0;
    for (const auto& [name, one] : whole.original().records) {
        if (count++ % 37 != 0) {
            continue;
        }
        damaged_scenario file(sample(GetParam(), 0));
        file.destroy(one.record.head_position + subhead_size(file) - 12, 12, 0);
        const auto report = file.recover();
        expect_nothing_wrong(file, report, std::get<0>(name));
        EXPECT_EQ(report.lost, 1U) << std::get<0>(name);
    }
}

TEST_P(contradiction, of_a_block_type_of_zero_loses_its_record_only)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    std::size_t count = 0;
    for (const auto& [name, one] : whole.original().records) {
        if (count++ % 41 != 0) {
            continue;
        }
        damaged_scenario file(sample(GetParam(), 0));
        file.destroy(one.record.head_position + subhead_size(file) - 12, 4, 0);
        const auto report = file.recover();
        expect_nothing_wrong(file, report, std::get<0>(name));
        EXPECT_EQ(report.lost, 1U) << std::get<0>(name);
    }
}

TEST_P(contradiction, of_a_cleared_mark_of_compression_and_the_stream_behind_it_restores_the_mark)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    std::size_t count = 0;
    for (const auto& [name, one] : whole.original().records) {
        if (one.record.zip_flags == 0 || count++ % 29 != 0) {
            continue;
        }
        damaged_scenario file(sample(GetParam(), 0));
        file.content.at(one.record.head_position + subhead_size(file) - 8) &= 0xBFU;
        const auto report = file.recover();
        expect_nothing_wrong(file, report, std::get<0>(name));
        EXPECT_EQ(report.end, tr::outcome::complete) << std::get<0>(name);
        EXPECT_EQ(report.lost, 0U) << std::get<0>(name);
        EXPECT_THAT(report.remarks, Contains(HasSubstr("mark of compression")));
    }
    EXPECT_GT(count, 29U);
}

TEST_P(contradiction, of_the_length_of_a_server_block_is_settled_by_its_event)
{
    damaged_scenario file(sample(GetParam(), 0));
    const auto block = file.original().records.begin()->second.record.block_position;
    const auto at = block + (file.word() == 8 ? 15 : 11); // the lowest byte of its length
    file.content.at(at) ^= 4U;
    const auto report = file.recover();
    expect_nothing_wrong(file, report, "");
    EXPECT_EQ(report.lost, 0U);
}

// A sector, or a byte, that is not there any more, or there twice: nothing behind it is where rows say.
TEST_P(contradiction, of_rows_and_a_file_that_has_lost_or_gained_bytes_puts_no_record_under_another_event)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    const auto size = whole.content.size();
    for (std::size_t i = 1; i < 24; ++i) {
        const auto at = static_cast<std::ptrdiff_t>(size * i / 24);
        for (const int change : {-512, 512, -1, 1}) {
            damaged_scenario file(sample(GetParam(), 0));
            if (change < 0) {
                file.content.erase(file.content.begin() + at, file.content.begin() + at - change);
            } else {
                file.content.insert(file.content.begin() + at, static_cast<std::size_t>(change), 0);
            }
            const auto where = std::to_string(change) + " at " + std::to_string(at);
            const auto report = file.recover();
            if (report.end == tr::outcome::nothing) {
                continue;
            }
            auto now = file.recovered();
            // Plain records that hold the place have no checksum.
            for (const auto& [name, one] : whole.original().records) {
                const auto begin = static_cast<std::ptrdiff_t>(one.record.head_position);
                if (begin < at + 512 && begin + one.record.ldata > at) {
                    now.records.erase(name);
                }
            }
            comparison what;
            what.event_fields = what.blocks = what.keys = false;
            EXPECT_THAT(find_differences(file.original(), now, what), IsEmpty()) << where;
            EXPECT_EQ(report.end, tr::outcome::partial) << where;
        }
    }
}

// All tables of one field: the number of rows per column, and the length.
TEST_P(contradiction, of_the_shape_of_the_pointers_table_and_its_rows_loses_nothing)
{
    const damaged_scenario whole(sample(GetParam(), 0));
    const auto rows = whole.original().file.rows;
    const auto columns = whole.original().file.channels.size();
    for (const auto value : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{2}, std::uint64_t{13}, rows - 1,
                             rows + 1, rows * columns, rows * columns / 2, ~std::uint64_t{0} >> 33U}) {
        for (const std::size_t field : {1, 2}) {
            damaged_scenario file(sample(GetParam(), 0));
            const auto at = row_position(file, 0, 0) - (3 - field) * file.word();
            if (file.word() == 8) {
                trox_detail::store_big_endian(&file.content.at(at), value);
            } else {
                trox_detail::store_big_endian(&file.content.at(at), static_cast<std::uint32_t>(value));
            }
            const auto where = "field " + std::to_string(field) + " is " + std::to_string(value);
            const auto report = file.recover();
            expect_nothing_wrong(file, report, where);
            EXPECT_EQ(report.lost, 0U) << where;
            EXPECT_EQ(report.end, tr::outcome::complete) << where;
        }
    }
}

TEST_P(contradiction, of_the_length_of_a_basket_and_those_behind_it_loses_none_of_these)
{
    damaged_scenario file(sample(GetParam(), 0));
    const auto& channels = file.original().file.channels;
    const auto first = std::min_element(channels.begin(), channels.end(), [](const auto& a, const auto& b) {
        return !a.records.empty() && (b.records.empty() || a.records[0].head_position < b.records[0].head_position);
    });
    const auto pointers = row_position(file, 0, 0) - 3 * file.word();
    file.destroy(pointers, 2 * file.word(), 0x5A); // no rows
    const auto before = file.recover();
    const auto length = first->records[0].head_position - file.word();
    const auto value = pointers - (length - file.word()); // all that is in front of the tables
    if (file.word() == 8) {
        trox_detail::store_big_endian(&file.content.at(length), value);
    } else {
        trox_detail::store_big_endian(&file.content.at(length), static_cast<std::uint32_t>(value));
    }
    const auto report = file.recover();
    EXPECT_THAT(find_differences(file.original(), file.recovered()), IsEmpty());
    EXPECT_EQ(report.records, before.records);
    EXPECT_EQ(report.lost, before.lost);
}

TEST_P(contradiction, of_all_names_in_a_basket_and_the_dictionary_counts_every_record_of_the_basket)
{
    damaged_scenario file(sample(GetParam(), 0));
    file.destroy(row_position(file, 0, 0) - 3 * file.word(), 2 * file.word(), 0x5A); // no rows
    const auto& channels = file.original().file.channels;
    const auto plain = std::find_if(channels.begin(), channels.end(), [](const auto& one) {
        return one.records.size() > 5 && one.name.find("LLRF") != std::string::npos;
    });
    ASSERT_NE(plain, channels.end());
    for (const auto& record : plain->records) {
        file.content.at(record.head_position + 3) ^= 1U;
    }
    const auto report = file.recover();
    EXPECT_THAT(find_differences(file.original(), file.recovered()), IsEmpty());
    const auto unknown = std::find_if(report.lost_records.begin(), report.lost_records.end(), [](const auto& one) {
        return one.reason.find("cannot be told") != std::string::npos && one.reason.find("basket") != std::string::npos;
    });
    ASSERT_NE(unknown, report.lost_records.end());
    EXPECT_EQ(unknown->count, plain->records.size());
    EXPECT_EQ(report.lost, missing_records(file.original(), file.recovered()).size());
}

TEST_P(contradiction, of_a_number_of_records_and_their_bytes_counts_no_record_that_is_none)
{
    damaged_scenario file(sample(GetParam(), 0));
    const auto& one = file.original().records.begin()->second.record;
    const std::uint64_t server_head = GetParam() == trox_test::sample_generation::legacy  ? 76
                                      : GetParam() == trox_test::sample_generation::g2010 ? 284
                                                                                          : 304;
    const std::uint64_t behind = GetParam() == trox_test::sample_generation::g2024 ? 8 : 4;
    file.content.at(one.block_position + server_head - behind + 1) ^= 1U;
    const auto report = file.recover();
    expect_nothing_wrong(file, report, "");
    EXPECT_EQ(report.lost, 0U);
}

TEST_P(contradiction, of_a_time_of_an_event_and_its_server_blocks_is_told_where_its_index_entry_is_lost)
{
    damaged_scenario file(sample(GetParam(), 0));
    const auto& one = *file.original().records.begin();
    const auto event = one.second.record.event_position;
    bytes entry(2 * file.word()); // number and position
    if (file.word() == 8) {
        trox_detail::store_big_endian(entry.data(), one.second.event.number);
        trox_detail::store_big_endian(&entry[8], event);
    } else {
        trox_detail::store_big_endian(entry.data(), static_cast<std::uint32_t>(one.second.event.number));
        trox_detail::store_big_endian(&entry[4], static_cast<std::uint32_t>(event));
    }
    const auto at = std::search(file.content.begin(), file.content.end(), entry.begin(), entry.end());
    ASSERT_NE(at, file.content.end());
    std::fill(at, at + static_cast<std::ptrdiff_t>(entry.size()), static_cast<unsigned char>(0));
    EXPECT_THAT(file.recover().remarks, testing::Not(Contains(HasSubstr("cannot be confirmed"))));
    file.content.at(event + (file.word() == 8 ? 31 : 23)) ^= 1U; // microseconds
    const auto report = file.recover();
    EXPECT_EQ(report.end, tr::outcome::partial);
    EXPECT_THAT(report.remarks, Contains(HasSubstr("time cannot be confirmed")));
}

TEST_P(contradiction, of_a_number_of_an_event_and_its_server_blocks_is_told_where_the_index_is_lost)
{
    damaged_scenario file(sample(GetParam(), 0));
    for (const auto& range : file.original().file.ranges) {
        if (range.name == "event index") {
            file.destroy(range.position, 64, 0);
        }
    }
    EXPECT_THAT(file.recover().remarks, Contains(HasSubstr("event index: not found")));
    const auto event = file.original().records.begin()->second.record.event_position;
    file.content.at(event + (file.word() == 8 ? 23 : 11)) ^= 0x40U; // the lowest byte of the number
    const auto report = file.recover();
    EXPECT_EQ(report.end, tr::outcome::partial);
    EXPECT_THAT(report.remarks, Contains(HasSubstr("number cannot be confirmed")));
}

// A channel of one record, with a name in the dictionary, in the sub-head and, in a slow record, in its value.
class single_record : public testing::TestWithParam<tw::generation>
{
protected:
    tr::report recover(bool is_described, int what, std::size_t flipped)
    {
        tw::file_options options;
        options.replace_existing = true;
        tw::file_writer file(path_, GetParam(), options);
        tw::channel_settings settings;
        settings.name = "T/ONE";
        if (is_described) {
            settings.description = tw::channel_description{};
        }
        const auto one = file.add_channel(settings);
        settings.name = "T/ENV";
        settings.key = 77;
        settings.environment_index = 3;
        const auto environment = file.add_channel(settings);
        const time_stamp time{1700000000, 5};
        file.begin_event({1, time, what == TROX_EV_UPD ? TROX_EV_UPD : TROX_EV_NORMAL});
        file.begin_server_block({"ONE", {}, {}, 0, 0});
        if (what == TROX_EV_UPD) {
            file.add_record(one, tw::update_payload(GetParam(), "T/ONE", 1, time));
        } else {
            file.add_record(one, tw::spectrum_payload(GetParam(), TROX_BLOCK_GENERIC_SPECT, {1, 2, 3}));
        }
        file.end_event();
        file.begin_event({2, time, TROX_EV_ENV});
        file.begin_server_block({"ONE", {}, {}, 0, 0});
        file.add_record(environment, tw::environment_payload(3, 1, time));
        file.end_event();
        map_ = file.finish();
        original_ = parse(path_);
        auto content = writer_test::read_file(path_);
        const auto head = original_.records.at({"T/ONE", 1, static_cast<std::uint32_t>(what)}).record.head_position;
        if (flipped != 0) {
            content.at(head + flipped) ^= 1U;
        } else {
            content.at(map_.environment.position + map_.environment.length - 1) ^= 4U; // the index
        }
        write_bytes(damaged_, content);
        tr::recover_options with_replacing;
        with_replacing.replace_existing = true;
        return tr::recover_file(damaged_, output_, with_replacing);
    }

    writer_test::scratch_directory directory_;
    const std::string path_ = directory_.path("whole.raw");
    const std::string damaged_ = directory_.path("damaged.raw");
    const std::string output_ = directory_.path("recovered.raw");
    tw::file_map map_;
    full_file original_;
};

TEST_P(single_record, with_a_damaged_name_does_not_rename_its_channel)
{
    for (const bool is_described : {false, true}) {
        for (const int what : {TROX_EV_NORMAL, TROX_EV_UPD}) {
            const auto report = recover(is_described, what, 3);
            EXPECT_EQ(report.end, tr::outcome::partial);
            EXPECT_EQ(report.lost, 1U);
            const auto now = parse(output_);
            EXPECT_THAT(find_differences(original_, now), IsEmpty());
            ASSERT_EQ(now.file.channels.size(), 2U);
            EXPECT_EQ(now.file.channels[0].name, "T/ONE");
        }
    }
}

TEST_P(single_record, whose_index_contradicts_the_environment_dictionary_tells_the_index)
{
    const auto report = recover(true, TROX_EV_NORMAL, 0);
    EXPECT_EQ(report.end, tr::outcome::partial);
    EXPECT_EQ(report.lost, 0U);
    EXPECT_THAT(report.remarks, Contains(HasSubstr("environment index")));
    EXPECT_EQ(parse(output_).file.environment, original_.file.environment);
}

// Records that have no head to be checked by, in no order.
TEST_P(single_record, of_which_the_length_is_damaged_is_the_only_one_that_is_lost)
{
    for (const int change : {-8, 8}) {
        tw::file_options options;
        options.replace_existing = true;
        options.layout.records = tw::arrangement::shuffled;
        tw::file_writer file(path_, GetParam(), options);
        const auto one = file.add_channel("T/A");
        const auto other = file.add_channel("T/B");
        for (std::uint64_t i = 0; i < 12; ++i) {
            file.begin_event({100 + i, {1700000000, static_cast<std::uint32_t>(i * 1000)}});
            file.begin_server_block({"ONE", {}, {}, 0, 0});
            const tw::payload words{TROX_BLOCK_GENERIC_STRUCT, bytes(64, static_cast<unsigned char>(i))};
            file.add_record(one, words);
            file.add_record(other, words);
            file.end_event();
        }
        file.finish();
        original_ = parse(path_);
        auto content = writer_test::read_file(path_);
        const record_name name{"T/A", 105, TROX_EV_NORMAL};
        const auto& record = original_.records.at(name).record;
        const auto length = record.data_position - 4;
        trox_detail::store_big_endian(&content.at(length), static_cast<std::int32_t>(record.ldata + change));
        write_bytes(damaged_, content);
        tr::recover_options with_replacing;
        with_replacing.replace_existing = true;
        const auto report = tr::recover_file(damaged_, output_, with_replacing);
        EXPECT_EQ(report.lost, 1U) << change;
        const auto now = parse(output_);
        EXPECT_THAT(find_differences(original_, now), IsEmpty()) << change;
        EXPECT_THAT(missing_records(original_, now), testing::ElementsAre(name)) << change;
    }
}

INSTANTIATE_TEST_SUITE_P(recover, single_record, testing::ValuesIn(generations),
                         [](const auto& tested) { return generation_name(tested.param); });

INSTANTIATE_TEST_SUITE_P(recover, contradiction,
                         testing::Values(trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                         trox_test::sample_generation::g2024));

} // namespace
