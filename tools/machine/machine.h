// A simulated linac: what each of its channels records for each machine event. Everything is computed from settings,
// channel and event, so that what was read can be checked against what must have been written, and equal settings give
// equal files.
#ifndef TROX_MACHINE_MACHINE_H
#define TROX_MACHINE_MACHINE_H

#include "trox_writer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox_machine
{

namespace tw = trox::writer;

/// What a channel measures.
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

/// One channel of a machine that may have several sets of them, one behind the other along the linac.
struct instance {
    constexpr instance(channel measured, std::uint32_t number = 0) : of(measured), set(number) {}
    channel of;
    std::uint32_t set;
};

/// What does not change from event to event.
struct channel_facts {
    const char* place;       ///< name without the linac
    const char* short_place; ///< the same where names have no more than 31 characters
    const char* title;       ///< heading of a table column
    const char* unit;
    const char* text;
    const char* server;
    std::int32_t event_type; ///< a TROX_EVTYPE
};
const channel_facts& facts(channel of);

/// A slow channel records changes only and keeps its value in between.
bool is_slow(channel of);

/// A rack's index in the environment dictionary.
constexpr std::int32_t rack_index(instance which) noexcept
{
    constexpr std::int32_t first = 17;
    return first + static_cast<std::int32_t>(which.set);
}

inline constexpr std::size_t most_channels = 10000;

struct machine_settings {
    tw::generation format = tw::generation::v2010;
    std::uint64_t seed = 0;               ///< of all that is random
    std::size_t channels = channel_count; ///< 1 to most_channels; the kinds come in turn
    std::optional<tw::storage> stored{};  ///< of all records; else a mix of all there are
};

class machine
{
public:
    explicit machine(const machine_settings& settings = {});

    const machine_settings& settings() const noexcept
    {
        return settings_;
    }
    /// All channels, in the order in which a file lists them.
    const std::vector<instance>& channels() const noexcept
    {
        return channels_;
    }

    std::string name(instance which) const;
    /// The channel's entry in a data file.
    tw::channel_settings entry(instance which) const;
    /// How the channel's record of an event is stored: LZO in a mix only where the build has it.
    tw::storage storage(instance which, int event) const;
    /// Whether the channel has a record in an event; the latest event, up to and including `event`, in which it has.
    bool has_record(instance which, int event) const;
    std::optional<int> latest_record(instance which, int event) const;

    /// What is written, in host order; and what a reader delivers for it, which differs for environment records.
    tw::payload written(instance which, int event) const;
    tw::payload delivered(instance which, int event) const;

    std::uint64_t event_number(int event) const;
    /// Time of a record: cameras and slow channels answer some milliseconds after the machine event.
    time_stamp record_time(instance which, int event) const;
    time_stamp event_time(std::int32_t event_type, int event) const;

    /// A well-mixed number that depends on seed, channel, event and sample only.
    std::uint64_t hash(instance which, int event, std::size_t sample) const;
    /// Nearly Gaussian, mean 0, standard deviation 1.
    double noise(instance which, int event, std::size_t sample) const;

private:
    machine_settings settings_;
    std::vector<instance> channels_;
};

} // namespace trox_machine

#endif
