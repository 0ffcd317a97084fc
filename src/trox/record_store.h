// Decoded records of a selection: decoded by worker threads, some ahead of the reader, within a budget of memory.
#ifndef TROX_TROX_RECORD_STORE_H
#define TROX_TROX_RECORD_STORE_H

#include "trox/decoded.h"
#include "trox/event_index.h"
#include "trox/open_files.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace trox::detail
{

/// Records of one channel that follow each other in one file, in the order in which they will be asked for: decoded
/// together, and released together.
struct record_batch {
    enum class stage { waiting, decoding, done };

    explicit record_batch(std::shared_ptr<memory_account> shared) : account(std::move(shared)) {}
    ~record_batch()
    {
        arena = batch_arena(0); // before others may take as much
        account->bytes -= counted;
    }
    record_batch(const record_batch&) = delete;
    record_batch& operator=(const record_batch&) = delete;

    /// Whether record `at` of the channel's list is in it, or would be the first one had there been room or memory.
    bool answers_for(std::size_t at) const noexcept
    {
        return index_of(at) < std::max<std::size_t>(size, 1);
    }
    /// Its index here.
    std::size_t index_of(std::size_t at) const noexcept
    {
        return forward ? at - first : first - at; // wraps around for what is not in it
    }

    std::shared_ptr<memory_account> account;
    std::shared_ptr<const file_rows> rows;   ///< while it waits and is decoded: what is held must not keep files open
    std::shared_ptr<const std::string> path; ///< of the file, at which records point
    std::size_t channel = 0;
    std::size_t first = 0; ///< position of the first record in the channel's list
    bool forward = true;   ///< whether positions rise
    std::vector<record_place> places;
    std::size_t target_bytes = 0; ///< decoding ends early once there are so many
    std::size_t grant = 0;        ///< bytes that it may take
    std::uint64_t turn = 0;       ///< of those that are alone, when it was decoded; the reader's thread only
    bool is_alone = false;        ///< one record, with all memory that nobody holds, in blocks of just its size
    std::size_t counted = 0;      ///< bytes in the account
    std::uint64_t round = 0;      ///< when it was last asked for; the reader's thread only

    // Under the store's mutex until the stage is `done`, unchanged from then on.
    stage state = stage::waiting;
    std::size_t size = 0;                 ///< records that it has, or will have
    std::vector<decoded_record> records;  ///< this and the next with memory for all places from the beginning
    std::vector<record_failure> failures; ///< per record; none for a good one
    record_failure refusal{};             ///< why there is no record at all
    batch_arena arena{0};
};

class record_store
{
public:
    record_store(std::size_t channels, row_cache& rows, std::size_t budget, unsigned threads);
    ~record_store();
    record_store(const record_store&) = delete;
    record_store& operator=(const record_store&) = delete;

    // Used by the reader's thread: `begin_event`, then `request` for all channels of an event, then `wait` for each,
    // then `prefetch`.

    void begin_event() noexcept
    {
        ++round_;
        one_by_one_ = false;
    }
    // What throws leaves the store able to go on.

    // As long as nobody holds a record of the event that `wait` gives, whether all of them find room depends on nothing
    // but the event and what the program holds of others.

    /// Has record `at` of a channel's list decoded. `forward` tells where the reader goes. Throws error for a file that
    /// cannot be loaded and must not be passed over.
    void request(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward);
    /// The requested record; null when it cannot be decoded, with the reason. `forward` and what is thrown
    /// as of `request`.
    std::shared_ptr<const decoded_record> wait(std::size_t channel, const std::vector<record_place>& list,
                                               std::size_t at, bool forward, record_failure& failure);
    /// Has the records behind (before) `at` decoded, as far as there is room for them and nothing fails.
    void prefetch(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward) noexcept;

private:
    using batch_pointer = std::shared_ptr<record_batch>;
    using batch_list = std::list<batch_pointer>; // moves from list to list need no memory

    struct channel_state {
        batch_list batches;            ///< the one used last at the front
        std::size_t typical_bytes = 0; ///< of a decoded record; 0 while unknown
        std::size_t run = 1;           ///< records of the next batch: grows while they are used in order
        std::size_t expected = 0;      ///< the next position when they are used in order
        std::size_t given = 0;         ///< position of the record that a wait gave last
        std::uint64_t given_in = 0;    ///< when
    };

    /// A batch as it was when it was found; it goes on.
    struct found_batch {
        batch_pointer batch{}; ///< null: there is none
        std::size_t size = 0;
        bool is_done = false; ///< has its size for good
    };

    found_batch find(const channel_state& state, std::size_t at);
    bool is_stale(const record_batch& batch) const noexcept;
    void forget(channel_state& state, const record_batch& batch) noexcept;
    batch_pointer make(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward,
                       std::size_t room);
    std::size_t room() const;
    std::size_t wanted_bytes(const channel_state& state) const;
    template <class Keeps> batch_list take_out(channel_state& state, Keeps keeps) noexcept;
    void release_others() noexcept;
    void trim(channel_state& state, bool forward) noexcept;
    void enqueue(batch_list& one, bool at_once) noexcept;
    void fetch_ahead(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward);
    bool run_one(std::unique_lock<std::mutex>& lock);
    bool bring_on(std::unique_lock<std::mutex>& lock);
    void run(std::unique_lock<std::mutex>& lock, const batch_pointer& batch, decode_workspace& workspace) noexcept;
    void decode(record_batch& batch, decode_workspace& workspace) noexcept;
    void decode_records(record_batch& batch, decode_workspace& workspace);
    void refuse(record_batch& batch, channel_decoder& decoder, std::uint32_t row) const noexcept;
    std::shared_ptr<const decoded_record> given_before(const channel_state& state, std::size_t at) const;
    void make_room_for(std::size_t bytes);
    void finish(const batch_pointer& batch);
    void decode_with_all_there_is(std::unique_lock<std::mutex>& lock, const batch_pointer& batch);
    void decode_alone(std::unique_lock<std::mutex>& lock, const batch_pointer& batch);
    batch_pointer alone_of(const record_batch& batch, std::size_t at) const;
    void go_one_by_one(std::unique_lock<std::mutex>& lock, const batch_pointer& present);
    void decode_in_turn(std::unique_lock<std::mutex>& lock, const batch_pointer& batch);
    void decode_among_the_others(std::unique_lock<std::mutex>& lock, const batch_pointer& batch);
    bool decode_all(std::unique_lock<std::mutex>& lock, const std::vector<batch_pointer>& batches);
    void empty(const std::vector<batch_pointer>& batches);
    void load_rows_of(record_batch& batch);
    bool holds_more_than_the_event() const noexcept;
    void work();

    row_cache& rows_;
    const std::size_t budget_;
    const std::size_t batch_bytes_;
    const std::size_t depth_; ///< batches ahead
    const std::shared_ptr<memory_account> account_ = std::make_shared<memory_account>();
    const std::shared_ptr<memory_pool> pool_; ///< lives as long as records that lie in it
    std::vector<channel_state> channels_;     ///< the reader's thread only, as the two below
    decode_workspace own_workspace_;
    std::uint64_t round_ = 0;
    std::uint64_t turn_ = 0;
    bool one_by_one_ = false; ///< the records of the present event are decoded alone; the reader's thread only

    mutable std::mutex mutex_; // guards all below, and the batches
    std::condition_variable has_work_;
    std::condition_variable has_result_;
    batch_list queue_;
    std::size_t reserved_ = 0;  ///< grants of batches that are not decoded yet
    std::size_t under_way_ = 0; ///< how many they are
    bool stop_ = false;
    std::vector<std::thread> workers_;
};

/// Takes the batches of a channel that are not kept, but for those that are being decoded, out of its list and out of
/// the queue. Under the mutex; what is returned ends without it.
template <class Keeps> auto record_store::take_out(channel_state& state, Keeps keeps) noexcept -> batch_list
{
    batch_list taken;
    for (auto at = state.batches.begin(); at != state.batches.end();) {
        const auto batch = at++;
        if (keeps(*batch) || (*batch)->state == record_batch::stage::decoding) {
            continue;
        }
        if ((*batch)->state == record_batch::stage::waiting) {
            queue_.remove(*batch);
            reserved_ -= (*batch)->grant;
            --under_way_;
        }
        taken.splice(taken.end(), state.batches, batch);
    }
    return taken;
}

} // namespace trox::detail

#endif
