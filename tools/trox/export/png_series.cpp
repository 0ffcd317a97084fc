#include "png_series.h"

#include "png_codec.h"

#include "trox/error.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace trox_export
{
namespace fs = std::filesystem;
namespace
{

std::string safe_name(const std::string& channel)
{
    std::string name;
    for (const char c : channel) {
        const bool is_plain = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-';
        name += is_plain ? c : c == '/' ? '.' : '_';
    }
    return name;
}

/// Names of the pictures of one event and channel: that many events may have the same number.
class picture_names
{
public:
    picture_names(const std::vector<channel_head>& channels, const std::string& target)
        : stem_(fs::path(target).stem().string()), ending_(fs::path(target).extension().string())
    {
        for (const channel_head& channel : channels) {
            parts_.push_back(channels.size() == 1 ? "" : "-" + safe_name(channel.name));
        }
    }
    /// `copy`: 1 for the first with this number.
    std::string make(std::size_t channel, std::uint64_t event, std::size_t copy) const
    {
        return stem_ + parts_[channel] + "-" + std::to_string(event) + (copy == 1 ? "" : "-" + std::to_string(copy)) +
               ending_;
    }

private:
    std::string stem_;
    std::string ending_;
    std::vector<std::string> parts_;
};

/// The record's image, none for an empty record.
std::optional<trox::image_view> image_of(const trox::record& record, const channel_head& channel)
{
    if (!record) {
        return std::nullopt;
    }
    const auto image = record.image();
    constexpr std::uint32_t most_bytes = 2;
    if (!image || image->pixel_count() == 0) {
        throw trox::error(trox::fault::wrong_use, "PNG files hold images, and this record is none",
                          {{}, channel.name, record.event_number(), {}});
    }
    if (image->bytes_per_pixel > most_bytes) {
        throw trox::error(trox::fault::wrong_use,
                          "PNG files hold grey values of 8 or 16 bits, and this image has " +
                              std::to_string(8 * image->bytes_per_pixel) + " bits a pixel; HDF5 and npz hold those",
                          {{}, channel.name, record.event_number(), {}});
    }
    return image;
}

class png_series_writer final : public event_consumer
{
public:
    png_series_writer(std::vector<channel_head> channels, png_setting setting)
        : channels_(std::move(channels)), setting_(std::move(setting)), names_(channels_, setting_.target)
    {
    }
    void begin_event(const event_head& event) override
    {
        event_ = event;
    }
    void take(std::size_t channel, const trox::record& record, const std::vector<row>&) override
    {
        const auto image = image_of(record, channels_[channel]);
        if (!image) {
            return;
        }
        const fs::path directory(setting_.directory);
        std::size_t copy = 1;
        fs::path path = directory / names_.make(channel, event_.number, copy);
        while (fs::exists(path)) {
            path = directory / names_.make(channel, event_.number, ++copy);
        }
        write_png(path.string(), {image->width, image->height, image->bytes_per_pixel, image->pixels.data()},
                  {{"Title", safe_name(channels_[channel].name)},
                   {"Event", std::to_string(event_.number)},
                   {"Creation Time", trox::to_text(record.time())}},
                  setting_.compression);
    }
    void end_event() override {}
    void finish() override {}

private:
    std::vector<channel_head> channels_;
    png_setting setting_;
    picture_names names_;
    event_head event_;
};

class png_series_checker final : public event_consumer
{
public:
    png_series_checker(std::vector<channel_head> channels, png_setting setting)
        : channels_(std::move(channels)), setting_(std::move(setting)), names_(channels_, setting_.target),
          checked_(fs::path(setting_.directory) / "checked")
    {
        fs::create_directory(checked_);
    }
    void begin_event(const event_head& event) override
    {
        event_ = event;
    }
    void take(std::size_t channel, const trox::record& record, const std::vector<row>&) override
    {
        const auto image = image_of(record, channels_[channel]);
        if (!image) {
            return;
        }
        const std::string name = next_name(channel);
        const fs::path path = fs::path(setting_.directory) / name;
        const loaded_image loaded = read_png(path.string());
        if (loaded.width != image->width || loaded.height != image->height ||
            loaded.bytes_per_pixel != image->bytes_per_pixel ||
            !std::equal(loaded.pixels.begin(), loaded.pixels.end(), image->pixels.begin(), image->pixels.end())) {
            throw difference(name + " is not as it was read");
        }
        fs::rename(path, checked_ / name);
    }
    void end_event() override {}
    void finish() override
    {
        for (const auto& entry : fs::directory_iterator(setting_.directory)) {
            if (entry.path() != checked_) {
                throw difference(entry.path().filename().string() + " belongs to no image");
            }
        }
    }

private:
    /// The first that is not compared yet.
    std::string next_name(std::size_t channel) const
    {
        std::size_t copy = 1;
        while (fs::exists(checked_ / names_.make(channel, event_.number, copy))) {
            ++copy;
        }
        std::string name = names_.make(channel, event_.number, copy);
        if (!fs::exists(fs::path(setting_.directory) / name)) {
            throw difference(name + " is missing");
        }
        return name;
    }

    std::vector<channel_head> channels_;
    png_setting setting_;
    picture_names names_;
    fs::path checked_;
    event_head event_;
};

} // namespace

std::unique_ptr<event_consumer> make_png_writer(std::vector<channel_head> channels, png_setting setting)
{
    return std::make_unique<png_series_writer>(std::move(channels), std::move(setting));
}

std::unique_ptr<event_consumer> make_png_checker(std::vector<channel_head> channels, png_setting setting)
{
    return std::make_unique<png_series_checker>(std::move(channels), std::move(setting));
}

placed_files place_png_series(const std::string& directory, const std::string& target)
{
    const fs::path checked = fs::path(directory) / "checked";
    const fs::path from = fs::exists(checked) ? checked : fs::path(directory);
    const auto count = static_cast<std::uint64_t>(std::distance(fs::directory_iterator(from), {}));
    if (count == 0) {
        throw trox::error(trox::fault::not_found, "no event has an image");
    }
    placed_files placed;
    placed.count = count;
    constexpr std::size_t most_named = 1000;
    for (const auto& entry : fs::directory_iterator(from)) {
        const fs::path place = count == 1 ? fs::path(target) : fs::path(target).parent_path() / entry.path().filename();
        std::error_code failed;
        fs::rename(entry.path(), place, failed);
        if (failed) {
            throw trox::error(trox::fault::input_output, "cannot be put in place: " + failed.message(),
                              {place.string(), {}, {}, {}});
        }
        if (placed.first.size() < most_named) {
            placed.first.push_back(place.string());
        }
    }
    std::sort(placed.first.begin(), placed.first.end());
    return placed;
}

} // namespace trox_export
