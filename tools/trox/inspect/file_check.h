// The check of one file, step by step. Internal to the inspecting tools.
//
// Each step has a header of its own and reports to the same list; a step that finds damage leaves behind what the
// following ones can still go on with, so that one defect gives one finding.
#ifndef TROX_INSPECT_FILE_CHECK_H
#define TROX_INSPECT_FILE_CHECK_H

#include "doctor.h"
#include "event_util.h"
#include "field_text.h"
#include "file_format.h"
#include "file_probe.h"
#include "input_file.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace trox::inspect
{

/// A table or basket as far as it can be used.
struct opened_table {
    bool is_present = false; ///< there is something at the position
    bool is_usable = false;  ///< its length fits
    std::uint64_t position = 0;
    std::uint64_t length = 0;
    std::uint64_t begin = 0; ///< of the records of a basket
    std::uint64_t room = 0;  ///< bytes from there to the next table or basket: where records are looked for

    bool holds(std::uint64_t record, std::uint64_t size) const noexcept
    {
        return trox_detail::range_fits(record, size, begin, room);
    }
};

inline constexpr std::uint32_t no_event = 0xFFFFFFFF;
inline constexpr std::uint32_t most_microseconds = 999999;

inline std::uint64_t microseconds_of(time_stamp time) noexcept
{
    constexpr std::uint64_t second = 1000000;
    return time.timeup * second + time.timelow;
}

/// An event, as the index tells it.
struct event_state {
    std::uint64_t position = 0; ///< of its header
    std::uint64_t number = 0;
    time_stamp time{};
    std::int32_t type = 0;
    std::uint64_t length = 0;      ///< by the header
    std::int32_t blocks = 0;       ///< by the header
    std::int32_t blocks_seen = 0;  ///< that rows lead to
    std::uint64_t length_seen = 0; ///< sum of their lengths
    bool is_sound = true;          ///< nothing of the header is doubtful

    /// What makes it this event: number, type, time in microseconds.
    std::tuple<std::uint64_t, std::int32_t, std::uint64_t> name() const noexcept
    {
        return {number, type, microseconds_of(time)};
    }
};

/// A server block that rows lead to.
struct block_state {
    std::uint64_t position = 0;
    std::uint32_t event = no_event;       ///< to which most of its rows say it belongs
    std::uint32_t other_event = no_event; ///< another one that a row says
    std::int32_t votes = 0;
    std::uint32_t rows = 0;
    std::int32_t channels = 0; ///< by its head
    std::uint64_t length = 0;  ///< by its head
    std::uint64_t stored = 0;  ///< bytes of its records
    bool is_sound = true;      ///< its head, and the lengths of all its records
    bool is_there = true;      ///< there is a head at all
};

/// A channel, as the dictionary tells it.
struct channel_state {
    std::uint64_t offset = 0; ///< of its entry
    std::string name{};
    std::uint32_t key = 0;
    std::uint32_t event_mask = 0;
    std::uint32_t type_mask = 0;
    std::int64_t count = 0;
    std::uint64_t used = 0;        ///< rows in use
    std::string name_of_records{}; ///< where they agree about another one
    std::uint32_t events_seen = 0; ///< bits of the event types of its records
    bool shares_key = false;
};

/// Text of a fixed-width field, up to its NUL.
template <std::size_t N> std::string text_of(const char (&field)[N])
{
    return {field, strnlen(field, N)};
}

inline bool is_printable(std::string_view text) noexcept
{
    for (const char c : text) {
        if (c < ' ' || c > '~') {
            return false;
        }
    }
    return true;
}

/// True when a field is NULs behind its text.
template <std::size_t N> bool is_padded(const char (&field)[N]) noexcept
{
    for (std::size_t i = strnlen(field, N); i < N; ++i) {
        if (field[i] != '\0') {
            return false;
        }
    }
    return true;
}

inline bool same_time(time_stamp a, time_stamp b) noexcept
{
    return a.timeup == b.timeup && a.timelow == b.timelow;
}

inline std::string bytes_text(std::uint64_t count)
{
    return std::to_string(count) + " bytes";
}

template <class Row> bool is_zero_row(const Row& row) noexcept
{
    return (row.evhd | row.sbhd | row.chhd | row.data) == 0;
}

template <class Generation> class file_check
{
public:
    using format = file_format<Generation>;
    using word = typename format::word;
    using references_table = typename Generation::file_reference_table;
    using row = typename Generation::chan_ptr_entry;

    file_check(const input_file& file, const doctor_options& options);

    /// Runs all steps. `has_file_head`: what the probe saw.
    check_report run(bool has_file_head);

    ~file_check();
    file_check(const file_check&) = delete;
    file_check& operator=(const file_check&) = delete;

private:
    // check_tables.inl
    void check_trailer();
    bool check_trailer_pattern(const typename format::trailer& trailer, std::uint64_t position, bool leads_on);
    void take_references(std::uint64_t position);
    opened_table open_table(item_kind kind, std::uint64_t position, std::uint64_t pattern, std::uint64_t entry_size);
    std::uint64_t room_for_item(std::uint64_t position) const;
    void find_item_starts();
    bool is_item(std::uint64_t position, std::uint64_t pattern);
    opened_table open_basket(item_kind kind, std::uint64_t position, std::uint64_t pattern);
    void check_basket_end(item_kind kind, const opened_table& opened, std::uint64_t records_end);
    bool require(item_kind kind, std::uint64_t position);
    void check_dictionary();
    std::uint64_t dictionary_entries(const opened_table& table);
    void check_dictionary_entry(const typename Generation::chan_dictionary_entry& entry, channel_state& channel);
    void check_repeated_names();
    void check_environment();
    void check_descriptions();
    void check_description(const chan_descr_2010& told, const channel_state& channel, std::size_t record);
    void check_overlaps();

    // check_events.inl
    void check_index();
    struct index_place;
    bool check_index_entry(index_place& place);
    std::uint64_t next_index_entry(std::uint64_t position);
    bool is_index_entry(std::uint64_t position);
    bool is_referenced_entry(std::uint64_t position) const;
    std::int32_t check_entry_type(const typename Generation::event_index_head& head, std::uint64_t at);
    void check_index_references();
    void check_infos(typename Generation::event_index_head head, std::uint64_t at, std::uint64_t end);
    void check_entry_ends(const typename Generation::event_index_head& head, std::uint64_t at, std::size_t first);
    bool add_indexed_event(std::int32_t type, const typename Generation::event_info& info, std::uint64_t at);
    void check_event_header(const typename Generation::event_header& header, event_state& event);
    void check_event_order(const event_state& before, const event_state& event, std::uint64_t at);
    std::uint32_t find_event(std::uint64_t position);
    void check_event_totals();

    // check_rows.inl
    void open_pointers();
    void settle_rows(std::uint64_t announced);
    std::uint64_t columns_that_begin(std::uint64_t rows, std::uint64_t columns);
    bool are_entries_sound_from(std::uint64_t first) const;
    void survey_rows();
    bool is_row_in_use(const row& pointers, std::uint64_t index, const channel_state& channel);
    void note_block(std::uint64_t position, std::uint32_t event);
    void check_blocks();
    void find_false_blocks();
    int evidence_for(const block_state& block) const;
    void check_block(block_state& block);
    void tell_pulses();
    void check_block_totals();
    std::uint64_t row_position(std::size_t channel, std::uint64_t index) const noexcept;

    // check_channels.inl
    struct row_task;
    struct basket;
    struct outcome;
    class record_check;
    void check_channels();
    void check_channel(std::size_t index);
    std::vector<row_task> take_rows(std::size_t index);
    void place_row(row_task& task, const row& pointers, const channel_state& channel);
    basket find_basket(std::size_t index, std::vector<row_task>& rows);
    std::uint64_t search_basket(const std::vector<row_task>& rows);
    std::uint64_t end_of_records(const basket& where, const std::vector<row_task>& rows) const;
    void take_name_of_records(std::size_t index, basket& where, const std::vector<row_task>& rows);
    std::vector<outcome> check_rows_of(const basket& where, const std::vector<row_task>& rows);
    void settle_outcomes(const std::vector<row_task>& rows, std::vector<outcome>& outcomes);
    void check_record_overlaps(const basket& where, const std::vector<row_task>& rows, std::vector<outcome>& outcomes);
    void tell_longer_payloads(std::size_t index, const std::vector<row_task>& rows,
                              const std::vector<outcome>& outcomes);
    std::uint32_t check_masks(const channel_state& channel, const std::vector<row_task>& rows,
                              const std::vector<outcome>& outcomes);
    void report_progress(std::uint64_t bytes);
    void tell_progress(std::uint64_t done);

    // check_baskets.inl
    void check_lone_baskets();
    std::vector<std::uint64_t> find_channel_patterns();
    bool is_basket_with_record(std::uint64_t position) const;
    void check_lone_basket(std::uint64_t position, std::uint64_t next);
    std::uint64_t next_subhead(std::uint64_t position, std::uint64_t end, const std::string& name);
    std::uint64_t told_record_length(std::uint64_t position) const;

    void add(finding_code code, finding_place where, std::string found, std::string expected)
    {
        findings_.add(code, std::move(where), std::move(found), std::move(expected));
    }
    void check_time(time_stamp time, const finding_place& where);
    check_report make_report();

    const input_file& file_;
    const doctor_options& options_;
    file_window window_;
    finding_list findings_;
    check_report report_;

    bool has_references_ = false;
    bool has_rows_ = false;          ///< the pointers table can be used
    bool knows_environment_ = false; ///< the environment dictionary can be used, and has entries
    references_table references_{};
    std::uint64_t references_position_ = 0;
    std::vector<std::uint64_t> item_starts_; ///< where references lead and a pattern stands, ascending

    opened_table event_headers_;
    opened_table server_blocks_;
    opened_table pointers_;
    std::uint64_t rows_ = 0; ///< of each column, as far as the table holds them

    bool is_index_whole_ = false;
    std::uint32_t types_seen_ = 0;
    std::vector<event_state> events_;
    std::uint64_t indexed_ = 0;
    std::unordered_map<std::uint64_t, std::uint32_t> event_at_;
    std::vector<event_state> lost_events_; ///< whose header the index does not find
    std::set<std::tuple<std::uint64_t, std::int32_t, std::uint64_t>> lost_names_;

    std::deque<block_state> blocks_;
    std::unordered_map<std::uint64_t, std::uint32_t> block_at_;
    std::uint64_t lost_rows_ = 0; ///< rows that their block misses for a reason that was told

    std::vector<channel_state> channels_;
    std::unordered_map<std::uint32_t, std::int32_t> environment_; ///< index by key
    std::uint64_t done_ = 0;
    std::uint64_t told_ = 0;                     ///< bytes that the progress was told of
    std::atomic<std::uint64_t> decompressed_{0}; ///< compressed bytes so far
    std::vector<finding> other_pulses_;          ///< of blocks whose pulse is not that of their event
    std::uint64_t same_pulses_ = 0;
    std::vector<std::unique_ptr<record_check>> checkers_; ///< one per thread, kept for their work areas
};

} // namespace trox::inspect

#endif
