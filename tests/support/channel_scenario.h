// One small data file for the tests of the channel-reading layer: seven channels with values that arithmetic gives.
#ifndef TROX_TEST_CHANNEL_SCENARIO_H
#define TROX_TEST_CHANNEL_SCENARIO_H

#include "data_file.h"
#include "temp_directory.h"
#include "trox_writer.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace trox_test
{

namespace tw = trox::writer;

/// The scenario's channels, in dictionary order.
enum scenario_channel : std::size_t {
    plain_channel,
    zlib_channel,
    lzo_channel, ///< plain in builds without LZO
    members_channel,
    update_channel,
    environment_channel,
    empty_channel,
    scenario_channels
};

inline constexpr const char* scenario_names[scenario_channels] = {
    "TEST/PLAIN", "TEST/ZLIB", "TEST/LZO", "TEST/MEMBERS", "TEST/UPDATE", "TEST/ENVIRONMENT", "TEST/EMPTY"};

inline constexpr int scenario_events = 10;
inline constexpr std::uint32_t scenario_first_number = 101;
inline constexpr int trace_samples = 64;
inline constexpr int scenario_members = 4;

/// Event `i` of the scenario: number 101 + i at 1000 s + i times 200 ms, the default step.
inline std::uint32_t event_number_of(int i)
{
    return scenario_first_number + static_cast<std::uint32_t>(i);
}
inline time_stamp event_time_of(int i)
{
    constexpr int per_second = 5;
    constexpr std::uint32_t step_us = 200000;
    return {1000 + static_cast<std::uint32_t>(i / per_second), static_cast<std::uint32_t>(i % per_second) * step_us};
}

/// Sample `s` of member `m` of a channel's record `i`.
inline float sample_of(std::size_t channel, int i, int m, int s)
{
    return static_cast<float>(1000 * channel) + 100.0F * static_cast<float>(m) + static_cast<float>(i) +
           static_cast<float>(s) / 64.0F;
}

inline std::vector<float> samples_of(std::size_t channel, int i, int members)
{
    std::vector<float> values;
    for (int m = 0; m < members; ++m) {
        for (int s = 0; s < trace_samples; ++s) {
            values.push_back(sample_of(channel, i, m, s));
        }
    }
    return values;
}

template <class T> struct scenario_options {
    tw::layout_options layout;
    int events = scenario_events;
    std::vector<typename T::event_number> numbers; ///< of the events; empty: 101, 102, ...
    std::vector<time_stamp> times;                 ///< of the events; empty: the default step
    std::string descriptions_xml;
};

/// Writes the scenario: all channels but the empty one in every event; one event type NORMAL.
template <class T> tw::file_map write_scenario(const std::string& path, const scenario_options<T>& options = {})
{
    tw::file_options file_options;
    file_options.layout = options.layout;
    file_options.descriptions_xml = options.descriptions_xml;
    file_options.replace_existing = true;
    tw::file_writer file(path, T::format, file_options);
    const tw::storage lzo = tw::has_lzo() ? tw::storage::lzo : tw::storage::plain;
    const tw::storage stored[scenario_channels] = {tw::storage::plain, tw::storage::zlib,  lzo,
                                                   tw::storage::zlib,  tw::storage::plain, tw::storage::plain,
                                                   tw::storage::plain};
    std::vector<tw::channel_id> channels;
    for (std::size_t channel = 0; channel < scenario_channels; ++channel) {
        channels.push_back(file.add_channel(scenario_names[channel], stored[channel]));
    }
    for (int i = 0; i < options.events; ++i) {
        const auto index = static_cast<std::size_t>(i);
        const time_stamp time = options.times.empty() ? event_time_of(i) : options.times[index];
        const auto number = options.numbers.empty() ? event_number_of(i) : options.numbers[index];
        file.begin_event({number, time});
        file.begin_server_block({"TEST.SVR"});
        for (const std::size_t channel : {plain_channel, zlib_channel, lzo_channel}) {
            file.add_record(channels[channel],
                            tw::spectrum_payload(T::format, T::trace_type, samples_of(channel, i, 1)));
        }
        tw::spectrum_head head;
        head.members = scenario_members;
        file.add_record(channels[members_channel],
                        tw::spectrum_payload(T::format, T::four_member_type,
                                             samples_of(members_channel, i, scenario_members), head));
        const auto value = static_cast<float>(i) + 0.5F;
        file.add_record(channels[update_channel],
                        tw::update_payload(T::format, scenario_names[update_channel], value, time, i));
        file.add_record(channels[environment_channel], tw::environment_payload(1, value, time, i));
        file.end_event();
    }
    return file.finish();
}

/// The scenario on disk and in memory; `rewrite` puts the changed bytes on the disk.
template <class T> class scenario_file
{
public:
    explicit scenario_file(const scenario_options<T>& options = {})
        : path_(directory_.file("scenario.raw")), file_(path_, write_scenario<T>(path_, options))
    {
    }
    /// Writes the file anew.
    void renew(const scenario_options<T>& options)
    {
        file_ = data_file<T>(path_, write_scenario<T>(path_, options));
    }
    const std::string& path() const
    {
        return path_;
    }
    data_file<T>& file()
    {
        return file_;
    }
    void rewrite()
    {
        file_.write(path_);
    }
    std::string other_path(const std::string& name) const
    {
        return directory_.file(name);
    }

private:
    temp_directory directory_;
    std::string path_;
    data_file<T> file_;
};

// --- what a reader must deliver --------------------------------------------------------------------

template <class T> const typename T::subhead* block_of(const typename T::entry& record)
{
    return reinterpret_cast<const typename T::subhead*>(record.sbchdata[0].chhd);
}
template <class T> const typename T::event_header* event_header_of(const typename T::entry& record)
{
    return reinterpret_cast<const typename T::event_header*>(record.sbchdata[0].evhd);
}
template <class T> const typename T::server_block_head* server_block_of(const typename T::entry& record)
{
    return reinterpret_cast<const typename T::server_block_head*>(record.sbchdata[0].sbhd);
}

/// The floats of a block that holds `count` of them behind the spectrum's head; empty when it does not.
template <class T> std::vector<float> floats_of(const typename T::entry& record)
{
    const auto* block = block_of<T>(record);
    if (block == nullptr) {
        return {};
    }
    const auto head = sizeof(typename T::subhead) + T::spectrum_head_size;
    const auto length = static_cast<std::size_t>(block->ldata);
    std::vector<float> values(length < head ? 0 : (length - head) / sizeof(float));
    if (!values.empty()) {
        std::memcpy(values.data(), reinterpret_cast<const unsigned char*>(block) + head, length - head);
    }
    return values;
}

} // namespace trox_test

#endif
