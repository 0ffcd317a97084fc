// Where things lie in a file: reproducible choice among the layouts that the format allows.
#ifndef TROX_WRITER_PLACEMENT_H
#define TROX_WRITER_PLACEMENT_H

#include "contents.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace trox::writer
{

/// Pseudo-random numbers that are the same everywhere for the same seed (splitmix64).
class random_numbers
{
public:
    explicit random_numbers(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next() noexcept
    {
        state_ += 0x9E3779B97F4A7C15U;
        auto z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }
    /// 0 to `bound` - 1.
    std::uint64_t below(std::uint64_t bound) noexcept
    {
        return next() % bound;
    }

private:
    std::uint64_t state_;
};

/// Brings [first, last) into the order asked for.
template <class Iterator> void arrange(Iterator first, Iterator last, arrangement how, random_numbers& random)
{
    switch (how) {
    case arrangement::tidy:
        return;
    case arrangement::reversed:
        std::reverse(first, last);
        return;
    case arrangement::shuffled:
        for (auto left = std::distance(first, last); left > 1; --left) {
            const auto chosen = random.below(static_cast<std::uint64_t>(left));
            std::iter_swap(first + (left - 1), first + static_cast<std::ptrdiff_t>(chosen));
        }
        return;
    }
}

/// The next position at or behind `position` that the layout's gaps and parity ask for.
std::uint64_t next_place(std::uint64_t position, const layout_options& layout, random_numbers& random);

/// A run of bytes of a basket: spooled bytes, the sub-head's length replaced where `ldata` is set.
struct fragment {
    std::uint64_t position;
    std::uint64_t source; ///< offset in the channel's stream
    std::uint64_t length;
    std::int32_t ldata = -1;
};

/// Where a channel's records lie.
struct placement {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> rows; ///< sub-head and data position, per row
    std::vector<fragment> fragments; ///< by position; empty when the stream is stored as one piece
    std::uint64_t end = 0;           ///< of the basket
};

/// Places a channel's records in a basket that begins at `start`. The same arguments give the same placement.
/// The spool must be flushed.
placement place_channel(const contents& file, std::size_t channel_index, std::uint64_t start);

} // namespace trox::writer

#endif
