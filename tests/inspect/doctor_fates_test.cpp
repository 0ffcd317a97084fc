// What a check does with files that need more than one changed byte: cut ones, odd ones, bounds, threads.
#include "checked_file.h"

#include "defects.h"
#include "dump.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace inspect_test
{

namespace
{

template <class T> class doctor_fates : public testing::Test
{
protected:
    std::string path(const std::string& name = "a.raw") const
    {
        return directory_.file(name);
    }
    const trox_test::temp_directory directory_;
};

using generations = testing::Types<trox_test::channel_legacy, trox_test::channel_2010, trox_test::channel_2024>;
TYPED_TEST_SUITE(doctor_fates, generations);

TYPED_TEST(doctor_fates, file_without_its_trailer_is_checked_through_the_table_that_is_left)
{
    const auto file = make_file<TypeParam>(this->path());
    std::filesystem::resize_file(this->path(), file.map().trailer.position);
    const auto report = ti::check_file(this->path());
    ASSERT_TRUE(report.format);
    EXPECT_EQ(report.channels.size(), channel_count);
    EXPECT_EQ(report.channels[plain_trace].good, 3U);
    const std::string codes = codes_of(report);
    EXPECT_NE(codes.find("trailer-position"), std::string::npos) << codes;
    EXPECT_EQ(codes.find("references-missing"), std::string::npos) << codes;
}

TYPED_TEST(doctor_fates, file_cut_in_its_baskets_is_known_by_its_head)
{
    make_file<TypeParam>(this->path());
    std::filesystem::resize_file(this->path(), 500);
    const auto report = ti::check_file(this->path());
    EXPECT_EQ(report.format, static_cast<trox::generation>(TypeParam::format));
    EXPECT_EQ(codes_of(report), "trailer-position, references-missing");
    EXPECT_EQ(report.errors, 2U);
}

TYPED_TEST(doctor_fates, file_cut_behind_its_records_has_them_all_checked)
{
    const auto file = make_file<TypeParam>(this->path());
    const auto& map = file.map();
    const std::uint64_t end =
        std::min({map.event_index.position, map.channel_dictionary.position, map.pointers.position,
                  map.environment.position, map.descriptions.position, map.references.position, map.trailer.position});
    std::filesystem::resize_file(this->path(), end);
    auto report = ti::check_file(this->path());
    EXPECT_EQ(codes_of(report), "trailer-position, references-missing");
    EXPECT_EQ(report.channels.size(), channel_count - 1); // those with records
    for (const auto& one : report.channels) {
        EXPECT_EQ(one.good, 3U) << one.name;
        EXPECT_EQ(one.checked, 3U) << one.name;
    }
    auto damaged = file;
    damaged.bytes()[damaged.row(zlib_trace, 1).chhd + sizeof(typename TypeParam::subhead) + 16] ^= 0x55;
    write_anew(damaged, this->path());
    std::filesystem::resize_file(this->path(), damaged.row(text, 2).chhd + 3);
    report = ti::check_file(this->path());
    EXPECT_EQ(codes_of(report), "trailer-position, references-missing, record-stream");
    std::uint64_t good = 0;
    for (const auto& one : report.channels) {
        good += one.good;
    }
    EXPECT_EQ(good, 3U * (channel_count - 1) - 2);
}

TYPED_TEST(doctor_fates, slow_values_away_from_their_sub_heads_are_unchecked_in_a_file_without_tables)
{
    tw::layout_options layout;
    layout.updates = tw::update_layout::away;
    const auto file = make_file<TypeParam>(this->path(), layout);
    ASSERT_NE(file.row(slow, 0).data, file.row(slow, 0).chhd + sizeof(typename TypeParam::subhead));
    std::filesystem::resize_file(this->path(), file.map().channel_dictionary.position);
    const auto report = ti::check_file(this->path());
    for (const auto& one : report.channels) {
        if (one.name == channel_names[slow]) {
            EXPECT_EQ(one.checked, 3U);
            EXPECT_GE(one.unchecked, 2U); // behind the last sub-head stands a value
            EXPECT_EQ(one.damaged, 0U);
        }
    }
    EXPECT_EQ(codes_of(report), "trailer-position, references-missing");
}

TYPED_TEST(doctor_fates, file_with_bytes_behind_its_trailer_is_checked_as_a_whole)
{
    make_file<TypeParam>(this->path());
    std::filesystem::resize_file(this->path(), std::filesystem::file_size(this->path()) + (std::size_t{3} << 20));
    const auto report = ti::check_file(this->path());
    ASSERT_EQ(report.channels.size(), channel_count);
    EXPECT_EQ(codes_of(report), "trailer-position");
    EXPECT_EQ(report.channels[plain_trace].good, 3U);
}

TYPED_TEST(doctor_fates, more_compressed_bytes_than_a_file_can_hold_are_not_decompressed)
{
    make_file<TypeParam>(this->path());
    ti::doctor_options options;
    options.most_passes = 0;
    const auto report = ti::check_file(this->path(), options);
    EXPECT_EQ(codes_of(report), tw::has_lzo() ? "record-unchecked x6" : "record-unchecked x3");
    EXPECT_EQ(report.channels[zlib_trace].unchecked, 3U);
}

TYPED_TEST(doctor_fates, progress_is_told_within_a_basket_and_never_runs_back)
{
    {
        tw::file_writer writer(this->path(), TypeParam::format);
        const auto id = writer.add_channel("T/ONLY");
        for (int i = 0; i < 64; ++i) {
            writer.begin_event(
                {first_number + static_cast<std::uint32_t>(i), {first_second + static_cast<std::uint32_t>(i), 0}});
            writer.begin_server_block({"SVR", {}, {}, 0, 0});
            writer.add_record(id, tw::spectrum_payload(TypeParam::format, TypeParam::trace_type, {1.0F, 2.0F}));
            writer.end_event();
        }
        writer.finish();
    }
    std::vector<std::uint64_t> told;
    ti::doctor_options options;
    options.progress = [&](std::uint64_t done, std::uint64_t total) {
        told.push_back(done);
        EXPECT_LE(done, total);
    };
    ti::check_file(this->path(), options);
    EXPECT_GT(std::set<std::uint64_t>(told.begin(), told.end()).size(), 4U);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
}

TYPED_TEST(doctor_fates, file_of_other_bytes_is_no_data_file)
{
    std::ofstream(this->path()) << std::string(1000, 'x');
    const auto report = ti::check_file(this->path());
    EXPECT_FALSE(report.format);
    EXPECT_EQ(codes_of(report), "not-a-data-file");
    std::ofstream(this->path(), std::ios::trunc).flush();
    EXPECT_EQ(codes_of(ti::check_file(this->path())), "not-a-data-file");
}

TYPED_TEST(doctor_fates, missing_files_and_directories_are_refused)
{
    EXPECT_THROW(ti::check_file(this->path("none.raw")), std::system_error);
    EXPECT_THROW(ti::check_file(std::filesystem::path(this->path()).parent_path().string()), std::system_error);
}

TYPED_TEST(doctor_fates, pipe_that_nobody_writes_to_is_refused)
{
    ASSERT_EQ(::mkfifo(this->path("pipe").c_str(), 0600), 0);
    EXPECT_THROW(ti::check_file(this->path("pipe")), std::system_error);
    EXPECT_THROW(ti::list_items(this->path("pipe")), std::system_error);
}

TYPED_TEST(doctor_fates, file_that_shrinks_meanwhile_is_a_read_error)
{
    make_file<TypeParam>(this->path());
    ti::doctor_options options;
    options.progress = [&](std::uint64_t, std::uint64_t) { std::filesystem::resize_file(this->path(), 100); };
    EXPECT_NE(codes_of(ti::check_file(this->path(), options)).find("read-error"), std::string::npos);
}

TYPED_TEST(doctor_fates, findings_are_kept_up_to_the_bound_and_counted_beyond)
{
    auto file = make_file<TypeParam>(this->path());
    for (std::size_t row = 0; row < event_count; ++row) {
        for (const channel one : {zlib_trace, plain_trace}) {
            file.put(file.row(one, row).chhd + offsetof(typename TypeParam::subhead, error) + 0,
                     file.template get<std::uint32_t>(file.row(one, row).chhd +
                                                      offsetof(typename TypeParam::subhead, error)) |
                         0x10000000U);
        }
    }
    file.write(this->path());
    ti::doctor_options options;
    options.kept_per_code = 4;
    const auto report = ti::check_file(this->path(), options);
    EXPECT_EQ(codes_of(report), "record-error-bits x6");
    ASSERT_EQ(report.findings.size(), 4U); // the first by their place in the file
    EXPECT_EQ(report.findings[0].where.offset, file.row(zlib_trace, 0).chhd);
    EXPECT_EQ(report.findings[3].where.offset, file.row(plain_trace, 0).chhd);
    EXPECT_EQ(report.warnings, 6U);
    EXPECT_EQ(report.errors, 0U);
}

TYPED_TEST(doctor_fates, records_too_large_to_be_decompressed_are_told_and_not_called_good)
{
    make_file<TypeParam>(this->path());
    ti::doctor_options options;
    options.largest_record = 100;
    const auto report = ti::check_file(this->path(), options);
    EXPECT_EQ(codes_of(report), tw::has_lzo() ? "record-unchecked x3" : "");
    if (tw::has_lzo()) {
        EXPECT_EQ(report.channels[lzo_trace].unchecked, 3U);
        EXPECT_EQ(report.channels[lzo_trace].good, 0U);
    }
    EXPECT_EQ(report.channels[zlib_trace].good, 3U); // passes through a window
    EXPECT_EQ(report.errors, 0U);
}

TYPED_TEST(doctor_fates, descriptions_beyond_the_bound_are_not_decoded)
{
    make_file<TypeParam>(this->path());
    ti::doctor_options options;
    options.largest_descriptions = 30;
    EXPECT_EQ(codes_of(ti::check_file(this->path(), options)), "descriptions-unchecked");
}

TYPED_TEST(doctor_fates, payload_below_the_least_of_its_type_is_found)
{
    tw::file_options options;
    {
        tw::file_writer file(this->path(), TypeParam::format, options);
        const auto id = file.add_channel("T/SHORT");
        file.begin_event({first_number, {first_second, 0}});
        file.begin_server_block({"SVR", {}, {}, 0, 0});
        const std::vector<unsigned char> bytes(50);
        file.add_record(id, tw::stored_record{TROX_BLOCK_NAME_VALUE, bytes, 0, {}, {}});
        file.end_event();
        file.finish();
    }
    const auto report = ti::check_file(this->path());
    EXPECT_EQ(codes_of(report), "record-payload");
    ASSERT_EQ(report.findings.size(), 1U);
    EXPECT_EQ(report.findings[0].found, "50 bytes");
    EXPECT_EQ(report.findings[0].expected, "at least 88 for block type 22");
}

/// Leaving the table out and writing it empty is free.
TYPED_TEST(doctor_fates, environment_values_without_a_dictionary_are_sound)
{
    const auto whole = make_file<TypeParam>(this->path());
    auto file = whole;
    file.put_word(file.map().environment.position + sizeof(typename TypeParam::word),
                  2 * sizeof(typename TypeParam::word));
    write_anew(file, this->path());
    EXPECT_EQ(codes_of(ti::check_file(this->path())), "");
    file = whole;
    file.put_reference(offsetof(typename TypeParam::reference_table, eidt_ref), 0);
    write_anew(file, this->path());
    const auto report = ti::check_file(this->path());
    EXPECT_EQ(codes_of(report), "");
    EXPECT_EQ(report.channels[environment].good, 3U);
}

TYPED_TEST(doctor_fates, environment_dictionary_with_an_index_twice_is_found)
{
    {
        tw::file_writer file(this->path(), TypeParam::format);
        add_channels(file);
        file.add_environment_entry(7, 5);
        for (int event = 0; event < event_count; ++event) {
            write_event<TypeParam>(file, event);
        }
        file.finish();
    }
    EXPECT_EQ(codes_of(ti::check_file(this->path())), "environment-repeated");
}

/// One compressed record of 64 MiB in 200 rows: decompressed once, it takes a moment; each time, a minute.
TYPED_TEST(doctor_fates, compressed_record_of_many_rows_is_decompressed_once)
{
    constexpr int rows = 200;
    tw::file_options options;
    tw::file_writer writer(this->path(), TypeParam::format, options);
    const auto id = writer.add_channel("T/LARGE", tw::storage::zlib);
    const std::vector<float> none;
    for (int i = 0; i < rows; ++i) {
        writer.begin_event(
            {first_number + static_cast<std::uint32_t>(i), {first_second + static_cast<std::uint32_t>(i), 0}});
        writer.begin_server_block({"SVR", {}, {}, 0, 0});
        const std::vector<float> samples(i == 0 ? std::size_t{16} << 20 : 1);
        writer.add_record(id, tw::spectrum_payload(TypeParam::format, TypeParam::trace_type, samples));
        writer.end_event();
    }
    trox_test::data_file<TypeParam> file(this->path(), writer.finish());
    for (std::size_t i = 1; i < rows; ++i) {
        auto row = file.row(0, i);
        row.chhd = file.row(0, 0).chhd;
        row.data = file.row(0, 0).data;
        file.put_row(0, i, row);
    }
    write_anew(file, this->path());
    ti::doctor_options doctor;
    doctor.threads = 1;
    const auto begin = std::chrono::steady_clock::now();
    const auto report = ti::check_file(this->path(), doctor);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    ASSERT_EQ(report.channels.size(), 1U);
    EXPECT_EQ(report.channels[0].good, rows);
    EXPECT_EQ(codes_of(report), "record-overlap x199");
}

TEST(doctor_fates_legacy, name_too_long_for_its_sub_heads_is_found)
{
    const trox_test::temp_directory directory;
    const std::string name(31, 'N');
    tw::file_writer writer(directory.file("a.raw"), tw::generation::legacy);
    writer.add_channel(name);
    writer.begin_event({first_number, {first_second, 0}});
    writer.begin_server_block({"SVR", {}, {}, 0, 0});
    writer.add_record(name, tw::spectrum_payload(tw::generation::legacy, TROX_BLOCK_SINGLE, {1.0F}));
    writer.end_event();
    trox_test::data_file<trox_test::channel_legacy> file(directory.file("a.raw"), writer.finish());
    file.bytes().at(file.dictionary_position(0) + 4 + name.size()) = 'N';
    file.write(directory.file("a.raw"));
    const auto report = ti::check_file(directory.file("a.raw"));
    EXPECT_EQ(codes_of(report), "dictionary-name-length");
    ASSERT_EQ(report.findings.size(), 1U);
    EXPECT_EQ(report.findings[0].found, "32 characters");
}

/// Records of some size, so that threads have something to do; every seventh is damaged.
TEST(doctor_threads, find_the_same_as_one)
{
    using T = trox_test::channel_2010;
    const trox_test::temp_directory directory;
    constexpr int records = 200;
    tw::file_writer writer(directory.file("a.raw"), T::format);
    const auto id = writer.add_channel("T/LARGE", tw::storage::zlib);
    for (int i = 0; i < records; ++i) {
        writer.begin_event(
            {first_number + static_cast<std::uint32_t>(i), {first_second + static_cast<std::uint32_t>(i), 0}});
        writer.begin_server_block({"SVR", {}, {}, 0, 0});
        std::vector<float> samples(16384);
        std::uint32_t state = static_cast<std::uint32_t>(i) + 1;
        for (float& sample : samples) {
            state = state * 1664525U + 1013904223U;
            sample = static_cast<float>(state >> 12U);
        }
        writer.add_record(id, tw::spectrum_payload(T::format, T::trace_type, samples));
        writer.end_event();
    }
    trox_test::data_file<T> file(directory.file("a.raw"), writer.finish());
    for (std::size_t row = 0; row < records; row += 7) {
        file.bytes()[file.row(0, row).chhd + 280 + 2000] ^= 0xFF;
    }
    file.write(directory.file("a.raw"));
    ti::doctor_options options;
    options.threads = 1;
    const auto alone = ti::check_file(directory.file("a.raw"), options);
    options.threads = 4;
    const auto together = ti::check_file(directory.file("a.raw"), options);
    EXPECT_EQ(codes_of(alone), codes_of(together));
    EXPECT_EQ(alone.channels[0].damaged, 29U);
    EXPECT_EQ(together.channels[0].damaged, 29U);
    ASSERT_EQ(alone.findings.size(), together.findings.size());
    for (std::size_t i = 0; i < alone.findings.size(); ++i) {
        EXPECT_EQ(alone.findings[i].code, together.findings[i].code);
        EXPECT_EQ(alone.findings[i].where.offset, together.findings[i].where.offset);
        EXPECT_EQ(alone.findings[i].where.record, together.findings[i].where.record);
    }
}

} // namespace

} // namespace inspect_test
