// Damage all over: a small file cut at every 64th byte, and with bytes flipped. What comes back is what was there, and
// a recovery that misses something says so.
#include "recovered_file.h"

#include "trox_writer.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

using namespace recover_test;

namespace
{

constexpr std::uint64_t events = 6;

bool is_legacy(tw::generation format)
{
    return format == tw::generation::legacy;
}

// Traces compressed and plain, a slow value, an environment value; two servers, three types of events.
tw::file_map write_small(const std::string& path, tw::generation format)
{
    tw::file_writer file(path, format);
    const auto zipped = file.add_channel("T/ZLIB", tw::storage::zlib);
    const auto plain = file.add_channel("T/PLAIN");
    const auto slow = file.add_channel("T/SLOW:1");
    tw::channel_settings settings;
    settings.name = "T/ENV";
    settings.key = 77;
    settings.environment_index = 3;
    settings.description = tw::channel_description{};
    const auto environment = file.add_channel(settings);
    const int trace = is_legacy(format) ? TROX_BLOCK_SINGLE : TROX_BLOCK_1CHAN_2010;
    for (std::uint64_t i = 0; i < events; ++i) {
        const time_stamp time{1700000000, static_cast<std::uint32_t>(100000 * i)};
        std::vector<float> values;
        for (std::uint64_t k = 0; k < 8 + 3 * i; ++k) {
            values.push_back(static_cast<float>((k * (i + 3)) % 11));
        }
        file.begin_event({5000 + i, time, TROX_EV_NORMAL, 1, 2});
        file.begin_server_block({"FAST.A", {}, {}, 3, 4});
        file.add_record(zipped, tw::spectrum_payload(format, trace, values));
        file.begin_server_block({"FAST.B", {}, {}, 5, 6});
        file.add_record(plain, tw::spectrum_payload(format, trace, {static_cast<float>(i), 2, 3}), 0x1000);
        file.end_event();
        const time_stamp later{time.timeup, time.timelow + 7000};
        file.begin_event({5000 + i, later, TROX_EV_UPD});
        file.begin_server_block({"SLOW", {}, {}, 0, 0});
        file.add_record(slow, tw::update_payload(format, "T/SLOW:1", static_cast<float>(i), later));
        file.end_event();
        if (i % 3 == 0) {
            file.begin_event({5000 + i, {later.timeup, later.timelow + 1}, TROX_EV_ENV});
            file.begin_server_block({"SLOW", {}, {}, 0, 0});
            file.add_record(environment, tw::environment_payload(3, static_cast<float>(i), later));
            file.end_event();
        }
    }
    return file.finish();
}

struct range {
    std::uint64_t position, length;
    bool holds(std::uint64_t byte) const
    {
        return byte >= position && byte - position < length;
    }
};

class small_file : public testing::TestWithParam<std::tuple<tw::generation, std::size_t>>
{
protected:
    static constexpr std::size_t slices = 4;

    void SetUp() override
    {
        map_ = write_small(path_, format_);
        whole_ = writer_test::read_file(path_);
        original_ = parse(path_);
        ASSERT_EQ(original_.records.size(), 3 * events + 2);
    }

    tr::report recover(const bytes& content)
    {
        write_bytes(damaged_, content);
        tr::recover_options options;
        options.replace_existing = true;
        options.generation = format_;
        return tr::recover_file(damaged_, recovered_, options);
    }

    // The record's own bytes, and its event header and server block head.
    bool touches(std::uint64_t byte, const full_record& one) const
    {
        const auto& sizes =
            format_ == tw::generation::v2024 ? sizes_2024 : (is_legacy(format_) ? sizes_legacy : sizes_2010);
        const range ranges[] = {{one.record.event_position, sizes[0]},
                                {one.record.block_position, sizes[1]},
                                {one.record.head_position, static_cast<std::uint64_t>(one.record.ldata)},
                                {one.record.data_position, one.record.payload.size()}};
        return std::any_of(std::begin(ranges), std::end(ranges), [&](const range& at) { return at.holds(byte); });
    }

    // What is wrong with a recovery after one byte was changed; empty when nothing is.
    std::string check_flipped(std::uint64_t byte, const tr::report& report) const
    {
        if (report.end == tr::outcome::nothing) {
            return "nothing is recovered: " + report.failure;
        }
        const auto now = parse(recovered_);
        full_file untouched = now;
        full_file before = original_;
        for (const auto& [name, record] : original_.records) {
            if (touches(byte, record)) {
                before.records.erase(name);
            }
        }
        for (auto one = untouched.records.begin(); one != untouched.records.end();) {
            const bool is_damaged = original_.records.count(one->first) > 0 && before.records.count(one->first) == 0;
            one = is_damaged ? untouched.records.erase(one) : std::next(one);
        }
        // A record of an event whose number or type was changed may stand under another name.
        for (auto one = untouched.records.begin(); one != untouched.records.end();) {
            const auto touched_twin =
                std::any_of(original_.records.begin(), original_.records.end(), [&](const auto& twin) {
                    return std::get<0>(twin.first) == std::get<0>(one->first) && touches(byte, twin.second) &&
                           now.records.count(twin.first) == 0 &&
                           twin.second.record.payload == one->second.record.payload;
                });
            one = before.records.count(one->first) == 0 && touched_twin ? untouched.records.erase(one) : std::next(one);
        }
        // A reader looks at one bit of the zip flags, the parser of these tests at all of them.
        const auto is_zipped_and_touched = [&](const auto& one) {
            return one.second.record.zip_flags != 0 && touches(byte, one.second);
        };
        // Masks of the dictionary are kept as they are, too: they may have more bits than the records.
        const range dictionary{map_.channel_dictionary.position, map_.channel_dictionary.length};
        if (dictionary.holds(byte) ||
            std::any_of(original_.records.begin(), original_.records.end(), is_zipped_and_touched)) {
            untouched.file.problems.clear();
        }
        comparison what;
        what.keys = false;
        auto differences = find_differences(before, untouched, what);
        if (dictionary.holds(byte)) {
            differences.erase(std::remove_if(differences.begin(), differences.end(),
                                             [](const std::string& text) { return text.rfind("channel ", 0) == 0; }),
                              differences.end());
        }
        const auto missing = missing_records(before, now);
        if (!differences.empty()) {
            return differences.front();
        }
        if (!missing.empty()) {
            return std::get<0>(missing.front()) + " of event " + std::to_string(std::get<1>(missing.front())) +
                   " is lost (" + (report.lost_records.empty() ? "" : report.lost_records.front().reason) + ")" +
                   (report.end == tr::outcome::complete ? ", and not told" : "");
        }
        const auto lost = missing_records(original_, now);
        return !lost.empty() && report.end == tr::outcome::complete ? "a loss is not told" : "";
    }

    static constexpr std::uint64_t sizes_legacy[] = {36, 76};
    static constexpr std::uint64_t sizes_2010[] = {36, 284};
    static constexpr std::uint64_t sizes_2024[] = {48, 304};

    const tw::generation format_ = std::get<0>(GetParam());
    writer_test::scratch_directory directory_;
    const std::string path_ = directory_.path("whole.raw");
    const std::string damaged_ = directory_.path("damaged.raw");
    const std::string recovered_ = directory_.path("recovered.raw");
    tw::file_map map_;
    bytes whole_;
    full_file original_;
};

TEST_P(small_file, cut_anywhere_gives_back_nothing_but_what_was_there)
{
    const auto slice = std::get<1>(GetParam());
    for (std::size_t length = 64 * slice; length < whole_.size(); length += 64 * slices) {
        SCOPED_TRACE("cut at " + std::to_string(length));
        const auto report = recover(bytes(whole_.begin(), whole_.begin() + static_cast<std::ptrdiff_t>(length)));
        if (report.end == tr::outcome::nothing) {
            EXPECT_LT(length, map_.event_headers.position + 2 * 48) << report.failure;
            continue;
        }
        const auto now = parse(recovered_);
        comparison what;
        what.keys = false;
        EXPECT_EQ(find_differences(original_, now, what), std::vector<std::string>());
        const auto missing = missing_records(original_, now);
        EXPECT_TRUE(missing.empty() || report.end == tr::outcome::partial);
        // Only the trailer, or the tables of names and descriptions, can be cut off without a record being lost.
        if (length >= map_.references.position + map_.references.length) {
            EXPECT_EQ(report.end, tr::outcome::complete);
            EXPECT_TRUE(missing.empty());
        }
    }
}

TEST_P(small_file, with_a_byte_flipped_gives_back_all_that_the_byte_does_not_touch)
{
    std::string wrong;
    for (std::size_t byte = std::get<1>(GetParam()); byte < whole_.size() && wrong.empty(); byte += 5 * slices) {
        auto content = whole_;
        content[byte] ^= 0xFFU;
        wrong = check_flipped(byte, recover(content));
        if (!wrong.empty()) {
            wrong = "byte " + std::to_string(byte) + ": " + wrong;
        }
    }
    EXPECT_EQ(wrong, "");
}

TEST_P(small_file, with_a_bit_flipped_gives_back_all_that_the_byte_does_not_touch)
{
    std::string wrong;
    for (std::size_t byte = std::get<1>(GetParam()) + 1; byte < whole_.size() && wrong.empty(); byte += 5 * slices) {
        auto content = whole_;
        content[byte] ^= 1U;
        wrong = check_flipped(byte, recover(content));
        if (!wrong.empty()) {
            wrong = "byte " + std::to_string(byte) + ": " + wrong;
        }
    }
    EXPECT_EQ(wrong, "");
}

INSTANTIATE_TEST_SUITE_P(recover, small_file,
                         testing::Combine(testing::ValuesIn(generations),
                                          testing::Range(std::size_t{0}, std::size_t{4})),
                         [](const auto& tested) {
                             return generation_name(std::get<0>(tested.param)) + "_" +
                                    std::to_string(std::get<1>(tested.param));
                         });

} // namespace
