// Values as text, exactly.
#ifndef TROX_EXPORT_TEXT_H
#define TROX_EXPORT_TEXT_H

#include "rows.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace trox_export
{

/// Appends element `i` of a row of numbers or times: floats as the shortest decimal that reads as the same value
/// ("nan", "inf", "-inf"), times as ISO 8601 in UTC.
void append_element(std::string& text, const row& from, std::size_t i);
/// The same as JSON: numbers with a point or an exponent when they are floats, "NaN", "Infinity" and "-Infinity" and
/// times as strings; texts, too.
void append_json_element(std::string& text, const row& from, std::size_t i);
/// Appends a quoted string; bytes that are no UTF-8 become U+FFFD.
void append_json_string(std::string& text, std::string_view value);
/// Appends a field of CSV, quoted where it must be.
void append_csv_field(std::string& text, std::string_view value);

/// Puts the number that `text` is in the place of one element of `type`; false when it is none. Takes what
/// append_element writes.
bool parse_element(std::string_view text, element type, std::byte* place);

} // namespace trox_export

#endif
