#include "random_run.h"

#include <algorithm>
#include <cstddef>

namespace layer_test
{

namespace
{

namespace tw = trox::writer;

constexpr std::uint32_t run_second = 1'339'666'200;
constexpr std::uint64_t period_us = 100'000;

enum class channel_type { fast, camera, slow };

struct channel_plan {
    std::string name;
    channel_type type = channel_type::fast;
    std::uint64_t every = 1; ///< machine events
    std::uint64_t phase = 0;
    std::vector<bool> in_file; ///< whether a file has records of it
};

struct record_plan {
    std::size_t channel = 0;
    float value = 0;
};
struct event_plan {
    std::uint64_t number = 0;
    std::uint64_t us = 0; ///< since the run's second
    int type = TROX_EV_NORMAL;
    std::vector<record_plan> records;
};

class generator
{
public:
    generator(tw::generation format, std::uint32_t seed, disorder kind)
        : format_(format), kind_(kind), seed_(seed), random_(seed)
    {
        first_number_ = 1000 + below(100000);
        if (format == tw::generation::v2024) {
            first_number_ += std::uint64_t{1} << 40; // more than other generations can hold
        }
        plan_channels();
    }

    random_run write(const std::string& directory)
    {
        random_run run;
        run.first_number = first_number_;
        run.first_second = run_second;
        for (const channel_plan& channel : channels_) {
            run.channels.push_back(channel.name);
        }
        std::uint64_t pulse = 0;
        for (std::size_t file = 0; file < files_; ++file) {
            const std::uint64_t count = 4 + below(12);
            std::vector<event_plan> events;
            for (std::uint64_t i = 0; i < count; ++i, ++pulse) {
                pulse += below(8) == 0 ? 1 + below(5) : 0; // a gap
                plan_pulse(pulse, file, events);
                ++run.events;
            }
            if (kind_ == disorder::unordered) {
                std::shuffle(events.begin(), events.end(), random_);
            }
            run.files.push_back(write_file(directory, file, events));
        }
        return run;
    }

private:
    std::uint64_t below(std::uint64_t limit)
    {
        return random_() % limit;
    }

    void plan_channels()
    {
        files_ = 1 + below(4);
        const std::size_t count = 1 + below(5);
        for (std::size_t i = 0; i < count; ++i) {
            channel_plan channel;
            const std::uint64_t kind = below(6);
            channel.type = kind == 0 ? channel_type::camera : kind == 1 ? channel_type::slow : channel_type::fast;
            channel.name = "T/CHANNEL." + std::to_string(i);
            channel.every = 1 + below(4);
            channel.phase = below(channel.every);
            for (std::size_t file = 0; file < files_; ++file) {
                channel.in_file.push_back(below(5) != 0);
            }
            channels_.push_back(channel);
        }
        // Something is in every file, so that each begins with its file's time.
        channels_.front().type = channel_type::fast;
        channels_.front().in_file.assign(files_, true);
    }

    bool has(const channel_plan& channel, std::uint64_t pulse, std::size_t file) const
    {
        return channel.in_file[file] && pulse % channel.every == channel.phase;
    }

    /// The events of one machine pulse: the machine's, the cameras' and the updates'.
    void plan_pulse(std::uint64_t pulse, std::size_t file, std::vector<event_plan>& events)
    {
        const std::uint64_t number = first_number_ + pulse;
        const std::uint64_t us = 250'000 + pulse * period_us + below(300);
        event_plan machine{number, us, TROX_EV_NORMAL, {}};
        event_plan camera{number, us + 3000 + below(1000), TROX_EV_IMAGE, {}};
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            const channel_plan& channel = channels_[i];
            const float value = static_cast<float>(100 * pulse + i);
            if (!has(channel, pulse, file)) {
                continue;
            }
            if (channel.type == channel_type::fast) {
                machine.records.push_back({i, value});
            } else if (channel.type == channel_type::camera) {
                camera.records.push_back({i, value});
            }
        }
        events.push_back(machine);
        if (!camera.records.empty()) {
            events.push_back(camera);
        }
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            if (channels_[i].type == channel_type::slow && has(channels_[i], pulse, file)) {
                events.push_back(
                    {number, us + 5000 + below(23000), TROX_EV_UPD, {{i, static_cast<float>(100 * pulse + i)}}});
            }
        }
        if (kind_ == disorder::repeated_numbers && below(5) == 0) {
            event_plan again = machine;
            again.us += 40'000;
            events.push_back(again);
        }
    }

    static time_stamp stamp(std::uint64_t us)
    {
        return {static_cast<std::uint32_t>(run_second + us / 1'000'000), static_cast<std::uint32_t>(us % 1'000'000)};
    }

    std::string write_file(const std::string& directory, std::size_t index, const std::vector<event_plan>& events)
    {
        const auto earliest =
            std::min_element(events.begin(), events.end(), [](const auto& a, const auto& b) { return a.us < b.us; });
        tw::file_options options;
        options.layout.seed = seed_ + index;
        options.layout.baskets = static_cast<tw::arrangement>(index % 3);
        options.layout.records = static_cast<tw::arrangement>((index + seed_) % 3);
        options.layout.max_gap = static_cast<std::uint32_t>(below(2) * 40);
        options.layout.odd_positions = below(2) == 0;
        options.layout.updates = static_cast<tw::update_layout>(below(3));
        const std::string path =
            directory + "/" +
            tw::data_file_name({"linac", "main", 7}, static_cast<int>(index + 1), {stamp(earliest->us).timeup, 0});
        tw::file_writer file(path, format_, options);
        for (const channel_plan& channel : channels_) {
            const auto stored =
                below(2) == 0 || channel.type == channel_type::slow ? tw::storage::plain : tw::storage::zlib;
            file.add_channel(channel.name, stored);
        }
        for (const event_plan& event : events) {
            file.begin_event({event.number, stamp(event.us), event.type});
            file.begin_server_block({"SVR"});
            for (const record_plan& record : event.records) {
                file.add_record(static_cast<tw::channel_id>(record.channel), payload_of(record, stamp(event.us)));
            }
            file.end_event();
        }
        file.finish();
        return path;
    }

    tw::payload payload_of(const record_plan& record, time_stamp time) const
    {
        const channel_plan& channel = channels_[record.channel];
        if (channel.type == channel_type::slow) {
            return tw::update_payload(format_, channel.name, record.value, time, 1);
        }
        const int type = format_ == tw::generation::legacy ? static_cast<int>(TROX_BLOCK_SINGLE)
                                                           : static_cast<int>(TROX_BLOCK_1CHAN_2010);
        return tw::spectrum_payload(format_, type, std::vector<float>(1 + record.channel, record.value));
    }

    tw::generation format_;
    disorder kind_;
    std::uint32_t seed_;
    std::mt19937 random_;
    std::uint64_t first_number_ = 0;
    std::size_t files_ = 0;
    std::vector<channel_plan> channels_;
};

} // namespace

random_run write_random_run(const std::string& directory, trox::writer::generation format, std::uint32_t seed,
                            disorder kind)
{
    return generator(format, seed, kind).write(directory);
}

} // namespace layer_test
