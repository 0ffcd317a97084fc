#include "png_series.h"

#include "atomic_file.h"
#include "base/target_file.h"
#include "png_codec.h"

#include "trox/error.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

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
        std::set<std::string> taken;
        for (const channel_head& channel : channels) {
            const std::string name = safe_name(channel.name);
            std::string part = name;
            for (int copy = 2; !taken.insert(part).second; ++copy) { // "A/B" beside "A.B"
                part = name + "_" + std::to_string(copy);
            }
            parts_.push_back(channels.size() == 1 ? "" : "-" + part);
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
                  {{"Title", channels_[channel].name},
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

// --- putting pictures in place ------------------------------------------------------------------------------

struct picture_move {
    fs::path from;
    fs::path to;
};

dev_t file_system_of(const fs::path& directory)
{
    struct stat status {
    };
    if (::stat(directory.empty() ? "." : directory.c_str(), &status) != 0) {
        throw_system_error("cannot be written", directory.string());
    }
    return status.st_dev;
}

/// Links stay; what is no file, or is read, or lies where nothing can be moved to, is not replaced.
void check_target(picture_move& move, const std::vector<std::string>& inputs)
{
    move.to = replaceable(move.to.string());
    if (file_system_of(move.to.parent_path()) != file_system_of(move.from.parent_path())) {
        throw trox::error(trox::fault::input_output,
                          "a link leads to it from another file system, from which pictures cannot be moved",
                          {move.to.string(), {}, {}, {}});
    }
    for (const std::string& input : inputs) {
        if (trox_base::is_same_file(input, move.to.string())) {
            throw trox::error(trox::fault::wrong_use, "is a file that is read, and would be replaced",
                              {move.to.string(), {}, {}, {}});
        }
    }
}

/// Brings all files of the file system to the disk: one call for as many pictures as there are.
void store_files(const std::string& directory)
{
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool is_stored = descriptor >= 0 && ::syncfs(descriptor) == 0;
    const int number = errno;
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (!is_stored) {
        errno = number;
        throw_system_error("cannot be written", directory);
    }
}

/// Puts pictures in place, all of them or none.
class series_placement
{
public:
    /// `replaced`: a new directory for files that were there before; `most`: pictures.
    series_placement(fs::path replaced, std::size_t most) : replaced_(std::move(replaced))
    {
        fs::create_directory(replaced_);
        done_.reserve(most); // so that what happened can be noted
    }
    series_placement(const series_placement&) = delete;
    series_placement& operator=(const series_placement&) = delete;
    ~series_placement()
    {
        std::error_code ignored;
        for (auto one = done_.rbegin(); one != done_.rend(); ++one) {
            if (!one->replaced.empty()) {
                fs::rename(one->replaced, one->place, ignored);
            } else {
                fs::remove(one->place, ignored);
            }
        }
    }
    void put(const picture_move& move)
    {
        step one{move.to, {}};
        std::error_code failed;
        const bool replaces = fs::exists(move.to, failed);
        if (replaces) {
            one.replaced = replaced_ / std::to_string(done_.size());
            fs::create_hard_link(move.to, one.replaced, failed); // so that there is no moment without a file
            if (failed) {                                        // not every file system has second names
                fs::copy_file(move.to, one.replaced, failed);
            }
        }
        if (!failed && !trox_base::put_in_place(move.from, move.to)) {
            failed.assign(errno, std::generic_category());
        }
        if (failed) {
            throw trox::error(trox::fault::input_output, "cannot be put in place: " + failed.message(),
                              {move.to.string(), {}, {}, {}});
        }
        done_.push_back(std::move(one));
    }
    void keep()
    {
        done_.clear();
    }

private:
    struct step {
        fs::path place;
        fs::path replaced; // what was there before; none: nothing was
    };
    fs::path replaced_;
    std::vector<step> done_;
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

placed_files place_png_series(const std::string& directory, const std::string& target,
                              const std::vector<std::string>& inputs)
{
    const fs::path checked = fs::path(directory) / "checked";
    const fs::path from = fs::exists(checked) ? checked : fs::path(directory);
    std::vector<picture_move> moves;
    for (const auto& entry : fs::directory_iterator(from)) {
        moves.push_back({entry.path(), fs::path(target).parent_path() / entry.path().filename()});
    }
    if (moves.empty()) {
        throw trox::error(trox::fault::not_found, "no event has an image");
    }
    if (moves.size() == 1) {
        moves[0].to = target;
    }
    std::sort(moves.begin(), moves.end(), [](const auto& a, const auto& b) { return a.to < b.to; });
    store_files(directory);
    for (picture_move& move : moves) {
        check_target(move, inputs);
    }
    series_placement placement(fs::path(directory) / "replaced", moves.size());
    for (const picture_move& move : moves) {
        placement.put(move);
    }
    placement.keep();

    placed_files placed;
    placed.count = moves.size();
    constexpr std::size_t most_named = 1000;
    for (std::size_t i = 0; i < std::min(moves.size(), most_named); ++i) {
        placed.first.push_back(moves[i].to.string());
    }
    return placed;
}

} // namespace trox_export
