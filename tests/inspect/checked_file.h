// A small file of every kind of record, whose bytes a test changes before it is checked.
#ifndef TROX_TESTS_INSPECT_CHECKED_FILE_H
#define TROX_TESTS_INSPECT_CHECKED_FILE_H

#include "channel_types.h"
#include "data_file.h"
#include "doctor.h"
#include "temp_directory.h"
#include "trox_writer.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace inspect_test
{

namespace ti = trox::inspect;
namespace tw = trox::writer;

inline constexpr std::uint32_t first_number = 1000;
inline constexpr std::uint32_t first_second = 1'339'666'200;
inline constexpr int event_count = 3;

/// Dictionary order.
enum channel : std::size_t {
    zlib_trace,
    lzo_trace,
    plain_trace,
    names,
    slow,
    environment,
    picture,
    wide_picture,
    text,
    no_records,
    channel_count
};
inline const std::vector<std::string> channel_names{"T/ZLIB", "T/LZO",     "T/PLAIN", "T/NAMES", "T/SLOW",
                                                    "T/ENV",  "T/PICTURE", "T/WIDE",  "T/TEXT",  "T/NONE"};

template <class T> void write_event(tw::file_writer& file, int event)
{
    const auto id = [](channel one) { return static_cast<tw::channel_id>(one); };
    const std::uint32_t number = first_number + static_cast<std::uint32_t>(event);
    const time_stamp time{first_second + static_cast<std::uint32_t>(event), 250'000};
    file.begin_event({number, time});
    file.begin_server_block({"SVR.1", {}, {}, 0, 0});
    for (const channel one : {zlib_trace, lzo_trace, plain_trace}) {
        std::vector<float> samples(32);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = static_cast<float>(i % 7) + static_cast<float>(event);
        }
        file.add_record(id(one), tw::spectrum_payload(T::format, T::trace_type, samples));
    }
    file.begin_server_block({"SVR.2", {}, {}, 0, 0});
    file.add_record(id(names), tw::name_value_payload(event, "settings", {{"A", 1.0F}, {"B", 2.0F}}));
    const std::vector<unsigned char> pixels(24, 7);
    trox_image_frame_head small{};
    small.w = 4;
    small.h = 3;
    small.bpp = 2;
    small.length = static_cast<std::int32_t>(pixels.size());
    file.add_record(id(picture), tw::image_payload(small, {pixels.data(), pixels.size()}));
    trox_image_ext_frame_head extended{};
    extended.aoi_width = 4;
    extended.aoi_height = 3;
    extended.bpp = 2;
    extended.length = static_cast<std::int32_t>(pixels.size());
    file.add_record(id(wide_picture), tw::image_payload(extended, {pixels.data(), pixels.size()}));
    file.add_record(id(text), tw::control_payload("closed", time));
    file.end_event();
    const float value = static_cast<float>(event);
    file.begin_event({number, {time.timeup, time.timelow + 5000}, TROX_EV_UPD});
    file.begin_server_block({"SLOW", {}, {}, 0, 0});
    file.add_record(id(slow), tw::update_payload(T::format, channel_names[slow], value, time));
    file.end_event();
    file.begin_event({number, {time.timeup, time.timelow + 6000}, TROX_EV_ENV});
    file.begin_server_block({"SLOW", {}, {}, 0, 0});
    file.add_record(id(environment), tw::environment_payload(5, value, time));
    file.end_event();
}

/// The channels of the file; `T/ENV` has index 5 in the environment dictionary.
inline void add_channels(tw::file_writer& file)
{
    for (std::size_t i = 0; i < channel_count; ++i) {
        tw::channel_settings settings;
        settings.name = channel_names[i];
        settings.stored = i == zlib_trace                   ? tw::storage::zlib
                          : i == lzo_trace && tw::has_lzo() ? tw::storage::lzo
                                                            : tw::storage::plain;
        settings.description = tw::channel_description{};
        if (i == environment) {
            settings.environment_index = 5;
        }
        file.add_channel(settings);
    }
}

template <class T> trox_test::data_file<T> make_file(const std::string& path, const tw::layout_options& layout = {})
{
    tw::file_options options;
    options.replace_existing = true;
    options.layout = layout;
    tw::file_writer file(path, T::format, options);
    add_channels(file);
    for (int event = 0; event < event_count; ++event) {
        write_event<T>(file, event);
    }
    return {path, file.finish()};
}

/// Writes the file anew. One that is overwritten would be brought to the disk each time it is closed.
template <class T> void write_anew(const trox_test::data_file<T>& file, const std::string& path)
{
    std::filesystem::remove(path);
    file.write(path);
}

/// One line per code and count, as a test compares them.
inline std::string codes_of(const ti::check_report& report)
{
    std::string text;
    for (const auto& [code, count] : report.counts) {
        text += std::string(text.empty() ? "" : ", ") + ti::info_of(code).name +
                (count == 1 ? "" : " x" + std::to_string(count));
    }
    return text;
}

} // namespace inspect_test

#endif
