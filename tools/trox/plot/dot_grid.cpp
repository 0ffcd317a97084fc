#include "dot_grid.h"

#include <array>
#include <cstdlib>

namespace trox_plot
{
namespace
{

std::size_t dots_across(cell_style style)
{
    return style == cell_style::ascii ? 1 : 2;
}

std::size_t dots_down(cell_style style)
{
    switch (style) {
    case cell_style::braille:
        return 4;
    case cell_style::blocks:
        return 2;
    case cell_style::ascii:
        return 1;
    }
    return 1;
}

std::string color_numbers(color ink)
{
    return std::to_string(ink.red) + ";" + std::to_string(ink.green) + ";" + std::to_string(ink.blue) + "m";
}

} // namespace

char curve_sign(std::size_t i) noexcept
{
    constexpr std::array signs{'*', '+', 'x', 'o', '#', '%', '@', '&', '=', '~'};
    return signs[i % signs.size()];
}

std::string letter_color(color ink)
{
    return "\x1b[38;2;" + color_numbers(ink);
}

std::string back_color(color ink)
{
    return "\x1b[48;2;" + color_numbers(ink);
}

dot_grid::dot_grid(std::size_t width, std::size_t height, cell_style style)
    : width_(width), height_(height), style_(style), cell_width_(dots_across(style)), cell_height_(dots_down(style)),
      dots_(width * height), curves_(width * height)
{
}

void dot_grid::set(long x, long y, std::size_t curve)
{
    if (x < 0 || y < 0 || x >= static_cast<long>(width()) || y >= static_cast<long>(height())) {
        return;
    }
    const auto column = static_cast<std::size_t>(x);
    const auto line = static_cast<std::size_t>(y);
    const std::size_t cell = line / cell_height_ * width_ + column / cell_width_;
    const std::size_t dot = line % cell_height_ * cell_width_ + column % cell_width_;
    dots_[cell] = static_cast<std::uint8_t>(dots_[cell] | 1U << dot);
    curves_[cell] = curve;
}

void dot_grid::line(long x0, long y0, long x1, long y1, std::size_t curve)
{
    const long across = std::labs(x1 - x0);
    const long down = std::labs(y1 - y0);
    const long steps = std::max(across, down);
    for (long i = 0; i <= steps; ++i) {
        const auto part = [&](long from, long to) {
            return steps == 0 ? from : from + ((to - from) * i * 2 + (to >= from ? steps : -steps)) / (2 * steps);
        };
        set(part(x0, x1), part(y0, y1), curve);
    }
}

std::string dot_grid::symbol(std::size_t cell) const
{
    const std::uint8_t dots = dots_[cell];
    if (dots == 0) {
        return " ";
    }
    switch (style_) {
    case cell_style::braille: {
        // Dots count down the left column, then the right one; the lowest two came later.
        constexpr std::array<std::uint8_t, 8> bits{0x01, 0x08, 0x02, 0x10, 0x04, 0x20, 0x40, 0x80};
        unsigned sum = 0;
        for (std::size_t i = 0; i < bits.size(); ++i) {
            sum |= (dots >> i & 1U) != 0 ? bits[i] : 0U;
        }
        return {'\xE2', static_cast<char>(0xA0U | sum >> 6U), static_cast<char>(0x80U | (sum & 0x3FU))};
    }
    case cell_style::blocks: {
        constexpr std::array<const char*, 16> quarters{" ", "▘", "▝", "▀", "▖", "▌", "▞", "▛",
                                                       "▗", "▚", "▐", "▜", "▄", "▙", "▟", "█"};
        return quarters[dots & 15U];
    }
    case cell_style::ascii:
        return std::string(1, curve_sign(curves_[cell]));
    }
    return " ";
}

std::string dot_grid::row(std::size_t y, const terminal& where) const
{
    std::string text;
    std::size_t chosen = curves_.size(); // none
    for (std::size_t x = 0; x < width_; ++x) {
        const std::size_t cell = y * width_ + x;
        if (where.has_colors && dots_[cell] != 0 && curves_[cell] != chosen) {
            chosen = curves_[cell];
            text += letter_color(curve_color(chosen));
        }
        text += symbol(cell);
    }
    return where.has_colors && chosen != curves_.size() ? text + plain_color : text;
}

} // namespace trox_plot
