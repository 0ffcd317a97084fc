// Every table of the nine sample files, against what an independent writer says is in them.
#include "evutl_api.h"
#include "memory_file.h"

#include <cstring>

namespace
{

using namespace trox_test;
using nlohmann::json;

std::uint64_t big_word(std::uint32_t value)
{
    return __builtin_bswap32(value);
}

std::uint64_t big_word(std::uint64_t value)
{
    return __builtin_bswap64(value);
}

std::string text_of(const char* field, std::size_t size)
{
    return {field, strnlen(field, size)};
}

/// One sample file with its tables read and its dump.
template <class Api> struct sample {
    std::vector<std::uint8_t> bytes;
    json dump;
    std::unique_ptr<memory_file> file;
    file_tables<Api> tables;

    explicit sample(const std::string& name)
        : bytes(read_bytes(sample_directory(Api::generation) + name)), dump(read_dump(name)),
          file(std::make_unique<memory_file>(bytes))
    {
        const int fd = file->descriptor();
        EXPECT_EQ(take(tables.references, Api::read_references, bytes.data(), bytes.size(), bytes.size(), fd), 0);
        auto* references = tables.references.get();
        EXPECT_EQ(take(tables.event_index, Api::read_event_index, bytes.size(), references, fd), 0);
        EXPECT_EQ(take(tables.dictionary, Api::read_dictionary, bytes.size(), references, fd), 0);
        EXPECT_EQ(take(tables.pointers, Api::read_pointers, bytes.size(), references, fd), 0);
        EXPECT_EQ(take(tables.environment, Api::read_environment, bytes.size(), references, fd), 0);
        EXPECT_EQ(take(tables.descriptions, Api::read_descriptions, bytes.size(), references, fd), 0);
    }
};

template <class Api> class sample_tables : public ::testing::Test
{
protected:
    template <class Check> static void for_each_file(Check check)
    {
        for (const std::string& name : sample_names(Api::generation)) {
            SCOPED_TRACE(name);
            sample<Api> file(name);
            ASSERT_FALSE(::testing::Test::HasFailure());
            check(file);
        }
    }
};

TYPED_TEST_SUITE(sample_tables, all_generations, generation_name);

TYPED_TEST(sample_tables, reference_table_is_as_expected)
{
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        const json& expected = file.dump["frt"];
        const auto& table = *file.tables.references;
        EXPECT_EQ(file.bytes.size(), file.dump["size"]);
        EXPECT_EQ(table.length, expected["length"]);
        EXPECT_EQ(table.eit_pos_ref, expected["eit"]);
        EXPECT_EQ(table.cdt_ref, expected["cdt"]);
        EXPECT_EQ(table.ecp_ref, expected["ecpt"]);
        EXPECT_EQ(table.eidt_ref, expected["eidt"]);
        EXPECT_EQ(table.xcd_ref, expected["xcd"]);
        EXPECT_EQ(table.evhdb_ref, expected["evhb"]);
        EXPECT_EQ(table.srvbb_ref, expected["srvb"]);
        EXPECT_EQ(table.chanb_ref, expected["chanb"]);
        for (int type = 0; type < trox_event_type_count; ++type) {
            const std::uint64_t entry = expected["eite"].value(std::to_string(type), std::uint64_t{0});
            EXPECT_EQ(table.eite_pos_ref[type], entry) << type;
        }
    });
}

TYPED_TEST(sample_tables, event_index_is_as_expected)
{
    using head_type = typename TypeParam::event_index_head;
    using info_type = typename TypeParam::event_info;
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        const json& expected = file.dump["eit"];
        const auto* bytes = reinterpret_cast<const unsigned char*>(file.tables.event_index.get());
        ASSERT_EQ(static_cast<std::size_t>(file.tables.event_index->nevent_types), expected.size());
        for (const json& entry : expected) {
            const auto* at = bytes + entry["position"].get<std::size_t>() - file.tables.references->eit_pos_ref;
            head_type head{};
            std::memcpy(&head, at, sizeof head);
            EXPECT_EQ(head.event_type, entry["event_type"]);
            EXPECT_EQ(head.length, entry["length"]);
            EXPECT_EQ(json({big_word(head.event_number_first), big_word(head.event_time_first.timeup),
                            big_word(head.event_time_first.timelow)}),
                      entry["first"]);
            EXPECT_EQ(json({big_word(head.event_number_last), big_word(head.event_time_last.timeup),
                            big_word(head.event_time_last.timelow)}),
                      entry["last"]);
            json events = json::array();
            for (std::size_t place = sizeof head; place < static_cast<std::size_t>(head.length);
                 place += sizeof(info_type)) {
                info_type info{};
                std::memcpy(&info, at + place, sizeof info);
                events.push_back({big_word(info.time.timeup), big_word(info.time.timelow), big_word(info.event_number),
                                  info.offset});
            }
            EXPECT_EQ(events, entry["events"]);
        }
    });
}

TYPED_TEST(sample_tables, dictionary_is_as_expected_and_every_channel_is_found)
{
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        const json& expected = file.dump["cdt"];
        const auto* entries = file.tables.dictionary->entries;
        int index = 0;
        for (const json& channel : expected) {
            const auto& entry = entries[index];
            const std::string name = text_of(entry.chan_name, sizeof entry.chan_name);
            EXPECT_EQ(name, channel["name"]);
            EXPECT_EQ(entry.key, channel["key"]);
            EXPECT_EQ(entry.ev_mask, channel["ev_mask"]);
            EXPECT_EQ(entry.dtype_mask, channel["dtype_mask"]);
            EXPECT_EQ(entry.count, channel["count"]);
            EXPECT_EQ(TypeParam::find_channel(file.tables.dictionary.get(), name.c_str(), nullptr), index);
            ++index;
        }
        EXPECT_EQ(static_cast<std::size_t>(file.tables.dictionary->length),
                  offsetof(typename TypeParam::dictionary_table, entries) + expected.size() * sizeof entries[0]);
    });
}

/// The rows of one column as the dump gives them, with zeros to the last row.
json expected_column(const json& channel, std::size_t rows)
{
    json column = json::array();
    for (const json& record : channel["records"]) {
        column.push_back(record["pos"]);
    }
    while (column.size() < rows) {
        column.push_back({0, 0, 0, 0});
    }
    return column;
}

template <class Entry> json column_of(const Entry* entries, std::size_t column, std::size_t rows)
{
    json result = json::array();
    for (std::size_t row = 0; row < rows; ++row) {
        const Entry& entry = entries[column * rows + row];
        result.push_back({entry.evhd, entry.sbhd, entry.chhd, entry.data});
    }
    return result;
}

TYPED_TEST(sample_tables, pointers_table_is_as_expected)
{
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        const std::size_t rows = file.dump["maxev"];
        ASSERT_EQ(static_cast<std::size_t>(file.tables.pointers->maxev), rows);
        const auto* entries = file.tables.pointers->entries;
        std::size_t column = 0;
        for (const json& channel : file.dump["channels"]) {
            EXPECT_EQ(column_of(entries, column, rows), expected_column(channel, rows)) << channel["name"];
            ++column;
        }
    });
}

TYPED_TEST(sample_tables, pointers_table_by_list_has_the_listed_columns)
{
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        const json& channels = file.dump["channels"];
        const std::size_t rows = file.dump["maxev"];
        std::vector<std::string> list;
        for (auto channel = channels.rbegin(); channel != channels.rend(); ++channel) {
            list.push_back((*channel)["name"]);
            list.emplace_back("LINAC.NOT/THERE");
        }
        table_ptr<typename TypeParam::pointers_table> table;
        ASSERT_EQ(take(table, TypeParam::read_pointers_by_list, file.bytes.size(), file.tables.references.get(),
                       file.file->descriptor(), list, file.tables.dictionary.get()),
                  0);
        const auto* entries = table->entries;
        for (std::size_t i = 0; i < channels.size(); ++i) {
            const json& channel = channels[channels.size() - 1 - i];
            EXPECT_EQ(column_of(entries, 2 * i, rows), expected_column(channel, rows)) << channel["name"];
            EXPECT_EQ(column_of(entries, 2 * i + 1, rows), expected_column({{"records", json::array()}}, rows));
        }
    });
}

TYPED_TEST(sample_tables, environment_dictionary_is_as_expected)
{
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        const auto& table = *file.tables.environment;
        const std::size_t count =
            (static_cast<std::size_t>(table.length) - offsetof(typename TypeParam::environment_table, entries)) /
            sizeof(trox_env_dictionary_entry);
        const auto* entries = table.entries;
        json found = json::array();
        for (std::size_t i = 0; i < count; ++i) {
            found.push_back({entries[i].key, entries[i].index});
        }
        EXPECT_EQ(found, file.dump["eidt"]);
    });
}

json decoded(const stat_descr& statistic)
{
    return {{"n", statistic.stat},
            {"name", statistic.stat_name},
            {"desc", statistic.stat_desc},
            {"units", statistic.units}};
}

json decoded(const dim_descr& dimension)
{
    EXPECT_EQ(static_cast<std::size_t>(dimension.nstats), dimension.stats.size());
    json stats = json::array();
    for (const auto* statistic : dimension.stats) {
        stats.push_back(decoded(*statistic));
    }
    return {{"n", dimension.dim},
            {"name", dimension.dim_name},
            {"desc", dimension.dim_desc},
            {"units", dimension.units},
            {"stats", stats}};
}

json decoded(const chan_descr_2010& channel)
{
    EXPECT_EQ(static_cast<std::size_t>(channel.nbits), channel.bits.size());
    EXPECT_EQ(static_cast<std::size_t>(channel.ndims), channel.dims.size());
    json bits = json::array();
    for (const auto* bit : channel.bits) {
        bits.push_back({{"n", bit->bit}, {"name", bit->bit_name}, {"desc", bit->bit_desc}});
    }
    json dims = json::array();
    for (const auto* dimension : channel.dims) {
        dims.push_back(decoded(*dimension));
    }
    return {{"daq_name", channel.daq_name},
            {"prop_name", channel.prop_name},
            {"desc", channel.prop_desc},
            {"units", channel.units},
            {"sb_name", channel.sb_name},
            {"subsystem", channel.subsystem},
            {"stream", channel.stream},
            {"ev_type", channel.ev_type},
            {"count", channel.count},
            {"dtype", channel.dtype},
            {"db_key", channel.db_key},
            {"max_size", channel.max_size},
            {"set_point", channel.set_point},
            {"bits", bits},
            {"dims", dims}};
}

TYPED_TEST(sample_tables, descriptions_are_as_expected)
{
    TestFixture::for_each_file([](const sample<TypeParam>& file) {
        std::vector<chan_descr_2010*> channels;
        ASSERT_EQ(trox_load_chan_descr(file.tables.descriptions.get(), &channels), 0);
        json found = json::array();
        for (const auto* channel : channels) {
            found.push_back(decoded(*channel));
            delete channel;
        }
        EXPECT_EQ(found, file.dump["descriptions"]);
    });
}

} // namespace
