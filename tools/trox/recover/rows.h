// Follows the rows of the pointers table to the records.
#ifndef TROX_RECOVER_ROWS_H
#define TROX_RECOVER_ROWS_H

#include "found.h"
#include "names.h"
#include "record_check.h"

namespace trox::recovery
{

/// Fills `records` and `bad_rows`, binds server blocks to events where the rows alone tell, and makes up the server
/// blocks whose heads cannot be read.
void follow_rows(found& file, channel_names& names, record_checker& checker);

/// End of the channel's basket, or of the file when the basket's head cannot be read there. `begin` receives the
/// basket's position, or 0.
std::uint64_t basket_end(found& file, std::uint64_t first_subhead, std::uint64_t& begin);

} // namespace trox::recovery

#endif
