// Names of run catalogue files: <experiment>_<stream>_run<R>_<start>_<stop>.xml, times as YYYYMMDDThhmmss in
// UTC, `open` as stop of a run that still goes on. The names alone tell which files a lookup has to open.
#ifndef TROX_PLATFORM_XML_CATALOGUE_NAME_H
#define TROX_PLATFORM_XML_CATALOGUE_NAME_H

#include <optional>
#include <string>
#include <string_view>

namespace trox_xml
{

/// Whole seconds since the epoch, both ends included. A stop of 0 is open.
struct time_span {
    long start = 0;
    long stop = 0;
};

/// True when `span` overlaps the period from `start` to `stop`, both ends included; 0 leaves a side of the
/// period open.
constexpr bool overlaps(const time_span& span, const time_span& period) noexcept
{
    const bool ends_before = period.start != 0 && span.stop != 0 && span.stop < period.start;
    const bool begins_after = period.stop != 0 && span.start > period.stop;
    return !ends_before && !begins_after;
}

/// What a catalogue file's name tells.
struct catalogue_name {
    std::string file; ///< base name
    std::string experiment;
    std::string stream;
    int run = 0;
    time_span span;

    bool same_run(const catalogue_name& other) const noexcept
    {
        return run == other.run && experiment == other.experiment && stream == other.stream;
    }
};

/// The parts of a catalogue file's base name; nothing when it is not one (an impossible date or a run number
/// that no `int` holds included).
std::optional<catalogue_name> parse_catalogue_name(std::string_view file);

/// The decimal number that `text` consists of; nothing for any other character, an empty text or a number
/// above `limit`.
std::optional<long> parse_decimal(std::string_view text, long limit) noexcept;

} // namespace trox_xml

#endif
