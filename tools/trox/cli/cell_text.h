// Cells as text for people and for CSV.
#ifndef TROX_CLI_CELL_TEXT_H
#define TROX_CLI_CELL_TEXT_H

#include "cells.h"
#include "times.h"

#include <string>

namespace trox_cli
{

/// As a table shows it: sizes and durations with a unit, reals with the digits that the column asks for, long lists
/// cut, null as "-".
std::string shown_text(const cell& value, const column& what, const time_display& times);
/// As CSV holds it: exact, but for bytes that are no UTF-8; null as nothing; the elements of a list with spaces between
/// them.
std::string exact_text(const cell& value, const time_display& times);

} // namespace trox_cli

#endif
