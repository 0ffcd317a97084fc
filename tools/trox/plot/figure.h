// What is drawn: curves in panels, or an image. Free of pixels and of the data that it came from.
#ifndef TROX_PLOT_FIGURE_H
#define TROX_PLOT_FIGURE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace trox_plot
{

struct point {
    double x = 0;
    double y = 0; ///< NaN: the curve is interrupted
};

/// How a curve goes from point to point.
enum class curve_form {
    lines, ///< straight
    steps  ///< keeps a value until the next one
};

struct series {
    std::string label{};
    curve_form form = curve_form::lines;
    std::vector<point> points{}; ///< x ascending between interruptions
};

/// Curves with an axis of values in common.
struct panel {
    std::string label{}; ///< of the axis of values, with unit
    std::vector<series> curves{};
};

enum class axis_kind {
    numbers,
    time ///< microseconds since 1970
};

/// How times are shown.
struct time_words {
    bool is_local = false;                     ///< in the time zone of the process; else UTC
    std::string zone = "UTC";                  ///< stands behind days
    std::function<std::string(double)> show{}; ///< for every tick; none: what its step needs, and the day beside
};

/// Panels one below the other, with an axis in common.
struct figure {
    std::string title{};
    std::string when{};  ///< event and time, behind or below the title
    std::string label{}; ///< of the common axis; for times the day is added
    axis_kind axis = axis_kind::numbers;
    time_words times{};
    std::vector<panel> panels{};
};

/// An image, line by line from above.
struct picture {
    std::string title{};
    std::string when{};
    std::string label{}; ///< of the values, with unit
    std::size_t width = 0;
    std::size_t height = 0;
    double x = 0; ///< of the first pixel
    double y = 0;
    std::vector<float> values{}; ///< width * height
};

using drawing = std::variant<figure, picture>;

} // namespace trox_plot

#endif
