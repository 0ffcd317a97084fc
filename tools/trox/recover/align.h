// Finds the places of records by their order: a channel's records lie in the order of the events in its basket, each
// in a block of the channel's server.
#ifndef TROX_RECOVER_ALIGN_H
#define TROX_RECOVER_ALIGN_H

#include "placing.h"

namespace trox::recovery
{

/// Gives blocks to the records that have only one: where the first and the last way to lay a channel's records into
/// the blocks of the only server that takes them all agree. Records that are missing between the others do no harm.
/// Holds as far as records lie in order.
void align(placing& places);

/// True when what `align` did since `before` cannot be chance: blocks are filled to the last byte with records whose
/// lengths change.
bool is_aligned_for_certain(const placing& places, const placing::state& before);

/// Gives the first blocks of its server to the records that every channel has left, in order: a guess. Returns the
/// orphans that were placed.
std::vector<std::size_t> place_in_order(placing& places);

} // namespace trox::recovery

#endif
