// JSON values as text.
#ifndef TROX_CLI_JSON_TEXT_H
#define TROX_CLI_JSON_TEXT_H

#include "cells.h"

#include <string>
#include <string_view>

namespace trox_cli
{

/// A quoted string; bytes that are no UTF-8 become replacement characters.
std::string json_string(std::string_view text);
/// 64-bit integers in full; reals as the shortest number that reads as the same value, always with a point or an
/// exponent; null for NaN and infinity; times as ISO 8601 in UTC.
std::string json_value(const cell& value);

} // namespace trox_cli

#endif
