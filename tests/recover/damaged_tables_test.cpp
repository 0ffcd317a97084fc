// Tables of which a piece is overwritten: what they can still not hide, and what counts as lost.
#include "recovered_file.h"
#include "sample_files.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

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

class damaged_tables : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!tw::has_lzo()) {
            GTEST_SKIP() << "the sample files hold LZO records";
        }
    }
    static void expect_all_records(damaged_scenario& file, const tr::report& report, bool with_masks = true)
    {
        ASSERT_NE(report.end, tr::outcome::nothing) << report.failure;
        const auto now = file.recovered();
        comparison what;
        what.event_fields = with_masks;
        EXPECT_THAT(find_differences(file.original(), now, what), IsEmpty());
        EXPECT_THAT(missing_records(file.original(), now), IsEmpty());
        EXPECT_THAT(report.lost_events, IsEmpty());
        EXPECT_EQ(now.file.events.size(), file.original().file.events.size());
    }
    static std::uint64_t find(const damaged_scenario& file, const bytes& wanted)
    {
        const auto at = std::search(file.content.begin(), file.content.end(), wanted.begin(), wanted.end());
        if (at == file.content.end()) {
            throw std::logic_error("not there");
        }
        return static_cast<std::uint64_t>(at - file.content.begin());
    }
    // Position of the number and offset of an event in the index of a 2010 file.
    static std::uint64_t index_entry(const damaged_scenario& file, std::uint64_t event)
    {
        bytes wanted(8);
        const auto number = file.original().file.events.at(event).number;
        trox_detail::store_big_endian(wanted.data(), static_cast<std::uint32_t>(number));
        trox_detail::store_big_endian(wanted.data() + 4, static_cast<std::uint32_t>(event));
        return find(file, wanted);
    }
    static std::uint64_t event_position(const damaged_scenario& file, std::size_t which)
    {
        auto event = file.original().file.events.begin();
        std::advance(event, static_cast<std::ptrdiff_t>(which));
        return event->first;
    }
};

struct zeroed {
    trox_test::sample_generation generation;
    std::size_t file;
    std::uint64_t position;
};

// Sectors that end or begin within the name of a dictionary entry, and take its count or its key with them.
TEST_F(damaged_tables, with_a_sector_of_the_dictionary_zeroed_give_back_every_record_and_key)
{
    using generation = trox_test::sample_generation;
    for (const auto& at : {zeroed{generation::g2024, 2, 0x39e00}, zeroed{generation::g2024, 2, 0x3a4c2},
                           zeroed{generation::g2010, 0, 0x32c00}, zeroed{generation::legacy, 1, 0x1b600}}) {
        damaged_scenario file(sample(at.generation, at.file));
        file.destroy(at.position, 512, 0);
        const auto report = file.recover();
        expect_all_records(file, report);
        EXPECT_EQ(report.end, tr::outcome::partial) << std::hex << at.position;
        EXPECT_FALSE(report.remarks.empty()) << std::hex << at.position;
    }
}

TEST_F(damaged_tables, with_a_key_that_contradicts_its_description_take_the_described_one_and_are_not_complete)
{
    damaged_scenario file(sample(trox_test::sample_generation::legacy, 1));
    const auto entry = find(file, {0xDC, 0xAD, 0xCA, 0xF3}) + 8;
    file.content.at(entry + 3) ^= 4U;
    const auto report = file.recover();
    expect_all_records(file, report);
    EXPECT_EQ(report.end, tr::outcome::partial);
}

TEST_F(damaged_tables, without_an_environment_entry_are_not_complete_and_get_it_back_from_the_records)
{
    damaged_scenario file(sample(trox_test::sample_generation::legacy, 1));
    const auto table = find(file, {0xEA, 0xAE, 0xAA, 0xF3});
    const bytes before(file.content.begin() + static_cast<std::ptrdiff_t>(table),
                       file.content.begin() + static_cast<std::ptrdiff_t>(table + 16));
    file.destroy(table + 8, 8, 0);
    const auto report = file.recover();
    expect_all_records(file, report);
    EXPECT_EQ(report.end, tr::outcome::partial);
    EXPECT_THAT(report.remarks, Contains(HasSubstr("environment")));
    const auto now = writer_test::read_file(file.output());
    EXPECT_NE(std::search(now.begin(), now.end(), before.begin(), before.end()), now.end());
}

TEST_F(damaged_tables, with_an_index_entry_that_leads_nowhere_gain_no_event)
{
    damaged_scenario file(sample(trox_test::sample_generation::g2010, 0));
    const auto entry = index_entry(file, event_position(file, 5));
    trox_detail::store_big_endian(&file.content.at(entry), std::uint32_t{77});
    trox_detail::store_big_endian(&file.content.at(entry + 4), std::uint32_t{100000});
    const auto report = file.recover();
    expect_all_records(file, report);
    EXPECT_THAT(report.remarks, Contains(HasSubstr("event 77")));
}

TEST_F(damaged_tables, with_zeros_in_the_index_lose_no_event)
{
    damaged_scenario file(sample(trox_test::sample_generation::g2010, 0));
    file.destroy(index_entry(file, event_position(file, 5)), 64, 0);
    expect_all_records(file, file.recover());
}

TEST_F(damaged_tables, settle_an_event_number_by_those_of_its_neighbours)
{
    using generation = trox_test::sample_generation;
    for (const auto which : {generation::legacy, generation::g2010, generation::g2024}) {
        damaged_scenario file(sample(which, 0));
        const auto number = which == generation::g2024 ? 20 : 8; // the high bit that server blocks do not have
        file.content.at(event_position(file, 6) + static_cast<std::uint64_t>(number)) ^= 0x80U;
        const auto report = file.recover();
        expect_all_records(file, report);
        EXPECT_EQ(report.end, tr::outcome::complete);
    }
}

TEST_F(damaged_tables, settle_an_event_of_which_half_of_the_header_is_zero)
{
    damaged_scenario file(sample(trox_test::sample_generation::g2010, 0));
    file.destroy(event_position(file, 6), 20, 0);
    expect_all_records(file, file.recover());
    damaged_scenario other(sample(trox_test::sample_generation::g2010, 0));
    other.destroy(event_position(other, 6) + 8, 28, 0);
    expect_all_records(other, other.recover(), false);
}

// Row and basket both lead to the record.
TEST_F(damaged_tables, count_a_record_of_which_the_compressed_length_is_damaged_once)
{
    damaged_scenario file(sample(trox_test::sample_generation::g2010, 0));
    const auto& records = file.original().records;
    const auto zipped =
        std::find_if(records.begin(), records.end(), [](const auto& one) { return one.second.record.zip_flags != 0; });
    ASSERT_NE(zipped, records.end());
    const auto zip_head = zipped->second.record.head_position + 268;
    file.content.at(zip_head + 9) ^= 0x10U; // of the compressed length
    const auto report = file.recover();
    EXPECT_EQ(report.lost, 1U);
    EXPECT_EQ(lost_count(report), 1U);
    EXPECT_EQ(missing_records(file.original(), file.recovered()).size(), 1U);
}

// The checker of the tests compares what server blocks count with their records.
TEST_F(damaged_tables, leave_a_file_of_which_every_server_block_counts_the_records_that_it_has)
{
    damaged_scenario file(sample(trox_test::sample_generation::g2010, 0));
    const auto& victim = file.original().records.begin()->second.record;
    file.destroy(victim.head_position, 268, 0);
    const auto report = file.recover();
    EXPECT_EQ(report.lost, 1U);
    EXPECT_THAT(file.recovered().file.problems, IsEmpty());
}

} // namespace
