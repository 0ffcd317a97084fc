// Keys and environment indices of the channels, where dictionary, descriptions and environment dictionary disagree.
#ifndef TROX_RECOVER_KEYS_H
#define TROX_RECOVER_KEYS_H

#include "found.h"
#include "record_check.h"

namespace trox::recovery
{

/// Gives every channel that is to be written a key of its own, and makes the entries of the environment dictionary
/// those of its environment channels. What is not as the file has it counts as a loss.
void settle_keys(found& file, record_checker& checker);

} // namespace trox::recovery

#endif
