#include "findings.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace trox::inspect
{

namespace
{

constexpr auto error = severity::error;
constexpr auto warning = severity::warning;
constexpr auto note = severity::note;

constexpr const char* everything = "everything";
constexpr const char* nothing_by_tables = "nothing through the tables; records by trox recover";
constexpr const char* all_others = "all other records";
constexpr const char* all_channels_else = "all other channels; of this one, the records by a search of its basket";
constexpr const char* all_but_record = "all records but this one";

/// One row per code, in the order of the enumeration.
constexpr std::array<code_info, finding_code_count> infos{{
    {finding_code::read_error, "read-error", error, "The system could not read a part of the file.",
     "what lies elsewhere"},
    {finding_code::not_a_data_file, "not-a-data-file", error,
     "Neither the end nor the beginning of the file tells a generation.", "nothing"},
    {finding_code::file_head, "file-head", warning,
     "The first 16 bytes do not name the generation. Readers do not look at them.", everything},
    {finding_code::trailer_pattern, "trailer-pattern", error, "The trailer does not end with its pattern.",
     nothing_by_tables},
    {finding_code::trailer_position, "trailer-position", error, "The trailer does not lead to a file reference table.",
     nothing_by_tables},
    {finding_code::trailer_crc, "trailer-crc", error,
     "The file reference table has another checksum than the trailer says.", nothing_by_tables},
    {finding_code::references_missing, "references-missing", error,
     "There is no file reference table; the channels' baskets were looked for by their patterns, and their records "
     "checked.",
     nothing_by_tables},
    {finding_code::references_pattern, "references-pattern", error,
     "The file reference table does not begin with its pattern.", nothing_by_tables},
    {finding_code::references_length, "references-length", error, "The file reference table has a wrong length.",
     nothing_by_tables},
    {finding_code::reference_index_entry, "reference-index-entry", error,
     "The reference of an event type does not lead to its entry of the event index.",
     "all records; events of this type are not found by their index"},
    {finding_code::reference_channel, "reference-channel", error,
     "The reference of the first channel basket leads elsewhere.", "all records, through the pointers table"},
    {finding_code::table_missing, "table-missing", error, "The file has no such table.", nothing_by_tables},
    {finding_code::table_position, "table-position", error,
     "There is no such table or basket where the reference leads.", "what does not need it"},
    {finding_code::table_pattern, "table-pattern", error, "A table or basket does not begin with its pattern.",
     "what does not need it"},
    {finding_code::table_length, "table-length", error, "The length of a table or basket does not fit.",
     "what does not need it"},
    {finding_code::table_entries, "table-entries", error, "A table does not hold a whole number of entries.",
     "what does not need it"},
    {finding_code::item_overlap, "item-overlap", error, "Two tables or baskets share bytes.", "one of the two at most"},
    {finding_code::index_types, "index-types", error, "The event index has wrong or repeated event types.",
     "all records; events of other types by their index"},
    {finding_code::index_entry, "index-entry", error, "The length of an entry of the event index does not fit.",
     "all records; events of the entries in front of it"},
    {finding_code::index_first, "index-first", error,
     "The head of an index entry names another first event than its events have.", "all records"},
    {finding_code::index_last, "index-last", error,
     "The head of an index entry names another last event than its events have.", "all records"},
    {finding_code::index_offset, "index-offset", error, "An indexed event has no event header where its offset leads.",
     "all other events"},
    {finding_code::index_order, "index-order", note, "The event headers do not lie in the order of their index.",
     everything},
    {finding_code::event_shared, "event-shared", error, "Two indexed events have the same event header.",
     "all other events"},
    {finding_code::event_unlisted, "event-unlisted", error,
     "The event index has no entry for an event header that rows lead to.", "all records, by channel"},
    {finding_code::event_pattern, "event-pattern", error, "An event header has a wrong pattern.",
     "all other events; this one's records"},
    {finding_code::event_mark, "event-mark", warning, "An event header has an unusual pattern, which readers accept.",
     everything},
    {finding_code::event_mismatch, "event-mismatch", error,
     "An event header has another type, number or time than the event index.", "all other events; this one's records"},
    {finding_code::event_length, "event-length", error,
     "The length of an event is not that of its header and server blocks.", "all records"},
    {finding_code::event_blocks, "event-blocks", error, "An event has more server blocks than its header says.",
     "all records"},
    {finding_code::event_order, "event-order", warning,
     "Time or number of an event lies before that of the one recorded before it.", everything},
    {finding_code::dictionary_name, "dictionary-name", error,
     "A channel's name is empty, not printable, or not that of its records.", "all other channels"},
    {finding_code::dictionary_name_length, "dictionary-name-length", error,
     "A channel's name is longer than sub-heads of this generation can carry.", "all other channels"},
    {finding_code::dictionary_name_repeated, "dictionary-name-repeated", error, "Two channels have the same name.",
     "the first channel of the name"},
    {finding_code::dictionary_key_repeated, "dictionary-key-repeated", error, "Two channels have the same key.",
     "all records; environment values of one of the two"},
    {finding_code::dictionary_event_mask, "dictionary-event-mask", error,
     "A channel's mask lacks an event type that its records have.", "all records, if asked for by channel"},
    {finding_code::dictionary_type_mask, "dictionary-type-mask", warning,
     "A channel's mask lacks a block type that its records have.", everything},
    {finding_code::dictionary_count, "dictionary-count", error,
     "A channel has another number of rows in use than the dictionary says.", "as many records as the dictionary says"},
    {finding_code::pointers_columns, "pointers-columns", error,
     "The pointers table is not one column of maxev rows per channel.", nothing_by_tables},
    {finding_code::row_empty, "row-empty", error, "A row in use is zero.", all_but_record},
    {finding_code::row_unused, "row-unused", warning, "A row behind the last record is not zero.", everything},
    {finding_code::row_repeated, "row-repeated", warning, "A channel has two records in one event.", everything},
    {finding_code::row_event, "row-event", error, "A row does not lead to an event header.", all_but_record},
    {finding_code::row_block, "row-block", error, "A row does not lead to a server block head of its event.",
     all_but_record},
    {finding_code::row_subhead, "row-subhead", error, "A row does not lead to a sub-head in the channel's basket.",
     all_but_record},
    {finding_code::row_data, "row-data", error, "A row does not lead to the value of a slow record.", all_but_record},
    {finding_code::row_data_offset, "row-data-offset", warning,
     "A row's data position is not that behind the sub-head. Readers do not look at it.", everything},
    {finding_code::block_pattern, "block-pattern", error, "A server block head has a wrong pattern.", "all records"},
    {finding_code::block_head, "block-head", error, "A field of a server block head has an impossible value.",
     "all records"},
    {finding_code::block_length, "block-length", error,
     "The length of a server block is not that of its head and records.", "all records"},
    {finding_code::block_channels, "block-channels", error,
     "A server block has another number of records than its head says.", "all records"},
    {finding_code::block_time, "block-time", warning, "A server block is more than a minute away from its event.",
     everything},
    {finding_code::block_status, "block-status", warning, "A server block head has unassigned status bits set.",
     everything},
    {finding_code::block_pulse, "block-pulse", warning,
     "The pulse number of a server block head is not that of its event, as it is in most others.", everything},
    {finding_code::basket_position, "basket-position", error, "There is no basket where the channel's first row leads.",
     "all other channels"},
    {finding_code::basket_pattern, "basket-pattern", error, "A channel's basket does not begin with its pattern.",
     all_channels_else},
    {finding_code::basket_length, "basket-length", error, "The length of a channel's basket does not fit the file.",
     all_channels_else},
    {finding_code::record_name, "record-name", error, "A sub-head carries another channel's name.", all_but_record},
    {finding_code::record_type, "record-type", error, "A sub-head has an unassigned block type.", all_but_record},
    {finding_code::record_mark, "record-mark", warning,
     "A stored block type has upper bits set, which mark blocks in memory.", everything},
    {finding_code::record_error_bits, "record-error-bits", warning, "A sub-head has unassigned error bits set.",
     everything},
    {finding_code::record_length, "record-length", error, "The length of a record does not fit its basket.",
     all_but_record},
    {finding_code::record_length_inexact, "record-length-inexact", warning,
     "The length of a record is not that of its parts.", everything},
    {finding_code::record_overlap, "record-overlap", error, "Two records share bytes.", "one of the two at most"},
    {finding_code::record_zip, "record-zip", error,
     "A zip header names an unknown compressor, or lengths that cannot be.", all_but_record},
    {finding_code::record_zip_flags, "record-zip-flags", warning,
     "A zip header has other flags than that of its compressor. Readers do not look at them.", everything},
    {finding_code::record_stream, "record-stream", error, "A compressed payload cannot be decompressed.",
     all_but_record},
    {finding_code::record_stream_length, "record-stream-length", error,
     "A compressed payload does not have the length that its zip header says.", all_but_record},
    {finding_code::record_payload, "record-payload", error, "A payload is shorter than its block type demands.",
     all_but_record},
    {finding_code::record_announced, "record-announced", error, "A payload is shorter than its heads announce.",
     "all records; of this one, what is there"},
    {finding_code::record_image, "record-image", error,
     "Width, height and bytes per pixel of an image do not make the length that its head announces.",
     "all records; of this one, the head"},
    {finding_code::record_longer, "record-longer", warning, "A payload is longer than its heads announce.",
     "everything that is announced"},
    {finding_code::record_value_name, "record-value-name", error, "A slow value carries another channel's name.",
     all_others},
    {finding_code::record_value_index, "record-value-index", error,
     "An environment value carries another index than the environment dictionary.", all_others},
    {finding_code::record_unchecked, "record-unchecked", note,
     "A compressed payload was not decompressed: this build cannot, or it is too large.", "not known"},
    {finding_code::environment_repeated, "environment-repeated", warning,
     "The environment dictionary has a key or an index twice.", everything},
    {finding_code::environment_key, "environment-key", note,
     "The environment dictionary names a key that no channel has.", everything},
    {finding_code::descriptions_text, "descriptions-text", error,
     "The channel descriptions are not well-formed, or have values that are none.", "all records; no descriptions"},
    {finding_code::descriptions_channel, "descriptions-channel", warning,
     "A description names a channel that the file has not got.", everything},
    {finding_code::descriptions_differ, "descriptions-differ", warning,
     "A description tells another key, count or event types of its channel than the file has.", everything},
    {finding_code::descriptions_unchecked, "descriptions-unchecked", note,
     "The channel descriptions are too large to be checked.", "not known"},
    {finding_code::microseconds, "microseconds", warning, "A time has more than 999999 microseconds.", everything},
    {finding_code::padding, "padding", warning, "Reserved or padding bytes are not zero.", everything},
}};

constexpr bool is_in_order() noexcept
{
    for (std::size_t i = 0; i < infos.size(); ++i) {
        if (static_cast<std::size_t>(infos[i].code) != i) {
            return false;
        }
    }
    return true;
}
static_assert(is_in_order());

bool lies_before(const finding& a, const finding& b)
{
    const auto key = [](const finding& one) {
        return std::tie(one.where.offset, one.where.channel, one.where.record, one.found, one.expected);
    };
    return key(a) < key(b);
}

} // namespace

const char* name_of(severity level) noexcept
{
    switch (level) {
    case severity::error:
        return "error";
    case severity::warning:
        return "warning";
    case severity::note:
        return "note";
    }
    return "";
}

const code_info& info_of(finding_code code) noexcept
{
    return infos[static_cast<std::size_t>(code)];
}

void finding_list::add(finding_code code, finding_place where, std::string found, std::string expected)
{
    finding one{code, std::move(where), std::move(found), std::move(expected)};
    const std::lock_guard lock(mutex_);
    of_code& of = codes_[static_cast<std::size_t>(code)];
    ++of.count;
    if (of.kept.size() == kept_per_code_) {
        if (of.kept.empty() || !lies_before(one, of.kept.front())) {
            return;
        }
        std::pop_heap(of.kept.begin(), of.kept.end(), lies_before);
        of.kept.pop_back();
    }
    of.kept.push_back(std::move(one));
    std::push_heap(of.kept.begin(), of.kept.end(), lies_before);
}

std::uint64_t finding_list::count(finding_code code) const
{
    const std::lock_guard lock(mutex_);
    return codes_[static_cast<std::size_t>(code)].count;
}

std::uint64_t finding_list::count(severity level) const
{
    std::uint64_t sum = 0;
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < codes_.size(); ++i) {
        sum += infos[i].level == level ? codes_[i].count : 0;
    }
    return sum;
}

std::vector<finding> finding_list::sorted() const
{
    std::vector<finding> all;
    const std::lock_guard lock(mutex_);
    for (const of_code& of : codes_) {
        const auto begin = static_cast<std::ptrdiff_t>(all.size());
        all.insert(all.end(), of.kept.begin(), of.kept.end());
        std::sort(all.begin() + begin, all.end(), lies_before);
    }
    return all;
}

} // namespace trox::inspect
