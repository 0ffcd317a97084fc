// Walks one channel basket sub-head by sub-head.
#ifndef TROX_RECOVER_BASKET_WALK_H
#define TROX_RECOVER_BASKET_WALK_H

#include "found.h"
#include "record_check.h"

#include <cstdint>
#include <unordered_set>
#include <vector>

namespace trox::recovery
{

/// Adds the records of the basket at `begin` to `orphans`, but for those whose sub-head or data is claimed. The basket
/// may end at any of `ends`, the last as it says itself. Notes its holes, and whether its records may lie in order.
/// Returns where the last record ends.
std::uint64_t walk_basket(found& file, record_checker& checker, const std::unordered_set<std::uint64_t>& claimed,
                          std::uint32_t owner, std::uint64_t begin, std::vector<std::uint64_t> ends);

} // namespace trox::recovery

#endif
