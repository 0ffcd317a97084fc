#include "scenario.h"

#include "be_bytes.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <unistd.h>

namespace writer_test
{
namespace
{

constexpr std::uint32_t first_second = 1700000000;

time_stamp event_time(int i)
{
    return {first_second + static_cast<std::uint32_t>(i) / 10, static_cast<std::uint32_t>(i) % 10 * 100000 + 17};
}

bool is_legacy(tw::generation format)
{
    return format == tw::generation::legacy;
}

std::vector<float> samples(int seed, int count)
{
    std::vector<float> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(static_cast<float>(seed) * 0.5F + static_cast<float>(i % 7));
    }
    return values;
}

void put_floats(be_bytes& out, const std::vector<float>& values)
{
    for (const float value : values) {
        out.f32(value);
    }
}

std::vector<unsigned char> pixels(int seed, int count)
{
    std::vector<unsigned char> bytes;
    for (int i = 0; i < count; ++i) {
        bytes.push_back(static_cast<unsigned char>(seed + i * 3));
    }
    return bytes;
}

// A payload in host order as the library builds it, and the same typed in file order.
struct both {
    tw::payload host;
    std::vector<unsigned char> file;
};

both trace(tw::generation format, int i)
{
    const auto values = samples(i, 100);
    tw::spectrum_head head;
    head.start = 2;
    head.inc = 0.25F;
    be_bytes file;
    if (is_legacy(format)) {
        file.i32(1).i32(100).f32(2).f32(0.25F);
    } else {
        file.i32(1).i32(100).i32(1).i32(0).f32(2).f32(0.25F).f32(0).u32(0);
    }
    put_floats(file, values);
    const int dtype = is_legacy(format) ? TROX_BLOCK_SINGLE : TROX_BLOCK_1CHAN_2010;
    return {tw::spectrum_payload(format, dtype, values, head), file.bytes()};
}

both members(tw::generation format, int i)
{
    const auto values = samples(i, 24);
    tw::spectrum_head head;
    head.members = 2;
    be_bytes file;
    if (is_legacy(format)) {
        file.i32(2).i32(12).f32(0).f32(1);
    } else {
        head.groups = 3;
        head.group_inc = 5;
        head.code = 77;
        trox_spect_statistics_2010 statistics{};
        statistics.mask = 5;
        statistics.val[2] = 1.5F;
        head.statistics = {statistics, statistics};
        file.i32(2).i32(4).i32(3).i32(77).f32(0).f32(1).f32(5).u32(1);
        for (int k = 0; k < 2; ++k) {
            file.u32(5).f32(0).f32(0).f32(1.5F).zeros(29 * 4);
        }
    }
    put_floats(file, values);
    return {tw::spectrum_payload(format, TROX_BLOCK_GENERIC_SPECT, values, head), file.bytes()};
}

both region(tw::generation format, int i)
{
    const auto values = samples(i, 3);
    be_bytes file;
    file.i32(10).i32(20).i32(300).i32(i);
    if (is_legacy(format)) {
        file.i32(1).i32(3).f32(0).f32(1);
    } else {
        file.i32(1).i32(3).i32(1).i32(0).f32(0).f32(1).f32(0).u32(0);
    }
    put_floats(file, values);
    return {tw::region_payload(format, TROX_BLOCK_IMG_ROI2, {10, 20, 300, i}, values), file.bytes()};
}

both image(tw::generation, int i)
{
    const auto bytes = pixels(i, 35); // an odd number of bytes
    trox_image_frame_head head{};
    head.w = 7;
    head.h = 5;
    head.bpp = 1;
    head.frame = static_cast<std::uint32_t>(i);
    head.event_nm = 0x0102030405060708U;
    be_bytes file;
    file.i32(7).i32(5).i32(1).i32(0).i32(i).i32(0).u64(0x0102030405060708U).i32(35).i32(0).raw(bytes);
    return {tw::image_payload(head, bytes), file.bytes()};
}

both extended_image(tw::generation, int i)
{
    const auto bytes = pixels(i, 12);
    trox_image_ext_frame_head head{};
    head.width = head.aoi_width = 4;
    head.height = head.aoi_height = 3;
    head.bpp = 1;
    head.scale_x = 0.125F;
    head.ispare4 = -1;
    be_bytes file;
    file.i32(4).i32(3).i32(4).i32(3).zeros(8).i32(1).zeros(28).f32(0.125F).zeros(32).i32(-1).i32(12).raw(bytes);
    return {tw::image_payload(head, bytes), file.bytes()};
}

both named_values(tw::generation, int i)
{
    be_bytes file;
    file.i32(i).text("settings", 80).i32(2).text("gain", 80).f32(1.5F).text("offset", 80).f32(-2);
    return {tw::name_value_payload(i, "settings", {{"gain", 1.5F}, {"offset", -2.0F}}), file.bytes()};
}

both control_value(tw::generation, int i)
{
    const time_stamp time = event_time(i);
    be_bytes file;
    const auto head = [&](std::int32_t type, std::int32_t length) {
        file.i32(type).i32(9).u32(time.timeup).u32(time.timelow).i32(length);
    };
    switch (i % 5) {
    case 0:
        head(DATA_FLOAT, 1);
        file.f32(2.5F);
        return {tw::control_payload(2.5F, time, 9), file.bytes()};
    case 1:
        head(DATA_INT, 1);
        file.i32(-3);
        return {tw::control_payload(-3, time, 9), file.bytes()};
    case 2:
        head(DATA_STRING, 6);
        file.text("locked", 6);
        return {tw::control_payload(std::string("locked"), time, 9), file.bytes()};
    case 3:
        head(DATA_A_FLOAT, 2);
        file.f32(1).f32(2);
        return {tw::control_payload(std::vector<float>{1, 2}, time, 9), file.bytes()};
    default:
        head(DATA_A_INT, 2);
        file.i32(7).i32(8);
        return {tw::control_payload(std::vector<std::int32_t>{7, 8}, time, 9), file.bytes()};
    }
}

std::vector<unsigned char> slow_bytes(tw::generation format, const std::string& name, float value, int i)
{
    const auto time = event_time(i);
    be_bytes file;
    file.text(name, is_legacy(format) ? 80 : 256).i32(i).u32(time.timeup).u32(time.timelow).f32(value);
    return file.bytes();
}

both update(tw::generation format, int i)
{
    const auto value = static_cast<float>(i) + 0.5F;
    return {tw::update_payload(format, "TEST.MAG/Q1/I:2", value, event_time(i), i),
            slow_bytes(format, "TEST.MAG/Q1/I:2", value, i)};
}

both begin_of_run(tw::generation format, int i)
{
    return {tw::begin_of_run_payload(format, "TEST.RUN", 1, event_time(i), i), slow_bytes(format, "TEST.RUN", 1, i)};
}

both environment(tw::generation, int i)
{
    const auto time = event_time(i);
    be_bytes file;
    file.i32(4).i32(0).u32(time.timeup).u32(time.timelow).f32(21.5F);
    return {tw::environment_payload(4, 21.5F, time), file.bytes()};
}

// A channel, the events that carry it (type, every how many) and its payloads.
struct scenario_channel {
    std::string name;
    std::string server;
    int event_type;
    int every;
    std::function<both(tw::generation, int)> make;
};

const std::vector<scenario_channel>& channels()
{
    static const std::vector<scenario_channel> all = {
        {"TEST.NONE/NEVER", "DIAG.SVR", TROX_EV_NORMAL, 1000, trace},
        {"TEST.RF/TRACE", "RF.SVR", TROX_EV_NORMAL, 1, trace},
        {"TEST.DIAG/MEMBERS", "DIAG.SVR", TROX_EV_NORMAL, 2, members},
        {"TEST.CTRL/NAMES", "DIAG.SVR", TROX_EV_NORMAL, 3, named_values},
        {"TEST.CTRL/VALUE", "DIAG.SVR", TROX_EV_NORMAL, 1, control_value},
        {"TEST.CAM/IMG", "CAM.SVR", TROX_EV_IMAGE, 4, image},
        {"TEST.CAM/IMGX", "CAM.SVR", TROX_EV_IMAGE, 4, extended_image},
        {"TEST.CAM/ROI", "CAM.SVR", TROX_EV_IMAGE, 4, region},
        {"TEST.MAG/Q1/I:2", "SLOW.SVR", TROX_EV_UPD, 5, update},
        {"TEST.RUN", "SLOW.SVR", TROX_EV_BOR, 39, begin_of_run},
        {"TEST.ENV/T", "SLOW.SVR", TROX_EV_ENV, 7, environment},
    };
    return all;
}

bool carries(const scenario_channel& channel, int i)
{
    return channel.every <= scenario_events && i % channel.every == 0;
}

std::uint32_t error_bits(int i)
{
    return i % 6 == 0 ? TROX_FE_ADC_OVERLOAD : TROX_SB_ERR_OK;
}

void write_event(tw::file_writer& file, tw::generation format, int i, int type)
{
    bool begun = false;
    std::string server;
    for (const auto& channel : channels()) {
        if (channel.event_type != type || !carries(channel, i)) {
            continue;
        }
        if (!begun) {
            file.begin_event({first_number(format) + static_cast<std::uint64_t>(i), event_time(i), type, 5, 6});
            begun = true;
        }
        if (server != channel.server) {
            file.begin_server_block({channel.server, {}, {}, 0, 0});
            server = channel.server;
        }
        const auto both = channel.make(format, i);
        const tw::storage ways[] = {tw::storage::plain, tw::storage::zlib,
                                    tw::has_lzo() ? tw::storage::lzo : tw::storage::zlib};
        tw::record record{both.host.dtype, both.host.bytes, error_bits(i), tw::byte_order::host, {}};
        if (channel.name == "TEST.RF/TRACE" || channel.name == "TEST.CTRL/VALUE") {
            record.stored = ways[i % 3];
        }
        if (i % 4 == 1) {
            record.data = both.file;
            record.order = tw::byte_order::file;
        }
        file.add_record(*file.find_channel(channel.name), record);
    }
    if (begun) {
        file.end_event();
    }
}

tw::channel_settings settings_of(const scenario_channel& channel)
{
    tw::channel_settings settings;
    settings.name = channel.name;
    if (channel.event_type == TROX_EV_ENV) {
        settings.environment_index = 4;
    }
    if (channel.name == "TEST.CAM/IMG") {
        settings.stored = tw::storage::zlib;
        settings.key = 5000;
    }
    if (channel.name == "TEST.DIAG/MEMBERS") {
        tw::channel_description description;
        description.text = "x & y < \"z\" > \xC2\xB5m";
        description.bits = {{3, "ready", "all is ready"}};
        description.dimensions = {{0, "X", "position", "mm", {{1, "mean", "mean value", "mm"}}}};
        settings.description = description;
    }
    return settings;
}

} // namespace

scratch_directory::scratch_directory()
{
    std::string name = (std::filesystem::temp_directory_path() / "trox_writer_XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        std::abort();
    }
    path_ = name;
}

scratch_directory::~scratch_directory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string scratch_directory::path(const std::string& name) const
{
    return name.empty() ? path_.string() : (path_ / name).string();
}

std::vector<std::string> scratch_directory::entries() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::uint64_t first_number(tw::generation format)
{
    return format == tw::generation::v2024 ? 0x500000001U : 1001;
}

tw::file_map write_scenario(const std::string& path, tw::generation format, const tw::file_options& options)
{
    tw::file_writer file(path, format, options);
    for (const auto& channel : channels()) {
        file.add_channel(settings_of(channel));
    }
    for (int i = 0; i < scenario_events; ++i) {
        for (const int type : {TROX_EV_BOR, TROX_EV_NORMAL, TROX_EV_IMAGE, TROX_EV_UPD, TROX_EV_ENV}) {
            write_event(file, format, i, type);
        }
    }
    file.begin_event({first_number(format) + scenario_events, event_time(scenario_events)});
    file.end_event();
    file.begin_event({first_number(format) + scenario_events + 1, event_time(scenario_events + 1)});
    file.begin_server_block({"EMPTY.SVR", time_stamp{5, 6}, 7, 8, 9});
    file.end_event();
    return file.finish();
}

std::vector<expected_record> scenario_records(tw::generation format)
{
    std::vector<expected_record> records;
    for (const auto& channel : channels()) {
        for (int i = 0; i < scenario_events; ++i) {
            if (carries(channel, i)) {
                auto both = channel.make(format, i);
                records.push_back({channel.name, first_number(format) + static_cast<std::uint64_t>(i),
                                   static_cast<std::uint32_t>(channel.event_type), channel.server, both.host.dtype,
                                   error_bits(i), both.file});
            }
        }
    }
    return records;
}

std::vector<std::string> scenario_channels()
{
    std::vector<std::string> names;
    for (const auto& channel : channels()) {
        names.push_back(channel.name);
    }
    return names;
}

} // namespace writer_test
