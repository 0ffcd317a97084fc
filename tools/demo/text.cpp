#include "text.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace trox_demo
{

std::string text(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    char buffer[512];
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return {buffer, std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof buffer - 1)};
}

std::string bytes_text(std::size_t bytes)
{
    const auto value = static_cast<double>(bytes);
    if (bytes < 10000) {
        return text("%zu B", bytes);
    }
    return bytes < 10000000 ? text("%.1f kB", value / 1e3) : text("%.1f MB", value / 1e6);
}

table::table(std::vector<column> columns, std::size_t gap) : columns_(std::move(columns)), gap_(gap) {}

void table::add(std::vector<std::string> cells)
{
    cells.resize(columns_.size());
    rows_.push_back(std::move(cells));
}

void table::print_line(const std::vector<std::string>& cells) const
{
    std::string line;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const std::string cell = cells[i].substr(0, columns_[i].width);
        const std::string padding(columns_[i].width - cell.size(), ' ');
        line += i == 0 ? "" : std::string(gap_, ' ');
        line += columns_[i].side == align::left ? cell + padding : padding + cell;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::puts(line.c_str());
}

void table::print() const
{
    std::vector<std::string> titles;
    std::vector<std::string> subtitles;
    std::size_t width = gap_ * (columns_.size() - 1);
    for (const auto& each : columns_) {
        titles.push_back(each.title);
        subtitles.push_back(each.subtitle);
        width += each.width;
    }
    print_line(titles);
    print_line(subtitles);
    std::puts(std::string(width, '-').c_str());
    for (const auto& row : rows_) {
        print_line(row);
    }
}

namespace
{

constexpr std::size_t curve_columns = 84;
constexpr std::size_t curve_rows = 13;

/// The curve as lines of characters, the lowest first.
std::vector<std::string> drawn_curve(const std::vector<float>& samples, double low, double span)
{
    const auto row_of = [&](float value) {
        return static_cast<std::size_t>(std::lround((value - low) / span * (curve_rows - 1)));
    };
    const auto sample = [&](std::size_t i) { return samples.begin() + static_cast<std::ptrdiff_t>(i); };
    std::vector<std::string> lines(curve_rows, std::string(curve_columns, ' '));
    for (std::size_t x = 0; x < curve_columns; ++x) {
        const std::size_t first = x * samples.size() / curve_columns;
        const std::size_t last = std::max(first + 1, (x + 1) * samples.size() / curve_columns);
        const auto [least, most] = std::minmax_element(sample(first), sample(last));
        for (std::size_t y = row_of(*least); y <= row_of(*most); ++y) {
            lines[y][x] = '*';
        }
    }
    return lines;
}

} // namespace

void print_curve(const std::vector<float>& samples, float start, float inc, const std::string& x_unit,
                 const std::string& y_unit)
{
    if (samples.empty()) {
        return;
    }
    const auto [lowest, highest] = std::minmax_element(samples.begin(), samples.end());
    const double low = *lowest;
    const double span = std::max(static_cast<double>(*highest) - low, 1e-12);
    const auto lines = drawn_curve(samples, low, span);
    for (std::size_t y = curve_rows; y-- > 0;) {
        const double value = low + span * static_cast<double>(y) / (curve_rows - 1);
        const char* const unit = y + 1 == curve_rows ? y_unit.c_str() : "";
        const std::string label = y % 4 == 0 ? text("%8.1f %s", value, unit) : "";
        std::printf("%-13s |%s\n", label.c_str(), lines[y].substr(0, lines[y].find_last_not_of(' ') + 1).c_str());
    }
    const double end = start + static_cast<double>(inc) * static_cast<double>(samples.size());
    const std::string right = text("%.0f %s", end, x_unit.c_str());
    const int room = static_cast<int>(curve_columns - right.size());
    std::printf("%14s+%s\n", "", std::string(curve_columns, '-').c_str());
    std::printf("%15s%-*.0f%s\n", "", room, static_cast<double>(start), right.c_str());
}

void print_picture(const std::vector<double>& pixels, std::size_t width)
{
    constexpr std::string_view shades = " .:-=+*#%@";
    constexpr std::size_t across = 2; // pixels to a character: characters are about twice as high as wide
    constexpr std::size_t down = 4;
    if (width == 0 || pixels.empty()) {
        return;
    }
    const auto [lowest, highest] = std::minmax_element(pixels.begin(), pixels.end());
    const double span = std::max(*highest - *lowest, 1e-12);
    const std::size_t height = pixels.size() / width;
    for (std::size_t y = 0; y < height; y += down) {
        std::string line;
        for (std::size_t x = 0; x < width; x += across) {
            const double brightness = (pixels[y * width + x] - *lowest) / span;
            line += shades[static_cast<std::size_t>(brightness * static_cast<double>(shades.size() - 1) + 0.5)];
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%14s|%s\n", "", line.c_str());
    }
}

} // namespace trox_demo
