// Few points for many: whatever is left out lies between points that are kept.
#ifndef TROX_PLOT_REDUCE_H
#define TROX_PLOT_REDUCE_H

#include "figure.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace trox_plot
{

/// Neighbouring points, of which the first, the last, and those of the smallest and the largest value are known.
class point_bin
{
public:
    explicit point_bin(point only) : first_(only), lowest_(only), highest_(only), last_(only) {}
    void add(point next);
    void add(const point_bin& next);
    std::uint64_t count() const noexcept
    {
        return count_;
    }
    /// Appends the points that are known, in order, each once.
    void append_to(std::vector<point>& points) const;

private:
    point first_;
    point lowest_;
    point highest_;
    point last_;
    bool is_lowest_first_ = true; // of lowest_ and highest_
    std::uint64_t count_ = 1;
};

/// Takes any number of points in bounded memory, and keeps the extremes of each of at least `bins` / 2 stretches of as
/// many points each.
class reduced_series
{
public:
    static constexpr std::size_t usual_bins = 8192;
    explicit reduced_series(std::size_t bins = usual_bins);
    /// Points that are no finite numbers interrupt the curve.
    void add(double x, double y);
    void interrupt() noexcept;
    std::vector<point> points() const;
    /// Finite points taken.
    std::uint64_t count() const noexcept
    {
        return count_;
    }
    /// Points that are no finite numbers.
    std::uint64_t left_out() const noexcept
    {
        return left_out_;
    }

private:
    struct entry {
        point_bin bin;
        bool is_interrupted; // before it
    };
    void halve();

    std::size_t most_bins_;
    std::uint64_t points_of_bin_ = 1;
    std::vector<entry> bins_;
    bool is_interrupted_ = false;
    std::uint64_t count_ = 0;
    std::uint64_t left_out_ = 0;
};

/// Points of a curve without interruption that suffice where `column_of` tells the pixel column of an x: at most four a
/// column, extremes included.
std::vector<point> envelope(const std::vector<point>& points, const std::function<long(double)>& column_of);

/// The uninterrupted parts of a curve.
std::vector<std::vector<point>> parts_of(const std::vector<point>& points);

/// The corners of a curve that keeps each value until the next.
std::vector<point> stepped(const std::vector<point>& points);

} // namespace trox_plot

#endif
