#include "png_codec.h"

#include "atomic_file.h"

#include "trox/error.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <png.h>
#include <system_error>
#include <utility>

namespace trox_export
{
namespace
{

/// libpng jumps back to where setjmp was called; nothing with a destructor may lie between.
void keep_reason(png_structp png, png_const_charp reason)
{
    *static_cast<std::string*>(png_get_error_ptr(png)) = reason;
    png_longjmp(png, 1);
}

void ignore_warning(png_structp, png_const_charp) {}

[[noreturn]] void throw_png_error(const std::string& reason, const std::string& path)
{
    throw trox::error(trox::fault::input_output, "PNG: " + reason, {path, {}, {}, {}});
}

struct png_writer {
    explicit png_writer(std::string& reason)
        : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &reason, keep_reason, ignore_warning)),
          info(png == nullptr ? nullptr : png_create_info_struct(png))
    {
    }
    ~png_writer()
    {
        png_destroy_write_struct(&png, &info);
    }
    png_writer(const png_writer&) = delete;
    png_writer& operator=(const png_writer&) = delete;
    png_structp png;
    png_infop info;
};

struct png_reader {
    explicit png_reader(std::string& reason)
        : png(png_create_read_struct(PNG_LIBPNG_VER_STRING, &reason, keep_reason, ignore_warning)),
          info(png == nullptr ? nullptr : png_create_info_struct(png))
    {
    }
    ~png_reader()
    {
        png_destroy_read_struct(&png, &info, nullptr);
    }
    png_reader(const png_reader&) = delete;
    png_reader& operator=(const png_reader&) = delete;
    png_structp png;
    png_infop info;
};

struct text_list {
    png_text* texts;
    int count;
};

bool write_all(const png_writer& to, std::FILE* file, const grey_image& image, text_list texts, int compression)
{
    if (setjmp(png_jmpbuf(to.png)) != 0) {
        return false;
    }
    constexpr int bits_of_byte = 8;
    png_init_io(to.png, file);
    png_set_compression_level(to.png, compression);
    png_set_IHDR(to.png, to.info, image.width, image.height, static_cast<int>(image.bytes_per_pixel) * bits_of_byte,
                 PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_text(to.png, to.info, texts.texts, texts.count);
    png_write_info(to.png, to.info);
    const std::size_t row = std::size_t{image.width} * image.bytes_per_pixel;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        png_write_row(to.png, reinterpret_cast<png_const_bytep>(image.pixels + y * row));
    }
    png_write_end(to.png, to.info);
    return true;
}

bool read_head(const png_reader& from, std::FILE* file)
{
    if (setjmp(png_jmpbuf(from.png)) != 0) {
        return false;
    }
    png_init_io(from.png, file);
    png_read_info(from.png, from.info);
    return true;
}

bool read_rows(const png_reader& from, std::byte* pixels, std::size_t row, std::uint32_t height)
{
    if (setjmp(png_jmpbuf(from.png)) != 0) {
        return false;
    }
    for (std::uint32_t y = 0; y < height; ++y) {
        png_read_row(from.png, reinterpret_cast<png_bytep>(pixels + y * row), nullptr);
    }
    png_read_end(from.png, nullptr);
    return true;
}

std::vector<png_text> texts_of(png_texts& texts)
{
    std::vector<png_text> result;
    for (auto& [key, value] : texts) {
        png_text text{};
        text.compression = PNG_TEXT_COMPRESSION_NONE;
        text.key = key.data();
        text.text = value.data();
        text.text_length = value.size();
        if (std::any_of(value.begin(), value.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80U; })) {
            text.compression = PNG_ITXT_COMPRESSION_NONE; // the kind in UTF-8
            text.itxt_length = std::exchange(text.text_length, 0);
        }
        result.push_back(text);
    }
    return result;
}

} // namespace

void write_png(const std::string& path, const grey_image& image, const png_texts& texts, int compression)
{
    std::string reason = "cannot be written";
    png_texts kept = texts;
    std::vector<png_text> list = texts_of(kept);
    file_handle file = open_file(path, "wb");
    errno = 0;
    {
        const png_writer writer(reason);
        if (writer.info == nullptr ||
            !write_all(writer, file.get(), image, {list.data(), static_cast<int>(list.size())}, compression)) {
            const int number = errno;
            const bool is_of_system = std::ferror(file.get()) != 0 && number != 0;
            throw_png_error(reason + (is_of_system ? ": " + std::generic_category().message(number) : ""), path);
        }
    }
    close_file(std::move(file), path);
}

loaded_image read_png(const std::string& path)
{
    std::string reason = "cannot be read";
    const file_handle file = open_file(path, "rb");
    const png_reader reader(reason);
    if (reader.info == nullptr || !read_head(reader, file.get())) {
        throw_png_error(reason, path);
    }
    const int depth = png_get_bit_depth(reader.png, reader.info);
    if (png_get_color_type(reader.png, reader.info) != PNG_COLOR_TYPE_GRAY || (depth != 8 && depth != 16) ||
        png_get_interlace_type(reader.png, reader.info) != PNG_INTERLACE_NONE) {
        throw_png_error("is no picture of one grey channel with 8 or 16 bits", path);
    }
    loaded_image image;
    image.width = png_get_image_width(reader.png, reader.info);
    image.height = png_get_image_height(reader.png, reader.info);
    image.bytes_per_pixel = depth == 16 ? 2 : 1;
    const std::size_t row = std::size_t{image.width} * image.bytes_per_pixel;
    image.pixels.resize(row * image.height);
    if (!read_rows(reader, image.pixels.data(), row, image.height)) {
        throw_png_error(reason, path);
    }
    return image;
}

} // namespace trox_export
