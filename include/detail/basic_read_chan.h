// Channel reader, generic over the file generation.
#ifndef TROX_DETAIL_BASIC_READ_CHAN_H
#define TROX_DETAIL_BASIC_READ_CHAN_H

#include "../event.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace trox_detail
{

template <class Generation> struct loaded_file;
template <class Generation> class record_index;
class basket_copy;
class record_arena;
enum class decode_outcome;

/// Reads one channel (or one sub-channel) of one data file: decodes all its records in worker threads, then
/// finds them by event number or by time.
///
/// Layer: channel reading, on a loaded table loader. Driven by one caller thread; only its own workers run
/// beside that thread.
///
/// Life cycle: constructed -> `start` -> wait for the signal -> `get_chan_data` ... -> `clean_descr`, `clean`. A
/// reader constructed on an unusable loader has null basket pointers (`start` answers NOT_INIT) or descriptor -1
/// (`start` answers NOT_FOUND).
///
///     trox_daq_read_chan_2010 reader(&tables, "LINAC.RF/ADC/TRACE", -1, nullptr);
///     pthread_mutex_t* mutex; pthread_cond_t* cond; int* flag;
///     if (reader.start(&mutex, &cond, &flag) == 0) {
///         pthread_mutex_lock(mutex);
///         while (*flag == 0) { pthread_cond_wait(cond, mutex); }
///         *flag = 0;
///         pthread_mutex_unlock(mutex);
///         trox_channel_entry_long* record;
///         reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST);
///     }
///
/// Records handed out are owned by the reader and live until `clean`.
template <class Generation> class basic_read_chan
{
public:
    using entry = typename Generation::channel_entry;
    using time_id = typename Generation::time_id;
    using event_number = typename Generation::event_number;
    static constexpr int max_threads = 10;

    /// `subchan` -1 reads the whole channel. `descr` is copied; null leaves the description empty.
    basic_read_chan(typename Generation::table_loader* cfg, const char* chan, int subchan, chan_descr_2010* descr);
    /// Cleans.
    ~basic_read_chan();
    basic_read_chan(const basic_read_chan&) = delete;
    basic_read_chan& operator=(const basic_read_chan&) = delete;

    // --- settings: one thread at a time, also while workers decode -----------------------------------

    /// Tolerance for matching by time; -7 for null, else 0.
    int set_time_diff(time_stamp* diff);
    time_stamp* get_time_diff();
    const time_stamp* get_time_diff() const;
    /// Expected step between events, in number and time; -7 for null, else 0.
    int set_step(time_id* step);
    time_id* get_step();
    const time_id* get_step() const;
    /// Number of workers, 1 to 10, used as it is; 1 and no change for any other value.
    int set_number_of_threads(int n);
    /// Bound of the number of workers that `start` chooses, 1 to 10; 1 and no change for any other value.
    int set_max_number_of_threads(int n);
    /// Whether a worker goes on after a record that cannot be decoded, and such records are taken out. Off: the
    /// wait for such a channel does not end. The environment variable TROX_DAQ_READER_SKIP_BAD_RECORDS switches the
    /// default on. Takes effect with `start`.
    void set_skip_bad_records(bool skip);
    bool is_skip_bad_records() const;

    // --- decoding ---------------------------------------------------------------------------------

    /// Brings the channel's basket into memory and starts the workers. Hands out, through each non-null
    /// argument, the mutex, condition and flag of the one signal that all records are decoded. 0, or -4 not
    /// initialised, -5 the file has no such channel, -6 records or basket cannot be brought into memory (or no
    /// event header of the channel can be read). After a non-zero answer the caller does not wait.
    int start(pthread_mutex_t** mutex, pthread_cond_t** cond, int** flag);
    /// Raises the flag and wakes the caller of `start`.
    void signal_master();
    /// What each worker does: decodes records until none is left, the reader is stopped, or (unless bad records are
    /// skipped) a record fails hard. Any thread may help, also beside `clean`, which waits for it. Not beside the
    /// destructor.
    void decode_records();
    /// True when all records are decoded.
    bool is_done();
    /// Frees the handle slot of a worker.
    void set_thread_exited(pthread_t id);
    /// Records taken out because they could not be decoded (while skipping).
    int get_number_of_bad_records() const;
    /// Number of records in the array.
    int get_number_of_records() const;
    /// Stops the workers and waits for them, then releases the records and the basket. Not beside `get_chan_data`.
    void clean();
    /// Releases the bit and dimension descriptions.
    void clean_descr();

    // --- delivery ---------------------------------------------------------------------------------

    /// The record of an event. `id` null: the first, last or current record, or the one before or after the
    /// current. With `id`: the record of that event, or of the nearest one at least a step before (PREV) or
    /// behind (NEXT) it. By event number when `id` has one, else by time within the tolerance. `type` is a
    /// trox_daq_read_chan_request_type. Answers a trox_daq_read_chan_data_status. Without a current record NEXT steps
    /// from the first event and PREV from the last. A neighbour found by time may come with OUT_OF_WINDOW, and a failed
    /// search by number hands out the record of zeros with NO_DATA. While bad records are skipped, records handed
    /// out before the signal do not outlive it.
    int get_chan_data(time_id* id, entry** out, int type);
    /// Finds by time, within the tolerance; `type` PREV or NEXT also takes the nearest record before or behind.
    entry* find_entry_by_time(time_stamp* ts, int type, int* status);
    /// True when the request for the current event is known to answer this record; false when it would have to look.
    bool is_current(const entry& record) const noexcept
    {
        return all_done_.load(std::memory_order_acquire) != 0 && finds_current_ && &record == out_cur_ &&
               record.event_id.event_number != 0;
    }
    /// Fetches into the cache what the request for the next event will look at. Without any other effect.
    void fetch_ahead() const noexcept
    {
        if (out_cur_ != nullptr) {
            const entry* next = out_cur_ + 1;
            __builtin_prefetch(next);
            __builtin_prefetch(&next->sbchdata[0].data); // may lie in the next cache line
        }
    }
    /// First and last event of the channel in this file, through each non-null argument.
    void get_time_limits(time_id* first, time_id* last) const;

    // --- accessors --------------------------------------------------------------------------------

    /// The channel's name; its sub-channel through `subchan` when that is not null.
    const char* get_chan_name(int* subchan) const;
    typename Generation::table_loader* get_cfg() const;
    typename Generation::event_header_basket* get_evh_basket() const;
    typename Generation::server_block_basket* get_sbh_basket() const;
    typename Generation::channel_basket* get_chn_basket() const;
    unsigned char* get_evh_base() const;
    unsigned char* get_sbh_base() const;
    unsigned char* get_chn_base() const;
    typename Generation::file_offset get_evh_offset() const;
    typename Generation::file_offset get_sbh_offset() const;
    typename Generation::file_offset get_chn_offset() const;
    int get_file_descr() const;
    /// Row `i` of the channel's column of the pointers table; null when there is no such row.
    typename Generation::chan_ptr_entry* get_data_table_pointer(int i) const;

    // --- printing, on standard output -------------------------------------------------------------

    void print_time_limits();
    void print_chan_descr();
    void print_cdt_entry();
    void print_event_chan_pointers_entry();

protected:
    /// Finds by number; `type` PREV or NEXT also takes the nearest record below or above. Status through
    /// `status` (may be null). When nothing is found the result is not null but the position before the first
    /// record, which holds zeros; rely on the status.
    entry* find_entry_by_event_id(event_number id, int type, int* status);
    void set_by_time_fix(bool on);
    bool is_by_time_fix() const;
    void print_event_headers();
    void print_server_block_headers();
    void print_channel_headers();
    void print_channel();

private:
    struct reference_event;

    void copy_description(const chan_descr_2010& descr);
    void copy_bits(const std::vector<bit_descr*>& bits, std::size_t count);
    void copy_dims(const std::vector<dim_descr*>& dims, std::size_t count);
    bool has_description() const;
    int debug() const;
    // start
    int start_checked();
    int fail_start(int status);
    void trace_start(double took_ms) const;
    int allocate_records();
    int load_basket();
    bool rows_lie_in_basket();
    bool load_basket_from_rows();
    bool find_event_limits();
    void widen_limits(const time_id& event, bool is_first);
    void choose_number_of_threads();
    int start_workers();
    // workers
    static void* run_worker(void* reader);
    void work();
    bool take_record(int& index);
    bool settle(decode_outcome outcome, const entry& record, int index);
    bool settle_or_skip(decode_outcome outcome, const entry& record, int index);
    void publish(const entry& record, int index);
    void finish_if_all_are_done();
    void take_out_bad_records();
    void make_index();
    bool records_ascend() const;
    void disown_records_with_damaged_headers();
    // look-up and delivery
    bool has_all_records() const;
    bool is_near(event_number id, int& found) const;
    bool scan_by_event_id(event_number id, int type, int& found);
    bool choose_reference(const time_id* id, int type, reference_event& reference);
    entry* find_by_number(const reference_event& reference, int type, int& status);
    entry* find_by_time(const reference_event& reference, int type, int& status);
    entry* check_against_numbers(entry* record, int type, int& status);
    // printing
    bool has_records_to_print() const;
    template <class Dump> void print_records(Dump dump);
    void print_time_limit(const time_id& event) const;

    // What every event needs lies together, in few cache lines. Until all records are done, mx_ guards the records
    // and the first and last event.
    typename Generation::channel_basket* chnb_ = nullptr; // in basket_
    entry* out_ = nullptr;
    entry* out_cur_ = nullptr;
    std::unique_ptr<record_index<Generation>> index_; // made when all records are done
    std::atomic<int> all_done_{0};
    std::atomic<int> out_total_{0}; // records in the array, less those taken out as bad
    int index_to_start_search_ = -1;
    // Known when all records are done.
    bool numbers_ascend_ = false; // strictly
    bool finds_current_ = false;  // and lie within the first and the last event
    bool by_time_fix_ = true;
    time_id event_first_{};
    time_id event_last_{};
    time_id event_cur_{};
    time_id event_step_{1, {0, 200000}};
    double time_diff_ = 95000.0;

    std::shared_ptr<typename Generation::table_loader> loader_; // keeps a loader of the slicer alive
    std::shared_ptr<const loaded_file<Generation>> file_;       // keeps tables and event baskets alive
    typename Generation::table_loader* cfg_ = nullptr;
    std::string file_name_;
    int fd_ = -1;
    typename Generation::reader_length len_ = 0; // the file's length; only tested for 0
    int nthreads_ = 0;
    int nthreadsmax_ = max_threads;
    unsigned char* evh_base_ = nullptr;
    typename Generation::file_offset evh_offset_ = 0;
    typename Generation::event_header_basket* evhb_ = nullptr;
    unsigned char* sbh_base_ = nullptr;
    typename Generation::file_offset sbh_offset_ = 0;
    typename Generation::server_block_basket* sbhb_ = nullptr;
    std::unique_ptr<basket_copy> basket_; // this channel's basket
    unsigned char* chn_base_ = nullptr;   // start of its copy, or of its mapping
    typename Generation::file_offset chn_offset_ = 0;
    typename Generation::chan_dictionary_entry* cdt_ = nullptr;
    int cdtl_ = 0;
    int ecpl_ = -1;
    time_stamp event_time_diff_{0, 95000};
    std::array<pthread_t, max_threads> tid_;
    std::string chan_;
    int subchan_ = -1;
    mutable pthread_mutex_t mx_;       // guards the worker slots, and how many records are taken and done
    std::vector<record_arena> arenas_; // what the array and the records lie in: one for it and one per ended worker
    void* records_block_ = nullptr;    // guard record and array, one block in the first arena
    int out_allocated_ = 0;            // records in the array
    int out_taken_ = 0;
    int out_done_ = 0;
    int out_failed_ = 0;
    pthread_mutex_t mmx_; // guards mcnt_
    pthread_cond_t mcond_;
    int mcnt_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<int> workers_{0}; // alive; a worker lowers it as its last access to the reader
    bool skip_bad_records_;
    bool skipping_ = false; // since `start`
    std::atomic<int> bad_records_{0};
    chan_descr_2010 descr_;
};

} // namespace trox_detail

#pragma GCC visibility pop

#endif
