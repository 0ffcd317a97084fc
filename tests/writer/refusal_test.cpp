// Everything that the writer refuses: the kind of fault, what the text names, and that the writer goes on after it.
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

using namespace writer_test;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

class refusals : public testing::Test
{
protected:
    // The call must throw an error of this kind, whose text holds `text`.
    static void expect_refused(tw::fault why, const std::string& text, const std::function<void()>& call)
    {
        try {
            call();
            ADD_FAILURE() << "not refused: " << text;
        } catch (const tw::error& failure) {
            EXPECT_EQ(failure.why(), why) << failure.what();
            EXPECT_THAT(failure.what(), HasSubstr(text));
        }
    }
    tw::file_writer writer(tw::generation format, const tw::file_options& options = {})
    {
        return tw::file_writer(directory_.path("a.raw"), format, options);
    }
    static void open_block(tw::file_writer& file)
    {
        file.begin_event({12, {100, 0}});
        file.begin_server_block({"S"});
    }
    // Ends what is open; the file must keep the rules, with this many records.
    void expect_whole(tw::file_writer& file, std::size_t records)
    {
        file.end_event();
        file.finish();
        const auto checked = check_file(directory_.path("a.raw"));
        EXPECT_THAT(checked.problems, IsEmpty());
        std::size_t found = 0;
        for (const auto& channel : checked.channels) {
            found += channel.records.size();
        }
        EXPECT_EQ(found, records);
    }
    static tw::record raw(std::int32_t dtype, const std::vector<unsigned char>& bytes)
    {
        return {dtype, bytes, 0, tw::byte_order::host, {}};
    }
    scratch_directory directory_;
};

constexpr auto legacy = tw::generation::legacy;
constexpr auto v2010 = tw::generation::v2010;
constexpr auto v2024 = tw::generation::v2024;

TEST_F(refusals, of_file_names)
{
    for (const auto* name : {"", "/", ".", "..", "dir/"}) {
        expect_refused(tw::fault::bad_name, "no name of a file",
                       [&] { tw::file_writer(directory_.path() + "/" + name, v2010); });
    }
    expect_refused(tw::fault::bad_name, "no name of a file", [] { tw::file_writer("", v2010); });
    expect_refused(tw::fault::bad_name, "no name of a file",
                   [&] { tw::file_writer(directory_.path(std::string(256, 'x')), v2010); });
    expect_refused(tw::fault::bad_name, "is a directory", [&] { tw::file_writer(directory_.path(), v2010); });
}

TEST_F(refusals, of_a_directory_that_is_not_there)
{
    expect_refused(tw::fault::input_output, "No such file or directory",
                   [&] { tw::file_writer(directory_.path("nowhere/a.raw"), v2010); });
}

TEST_F(refusals, of_a_file_that_exists_unless_it_may_be_replaced)
{
    writer(v2010).finish();
    expect_refused(tw::fault::bad_name, "a.raw: a file of that name exists", [&] { writer(v2010); });
    tw::file_options options;
    options.replace_existing = true;
    auto again = writer(v2024, options);
    again.finish();
    EXPECT_EQ(check_file(directory_.path("a.raw")).generation, 2024U);
}

TEST_F(refusals, of_a_file_that_came_to_be_meanwhile)
{
    auto first = writer(v2010);
    writer(v2024).finish();
    expect_refused(tw::fault::bad_name, "a file of that name exists", [&] { first.finish(); });
    EXPECT_EQ(check_file(directory_.path("a.raw")).generation, 2024U);
    EXPECT_EQ(directory_.entries(), std::vector<std::string>{"a.raw"});
}

TEST_F(refusals, of_an_unknown_generation)
{
    expect_refused(tw::fault::bad_value, "generation 1999", [&] { writer(static_cast<tw::generation>(1999)); });
}

TEST_F(refusals, of_channel_names_that_do_not_fit)
{
    auto old = writer(legacy);
    old.add_channel(std::string(31, 'x'));
    old.add_channel(std::string(31, 'y') + ":" + std::string(47, '1'));
    expect_refused(tw::fault::bad_name, "longer than 31", [&] { old.add_channel(std::string(32, 'x')); });
    expect_refused(tw::fault::bad_name, "longer than 79",
                   [&] { old.add_channel(std::string(31, 'y') + ":" + std::string(48, '1')); });
    auto file = writer(v2010);
    file.add_channel(std::string(255, 'x'));
    expect_refused(tw::fault::bad_name, "longer than 255", [&] { file.add_channel(std::string(256, 'x')); });
}

TEST_F(refusals, of_channel_names_that_are_no_names)
{
    auto file = writer(v2010);
    for (const auto& name :
         {std::string(), std::string(":3"), std::string("a\nb"), std::string("\xC3\xA4"), std::string("a\0b", 3)}) {
        expect_refused(tw::fault::bad_name, "printable ASCII", [&] { file.add_channel(name); });
    }
}

TEST_F(refusals, of_repeated_channels_keys_and_environment_entries)
{
    auto file = writer(v2010);
    file.add_channel({"A", 7, {}, 1, {}});
    expect_refused(tw::fault::bad_name, "\"A\"", [&] { file.add_channel("A"); });
    expect_refused(tw::fault::bad_name, "key 7", [&] { file.add_channel({"B", 7, {}, {}, {}}); });
    expect_refused(tw::fault::bad_name, "key 7", [&] { file.add_environment_entry(7, 3); });
    file.add_environment_entry(9, 3);
    expect_refused(tw::fault::bad_name, "key 9", [&] { file.add_channel({"B", 9, {}, 1, {}}); });
    open_block(file);
    expect_whole(file, 0);
}

TEST_F(refusals, of_descriptions_that_xml_cannot_hold)
{
    auto file = writer(v2010);
    for (const auto* text : {"\x01", "\xFF", "\xC3", "\xED\xA0\x80", "\xC0\x80", "\xEF\xBF\xBF"}) {
        tw::channel_settings settings;
        settings.name = "A";
        settings.description.emplace().text = text;
        expect_refused(tw::fault::bad_value, "desc", [&] { file.add_channel(settings); });
    }
    file.add_channel("A");
}

TEST_F(refusals, of_server_names_that_do_not_fit)
{
    auto old = writer(legacy);
    old.begin_event({1, {}});
    old.begin_server_block({std::string(47, 's')});
    expect_refused(tw::fault::bad_name, "at most 47", [&] { old.begin_server_block({std::string(48, 's')}); });
    auto file = writer(v2010);
    file.begin_event({1, {}});
    file.begin_server_block({std::string(255, 's')});
    expect_refused(tw::fault::bad_name, "at most 255", [&] { file.begin_server_block({std::string(256, 's')}); });
    expect_refused(tw::fault::bad_name, "printable", [&] { file.begin_server_block({"a\tb"}); });
    expect_whole(file, 0);
}

TEST_F(refusals, of_numbers_with_more_than_32_bits_before_2024)
{
    for (const auto format : {legacy, v2010}) {
        auto file = writer(format);
        expect_refused(tw::fault::too_large, "event 4294967296", [&] { file.begin_event({0x100000000U, {}}); });
        file.begin_event({0xFFFFFFFFU, {}});
        tw::server_block_info block;
        block.name = "S";
        block.mpulse = 0x80000000;
        expect_refused(tw::fault::too_large, "pulse number", [&] { file.begin_server_block(block); });
    }
    auto file = writer(v2024);
    file.begin_event({~0ULL, {}});
    tw::server_block_info block;
    block.mpulse = INT64_MIN;
    file.begin_server_block(block);
    expect_whole(file, 0);
}

TEST_F(refusals, of_unknown_event_types_and_times)
{
    auto file = writer(v2010);
    for (const int type : {-1, 32, 1000}) {
        expect_refused(tw::fault::bad_value, "no event type", [&] { file.begin_event({1, {}, type}); });
    }
    expect_refused(tw::fault::bad_value, "microseconds", [&] { file.begin_event({1, {1, 1000000}}); });
    file.begin_event({1, {1, 999999}, 31});
    tw::server_block_info block;
    block.time = time_stamp{1, 1000000};
    expect_refused(tw::fault::bad_value, "microseconds", [&] { file.begin_server_block(block); });
    expect_whole(file, 0);
}

TEST_F(refusals, of_unassigned_block_types)
{
    auto file = writer(v2010);
    const auto id = file.add_channel("A");
    open_block(file);
    for (const int dtype : {-1, 0, 30, 32, 54, 55, 56, 57, 58, 59, 63, 64, 0x10009}) {
        expect_refused(tw::fault::bad_value, "event 12: channel A: block type " + std::to_string(dtype),
                       [&] { file.add_record(id, raw(dtype, std::vector<unsigned char>(300))); });
    }
    file.add_record(id, raw(62, {}));
    expect_whole(file, 1);
}

TEST_F(refusals, of_payloads_shorter_than_their_fixed_head)
{
    const std::pair<int, std::size_t> heads[] = {{1, 96}, {4, 96},  {5, 96},  {33, 272}, {36, 272}, {37, 272},
                                                 {3, 20}, {35, 20}, {13, 40}, {27, 100}, {22, 88},  {23, 20}};
    auto file = writer(v2010);
    open_block(file);
    for (const auto& [dtype, size] : heads) {
        const auto id = file.add_channel("A" + std::to_string(dtype));
        expect_refused(tw::fault::bad_value, "begins with " + std::to_string(size), [&, type = dtype, bytes = size] {
            file.add_record(id, raw(type, std::vector<unsigned char>(bytes - 1)));
        });
        file.add_record(id, raw(dtype, std::vector<unsigned char>(size)));
    }
    expect_whole(file, std::size(heads));
}

TEST_F(refusals, of_empty_update_and_environment_records)
{
    auto file = writer(v2010);
    const auto id = file.add_channel("A");
    open_block(file);
    for (const int dtype : {1, 3, 4, 5, 33, 35, 36, 37}) {
        expect_refused(tw::fault::bad_value, "a payload of 0 bytes", [&] { file.add_record(id, raw(dtype, {})); });
    }
    file.add_record(id, raw(13, {}));
    expect_whole(file, 1);
}

TEST_F(refusals, of_the_compression_mark_among_error_bits)
{
    auto file = writer(v2010);
    const auto id = file.add_channel("A");
    open_block(file);
    expect_refused(tw::fault::bad_value, "error bits", [&] { file.add_record(id, tw::record{9, {}, 0x40001000U}); });
    file.add_record(id, tw::record{9, {}, 0x87FFFFFFU});
    expect_whole(file, 1);
}

TEST_F(refusals, of_records_for_unknown_channels)
{
    auto file = writer(v2010);
    file.add_channel("A");
    open_block(file);
    expect_refused(tw::fault::bad_value, "no channel B", [&] { file.add_record("B", raw(9, {})); });
    expect_refused(tw::fault::bad_value, "no channel number 1",
                   [&] { file.add_record(tw::channel_id{1}, raw(9, {})); });
    expect_refused(tw::fault::bad_value, "no channel number 1",
                   [&] { file.add_record(tw::channel_id{1}, tw::stored_record{}); });
    file.add_record("A", raw(9, {}));
    expect_whole(file, 1);
}

TEST_F(refusals, of_bytes_that_are_not_there)
{
    auto file = writer(v2010);
    const auto id = file.add_channel("A");
    open_block(file);
    expect_refused(tw::fault::bad_value, "without bytes", [&] { file.add_record(id, tw::record{9, {nullptr, 4}}); });
    tw::stored_record stored;
    stored.bytes = {nullptr, 4};
    expect_refused(tw::fault::bad_value, "without bytes", [&] { file.add_record(id, stored); });
    expect_whole(file, 0);
}

TEST_F(refusals, of_a_second_record_of_a_channel_in_one_event)
{
    auto file = writer(v2010);
    const auto id = file.add_channel("A");
    open_block(file);
    file.add_record(id, raw(9, {}));
    file.begin_server_block({"T"});
    expect_refused(tw::fault::wrong_use, "channel A: a second record", [&] { file.add_record(id, raw(9, {})); });
    expect_whole(file, 1);
}

TEST_F(refusals, of_calls_out_of_order)
{
    auto file = writer(v2010);
    const auto id = file.add_channel("A");
    expect_refused(tw::fault::wrong_use, "outside an event", [&] { file.begin_server_block({"S"}); });
    expect_refused(tw::fault::wrong_use, "outside a server block", [&] { file.add_record(id, raw(9, {})); });
    expect_refused(tw::fault::wrong_use, "no event is open", [&] { file.end_event(); });
    file.begin_event({1, {}});
    expect_refused(tw::fault::wrong_use, "event 2", [&] { file.begin_event({2, {}}); });
    expect_refused(tw::fault::wrong_use, "outside a server block", [&] { file.add_record(id, raw(9, {})); });
    expect_refused(tw::fault::wrong_use, "still open", [&] { file.finish(); });
    file.begin_server_block({"S"});
    expect_whole(file, 0);
}

TEST_F(refusals, of_everything_after_finish_and_abandon)
{
    auto finished = writer(v2010);
    const auto id = finished.add_channel("A");
    finished.finish();
    auto given_up = writer(v2010, [] {
        tw::file_options options;
        options.replace_existing = true;
        return options;
    }());
    given_up.abandon();
    given_up.abandon();
    for (auto* file : {&finished, &given_up}) {
        const std::string text = file == &finished ? "is finished" : "was given up";
        expect_refused(tw::fault::wrong_use, text, [&] { file->add_channel("B"); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->add_environment_entry(1, 1); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->begin_event({1, {}}); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->begin_server_block({"S"}); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->add_record(id, raw(9, {})); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->add_record(id, tw::stored_record{}); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->end_event(); });
        expect_refused(tw::fault::wrong_use, text, [&] { file->finish(); });
    }
}

TEST_F(refusals, of_lzo_in_builds_without_it)
{
    if (tw::has_lzo()) {
        GTEST_SKIP() << "this build writes LZO";
    }
    tw::file_options options;
    options.stored = tw::storage::lzo;
    expect_refused(tw::fault::unsupported, "LZO", [&] { writer(v2010, options); });
    auto file = writer(v2010);
    expect_refused(tw::fault::unsupported, "channel A", [&] { file.add_channel("A", tw::storage::lzo); });
    const auto id = file.add_channel("A");
    open_block(file);
    auto record = raw(9, {1, 2, 3, 4});
    record.stored = tw::storage::lzo;
    expect_refused(tw::fault::unsupported, "channel A", [&] { file.add_record(id, record); });
    expect_whole(file, 0);
}

TEST_F(refusals, of_payloads_too_long_for_ldata)
{
    auto file = writer(v2024);
    const auto id = file.add_channel("A");
    open_block(file);
    const unsigned char one_byte = 0; // the length is refused before the bytes are looked at
    for (const auto length : {std::size_t{0x7FFFFFFF} - 268 + 1, std::size_t{0x80000000}, std::size_t{1} << 40}) {
        expect_refused(tw::fault::too_large, "channel A", [&] {
            file.add_record(id, tw::record{9, {&one_byte, length}});
        });
        tw::stored_record stored;
        stored.bytes = {&one_byte, length};
        expect_refused(tw::fault::too_large, "channel A", [&] { file.add_record(id, stored); });
    }
    expect_whole(file, 0);
}

TEST_F(refusals, of_more_than_the_file_may_hold)
{
    EXPECT_EQ(writer(legacy).size_limit(), 4294967296U);
    EXPECT_EQ(writer(v2010).size_limit(), 4294967296U);
    EXPECT_EQ(writer(v2024).size_limit(), 0x7FFFFFFFFFFFFFFFU);
    tw::file_options options;
    options.max_file_bytes = 4294967297U;
    expect_refused(tw::fault::bad_value, "4294967296", [&] { writer(v2010, options); });

    options.max_file_bytes = 100000;
    auto file = writer(v2010, options);
    const auto id = file.add_channel("A");
    open_block(file);
    expect_refused(tw::fault::too_large, "channel A: the record would pass the file's limit of 100000",
                   [&] { file.add_record(id, raw(9, std::vector<unsigned char>(100000))); });
    const auto rest = *options.max_file_bytes - file.projected_size() - 8 - 268 - 16; // basket, sub-head, row
    expect_refused(tw::fault::too_large, "limit",
                   [&] { file.add_record(id, raw(9, std::vector<unsigned char>(rest + 1))); });
    file.add_record(id, raw(9, std::vector<unsigned char>(rest)));
    EXPECT_EQ(file.projected_size(), 100000U);
    expect_refused(tw::fault::too_large, "a further channel", [&] { file.add_channel("B"); });
    expect_refused(tw::fault::too_large, "environment", [&] { file.add_environment_entry(5, 5); });
    expect_refused(tw::fault::too_large, "a further server block", [&] { file.begin_server_block({"T"}); });
    expect_whole(file, 1);
    EXPECT_EQ(std::filesystem::file_size(directory_.path("a.raw")), 100000U);
}

TEST_F(refusals, of_a_further_event_in_a_full_file)
{
    tw::file_options options;
    options.max_file_bytes = 600;
    auto file = writer(v2010, options);
    std::uint64_t number = 0;
    while (file.projected_size() + 36 + 16 + (number == 0 ? 32 : 0) <= 600) {
        file.begin_event({++number, {}});
        file.end_event();
    }
    EXPECT_GT(number, 0U);
    expect_refused(tw::fault::too_large, "a further event", [&] { file.begin_event({99, {}}); });
    file.finish();
    EXPECT_THAT(check_file(directory_.path("a.raw")).problems, IsEmpty());
}

TEST_F(refusals, of_gaps_that_push_the_file_past_its_limit)
{
    tw::file_options options;
    options.max_file_bytes = 500;
    options.layout.trailer_gap = 0;
    options.layout.max_gap = 10000;
    auto file = writer(v2010, options);
    expect_refused(tw::fault::too_large, "with the gaps of its layout", [&] { file.finish(); });
    EXPECT_THAT(directory_.entries(), IsEmpty());
}

TEST_F(refusals, of_pointers_tables_that_pass_their_length_field)
{
    // 2^31 bytes are 134217728 rows of 16 bytes.
    tw::file_options options;
    options.layout.spare_rows = 60000000;
    auto file = writer(v2010, options);
    file.add_channel("A");
    file.add_channel("B");
    expect_refused(tw::fault::too_large, "the pointers table", [&] { file.add_channel("C"); });
    options.layout.spare_rows = 134217727;
    auto other = writer(v2010, options);
    const auto id = other.add_channel("A");
    open_block(other);
    expect_refused(tw::fault::too_large, "the pointers table", [&] { other.add_record(id, raw(9, {})); });
}

} // namespace
