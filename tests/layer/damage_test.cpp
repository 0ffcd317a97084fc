// Damaged records and files: what is passed over, what is noted of it, and what strict reading throws.
#include "event_texts.h"
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using testing::HasSubstr;
using trox::fault;
using numbers = std::vector<std::uint64_t>;

const trox::reading_options strict{std::size_t{1} << 20, 1, false};

std::vector<unsigned char> bytes_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_bytes(const std::string& path, const std::vector<unsigned char>& bytes)
{
    std::filesystem::remove(path);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// --- records --------------------------------------------------------------------------------------------

class damaged_records : public testing::TestWithParam<tw::generation>
{
protected:
    /// T/A and T/B in events 1 to 5; T/B is compressed, and its record of event 3 is no zlib stream. T/SLOW is set in 2
    /// and 4, in 4 without a payload.
    damaged_records()
    {
        const tw::generation format = GetParam();
        tw::file_writer file(path_, format);
        const auto a = file.add_channel("T/A");
        const auto b = file.add_channel("T/B", tw::storage::zlib);
        const auto slow = file.add_channel("T/SLOW");
        for (std::uint64_t number = 1; number <= 5; ++number) {
            const auto samples =
                tw::spectrum_payload(format, trace_type(format), std::vector<float>(64, static_cast<float>(number)));
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            file.add_record(a, samples);
            if (number == 3) {
                const std::vector<unsigned char> garbage(40, 0x55);
                file.add_record(
                    b, tw::stored_record{trace_type(format),
                                         garbage,
                                         0,
                                         tw::stored_record::zip_head{
                                             trox_zip_zlib, static_cast<std::uint32_t>(samples.bytes.size()), {}},
                                         {}});
            } else {
                file.add_record(b, samples);
            }
            file.end_event();
            if (number % 2 == 0) {
                const auto time = tenth(number) + trox::microseconds(7000);
                const auto update =
                    tw::update_payload(format, "T/SLOW", static_cast<float>(10 * number), stamp_of(time));
                file.begin_event({number, stamp_of(time), TROX_EV_UPD});
                file.begin_server_block({"SLOW"});
                if (number == 2) {
                    file.add_record(slow, update);
                } else {
                    file.add_record(slow, tw::stored_record{update.dtype, {}, 0, {}, {}});
                }
                file.end_event();
            }
        }
        file.finish();
    }

    /// Where the sub-head of T/B's record of event 3 stands: in front of its zip head and its 40 bytes.
    std::uint64_t garbage_offset() const
    {
        const auto bytes = bytes_of(path_);
        const std::vector<unsigned char> garbage(40, 0x55);
        const auto at = std::search(bytes.begin(), bytes.end(), garbage.begin(), garbage.end());
        const std::uint64_t subhead = GetParam() == tw::generation::legacy ? sizeof(trox_serv_block_subhead)
                                                                           : sizeof(trox_serv_block_subhead_2010);
        return static_cast<std::uint64_t>(at - bytes.begin()) - sizeof(trox_zip_header) - subhead;
    }

    trox_test::temp_directory directory_;
    std::string path_ = directory_.file("a.raw");
};

TEST_P(damaged_records, leave_the_event_the_number_and_the_time_that_they_gave_it)
{
    const tw::generation format = GetParam();
    const std::string path = directory_.file("b.raw");
    tw::file_writer file(path, format);
    const auto a = file.add_channel("T/A", tw::storage::zlib);
    const auto b = file.add_channel("T/B");
    const auto add = [&](std::uint64_t number, trox::time_point time, tw::channel_id id, bool is_sound) {
        const auto samples = tw::spectrum_payload(format, trace_type(format), {1.0F});
        file.begin_event({number, stamp_of(time)});
        file.begin_server_block({"SVR"});
        if (is_sound) {
            file.add_record(id, samples);
        } else {
            const std::vector<unsigned char> garbage(40, 0x55);
            file.add_record(
                id, tw::stored_record{
                        trace_type(format), garbage, 0, tw::stored_record::zip_head{trox_zip_zlib, 400, {}}, {}});
        }
        file.end_event();
    };
    for (std::uint64_t number = 1; number <= 2; ++number) { // matched by time, each channel counts for itself
        add(500 + number, tenth(number) - trox::microseconds(1000), b, true);
        add(number, tenth(number), a, number == 1);
    }
    file.finish();
    trox::selection what{named({"T/A", "T/B"}), {}, {trox::synchronisation::mode::by_time}, {}};
    what.range.begin = tenth(2) - trox::microseconds(500);
    trox::event_reader reader(trox::data_set::open_files({path}), what);
    for (const auto& event : {reader.at_number(2), reader.at_time(tenth(2)), reader.first()}) {
        ASSERT_TRUE(event);
        EXPECT_EQ(event->number(), 2U);
        EXPECT_EQ(event->time(), tenth(2));
        EXPECT_FALSE((*event)[0]);
        EXPECT_EQ((*event)[1].event_number(), 502U);
    }
    EXPECT_FALSE(reader.at_number(502));
    EXPECT_EQ(reader.report().channels[0].skipped, 1U);
}

TEST_P(damaged_records, are_gaps_noted_with_file_channel_event_offset_and_reason)
{
    trox::event_reader reader(trox::data_set::open_files({path_}), {named({"T/A", "T/B"}), {}, {}, {}});
    std::vector<std::string> lines;
    for (const trox::event& event : reader) {
        lines.push_back(std::to_string(event.number()) + (event[0] ? " A" : " -") + (event[1] ? " B" : " -"));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"1 A B", "2 A B", "3 A -", "4 A B", "5 A B"}));
    const trox::reading_report& report = reader.report();
    EXPECT_EQ(report.channels[0].skipped, 0U);
    EXPECT_EQ(report.channels[1].skipped, 1U);
    EXPECT_EQ(report.channels[1].missing, 1U);
    ASSERT_EQ(report.skipped_records.size(), 1U);
    const trox::skipped_record& noted = report.skipped_records[0];
    EXPECT_EQ(noted.where.file, path_);
    EXPECT_EQ(noted.where.channel, "T/B");
    EXPECT_EQ(noted.where.event, 3U);
    EXPECT_EQ(noted.where.offset, garbage_offset());
    EXPECT_EQ(noted.reason, "its compressed data are damaged");
    // Met again, it is not counted again.
    EXPECT_TRUE(reader.at_number(3));
    EXPECT_TRUE(reader.at_number(3));
    EXPECT_EQ(reader.report().channels[1].skipped, 1U);
    EXPECT_EQ(reader.report().skipped_records.size(), 1U);
}

TEST_P(damaged_records, throw_their_place_when_reading_strictly_and_can_be_stepped_over)
{
    trox::event_reader reader(trox::data_set::open_files({path_}), {named({"T/A", "T/B"}), {}, {}, {}}, strict);
    EXPECT_EQ(number_of(reader.next()), 1U);
    EXPECT_EQ(number_of(reader.next()), 2U);
    for (int attempt = 0; attempt < 2; ++attempt) {
        const trox::error failure = error_of([&] { reader.next(); });
        EXPECT_EQ(failure.why(), fault::damaged_record);
        EXPECT_EQ(failure.where().file, path_);
        EXPECT_EQ(failure.where().channel, "T/B");
        EXPECT_EQ(failure.where().event, 3U);
        EXPECT_EQ(failure.where().offset, garbage_offset());
        EXPECT_EQ(failure.reason(), "its compressed data are damaged");
        EXPECT_EQ(failure.what(), path_ + ", channel T/B, event 3, offset " + std::to_string(garbage_offset()) +
                                      ": its compressed data are damaged");
        EXPECT_EQ(number_of(reader.current()), 2U);
    }
    EXPECT_EQ(number_of(reader.at_number(4)), 4U);
    EXPECT_EQ(number_of(reader.next()), 5U);
    EXPECT_EQ(error_of([&] {
                  while (reader.previous()) {
                  }
              })
                  .where()
                  .event,
              3U);
}

TEST_P(damaged_records, of_slow_values_leave_the_earlier_value)
{
    trox::event_reader reader(trox::data_set::open_files({path_}), {named({"T/A", "T/SLOW"}), {}, {}, {}});
    std::vector<std::string> lines;
    for (const trox::event& event : reader) {
        lines.push_back(
            std::to_string(event.number()) +
            (event[1] ? " " + std::to_string(static_cast<int>(*event[1].number())) + (event[1].is_updated() ? "" : "k")
                      : " -"));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"1 -", "2 20", "3 20k", "4 20k", "5 20k"}));
    ASSERT_EQ(reader.report().skipped_records.size(), 1U);
    EXPECT_EQ(reader.report().skipped_records[0].where.event, 4U);
    EXPECT_EQ(reader.report().channels[1].carried, 3U);
}

TEST_P(damaged_records, that_are_all_of_an_event_drop_it)
{
    trox::event_reader reader(trox::data_set::open_files({path_}), {named({"T/B"}), {}, {}, {}});
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 4, 5}));
    EXPECT_EQ(reader.report().dropped, 1U);
    EXPECT_EQ(number_of(reader.previous()), 4U);
    EXPECT_EQ(number_of(reader.previous()), 2U);
}

TEST_P(damaged_records, count_as_missing_where_that_matters)
{
    trox::event_reader dropping(trox::data_set::open_files({path_}),
                                {named({"T/A", "T/B"}), {}, {}, trox::on_missing::drop});
    EXPECT_EQ(numbers_of(dropping), (numbers{1, 2, 4, 5}));
    trox::event_reader failing(trox::data_set::open_files({path_}),
                               {named({"T/A", "T/B"}), {}, {}, trox::on_missing::fail});
    EXPECT_EQ(error_of([&] { numbers_of(failing); }).why(), fault::missing_channel);
}

TEST_P(damaged_records, do_not_hide_what_a_channel_is)
{
    const auto data = trox::data_set::open_files({path_});
    const trox::channel_details details = data.inspect(*data.find("T/B"));
    EXPECT_EQ(details.kind, trox::channel_kind::trace);
    EXPECT_EQ(details.samples, 64U);
    EXPECT_EQ(details.stored_as, trox::compression::zlib);
}

INSTANTIATE_TEST_SUITE_P(generations, damaged_records, testing::ValuesIn(all_formats), [](const auto& tested) {
    return std::string(trox::name_of(static_cast<trox::generation>(tested.param)));
});

// --- files ----------------------------------------------------------------------------------------------

/// Changes what the dictionary of a file of generation 2010 says of a channel with few records.
void set_count(std::vector<unsigned char>& bytes, const std::string& channel, unsigned char count)
{
    using entry = trox_chan_dictionary_entry_2010;
    constexpr std::size_t to_count = offsetof(entry, count) - offsetof(entry, chan_name) + sizeof(entry::count) - 1;
    for (auto at = bytes.begin(); at != bytes.end(); ++at) {
        at = std::search(at, bytes.end(), channel.begin(), channel.end());
        ASSERT_NE(at, bytes.end()) << "no entry";
        const auto position = static_cast<std::size_t>(at - bytes.begin()) + to_count;
        // Sub-heads have the name as well, with something else there.
        if (position < bytes.size() && bytes[position] == 4 && bytes[position - 1] == 0) {
            bytes[position] = count;
            return;
        }
    }
}

class bad_files : public testing::Test
{
protected:
    std::string good(const std::string& name, const numbers& events, std::uint64_t offset = 0) const
    {
        return write_numbers(directory_.file(name), tw::generation::v2010, events, offset);
    }
    std::string text_file() const
    {
        write_bytes(directory_.file("text.raw"), std::vector<unsigned char>(1000, 'x'));
        return directory_.file("text.raw");
    }
    std::string empty_file() const
    {
        write_bytes(directory_.file("empty.raw"), {});
        return directory_.file("empty.raw");
    }

    trox_test::temp_directory directory_;
};

TEST_F(bad_files, are_passed_over_and_named_with_the_reason)
{
    std::filesystem::create_directory(directory_.file("directory.raw"));
    const std::vector<std::string> paths{
        good("a.raw", {1, 2}),          text_file(),          directory_.file("directory.raw"), empty_file(),
        directory_.file("no-such.raw"), good("b.raw", {3, 4})};
    const auto data = trox::data_set::open_files(paths);
    EXPECT_EQ(data.files().size(), 2U);
    ASSERT_EQ(data.skipped_files().size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(data.skipped_files()[i].path, paths[i + 1]);
    }
    EXPECT_THAT(data.skipped_files()[0].reason, HasSubstr("no data file"));
    EXPECT_THAT(data.skipped_files()[1].reason, HasSubstr("is a directory"));
    EXPECT_THAT(data.skipped_files()[2].reason, HasSubstr("too short"));
    EXPECT_THAT(data.skipped_files()[3].reason, HasSubstr("No such file"));
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3, 4}));
    EXPECT_EQ(reader.report().skipped_files.size(), 4U);
}

TEST_F(bad_files, are_refused_when_they_may_not_be_skipped_or_nothing_is_left)
{
    const std::string whole = good("a.raw", {1});
    const std::string text = text_file();
    const trox::error refused = error_of([&] { trox::data_set::open_files({whole, text}, {false, 64}); });
    EXPECT_EQ(refused.why(), fault::bad_file);
    EXPECT_EQ(refused.where().file, text);
    EXPECT_EQ(error_of([&] { trox::data_set::open_files({text, empty_file()}); }).why(), fault::bad_file);
    EXPECT_EQ(error_of([&] { trox::data_set::open_files({empty_file()}); }).why(), fault::bad_file);
    EXPECT_EQ(error_of([&] { trox::data_set::open_files({directory_.file("")}); }).why(), fault::bad_file);
    EXPECT_EQ(error_of([&] { trox::data_set::open_files({directory_.file("none.raw")}); }).why(), fault::not_found);
    EXPECT_EQ(error_of([&] { trox::data_set::open_files({}); }).why(), fault::not_found);
    const trox::error no_file = error_of([&] { trox::data_set::open_files({whole}, {true, 0}); });
    EXPECT_EQ(no_file.why(), fault::wrong_use);
    EXPECT_NE(no_file.reason(), "nothing was thrown");
}

TEST_F(bad_files, of_the_operating_system_do_not_block)
{
    const std::string whole = good("a.raw", {1});
    std::string fifo = directory_.file("pipe.raw");
    ASSERT_EQ(std::system(("mkfifo '" + fifo + "'").c_str()), 0);
    const auto data = trox::data_set::open_files({whole, fifo, "/dev/null"});
    ASSERT_EQ(data.skipped_files().size(), 2U);
    EXPECT_THAT(data.skipped_files()[0].reason, HasSubstr("no regular file"));
}

TEST_F(bad_files, that_vanish_after_opening_are_reported_while_the_others_are_read)
{
    const std::string gone = good("b.raw", {3, 4});
    const auto data = trox::data_set::open_files({good("a.raw", {1, 2}), gone, good("c.raw", {5, 6})});
    std::filesystem::remove(gone);
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 5, 6}));
    ASSERT_EQ(reader.report().skipped_files.size(), 1U);
    EXPECT_EQ(reader.report().skipped_files[0].path, gone);
    trox::event_reader unforgiving(data, {}, strict);
    EXPECT_EQ(number_of(unforgiving.next()), 1U);
    EXPECT_EQ(number_of(unforgiving.next()), 2U);
    for (int attempt = 0; attempt < 2; ++attempt) {
        const trox::error failure = error_of([&] { unforgiving.next(); });
        EXPECT_EQ(failure.why(), fault::not_found);
        EXPECT_EQ(failure.where().file, gone);
    }
    EXPECT_EQ(number_of(unforgiving.current()), 2U);
    EXPECT_EQ(number_of(unforgiving.previous()), 1U);
}

TEST_F(bad_files, that_are_cut_after_opening_are_reported_while_the_others_are_read)
{
    const std::string cut = good("b.raw", {3, 4});
    const auto data = trox::data_set::open_files({good("a.raw", {1, 2}), cut, good("c.raw", {5, 6})});
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 5, 6}));
    EXPECT_EQ(reader.report().skipped_files.size(), 1U);
    trox::event_reader unforgiving(data, {}, strict);
    EXPECT_EQ(error_of([&] { numbers_of(unforgiving); }).where().file, cut);
}

TEST_F(bad_files, that_are_replaced_after_opening_are_reported_while_the_others_are_read)
{
    const std::string replaced = good("b.raw", {3, 4, 5, 6});
    const std::string other = small_file(directory_.file("other.raw")).machine(3, tenth(3), {{"T/B", 1.0F}}).finish();
    const auto data = trox::data_set::open_files({good("a.raw", {1, 2}), replaced, good("c.raw", {7, 8})}, {true, 1});
    trox::event_reader reading(data, {});
    EXPECT_EQ(number_of(reading.at_number(6)), 6U); // its rows are known
    EXPECT_EQ(number_of(reading.at_number(1)), 1U); // and given up for those of another file
    std::filesystem::remove(replaced);
    std::filesystem::rename(other, replaced); // without the channel, and with fewer rows
    EXPECT_FALSE(reading.at_number(5));
    EXPECT_EQ(number_of(reading.at_number(7)), 7U);
    ASSERT_EQ(reading.report().skipped_files.size(), 1U);
    EXPECT_EQ(reading.report().skipped_files[0].reason, "was changed since it was opened");

    trox::event_reader later(data, {});
    EXPECT_EQ(numbers_of(later), (numbers{1, 2, 7, 8}));
    const auto stamps = data.stamps({0});
    EXPECT_EQ(stamps[0].records.size(), 4U);
    ASSERT_EQ(stamps[0].skipped.size(), 1U);
    EXPECT_EQ(stamps[0].skipped[0].where.file, replaced);
    EXPECT_EQ(stamps[0].skipped[0].reason, "was changed since it was opened");
    trox::event_reader unforgiving(data, {}, strict);
    const trox::error failure = error_of([&] { numbers_of(unforgiving); });
    EXPECT_EQ(failure.why(), fault::bad_file);
    EXPECT_EQ(failure.where().file, replaced);
}

TEST_F(bad_files, that_are_written_anew_with_fewer_records_give_gaps_and_no_fault)
{
    const std::string path = good("b.raw", {3, 4, 5, 6});
    const auto data = trox::data_set::open_files({good("a.raw", {1, 2}), path}, {true, 1});
    trox::event_reader reader(data, {});
    EXPECT_EQ(number_of(reader.at_number(6)), 6U);
    EXPECT_EQ(number_of(reader.at_number(1)), 1U);
    // In place, of the same size and with the same time of change: only the dictionary tells.
    const auto time = std::filesystem::last_write_time(path);
    auto bytes = bytes_of(path);
    set_count(bytes, "T/A", 1);
    {
        std::ofstream file(path, std::ios::binary | std::ios::in);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    std::filesystem::last_write_time(path, time);
    EXPECT_EQ(number_of(reader.at_number(3)), 3U);
    for (const std::uint64_t number : {5U, 6U}) {
        EXPECT_FALSE(reader.at_number(number));
    }
    EXPECT_EQ(number_of(reader.at_number(1)), 1U);
}

TEST_F(bad_files, are_passed_over_by_an_inspection)
{
    const std::string gone = good("a.raw", {1, 2});
    const std::string there = good("b.raw", {3, 4});
    const auto data = trox::data_set::open_files({gone, there});
    const auto whole = data.inspect(0);
    EXPECT_TRUE(whole.skipped_files.empty());
    std::filesystem::remove(gone);
    const trox::channel_details details = data.inspect(0);
    EXPECT_EQ(details.kind, trox::channel_kind::single_values);
    EXPECT_EQ(details.stored_bytes, whole.stored_bytes / 2);
    ASSERT_EQ(details.skipped_files.size(), 1U);
    EXPECT_EQ(details.skipped_files[0].path, gone);
    EXPECT_THAT(details.skipped_files[0].reason, HasSubstr("No such file"));

    for (const trox::error& failure : {error_of([&] { data.inspect(1); }), error_of([&] { data.stamps({0, 1}); })}) {
        EXPECT_EQ(failure.why(), fault::wrong_use);
        EXPECT_EQ(failure.reason(), "there is no channel 1, of 1 counted from 0");
    }
}

/// Runs 7 and 8 of one stream, of three events each; the catalogue file of run 8 is cut.
class damaged_catalogues : public testing::Test
{
protected:
    damaged_catalogues()
    {
        for (const int run : {7, 8}) {
            tw::run_settings settings;
            settings.data_directory = place_.catalogue;
            settings.catalogue_directory = place_.catalogue;
            settings.run = {"linac", "main", run};
            settings.format = tw::generation::v2010;
            tw::run_writer writer(settings);
            const auto channel = writer.add_channel("T/A");
            for (int i = 1; i <= 3; ++i) {
                const auto number = static_cast<std::uint64_t>(run * 100 + i);
                writer.begin_event({number, stamp_of(tenth(number))});
                writer.begin_server_block({"SVR"});
                writer.add_record(channel, tw::spectrum_payload(settings.format, TROX_BLOCK_1CHAN_2010, {1.0F}));
                writer.end_event();
            }
            writer.finish();
        }
        for (const auto& entry : std::filesystem::directory_iterator(place_.catalogue)) {
            const std::string path = entry.path();
            damaged_ = path.find("run8") != std::string::npos && entry.path().extension() == ".xml" ? path : damaged_;
        }
        std::filesystem::resize_file(damaged_, 20);
    }

    trox_test::temp_directory directory_;
    trox::run_place place_{directory_.file(""), {directory_.file("")}, {}, {}};
    std::string damaged_;
};

TEST_F(damaged_catalogues, are_named_beside_the_runs_that_are_found)
{
    std::vector<trox::skipped_file> damaged;
    const auto runs = trox::find_runs(place_, {}, &damaged);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].number, 7);
    ASSERT_EQ(damaged.size(), 1U);
    EXPECT_EQ(damaged[0].path, damaged_);
    EXPECT_THAT(damaged[0].reason, HasSubstr("the catalogue file cannot be read: "));
    const auto damaged_among = [&](const trox::run_query& query, const trox::run_place& place) {
        std::vector<trox::skipped_file> found;
        trox::find_runs(place, query, &found);
        return found.size();
    };
    EXPECT_EQ(damaged_among({7, 7, {}, {}}, place_), 0U);
    EXPECT_EQ(damaged_among({8, 8, {}, {}}, place_), 1U);
    EXPECT_EQ(damaged_among({{}, {}, tenth(0), tenth(750)}, place_), 0U);
    EXPECT_EQ(damaged_among({{}, {}, tenth(750), tenth(900)}, place_), 1U);
    trox::run_place other = place_;
    other.stream = "other";
    EXPECT_EQ(damaged_among({}, other), 0U);
}

TEST_F(damaged_catalogues, are_skipped_files_of_a_period_and_refuse_their_run)
{
    const auto data = trox::data_set::open_period(place_, tenth(0), tenth(900));
    EXPECT_EQ(data.files().size(), 1U);
    ASSERT_EQ(data.skipped_files().size(), 1U);
    EXPECT_EQ(data.skipped_files()[0].path, damaged_);
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (numbers{701, 702, 703}));
    EXPECT_EQ(reader.report().skipped_files.size(), 1U);

    for (const trox::error& failure : {error_of([&] {
                                           trox::data_set::open_period(place_, tenth(0), tenth(900), {false, 64});
                                       }),
                                       error_of([&] { trox::data_set::open_period(place_, tenth(750), tenth(900)); }),
                                       error_of([&] { trox::data_set::open_run(place_, 8); })}) {
        EXPECT_EQ(failure.why(), fault::bad_file);
        EXPECT_EQ(failure.where().file, damaged_);
    }
    EXPECT_EQ(trox::data_set::open_run(place_, 7).files().size(), 1U);
}

TEST_F(bad_files, that_are_cut_while_they_are_read_give_gaps_and_no_fault)
{
    // Large enough that not all of it is read ahead.
    numbers all(2000);
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i] = i + 1;
    }
    const std::string cut = good("a.raw", all);
    trox::event_reader reader(trox::data_set::open_files({cut}), {}, {std::size_t{64} << 10, 1, true});
    EXPECT_EQ(number_of(reader.next()), 1U);
    std::filesystem::resize_file(cut, 1000);
    std::size_t delivered = 1;
    while (reader.next()) {
        ++delivered;
    }
    EXPECT_LT(delivered, all.size());
    const trox::reading_report& report = reader.report();
    EXPECT_EQ(report.events, delivered);
    EXPECT_GT(report.skipped_records.size() + report.skipped_files.size(), 0U);
    for (const trox::skipped_record& record : report.skipped_records) {
        EXPECT_EQ(record.reason, "its file was cut while it was read");
    }
}

TEST_F(bad_files, whose_descriptors_run_out_are_still_read_one_by_one)
{
    std::vector<std::string> paths;
    numbers all;
    for (std::uint64_t i = 0; i < 20; ++i) {
        paths.push_back(good("f" + std::to_string(i) + ".raw", {2 * i + 1, 2 * i + 2}));
        all.push_back(2 * i + 1);
        all.push_back(2 * i + 2);
    }
    trox::event_reader reader(trox::data_set::open_files(paths, {true, 1}), {});
    const auto open_descriptors = [] {
        const std::filesystem::directory_iterator list("/proc/self/fd");
        return std::distance(begin(list), end(list));
    };
    const auto before = open_descriptors();
    numbers found;
    std::ptrdiff_t most = 0;
    for (const trox::event& event : reader) {
        found.push_back(event.number());
        most = std::max(most, open_descriptors() - before);
    }
    EXPECT_EQ(found, all);
    EXPECT_LE(most, 3); // the one that may be open, and those that a record on its way keeps
}

} // namespace
