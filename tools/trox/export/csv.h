// CSV as RFC 4180 has it, but with "\n" behind lines.
//
// Rows: a line per event and member with the fields of csv_row_fields. `values` are `shape` ("8", groups "3x64", lines
// "7x13") numbers with a space between them, or a text. An entry of a name/value list is a member of its own; a channel
// without a record in the event has a line without values, and `present` is 0.
//
// Wide: event, time, and a field per channel ("CHANNEL") or member of one ("CHANNEL:MEMBER"), empty where there is
// none.
#ifndef TROX_EXPORT_CSV_H
#define TROX_EXPORT_CSV_H

#include "consumer.h"
#include "text_output.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace trox_export
{

inline constexpr const char* csv_row_fields[] = {
    "event", "time",  "channel",   "member",          "unit",  "present", "record_time", "errors",
    "shape", "start", "increment", "group_increment", "values"};

/// How times are written.
using time_text = std::function<std::string(trox::time_point)>;

std::unique_ptr<event_consumer> make_csv_writer(std::vector<channel_head> channels, time_text show, text_output output);
std::unique_ptr<event_consumer> make_csv_checker(std::vector<channel_head> channels, time_text show,
                                                 const std::string& path);

/// A field of a wide table: a channel, and the member, or none for all that it has.
struct wide_field {
    std::size_t channel = 0;
    std::string member{};
};
/// Throws error (wrong_use) at a record with anything but one value a field.
std::unique_ptr<event_consumer> make_wide_csv_writer(std::vector<channel_head> channels, std::vector<wide_field> fields,
                                                     time_text show, text_output output);
std::unique_ptr<event_consumer> make_wide_csv_checker(std::vector<channel_head> channels,
                                                      std::vector<wide_field> fields, time_text show,
                                                      const std::string& path);

} // namespace trox_export

#endif
