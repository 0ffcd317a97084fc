// NDJSON: an event a line.
#ifndef TROX_EXPORT_NDJSON_H
#define TROX_EXPORT_NDJSON_H

#include "consumer.h"
#include "text_output.h"

#include <memory>

namespace trox_export
{

std::unique_ptr<event_consumer> make_ndjson_writer(std::vector<channel_head> channels, text_output output);
/// Compares. Parses whole lines.
std::unique_ptr<event_consumer> make_ndjson_checker(std::vector<channel_head> channels, const std::string& path);

} // namespace trox_export

#endif
