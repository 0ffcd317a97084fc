// Positions of a file that has lost or gained bytes: what lies behind them is not where references and rows say.
#ifndef TROX_RECOVER_SHIFTS_H
#define TROX_RECOVER_SHIFTS_H

#include <cstdint>
#include <vector>

namespace trox::recovery
{

class shift_map
{
public:
    /// A position that leads nowhere.
    static constexpr std::uint64_t nowhere = ~std::uint64_t{0};

    /// What a reference or row has at `told` begins at `found`. The file's begin is where it is.
    void add(std::uint64_t told, std::uint64_t found);
    /// Takes out what no other place bears out: references that are damaged.
    void drop_single();
    /// Puts in order what was added, less what stands alone against its neighbours.
    void settle();

    /// True when something is not where it should be.
    bool is_shifted() const noexcept
    {
        return is_shifted_;
    }
    /// Where the bytes of a position are; `nowhere` when something is missing, or too many, between what is known in
    /// front of it and behind it, so that nothing tells.
    std::uint64_t find(std::uint64_t told) const noexcept;
    /// True where such bytes are.
    bool is_uncertain(std::uint64_t position) const noexcept;

    struct place {
        std::uint64_t told;
        std::uint64_t found;
        std::uint64_t shift() const noexcept
        {
            return found - told; // of a file that has lost bytes a large number, which adds up
        }
    };
    const std::vector<place>& places() const noexcept
    {
        return places_;
    }

private:
    std::vector<place> places_{{0, 0}};
    bool is_shifted_ = false;
};

} // namespace trox::recovery

#endif
