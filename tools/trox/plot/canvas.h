// Something to draw upon, in pixels from the upper left corner.
#ifndef TROX_PLOT_CANVAS_H
#define TROX_PLOT_CANVAS_H

#include "color.h"
#include "figure.h"

#include <memory>
#include <string>
#include <vector>

namespace trox_plot
{

struct extent {
    double width = 900;
    double height = 540;
};

struct box {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// Which part of a text stands at its place; `upwards`: its middle, read from below.
enum class anchor { begin, middle, end, upwards };

/// What a line or some dots are: "curve", "frame", "grid" or "tick".
struct stroke {
    color ink = black;
    double width = 1;
    const char* kind = "frame";
    std::vector<double> dashes{}; ///< lengths of line and gap in turn; none: without gaps
};

struct colored_image {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<color> pixels{};
};

class canvas
{
public:
    virtual ~canvas() = default;
    virtual void rectangle(const box& place, color fill) = 0;
    virtual void line(const std::vector<point>& points, const stroke& how) = 0;
    virtual void dots(const std::vector<point>& points, const stroke& how) = 0;
    /// The baseline is at y.
    virtual void text(point place, const std::string& words, double size, anchor where) = 0;
    /// Every pixel as a rectangle.
    virtual void image(const box& place, const colored_image& what) = 0;
    /// The whole as bytes of a file. Throws error (input_output).
    virtual std::string finish() = 0;
};

/// Throw error (input_output) when there is no memory.
std::unique_ptr<canvas> make_svg_canvas(const extent& size, const std::string& title);
std::unique_ptr<canvas> make_png_canvas(const extent& size);

/// Width of a line of text in pixels.
double text_width(const std::string& words, double size);

/// Pixels as a PNG file.
std::string png_bytes(const colored_image& what);

} // namespace trox_plot

#endif
