// Dots in the cells of a terminal.
#ifndef TROX_PLOT_DOT_GRID_H
#define TROX_PLOT_DOT_GRID_H

#include "color.h"
#include "terminal.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trox_plot
{

class dot_grid
{
public:
    /// In cells.
    dot_grid(std::size_t width, std::size_t height, cell_style style);

    /// In dots.
    std::size_t width() const noexcept
    {
        return width_ * cell_width_;
    }
    std::size_t height() const noexcept
    {
        return height_ * cell_height_;
    }
    /// Dots outside the grid are left out. The last curve gives a cell its colour.
    void line(long x0, long y0, long x1, long y1, std::size_t curve);
    /// A line of cells, with escape sequences where colours are wanted.
    std::string row(std::size_t y, const terminal& where) const;

private:
    void set(long x, long y, std::size_t curve);
    std::string symbol(std::size_t cell) const;

    std::size_t width_;
    std::size_t height_;
    cell_style style_;
    std::size_t cell_width_;
    std::size_t cell_height_;
    std::vector<std::uint8_t> dots_;
    std::vector<std::size_t> curves_;
};

/// What curve `i` is made of in cells of one character; they repeat after ten.
char curve_sign(std::size_t i) noexcept;

/// Sequences that choose the colour of letters and of what is behind them, and that end both.
std::string letter_color(color ink);
std::string back_color(color ink);
inline constexpr const char* plain_color = "\x1b[0m";

} // namespace trox_plot

#endif
