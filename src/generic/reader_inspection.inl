// Reader: looking into one file.
#ifndef TROX_GENERIC_READER_INSPECTION_INL
#define TROX_GENERIC_READER_INSPECTION_INL

#include "generic/dictionary_entries.h"
#include "generic/reader_settings.inl"
#include "generic/reader_signal.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace trox_detail
{

inline constexpr std::uint64_t event_index_pattern = 0xEDAEDAF3;

/// A file's list of channels is as long as its table.
template <class Table> std::size_t dictionary_size(const Table& table)
{
    constexpr std::size_t head = offsetof(Table, entries);
    const auto length = static_cast<std::size_t>(table.length);
    return length < head ? 0 : (length - head) / sizeof(table.entries[0]);
}

/// Empties the loader, and puts a file into the list: the status of that. `path` becomes the first entry there that
/// contains its name, and stays empty without one.
template <class Generation> int basic_reader<Generation>::open_file(const char* file, bool at_end, std::string& path)
{
    get_tables_->clean_up();
    if (const int status = add_file(file, at_end)) {
        return status;
    }
    const auto found = std::find_if(files_.begin(), files_.end(), [&](const std::string& candidate) {
        return candidate.find(file) != std::string::npos;
    });
    if (found != files_.end()) {
        path = *found;
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
{
    if (file == nullptr || *file == '\0' || n == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    std::string path;
    if (const int status = open_file(file, false, path)) {
        return status; // the last error is that of `add_file`
    }
    if (path.empty()) {
        return TROX_DAQ_READER_INTERN_ERROR;
    }
    const int loaded = get_tables_->get_all_tables(path, mode, &chans_);
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
{
    if (file == nullptr || *file == '\0' || list == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    constexpr int with_descriptions = 1;
    int count = 0;
    if (const int status = get_number_of_channels(file, &count, with_descriptions)) {
        return status;
    }
    const auto* dictionary = get_tables_->get_cdt_table();
    for (chan_descr_2010* descr : *get_tables_->get_descr_list()) {
        for (int i = 0; const char* at = dictionary_entry(dictionary, i); ++i) {
            const auto& candidate = *reinterpret_cast<const typename Generation::chan_dictionary_entry*>(at);
            if (name_in(candidate.chan_name) == name_in(descr->daq_name)) {
                descr->count = candidate.count;
                list->push_back(descr);
                break;
            }
        }
    }
    return set_error(TROX_DAQ_READER_OK);
}

template <class Generation> int basic_reader<Generation>::print_event_index_table(const char* file, int evtype)
{
    if (file == nullptr || *file == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    std::string path;
    if (const int status = open_file(file, true, path)) {
        return status;
    }
    if (path.empty()) {
        return TROX_DAQ_READER_INTERN_ERROR;
    }
    const int loaded = get_tables_->get_all_tables(path, 0, nullptr);
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
}

// --- records of one channel ---------------------------------------------------------------------------

/// Decodes a channel and calls `print_from` with its reader. Failures name the first of the four operations.
template <class Generation>
template <class Print>
void basic_reader<Generation>::print_records(const char* file, const char* chan, Print print_from)
{
    using texts = reader_texts<Generation>;
    using channel_reader = typename Generation::channel_reader;
    if (file == nullptr || *file == '\0' || chan == nullptr) {
        print<texts, reader_message::inspection_parameters>();
        return;
    }
    std::string path;
    if (open_file(file, true, path) != TROX_DAQ_READER_OK) {
        print<texts, reader_message::inspection_no_file>(file);
        return;
    }
    if (path.empty()) {
        print<texts, reader_message::inspection_no_entry>(file);
        return;
    }
    chans_.assign(1, chan);
    const int loaded = get_tables_->get_all_tables(path, 0, &chans_);
    close_file(true);
    if (loaded != 0) {
        print<texts, reader_message::inspection_no_channel>(chan, file);
        return;
    }
    channel_reader reader(get_tables_.get(), chan, -1, nullptr);
    reader.set_skip_bad_records(skip_bad_records_);
    pthread_mutex_t* mutex = nullptr;
    pthread_cond_t* cond = nullptr;
    int* flag = nullptr;
    if (reader.start(&mutex, &cond, &flag) != TROX_DAQ_READ_CHAN_OK) {
        print<texts, reader_message::inspection_not_started>(chan);
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
