#include "color.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace trox_plot
{

color curve_color(std::size_t i) noexcept
{
    constexpr std::array<color, curve_colors> colors{{{0, 114, 178},
                                                      {213, 94, 0},
                                                      {0, 158, 115},
                                                      {204, 121, 167},
                                                      {86, 180, 233},
                                                      {230, 159, 0},
                                                      {90, 90, 90},
                                                      {160, 150, 0}}};
    return colors[i % colors.size()];
}

color value_color(double value) noexcept
{
    constexpr std::array<color, 5> anchors{
        {{20, 10, 60}, {60, 50, 140}, {20, 130, 140}, {100, 195, 90}, {250, 235, 90}}};
    const double place = std::clamp(std::isnan(value) ? 0.0 : value, 0.0, 1.0) * (anchors.size() - 1);
    const auto low = std::min(static_cast<std::size_t>(place), anchors.size() - 2);
    const double part = place - static_cast<double>(low);
    const auto between = [part](std::uint8_t a, std::uint8_t b) {
        return static_cast<std::uint8_t>(std::lround(a + part * (b - a)));
    };
    return {between(anchors[low].red, anchors[low + 1].red), between(anchors[low].green, anchors[low + 1].green),
            between(anchors[low].blue, anchors[low + 1].blue)};
}

} // namespace trox_plot
