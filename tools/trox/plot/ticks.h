// Where an axis has its marks, and what stands at them.
#ifndef TROX_PLOT_TICKS_H
#define TROX_PLOT_TICKS_H

#include "figure.h"

#include <cstddef>
#include <string>
#include <vector>

namespace trox_plot
{

/// From the smallest to the largest value of an axis; not empty.
struct range {
    double low = 0;
    double high = 1;
};

struct tick {
    double value = 0;
    std::string label{};
};

struct scale {
    std::vector<tick> ticks{};
    std::string suffix{}; ///< for the axis' label: "× 10^7", or the day and the time zone
};

/// At most `most` ticks, but two at least, at multiples of 1, 2 or 5 times a power of ten.
scale number_scale(range axis, std::size_t most);
/// The same for microseconds since 1970, at full seconds, minutes, hours or days and round parts of them.
scale time_scale(range axis, std::size_t most, const time_words& words = {});
scale scale_of(axis_kind kind, range axis, std::size_t most, const time_words& words = {});

/// The label with the scale's suffix: "p [mbar] × 10^-7", "time (2012-06-14 UTC)".
std::string label_with(const std::string& label, const scale& marks);

/// Range of all points' x; of the y of a panel's points, with some room at both ends. Something sensible without
/// points, or with equal ones.
range x_range(const figure& what);
range y_range(const panel& what);

} // namespace trox_plot

#endif
