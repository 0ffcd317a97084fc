#include "terminal.h"

#include "dot_grid.h"
#include "draw.h"
#include "reduce.h"
#include "ticks.h"

#include "base/utf8.h"

#include <algorithm>
#include <cmath>

namespace trox_plot
{
namespace
{

constexpr std::size_t least_width = 30;
constexpr std::size_t least_height = 8;

std::string cut(const std::string& text, std::size_t most)
{
    std::string result;
    std::string_view rest = text;
    for (std::size_t i = 0; i < most && !rest.empty(); ++i) {
        const std::size_t size = std::max<std::size_t>(trox_base::character_size(rest), 1);
        result += rest.substr(0, size);
        rest.remove_prefix(size);
    }
    return result;
}

std::string padded_left(const std::string& text, std::size_t width)
{
    const std::size_t size = trox_base::character_count(text);
    return size < width ? std::string(width - size, ' ') + text : text;
}

std::string centred(const std::string& text, std::size_t width)
{
    const std::string kept = cut(text, width);
    return std::string((width - trox_base::character_count(kept)) / 2, ' ') + kept;
}

/// Where a value stands among so many places.
long place_of(double value, range from, std::size_t places)
{
    return std::lround((value - from.low) / (from.high - from.low) * static_cast<double>(places - 1));
}

/// The characters of frames and ticks.
struct frame_signs {
    const char* side;
    const char* side_tick;
    const char* corner;
    const char* floor;
    const char* floor_tick;
};

frame_signs signs_of(cell_style style)
{
    return style == cell_style::ascii ? frame_signs{"|", "+", "+", "-", "+"} : frame_signs{"│", "┤", "└", "─", "┬"};
}

struct figure_layout {
    range x;
    scale x_marks;
    std::size_t left = 0;   // characters before the frame
    std::size_t width = 0;  // of a panel's inside
    std::size_t height = 0; // of the same
};

void add_curve(dot_grid& grid, const series& curve, range x, range y, std::size_t index)
{
    const auto column = [&](double value) { return place_of(value, x, grid.width()); };
    const auto line = [&](double value) {
        return static_cast<long>(grid.height()) - 1 - place_of(value, y, grid.height());
    };
    for (const std::vector<point>& part : parts_of(curve.points)) {
        const auto corners = envelope(curve.form == curve_form::steps ? stepped(part) : part, column);
        point before = corners.front();
        for (const point& next : corners) {
            grid.line(column(before.x), line(before.y), column(next.x), line(next.y), index);
            before = next;
        }
    }
}

std::string floor_of(const figure_layout& layout, const frame_signs& signs)
{
    std::vector<const char*> cells(layout.width, signs.floor);
    for (const tick& tick : layout.x_marks.ticks) {
        cells[static_cast<std::size_t>(std::clamp(place_of(tick.value, layout.x, layout.width), 0L,
                                                  static_cast<long>(layout.width) - 1))] = signs.floor_tick;
    }
    std::string text = std::string(layout.left, ' ') + signs.corner;
    for (const char* const cell : cells) {
        text += cell;
    }
    return text + "\n";
}

/// Labels below their ticks; those that would touch another are left out.
std::string labels_of(const figure_layout& layout)
{
    const std::size_t first = layout.left + 1;
    std::string text;
    for (const tick& tick : layout.x_marks.ticks) {
        const long middle = static_cast<long>(first) + place_of(tick.value, layout.x, layout.width);
        const auto size = static_cast<long>(tick.label.size());
        const long begin = std::clamp(middle - size / 2, 0L, static_cast<long>(first + layout.width) - size);
        if (begin >= 0 && (text.empty() || begin > static_cast<long>(text.size()))) {
            text.append(static_cast<std::size_t>(begin) - text.size(), ' ');
            text += tick.label;
        }
    }
    return text + "\n";
}

std::string legend_of(const panel& what, const terminal& where)
{
    if (what.curves.size() < 2 || !where.has_colors) {
        return cut(what.label, where.width);
    }
    std::string text = what.label;
    std::size_t size = trox_base::character_count(text);
    for (std::size_t i = 0; i < what.curves.size(); ++i) {
        const std::string& label = what.curves[i].label;
        size += trox_base::character_count(label) + 2;
        if (size > where.width) {
            break;
        }
        text += "  " + letter_color(curve_color(i)) + label + plain_color;
    }
    return text;
}

std::string draw_panel(const panel& what, const figure_layout& layout, const terminal& where)
{
    const range y = y_range(what);
    const scale marks = number_scale(y, std::max<std::size_t>(layout.height / 3, 2));
    dot_grid grid(layout.width, layout.height, where.style);
    for (std::size_t i = 0; i < what.curves.size(); ++i) {
        add_curve(grid, what.curves[i], layout.x, y, i);
    }
    std::vector<std::string> labels(layout.height);
    for (const tick& tick : marks.ticks) {
        const long line = static_cast<long>(layout.height) - 1 - place_of(tick.value, y, layout.height);
        labels[static_cast<std::size_t>(std::clamp(line, 0L, static_cast<long>(layout.height) - 1))] = tick.label;
    }
    const frame_signs signs = signs_of(where.style);
    std::string text = legend_of(what, where) + (marks.suffix.empty() ? "" : " (" + marks.suffix + ")") + "\n";
    for (std::size_t i = 0; i < layout.height; ++i) {
        text += padded_left(labels[i], layout.left) + (labels[i].empty() ? signs.side : signs.side_tick) +
                grid.row(i, where) + "\n";
    }
    return text;
}

/// Characters that the labels of the panels' values need.
std::size_t label_width(const figure& what, std::size_t height)
{
    std::size_t width = 0;
    for (const panel& panel : what.panels) {
        for (const tick& tick : number_scale(y_range(panel), std::max<std::size_t>(height / 3, 2)).ticks) {
            width = std::max(width, tick.label.size());
        }
    }
    return width;
}

std::string draw_figure(const figure& what, const terminal& where)
{
    const std::size_t panels = std::max<std::size_t>(what.panels.size(), 1);
    constexpr std::size_t lines_around = 3; // title, labels of the common axis, its name
    constexpr std::size_t lines_of_panel = 2;
    constexpr std::size_t least_lines = 3;
    constexpr std::size_t label_room = 14;
    const std::size_t used = lines_around + lines_of_panel * panels;
    figure_layout layout;
    layout.height = std::max((where.height > used ? where.height - used : 0) / panels, least_lines);
    layout.left = label_width(what, layout.height) + 1;
    layout.width = where.width - std::min(layout.left + 1, where.width - least_width / 2);
    layout.x = x_range(what);
    layout.x_marks = scale_of(what.axis, layout.x, std::max<std::size_t>(layout.width / label_room, 2));

    std::string text = centred(what.title, where.width) + "\n";
    for (const panel& panel : what.panels) {
        text += draw_panel(panel, layout, where) + floor_of(layout, signs_of(where.style));
    }
    const std::string& suffix = layout.x_marks.suffix;
    const std::string label = suffix.empty()       ? what.label
                              : what.label.empty() ? suffix
                                                   : what.label + " (" + suffix + ")";
    return text + labels_of(layout) + centred(label, where.width) + "\n";
}

// --- images ---------------------------------------------------------------------------------------------

/// The image in so many places: blocks when it is larger, repeated pixels when it is smaller.
picture fitted(const picture& what, std::size_t width, std::size_t height)
{
    const picture small = shrunk(what, width, height);
    picture result = small;
    result.width = width;
    result.height = height;
    result.values.clear();
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            result.values.push_back(small.values[y * small.height / height * small.width + x * small.width / width]);
        }
    }
    return result;
}

double brightness(float value, const value_range& values)
{
    return values.high > values.low ? (static_cast<double>(value) - values.low) / (values.high - values.low) : 0;
}

/// Two pixels in every cell, one above the other.
std::string colored_rows(const picture& shown, const value_range& values)
{
    std::string text;
    for (std::size_t y = 0; y + 1 < shown.height; y += 2) {
        for (std::size_t x = 0; x < shown.width; ++x) {
            text += letter_color(value_color(brightness(shown.values[y * shown.width + x], values)));
            text += back_color(value_color(brightness(shown.values[(y + 1) * shown.width + x], values)));
            text += "▀";
        }
        text += plain_color;
        text += "\n";
    }
    return text;
}

std::string shaded_rows(const picture& shown, const value_range& values, cell_style style)
{
    const std::vector<std::string> shades =
        style == cell_style::ascii ? std::vector<std::string>{" ", ".", ":", "-", "=", "+", "*", "#", "%", "@"}
                                   : std::vector<std::string>{" ", "░", "▒", "▓", "█"};
    std::string text;
    for (std::size_t y = 0; y + 1 < shown.height; y += 2) {
        for (std::size_t x = 0; x < shown.width; ++x) {
            const float value = std::max(shown.values[y * shown.width + x], shown.values[(y + 1) * shown.width + x]);
            const auto shade = static_cast<std::size_t>(std::clamp(brightness(value, values), 0.0, 1.0) *
                                                        static_cast<double>(shades.size()));
            text += shades[std::min(shade, shades.size() - 1)];
        }
        text += "\n";
    }
    return text;
}

std::string draw_picture(const picture& what, const terminal& where)
{
    constexpr std::size_t lines_around = 2;
    const std::size_t most_lines = (where.height - lines_around) * 2;
    const double zoom = std::min(static_cast<double>(where.width) / static_cast<double>(what.width),
                                 static_cast<double>(most_lines) / static_cast<double>(what.height));
    const auto width =
        std::clamp<std::size_t>(static_cast<std::size_t>(static_cast<double>(what.width) * zoom), 1, where.width);
    const auto lines = std::clamp<std::size_t>(static_cast<std::size_t>(static_cast<double>(what.height) * zoom) / 2, 1,
                                               most_lines / 2);
    const picture shown = fitted(what, width, 2 * lines);
    const value_range values = values_of(what);
    std::string label = what.label.empty() ? "values" : what.label;
    const auto plain = [](float value) {
        std::string text = std::to_string(value);
        text.erase(text.find_last_not_of('0') + 1);
        return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
    };
    label += ": " + plain(static_cast<float>(values.low)) + " (dark) to " + plain(static_cast<float>(values.high));
    return centred(what.title, where.width) + "\n" +
           (where.has_colors ? colored_rows(shown, values) : shaded_rows(shown, values, where.style)) +
           cut(label + ", " + std::to_string(what.width) + " x " + std::to_string(what.height) + " pixels",
               where.width) +
           "\n";
}

} // namespace

std::string draw_in_terminal(const drawing& what, const terminal& where)
{
    terminal at_least = where;
    at_least.width = std::max(where.width, least_width);
    at_least.height = std::max(where.height, least_height);
    if (const auto* const curves = std::get_if<figure>(&what)) {
        return draw_figure(*curves, at_least);
    }
    return draw_picture(std::get<picture>(what), at_least);
}

} // namespace trox_plot
