// Assigns records that no row leads to, to server blocks and events.
#ifndef TROX_RECOVER_MATCH_H
#define TROX_RECOVER_MATCH_H

#include "found.h"
#include "record_check.h"

namespace trox::recovery
{

/// Calls damaged the records whose payload is not as its heads say, unless this holds for all records of the channel:
/// then its writer fills the heads in a way of its own.
void judge_faults(found& file);

/// Moves to `orphans` the records of server blocks whose counts their rows contradict: rows that lead to records of
/// other lengths than the block counts do not tell which records are its own. Where nothing confirms the block's own
/// length, or contradicts it, this is noted as a loss.
void doubt_rows(found& file, record_checker& checker);

/// Takes what is known of the blocks' counts, and marks records whose own length contradicts them.
void account(found& file);

/// Moves from `orphans` to `records` those for which there is one place only; what is left stays. A record has one
/// place when
///   - one server block has room for it (number and bytes of records, server, event types); the time or number that
///     its own payload carries leaves few to choose from, or
///   - the file keeps records in order, and all ways to lay those of its channel into the blocks of its server agree,
///   or
///   - the records of all channels of its server fill the server's blocks, in order, in one way.
/// All of it only while every event and server block is known. With the option `in_order` what is left goes to the
/// first blocks that take it, in order, and is marked.
void match_orphans(found& file, record_checker& checker);

} // namespace trox::recovery

#endif
