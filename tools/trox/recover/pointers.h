// The shape of the pointers table, and where its positions lead when the file has lost or gained bytes.
#ifndef TROX_RECOVER_POINTERS_H
#define TROX_RECOVER_POINTERS_H

#include "found.h"

namespace trox::recovery
{

/// Finds the rows per column and the columns of the pointers table: as its head says, or where head, length and
/// dictionary contradict each other, as it takes for the columns to lead to records of their channels.
void find_shape_of_pointers(found& file);

/// Fills `shifts`; what the file has lost or gained counts as a loss.
void find_shifts(found& file);

} // namespace trox::recovery

#endif
