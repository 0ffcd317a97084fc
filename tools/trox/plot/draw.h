// Figures upon a canvas.
#ifndef TROX_PLOT_DRAW_H
#define TROX_PLOT_DRAW_H

#include "canvas.h"
#include "figure.h"

#include <string>

namespace trox_plot
{

enum class file_kind { png, svg };

/// The bytes of a file with the drawing. Curves are reduced to what pixels can show; no extreme is lost. Throws error
/// (input_output) when there is no memory; (wrong_use) for a size below 200 x 150 or above 20000 x 20000.
std::string draw(const drawing& what, file_kind kind, const extent& size = {});

/// An image of at most that size: blocks of pixels become their largest one.
picture shrunk(const picture& what, std::size_t width, std::size_t height);

/// Smallest and largest value that is a number.
struct value_range {
    double low = 0;
    double high = 1;
};
value_range values_of(const picture& what);

} // namespace trox_plot

#endif
