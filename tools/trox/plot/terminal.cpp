#include "terminal.h"

#include "dot_grid.h"
#include "draw.h"
#include "reduce.h"
#include "ticks.h"

#include "base/utf8.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

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
    const std::string kept = trox_base::shortened(text, width);
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

/// The lines above a panel: what its values are, and the names of its curves.
std::vector<std::string> heading_of(const panel& what, const scale& marks, const terminal& where)
{
    const std::string label = label_with(what.label, marks);
    std::vector<std::string> lines{trox_base::shortened(label, where.width)};
    std::size_t used = trox_base::character_count(lines[0]);
    for (std::size_t i = 0; what.curves.size() > 1 && i < what.curves.size(); ++i) {
        const bool has_sign = where.style == cell_style::ascii;
        const std::string words = trox_base::shortened(what.curves[i].label, where.width - 4);
        const std::size_t size = trox_base::character_count(words) + (has_sign ? 4 : 2);
        if (used + size > where.width) {
            lines.emplace_back();
            used = 0;
        }
        const std::string sign = has_sign ? std::string(1, curve_sign(i)) + " " : "";
        lines.back() += used == 0 ? "" : "  ";
        lines.back() += where.has_colors ? letter_color(curve_color(i)) + sign + words + plain_color : sign + words;
        used += size;
    }
    return lines;
}

/// A panel with its scale and the lines above it.
struct titled_panel {
    const panel* what;
    range y;
    scale marks;
    std::vector<std::string> heading;
};

std::string draw_panel(const titled_panel& shown, const figure_layout& layout, const terminal& where)
{
    dot_grid grid(layout.width, layout.height, where.style);
    for (std::size_t i = 0; i < shown.what->curves.size(); ++i) {
        add_curve(grid, shown.what->curves[i], layout.x, shown.y, i);
    }
    std::vector<std::string> labels(layout.height);
    for (const tick& tick : shown.marks.ticks) {
        const long line = static_cast<long>(layout.height) - 1 - place_of(tick.value, shown.y, layout.height);
        labels[static_cast<std::size_t>(std::clamp(line, 0L, static_cast<long>(layout.height) - 1))] = tick.label;
    }
    const frame_signs signs = signs_of(where.style);
    std::string text;
    for (const std::string& line : shown.heading) {
        text += line + "\n";
    }
    for (std::size_t i = 0; i < layout.height; ++i) {
        text += padded_left(labels[i], layout.left) + (labels[i].empty() ? signs.side : signs.side_tick) +
                grid.row(i, where) + "\n";
    }
    return text;
}

constexpr std::size_t least_lines = 3; // of a panel's inside

/// Panels of one curve each.
figure split(const figure& what)
{
    figure result = what;
    result.panels.clear();
    for (const panel& panel : what.panels) {
        for (const series& curve : panel.curves) {
            const bool has_unit = panel.label.ends_with("]");
            const std::string unit = has_unit ? panel.label.substr(panel.label.rfind('[')) : "";
            const bool is_alone = panel.curves.size() == 1;
            result.panels.push_back({is_alone ? panel.label : curve.label + (has_unit ? " " + unit : ""), {curve}});
        }
    }
    return result;
}

/// Whether a panel has curves that look the same.
bool has_equal_curves(const figure& what, const terminal& where)
{
    return !where.has_colors && where.style != cell_style::ascii &&
           std::any_of(what.panels.begin(), what.panels.end(), [](const panel& one) { return one.curves.size() > 1; });
}

std::string draw_figure(const figure& what, const terminal& where)
{
    constexpr std::size_t lines_below = 2; // labels of the common axis, its name
    constexpr std::size_t label_room = 14;
    const bool has_two_titles = !what.title.empty() && !what.when.empty();
    std::size_t used = lines_below + (has_two_titles ? 2 : 1);
    std::vector<titled_panel> panels;
    for (const panel& panel : what.panels) {
        const range y = y_range(panel);
        panels.push_back({&panel, y, {}, heading_of(panel, number_scale(y, 2), where)});
        used += panels.back().heading.size() + 1; // the line below
    }
    figure_layout layout;
    layout.height = std::max((where.height > used ? where.height - used : 0) / std::max<std::size_t>(panels.size(), 1),
                             least_lines);
    for (titled_panel& shown : panels) {
        shown.marks = number_scale(shown.y, std::max<std::size_t>(layout.height / 3, 2));
        for (const tick& tick : shown.marks.ticks) {
            layout.left = std::max(layout.left, tick.label.size());
        }
    }
    ++layout.left;
    layout.width = where.width - std::min(layout.left + 1, where.width - least_width / 2);
    layout.x = x_range(what);
    layout.x_marks = scale_of(what.axis, layout.x, std::max<std::size_t>(layout.width / label_room, 2), what.times);

    std::string text = centred(what.title.empty() ? what.when : what.title, where.width) + "\n";
    text += has_two_titles ? centred(what.when, where.width) + "\n" : "";
    for (const titled_panel& shown : panels) {
        text += draw_panel(shown, layout, where) + floor_of(layout, signs_of(where.style));
    }
    return text + labels_of(layout) + centred(label_with(what.label, layout.x_marks), where.width) + "\n";
}

std::string draw_distinct(const figure& what, const terminal& where)
{
    if (!has_equal_curves(what, where)) {
        return draw_figure(what, where);
    }
    const figure apart = split(what);
    constexpr std::size_t lines_around = 4;
    if (lines_around + apart.panels.size() * (least_lines + 2) <= where.height) {
        return draw_figure(apart, where);
    }
    terminal with_signs = where;
    with_signs.style = cell_style::ascii;
    return draw_figure(what, with_signs);
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
    const bool has_two_titles = !what.title.empty() && !what.when.empty();
    const std::size_t lines_around = has_two_titles ? 3 : 2;
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
    return centred(what.title.empty() ? what.when : what.title, where.width) + "\n" +
           (has_two_titles ? centred(what.when, where.width) + "\n" : "") +
           (where.has_colors ? colored_rows(shown, values) : shaded_rows(shown, values, where.style)) +
           cut(label + ", " + std::to_string(what.width) + " x " + std::to_string(what.height) + " pixels",
               where.width) +
           "\n";
}

/// Signs of the drawing's own words in ASCII.
std::string with_plain_signs(std::string text)
{
    for (const auto& [sign, plain] : {std::pair<std::string_view, const char*>{"×", "x"}, {"…", "~"}}) {
        for (std::size_t at = text.find(sign); at != std::string::npos; at = text.find(sign, at)) {
            text.replace(at, sign.size(), plain);
        }
    }
    return text;
}

std::string drawn(const drawing& what, const terminal& where)
{
    if (const auto* const curves = std::get_if<figure>(&what)) {
        return draw_distinct(*curves, where);
    }
    return draw_picture(std::get<picture>(what), where);
}

} // namespace

std::string draw_in_terminal(const drawing& what, const terminal& where)
{
    terminal at_least = where;
    at_least.width = std::max(where.width, least_width);
    at_least.height = std::max(where.height, least_height);
    return where.style == cell_style::ascii ? with_plain_signs(drawn(what, at_least)) : drawn(what, at_least);
}

} // namespace trox_plot
