// Colours of curves and images.
#ifndef TROX_PLOT_COLOR_H
#define TROX_PLOT_COLOR_H

#include <cstddef>
#include <cstdint>

namespace trox_plot
{

struct color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

inline constexpr color black{0, 0, 0};
inline constexpr color white{255, 255, 255};
inline constexpr color grey{208, 208, 208};

/// Of curve `i`: colours that can be told apart by everybody; they repeat after so many.
inline constexpr std::size_t curve_colors = 8;
color curve_color(std::size_t i) noexcept;
/// Of a value from 0 (dark) to 1 (bright), growing evenly in brightness.
color value_color(double value) noexcept;

} // namespace trox_plot

#endif
