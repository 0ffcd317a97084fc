#include "canvas.h"

#include "trox/error.h"

#include <cairo.h>
#include <cmath>
#include <numbers>

namespace trox_plot
{
namespace
{

struct surface_destroyer {
    void operator()(cairo_surface_t* surface) const noexcept
    {
        cairo_surface_destroy(surface);
    }
};
struct context_destroyer {
    void operator()(cairo_t* context) const noexcept
    {
        cairo_destroy(context);
    }
};
using surface_handle = std::unique_ptr<cairo_surface_t, surface_destroyer>;
using context_handle = std::unique_ptr<cairo_t, context_destroyer>;

void check(cairo_status_t status)
{
    if (status != CAIRO_STATUS_SUCCESS) {
        throw trox::error(trox::fault::input_output, std::string("cannot draw: ") + cairo_status_to_string(status));
    }
}

surface_handle make_surface(int width, int height)
{
    surface_handle surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    check(cairo_surface_status(surface.get()));
    return surface;
}

void choose_font(cairo_t* context, double size)
{
    cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, size);
}

/// No exception may pass through the library.
cairo_status_t append(void* text, const unsigned char* bytes, unsigned size) noexcept
{
    try {
        static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(bytes), size);
        return CAIRO_STATUS_SUCCESS;
    } catch (const std::bad_alloc&) {
        return CAIRO_STATUS_NO_MEMORY;
    }
}

std::string file_of(cairo_surface_t* surface)
{
    std::string bytes;
    check(cairo_surface_write_to_png_stream(surface, append, &bytes));
    return bytes;
}

surface_handle surface_of(const colored_image& what)
{
    surface_handle surface = make_surface(static_cast<int>(what.width), static_cast<int>(what.height));
    cairo_surface_flush(surface.get());
    unsigned char* const data = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    for (std::size_t y = 0; y < what.height; ++y) {
        for (std::size_t x = 0; x < what.width; ++x) {
            const color& pixel = what.pixels[y * what.width + x];
            const auto word = static_cast<std::uint32_t>(pixel.red << 16 | pixel.green << 8 | pixel.blue);
            __builtin_memcpy(data + y * static_cast<std::size_t>(stride) + x * sizeof word, &word, sizeof word);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

class png_canvas final : public canvas
{
public:
    explicit png_canvas(const extent& size)
        : surface_(make_surface(static_cast<int>(size.width), static_cast<int>(size.height))),
          context_(cairo_create(surface_.get()))
    {
        check(cairo_status(context_.get()));
        cairo_set_line_join(context_.get(), CAIRO_LINE_JOIN_ROUND);
    }
    void rectangle(const box& place, color fill) override
    {
        choose(fill);
        cairo_rectangle(context_.get(), place.x, place.y, place.width, place.height);
        cairo_fill(context_.get());
    }
    void line(const std::vector<point>& points, const stroke& how) override
    {
        choose(how.ink);
        cairo_set_line_width(context_.get(), how.width);
        cairo_set_dash(context_.get(), how.dashes.data(), static_cast<int>(how.dashes.size()), 0);
        cairo_new_path(context_.get());
        for (const point& next : points) {
            cairo_line_to(context_.get(), next.x, next.y);
        }
        cairo_stroke(context_.get());
    }
    void dots(const std::vector<point>& points, const stroke& how) override
    {
        choose(how.ink);
        for (const point& next : points) {
            cairo_new_path(context_.get());
            cairo_arc(context_.get(), next.x, next.y, how.width, 0, 2 * std::numbers::pi);
            cairo_fill(context_.get());
        }
    }
    void text(point place, const std::string& words, double size, anchor where) override
    {
        choose(black);
        choose_font(context_.get(), size);
        const double width = text_width(words, size);
        cairo_save(context_.get());
        cairo_translate(context_.get(), place.x, place.y);
        if (where == anchor::upwards) {
            cairo_rotate(context_.get(), -std::numbers::pi / 2);
        }
        cairo_move_to(context_.get(), where == anchor::begin ? 0 : where == anchor::end ? -width : -width / 2, 0);
        cairo_show_text(context_.get(), words.c_str());
        cairo_restore(context_.get());
    }
    void image(const box& place, const colored_image& what) override
    {
        const surface_handle pixels = surface_of(what);
        cairo_save(context_.get());
        cairo_translate(context_.get(), place.x, place.y);
        cairo_scale(context_.get(), place.width / static_cast<double>(what.width),
                    place.height / static_cast<double>(what.height));
        cairo_set_source_surface(context_.get(), pixels.get(), 0, 0);
        cairo_pattern_set_filter(cairo_get_source(context_.get()), CAIRO_FILTER_NEAREST);
        cairo_paint(context_.get());
        cairo_restore(context_.get());
    }
    std::string finish() override
    {
        check(cairo_status(context_.get()));
        cairo_surface_flush(surface_.get());
        return file_of(surface_.get());
    }

private:
    void choose(color ink)
    {
        constexpr double most = 255;
        cairo_set_source_rgb(context_.get(), ink.red / most, ink.green / most, ink.blue / most);
    }

    surface_handle surface_;
    context_handle context_;
};

} // namespace

std::unique_ptr<canvas> make_png_canvas(const extent& size)
{
    return std::make_unique<png_canvas>(size);
}

double text_width(const std::string& words, double size)
{
    const surface_handle surface = make_surface(1, 1);
    const context_handle context(cairo_create(surface.get()));
    choose_font(context.get(), size);
    cairo_text_extents_t measured{};
    cairo_text_extents(context.get(), words.c_str(), &measured);
    check(cairo_status(context.get()));
    return measured.x_advance;
}

std::string png_bytes(const colored_image& what)
{
    return file_of(surface_of(what).get());
}

} // namespace trox_plot
