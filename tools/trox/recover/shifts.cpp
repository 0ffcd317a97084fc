#include "shifts.h"

#include <algorithm>

namespace trox::recovery
{

void shift_map::add(std::uint64_t told, std::uint64_t found)
{
    places_.push_back({told, found});
}

void shift_map::drop_single()
{
    const auto all = places_;
    const auto stands_alone = [&](const place& one) {
        return one.shift() != 0 && std::count_if(all.begin(), all.end(),
                                                 [&](const place& other) { return other.shift() == one.shift(); }) < 2;
    };
    places_.erase(std::remove_if(places_.begin(), places_.end(), stands_alone), places_.end());
}

void shift_map::settle()
{
    std::sort(places_.begin(), places_.end(), [](const place& a, const place& b) { return a.told < b.told; });
    std::vector<place> kept;
    for (std::size_t i = 0; i < places_.size(); ++i) {
        const bool is_between = i > 0 && i + 1 < places_.size();
        const bool is_alone = is_between && places_[i - 1].shift() == places_[i + 1].shift() &&
                              places_[i].shift() != places_[i - 1].shift();
        if (!is_alone && (kept.empty() || places_[i].found > kept.back().found)) {
            kept.push_back(places_[i]);
        }
    }
    places_ = std::move(kept);
    is_shifted_ = std::any_of(places_.begin(), places_.end(), [](const place& one) { return one.shift() != 0; });
}

std::uint64_t shift_map::find(std::uint64_t told) const noexcept
{
    if (!is_shifted_ || told == 0) {
        return told;
    }
    const auto next = std::upper_bound(places_.begin(), places_.end(), told,
                                       [](std::uint64_t at, const place& one) { return at < one.told; });
    const auto shift = std::prev(next)->shift();
    return next == places_.end() || next->shift() == shift ? told + shift : nowhere;
}

bool shift_map::is_uncertain(std::uint64_t position) const noexcept
{
    const auto next = std::upper_bound(places_.begin(), places_.end(), position,
                                       [](std::uint64_t at, const place& one) { return at < one.found; });
    return is_shifted_ && next != places_.end() && next->shift() != std::prev(next)->shift();
}

} // namespace trox::recovery
