// What a delivered record says: as text for a table, and as samples and pixels for a picture.
#ifndef TROX_DEMO_VALUES_H
#define TROX_DEMO_VALUES_H

#include "event.h"
#include "linac.h"

#include <optional>
#include <string>
#include <vector>

namespace trox_demo
{

/// The channel of a delivered block: by its sub-head's name; the name of a slow value is in its payload. Empty for a
/// channel that the machine has not got.
std::optional<channel> channel_of(const trox_serv_block_subhead_2010& block);

/// The block's value, as a cell of a table; "?" for a block that does not hold what the channel records.
std::string cell(channel of, const trox_serv_block_subhead_2010& block);

/// Samples of a trace with its axis.
struct trace_samples {
    std::vector<float> values;
    float start = 0;
    float inc = 1;
};
trace_samples trace_of(const trox_serv_block_subhead_2010& block);

/// Pixels of an image, row by row.
struct picture {
    std::vector<double> pixels;
    std::size_t width = 0;
};
picture picture_of(const trox_serv_block_subhead_2010& block);

/// What a block type holds, in words.
std::string type_text(std::int32_t dtype);

} // namespace trox_demo

#endif
