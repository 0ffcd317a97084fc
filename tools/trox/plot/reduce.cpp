#include "reduce.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trox_plot
{
namespace
{

bool is_same(point a, point b)
{
    return a.x == b.x && a.y == b.y;
}

} // namespace

void point_bin::add(point next)
{
    add(point_bin(next));
}

void point_bin::add(const point_bin& next)
{
    const bool is_lower = next.lowest_.y < lowest_.y;
    const bool is_higher = next.highest_.y > highest_.y;
    if (is_lower && is_higher) {
        is_lowest_first_ = next.is_lowest_first_;
    } else if (is_lower || is_higher) {
        is_lowest_first_ = is_higher;
    }
    lowest_ = is_lower ? next.lowest_ : lowest_;
    highest_ = is_higher ? next.highest_ : highest_;
    last_ = next.last_;
    count_ += next.count_;
}

void point_bin::append_to(std::vector<point>& points) const
{
    const std::size_t begin = points.size();
    for (const point& known :
         {first_, is_lowest_first_ ? lowest_ : highest_, is_lowest_first_ ? highest_ : lowest_, last_}) {
        if (points.size() == begin || !is_same(points.back(), known)) {
            points.push_back(known);
        }
    }
}

reduced_series::reduced_series(std::size_t bins) : most_bins_(std::max<std::size_t>(bins, 2)) {}

void reduced_series::interrupt() noexcept
{
    is_interrupted_ = !bins_.empty();
}

void reduced_series::add(double x, double y)
{
    if (!std::isfinite(x) || !std::isfinite(y)) {
        ++left_out_;
        interrupt();
        return;
    }
    ++count_;
    if (!bins_.empty() && !is_interrupted_ && bins_.back().bin.count() < points_of_bin_) {
        bins_.back().bin.add({x, y});
        return;
    }
    if (bins_.size() == most_bins_) {
        halve();
    }
    bins_.push_back({point_bin({x, y}), is_interrupted_});
    is_interrupted_ = false;
}

/// Joins pairs of neighbours; an interruption between the two is forgotten.
void reduced_series::halve()
{
    std::size_t kept = 0;
    for (std::size_t i = 0; i < bins_.size(); i += 2) {
        entry joined = bins_[i];
        if (i + 1 < bins_.size()) {
            joined.bin.add(bins_[i + 1].bin);
        }
        bins_[kept++] = joined;
    }
    bins_.erase(bins_.begin() + static_cast<std::ptrdiff_t>(kept), bins_.end());
    points_of_bin_ *= 2;
}

std::vector<point> reduced_series::points() const
{
    std::vector<point> result;
    for (const entry& known : bins_) {
        if (known.is_interrupted) {
            result.push_back({0, std::numeric_limits<double>::quiet_NaN()});
        }
        known.bin.append_to(result);
    }
    return result;
}

std::vector<point> envelope(const std::vector<point>& points, const std::function<long(double)>& column_of)
{
    std::vector<point> result;
    for (std::size_t i = 0; i < points.size();) {
        const long column = column_of(points[i].x);
        point_bin bin(points[i]);
        std::size_t next = i + 1;
        for (; next < points.size() && column_of(points[next].x) == column; ++next) {
            bin.add(points[next]);
        }
        constexpr std::size_t known_points = 4;
        if (next - i <= known_points) {
            result.insert(result.end(), points.begin() + static_cast<std::ptrdiff_t>(i),
                          points.begin() + static_cast<std::ptrdiff_t>(next));
        } else {
            bin.append_to(result);
        }
        i = next;
    }
    return result;
}

std::vector<std::vector<point>> parts_of(const std::vector<point>& points)
{
    std::vector<std::vector<point>> parts;
    bool is_begun = false;
    for (const point& next : points) {
        if (std::isnan(next.y)) {
            is_begun = false;
            continue;
        }
        if (!is_begun) {
            parts.emplace_back();
        }
        is_begun = true;
        parts.back().push_back(next);
    }
    return parts;
}

std::vector<point> stepped(const std::vector<point>& points)
{
    std::vector<point> corners;
    for (const point& next : points) {
        if (!corners.empty()) {
            corners.push_back({next.x, corners.back().y});
        }
        corners.push_back(next);
    }
    return corners;
}

} // namespace trox_plot
