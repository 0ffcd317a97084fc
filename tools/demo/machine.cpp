#include "machine.h"

#include "noise.h"

namespace trox_demo
{
namespace
{

constexpr std::array<channel_facts, channel_count> all_facts{{
    {"LINAC.DIAG/TOROID/2.BC1/CHARGE", "charge", "nC", "Bunch charge behind the first compressor", "DIAG.SVR1",
     TROX_EV_NORMAL},
    {"LINAC.RF/ADC/C1.ACC1/PROBE.AMPL", "probe amplitude", "MV/m", "Cavity probe, amplitude", "RF.SVR1",
     TROX_EV_NORMAL},
    {"LINAC.RF/ADC/C1.ACC1/FORWARD.POWER", "forward power", "kW", "Forward power of the cavity", "RF.SVR1",
     TROX_EV_NORMAL},
    {"LINAC.DIAG/BPM/7.BC1/ORBIT", "orbit x, y", "mm", "Beam position along the bunch train", "DIAG.SVR1",
     TROX_EV_NORMAL},
    {"LINAC.RF/LLRF/ACC1/GRADIENTS", "8 cavities", "MV/m", "Gradients of the eight cavities of a module", "RF.SVR1",
     TROX_EV_NORMAL},
    {"LINAC.DIAG/SPECTROMETER/DUMP/ENERGY", "beam energy", "MeV", "Energy spectrum with statistics", "DIAG.SVR1",
     TROX_EV_NORMAL},
    {"LINAC.DIAG/CAM/SCR.5.BC1/IMAGE", "screen 5", "counts", "Beam spot on screen 5", "CAM.SVR4", TROX_EV_IMAGE},
    {"LINAC.LASER/CAM/CATHODE/IMAGE", "laser spot", "counts", "Laser spot on the cathode", "CAM.SVR4", TROX_EV_IMAGE},
    {"LINAC.CTRL/FB/ORBIT/SETTINGS", "feedback", "", "Settings of the orbit feedback", "CTRL.SVR2", TROX_EV_NORMAL},
    {"LINAC.LASER/OSC/1/STATUS", "oscillator", "", "State of the master oscillator", "CTRL.SVR2", TROX_EV_NORMAL},
    {"LINAC.MAG/QUAD/Q5.BC1/I.RBV", "quad Q5", "A", "Quadrupole current, read back", "SLOW.SVR9", TROX_EV_UPD},
    {"LINAC.VAC/PUMP/P2.BC1/PRESSURE", "vacuum", "mbar", "Pressure at the ion pump", "SLOW.SVR9", TROX_EV_UPD},
    {"LINAC.ENV/TEMP/RACK.3", "rack", "degC", "Temperature of an electronics rack", "SLOW.SVR9", TROX_EV_ENV},
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

tw::channel_settings settings(channel of)
{
    const channel_facts& fact = facts(of);
    tw::channel_settings entry;
    entry.name = fact.name;
    if (of == channel::rack) {
        entry.environment_index = rack_index;
    }
    tw::channel_description description;
    description.property = fact.name;
    description.text = fact.text;
    description.units = fact.unit;
    description.server = fact.server;
    description.data_type = type_of_data(of);
    entry.description = description;
    return entry;
}

tw::storage storage(channel of, int event)
{
    const auto lzo = tw::has_lzo() ? tw::storage::lzo : tw::storage::zlib;
    switch (of) {
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

bool is_slow(channel of)
{
    return facts(of).event_type == TROX_EV_UPD || facts(of).event_type == TROX_EV_ENV;
}

bool has_record(channel of, int event)
{
    switch (of) {
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
        return event == 0 || hash(of, event, 0) % 6 == 0;
    case channel::vacuum:
        return event == 2 || hash(of, event, 0) % 9 == 0;
    case channel::rack:
        return event % 13 == 1;
    }
    return true;
}

std::optional<int> latest_record(channel of, int event)
{
    while (event >= 0 && !has_record(of, event)) {
        --event;
    }
    return event < 0 ? std::nullopt : std::optional(event);
}

std::uint32_t event_number(int event)
{
    constexpr std::uint32_t first_event = 70412800;
    return first_event + static_cast<std::uint32_t>(event);
}

time_stamp event_time(std::int32_t event_type, int event)
{
    constexpr std::uint32_t first_second = 1741599000; // 2025-03-10 09:30:00 UTC
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
    const std::uint64_t us = first_us + static_cast<std::uint64_t>(event) * period_us + jitter_us + late_us;
    return {first_second + static_cast<std::uint32_t>(us / 1000000), static_cast<std::uint32_t>(us % 1000000)};
}

time_stamp record_time(channel of, int event)
{
    return event_time(facts(of).event_type, event);
}

} // namespace trox_demo
