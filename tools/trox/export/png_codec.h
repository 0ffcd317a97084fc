// Images of one grey channel as PNG files.
#ifndef TROX_EXPORT_PNG_CODEC_H
#define TROX_EXPORT_PNG_CODEC_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace trox_export
{

/// Rows from top to bottom, 1 or 2 bytes a pixel, the most significant one first. Borrows the pixels.
struct grey_image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned bytes_per_pixel = 1;
    const std::byte* pixels = nullptr;
};

using png_texts = std::vector<std::pair<std::string, std::string>>;

/// Throws error (input_output). `compression`: 0 to 9.
void write_png(const std::string& path, const grey_image& image, const png_texts& texts, int compression);

struct loaded_image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned bytes_per_pixel = 1;
    std::vector<std::byte> pixels;
};
/// Throws error (input_output), also for a picture that is not of one grey channel with 8 or 16 bits.
loaded_image read_png(const std::string& path);

} // namespace trox_export

#endif
