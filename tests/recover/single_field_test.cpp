// One damaged field at a time, of every kind, in files of all generations: what is written and what is lost are all
// records there were, and a recovery that calls itself complete leaves nothing for a check to find.
#include "recovered_file.h"
#include "sample_files.h"

#include "doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace recover_test;

namespace
{

struct field {
    std::string name;
    std::uint64_t position;
    std::size_t size;
};

class single_field : public testing::TestWithParam<trox_test::sample_generation>
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
        return trox_test::sample_directory(GetParam()) + trox_test::sample_names(GetParam()).front();
    }
    bool is_wide() const
    {
        return GetParam() == trox_test::sample_generation::g2024;
    }
    bool is_legacy() const
    {
        return GetParam() == trox_test::sample_generation::legacy;
    }

    // Fields of one event, its server block, and one record.
    void add_record(const writer_test::checked_record& one)
    {
        const std::size_t word = is_wide() ? 8 : 4;
        const auto event = one.event_position;
        add("event pattern", event, 4);
        add("event length", event + (is_wide() ? 8 : 4), word);
        add("event number", event + (is_wide() ? 16 : 8), word);
        add("event type", event + (is_wide() ? 4 : 12), 4);
        add("event time", event + (is_wide() ? 24 : 16), 8);
        add("server blocks of the event", event + (is_wide() ? 40 : 32), 4);
        const auto block = one.block_position;
        const std::uint64_t name = is_wide() ? 32 : 16;
        const std::uint64_t behind = block + name + (is_legacy() ? 48 : 256);
        add("block length", block + 8, word);
        add("block pulse", block + (is_wide() ? 16 : 12), word);
        add("block time", block + (is_wide() ? 24 : 0), 8);
        add("block server", block + name, 4);
        add("records of the block", behind + 8, 4);
        const auto subhead = one.head_position;
        const std::uint64_t values = subhead + (is_legacy() ? 32 : 256);
        add("record name", subhead + 4, 4);
        add("record type", values, 4);
        add("record error", values + 4, 4);
        add("record length", values + 8, 4);
        if (one.zip_flags != 0) {
            add("zip flags", one.data_position, 4);
            add("length before compression", one.data_position + 4, 4);
            add("length after compression", one.data_position + 8, 4);
            add("compressed bytes", one.data_position + 12 + 6, 4);
        }
    }

    void add_rows(const damaged_scenario& file, std::uint64_t pointers)
    {
        const auto word = file.word();
        add("length of the pointers table", pointers + word, word);
        add("rows per column", pointers + 2 * word, word);
        for (const std::uint64_t column : {1, 5}) {
            for (const std::uint64_t part : {0, 1, 2, 3}) {
                const auto row = pointers + 3 * word + (column * file.original().file.rows + 1) * 4 * word;
                add("part " + std::to_string(part) + " of a row", row + part * word, word);
            }
        }
    }

    void add_tables(const damaged_scenario& file)
    {
        const auto word = file.word();
        for (const auto& range : file.original().file.ranges) {
            if (range.name == "head" || range.name == "trailer") {
                continue;
            }
            add(range.name + ": pattern", range.position, word);
            add(range.name + ": length", range.position + word, word);
            if (range.name == "pointers") {
                add_rows(file, range.position);
            } else if (range.name == "dictionary") {
                const auto entry = range.position + 2 * word + (is_legacy() ? 96 : 272);
                add("dictionary key", entry, 4);
                add("dictionary name", entry + 4, 4);
                add("dictionary count", entry + (is_legacy() ? 92 : 268), 4);
            }
        }
    }

    void add(const std::string& name, std::uint64_t position, std::size_t size)
    {
        fields_.push_back({name, position, size});
    }

    std::vector<field> fields_;
};

TEST_P(single_field, that_is_damaged_is_told_or_harmless)
{
    const damaged_scenario whole(path());
    ASSERT_EQ(trox::inspect::check_file(path()).errors, 0U);
    add_tables(whole);
    std::size_t count = 0;
    for (const auto& [name, one] : whole.original().records) {
        if (count++ % 61 == 0) {
            add_record(one.record);
        }
    }
    const auto total = whole.original().records.size();
    std::vector<std::string> wrong;
    std::size_t done = 0;
    for (const auto& one : fields_) {
        for (const int how : {0, 1, 2, 3}) {
            damaged_scenario file(path());
            const auto at = one.position + one.size - 1;
            switch (how) {
            case 0:
                file.content.at(at) ^= 4U;
                break;
            case 1:
                file.content.at(one.position) ^= 0x40U;
                break;
            case 2:
                file.destroy(one.position, one.size, 0);
                break;
            default:
                file.destroy(one.position, one.size, 0xFF);
                break;
            }
            const auto where = one.name + " at " + std::to_string(one.position) + ", way " + std::to_string(how);
            const auto report = file.recover();
            ++done;
            if (report.end == tr::outcome::nothing) {
                wrong.push_back(where + ": " + report.failure);
                continue;
            }
            if (report.records + report.lost != total) {
                wrong.push_back(where + ": " + std::to_string(report.records) + " written, " +
                                std::to_string(report.lost) + " lost");
            }
            const auto checked = trox::inspect::check_file(file.output());
            if (report.end == tr::outcome::complete && checked.errors != 0) {
                wrong.push_back(
                    where + ": complete, and not sound: " + trox::inspect::info_of(checked.counts.front().code).name);
            }
        }
    }
    EXPECT_GT(done, 300U);
    EXPECT_THAT(wrong, testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(recover, single_field,
                         testing::Values(trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                         trox_test::sample_generation::g2024));

} // namespace
