// Finds the events and server blocks of a damaged file, and which block belongs to which event.
#ifndef TROX_RECOVER_EVENTS_H
#define TROX_RECOVER_EVENTS_H

#include "found.h"
#include "patterns.h"

namespace trox::recovery
{

/// Fills `events`: from the event headers, checked against the event index; an event whose header cannot be read is
/// rebuilt from the index.
void find_events(found& file, patterns& scanned);

/// Fills `blocks` and binds them to the events as far as the events' counts leave one way.
void find_blocks(found& file);

/// Settles events of which header and index tell different things, by their server blocks; marks the others as lost.
void settle_events(found& file);

/// True when number or time of a server block are those of an event.
bool agree(const block_values& block, const event_values& event) noexcept;

/// Index of the event, or block, at a position; `no_index` when there is none.
std::uint32_t event_at(const found& file, std::uint64_t position) noexcept;
std::uint32_t block_at(const found& file, std::uint64_t position) noexcept;

} // namespace trox::recovery

#endif
