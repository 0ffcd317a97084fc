// What the simulated linac records: shapes, noise, and the payloads made of them.
#include "machine.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>
#include <vector>

namespace trox_machine
{
namespace
{

constexpr double pi = std::numbers::pi;

/// What an ADC with this step makes of a value.
float digitised(double value, double step)
{
    return static_cast<float>(std::round(value / step) * step);
}

// --- physics ----------------------------------------------------------------------------------------------

constexpr double rf_on_us = 100;    // the klystron starts to fill the cavity
constexpr double flat_top_us = 450; // the field is reached
constexpr double rf_off_us = 850;   // the field decays
constexpr double sample_us = 0.5;
constexpr std::size_t trace_samples = 2048;

/// Damped oscillation after a step at `t` = 0.
double ringing(double t, double damping_us, double period_us)
{
    return t < 0 ? 0 : std::exp(-t / damping_us) * std::cos(2 * pi * t / period_us);
}

double probe_amplitude(double t_us)
{
    constexpr double gradient = 25.0;
    constexpr double fill_us = 220;
    const double full = gradient * (1 - std::exp(-(flat_top_us - rf_on_us) / fill_us));
    if (t_us < rf_on_us) {
        return 0;
    }
    if (t_us < flat_top_us) {
        return gradient * (1 - std::exp(-(t_us - rf_on_us) / fill_us));
    }
    if (t_us < rf_off_us) {
        return full + 1.1 * ringing(t_us - flat_top_us, 70, 55);
    }
    return full * std::exp(-(t_us - rf_off_us) / 60);
}

double forward_power(double t_us)
{
    const double filling = t_us >= rf_on_us && t_us < rf_off_us ? 250 : 0;
    const double flat = t_us >= flat_top_us && t_us < rf_off_us ? -187 : 0;
    return filling + flat + 40 * ringing(t_us - rf_on_us, 12, 20) - 30 * ringing(t_us - flat_top_us, 12, 20) -
           10 * ringing(t_us - rf_off_us, 12, 20);
}

double orbit_x(int event)
{
    return 0.35 * std::sin(2 * pi * event / 17.0);
}
double orbit_y(int event)
{
    return -0.20 + 0.15 * std::cos(2 * pi * event / 23.0);
}
double beam_energy(int event)
{
    return 130.0 + 0.25 * std::sin(2 * pi * event / 29.0);
}

/// A record in the making.
struct shot {
    const machine& source;
    instance which;
    int event;

    double noise(std::size_t sample) const
    {
        return source.noise(which, event, sample);
    }
    tw::generation format() const
    {
        return source.settings().format;
    }
    /// Legacy files have block types of their own for traces.
    std::int32_t type(std::int32_t legacy, std::int32_t later) const
    {
        return format() == tw::generation::legacy ? legacy : later;
    }
};

// --- payloads ---------------------------------------------------------------------------------------------

std::vector<float> trace(const shot& taken, double (*shape)(double), double noise_level, double step)
{
    std::vector<float> samples(trace_samples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double value = shape(static_cast<double>(i) * sample_us) + noise_level * taken.noise(i);
        samples[i] = digitised(value, step);
    }
    return samples;
}

tw::payload single_value(const shot& taken)
{
    const double value = 0.5 + 0.006 * taken.noise(0);
    return tw::spectrum_payload(taken.format(), taken.type(TROX_BLOCK_SINGLE, TROX_BLOCK_1CHAN_2010),
                                {digitised(value, 0.0005)});
}

tw::payload trace_payload(const shot& taken, const std::vector<float>& samples)
{
    tw::spectrum_head head;
    head.inc = static_cast<float>(sample_us);
    return tw::spectrum_payload(taken.format(), taken.type(TROX_BLOCK_SINGLE, TROX_BLOCK_1CHAN_2010), samples, head);
}

/// X, Y, sum and quality, bunch by bunch.
tw::payload orbit_payload(const shot& taken)
{
    constexpr std::size_t bunches = 30;
    const std::array<double, 4> level{orbit_x(taken.event), orbit_y(taken.event), 0.5, 1.0};
    const std::array<double, 4> spread{0.02, 0.02, 0.006, 0.0};
    std::vector<float> values;
    for (std::size_t member = 0; member < level.size(); ++member) {
        for (std::size_t i = 0; i < bunches; ++i) {
            const double jitter = spread[member] * taken.noise(member * bunches + i);
            values.push_back(digitised(level[member] + jitter, 0.001));
        }
    }
    tw::spectrum_head head;
    head.members = static_cast<std::int32_t>(level.size());
    head.start = 700;
    head.inc = 9;
    return tw::spectrum_payload(taken.format(), taken.type(TROX_BLOCK_BPM, TROX_BLOCK_4CHAN_2010), values, head);
}

tw::payload gradients_payload(const shot& taken)
{
    constexpr std::size_t cavities = 8;
    constexpr std::size_t samples = 40;
    std::vector<float> values;
    for (std::size_t cavity = 0; cavity < cavities; ++cavity) {
        const double level = 19.4 + 0.15 * static_cast<double>(cavity);
        for (std::size_t i = 0; i < samples; ++i) {
            values.push_back(digitised(level + 0.03 * taken.noise(cavity * samples + i), 0.01));
        }
    }
    tw::spectrum_head head;
    head.members = cavities;
    head.start = static_cast<float>(flat_top_us);
    head.inc = 10;
    return tw::spectrum_payload(taken.format(), taken.type(TROX_BLOCK_GENERIC_SPECT, TROX_BLOCK_8CHAN_2010), values,
                                head);
}

/// Mean and standard deviation of an axis, weighted with a spectrum.
std::pair<float, float> moments(const std::vector<float>& spectrum, double start, double inc)
{
    const double sum = std::accumulate(spectrum.begin(), spectrum.end(), 0.0);
    double mean = 0;
    double square = 0;
    for (std::size_t i = 0; i < spectrum.size(); ++i) {
        const double x = start + inc * static_cast<double>(i);
        mean += x * spectrum[i] / sum;
        square += x * x * spectrum[i] / sum;
    }
    return {static_cast<float>(mean), static_cast<float>(std::sqrt(std::max(0.0, square - mean * mean)))};
}

/// Statistics: smallest and largest content, mean energy and spread.
tw::payload energy_payload(const shot& taken)
{
    constexpr double start = 128.0;
    constexpr double inc = 0.03125;
    constexpr double spread = 0.22;
    std::vector<float> contents(128);
    for (std::size_t i = 0; i < contents.size(); ++i) {
        const double distance = (start + inc * static_cast<double>(i) - beam_energy(taken.event)) / spread;
        const double level = 1000 * std::exp(-0.5 * distance * distance);
        contents[i] = digitised(std::max(0.0, level + 3 * taken.noise(i)), 1);
    }
    const auto [smallest, largest] = std::minmax_element(contents.begin(), contents.end());
    const auto [mean, rms] = moments(contents, start, inc);
    tw::spectrum_head head;
    head.start = static_cast<float>(start);
    head.inc = static_cast<float>(inc);
    if (taken.format() != tw::generation::legacy) { // which has no statistics
        head.statistics.push_back({0xF, {*smallest, *largest, mean, rms}});
    }
    return tw::spectrum_payload(taken.format(), TROX_BLOCK_GENERIC_SPECT, contents, head);
}

/// Brightness of a round spot with a pedestal, 0 to 1.
double spot(double x, double y, double center_x, double center_y, double width)
{
    const double distance = std::hypot(x - center_x, y - center_y) / width;
    return std::exp(-0.5 * distance * distance);
}

tw::payload screen_payload(const shot& taken)
{
    trox_image_frame_head head{};
    head.w = 96;
    head.h = 64;
    head.bpp = 2;
    head.frame = static_cast<std::uint32_t>(taken.event / 4);
    head.event_nm = taken.source.event_number(taken.event);
    std::vector<unsigned char> pixels;
    for (std::int32_t y = 0; y < head.h; ++y) {
        for (std::int32_t x = 0; x < head.w; ++x) {
            const double light = spot(x, y, 48 + 40 * orbit_x(taken.event), 32 + 40 * orbit_y(taken.event), 7);
            const auto sample = static_cast<std::size_t>(y * head.w + x);
            const double value = 20 + 900 * light + 2 * taken.noise(sample);
            const auto counts = static_cast<unsigned>(std::clamp(value, 0.0, 4095.0));
            pixels.push_back(static_cast<unsigned char>(counts >> 8U)); // pixels are big-endian
            pixels.push_back(static_cast<unsigned char>(counts & 0xFFU));
        }
    }
    return tw::image_payload(head, pixels);
}

tw::payload laser_spot_payload(const shot& taken)
{
    trox_image_ext_frame_head head{};
    head.width = 640;
    head.height = 480;
    head.aoi_width = 48;
    head.aoi_height = 40;
    head.x_start = 296;
    head.y_start = 220;
    head.bpp = 1;
    head.ebitpp = 8;
    head.hbin = 1;
    head.vbin = 1;
    head.frame = static_cast<std::uint32_t>(taken.event / 6);
    head.event = static_cast<std::uint32_t>(taken.source.event_number(taken.event)); // the field has 32 bits
    head.scale_x = 0.0125F;
    head.scale_y = 0.0125F;
    std::vector<unsigned char> pixels;
    for (std::int32_t y = 0; y < head.aoi_height; ++y) {
        for (std::int32_t x = 0; x < head.aoi_width; ++x) {
            const auto sample = static_cast<std::size_t>(y * head.aoi_width + x);
            const double value = 8 + 180 * spot(x, y, 24, 20, 9) + taken.noise(sample);
            pixels.push_back(static_cast<unsigned char>(std::clamp(value, 0.0, 255.0)));
        }
    }
    return tw::image_payload(head, pixels);
}

tw::payload feedback_payload(const shot& taken)
{
    return tw::name_value_payload(taken.event, "orbit feedback",
                                  {{"GAIN.P", taken.event < 12 ? 0.50F : 0.65F},
                                   {"GAIN.I", 0.1F},
                                   {"TARGET.X", 0.0F},
                                   {"TARGET.Y", -0.2F},
                                   {"CORRECTOR.H", digitised(-0.8 * orbit_x(taken.event), 0.001)},
                                   {"CORRECTOR.V", digitised(-0.8 * orbit_y(taken.event), 0.001)}});
}

tw::payload oscillator_payload(const shot& taken)
{
    const auto jitter = 34 + taken.source.hash(taken.which, taken.event, 0) % 12;
    return tw::control_payload("locked, " + std::to_string(jitter) + " fs",
                               taken.source.record_time(taken.which, taken.event));
}

float slow_value(const shot& taken)
{
    const double drift = taken.noise(0);
    switch (taken.which.of) {
    case channel::quadrupole:
        return digitised(131.25 + 0.8 * std::sin(2 * pi * taken.event / 97.0) + 0.01 * drift, 0.005);
    case channel::vacuum:
        return static_cast<float>(2.4e-9 * (1 + 0.1 * drift));
    case channel::rack:
        return digitised(24.0 + 0.5 * std::sin(2 * pi * taken.event / 211.0) + 0.05 * drift, 0.0625);
    case channel::charge:
    case channel::probe:
    case channel::forward:
    case channel::orbit:
    case channel::gradients:
    case channel::energy:
    case channel::screen:
    case channel::laser_spot:
    case channel::feedback:
    case channel::oscillator:
        break;
    }
    return 0;
}

tw::payload update(const shot& taken)
{
    return tw::update_payload(taken.format(), taken.source.name(taken.which), slow_value(taken),
                              taken.source.record_time(taken.which, taken.event));
}

} // namespace

tw::payload machine::written(instance which, int event) const
{
    const shot taken{*this, which, event};
    switch (which.of) {
    case channel::charge:
        return single_value(taken);
    case channel::probe:
        return trace_payload(taken, trace(taken, probe_amplitude, 0.06, 1.0 / 64));
    case channel::forward:
        return trace_payload(taken, trace(taken, forward_power, 1.0, 0.25));
    case channel::orbit:
        return orbit_payload(taken);
    case channel::gradients:
        return gradients_payload(taken);
    case channel::energy:
        return energy_payload(taken);
    case channel::screen:
        return screen_payload(taken);
    case channel::laser_spot:
        return laser_spot_payload(taken);
    case channel::feedback:
        return feedback_payload(taken);
    case channel::oscillator:
        return oscillator_payload(taken);
    case channel::rack:
        return tw::environment_payload(rack_index(which), slow_value(taken), record_time(which, event));
    case channel::quadrupole:
    case channel::vacuum:
        break;
    }
    return update(taken);
}

tw::payload machine::delivered(instance which, int event) const
{
    return which.of == channel::rack ? update({*this, which, event}) : written(which, event);
}

} // namespace trox_machine
