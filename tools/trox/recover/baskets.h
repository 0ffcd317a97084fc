// Walks channel baskets sub-head by sub-head, for the records that no row leads to.
#ifndef TROX_RECOVER_BASKETS_H
#define TROX_RECOVER_BASKETS_H

#include "found.h"
#include "names.h"
#include "patterns.h"
#include "record_check.h"

namespace trox::recovery
{

/// True when rows are missing or bad, so that records may lie in the baskets that none leads to.
bool needs_walk(const found& file);

/// Fills `orphans`, channel by channel in the order of their positions; counts the holes of the channels' baskets.
void walk_baskets(found& file, patterns& scanned, channel_names& names, record_checker& checker);

} // namespace trox::recovery

#endif
