// Reader: time span, names and printing.
#ifndef TROX_GENERIC_READER_REPORT_INL
#define TROX_GENERIC_READER_REPORT_INL

#include "generic/dictionary_entries.h"
#include "generic/reader_settings.inl"

namespace trox_detail
{

// --- time span ----------------------------------------------------------------------------------------

inline constexpr double no_files_marker = -1.0;
inline constexpr double bad_file_marker = -2.0;
inline constexpr double no_events_marker = -3.0;
inline constexpr double no_span_marker = -4.0;

template <class Generation> double basic_reader<Generation>::get_time_period_us()
{
    if (time_stop_ != 0 && time_start_ != 0) {
        return time_stop_ - time_start_;
    }
    if (files_.empty()) {
        return no_files_marker;
    }
    return files_.size() == 1 ? time_period_of_file() : time_period_of_names();
}

template <class Generation> double basic_reader<Generation>::time_period_of_file()
{
    get_tables_->clean_up();
    if (get_tables_->get_all_tables(files_.front(), 0, &chans_) != 0) {
        set_error(TROX_DAQ_READER_BAD_FILE_FORMAT);
        return bad_file_marker;
    }
    std::uint32_t first_s = 0;
    std::uint32_t last_s = 0;
    if (!event_span(*get_tables_, first_s, last_s)) {
        // The tables stay, so that the dictionary of a file without events can be looked at.
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::no_events_in_index>();
        }
        set_error(TROX_DAQ_READER_NO_DATA);
        return no_events_marker;
    }
    get_tables_->clean_up();
    return time_period_of(first_s, last_s);
}

/// Earliest first and latest last second over the event types of a loaded file; false without an index.
template <class Generation>
bool basic_reader<Generation>::event_span(const table_loader& tables, std::uint32_t& first_s, std::uint32_t& last_s)
{
    const auto* index = tables.get_eit_table();
    if (index == nullptr || index->nevent_types <= 0) {
        return false;
    }
    using entry_head = decltype(index->entries->head);
    const auto is_before = [](const time_stamp& a, const time_stamp& b) {
        int sign = 0;
        trox_time_stamp_eq(&a, &b, 0.0, &sign, nullptr);
        return sign < 0;
    };
    const auto is_set = [](const time_stamp& time) { return time.timeup != 0 || time.timelow != 0; };
    time_stamp first{};
    time_stamp last{};
    // The table reader has checked the entries' lengths against the table.
    const char* position = reinterpret_cast<const char*>(index->entries);
    for (auto left = index->nevent_types; left > 0; --left) {
        const auto head = load_record<entry_head>(position);
        const time_stamp entry_first{big_endian(head.event_time_first.timeup),
                                     big_endian(head.event_time_first.timelow)};
        const time_stamp entry_last{big_endian(head.event_time_last.timeup), big_endian(head.event_time_last.timelow)};
        if (is_set(entry_first) && (!is_set(first) || is_before(entry_first, first))) {
            first = entry_first;
        }
        if (is_set(entry_last) && is_before(last, entry_last)) {
            last = entry_last;
        }
        position += head.length;
    }
    first_s = first.timeup;
    last_s = last.timeup;
    return true;
}

template <class Generation> double basic_reader<Generation>::time_period_of_names() const
{
    const auto first = second_of_file(files_.front());
    if (!first) {
        return no_files_marker;
    }
    const auto last = second_of_file(files_.back());
    if (!last) {
        return 0.0; // no marker, unlike for the first name: programs take it as "span unknown"
    }
    // The last file lasts about as long as the others.
    const std::uint32_t steps = static_cast<std::uint32_t>(files_.size() - 1);
    return time_period_of(*first, *last + (*last - *first) / steps);
}

template <class Generation> double basic_reader<Generation>::time_period_of(std::uint32_t first_s, std::uint32_t last_s)
{
    if (first_s == last_s || last_s == 0 || first_s == 0) {
        return no_span_marker;
    }
    return (static_cast<double>(last_s) - static_cast<double>(first_s)) * us_per_second;
}

// --- names --------------------------------------------------------------------------------------------

template <class Generation> const char* basic_reader<Generation>::get_channel_name(int i, int* subchan)
{
    // An index equal to the number of results passes the bound on purpose, but there is nothing behind it.
    const auto index = static_cast<std::size_t>(i);
    if (i < 0 || index > results_.size() || index == results_.size()) {
        return nullptr;
    }
    const chan_param& chan = results_[index]->chan;
    if (subchan != nullptr) {
        *subchan = chan.subchan;
    }
    return chan.name;
}

template <class Generation>
const char* basic_reader<Generation>::get_channel_name(int i, int* count, int* ev_mask, int* dtype_mask)
{
    using stored_entry = typename Generation::chan_dictionary_entry;
    const char* position = dictionary_entry(get_tables_->get_cdt_table(), i);
    if (position == nullptr) {
        return nullptr;
    }
    const auto found = load_record<stored_entry>(position);
    if (count != nullptr) {
        *count = found.count;
    }
    if (ev_mask != nullptr) {
        *ev_mask = static_cast<int>(found.ev_mask);
    }
    if (dtype_mask != nullptr) {
        *dtype_mask = static_cast<int>(found.dtype_mask);
    }
    const std::string_view name = name_in(found.chan_name);
    if (name.size() == sizeof found.chan_name) {
        unterminated_name_ = name;
        return unterminated_name_.c_str();
    }
    return position + offsetof(stored_entry, chan_name);
}

template <class Generation> const char* basic_reader<Generation>::get_nickname(const char* name)
{
    if (name == nullptr || *name == '\0') {
        return nullptr;
    }
    const std::string part = cut_channel_text(name, longest_name);
    for (const auto& result : results_) {
        if (full_channel_name(result->chan.name, result->chan.subchan).find(part) != std::string::npos) {
            return result->chan.nname[0] != '\0' ? result->chan.nname : nullptr;
        }
    }
    return nullptr;
}

template <class Generation> trox_chan_prms* basic_reader<Generation>::get_channel_params(const char* name)
{
    if (nchans_ <= 0 || name == nullptr || *name == '\0') {
        return nullptr;
    }
    const std::string_view nickname = std::string_view(name).substr(0, longest_name);
    const std::string part = cut_channel_text(name, longest_name);
    const auto matches = [&](const chan_param& chan) {
        if (chan.nname == nickname) {
            return true;
        }
        return chan.subchan < 0 ? chan.name == part
                                : full_channel_name(chan.name, chan.subchan).find(part) != std::string::npos;
    };
    // `set_channels` may leave the number of channels above or below that of the results.
    const std::size_t looked_at = std::min(static_cast<std::size_t>(nchans_), results_.size());
    for (std::size_t i = 0; i < looked_at; ++i) {
        if (matches(results_[i]->chan)) {
            return &results_[i]->chan.prms;
        }
    }
    return nullptr;
}

// --- printing -----------------------------------------------------------------------------------------

template <class Generation> void basic_reader<Generation>::print_files() const
{
    print<common_reader_texts, common_reader_message::files_begin>();
    int number = 0;
    for (const std::string& file : files_) {
        print<common_reader_texts, common_reader_message::files_line>(++number, file.c_str());
    }
    print<common_reader_texts, common_reader_message::files_end>();
}

template <class Generation> void basic_reader<Generation>::print_channels() const
{
    print<common_reader_texts, common_reader_message::channels_begin>();
    int number = 0;
    for (const auto& result : results_) {
        const char* name = result->chan.name;
        const char* nickname = result->chan.nname;
        const int subchan = result->chan.subchan;
        const trox_chan_prms& prms = result->chan.prms;
        ++number;
        if (*nickname != '\0') {
            print<common_reader_texts, common_reader_message::channel_with_nickname>(number, name, subchan, nickname);
        } else {
            print<common_reader_texts, common_reader_message::channel_without_nickname>(number, name, subchan);
        }
        print<common_reader_texts, common_reader_message::channel_params>(
            prms.start, prms.length, prms.inc, double{prms.tstart}, double{prms.tlength}, double{prms.tinc}, prms.func);
    }
    print<common_reader_texts, common_reader_message::channels_end>();
}

} // namespace trox_detail

#endif
