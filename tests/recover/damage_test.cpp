// One damage at a time: what comes back equals the original record by record, what is lost is listed.
#include "recovered_file.h"
#include "sample_files.h"

#include "detail/big_endian.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace recover_test;
using testing::AllOf;
using testing::AnyOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

class damage : public testing::TestWithParam<tw::generation>
{
protected:
    // A recovery that loses no record.
    void expect_all_records(tr::outcome end, const comparison& what = {})
    {
        const auto report = file_.recover();
        ASSERT_EQ(report.end, end) << report.failure;
        const auto now = file_.recovered();
        EXPECT_THAT(find_differences(file_.original(), now, what), IsEmpty());
        EXPECT_THAT(missing_records(file_.original(), now), IsEmpty());
        EXPECT_THAT(report.lost_records, IsEmpty());
        EXPECT_EQ(lost_count(report), 0U);
    }

    // A recovery that loses exactly one record, and says which.
    void expect_lost(const std::string& channel, std::size_t row, const std::string& reason)
    {
        const auto& record = record_of(channel, row);
        const auto report = file_.recover();
        ASSERT_EQ(report.end, tr::outcome::partial) << report.failure;
        const auto now = file_.recovered();
        EXPECT_THAT(find_differences(file_.original(), now), IsEmpty());
        EXPECT_THAT(missing_records(file_.original(), now),
                    testing::ElementsAre(record_name{channel, record.event_number, record.event_type}));
        ASSERT_THAT(report.lost_records, SizeIs(1));
        EXPECT_EQ(report.lost_records[0].channel, channel);
        EXPECT_EQ(report.lost_records[0].event, record.event_number);
        EXPECT_THAT(report.lost_records[0].reason, HasSubstr(reason));
        EXPECT_EQ(lost_count(report), 1U);
    }

    const writer_test::checked_record& record_of(const std::string& channel, std::size_t row) const
    {
        for (const auto& one : file_.original().file.channels) {
            if (one.name == channel) {
                return one.records.at(row);
            }
        }
        throw std::logic_error("no channel " + channel);
    }

    std::uint64_t subhead_size() const
    {
        return GetParam() == tw::generation::legacy ? 44 : 268;
    }

    void destroy(const tw::file_range& range)
    {
        ASSERT_GT(range.length, 0U);
        file_.destroy(range.position, range.length);
    }

    template <class Integer> void put(std::uint64_t position, Integer value)
    {
        trox_detail::store_big_endian(&file_.content.at(position), value);
    }

    damaged_scenario file_{GetParam()};
};

TEST_P(damage, of_the_trailer_loses_nothing)
{
    file_.content.resize(file_.map().trailer.position);
    expect_all_records(tr::outcome::complete);
}

TEST_P(damage, of_trailer_and_references_loses_nothing)
{
    file_.content.resize(file_.map().references.position);
    expect_all_records(tr::outcome::complete);
}

TEST_P(damage, of_a_reference_loses_nothing)
{
    const auto word = file_.word();
    // Behind pattern, length, event index and its entries: dictionary, pointers, ... server blocks.
    for (std::size_t i = 0; i < 6; ++i) {
        file_.content = writer_test::read_file(file_.input());
        damaged_scenario fresh(GetParam());
        const auto at = fresh.map().references.position + (2 + 1 + 32 + i) * word;
        fresh.destroy(at, word);
        const auto report = fresh.recover();
        EXPECT_NE(report.end, tr::outcome::nothing) << i;
        EXPECT_THAT(find_differences(fresh.original(), fresh.recovered()), IsEmpty()) << i;
        EXPECT_THAT(missing_records(fresh.original(), fresh.recovered()), IsEmpty()) << i;
    }
}

TEST_P(damage, of_the_event_index_loses_nothing)
{
    destroy(file_.map().event_index);
    expect_all_records(tr::outcome::complete);
}

TEST_P(damage, of_the_dictionary_loses_keys_only)
{
    destroy(file_.map().channel_dictionary);
    comparison what;
    what.keys = false;
    expect_all_records(tr::outcome::partial, what);
}

TEST_P(damage, of_the_environment_dictionary_loses_it_only)
{
    destroy(file_.map().environment);
    expect_all_records(tr::outcome::partial);
}

TEST_P(damage, of_the_descriptions_loses_them_only)
{
    destroy(file_.map().descriptions);
    expect_all_records(tr::outcome::partial);
    EXPECT_EQ(file_.recovered().file.descriptions, "");
}

TEST_P(damage, of_the_event_headers_loses_their_masks_only)
{
    destroy(file_.map().event_headers);
    comparison what;
    what.event_fields = false;
    expect_all_records(tr::outcome::partial, what);
}

TEST_P(damage, of_the_server_blocks_loses_them_only)
{
    destroy(file_.map().server_blocks);
    comparison what;
    what.blocks = false;
    expect_all_records(tr::outcome::partial, what);
}

TEST_P(damage, of_the_pointers_table_loses_what_cannot_be_told_and_lists_it)
{
    destroy(file_.map().pointers);
    const auto report = file_.recover();
    ASSERT_NE(report.end, tr::outcome::nothing) << report.failure;
    const auto now = file_.recovered();
    EXPECT_THAT(find_differences(file_.original(), now), IsEmpty());
    const auto missing = missing_records(file_.original(), now);
    EXPECT_EQ(lost_count(report), missing.size());
    // Records of the camera's channels have lengths of their own, but nothing tells the order of those that are equal.
    EXPECT_GT(report.records, file_.original().records.size() / 2);
}

TEST_P(damage, of_all_tables_loses_what_cannot_be_told_and_lists_it)
{
    for (const auto& table :
         {file_.map().event_index, file_.map().channel_dictionary, file_.map().pointers, file_.map().environment,
          file_.map().descriptions, file_.map().references, file_.map().trailer}) {
        destroy(table);
    }
    const auto report = file_.recover();
    ASSERT_EQ(report.end, tr::outcome::partial) << report.failure;
    const auto now = file_.recovered();
    comparison what;
    what.keys = false;
    EXPECT_THAT(find_differences(file_.original(), now, what), IsEmpty());
    EXPECT_EQ(lost_count(report), missing_records(file_.original(), now).size());
    EXPECT_GT(report.records, 0U);
}

TEST_P(damage, of_a_basket_head_loses_nothing)
{
    for (std::size_t i = 0; i < file_.map().channels.size(); ++i) {
        damaged_scenario fresh(GetParam());
        const auto basket = fresh.map().channels[i];
        if (basket.length == 0) {
            continue;
        }
        fresh.destroy(basket.position, 2 * fresh.word());
        const auto report = fresh.recover();
        EXPECT_EQ(report.end, tr::outcome::complete) << i;
        EXPECT_THAT(find_differences(fresh.original(), fresh.recovered()), IsEmpty()) << i;
        EXPECT_THAT(missing_records(fresh.original(), fresh.recovered()), IsEmpty()) << i;
    }
}

TEST_P(damage, of_the_heads_of_the_baskets_of_events_and_blocks_loses_nothing)
{
    file_.destroy(file_.map().event_headers.position, 2 * file_.word());
    file_.destroy(file_.map().server_blocks.position, 2 * file_.word());
    expect_all_records(tr::outcome::complete);
}

TEST_P(damage, that_exchanges_the_patterns_of_two_baskets_loses_nothing)
{
    const auto word = file_.word();
    const auto one = file_.map().event_headers.position;
    const auto other = file_.map().channels[1].position;
    for (std::size_t i = 0; i < word; ++i) {
        std::swap(file_.content[one + i], file_.content[other + i]);
    }
    expect_all_records(tr::outcome::complete);
}

TEST_P(damage, of_a_compressed_stream_loses_its_record)
{
    const auto& record = record_of("TEST.CAM/IMG", 2);
    ASSERT_EQ(record.zip_flags, 1U);
    file_.destroy(record.data_position + 12 + 5, 20, 0xFF); // behind the zip header
    expect_lost("TEST.CAM/IMG", 2, "decompress");
}

TEST_P(damage, of_a_zip_header_loses_its_record)
{
    const auto& record = record_of("TEST.CAM/IMG", 3);
    put(record.data_position + 4, std::uint32_t{0x7FFFFFFF});
    expect_lost("TEST.CAM/IMG", 3, "lengths before and after compression");
}

TEST_P(damage, of_the_name_in_a_sub_head_loses_its_record)
{
    const auto& record = record_of("TEST.RF/TRACE", 5);
    file_.content[record.head_position + 3] ^= 0x20U;
    expect_lost("TEST.RF/TRACE", 5, "name");
}

TEST_P(damage, of_a_block_type_loses_its_record)
{
    const auto& record = record_of("TEST.CAM/ROI", 1);
    put(record.head_position + subhead_size() - 12, std::int32_t{59});
    expect_lost("TEST.CAM/ROI", 1, "block type 59 is not known");
}

TEST_P(damage, of_the_length_of_a_plain_record_loses_it)
{
    const auto& record = record_of("TEST.CAM/ROI", 4);
    ASSERT_EQ(record.zip_flags, 0U);
    for (const int change : {-8, +8, 0x10000, -0x10000}) {
        put(record.head_position + subhead_size() - 4, static_cast<std::int32_t>(record.ldata + change));
        expect_lost("TEST.CAM/ROI", 4, "");
    }
}

TEST_P(damage, of_an_unknown_block_type_is_kept_when_asked_for)
{
    const auto& record = record_of("TEST.CAM/ROI", 1);
    put(record.head_position + subhead_size() - 12, std::int32_t{59});
    tr::recover_options options;
    options.keep_unknown_types = true;
    const auto report = file_.recover(options);
    EXPECT_EQ(report.end, tr::outcome::complete) << report.failure;
    const auto now = file_.recovered();
    const auto& kept = now.records.at({"TEST.CAM/ROI", record.event_number, record.event_type}).record;
    EXPECT_EQ(kept.dtype, 59);
    EXPECT_EQ(kept.payload, record.payload);
}

// Header and index tell different things; the server blocks, and the reference to the index entry, tell who is right.
TEST_P(damage, of_number_time_or_type_of_an_event_header_is_mended)
{
    const auto& record = record_of("TEST.RF/TRACE", 7);
    const bool is_2024 = GetParam() == tw::generation::v2024;
    const std::uint64_t number = is_2024 ? 16 + 7 : 8 + 3;
    const std::uint64_t type = is_2024 ? 4 + 3 : 12 + 3;
    const std::uint64_t seconds = (is_2024 ? 24 : 16) + 3;
    for (const auto offset : {number, type, seconds}) {
        file_.content = writer_test::read_file(file_.input());
        damaged_scenario fresh(GetParam());
        fresh.content[record.event_position + offset] ^= 2U;
        const auto report = fresh.recover();
        EXPECT_EQ(report.end, tr::outcome::complete) << offset;
        EXPECT_THAT(find_differences(fresh.original(), fresh.recovered()), IsEmpty()) << offset;
        EXPECT_THAT(missing_records(fresh.original(), fresh.recovered()), IsEmpty()) << offset;
    }
}

TEST_P(damage, of_an_event_header_takes_the_event_from_the_index)
{
    const auto& record = record_of("TEST.RF/TRACE", 7);
    file_.destroy(record.event_position, 24, 0xEE);
    const auto report = file_.recover();
    EXPECT_EQ(report.end, tr::outcome::partial);
    comparison what;
    what.event_fields = false;
    EXPECT_THAT(find_differences(file_.original(), file_.recovered(), what), IsEmpty());
    EXPECT_THAT(missing_records(file_.original(), file_.recovered()), IsEmpty());
    EXPECT_THAT(report.remarks, Each(HasSubstr("1 event header cannot be read")));
}

TEST_P(damage, of_an_event_header_without_index_loses_the_event)
{
    const auto& record = record_of("TEST.RF/TRACE", 7);
    const auto event = record.event_number;
    file_.destroy(record.event_position, 24, 0xEE);
    destroy(file_.map().event_index);
    const auto report = file_.recover();
    EXPECT_EQ(report.end, tr::outcome::partial);
    const auto now = file_.recovered();
    EXPECT_THAT(find_differences(file_.original(), now), IsEmpty());
    const auto missing = missing_records(file_.original(), now);
    EXPECT_EQ(lost_count(report), missing.size());
    ASSERT_FALSE(missing.empty());
    for (const auto& name : missing) {
        EXPECT_EQ(std::get<1>(name), event);
    }
}

INSTANTIATE_TEST_SUITE_P(recover, damage, testing::ValuesIn(generations),
                         [](const auto& tested) { return generation_name(tested.param); });

// --- the samples -------------------------------------------------------------------------------------------

class damaged_sample : public testing::TestWithParam<std::tuple<trox_test::sample_generation, std::size_t>>
{
protected:
    void SetUp() override
    {
        if (!tw::has_lzo()) {
            GTEST_SKIP() << "the sample files hold LZO records";
        }
    }
    std::string path() const
    {
        const auto generation = std::get<0>(GetParam());
        return trox_test::sample_directory(generation) +
               trox_test::sample_names(generation).at(std::get<1>(GetParam()));
    }
    static tw::file_range range(const damaged_scenario& file, const std::string& name)
    {
        for (const auto& one : file.original().file.ranges) {
            if (one.name == name) {
                return {one.position, one.length};
            }
        }
        throw std::logic_error("no " + name);
    }
};

// Slow records of equal length on one server cannot be told apart; all others are.
TEST_P(damaged_sample, without_pointers_table_gives_back_all_but_some_slow_records)
{
    damaged_scenario file(path());
    const auto pointers = file.content;
    const unsigned char pattern[] = {0xEC, 0xAE, 0xCA, 0xF3};
    const auto at = std::search(pointers.begin(), pointers.end(), std::begin(pattern), std::end(pattern));
    ASSERT_NE(at, pointers.end());
    file.destroy(static_cast<std::uint64_t>(at - pointers.begin()), 4);
    file.destroy(static_cast<std::uint64_t>(at - pointers.begin()) + 4, 16);
    const auto report = file.recover();
    ASSERT_NE(report.end, tr::outcome::nothing) << report.failure;
    const auto now = file.recovered();
    EXPECT_THAT(find_differences(file.original(), now), IsEmpty());
    const auto missing = missing_records(file.original(), now);
    EXPECT_EQ(lost_count(report), missing.size());
    for (const auto& name : missing) {
        EXPECT_THAT(std::get<0>(name), AnyOf(HasSubstr("I.RBV"), HasSubstr("PRESS"), HasSubstr("RACK.17")));
    }
}

INSTANTIATE_TEST_SUITE_P(recover, damaged_sample,
                         testing::Combine(testing::Values(trox_test::sample_generation::legacy,
                                                          trox_test::sample_generation::g2010,
                                                          trox_test::sample_generation::g2024),
                                          testing::Range(std::size_t{0}, std::size_t{3})));

} // namespace
