#include "machine.h"

#include <stdexcept>

namespace trox_machine
{
namespace
{

constexpr std::array<channel_facts, channel_count> all_facts{{
    {"DIAG/TOROID/2.BC1/CHARGE", "DIAG/TOROID/2.BC1/CHARGE", "charge", "nC", "Bunch charge behind the first compressor",
     "DIAG.SVR1", TROX_EV_NORMAL},
    {"RF/ADC/C1.ACC1/PROBE.AMPL", "RF/ADC/C1.ACC1/PROBE.AMPL", "probe amplitude", "MV/m", "Cavity probe, amplitude",
     "RF.SVR1", TROX_EV_NORMAL},
    {"RF/ADC/C1.ACC1/FORWARD.POWER", "RF/ADC/C1.ACC1/FORW.POWER", "forward power", "kW", "Forward power of the cavity",
     "RF.SVR1", TROX_EV_NORMAL},
    {"DIAG/BPM/7.BC1/ORBIT", "DIAG/BPM/7.BC1/ORBIT", "orbit x, y", "mm", "Beam position along the bunch train",
     "DIAG.SVR1", TROX_EV_NORMAL},
    {"RF/LLRF/ACC1/GRADIENTS", "RF/LLRF/ACC1/GRADIENTS", "8 cavities", "MV/m",
     "Gradients of the eight cavities of a module", "RF.SVR1", TROX_EV_NORMAL},
    {"DIAG/SPECTROMETER/DUMP/ENERGY", "DIAG/SPECTRO/DUMP/ENERGY", "beam energy", "MeV",
     "Energy spectrum with statistics", "DIAG.SVR1", TROX_EV_NORMAL},
    {"DIAG/CAM/SCR.5.BC1/IMAGE", "DIAG/CAM/SCR.5.BC1/IMAGE", "screen 5", "counts", "Beam spot on screen 5", "CAM.SVR4",
     TROX_EV_IMAGE},
    {"LASER/CAM/CATHODE/IMAGE", "LASER/CAM/CATHODE/IMAGE", "laser spot", "counts", "Laser spot on the cathode",
     "CAM.SVR4", TROX_EV_IMAGE},
    {"CTRL/FB/ORBIT/SETTINGS", "CTRL/FB/ORBIT/SETTINGS", "feedback", "", "Settings of the orbit feedback", "CTRL.SVR2",
     TROX_EV_NORMAL},
    {"LASER/OSC/1/STATUS", "LASER/OSC/1/STATUS", "oscillator", "", "State of the master oscillator", "CTRL.SVR2",
     TROX_EV_NORMAL},
    {"MAG/QUAD/Q5.BC1/I.RBV", "MAG/QUAD/Q5.BC1/I.RBV", "quad Q5", "A", "Quadrupole current, read back", "SLOW.SVR9",
     TROX_EV_UPD},
    {"VAC/PUMP/P2.BC1/PRESSURE", "VAC/PUMP/P2.BC1/PRESSURE", "vacuum", "mbar", "Pressure at the ion pump", "SLOW.SVR9",
     TROX_EV_UPD},
    {"ENV/TEMP/RACK.3", "ENV/TEMP/RACK.3", "rack", "degC", "Temperature of an electronics rack", "SLOW.SVR9",
     TROX_EV_ENV},
}};

std::uint32_t type_of_data(channel of)
{
    switch (of) {
    case channel::charge:
    case channel::probe:
    case channel::forward:
    case channel::orbit:
    case channel::gradients:
    case channel::energy:
        return DATA_SPECTRUM;
    case channel::screen:
    case channel::laser_spot:
        return DATA_IMAGE;
    case channel::oscillator:
        return DATA_STRING;
    case channel::feedback:
        return DATA_A_FLOAT;
    case channel::quadrupole:
    case channel::vacuum:
    case channel::rack:
        break;
    }
    return DATA_FLOAT;
}

} // namespace

const channel_facts& facts(channel of)
{
    return all_facts.at(index_of(of));
}

bool is_slow(channel of)
{
    return facts(of).event_type == TROX_EV_UPD || facts(of).event_type == TROX_EV_ENV;
}

machine::machine(const machine_settings& settings) : settings_(settings)
{
    if (settings.channels == 0 || settings.channels > most_channels) {
        throw std::invalid_argument("a machine has 1 to 10000 channels");
    }
    for (std::size_t i = 0; i < settings.channels; ++i) {
        channels_.emplace_back(all_channels.at(i % channel_count), static_cast<std::uint32_t>(i / channel_count));
    }
}

std::string machine::name(instance which) const
{
    const std::string linac = which.set == 0 ? "LINAC." : "L" + std::to_string(which.set + 1) + ".";
    const channel_facts& fact = facts(which.of);
    return linac + (settings_.format == tw::generation::legacy ? fact.short_place : fact.place);
}

tw::channel_settings machine::entry(instance which) const
{
    const channel_facts& fact = facts(which.of);
    tw::channel_settings entry;
    entry.name = name(which);
    if (which.of == channel::rack) {
        entry.environment_index = rack_index(which);
    }
    tw::channel_description description;
    description.property = entry.name;
    description.text = fact.text;
    description.units = fact.unit;
    description.server = fact.server;
    description.data_type = type_of_data(which.of);
    entry.description = description;
    return entry;
}

tw::storage machine::storage(instance which, int event) const
{
    if (settings_.stored) {
        return *settings_.stored;
    }
    const auto lzo = tw::has_lzo() ? tw::storage::lzo : tw::storage::zlib;
    switch (which.of) {
    case channel::probe:
    case channel::orbit:
    case channel::energy:
    case channel::laser_spot:
    case channel::feedback:
        return tw::storage::zlib;
    case channel::forward:
    case channel::screen:
        return lzo;
    case channel::gradients: // all three in one channel
        return std::array{tw::storage::plain, tw::storage::zlib, lzo}.at(static_cast<std::size_t>(event % 3));
    case channel::charge:
    case channel::oscillator:
    case channel::quadrupole:
    case channel::vacuum:
    case channel::rack:
        break;
    }
    return tw::storage::plain;
}

bool machine::has_record(instance which, int event) const
{
    switch (which.of) {
    case channel::charge:
    case channel::probe:
    case channel::forward:
    case channel::orbit:
    case channel::gradients:
        break;
    case channel::energy:
        return event % 2 == 0;
    case channel::screen:
        return event % 4 == 1;
    case channel::laser_spot:
        return event % 6 == 2;
    case channel::feedback:
        return event % 5 == 0;
    case channel::oscillator:
        return event % 8 == 3;
    case channel::quadrupole:
        return event == 0 || hash(which, event, 0) % 6 == 0;
    case channel::vacuum:
        return event == 2 || hash(which, event, 0) % 9 == 0;
    case channel::rack:
        return event % 13 == 1;
    }
    return true;
}

std::optional<int> machine::latest_record(instance which, int event) const
{
    while (event >= 0 && !has_record(which, event)) {
        --event;
    }
    return event < 0 ? std::nullopt : std::optional(event);
}

std::uint64_t machine::event_number(int event) const
{
    constexpr std::uint64_t first_event = 70412800;
    constexpr std::uint64_t beyond_32_bits = std::uint64_t{4} << 32U;
    const std::uint64_t base = settings_.format == tw::generation::v2024 ? beyond_32_bits : 0;
    return base + first_event + static_cast<std::uint64_t>(event);
}

time_stamp machine::event_time(std::int32_t event_type, int event) const
{
    constexpr std::uint64_t first_second = 1741599000; // 2025-03-10 09:30:00 UTC
    constexpr std::uint64_t first_us = 40000;
    constexpr std::uint64_t period_us = 100000;
    const std::uint64_t jitter_us = hash(channel::charge, event, 1) % 300;
    std::uint64_t late_us = 0;
    if (event_type == TROX_EV_IMAGE) {
        late_us = 3000;
    } else if (event_type == TROX_EV_UPD) {
        late_us = 12000;
    } else if (event_type == TROX_EV_ENV) {
        late_us = 17000;
    }
    const std::uint64_t us =
        first_second * 1000000 + first_us + static_cast<std::uint64_t>(event) * period_us + jitter_us + late_us;
    return {static_cast<std::uint32_t>(us / 1000000), static_cast<std::uint32_t>(us % 1000000)};
}

time_stamp machine::record_time(instance which, int event) const
{
    return event_time(facts(which.of).event_type, event);
}

std::uint64_t machine::hash(instance which, int event, std::size_t sample) const
{
    const std::uint64_t index = index_of(which.of) + channel_count * which.set;
    std::uint64_t x = settings_.seed * 0xA24BAED4963EE407U + (index + 1) * 0x9E3779B97F4A7C15U +
                      static_cast<std::uint64_t>(event) * 0xD1B54A32D192ED03U + sample * 0x8CB92BA72F3D8DD7U;
    x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
    x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
    return x ^ (x >> 31U);
}

double machine::noise(instance which, int event, std::size_t sample) const
{
    // The sum of twelve uniform numbers less 6.
    double sum = -6;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::uint64_t bits = hash(which, event, 3 * sample + i);
        for (unsigned part = 0; part < 4; ++part) {
            sum += static_cast<double>((bits >> (16U * part)) & 0xFFFFU) / 65535.0;
        }
    }
    return sum;
}

} // namespace trox_machine
