// Reader, generic over the file generation.
#ifndef TROX_DETAIL_BASIC_READER_H
#define TROX_DETAIL_BASIC_READER_H

#include "../event.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)

namespace trox_detail
{

class channel_lookup;
struct scanned_file;
struct run_span;

/// The library's main interface: holds a request, finds and orders the data files, and hands back the data of
/// all requested channels event by event.
///
/// Layer: the uppermost of the reading core. Owns, while it runs, one slicer, which owns the channel readers and
/// the table loaders of the files; owns one table loader more for looking into single files.
///
/// Life cycle: configured (no slicer) -> `start` -> running -> `get_data` ... -> `clean_up` -> configured again,
/// with the request's defaults. A `start` that fails after the request was checked leaves the reader running, so
/// that only `clean_up` (or `init`, which begins with it) leads on. While it runs, most setters answer -8 and
/// change nothing.
///
///     trox_daq_reader_2010 reader;
///     reader.set_data_dir("/daq_data/linac");
///     daq_channel_entry trace{"LINAC.RF/ADC/A07.M1/TRACE.Z;trace", {}};
///     std::vector<daq_channel_entry*> channels{&trace};
///     std::vector<std::string> files{"linac_main_run1042_file1_20120614T093000.raw"};
///     if (reader.init(files, &channels) == 0 && reader.start() == 0) {
///         std::vector<trox_channel_entry_long*> event;
///         while (reader.get_data(nullptr, &event, TROX_DAQ_READ_CHAN_EVENT_NEXT) == 0) {
///             use(event); // one record per channel that has data
///         }
///     }
///
/// Status: operations that return `int` answer a trox_daq_reader_status, 0 for success, and keep its text for
/// `get_last_error` unless they say otherwise. None throws on bad input; a lack of memory is -6.
///
/// Threads: one caller thread at a time per reader; readers are independent of each other. Everything handed out
/// belongs to the reader.
template <class Generation> class basic_reader
{
public:
    using time_id = typename Generation::time_id;
    using entry = typename Generation::channel_entry;
    using request = typename Generation::request;

    /// A configured reader with the defaults: experiment "linac", stream "main", the run catalogue's directory,
    /// the generation's data directory, period and tolerance, matching by event number. The environment gives
    /// TROX_DAQ_DATA_PATH_LIST (else the built-in list, which depends on the host's name),
    /// DAQ_MAX_TIME_STEP_SEC and DAQ_MAX_TIME_STEP_USEC (tolerance), and
    /// TROX_DAQ_READER_SKIP_BAD_RECORDS (skipping); it is read here only.
    basic_reader();
    /// Cleans up.
    ~basic_reader();
    basic_reader(const basic_reader&) = delete;
    basic_reader& operator=(const basic_reader&) = delete;

    // --- status -----------------------------------------------------------------------------------

    /// Keeps the text of `code` for `get_last_error`; answers `code`.
    int set_error(int code);
    /// Text of the last status; valid until the next operation.
    const char* get_last_error() const;
    /// Text of a status; static. "Unknown error" for any other number.
    const char* error_i2a(int code) const;

    // --- settings ---------------------------------------------------------------------------------

    /// 0 silent; positive levels print more and more, negative ones timings. Also while running.
    void set_debug(int level);
    int get_debug() const;
    /// A trox_daq_slicer_synch_mode. Any other value is ignored and answered 0. -8 while running.
    int set_synch_mode(int mode);
    int get_synch_mode() const;
    /// Expected distance between events, in number and time, not zero: see `init`. Copied. -7 null, -8 while running.
    int set_period(time_id* period);
    time_id* get_period();
    /// First event (number, or time when the number is 0) of the range; 0 is open. Copied. -7 null, -8 while
    /// running. `clean_up` keeps both points.
    int set_start_point(time_id* start);
    time_id* get_start_point();
    /// Last event of the range, likewise. When it has no time, `start` puts the present time in its place.
    int set_stop_point(time_id* stop);
    time_id* get_stop_point();
    /// Experiment, cut to 31 characters. -7 null or empty, -8 while running.
    int set_experiment(const char* name);
    const char* get_experiment() const;
    /// DAQ stream, likewise.
    int set_stream(const char* name);
    const char* get_stream() const;
    /// Directory of the run catalogue, kept as it is. -7 null or empty, -8 while running.
    int set_catalog_dir(const char* directory);
    const char* get_catalog_dir() const;
    /// Where data files lie: a directory ("/" is appended when it is missing); a list of directories, each closed
    /// by ":", which is searched before the data path list; or null or empty: the data path list alone. -8 while
    /// running.
    int set_data_dir(const char* directory);
    const char* get_data_dir() const;
    /// Directories, separated by ":", that a file without a directory is searched in. Also while running. A null
    /// list changes nothing.
    void set_data_path_list(const char* list);
    const char* get_data_path_list() const;
    /// Whether records, and files, that cannot be read are passed over. Off: a channel with such a record never
    /// becomes ready, and such a file ends the reading. Kept by `clean_up`. Takes effect with `start`.
    void set_skip_bad_records(bool skip);
    bool is_skip_bad_records() const;

    // --- files ------------------------------------------------------------------------------------

    /// Finds a data file and puts its path at the end of the list of files, or in front. A name with a directory
    /// is taken as it is; else it is looked for as `set_data_dir` tells, and in the archive last. A file counts
    /// only when its status has not changed for 30 s, unless the environment variable
    /// TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME is set (then nothing is looked up, and of a path list the last
    /// directory is taken). -7 null or empty, -8 while running, -10 not found, -6 out of memory: then, unless it
    /// was a path of the search that had no memory, the whole list is emptied.
    int add_file(const char* name, bool at_end);
    /// Takes a path, as `get_file_name` gives it, off the list. -7 null or empty, -8 while running, -10 not listed.
    int remove_file(const std::string& name);
    int remove_file(const char* name);
    /// Brings the files into reading order, each once.
    void sort_my_files();
    int get_number_of_files() const;
    /// Path of file `i`, counted from 0; null when there is none. Valid until the list changes.
    const char* get_file_name(int i) const;

    // --- request and channels ---------------------------------------------------------------------

    /// Takes over a request (copied) and channels, and finds the request's files: those of its runs or period in
    /// the run catalogue, or else in the data directory; narrows the range to the runs' time when it lies
    /// elsewhere. The request replaces all settings that it has members for, also by zeros: fill its `period` and
    /// `time_diff`. With a period of zero every request of the next event delivers the first one again, for ever.
    /// Begins with `clean_up` when running; else adds to the files and channels there are. The channel list may be
    /// null; its names must not belong to this reader. -7 null request or bad channel, -10 no files, -5 the first file
    /// has none of the channels, -9 it cannot be read.
    int init(request* req, std::vector<daq_channel_entry*>* chans);
    /// The same for a list of files, which `add_file` resolves; those that are not found are left out, and
    /// without any left the answer is 0. -7 null or empty list or bad channel, -9 the first file cannot be read or
    /// has none of the channels.
    int init(std::vector<char*>* files, std::vector<daq_channel_entry*>* chans);
    int init(std::vector<std::string> files, std::vector<daq_channel_entry*>* chans);
    /// Fills what the request leaves open (stop time, event numbers by the machine clock) and drops files whose
    /// name's time lies outside the range. `start` calls it. -7 start behind stop.
    int check_request();
    /// Adds a channel, `<name>[:<sub-channel>][;<nickname>]`, each part at most 255 characters (legacy: 79); copied. A
    /// channel that is there already is answered 0. -7 null or empty, -8 while running, -6 out of memory.
    int add_channel(daq_channel_entry* channel);
    /// Removes the channel `<name>` or `<name>x:<sub-channel>`: with a sub-channel, the last character before
    /// the ":" is not part of the name, which is then cut as `add_channel` cuts it. -7 null or empty, -8 while running,
    /// -5 no such channel.
    int rem_channel(const char* name);
    /// Adds channels; the number of channels becomes the length of the list, whatever was there. -7 null or empty,
    /// else the first status of `add_channel` that is not 0.
    int set_channels(std::vector<daq_channel_entry*>* chans);
    int get_number_of_channels() const;

    // --- reading ----------------------------------------------------------------------------------

    /// Checks the request, starts the slicer, and waits until the first data are decoded. Channels that no file
    /// has are passed over. -8 when there is a slicer already, -7 a range whose start lies behind its stop, else
    /// the slicer's status; after a failure of the slicer the last error names the channels not found.
    int start();
    /// Data of the event that `type` (a trox_daq_read_chan_request_type) names relative to `target`, or, for
    /// null, to the last event; the first call gives the first event. Events outside the range are passed over.
    /// `result` is emptied and filled in channel order: one record per channel with data in this event, and per
    /// slow channel its latest value. The records and all they point at are copies of the reader's own, valid
    /// until the next `get_data` or `clean_up`. -3 no more events, -4 not started, -7 null result or bad type,
    /// -6 internal error, -2 not ready; -1 when the slicer stays where it is outside the range.
    /// `get_last_error` tells about 0, -1, and -7 for a null result.
    int get_data(time_id* target, std::vector<entry*>* result, int type);
    /// Ends the reading: releases slicer, files, channels and results, and puts the request's defaults back
    /// (those of the constructor, the environment not being read again). Keeps the range, debug level, path list
    /// and skipping. May be repeated.
    void clean_up();
    /// Events delivered, and answers without any data, since the last `clean_up`.
    int get_number_of_events() const;
    int get_number_of_empty_events() const;
    /// Records and files passed over since `start`; 0 after `clean_up`.
    int get_number_of_bad_records() const;
    int get_number_of_bad_files() const;

    // --- reporting --------------------------------------------------------------------------------

    /// Span of the request or, when that is open, of the files, in microseconds. Negative: -1 no files, or the
    /// first name has no time, -2 the file cannot be read, -3 it has no events (its
    /// dictionary stays loaded), -4 no span; 0 when the last name has no time. Of several files the first and
    /// the last name count, as the list stands: one that is not in order gives a negative span.
    double get_time_period_us();
    /// Name of channel `i`, counted from 0, and through `subchan` (may be null) its sub-channel; null when there
    /// is none. Valid until the channel is removed.
    const char* get_channel_name(int i, int* subchan);
    /// Entry `i` of the channel dictionary that was loaded for looking into a file; each pointer may be null.
    /// Null when none is loaded, or behind its end. Valid until the next load.
    const char* get_channel_name(int i, int* count, int* ev_mask, int* dtype_mask);
    /// Nickname of the first channel whose full name (`name:sub-channel`) contains `name`; null without one. Here and
    /// below what stands before the ":" is cut as `add_channel` cuts it.
    const char* get_nickname(const char* name);
    /// Sample window of the first channel of this nickname or name, or with a sub-channel whose full name
    /// contains `name`; null without one. Valid until the channel is removed.
    trox_chan_prms* get_channel_params(const char* name);
    /// Channel descriptions of the file that was looked into.
    std::vector<chan_descr_2010*>* get_descr_list();
    /// Lists of files and channels, on standard output.
    void print_files() const;
    void print_channels() const;

    // --- looking into one file, without a request -------------------------------------------------
    //
    // The file is found as `add_file` finds it, and stands in the list of files only meanwhile. Its tables are loaded
    // for the reader's channels, or for all when it has none, and stay loaded until the next of these operations or
    // `clean_up`. What `add_file` answers other than 0 is the answer; -6 when the file is not in the list behind
    // that, -1 when its tables cannot be loaded. Not while the reader serves a request.

    /// Number of entries in the file's channel dictionary, through `n`. `mode` not 0 decodes the channel descriptions
    /// as well (`get_descr_list`). -7 null or empty, -6 no dictionary, -1 an empty one.
    int get_number_of_channels(const char* file, int* n, int mode);
    /// The file's channel dictionary, on standard output.
    int print_all_channels(const char* file);
    /// Appends the descriptions of the channels in the file's dictionary, with the number of their events. They stay
    /// the reader's, until its tables are loaded anew or released. -7 null or empty, or the reader's own list.
    int fill_chan_descr(const char* file, std::vector<chan_descr_2010*>* list);
    /// The file's event index, on standard output: of one event type, or of all for a negative `evtype`. -7 null or
    /// empty, -6 no such table, -1 no events.
    int print_event_index_table(const char* file, int evtype);

protected:
    // Not every generation offers these.

    /// Tolerance of matching by time. Copied. 1 for null, else 0; unlike the other setters it neither refuses
    /// while running (it then takes effect with the next `start`) nor touches the last error.
    int set_time_diff(time_stamp* diff);
    time_stamp* get_time_diff();
    /// Event headers, server block heads, sub-heads or data of all records of one channel, on standard output; failures
    /// are told there too. `chan` becomes the reader's only channel for looking into files. Waits until the channel is
    /// decoded: with a bad record for ever, unless such are passed over. `clean_up` before a request.
    void print_channel_event_headers(const char* file, const char* chan);
    void print_channel_server_block_headers(const char* file, const char* chan);
    void print_channel_channel_headers(const char* file, const char* chan);
    void print_channel_channel(const char* file, const char* chan);
    /// Whether neighbours found by time are checked against the event numbers. Also while running.
    void set_by_time_fix(bool on);
    bool is_by_time_fix() const;
    /// Index of each channel by its full name.
    const typename Generation::channel_index& get_channel_index() const;

private:
    using result_entry = typename Generation::result_entry;
    using chan_param = typename Generation::chan_param;
    using subhead = typename Generation::subhead;
    using slicer = typename Generation::slicer;
    using table_loader = typename Generation::table_loader;

    /// A channel's result, with its buffer.
    struct result_deleter {
        void operator()(result_entry* result) const noexcept
        {
            std::free(result->data);
            delete result;
        }
    };
    using owned_result = std::unique_ptr<result_entry, result_deleter>;

    /// What the event loop needs of a channel at hand, in few cache lines for all channels.
    struct delivery {
        std::int32_t capacity = 0; ///< bytes at `data`
        std::int32_t event = 0;    ///< count of the last event with data of the channel
        bool slow = false;         ///< as in the result
        bool updated = false;      ///< as in the result
    };

    // settings
    int no_memory();
    bool is_running() const;
    int set_time_id(time_id& destination, const time_id* source);
    template <std::size_t Size> int set_name(char (&field)[Size], const char* name);
    void set_request_defaults();
    double time_period_of_file();
    double time_period_of_names() const;
    static bool event_span(const table_loader& tables, std::uint32_t& first_s, std::uint32_t& last_s);
    static double time_period_of(std::uint32_t first_s, std::uint32_t last_s);
    // looking into one file
    int open_file(const std::string& file, bool at_end, const std::string*& path);
    void close_file(bool at_end);
    template <class Print> void print_records(const char* file, const char* chan, Print print_from);
    template <class Print> void print_channel_of(const std::string& file, const std::string& chan, Print print_from);
    // files
    int put_file(const char* name, bool at_end);
    int insert_file(const char* path, bool at_end);
    int add_direct_file(const char* path, bool at_end);
    int add_file_from_path_list(const char* name, bool at_end);
    std::string search_list(const char* name) const;
    bool accepts_file(const char* path) const;
    // files of a request
    int find_files();
    bool find_files_of_runs(std::vector<std::string>& names);
    bool find_files_of_period(std::vector<std::string>& names);
    void keep_files_of_period(std::vector<std::string>& names) const;
    int scan_for_runs(std::vector<std::string>& names, std::string& before);
    int scan_for_period(std::vector<std::string>& names, std::string& before);
    void remember_nearest(const scanned_file& file, const scanned_file*& nearest) const;
    bool is_in_span(std::uint32_t second) const;
    bool serves_alone(const std::string& name) const;
    bool reaches_start(const std::string& name, const std::vector<std::string>& chans) const;
    void add_files(const std::vector<std::string>& names);
    void complete_scanned_files(const std::string& before);
    void add_very_first_file();
    void add_very_last_file();
    bool starts_before_span() const;
    bool ends_behind_span() const;
    std::string find_numbered_file(const std::string& prefix, long number) const;
    void correct_times();
    run_span span_of_runs() const;
    run_span span_of_file_names() const;
    // request
    int load_first_file();
    void complete_range();
    bool is_range_in_order() const;
    void drop_files_outside_range();
    /// Characters of a channel's name, and of its nickname; longer ones are cut.
    static constexpr std::size_t longest_name = sizeof(chan_param::name) - 1;
    int find_channel(std::string_view name, int subchan) const;
    // events
    void prepare_delivery();
    int set_up_slicer();
    time_id place_of(const time_id& event) const;
    int find_event(time_id* target, int type);
    int ask_slicer(time_id* target, int type);
    int slicer_failure(int status);
    const entry& reference_entry() const;
    bool is_in_range(const time_id& event) const;
    int take_over_event();
    void forget_old_updates();
    int take_over(const entry& source);
    int copy_record(std::size_t i, const entry& source, const subhead& head);
    int find_result(const subhead& head) const;
    void trace_search(int found) const;
    bool make_room(std::size_t i, std::int32_t size);
    void collect(std::vector<entry*>& result);

    std::vector<std::string> files_;
    std::vector<owned_result> results_;
    std::vector<std::string> chans_;
    typename Generation::channel_index chan_name_map_;
    int nchans_ = 0;
    request request_;
    double time_start_ = 0;
    double time_stop_ = 0;
    std::unique_ptr<slicer> slicer_;
    time_id current_event_id_{};
    std::vector<entry*> cur_res_;
    int debug_ = 0;
    int evs_empty_ = 0;
    int evs_ = 0;
    std::shared_ptr<table_loader> get_tables_;
    std::string last_error_;
    std::string data_path_list_;
    bool by_time_fix_ = true;
    bool found_from_run_catalogue_ = false;
    bool skip_bad_records_;
    std::string unterminated_name_; // a dictionary name that fills its field
    // made by `start`, one per result
    std::unique_ptr<channel_lookup> lookup_;
    std::vector<delivery> deliveries_;
    std::size_t expected_ = 0; // index of the result that the next record likely belongs to
};

} // namespace trox_detail

#pragma GCC visibility pop

#endif
