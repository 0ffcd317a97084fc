// Images as PNG files: one, or a series.
#ifndef TROX_EXPORT_PNG_SERIES_H
#define TROX_EXPORT_PNG_SERIES_H

#include "consumer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace trox_export
{

struct png_setting {
    std::string directory{}; ///< where the pictures are made
    std::string target{};    ///< names are made from its base name
    int compression = 4;
};

/// Writes every image into the directory. Throws error (wrong_use) for records that are no images of 8 or 16 bits.
std::unique_ptr<event_consumer> make_png_writer(std::vector<channel_head> channels, png_setting setting);
/// Compares, and moves what is compared into a directory "checked" below.
std::unique_ptr<event_consumer> make_png_checker(std::vector<channel_head> channels, png_setting setting);

struct placed_files {
    std::vector<std::string> first{}; ///< the first 1000, by name
    std::uint64_t count = 0;
};
/// Moves the pictures beside the target; a single one becomes the target. All are moved, once they are on the disk, or
/// none is: places that are no files, and `inputs`, are refused before. Throws error (input_output), (wrong_use) for an
/// input, (not_found) when there is no picture.
placed_files place_png_series(const std::string& directory, const std::string& target,
                              const std::vector<std::string>& inputs);

} // namespace trox_export

#endif
