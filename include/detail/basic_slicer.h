// Slicer: many channels of many files as one stream of events; generic over the file generation.
#ifndef TROX_DETAIL_BASIC_SLICER_H
#define TROX_DETAIL_BASIC_SLICER_H

#include "../event.h"
#include "malloc_array.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace trox_detail
{

template <class Generation> class basic_slicer;

/// What a slicer and its table-loading thread share. `tmx` guards `ready`, `go`, `status`, `loading`, `bad`,
/// `bad_files` and the slots themselves; `tcond` is broadcast when a load ends, and when the slicer gives a credit or
/// stops the thread. `next` is changed by the thread alone, under `tmx`, and read by others under `tmx`. `stop` is set
/// under `tmx` and read without. The other fields do not change while the thread runs.
template <class Generation> struct basic_get_tables_task {
    basic_slicer<Generation>* slicer = nullptr;      ///< only its debug level is read
    const std::vector<std::string>* files = nullptr; ///< paths of the data files, in reading order
    const std::vector<std::string>* chans = nullptr; ///< channel names
    std::shared_ptr<typename Generation::table_loader>* get_tables = nullptr; ///< slots; null ones are free
    int get_tables_num = 0;                                                   ///< number of slots
    pthread_mutex_t* tmx = nullptr;
    pthread_cond_t* tcond = nullptr;
    int ready = 0;            ///< loaded tables that the slicer has not taken yet
    int go = 0;               ///< loads that the thread may still begin
    int mode = 0;             ///< handed to every loader
    std::atomic<int> stop{0}; ///< non-zero ends the thread; the legacy one only when it also has a credit
    int status = 0;           ///< 1 when a load failed and the thread ended with it
    std::size_t next = 0;     ///< index of the file to load next, or being loaded
    bool loading = false;     ///< a load is going on
    std::vector<bool> bad;    ///< per file: passed over
    int bad_files = 0;        ///< number of those
    bool skip = false;        ///< whether files that cannot be loaded are passed over; constant
};

/// Merges the channels of one request into one stream of events: holds a channel reader per channel, moves
/// each from file to file, and loads the tables of the coming files in a thread of its own.
///
/// Layer: slicing, on table loaders and channel readers, which it makes and owns; the reader classes drive it.
/// One caller thread at a time; the table-loading thread is the only one beside it, with `tmx_` between them.
/// No lock is held while a table is loaded or a channel reader is waited for.
///
/// Life cycle: constructed -> `init` -> settings -> `start` -> `get_data` ... -> `clean_up` (or `init` again, or
/// destruction). Channels are named by their index in the list that `init` was given, null entries left out.
///
///     trox_daq_slicer_2010 slicer;
///     slicer.set_time_diff(&tolerance);
///     if (slicer.init(&files, &params, 0) == 0 && slicer.start() == 0) {
///         std::vector<trox_channel_entry_long*> records;
///         while (slicer.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT) == 0) {
///             for (const auto* record : records) { ... }
///         }
///     }
///     slicer.clean_up();
///
/// Operations that answer an int answer a trox_daq_slicer_status. "Directions" and "requests" are values of
/// trox_daq_read_chan_request_type. Progress is printed on standard output; see `set_debug`.
template <class Generation> class basic_slicer
{
public:
    using entry = typename Generation::channel_entry;
    using time_id = typename Generation::time_id;
    using table_loader = typename Generation::table_loader;
    using channel_reader = typename Generation::channel_reader;
    using chan_param = typename Generation::chan_param;

    basic_slicer();
    /// Cleans up.
    ~basic_slicer();
    basic_slicer(const basic_slicer&) = delete;
    basic_slicer& operator=(const basic_slicer&) = delete;

    // --- settings, kept over clean_up -------------------------------------------------------------

    /// Number of table slots of the next `start`; -7 for a number below 1. `init` sets it to the number of files.
    int set_num_of_get_tables(int n);
    int get_num_of_get_tables() const;
    /// A trox_daq_slicer_synch_mode (default EVID); any other value is ignored and answers 0 all the same. -8
    /// once started.
    int set_synch_mode(int mode);
    int get_synch_mode() const;
    /// Step between events, handed to every channel reader (default 1 in number, 100 ms). Copied. -8 once
    /// started, -7 for null.
    int set_event_step(time_id* step);
    /// Borrowed, lives as long as the slicer; likewise `get_time_diff`.
    time_id* get_event_step();
    /// Tolerance when events are compared by time, also handed to every channel reader. Copied. Until it is set the
    /// readers have 50 ms and the slicer itself compares exactly. -8 once started, -7 for null.
    int set_time_diff(time_stamp* diff);
    time_stamp* get_time_diff();
    /// 0 silent; positive: progress, the more the higher; negative: timings in milliseconds, -1 and -2 with
    /// traces of their own. Messages about channels that fail are printed always. Any thread.
    void set_debug(int level);
    int get_debug() const;
    /// Whether files whose tables cannot be loaded, and records that cannot be decoded, are passed over. Then a channel
    /// also passes over files that do not know it, since a damaged dictionary may have lost its name, and those where
    /// it cannot be started. Off: the first bad file ends the loading of tables, the wait for a channel with such
    /// records does not end, and a channel is dropped at a file that does not know it or where it cannot be
    /// started. The environment variable TROX_DAQ_READER_SKIP_BAD_RECORDS switches the default on. Takes effect with
    /// `start`.
    void set_skip_bad_records(bool skip);
    bool is_skip_bad_records() const;

    // --- a request --------------------------------------------------------------------------------

    /// Starts the table-loading thread, then every channel in the first file that has data of it, and puts the
    /// current event to the earliest of their first events. Waits until these channels are decoded. Channels
    /// that no file can serve are left out, see `get_not_found_channels`; with skipping off, so are those that a
    /// file's dictionary does not know, whatever later files hold. -1 without files or channels, -6 when the
    /// first file's tables cannot be loaded or memory or threads are not to be had (`clean_up`, then `init`, to try
    /// again), -8 when already started.
    int start();
    /// Ends the thread, then releases all loaders and channel readers, the lists of files and channels, and the
    /// current event. Settings stay, and so do the counts of bad records and files.
    void clean_up();

    /// Records of the next (previous, first, last, current) event. `target` (null: the current event) is what
    /// the request is relative to; the first call after construction answers CUR whatever `request` is. `result`
    /// is emptied and receives the records of all channels that have the chosen event, in channel order; they
    /// belong to the channel readers and live until the next call or `clean_up`. The chosen event becomes the
    /// current one. Channels at the end of their file move to the next (previous, ...) one, which waits for its
    /// decoding; without such a file they are dropped. Backwards, that file may have been released, and never comes
    /// back: the call then waits for ever, or, with an untaken table or with skipping on, the channel stays where it
    /// is, and its next move drops it with messages that begin "STRANGE". 0 (also without records), -3 when no channel
    /// is left, -2 a channel is not ready, -6 a channel failed or no memory for `result`, -7 null result or unknown
    /// request.
    int get_data(const time_id* target, std::vector<entry*>* result, int request);
    /// 1 when two events are the same, else 0; `diff` (may be null) receives the sign of a - b. By number when both
    /// have one, else by time within the tolerance. 0 for null events, and `diff` stays.
    int is_event_id_eq(const time_id* a, const time_id* b, int* diff) const;

    /// Names of the channels that `start` left out, joined by ";". Borrowed until the next `start` or `clean_up`.
    const char* get_not_found_channels() const;
    /// Name of the first channel without a reader or without records; else a sentence that there is none, or that
    /// there are no channels. Borrowed until `clean_up`.
    const char* get_name_of_empty_channel() const;
    /// Records left out since `init` because they could not be decoded, over all channels and files.
    int get_number_of_bad_records() const;
    /// Files passed over since `init` because their tables could not be loaded. Any thread.
    int get_number_of_bad_files() const;

    // --- single channels and tables ---------------------------------------------------------------

    /// Makes a new reader for channel `i` on a loaded table and drops the channel's earlier one; `start_channel`
    /// follows. The loader stays its owner's: of the slots, or of the caller, for as long as the reader. -7 no such
    /// channel or null, -4 not started, -6 out of memory or a setting refused (the channel has no reader then).
    int create_channel(int i, table_loader* table);
    /// Starts a channel's reader, waits until it has decoded all records, and puts it to its last event for PREV
    /// and LAST, else to its first. -7 no such channel or direction, -4 not started, -1 no reader or no records, else
    /// what the reader answers.
    int start_channel(int i, int direction);
    /// Drops a channel's reader; nothing for a channel that has none.
    void remove_channel(int i);
    /// Moves a channel: NEXT and PREV one file on or back, FIRST and LAST to the first and last file, CUR to the
    /// same file anew. Waits for the file's tables; its new reader is to be started. -1 when the file has no
    /// tables (the reader stays) or there is no such file (the channel is dropped), -4, -6, -7 as above. `flag` is not
    /// used.
    int change_config(int i, int direction, int flag);
    /// The loaded tables of a file; null when they cannot be had. Waits for a file that the table-loading thread has
    /// yet to load and reaches before it has three loaded tables that nobody took. Unless bad records are
    /// skipped, it also waits when no loaded table is untaken and no load failed: for ever, for a file that was
    /// released before, and, with fewer slots than files, for one that no slot comes free for. Borrowed until all
    /// channels have left the file, or `clean_up`.
    table_loader* find_ready_table(const std::string& name);
    table_loader* find_ready_table(const char* name);

protected:
    int init(const std::vector<std::string>* files, const std::vector<chan_param*>* chans, int mode);
    int init(const std::vector<char*>* files, const std::vector<chan_param*>* chans, int mode);
    void set_by_time_fix(bool on);
    bool is_by_time_fix() const;

private:
    using param_copy = std::unique_ptr<chan_param, block_deleter>;
    struct search;
    struct answer {
        entry* record = nullptr;
        time_id event{}; // the record's
    };

    // set-up and tear-down
    bool add_name(const char* file, std::vector<std::string>& names) const;
    bool copy_lists(const std::vector<std::string>& files, const std::vector<chan_param*>& chans);
    bool copy_channels(const std::vector<chan_param*>& chans);
    int report_missing_lists() const;
    bool is_started() const;
    int start_all(int debug);
    int start_table_thread();
    void stop_table_thread();
    table_loader* find_first_table();
    bool allocate_readers();
    void start_or_drop(int i, int debug);
    void add_to_not_found(int i);
    void choose_first_event(int debug);
    void take_first_event(const time_id& event);
    // tables
    table_loader* loaded_table(const std::string& name) const;
    bool is_coming(const std::string& name) const;
    bool is_bad(int file) const;
    std::shared_ptr<table_loader>* slot_of(const table_loader* loader) const;
    // channels
    bool has_channel(int i) const;
    const char* channel_name(int i) const;
    void close_reader(int i);
    bool goes_to_next_file(int status) const;
    bool is_shared(const table_loader* loader, int i) const;
    int leave_file(int i, table_loader* loader);
    int first_choice(int file, int direction) const;
    table_loader* table_for(int i, const std::string& name);
    int lose_channel(int i);
    // events
    int ask_channels(search& state);
    int ask_channel(int i, search& state);
    void fetch_ahead(int i) const;
    bool is_in_range(int i, const search& state) const;
    bool move_channel(int i, const search& state, std::size_t& moves_left);
    void consider(int i, const entry& record, search& state) const;
    bool is_better(const entry& record, const search& state) const;
    int collect(const search& state, std::vector<entry*>& result);
    answer current_record(int i);
    int report_channel(int i, int status) const;
    void trace_asking(int i, const search& state) const;
    void trace_answer(int i, const entry* record, const search& state) const;
    void trace_empty(int i, const entry& record) const;

    std::vector<std::string> files_;
    std::vector<param_copy> chans_;
    std::vector<std::string> chansp_; // their names, as the loaders take them
    int cur_file_ = -1;
    int prev_file_ = -1;
    int get_tables_num_ = 0;
    malloc_array<std::shared_ptr<table_loader>> get_tables_; // guarded by tmx_; exists once started
    malloc_array<std::unique_ptr<channel_reader>> read_chans_;
    std::vector<answer> answers_; // of the event being looked for, where the second pass need not ask again
    int nchans_ = 0;
    int mode_ = 0;
    time_id current_event_id_{};
    int first_event_ = 1;
    std::atomic<int> debug_{0};
    int synch_mode_ = TROX_DAQ_SLICER_SYNCH_MODE_EVID;
    time_stamp event_time_diff_{0, 50000};
    double time_diff_ = 0.0; // intended: the default above is for the channel readers only
    time_id event_step_{1, {0, 100000}};
    std::string not_found_channels_;
    pthread_t tid_ = 0; // 0 when no thread runs
    mutable pthread_mutex_t tmx_;
    pthread_cond_t tcond_;
    basic_get_tables_task<Generation> task_;
    bool by_time_fix_ = true;
    bool skip_bad_records_;
    int bad_records_ = 0; // of readers that are gone
};

} // namespace trox_detail

#pragma GCC visibility pop

#endif
