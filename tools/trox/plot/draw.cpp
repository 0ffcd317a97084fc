#include "draw.h"

#include "reduce.h"
#include "ticks.h"

#include "base/utf8.h"
#include "trox/error.h"

#include <algorithm>
#include <cmath>

namespace trox_plot
{
namespace
{

constexpr double tick_size = 12; // of letters
constexpr double label_size = 13;
constexpr double smallest_label = 10;
constexpr double title_size = 15;
constexpr double line_height = 17;
constexpr double margin = 14;
constexpr double tick_length = 5;

/// Maps values to pixels.
struct mapping {
    range from;
    double begin = 0;
    double end = 1;

    double operator()(double value) const
    {
        return begin + (value - from.low) / (from.high - from.low) * (end - begin);
    }
};

/// As many ticks as have room, labels side by side.
scale fitting_scale(axis_kind kind, range axis, double pixels, const time_words& words = {})
{
    constexpr double space = 24;
    for (std::size_t most = 12; most > 2; --most) {
        scale found = scale_of(kind, axis, most, words);
        double widest = 0;
        for (const tick& tick : found.ticks) {
            widest = std::max(widest, text_width(tick.label, tick_size));
        }
        if ((widest + space) * static_cast<double>(found.ticks.size()) <= pixels) {
            return found;
        }
    }
    return scale_of(kind, axis, 2, words);
}

/// The text, or as much of its beginning and its end as has room.
std::string fitted_words(const std::string& words, double size, double pixels)
{
    std::string kept = words;
    for (std::size_t most = trox_base::character_count(words); most > 3 && text_width(kept, size) > pixels; --most) {
        kept = trox_base::shortened(words, most - 1);
    }
    return kept;
}

/// The unit in a panel's label.
std::string unit_of(const std::string& label)
{
    return label.ends_with("]") ? label.substr(label.rfind('[')) : "";
}

/// A text that must not be wider than some pixels: somewhat smaller, and then shorter.
void fitting_text(canvas& to, point place, const std::string& words, double size, anchor where, double pixels)
{
    const double width = text_width(words, size);
    const double chosen = width > pixels ? std::max(size * pixels / width, smallest_label) : size;
    to.text(place, fitted_words(words, chosen, pixels), chosen, where);
}

/// A title, whose name is shortened where there is no room, but never what stands behind it.
void draw_title(canvas& to, point place, const std::string& title, const std::string& when, double pixels)
{
    const std::string behind = title.empty() || when.empty() ? when : ", " + when;
    const double room = pixels - text_width(behind, title_size);
    fitting_text(to, place, (room > 0 ? fitted_words(title, title_size, room) : title) + behind, title_size,
                 anchor::middle, pixels);
}

void draw_frame(canvas& to, const box& area)
{
    const double right = area.x + area.width;
    const double below = area.y + area.height;
    to.line({{area.x, area.y}, {right, area.y}, {right, below}, {area.x, below}, {area.x, area.y}},
            {black, 1, "frame"});
}

void draw_x_axis(canvas& to, const box& area, const mapping& x, const scale& marks, const std::string& label)
{
    const double below = area.y + area.height;
    for (const tick& tick : marks.ticks) {
        const double at = x(tick.value);
        to.line({{at, below}, {at, below + tick_length}}, {black, 1, "tick"});
        to.text({at, below + tick_length + tick_size + 1}, tick.label, tick_size, anchor::middle);
    }
    fitting_text(to, {area.x + area.width / 2, below + tick_length + tick_size + line_height + 4},
                 label_with(label, marks), label_size, anchor::middle, area.width);
}

void draw_y_axis(canvas& to, const box& area, const mapping& y, const scale& marks, const std::string& label)
{
    for (const tick& tick : marks.ticks) {
        const double at = y(tick.value);
        to.line({{area.x - tick_length, at}, {area.x, at}}, {black, 1, "tick"});
        constexpr double to_middle = 0.36;
        to.text({area.x - tick_length - 3, at + to_middle * tick_size}, tick.label, tick_size, anchor::end);
    }
    fitting_text(to, {margin + label_size - 2, area.y + area.height / 2}, label_with(label, marks), label_size,
                 anchor::upwards, area.height);
}

/// Colours repeat, and lines are dashed then.
stroke stroke_of(std::size_t curve, double width, const char* kind)
{
    constexpr double dash = 7;
    constexpr double dot = 2;
    constexpr double gap = 3;
    const std::vector<std::vector<double>> kinds{{}, {dash, gap}, {dot, gap}, {dash, gap, dot, gap}};
    return {curve_color(curve), width, kind, kinds[curve / curve_colors % kinds.size()]};
}

void draw_curve(canvas& to, const series& curve, const mapping& x, const mapping& y, std::size_t index)
{
    const auto column = [&x](double value) { return std::lround(std::floor(x(value))); };
    constexpr std::size_t most_dots = 100;
    std::size_t count = 0;
    std::vector<point> single;
    for (const std::vector<point>& part : parts_of(curve.points)) {
        count += part.size();
        std::vector<point> corners = envelope(curve.form == curve_form::steps ? stepped(part) : part, column);
        for (point& corner : corners) {
            corner = {x(corner.x), y(corner.y)};
        }
        if (corners.size() == 1) {
            single.push_back(corners[0]);
        } else {
            to.line(corners, stroke_of(index, 1.4, "curve"));
        }
    }
    // Few points are shown as such; and what has no neighbour would not be seen.
    if (count <= most_dots) {
        single.clear();
        for (const point& next : curve.points) {
            if (!std::isnan(next.y)) {
                single.push_back({x(next.x), y(next.y)});
            }
        }
    }
    if (!single.empty()) {
        to.dots(single, {curve_color(index), 2.2, "curve", {}});
    }
}

/// The names of a panel's curves, above it: where no curve is.
class legend
{
public:
    /// Takes at most `most_lines` lines, the last of which tells how many are left out.
    legend(const panel& what, double width, std::size_t most_lines)
    {
        for (std::size_t i = 0; i < what.curves.size(); ++i) {
            const std::string words = fitted_words(what.curves[i].label, tick_size, width - sample);
            const double room = sample + text_width(words, tick_size) + gap;
            if (lines_.empty() || used_ + room > width + gap) {
                if (lines_.size() == most_lines) {
                    left_out_ = what.curves.size() - i;
                    break;
                }
                lines_.emplace_back();
                used_ = 0;
            }
            lines_.back().push_back({i, used_, words});
            used_ += room;
        }
        if (left_out_ != 0) { // in the last line of all
            left_out_ += lines_.back().size();
            lines_.back().clear();
        }
    }
    legend() = default;
    bool is_there() const
    {
        return !lines_.empty();
    }
    double height() const
    {
        return line_height * static_cast<double>(lines_.size());
    }
    void draw(canvas& to, double left, double top) const
    {
        for (std::size_t line = 0; line < lines_.size(); ++line) {
            const double middle = top + line_height * (static_cast<double>(line) + 0.4);
            for (const entry& one : lines_[line]) {
                const double begin = left + one.begin;
                to.line({{begin, middle}, {begin + sample - 5, middle}}, stroke_of(one.curve, 2.5, "legend"));
                to.text({begin + sample, middle + 4}, one.words, tick_size, anchor::begin);
            }
            if (left_out_ != 0 && line + 1 == lines_.size()) {
                to.text({left, middle + 4}, "and " + std::to_string(left_out_) + " more", tick_size, anchor::begin);
            }
        }
    }

private:
    struct entry {
        std::size_t curve;
        double begin;
        std::string words;
    };
    static constexpr double sample = 27;
    static constexpr double gap = 16;

    std::vector<std::vector<entry>> lines_;
    double used_ = 0;
    std::size_t left_out_ = 0;
};

double widest_label(const scale& marks)
{
    double widest = 0;
    for (const tick& tick : marks.ticks) {
        widest = std::max(widest, text_width(tick.label, tick_size));
    }
    return widest;
}

void draw_panel(canvas& to, const box& area, const panel& what, const mapping& x, const scale& x_marks,
                const mapping& y, const scale& y_marks, const std::string& label)
{
    const double below = area.y + area.height;
    for (const tick& tick : x_marks.ticks) {
        to.line({{x(tick.value), area.y}, {x(tick.value), below}}, {grey, 0.6, "grid"});
    }
    for (const tick& tick : y_marks.ticks) {
        to.line({{area.x, y(tick.value)}, {area.x + area.width, y(tick.value)}}, {grey, 0.6, "grid"});
    }
    draw_y_axis(to, area, y, y_marks, label);
    for (std::size_t i = 0; i < what.curves.size(); ++i) {
        draw_curve(to, what.curves[i], x, y, i);
    }
    draw_frame(to, area);
}

void draw_figure(canvas& to, const figure& what, const extent& size)
{
    constexpr double panel_gap = 12;
    constexpr double pixels_per_tick = 42;
    const auto panels = static_cast<double>(std::max<std::size_t>(what.panels.size(), 1));
    const double top = margin + (what.title.empty() && what.when.empty() ? 0 : title_size + 8);
    const double bottom = tick_length + tick_size + line_height + margin + 6;
    const double room = (size.height - top - bottom - panel_gap * (panels - 1)) / panels;
    constexpr double legend_part = 0.4;                // of a panel's room, at most
    const double about = size.width - 2 * margin - 80; // the labels of the values are not known yet
    std::vector<legend> legends;
    double height = room;
    for (const panel& panel : what.panels) {
        const auto most = static_cast<std::size_t>(std::max(legend_part * room / line_height, 1.0));
        const bool is_wanted = panel.curves.size() > 1 || text_width(panel.label, smallest_label) > room - line_height;
        legends.push_back(is_wanted ? legend(panel, about, most) : legend());
        height -= legends.back().height() / panels;
    }

    std::vector<range> y_ranges;
    std::vector<scale> y_marks;
    double widest = 0;
    for (const panel& panel : what.panels) {
        y_ranges.push_back(y_range(panel));
        y_marks.push_back(
            number_scale(y_ranges.back(), static_cast<std::size_t>(std::clamp(height / pixels_per_tick, 2.0, 10.0))));
        widest = std::max(widest, widest_label(y_marks.back()));
    }
    const double left = margin + label_size + 10 + widest + tick_length;
    const double width = size.width - left - margin - 10;
    const mapping x{x_range(what), left, left + width};
    const scale x_marks = fitting_scale(what.axis, x.from, width, what.times);

    draw_title(to, {left + width / 2, margin + title_size - 3}, what.title, what.when, width);
    box area{left, top, width, height};
    double below = top;
    for (std::size_t i = 0; i < what.panels.size(); ++i) {
        legends[i].draw(to, left, below);
        area.y = below + legends[i].height();
        below = area.y + height + panel_gap;
        const mapping y{y_ranges[i], area.y + area.height, area.y};
        const std::string& label = what.panels[i].label;
        const bool is_named_above = legends[i].is_there() && what.panels[i].curves.size() == 1;
        draw_panel(to, area, what.panels[i], x, x_marks, y, y_marks[i], is_named_above ? unit_of(label) : label);
    }
    draw_x_axis(to, area, x, x_marks, what.label);
}

colored_image colored(const picture& what, const value_range& values)
{
    colored_image image{what.width, what.height, {}};
    image.pixels.reserve(what.values.size());
    const double size = values.high - values.low;
    for (const float value : what.values) {
        image.pixels.push_back(value_color(size > 0 ? (static_cast<double>(value) - values.low) / size : 0));
    }
    return image;
}

void draw_color_bar(canvas& to, const box& area, const value_range& values, const std::string& label)
{
    constexpr std::size_t steps = 128;
    colored_image bar{1, steps, {}};
    for (std::size_t i = 0; i < steps; ++i) {
        bar.pixels.push_back(value_color(1 - static_cast<double>(i) / (steps - 1)));
    }
    to.image(area, bar);
    draw_frame(to, area);
    const range shown{values.low, values.high > values.low ? values.high : values.low + 1};
    const mapping y{shown, area.y + area.height, area.y};
    const scale marks = number_scale(shown, 6);
    for (const tick& tick : marks.ticks) {
        const double at = y(tick.value);
        const double right = area.x + area.width;
        to.line({{right, at}, {right + tick_length, at}}, {black, 1, "tick"});
        to.text({right + tick_length + 3, at + 4}, tick.label, tick_size, anchor::begin);
    }
    to.text({area.x + area.width / 2, area.y - 6}, label_with(label, marks), tick_size, anchor::middle);
}

void draw_picture(canvas& to, const picture& what, const extent& size)
{
    constexpr double bar_room = 110;
    constexpr double bar_width = 18;
    const double top = margin + title_size + 22;
    const double bottom = tick_length + tick_size + line_height + margin + 6;
    const range y_axis{what.y, what.y + static_cast<double>(what.height)};
    const range x_axis{what.x, what.x + static_cast<double>(what.width)};
    const scale y_marks = number_scale(y_axis, 8);
    const double left = margin + label_size + 10 + widest_label(y_marks) + tick_length;
    const double width = size.width - left - bar_room;
    const double height = size.height - top - bottom;
    const double zoom = std::min(width / static_cast<double>(what.width), height / static_cast<double>(what.height));
    const box area{left, top, zoom * static_cast<double>(what.width), zoom * static_cast<double>(what.height)};

    draw_title(to, {size.width / 2, margin + title_size - 3}, what.title, what.when, size.width - 2 * margin);
    const value_range values = values_of(what);
    to.image(area, colored(shrunk(what, static_cast<std::size_t>(std::ceil(area.width)),
                                  static_cast<std::size_t>(std::ceil(area.height))),
                           values));
    draw_frame(to, area);
    const mapping x{x_axis, area.x, area.x + area.width};
    const mapping y{y_axis, area.y, area.y + area.height}; // lines count downwards
    draw_x_axis(to, area, x, fitting_scale(axis_kind::numbers, x_axis, area.width), "x (pixels)");
    draw_y_axis(to, area, y, y_marks, "y (pixels)");
    draw_color_bar(to, {area.x + area.width + 24, area.y, bar_width, area.height}, values, what.label);
}

std::string title_of(const drawing& what)
{
    return std::visit(
        [](const auto& kind) {
            return kind.title.empty() || kind.when.empty() ? kind.title + kind.when : kind.title + ", " + kind.when;
        },
        what);
}

} // namespace

value_range values_of(const picture& what)
{
    value_range found;
    bool is_any = false;
    for (const float number : what.values) {
        const auto value = static_cast<double>(number);
        if (std::isfinite(value)) {
            found.low = is_any ? std::min(found.low, value) : value;
            found.high = is_any ? std::max(found.high, value) : value;
            is_any = true;
        }
    }
    return found;
}

picture shrunk(const picture& what, std::size_t width, std::size_t height)
{
    const std::size_t x_block = (what.width + width - 1) / std::max<std::size_t>(width, 1);
    const std::size_t y_block = (what.height + height - 1) / std::max<std::size_t>(height, 1);
    if (x_block <= 1 && y_block <= 1) {
        return what;
    }
    picture result = what;
    result.width = (what.width + x_block - 1) / x_block;
    result.height = (what.height + y_block - 1) / y_block;
    result.values.assign(result.width * result.height, 0);
    for (std::size_t y = 0; y < what.height; ++y) {
        for (std::size_t x = 0; x < what.width; ++x) {
            float& place = result.values[y / y_block * result.width + x / x_block];
            const float value = what.values[y * what.width + x];
            const bool is_first = x % x_block == 0 && y % y_block == 0;
            place = is_first ? value : std::max(place, value);
        }
    }
    return result;
}

std::string draw(const drawing& what, file_kind kind, const extent& size)
{
    constexpr double most = 20000;
    if (!(size.width >= 200 && size.width <= most && size.height >= 150 && size.height <= most)) {
        throw trox::error(trox::fault::wrong_use, "a drawing has 200 x 150 to 20000 x 20000 pixels");
    }
    const auto to = kind == file_kind::svg ? make_svg_canvas(size, title_of(what)) : make_png_canvas(size);
    to->rectangle({0, 0, size.width, size.height}, white);
    if (const auto* const curves = std::get_if<figure>(&what)) {
        draw_figure(*to, *curves, size);
    } else {
        draw_picture(*to, std::get<picture>(what), size);
    }
    return to->finish();
}

} // namespace trox_plot
