// Figures made of characters.
#ifndef TROX_PLOT_TERMINAL_H
#define TROX_PLOT_TERMINAL_H

#include "figure.h"

#include <cstddef>
#include <string>

namespace trox_plot
{

/// What a character cell is divided into.
enum class cell_style {
    braille, ///< 2 x 4 dots
    blocks,  ///< 2 x 2 quarters
    ascii    ///< a sign for each curve; images in shades of " .:-=+*#%@"
};

struct terminal {
    std::size_t width = 80;  ///< characters, at least 30
    std::size_t height = 24; ///< lines of the whole drawing, at least 8
    cell_style style = cell_style::braille;
    bool has_colors = false; ///< with escape sequences of 24-bit colours
};

/// The drawing as lines of UTF-8, each with its end. Every curve has its name: behind its sign, in its colour, or,
/// where there are neither, above a panel of its own (signs, where there is no room for so many panels). Curves are
/// reduced to the dots of a column, images to blocks of their largest values.
std::string draw_in_terminal(const drawing& what, const terminal& where);

} // namespace trox_plot

#endif
