#include "trox/record_store.h"

#include <algorithm>
#include <exception>

namespace trox::detail
{

namespace
{

constexpr std::size_t smallest_batch_bytes = std::size_t{16} << 10;
constexpr std::size_t largest_batch_bytes = std::size_t{4} << 20;
/// What a batch may take of a channel whose records are not known yet.
constexpr std::size_t first_grant = std::size_t{1} << 20;
constexpr std::size_t longest_run = 4096;

/// More would only wait for each other.
constexpr unsigned most_threads = 256;

unsigned threads_or_all(unsigned threads)
{
    return std::min(threads != 0 ? threads : std::max(1U, std::thread::hardware_concurrency()), most_threads);
}

} // namespace

/// An eighth of the budget is left for what is not decoded records; memory is kept for reuse below that only.
record_store::record_store(std::size_t channels, row_cache& rows, std::size_t budget, unsigned threads)
    : rows_(rows), budget_(budget), batch_bytes_(std::clamp(budget / (8 * std::max<std::size_t>(channels, 1)),
                                                            smallest_batch_bytes, largest_batch_bytes)),
      depth_(1 + 2 * threads_or_all(threads) / std::max<std::size_t>(channels, 1)),
      pool_(std::make_shared<memory_pool>(budget - budget / 8)), channels_(channels)
{
    rows_.ask_for_relief([this] {
        std::unique_lock lock(mutex_);
        return bring_on(lock);
    });
    const unsigned workers = threads_or_all(threads) - (threads == 1 ? 1 : 0);
    workers_.reserve(workers);
    try {
        for (unsigned i = 0; i < workers; ++i) {
            workers_.emplace_back([this] { work(); });
        }
    } catch (const std::exception&) { // the reader's thread decodes as well, while it waits: fewer do, or none
    }
}

record_store::~record_store()
{
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    has_work_.notify_all();
    for (std::thread& worker : workers_) {
        worker.join();
    }
    pool_->close();
}

auto record_store::find(const channel_state& state, std::size_t at) -> found_batch
{
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(state.batches.begin(), state.batches.end(),
                                    [at](const batch_pointer& batch) { return batch->answers_for(at); });
    if (found == state.batches.end()) {
        return {};
    }
    return {*found, (*found)->size, (*found)->state == record_batch::stage::done};
}

/// Whether a batch was refused, and may not be now. Under the mutex.
bool record_store::is_stale(const record_batch& batch) const noexcept
{
    return batch.size == 0 && batch.round != round_;
}

/// Bytes that may still be granted.
std::size_t record_store::room() const
{
    const std::lock_guard lock(mutex_);
    const std::size_t used = account_->bytes + reserved_;
    return used < budget_ ? budget_ - used : 0;
}

std::size_t record_store::wanted_bytes(const channel_state& state) const
{
    if (state.typical_bytes == 0) {
        return std::min(first_grant, budget_);
    }
    // Records differ in size, and blocks of memory are larger than what they hold.
    const std::size_t records = std::clamp<std::size_t>(batch_bytes_ / state.typical_bytes, 1, state.run);
    // Data that do not shrink take as much again while they are decompressed.
    const std::size_t bytes = records * state.typical_bytes;
    return 2 * bytes + bytes / 32 + smallest_batch_bytes;
}

auto record_store::make(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward,
                        std::size_t room) -> batch_pointer
{
    const channel_state& state = channels_[channel];
    auto batch = std::make_shared<record_batch>(account_);
    batch->channel = channel;
    batch->first = at;
    batch->forward = forward;
    batch->target_bytes = batch_bytes_;
    batch->grant = std::min(wanted_bytes(state), room);
    batch->round = round_;
    const std::size_t most =
        state.typical_bytes == 0 ? 1 : std::clamp<std::size_t>(batch_bytes_ / state.typical_bytes, 1, state.run);
    for (std::size_t i = at; batch->places.size() < most && i < list.size() && list[i].file == list[at].file;
         i += forward ? 1 : static_cast<std::size_t>(-1)) {
        batch->places.push_back(list[i]);
    }
    batch->size = batch->places.size();
    batch->records.reserve(batch->size);
    batch->failures.reserve(batch->size);
    batch->rows = rows_.rows(list[at].file);
    batch->path = batch->rows == nullptr ? nullptr : batch->rows->path();
    return batch;
}

void record_store::forget(channel_state& state, const record_batch& batch) noexcept
{
    batch_list released; // ends without the lock
    const std::lock_guard lock(mutex_);
    released = take_out(state, [&batch](const batch_pointer& other) { return other.get() != &batch; });
}

/// Gives up what neither the present event nor a caller holds.
void record_store::release_others() noexcept
{
    batch_list released; // ends without the lock
    const std::lock_guard lock(mutex_);
    for (channel_state& state : channels_) {
        released.splice(released.end(),
                        take_out(state, [this](const batch_pointer& batch) { return batch->round == round_; }));
    }
}

/// Keeps of a channel what the present event needs, the batch used last, and what was decoded ahead in the direction of
/// the reader.
void record_store::trim(channel_state& state, bool forward) noexcept
{
    batch_list released; // ends without the lock
    const std::lock_guard lock(mutex_);
    bool keeps_one = true;
    released = take_out(state, [&](const batch_pointer& batch) {
        const bool is_ahead = batch->round == 0 && batch->forward == forward;
        return !is_stale(*batch) &&
               (batch->round == round_ || is_ahead || (batch->round != 0 && std::exchange(keeps_one, false)));
    });
}

/// Moves the batch of a list of one into the queue.
void record_store::enqueue(batch_list& one, bool at_once) noexcept
{
    {
        const std::lock_guard lock(mutex_);
        reserved_ += one.front()->grant;
        ++under_way_;
        // Behind the others of the same event, before what is wanted later.
        const auto later = at_once ? std::find_if(queue_.begin(), queue_.end(),
                                                  [this](const batch_pointer& other) { return other->round != round_; })
                                   : queue_.end();
        queue_.splice(later, one);
    }
    has_work_.notify_one();
}

void record_store::request(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward)
{
    channel_state& state = channels_[channel];
    const found_batch found = find(state, at);
    const bool is_refused = found.batch != nullptr && found.size == 0 && found.batch->round != round_;
    if (is_refused) { // it may not be now
        forget(state, *found.batch);
    }
    const batch_pointer known = is_refused ? nullptr : found.batch;
    if (at == state.expected) {
        state.run = std::min(state.run + 1, longest_run);
        state.expected = forward ? at + 1 : at - 1;
    } else if (known == nullptr) { // a slow value is asked for again and again
        state.run = 1;
        state.expected = forward ? at + 1 : at - 1;
    }
    if (known != nullptr) {
        known->round = round_;
        state.batches.splice(state.batches.begin(), state.batches,
                             std::find(state.batches.begin(), state.batches.end(), known));
        return;
    }
    if (!one_by_one_) {
        make_room_for(wanted_bytes(state));
    }
    batch_list known_one{make(channel, list, at, forward, room())};
    batch_list queued_one = known_one;
    trim(state, forward);
    state.batches.splice(state.batches.begin(), known_one);
    if (one_by_one_) {
        std::unique_lock lock(mutex_);
        decode_in_turn(lock, queued_one.front());
    } else {
        enqueue(queued_one, true);
    }
}

/// As far as that is possible without what the present event needs.
void record_store::make_room_for(std::size_t bytes)
{
    if (room() < bytes) {
        release_others();
    }
    std::unique_lock lock(mutex_);
    // What is under way takes less than granted.
    while (budget_ < account_->bytes + reserved_ + bytes && bring_on(lock)) {
    }
}

void record_store::prefetch(std::size_t channel, const std::vector<record_place>& list, std::size_t at,
                            bool forward) noexcept
{
    try {
        fetch_ahead(channel, list, at, forward);
    } catch (const std::exception&) { // fails again, or not, when it is asked for
    }
}

void record_store::fetch_ahead(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward)
{
    channel_state& state = channels_[channel];
    if (state.run == 1 || state.typical_bytes == 0) {
        return; // not used in order (yet)
    }
    std::size_t next = at;
    for (std::size_t ahead = 0; ahead <= depth_; ++ahead) {
        const auto [known, size, is_done] = find(state, next);
        if (known != nullptr) {
            if (size == 0) { // refused
                return;
            }
            next = forward ? known->first + (known->forward ? size : 1) : known->first - (known->forward ? 1 : size);
        } else if (ahead > 0 && next < list.size()) { // positions before 0 wrap around
            // A quarter stays free for what is asked for at once.
            const std::size_t free = room();
            const std::size_t wanted = wanted_bytes(state);
            if (free < budget_ / 4 || free - budget_ / 4 < wanted) {
                return;
            }
            const auto files =
                list[next].file > list[at].file ? list[next].file - list[at].file : list[at].file - list[next].file;
            // A batch keeps its file open until it is decoded.
            if (files >= rows_.most_open() || !rows_.has_room_for(list[next].file)) {
                return;
            }
            batch_list known_one{make(channel, list, next, forward, free)};
            batch_list queued_one = known_one;
            const std::size_t records = known_one.front()->places.size();
            known_one.front()->round = 0;
            state.batches.splice(state.batches.end(), known_one);
            enqueue(queued_one, false);
            next = forward ? next + records : next - records;
        }
    }
}

/// A record that a wait has given in this event: it lies in the batch used last, which does not change any more.
std::shared_ptr<const decoded_record> record_store::given_before(const channel_state& state, std::size_t at) const
{
    if (state.given_in != round_ || state.given != at || state.batches.empty()) {
        return nullptr;
    }
    const batch_pointer& batch = state.batches.front();
    const std::size_t index = batch->index_of(at);
    if (index >= batch->size || batch->failures[index]) {
        return nullptr;
    }
    return {batch, &batch->records[index]};
}

std::shared_ptr<const decoded_record> record_store::wait(std::size_t channel, const std::vector<record_place>& list,
                                                         std::size_t at, bool forward, record_failure& failure)
{
    channel_state& state = channels_[channel];
    if (auto record = given_before(state, at)) {
        return record;
    }
    for (;;) {
        const auto [batch, size, is_done] = find(state, at);
        if (batch == nullptr) { // the one that had it in mind ended early
            request(channel, list, at, forward);
            continue;
        }
        if (!is_done || size == 0) {
            finish(batch);
        }
        if (batch->size == 0) {
            failure = batch->refusal;
            return nullptr;
        }
        state.typical_bytes = std::max<std::size_t>(batch->arena.bytes() / batch->size, 1);
        const std::size_t index = batch->index_of(at);
        if (index >= batch->size) {
            continue;
        }
        if (batch->failures[index]) {
            failure = batch->failures[index];
            return nullptr;
        }
        state.given = at;
        state.given_in = round_;
        return {batch, &batch->records[index]};
    }
}

} // namespace trox::detail
