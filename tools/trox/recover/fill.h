// Fills the blocks of a server with the records of channels, each channel's in order, and tells what all ways of doing
// so have in common.
#ifndef TROX_RECOVER_FILL_H
#define TROX_RECOVER_FILL_H

#include <cstdint>
#include <optional>
#include <vector>

namespace trox::recovery
{

/// Records of one channel, in order.
struct fill_channel {
    std::vector<std::uint64_t> lengths{};
    std::uint32_t event_mask = 0; ///< 0: any type
    bool must_be_used = false;    ///< else it may belong to another server
};

/// What is to be filled.
struct fill_block {
    std::int64_t records = 0;
    std::int64_t bytes = 0;
    std::int32_t event_type = 0;
};

struct fill_result {
    /// Per channel and record the block that it is in, in every way; nothing where ways differ.
    std::vector<std::vector<std::optional<std::uint32_t>>> places{};
    std::vector<bool> is_used{};   ///< by one way at least
    std::vector<bool> is_unused{}; ///< by one way at least
};

/// Nothing when there is no way, or more work than `effort` steps to know.
std::optional<fill_result> fill_blocks(const std::vector<fill_channel>& channels, const std::vector<fill_block>& blocks,
                                       std::uint64_t& effort);

} // namespace trox::recovery

#endif
