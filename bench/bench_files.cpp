#include "bench_files.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

namespace tw = trox::writer;

namespace bench
{

namespace
{

constexpr std::uint32_t first_second = 1'700'000'000;
constexpr std::uint32_t first_number = 1'000'000;
constexpr int events_per_second = 10;

tw::event_info event_at(std::size_t i)
{
    const auto second = static_cast<std::uint32_t>(i / events_per_second);
    const auto tenth = static_cast<std::uint32_t>(i % events_per_second);
    return {first_number + i, {first_second + second, tenth * 100'000U}};
}

/// A ringing pulse with noise of a few ADC counts, which compresses like a real trace.
std::vector<float> trace(std::size_t samples, unsigned seed)
{
    constexpr float counts_per_volt = 64.0F;
    std::minstd_rand random(seed);
    std::normal_distribution<float> noise(0.0F, 1.5F);
    std::vector<float> values(samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const float x = static_cast<float>(i) / static_cast<float>(samples);
        const float pulse = 900.0F * std::exp(-6.0F * x) * std::sin(90.0F * x);
        values[i] = std::round(pulse + noise(random)) / counts_per_volt;
    }
    return values;
}

std::vector<unsigned char> pixels(std::size_t bytes, unsigned seed)
{
    std::minstd_rand random(seed);
    std::normal_distribution<float> noise(20.0F, 2.0F);
    std::vector<unsigned char> values(bytes);
    for (std::size_t i = 0; i < bytes; ++i) {
        const float x = static_cast<float>(i % 1024) / 512.0F - 1.0F;
        const float spot = 200.0F * std::exp(-8.0F * x * x);
        values[i] = static_cast<unsigned char>(std::min(255.0F, std::max(0.0F, spot + noise(random))));
    }
    return values;
}

tw::payload make_payload(const file_shape& shape, unsigned seed)
{
    if (shape.images) {
        const auto bytes = pixels(shape.payload - sizeof(trox_image_frame_head), seed);
        trox_image_frame_head head{};
        head.w = 1024;
        head.h = static_cast<std::int32_t>(bytes.size() / 1024);
        head.bpp = 1;
        return tw::image_payload(head, bytes);
    }
    const std::size_t samples = (shape.payload - sizeof(trox_spect_head_2010)) / sizeof(float);
    return tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, trace(samples, seed));
}

} // namespace

scratch_directory::scratch_directory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "trox_bench_XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
}

scratch_directory::~scratch_directory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string scratch_directory::file(const std::string& name) const
{
    return path_ + "/" + name;
}

std::string scratch_directory::data_file(int number) const
{
    return file(tw::data_file_name({"linac", "bench", 1}, number, {first_second, 0}));
}

std::string channel_name(std::size_t i)
{
    return "BENCH.ADC/CRATE" + std::to_string(i / 16) + "/CH" + std::to_string(i);
}

void write_file(const std::string& path, const file_shape& shape)
{
    constexpr std::size_t different_payloads = 16;
    std::vector<tw::payload> payloads;
    for (unsigned seed = 1; seed <= different_payloads; ++seed) {
        payloads.push_back(make_payload(shape, seed));
    }
    tw::file_writer file(path, tw::generation::v2010);
    std::vector<tw::channel_id> channels;
    for (std::size_t i = 0; i < shape.channels; ++i) {
        channels.push_back(file.add_channel(channel_name(i), shape.stored));
    }
    for (std::size_t event = 0; event < shape.events; ++event) {
        file.begin_event(event_at(event));
        file.begin_server_block({"BENCH.SVR1", {}, {}, 0, 0});
        for (std::size_t i = 0; i < shape.channels; ++i) {
            file.add_record(channels[i], payloads[(event + i) % different_payloads]);
        }
        file.end_event();
    }
    file.finish();
}

void write_wide_file(const std::string& path, std::size_t channels, std::size_t events)
{
    const tw::payload payload = make_payload({1, 1, 64}, 1);
    tw::file_writer file(path, tw::generation::v2010);
    std::vector<tw::channel_id> ids;
    for (std::size_t i = 0; i < channels; ++i) {
        ids.push_back(file.add_channel(channel_name(i)));
    }
    for (std::size_t event = 0; event < events; ++event) {
        file.begin_event(event_at(event));
        file.begin_server_block({"BENCH.SVR1", {}, {}, 0, 0});
        for (std::size_t i = 0; i < (event == 0 ? channels : 1); ++i) {
            file.add_record(ids[i], payload);
        }
        file.end_event();
    }
    file.finish();
}

} // namespace bench
