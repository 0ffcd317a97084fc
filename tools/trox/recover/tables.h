// Finds the tables and the two baskets of a damaged file, and reads the tables as far as they go.
#ifndef TROX_RECOVER_TABLES_H
#define TROX_RECOVER_TABLES_H

#include "found.h"
#include "patterns.h"

#include <vector>

namespace trox::recovery
{

/// Finds them through the trailer, else by their patterns, and fills index, channels, rows, environment and
/// descriptions.
void find_tables(found& file, patterns& scanned);

/// A name as sub-heads of the channel have it: up to the sub-channel, cut to the field.
std::string subhead_name(const file_layout& layout, const std::string& channel);

/// A server block head that can be one; `is_strict` where nothing but its looks says that there is one.
bool is_plausible_block(const file_layout& layout, const block_values& head) noexcept;
bool is_certain_block(const file_layout& layout, const block_values& head) noexcept;

/// The same of an event header. Legacy and 2010 readers do not look at its pattern.
bool is_plausible_event(const file_layout& layout, const event_values& head) noexcept;
bool is_certain_event(const file_layout& layout, const event_values& head) noexcept;

} // namespace trox::recovery

#endif
