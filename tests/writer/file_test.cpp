// Files of all generations and layouts, read back byte by byte with the tests' own parser.
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

using namespace writer_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct layout_case {
    const char* name;
    tw::layout_options layout;
};

tw::layout_options made(void (*change)(tw::layout_options&))
{
    tw::layout_options layout;
    layout.seed = 42;
    change(layout);
    return layout;
}

const layout_case layout_cases[] = {
    {"tidy", {}},
    {"reversed", made([](auto& l) { l.baskets = l.tables = l.records = tw::arrangement::reversed; })},
    {"shuffled", made([](auto& l) { l.baskets = l.tables = l.records = tw::arrangement::shuffled; })},
    {"gaps", made([](auto& l) { l.max_gap = 9; })},
    {"odd", made([](auto& l) { l.odd_positions = true; })},
    {"shared_updates", made([](auto& l) { l.updates = tw::update_layout::shared; })},
    {"shared_updates_one_length", made([](auto& l) {
         l.updates = tw::update_layout::shared;
         l.shared = tw::shared_length::one_record;
     })},
    {"updates_away", made([](auto& l) { l.updates = tw::update_layout::away; })},
    {"spare_rows_and_far_trailer", made([](auto& l) {
         l.spare_rows = 3;
         l.trailer_gap = 10000;
         l.empty_tables = true;
     })},
    {"everything", made([](auto& l) {
         l.baskets = l.tables = l.records = tw::arrangement::shuffled;
         l.max_gap = 5;
         l.odd_positions = true;
         l.updates = tw::update_layout::away;
         l.spare_rows = 1;
     })},
};

const tw::generation generations[] = {tw::generation::legacy, tw::generation::v2010, tw::generation::v2024};

std::string generation_name(tw::generation format)
{
    return "g" + std::to_string(static_cast<std::uint32_t>(format));
}

class every_layout : public testing::TestWithParam<std::tuple<tw::generation, layout_case>>
{
protected:
    tw::generation format() const
    {
        return std::get<0>(GetParam());
    }
    tw::file_options options() const
    {
        tw::file_options result;
        result.layout = std::get<1>(GetParam()).layout;
        return result;
    }
    scratch_directory directory_;
};

TEST_P(every_layout, keeps_the_rules_of_the_format)
{
    write_scenario(directory_.path("a.raw"), format(), options());
    EXPECT_THAT(check_file(directory_.path("a.raw")).problems, IsEmpty());
}

TEST_P(every_layout, holds_the_records_that_were_added)
{
    write_scenario(directory_.path("a.raw"), format(), options());
    const auto file = check_file(directory_.path("a.raw"));
    const auto expected = scenario_records(format());
    std::vector<std::string> names;
    std::size_t at = 0;
    for (const auto& channel : file.channels) {
        names.push_back(channel.name);
        for (const auto& record : channel.records) {
            ASSERT_LT(at, expected.size());
            const auto& should = expected[at++];
            SCOPED_TRACE(should.channel + " event " + std::to_string(should.event));
            EXPECT_EQ(channel.name, should.channel);
            EXPECT_EQ(record.event_number, should.event);
            EXPECT_EQ(record.event_type, should.event_type);
            EXPECT_EQ(record.server, should.server);
            EXPECT_EQ(record.dtype, should.dtype);
            EXPECT_EQ(record.error & ~0x40000000U, should.error);
            EXPECT_EQ(record.payload, should.payload);
        }
    }
    EXPECT_EQ(at, expected.size());
    EXPECT_EQ(names, scenario_channels());
}

TEST_P(every_layout, is_the_same_for_the_same_seed_and_another_for_another)
{
    auto other = options();
    other.layout.seed += 1;
    write_scenario(directory_.path("a.raw"), format(), options());
    write_scenario(directory_.path("b.raw"), format(), options());
    write_scenario(directory_.path("c.raw"), format(), other);
    EXPECT_EQ(read_file(directory_.path("a.raw")), read_file(directory_.path("b.raw")));
    const auto& layout = options().layout;
    const bool random = layout.max_gap > 0 || layout.records == tw::arrangement::shuffled;
    EXPECT_EQ(read_file(directory_.path("a.raw")) != read_file(directory_.path("c.raw")), random);
}

TEST_P(every_layout, is_the_same_however_little_memory_holds_the_records)
{
    auto small = options();
    small.buffer_bytes = 1000;
    auto none = options();
    none.buffer_bytes = 0;
    write_scenario(directory_.path("a.raw"), format(), options());
    write_scenario(directory_.path("b.raw"), format(), small);
    write_scenario(directory_.path("c.raw"), format(), none);
    EXPECT_EQ(read_file(directory_.path("a.raw")), read_file(directory_.path("b.raw")));
    EXPECT_EQ(read_file(directory_.path("a.raw")), read_file(directory_.path("c.raw")));
}

TEST_P(every_layout, lies_as_its_map_says)
{
    const auto map = write_scenario(directory_.path("a.raw"), format(), options());
    const auto file = check_file(directory_.path("a.raw"));
    EXPECT_EQ(map.file_size, std::filesystem::file_size(directory_.path("a.raw")));
    std::map<std::string, tw::file_range> named = {{"event headers", map.event_headers},
                                                   {"server blocks", map.server_blocks},
                                                   {"dictionary", map.channel_dictionary},
                                                   {"event index", map.event_index},
                                                   {"pointers", map.pointers},
                                                   {"environment", map.environment},
                                                   {"descriptions", map.descriptions},
                                                   {"references", map.references},
                                                   {"trailer", map.trailer},
                                                   {"head", {0, 16}}};
    for (std::size_t i = 0; i < file.channels.size(); ++i) {
        if (!file.channels[i].records.empty()) {
            named["basket of " + file.channels[i].name] = map.channels[i];
        } else {
            EXPECT_EQ(map.channels[i].position, 0U);
            EXPECT_EQ(map.channels[i].length, 0U);
        }
    }
    ASSERT_EQ(file.ranges.size(), named.size());
    for (const auto& range : file.ranges) {
        EXPECT_EQ(range.position, named[range.name].position) << range.name;
        EXPECT_EQ(range.length, named[range.name].length) << range.name;
    }
}

INSTANTIATE_TEST_SUITE_P(writer, every_layout,
                         testing::Combine(testing::ValuesIn(generations), testing::ValuesIn(layout_cases)),
                         [](const auto& tested) {
                             return generation_name(std::get<0>(tested.param)) + "_" + std::get<1>(tested.param).name;
                         });

class every_generation : public testing::TestWithParam<tw::generation>
{
protected:
    checked_file written(const tw::layout_options& layout)
    {
        tw::file_options options;
        options.layout = layout;
        options.replace_existing = true;
        write_scenario(directory_.path("a.raw"), GetParam(), options);
        return check_file(directory_.path("a.raw"));
    }
    static checked_channel channel(const checked_file& file, const std::string& name)
    {
        for (const auto& candidate : file.channels) {
            if (candidate.name == name) {
                return candidate;
            }
        }
        throw std::runtime_error("no channel " + name);
    }
    std::size_t subhead() const
    {
        return GetParam() == tw::generation::legacy ? 44 : 268;
    }
    std::size_t update_size() const
    {
        return GetParam() == tw::generation::legacy ? 96 : 272;
    }
    scratch_directory directory_;
};

TEST_P(every_generation, puts_everything_at_odd_positions_when_asked)
{
    const auto file = written(layout_cases[4].layout);
    for (const auto& range : file.ranges) {
        EXPECT_TRUE(range.name == "head" || range.position % 2 == 1) << range.name;
    }
    for (const auto& one : file.channels) {
        for (const auto& record : one.records) {
            EXPECT_EQ(record.head_position % 2, 1U) << one.name;
            EXPECT_EQ(record.data_position % 2, 1U) << one.name;
        }
    }
}

TEST_P(every_generation, shares_one_sub_head_among_updates_of_equal_type_and_error)
{
    tw::layout_options layout;
    layout.updates = tw::update_layout::shared;
    // Updates at events 0, 5, ..., 35; those at 0 and 30 have an error bit.
    const auto& records = channel(written(layout), "TEST.MAG/Q1/I:2").records;
    ASSERT_EQ(records.size(), 8U);
    std::set<std::uint64_t> heads;
    for (const auto& record : records) {
        heads.insert(record.head_position);
        const std::size_t sharing = record.error == 0 ? 6 : 2;
        EXPECT_EQ(static_cast<std::size_t>(record.ldata), subhead() + sharing * update_size());
    }
    EXPECT_EQ(heads.size(), 2U);
    EXPECT_EQ(records[0].head_position, records[6].head_position);
    EXPECT_EQ(records[6].data_position, records[0].data_position + update_size());
}

TEST_P(every_generation, counts_one_record_in_a_shared_sub_head_when_asked)
{
    tw::layout_options layout;
    layout.updates = tw::update_layout::shared;
    layout.shared = tw::shared_length::one_record;
    for (const auto& record : channel(written(layout), "TEST.MAG/Q1/I:2").records) {
        EXPECT_EQ(static_cast<std::size_t>(record.ldata), subhead() + update_size());
    }
}

TEST_P(every_generation, puts_update_data_away_from_their_sub_heads)
{
    tw::layout_options layout;
    layout.updates = tw::update_layout::away;
    for (const auto* name : {"TEST.MAG/Q1/I:2", "TEST.ENV/T"}) {
        const auto& records = channel(written(layout), name).records;
        for (std::size_t i = 0; i < records.size(); ++i) {
            EXPECT_EQ(records[i].head_position, records[0].head_position + i * subhead());
            EXPECT_GE(records[i].data_position, records.back().head_position + subhead());
        }
    }
}

TEST_P(every_generation, reverses_all_records_but_the_first)
{
    tw::layout_options layout;
    layout.records = tw::arrangement::reversed;
    const auto& records = channel(written(layout), "TEST.RF/TRACE").records;
    for (std::size_t i = 1; i + 1 < records.size(); ++i) {
        EXPECT_LT(records[0].head_position, records[i].head_position);
        EXPECT_GT(records[i].head_position, records[i + 1].head_position);
    }
}

TEST_P(every_generation, stores_records_as_their_compression_says)
{
    const auto file = written({});
    const auto& records = channel(file, "TEST.RF/TRACE").records;
    const std::uint32_t flags[] = {0, 1, tw::has_lzo() ? 2U : 1U};
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].zip_flags, flags[i % 3]) << i;
    }
    for (const auto& record : channel(file, "TEST.CAM/IMG").records) {
        EXPECT_EQ(record.zip_flags, 1U);
    }
}

TEST_P(every_generation, fills_heads_with_what_the_caller_gave_and_the_defaults)
{
    const auto file = written({});
    const auto& event = file.events.begin()->second;
    EXPECT_EQ(event.number, first_number(GetParam()));
    EXPECT_EQ(event.tmask, 5);
    EXPECT_EQ(event.status, 6);
    EXPECT_EQ(event.type, static_cast<std::uint32_t>(TROX_EV_BOR));
    const auto& block = file.blocks.begin()->second;
    EXPECT_EQ(block.seconds, event.seconds);
    EXPECT_EQ(block.microseconds, event.microseconds);
    EXPECT_EQ(block.mpulse, static_cast<std::int64_t>(first_number(GetParam()) & 0x7FFFFFFF));
    const auto& last = file.blocks.rbegin()->second;
    EXPECT_EQ(last.server, "EMPTY.SVR");
    EXPECT_EQ(last.seconds, 5U);
    EXPECT_EQ(last.microseconds, 6U);
    EXPECT_EQ(last.mpulse, 7);
    EXPECT_EQ(last.tmask, 8);
    EXPECT_EQ(last.status, 9);
    EXPECT_EQ(last.channels, 0U);
    EXPECT_EQ(file.rows, 40U);
}

TEST_P(every_generation, gives_keys_in_turn_unless_they_are_given)
{
    const auto file = written({});
    std::vector<std::uint32_t> keys;
    for (const auto& one : file.channels) {
        keys.push_back(one.key);
    }
    EXPECT_THAT(keys, ElementsAre(1, 2, 3, 4, 5, 5000, 5001, 5002, 5003, 5004, 5005));
    EXPECT_THAT(file.environment, ElementsAre(std::pair(5005U, 4)));
}

TEST_P(every_generation, describes_channels_in_escaped_ascii)
{
    const auto type = GetParam() == tw::generation::legacy ? 16 + 24 * 4 : 32 + 2 * 132 + 24 * 4;
    EXPECT_EQ(written({}).descriptions,
              "<channels>\n"
              "  <channel daq_name=\"TEST.DIAG/MEMBERS\" prop_name=\"\" desc=\"x &amp; y &lt; &quot;z&quot; &gt; "
              "&#181;m\" units=\"\" stream=\"0\" ev_type=\"2\" count=\"20\" dtype=\"0\" db_key=\"3\" max_size=\"" +
                  std::to_string(type) +
                  "\" sb_name=\"\" set_point=\"0\" subsystem=\"\">\n"
                  "    <bit n=\"3\" name=\"ready\" desc=\"all is ready\"/>\n"
                  "    <dim n=\"0\" name=\"X\" desc=\"position\" units=\"mm\">\n"
                  "      <stat n=\"1\" name=\"mean\" desc=\"mean value\" units=\"mm\"/>\n"
                  "    </dim>\n"
                  "  </channel>\n"
                  "</channels>\n");
}

TEST_P(every_generation, writes_a_file_without_events_and_channels)
{
    tw::file_writer writer(directory_.path("e.raw"), GetParam());
    const auto size = writer.projected_size();
    EXPECT_EQ(writer.finish().file_size, size);
    const auto file = check_file(directory_.path("e.raw"));
    EXPECT_THAT(file.problems, IsEmpty());
    EXPECT_THAT(file.events, IsEmpty());
    EXPECT_THAT(file.channels, IsEmpty());
}

TEST_P(every_generation, adds_the_masks_that_a_channel_was_given)
{
    tw::file_writer writer(directory_.path("m.raw"), GetParam());
    tw::channel_settings settings;
    settings.name = "TEST.GAP";
    settings.event_mask = 0x20;
    settings.dtype_mask = 0x4000;
    writer.add_channel(settings);
    writer.finish();
    const auto file = check_file(directory_.path("m.raw"));
    EXPECT_EQ(file.channels.at(0).event_mask, 0x20U);
    EXPECT_EQ(file.channels.at(0).dtype_mask, 0x4000U);
}

TEST_P(every_generation, stores_the_count_of_channels_that_a_server_block_was_given)
{
    tw::file_writer writer(directory_.path("n.raw"), GetParam());
    const auto channel = writer.add_channel("TEST.A");
    writer.begin_event({1, {10, 0}});
    tw::server_block_info given{"S"};
    given.nchan = 7;
    writer.begin_server_block(given);
    writer.begin_server_block({"T"});
    writer.add_record(channel, tw::spectrum_payload(GetParam(), TROX_BLOCK_GENERIC_SPECT, {1}));
    writer.end_event();
    writer.finish();
    std::vector<std::uint32_t> counts;
    for (const auto& [position, block] : check_file(directory_.path("n.raw")).blocks) {
        counts.push_back(block.channels);
    }
    EXPECT_THAT(counts, ElementsAre(7, 1));
}

TEST_P(every_generation, stores_given_records_as_they_are)
{
    tw::file_writer writer(directory_.path("s.raw"), GetParam());
    const auto channel_id = writer.add_channel("TEST.ODD");
    const std::vector<unsigned char> junk = {1, 2, 3, 4, 5};
    writer.begin_event({1, {10, 0}});
    writer.begin_server_block({"S"});
    tw::stored_record odd;
    odd.dtype = 59; // unassigned
    odd.bytes = junk;
    odd.error = 0x1000;
    odd.zip = tw::stored_record::zip_head{4, 99, 77};
    odd.ldata = 12345;
    writer.add_record(channel_id, odd);
    writer.end_event();
    const auto basket = writer.finish().channels[0];
    const auto bytes = read_file(directory_.path("s.raw"));
    const auto table_head = GetParam() == tw::generation::v2024 ? 16U : 8U;
    EXPECT_EQ(basket.length, table_head + subhead() + 12 + junk.size());
    const auto at = basket.position + table_head + subhead() - 12;
    const std::vector<unsigned char> stored(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                            bytes.begin() + static_cast<std::ptrdiff_t>(at) + 29);
    EXPECT_THAT(stored, ElementsAre(0, 0, 0, 59, 0x40, 0, 0x10, 0, 0, 0, 0x30, 0x39, // 12345
                                    0, 0, 0, 4, 0, 0, 0, 99, 0, 0, 0, 77, 1, 2, 3, 4, 5));
}

TEST_P(every_generation, projects_the_size_of_a_tidy_file_without_descriptions)
{
    tw::file_options options;
    tw::file_writer writer(directory_.path("p.raw"), GetParam(), options);
    const auto id = writer.add_channel("TEST.A", tw::storage::zlib);
    tw::channel_settings environment;
    environment.name = "TEST.E";
    environment.environment_index = 3;
    writer.add_channel(environment);
    for (std::uint64_t i = 0; i < 3; ++i) {
        writer.begin_event({i, {10, 0}, static_cast<std::int32_t>(i % 2)});
        writer.begin_server_block({"S"});
        writer.add_record(id, tw::spectrum_payload(GetParam(), 28, {1, 2, 3}));
        writer.end_event();
    }
    const auto projected = writer.projected_size();
    EXPECT_EQ(writer.finish().file_size, projected);
}

INSTANTIATE_TEST_SUITE_P(writer, every_generation, testing::ValuesIn(generations),
                         [](const auto& tested) { return generation_name(tested.param); });

TEST(file_checker, finds_nothing_wrong_with_files_of_an_independent_writer)
{
    if (!tw::has_lzo()) {
        GTEST_SKIP() << "the sample files hold LZO records";
    }
    std::size_t files = 0;
    for (const auto* folder : {"data_legacy", "data_2010", "data_2024"}) {
        for (const auto& entry : std::filesystem::directory_iterator(std::string(TROX_TEST_DATA_DIR "/") + folder)) {
            EXPECT_THAT(check_file(entry.path()).problems, IsEmpty()) << entry.path();
            ++files;
        }
    }
    EXPECT_EQ(files, 9U);
}

TEST(file_checker, finds_what_is_broken)
{
    scratch_directory directory;
    const auto map = write_scenario(directory.path("a.raw"), tw::generation::v2010, {});
    const auto whole = read_file(directory.path("a.raw"));
    for (const auto position :
         {map.event_headers.position + 12, map.server_blocks.position + 16, map.channel_dictionary.position + 8 + 271,
          map.event_index.position + 30, map.pointers.position + 15 + 40 * 16, map.references.position + 20,
          map.trailer.position + 5, map.channels[1].position + 7}) {
        auto bytes = whole;
        bytes[position] ^= 1;
        std::ofstream(directory.path("b.raw"), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        EXPECT_FALSE(check_file(directory.path("b.raw")).problems.empty()) << position;
    }
}

} // namespace
