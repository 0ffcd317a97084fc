// Typed values of every record of the sample runs, against what the runs hold.
#include "event_texts.h"
#include "sample_files.h"
#include "sha256.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <tuple>

namespace
{

using namespace layer_test;
using namespace trox_test;
using nlohmann::json;
using trox::channel_kind;

constexpr const char* position = "LINAC.DIAG/BPM/12.L2/XY";
constexpr const char* groups = "LINAC.DIAG/DUMP/2.EN/GEN";
constexpr const char* charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";

trox::time_point time_of(const json& time)
{
    return trox::time_point(std::chrono::seconds(time.at(0).get<std::int64_t>()) +
                            trox::microseconds(time.at(1).get<std::int64_t>()));
}

std::vector<std::string> sample_paths(sample_generation generation)
{
    std::vector<std::string> paths = sample_names(generation);
    for (std::string& path : paths) {
        path.insert(0, sample_directory(generation));
    }
    return paths;
}

// --- one kind each --------------------------------------------------------------------------------------

void expect_samples(const json& expected, const trox::sample_view& samples)
{
    EXPECT_TRUE(samples.is_contiguous());
    if (expected.is_array()) {
        ASSERT_EQ(samples.size(), expected.size());
        for (std::size_t i = 0; i < samples.size(); ++i) {
            EXPECT_EQ(samples[i], expected[i].get<float>()) << i;
        }
        return;
    }
    ASSERT_EQ(samples.size(), expected.at("n").get<std::size_t>());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(samples[i], expected.at("first")[i].get<float>());
    }
    EXPECT_EQ(samples[samples.size() - 1], expected.at("last").get<float>());
    EXPECT_EQ(sha256(samples.data(), samples.size() * sizeof(float)).substr(0, 12),
              expected.at("sha").get<std::string>());
}

void expect_statistics(const json& expected, const std::optional<trox::statistics_view>& found)
{
    ASSERT_TRUE(found);
    EXPECT_EQ(found->mask, expected.at(0).get<std::uint32_t>());
    const json& values = expected.at(1);
    ASSERT_LE(values.size(), found->values.size());
    for (std::size_t i = 0; i < found->values.size(); ++i) {
        EXPECT_EQ(found->values[i], i < values.size() ? values[i].get<float>() : 0.0F) << i;
    }
}

/// Samples that a window leaves, and their axis, by arithmetic.
void expect_window(const trox::record& record, std::size_t member, const trox::sample_window& window)
{
    const auto whole = record.trace(member);
    const auto cut = record.trace(member, window);
    ASSERT_TRUE(whole && cut);
    std::vector<float> expected;
    for (std::size_t i = window.first; i < whole->samples.size() && expected.size() < window.count; i += window.step) {
        expected.push_back(whole->samples[i]);
    }
    EXPECT_EQ(std::vector<float>(cut->samples.begin(), cut->samples.end()), expected);
    EXPECT_EQ(cut->groups, 1U);
    EXPECT_EQ(cut->group_size, expected.size());
    EXPECT_EQ(cut->increment, whole->increment * static_cast<double>(window.step));
    if (!expected.empty()) {
        const std::size_t group = window.first / whole->group_size;
        const std::size_t in_group = window.first % whole->group_size;
        EXPECT_EQ(cut->start, whole->start + static_cast<double>(group) * whole->group_increment +
                                  static_cast<double>(in_group) * whole->increment);
    }
}

void expect_trace(const json& v, const trox::record& record)
{
    const auto members = v.at("nmemb").get<std::size_t>();
    const std::size_t samples = v.at("nsamp").get<std::size_t>() * v.at("groups").get<std::size_t>();
    EXPECT_EQ(record.kind(), v.contains("roi") ? channel_kind::region_of_interest
                             : samples > 1     ? channel_kind::trace
                                               : channel_kind::single_values);
    ASSERT_EQ(record.members(), members);
    for (std::size_t member = 0; member < members; ++member) {
        const auto trace = record.trace(member);
        ASSERT_TRUE(trace);
        EXPECT_EQ(trace->group_size, v.at("nsamp").get<std::size_t>());
        EXPECT_EQ(trace->groups, v.at("groups").get<std::size_t>());
        EXPECT_EQ(trace->start, static_cast<double>(v.at("start").get<float>()));
        EXPECT_EQ(trace->increment, static_cast<double>(v.at("inc").get<float>()));
        EXPECT_EQ(trace->group_increment, static_cast<double>(v.at("ginc").get<float>()));
        expect_samples(v.at("memb").at(member), trace->samples);
        if (v.contains("stat")) {
            expect_statistics(v.at("stat").at(member), trace->statistics);
        } else {
            EXPECT_FALSE(trace->statistics);
        }
        expect_window(record, member, {1, 3, 1});
        expect_window(record, member, {2, 5, 2});
        expect_window(record, member, {samples - 1, 10, 1});
        expect_window(record, member, {samples, 1, 1});
        expect_window(record, member, {samples + 100, static_cast<std::size_t>(-1), 7});
        expect_window(record, member, {0, static_cast<std::size_t>(-1), static_cast<std::size_t>(-1)});
        expect_window(record, member, {0, 0, 1});
    }
    EXPECT_FALSE(record.trace(members));
    EXPECT_FALSE(record.trace(static_cast<std::size_t>(-1)));
    EXPECT_EQ(record.region_of_interest().has_value(), v.contains("roi"));
    if (v.contains("roi")) {
        const auto region = *record.region_of_interest();
        EXPECT_EQ(json({region.x, region.y, region.width, region.height}), v.at("roi"));
    }
}

void expect_slow(const json& v, const trox::record& record)
{
    EXPECT_EQ(record.kind(), channel_kind::slow);
    const auto slow = record.slow();
    ASSERT_TRUE(slow);
    EXPECT_EQ(slow->value, v.at("value").get<float>());
    EXPECT_EQ(slow->status, v.at("status").get<int>());
    EXPECT_EQ(slow->time, time_of(v.at("time")));
    EXPECT_EQ(record.number(), static_cast<double>(v.at("value").get<float>()));
}

void expect_list(const json& v, const trox::record& record)
{
    EXPECT_EQ(record.kind(), channel_kind::name_value);
    const auto list = record.values();
    ASSERT_TRUE(list);
    EXPECT_EQ(list->id, v.at("id").get<int>());
    EXPECT_EQ(list->comment, v.at("comment").get<std::string>());
    ASSERT_EQ(list->entries.size(), v.at("items").size());
    for (std::size_t i = 0; i < list->entries.size(); ++i) {
        EXPECT_EQ(list->entries[i].name, v.at("items").at(i).at(0).get<std::string>());
        const float expected = v.at("items").at(i).at(1).get<float>();
        EXPECT_EQ(list->entries[i].value, expected);
        EXPECT_EQ(std::signbit(list->entries[i].value), std::signbit(expected));
    }
}

/// Width, height, bytes per pixel, x and y of an image.
std::array<std::int64_t, 5> shape_of(const json& v)
{
    if (v.at("k") == "imgx") {
        const json& fields = v.at("fields");
        return {fields.at("aoi_width"), fields.at("aoi_height"), fields.at("bpp"), fields.at("x_start"),
                fields.at("y_start")};
    }
    // The upper halves hold the place on the chip.
    const std::int64_t w = v.at("w");
    const std::int64_t h = v.at("h");
    return {w % 65536, h % 65536, std::max<std::int64_t>(v.at("bpp").get<std::int64_t>() % 16, 1), w / 65536,
            h / 65536};
}

void expect_image(const json& v, const trox::record& record)
{
    EXPECT_EQ(record.kind(), channel_kind::image);
    const auto image = record.image();
    ASSERT_TRUE(image);
    const auto shape = shape_of(v);
    EXPECT_EQ((std::array<std::int64_t, 5>{image->width, image->height, image->bytes_per_pixel, image->x, image->y}),
              shape);
    EXPECT_EQ(image->frame, v.at("k") == "imgx" ? v.at("fields").at("frame") : v.at("frame"));
    ASSERT_EQ(image->pixels.size(), static_cast<std::size_t>(shape[0] * shape[1] * shape[2]));
    ASSERT_TRUE(v.at("match").get<bool>()); // all pixels of the samples' images are there
    EXPECT_EQ(sha256(image->pixels.data(), image->pixels.size()), v.at("pixels_sha256").get<std::string>());
    EXPECT_EQ(image->pixel_count(), static_cast<std::size_t>(shape[0] * shape[1]));
    for (std::size_t i = 0; i < image->pixel_count(); ++i) {
        std::uint32_t expected = 0;
        for (std::int64_t byte = 0; byte < shape[2]; ++byte) {
            const auto at = i * static_cast<std::size_t>(shape[2]) + static_cast<std::size_t>(byte);
            expected = 256 * expected + static_cast<std::uint32_t>(image->pixels[at]);
        }
        ASSERT_EQ(image->value(i), expected) << i;
    }
    EXPECT_EQ(image->value(image->pixel_count()), 0U);
}

void expect_control(const json& v, const trox::record& record)
{
    EXPECT_EQ(record.kind(), channel_kind::control_value);
    const auto control = record.control();
    ASSERT_TRUE(control);
    EXPECT_EQ(control->type, v.at("type").get<int>());
    EXPECT_EQ(control->status, v.at("status").get<int>());
    EXPECT_EQ(control->time, time_of(v.at("time")));
    const json& value = v.at("value");
    EXPECT_EQ(control->text.has_value(), value.is_object());
    if (value.is_object()) {
        EXPECT_EQ(*control->text, value.at("text").get<std::string>());
        EXPECT_TRUE(control->floats.empty() && control->integers.empty());
        EXPECT_FALSE(record.number());
        return;
    }
    ASSERT_EQ(control->floats.size() + control->integers.size(), value.size());
    for (std::size_t i = 0; i < control->floats.size(); ++i) {
        EXPECT_EQ(control->floats[i], value[i].get<float>());
    }
    for (std::size_t i = 0; i < control->integers.size(); ++i) {
        EXPECT_EQ(control->integers[i], value[i].get<std::int32_t>());
    }
    EXPECT_EQ(record.number().has_value(), value.size() == 1);
    if (value.size() == 1) {
        EXPECT_EQ(*record.number(), control->floats.empty() ? value[0].get<double>() : value[0].get<float>());
    }
}

void expect_values(const json& v, const trox::record& record)
{
    const std::string kind = v.at("k");
    const bool is_slow = kind == "upd" || kind == "env";
    const bool is_image = kind == "img" || kind == "imgx";
    // Each operation answers its own kind only.
    EXPECT_EQ(record.slow().has_value(), is_slow);
    EXPECT_EQ(record.image().has_value(), is_image);
    EXPECT_EQ(record.values().has_value(), kind == "nv");
    EXPECT_EQ(record.control().has_value(), kind == "eq");
    EXPECT_EQ(record.trace().has_value(), kind == "spect");
    EXPECT_EQ(record.members() > 0, kind == "spect");
    if (is_slow) {
        expect_slow(v, record);
    } else if (is_image) {
        expect_image(v, record);
    } else if (kind == "nv") {
        expect_list(v, record);
    } else if (kind == "eq") {
        expect_control(v, record);
    } else {
        ASSERT_EQ(kind, "spect");
        expect_trace(v, record);
    }
}

// --- all records ----------------------------------------------------------------------------------------

class typed_values : public testing::TestWithParam<sample_generation>
{
protected:
    trox::data_set data_ = trox::data_set::open_files(sample_paths(GetParam()));

    /// The dumps of the run's three files.
    std::vector<json> dumps() const
    {
        std::vector<json> list;
        for (const std::string& name : sample_names(GetParam())) {
            list.push_back(read_dump(name));
        }
        return list;
    }
    trox::event first_event(const std::vector<std::string>& channels) const
    {
        trox::event_reader reader(data_, {named(channels), {}, {}, {}});
        return reader.first().value();
    }
};

TEST_P(typed_values, of_every_record_are_those_of_the_dumps)
{
    std::map<std::tuple<std::string, std::uint64_t, trox::time_point>, json> records;
    for (const json& dump : dumps()) {
        for (const json& channel : dump.at("channels")) {
            for (const json& record : channel.at("records")) {
                records[{channel.at("name"), record.at("ev"), time_of(record.at("t"))}] = record;
            }
        }
    }
    std::map<std::string, int> kinds;
    std::size_t found = 0;
    for (const trox::channel_info& channel : data_.channels()) {
        trox::event_reader reader(data_, {named({channel.name}), {}, {}, {}});
        for (const trox::event& event : reader) {
            const trox::record& record = event[0];
            SCOPED_TRACE(channel.name + " of event " + std::to_string(record.event_number()));
            const auto expected = records.find({channel.name, record.event_number(), record.time()});
            ASSERT_NE(expected, records.end());
            const json& dumped = expected->second;
            EXPECT_EQ(record.event_type(), dumped.at("type").get<int>());
            EXPECT_EQ(record.server(), dumped.at("sb").get<std::string>());
            EXPECT_EQ(record.offset(), dumped.at("pos").at(2).get<std::uint64_t>());
            EXPECT_EQ(record.errors(), dumped.at("out").at("error").get<std::uint32_t>());
            EXPECT_EQ(record.block_type(), dumped.at("out").at("dtype").get<int>());
            expect_values(dumped.at("v"), record);
            ++kinds[dumped.at("v").at("k")];
            ++found;
        }
    }
    EXPECT_EQ(found, records.size());
    EXPECT_EQ(kinds.size(), 7U); // spect, img, imgx, nv, eq, upd, env
}

TEST_P(typed_values, of_members_carry_their_names)
{
    const trox::event event = first_event({position, charge});
    std::vector<std::string> names;
    for (std::size_t i = 0; i < event[0].members(); ++i) {
        names.emplace_back(event[0].trace(i)->name);
    }
    const bool is_legacy = GetParam() == sample_generation::legacy;
    EXPECT_EQ(names, (is_legacy ? std::vector<std::string>{"X", "Y", "SUM", "QUALITY"}
                                : std::vector<std::string>{"CH0", "CH1", "CH2", "CH3"}));
    EXPECT_EQ(event[1].trace()->name, "VALUE");
    EXPECT_FALSE(event[1].number()); // eight samples are not one number
}

TEST_P(typed_values, of_a_sample_in_a_group_stand_at_their_place)
{
    const trox::event event = first_event({groups});
    const auto trace = event[0].trace(1);
    ASSERT_TRUE(trace);
    if (GetParam() == sample_generation::legacy) {
        EXPECT_EQ(trace->groups, 1U);
        return;
    }
    ASSERT_EQ(trace->groups, 3U);
    ASSERT_EQ(trace->group_size, 10U);
    EXPECT_EQ(trace->group_increment, 1000.0);
    // Sample 3 of group 2 on an axis that begins at 120 in steps of 0.5.
    const auto cut = event[0].trace(1, {23, 1, 1});
    ASSERT_TRUE(cut);
    ASSERT_EQ(cut->samples.size(), 1U);
    EXPECT_EQ(cut->samples[0], trace->samples[2 * 10 + 3]);
    EXPECT_EQ(cut->start, 120 + 2 * 1000 + 3 * 0.5);
}

TEST_P(typed_values, outlive_the_reader_the_data_set_and_the_event)
{
    trox::record kept;
    {
        const trox::data_set data = trox::data_set::open_files(sample_paths(GetParam()));
        trox::event_reader reader(data, {named({charge}), {}, {}, {}});
        kept = (*reader.first())[0];
        reader.last();
    }
    const auto trace = kept.trace();
    ASSERT_TRUE(trace);
    const json dumped = dumps().front().at("channels").at(0);
    ASSERT_EQ(dumped.at("name"), charge);
    expect_samples(dumped.at("records").at(0).at("v").at("memb").at(0), trace->samples);
    EXPECT_EQ(kept.file(), sample_paths(GetParam()).front());
    EXPECT_EQ(kept.server(), "DIAG.SVR1");
}

// --- what a data set tells ----------------------------------------------------------------------------------

TEST_P(typed_values, stand_beside_the_descriptions_of_their_channels)
{
    std::map<std::string, std::uint64_t> counts;
    std::map<std::string, std::uint64_t> bytes;
    for (const json& dump : dumps()) {
        for (const json& channel : dump.at("channels")) {
            counts[channel.at("name")] += channel.at("records").size();
            if (!channel.at("records").empty()) {
                bytes[channel.at("name")] += channel.at("basket").at(1).get<std::uint64_t>();
            }
        }
    }
    const json first = dumps().front();
    ASSERT_EQ(data_.channels().size(), counts.size());
    for (const json& descr : first.at("descriptions")) {
        const auto index = data_.find(descr.at("daq_name").get<std::string>());
        ASSERT_TRUE(index);
        const trox::channel_info& channel = data_.channels()[*index];
        EXPECT_EQ(channel.unit, descr.at("units").get<std::string>());
        EXPECT_EQ(channel.description, descr.at("desc").get<std::string>());
        EXPECT_EQ(channel.property, descr.at("prop_name").get<std::string>());
        EXPECT_EQ(channel.server, descr.at("sb_name").get<std::string>());
        EXPECT_EQ(channel.subsystem, descr.at("subsystem").get<std::string>());
        EXPECT_EQ(channel.records, counts.at(channel.name));
        EXPECT_EQ(data_.inspect(*index).stored_bytes, bytes.at(channel.name)) << channel.name;
    }
}

TEST_P(typed_values, are_foretold_by_an_inspection)
{
    const auto inspected = [&](const char* name) { return data_.inspect(data_.find(name).value()); };
    const auto trace = inspected("LINAC.RF/ADC/A07.M1/TRACE.Z");
    EXPECT_EQ(trace.kind, channel_kind::trace);
    EXPECT_EQ(trace.samples, 1024U);
    EXPECT_EQ(trace.groups, 1U);
    EXPECT_EQ(trace.stored_as, trox::compression::zlib);
    EXPECT_EQ(inspected("LINAC.RF/ADC/A07.M2/TRACE.L").stored_as, trox::compression::lzo);
    EXPECT_EQ(inspected("LINAC.RF/ADC/A07.M3/TRACE.P").stored_as, trox::compression::none);
    EXPECT_EQ(inspected(position).members.size(), 4U);
    EXPECT_EQ(inspected("LINAC.DIAG/CAM/SCR.4/IMG").kind, channel_kind::image);
    EXPECT_EQ(inspected("LINAC.DIAG/CAM/SCR.4/ROI1").kind, channel_kind::region_of_interest);
    EXPECT_EQ(inspected("LINAC.CTRL/FB/ORBIT/SETTINGS").kind, channel_kind::name_value);
    EXPECT_EQ(inspected("LINAC.MAG/QUAD/Q5.BC2/I.RBV").kind, channel_kind::slow);
    EXPECT_EQ(inspected("LINAC.ENV/TEMP/RACK.17").kind, channel_kind::slow);
    EXPECT_THROW(data_.inspect(data_.channels().size()), trox::error);
}

TEST_P(typed_values, lie_in_files_whose_contents_are_known)
{
    const auto all = dumps();
    const trox::generation formats[] = {trox::generation::legacy, trox::generation::v2010, trox::generation::v2024};
    ASSERT_EQ(data_.files().size(), all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const trox::file_info& file = data_.files()[i];
        EXPECT_EQ(file.format, formats[static_cast<std::size_t>(GetParam())]);
        EXPECT_EQ(file.size, all[i].at("size").get<std::uint64_t>());
        EXPECT_EQ(file.channels, all[i].at("channels").size());
        ASSERT_EQ(file.events.size(), all[i].at("eit").size());
        for (std::size_t type = 0; type < file.events.size(); ++type) {
            const json& entry = all[i].at("eit").at(type);
            EXPECT_EQ(file.events[type].type, entry.at("event_type").get<int>());
            EXPECT_EQ(file.events[type].count, entry.at("events").size());
            EXPECT_EQ(file.events[type].first_number, entry.at("first").at(0).get<std::uint64_t>());
            EXPECT_EQ(file.events[type].last_number, entry.at("last").at(0).get<std::uint64_t>());
            EXPECT_EQ(file.events[type].first_time, time_of({entry.at("first").at(1), entry.at("first").at(2)}));
            EXPECT_EQ(file.events[type].last_time, time_of({entry.at("last").at(1), entry.at("last").at(2)}));
        }
    }
}

std::string generation_name(const testing::TestParamInfo<sample_generation>& tested)
{
    const char* const names[] = {"legacy", "2010", "2024"};
    return names[static_cast<std::size_t>(tested.param)];
}

INSTANTIATE_TEST_SUITE_P(generations, typed_values,
                         testing::Values(sample_generation::legacy, sample_generation::g2010, sample_generation::g2024),
                         generation_name);

} // namespace
