// A record, or the records of an event, as sections of a report.
#ifndef TROX_CLI_RECORD_REPORT_H
#define TROX_CLI_RECORD_REPORT_H

#include "report.h"
#include "trox/event_reader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace trox_cli
{

/// What is shown of an event: some channels, by their index in the data set, and the record of each.
struct shown_event {
    std::uint64_t number = 0;
    trox::time_point time{};
    std::vector<std::size_t> channels{};
    std::vector<trox::record> records{};
};

/// What is shown of a record's samples or pixels.
struct shown_samples {
    /// Through all groups; none: the beginning for people, all samples (but no pixels) as lists.
    std::optional<trox::sample_window> window{};
};

/// Section "event", and table "records": each selected channel, what it holds in words, what is missing.
void tell_event(report& result, const trox::data_set& data, const shown_event& event);
/// Table "records" alone.
void tell_records(report& result, const trox::data_set& data, const shown_event& event);

/// Section "record", and what suits its kind: "members", "region", "image", "list" and "values", "slow", "control".
/// Samples are lists.
void tell_record_as_lists(report& result, const trox::channel_info& channel, const trox::record& record,
                          const shown_samples& shown);
/// The same with samples in rows, for people; the beginning only, unless a window is given.
void tell_record_as_rows(report& result, const trox::channel_info& channel, const trox::record& record,
                         const shown_samples& shown);
/// One table of all that the record holds: samples of all members, pixels, named values, or the one value.
void tell_record_values(report& result, const trox::record& record, const shown_samples& shown);

} // namespace trox_cli

#endif
