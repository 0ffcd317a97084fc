// Reader: looking into one file.
#ifndef TROX_GENERIC_READER_INSPECTION_INL
#define TROX_GENERIC_READER_INSPECTION_INL

#include "generic/dictionary_entries.h"
#include "generic/reader_settings.inl"
#include "generic/reader_signal.h"

#include <cstdint>
#include <cstdio>
#include <new>
#include <string_view>
#include <unordered_map>

namespace trox_detail
{

inline constexpr std::uint64_t event_index_pattern = 0xEDAEDAF3;

/// Empties the loader, and puts a file into the list: the status of that. `path` becomes the first entry there that
/// contains its name, and stays null without one.
///
/// `file` is the caller's own: what a reader has handed out may go here.
template <class Generation>
int basic_reader<Generation>::open_file(const std::string& file, bool at_end, const std::string*& path)
{
    get_tables_->clean_up();
    if (const int status = put_file(file.c_str(), at_end)) {
        return status;
    }
    const auto found = std::find_if(files_.begin(), files_.end(), [&](const std::string& candidate) {
        return candidate.find(file) != std::string::npos;
    });
    if (found != files_.end()) {
        path = &*found;
    }
    return TROX_DAQ_READER_OK;
}

/// Takes back the entry that `open_file` put into the list; others may have the same name, or contain it.
template <class Generation> void basic_reader<Generation>::close_file(bool at_end)
{
    if (!files_.empty()) {
        files_.erase(at_end ? files_.end() - 1 : files_.begin());
    }
}

template <class Generation> int basic_reader<Generation>::get_number_of_channels(const char* file, int* n, int mode)
try {
    if (file == nullptr || *file == '\0' || n == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    const std::string* path = nullptr;
    if (const int status = open_file(file, false, path)) {
        return status; // the last error is that of `add_file`
    }
    if (path == nullptr) {
        return TROX_DAQ_READER_INTERN_ERROR;
    }
    const int loaded = get_tables_->get_all_tables(*path, mode, &chans_);
    close_file(false);
    if (loaded != 0) {
        return set_error(TROX_DAQ_READER_NO_DATA);
    }
    const auto* dictionary = get_tables_->get_cdt_table();
    if (dictionary == nullptr || dictionary->pattern != dictionary_pattern) {
        return set_error(TROX_DAQ_READER_INTERN_ERROR);
    }
    const std::size_t count = dictionary_size(*dictionary);
    if (count == 0) {
        return set_error(TROX_DAQ_READER_NO_DATA);
    }
    *n = static_cast<int>(count);
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> int basic_reader<Generation>::print_all_channels(const char* file)
{
    int count = 0;
    const int status = get_number_of_channels(file, &count, 0);
    if (status == TROX_DAQ_READER_OK) {
        print_trox_channel_dictionary_table(get_tables_->get_cdt_table());
    }
    return status;
}

template <class Generation>
int basic_reader<Generation>::fill_chan_descr(const char* file, std::vector<chan_descr_2010*>* list)
try {
    const bool is_own = list == get_tables_->get_descr_list(); // it is emptied, and would own what is appended
    if (file == nullptr || *file == '\0' || list == nullptr || is_own) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    constexpr int with_descriptions = 1;
    int count = 0;
    if (const int status = get_number_of_channels(file, &count, with_descriptions)) {
        return status;
    }
    const auto& dictionary = *get_tables_->get_cdt_table();
    std::unordered_map<std::string_view, const typename Generation::chan_dictionary_entry*> entries;
    for (std::size_t i = 0; i < dictionary_size(dictionary); ++i) {
        const auto& listed = dictionary.entries[i];
        entries.try_emplace(name_in(listed.chan_name), &listed); // of one name the first counts
    }
    for (chan_descr_2010* descr : *get_tables_->get_descr_list()) {
        const auto found = entries.find(name_in(descr->daq_name));
        if (found != entries.end()) {
            descr->count = found->second->count;
            list->push_back(descr);
        }
    }
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> int basic_reader<Generation>::print_event_index_table(const char* file, int evtype)
try {
    if (file == nullptr || *file == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    const std::string* path = nullptr;
    if (const int status = open_file(file, true, path)) {
        return status;
    }
    if (path == nullptr) {
        return TROX_DAQ_READER_INTERN_ERROR;
    }
    const int loaded = get_tables_->get_all_tables(*path, 0, nullptr);
    close_file(true);
    if (loaded != 0) {
        return set_error(TROX_DAQ_READER_NO_DATA);
    }
    const auto* table = get_tables_->get_eit_table();
    if (table == nullptr) {
        print<common_reader_texts, common_reader_message::no_event_index>();
        return set_error(TROX_DAQ_READER_INTERN_ERROR);
    }
    if (table->pattern != event_index_pattern) {
        print<common_reader_texts, common_reader_message::wrong_event_index>();
        return set_error(TROX_DAQ_READER_INTERN_ERROR);
    }
    const auto types = static_cast<std::uint64_t>(table->nevent_types);
    if (types == 0) {
        print<common_reader_texts, common_reader_message::no_events_in_index>();
        return set_error(TROX_DAQ_READER_NO_DATA);
    }
    // The table was checked when it was read: its entries are whole, and aligned like the table.
    const auto* of_type = table->entries;
    for (std::uint64_t type = 0; type < types; ++type) {
        if (evtype < 0 || of_type->head.event_type == evtype) {
            print_trox_event_index_table(of_type);
        }
        const auto* next = reinterpret_cast<const unsigned char*>(of_type) + of_type->head.length;
        of_type = reinterpret_cast<decltype(of_type)>(next);
    }
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

// --- records of one channel ---------------------------------------------------------------------------

/// Decodes a channel and calls `print_from` with its reader. Failures name the first of the four operations.
template <class Generation>
template <class Print>
void basic_reader<Generation>::print_records(const char* file, const char* chan, Print print_from)
{
    using texts = reader_texts<Generation>;
    if (file == nullptr || *file == '\0' || chan == nullptr) {
        print<texts, reader_message::inspection_parameters>();
        return;
    }
    std::string name;
    try {
        name = chan; // may be one of the dictionary's, which goes
        print_channel_of(file, name, print_from);
    } catch (const std::bad_alloc&) {
        print<texts, reader_message::inspection_not_started>(name.empty() ? chan : name.c_str());
    }
}

template <class Generation>
template <class Print>
void basic_reader<Generation>::print_channel_of(const std::string& file, const std::string& chan, Print print_from)
{
    using texts = reader_texts<Generation>;
    using channel_reader = typename Generation::channel_reader;
    std::vector<std::string> wanted(1, chan);
    const std::string* path = nullptr;
    if (open_file(file, true, path) != TROX_DAQ_READER_OK) {
        print<texts, reader_message::inspection_no_file>(file.c_str());
        return;
    }
    if (path == nullptr) {
        print<texts, reader_message::inspection_no_entry>(file.c_str());
        return;
    }
    chans_ = std::move(wanted);
    const int loaded = get_tables_->get_all_tables(*path, 0, &chans_);
    close_file(true);
    if (loaded != 0) {
        print<texts, reader_message::inspection_no_channel>(chan.c_str(), file.c_str());
        return;
    }
    channel_reader reader(get_tables_.get(), chan.c_str(), -1, nullptr);
    reader.set_skip_bad_records(skip_bad_records_);
    pthread_mutex_t* mutex = nullptr;
    pthread_cond_t* cond = nullptr;
    int* flag = nullptr;
    if (reader.start(&mutex, &cond, &flag) != TROX_DAQ_READ_CHAN_OK) {
        print<texts, reader_message::inspection_not_started>(chan.c_str());
        return;
    }
    wait_for_reader(*mutex, *cond, *flag);
    if constexpr (reader_traits<Generation>::has_channel_dumps) {
        print_from(reader);
    }
}

template <class Generation>
void basic_reader<Generation>::print_channel_event_headers(const char* file, const char* chan)
{
    print_records(file, chan, [](auto& reader) { reader.print_event_headers(); });
}

template <class Generation>
void basic_reader<Generation>::print_channel_server_block_headers(const char* file, const char* chan)
{
    print_records(file, chan, [](auto& reader) { reader.print_server_block_headers(); });
}

template <class Generation>
void basic_reader<Generation>::print_channel_channel_headers(const char* file, const char* chan)
{
    print_records(file, chan, [](auto& reader) { reader.print_channel_headers(); });
}

template <class Generation> void basic_reader<Generation>::print_channel_channel(const char* file, const char* chan)
{
    print_records(file, chan, [](auto& reader) { reader.print_channel(); });
}

} // namespace trox_detail

#endif
