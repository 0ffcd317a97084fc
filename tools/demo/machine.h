// A small simulated linac: what each of its channels records for each machine event. Everything is computed from
// the event's index, so that what was read can be checked against what must have been written.
#ifndef TROX_DEMO_MACHINE_H
#define TROX_DEMO_MACHINE_H

#include "trox_writer.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace trox_demo
{

namespace tw = trox::writer;

enum class channel {
    charge,
    probe,
    forward,
    orbit,
    gradients,
    energy,
    screen,
    laser_spot,
    feedback,
    oscillator,
    quadrupole,
    vacuum,
    rack,
};
inline constexpr std::size_t channel_count = 13;
inline constexpr std::array<channel, channel_count> all_channels{
    channel::charge,     channel::probe,  channel::forward,    channel::orbit,    channel::gradients,
    channel::energy,     channel::screen, channel::laser_spot, channel::feedback, channel::oscillator,
    channel::quadrupole, channel::vacuum, channel::rack};

constexpr std::size_t index_of(channel of) noexcept
{
    return static_cast<std::size_t>(of);
}

/// The rack's index in the environment dictionary.
inline constexpr std::int32_t rack_index = 17;

/// What does not change from event to event.
struct channel_facts {
    const char* name;
    const char* title; ///< heading of a table column
    const char* unit;
    const char* text;
    const char* server;
    std::int32_t event_type; ///< a TROX_EVTYPE
};
const channel_facts& facts(channel of);

/// The channel's entry in a data file.
tw::channel_settings settings(channel of);

/// How the channel's record of an event is stored: LZO only where the build has it.
tw::storage storage(channel of, int event);

/// A slow channel records changes only and keeps its value in between.
bool is_slow(channel of);

/// Whether the channel has a record in an event.
bool has_record(channel of, int event);

/// The latest event, up to and including `event`, in which the channel has a record.
std::optional<int> latest_record(channel of, int event);

/// What is written, in host order; and what a reader delivers for it, which differs for environment records.
tw::payload written(channel of, int event);
tw::payload delivered(channel of, int event);

std::uint32_t event_number(int event);
/// Time of a record: cameras and slow channels answer some milliseconds after the machine event.
time_stamp record_time(channel of, int event);
time_stamp event_time(std::int32_t event_type, int event);

} // namespace trox_demo

#endif
