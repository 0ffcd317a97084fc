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

auto record_store::find(const channel_state& state, std::size_t at) -> batch_pointer
{
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(state.batches.begin(), state.batches.end(),
                                    [at](const batch_pointer& batch) { return batch->covers(at); });
    return found == state.batches.end() ? nullptr : *found;
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
    return 2 * records * state.typical_bytes + smallest_batch_bytes;
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
    batch->rows = rows_.rows(list[at].file);
    batch->path = batch->rows == nullptr ? nullptr : batch->rows->path();
    return batch;
}

/// Takes the batches of a channel that are not kept, but for those that are being decoded, out of its list and out of
/// the queue. Under the mutex; what is returned ends without it.
template <class Keeps> auto record_store::take_out(channel_state& state, Keeps keeps) -> std::vector<batch_pointer>
{
    std::vector<batch_pointer> taken;
    std::deque<batch_pointer> kept;
    for (batch_pointer& batch : state.batches) {
        if (keeps(*batch) || batch->state == record_batch::stage::decoding) {
            kept.push_back(std::move(batch));
            continue;
        }
        if (batch->state == record_batch::stage::waiting) {
            queue_.erase(std::remove(queue_.begin(), queue_.end(), batch), queue_.end());
            reserved_ -= batch->grant;
        }
        taken.push_back(std::move(batch));
    }
    state.batches.swap(kept);
    return taken;
}

/// Gives up what neither the present event nor a caller holds.
void record_store::release_others()
{
    std::vector<std::vector<batch_pointer>> released; // ends without the lock
    const std::lock_guard lock(mutex_);
    for (channel_state& state : channels_) {
        released.push_back(take_out(state, [this](const record_batch& batch) { return batch.round == round_; }));
    }
}

/// Keeps of a channel what the present event needs, the batch used last, and what was decoded ahead in the direction of
/// the reader.
void record_store::trim(channel_state& state, bool forward)
{
    std::vector<batch_pointer> released; // ends without the lock
    const std::lock_guard lock(mutex_);
    bool keeps_one = true;
    released = take_out(state, [&](const record_batch& batch) {
        const bool is_ahead = batch.round == 0 && batch.forward == forward;
        return batch.round == round_ || is_ahead || (batch.round != 0 && std::exchange(keeps_one, false));
    });
}

void record_store::enqueue(const batch_pointer& batch, bool at_once)
{
    {
        const std::lock_guard lock(mutex_);
        reserved_ += batch->grant;
        if (at_once) {
            // Behind the others of the same event, before what is wanted later.
            const auto later = std::find_if(queue_.begin(), queue_.end(),
                                            [this](const batch_pointer& other) { return other->round != round_; });
            queue_.insert(later, batch);
        } else {
            queue_.push_back(batch);
        }
    }
    has_work_.notify_one();
}

void record_store::request(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward)
{
    channel_state& state = channels_[channel];
    const batch_pointer known = find(state, at);
    if (at == state.expected) {
        state.run = std::min(state.run + 1, longest_run);
        state.expected = forward ? at + 1 : at - 1;
    } else if (known == nullptr) { // a slow value is asked for again and again
        state.run = 1;
        state.expected = forward ? at + 1 : at - 1;
    }
    if (known != nullptr) {
        known->round = round_;
        const auto place = std::find(state.batches.begin(), state.batches.end(), known);
        std::rotate(state.batches.begin(), place, place + 1);
        return;
    }
    const std::size_t wanted = wanted_bytes(state);
    if (room() < wanted) {
        release_others();
    }
    std::unique_lock lock(mutex_);
    while (budget_ < account_->bytes + reserved_ + wanted &&
           reserved_ > 0) { // what is under way takes less than granted
        if (!run_one(lock)) {
            has_result_.wait(lock);
        }
    }
    lock.unlock();
    const batch_pointer batch = make(channel, list, at, forward, room());
    trim(state, forward);
    state.batches.push_front(batch);
    enqueue(batch, true);
}

void record_store::prefetch(std::size_t channel, const std::vector<record_place>& list, std::size_t at, bool forward)
{
    channel_state& state = channels_[channel];
    if (state.run == 1 || state.typical_bytes == 0) {
        return; // not used in order (yet)
    }
    std::size_t next = at;
    for (std::size_t ahead = 0; ahead <= depth_; ++ahead) {
        const batch_pointer known = find(state, next);
        if (known != nullptr) {
            const std::lock_guard lock(mutex_);
            next = forward ? known->first + (known->forward ? known->size : 1)
                           : known->first - (known->forward ? 1 : known->size);
        } else if (ahead > 0 && next < list.size()) { // positions before 0 wrap around
            // A quarter stays free for what is asked for at once.
            const std::size_t free = room();
            const std::size_t wanted = wanted_bytes(state);
            if (free < budget_ / 4 || free - budget_ / 4 < wanted) {
                return;
            }
            const auto files =
                list[next].file > list[at].file ? list[next].file - list[at].file : list[at].file - list[next].file;
            if (files >= rows_.most_open()) { // a batch keeps its file open until it is decoded
                return;
            }
            const batch_pointer batch = make(channel, list, next, forward, free);
            batch->round = 0;
            state.batches.push_back(batch);
            enqueue(batch, false);
            next = forward ? next + batch->places.size() : next - batch->places.size();
        }
    }
}

std::shared_ptr<const decoded_record> record_store::wait(std::size_t channel, const std::vector<record_place>& list,
                                                         std::size_t at, std::string& reason)
{
    channel_state& state = channels_[channel];
    for (;;) {
        const batch_pointer batch = find(state, at);
        if (batch == nullptr) { // the one that had it in mind ended early
            request(channel, list, at, true);
            continue;
        }
        finish(batch);
        state.typical_bytes = std::max<std::size_t>(batch->arena.bytes() / batch->size, 1);
        const std::size_t index = batch->index_of(at);
        if (index >= batch->size) {
            continue;
        }
        if (!batch->failures[index].empty()) {
            reason = batch->failures[index];
            return nullptr;
        }
        return {batch, &batch->records[index]};
    }
}

/// Waits for a batch, or decodes it here. It has at least one record then.
void record_store::finish(const batch_pointer& batch)
{
    std::unique_lock lock(mutex_);
    while (batch->state != record_batch::stage::done) {
        const auto queued = std::find(queue_.begin(), queue_.end(), batch);
        if (queued != queue_.end()) {
            queue_.erase(queued);
            run(lock, batch, own_workspace_);
        } else {
            has_result_.wait(lock);
        }
    }
    if (batch->size == 0) {
        decode_with_all_there_is(lock, batch);
    }
}

/// A record that did not fit its grant gets all memory that nobody holds.
void record_store::decode_with_all_there_is(std::unique_lock<std::mutex>& lock, const batch_pointer& batch)
{
    while (reserved_ > 0) {
        if (!run_one(lock)) {
            has_result_.wait(lock);
        }
    }
    lock.unlock();
    release_others();
    lock.lock();
    const std::size_t used = account_->bytes;
    batch->places.resize(1);
    batch->size = 1;
    batch->grant = used < budget_ ? budget_ - used : 0;
    batch->state = record_batch::stage::waiting;
    reserved_ += batch->grant;
    run(lock, batch, own_workspace_);
    if (batch->size == 0) {
        lock.unlock();
        throw error(
            fault::out_of_budget,
            "the records of one event, with those that the program holds, need more memory than the budget of " +
                std::to_string(budget_) + " bytes");
    }
}

/// Decodes one batch that waits; false when none does.
bool record_store::run_one(std::unique_lock<std::mutex>& lock)
{
    if (queue_.empty()) {
        return false;
    }
    const batch_pointer batch = queue_.front();
    queue_.pop_front();
    run(lock, batch, own_workspace_);
    return true;
}

void record_store::run(std::unique_lock<std::mutex>& lock, const batch_pointer& batch, decode_workspace& workspace)
{
    batch->state = record_batch::stage::decoding;
    lock.unlock();
    decode(*batch, workspace);
    lock.lock();
    batch->size = batch->records.size();
    batch->rows = batch->size == 0 ? std::move(batch->rows) : nullptr;
    batch->state = record_batch::stage::done;
    reserved_ -= batch->grant;
    account_->bytes += batch->arena.bytes() - batch->counted;
    batch->counted = batch->arena.bytes();
    has_result_.notify_all();
}

/// Decodes records until the batch has enough, or may not take more. Leaves none when not even the first one fits.
void record_store::decode(record_batch& batch, decode_workspace& workspace)
{
    batch.arena = batch_arena(batch.grant, pool_);
    batch.records.clear();
    batch.failures.clear();
    if (batch.rows == nullptr) {
        batch.records.resize(batch.places.size());
        batch.failures.assign(batch.places.size(), "its file cannot be loaded");
        return;
    }
    try {
        batch.records.reserve(batch.places.size());
        batch.failures.reserve(batch.places.size());
        const auto decoder =
            batch.rows->decoder(batch.channel, batch.places.front().row, batch.places.back().row, workspace);
        for (const record_place& place : batch.places) {
            decoded_record record;
            const bool good = decoder->decode(place.row, batch.arena, record);
            if (!good && batch.arena.is_exhausted()) {
                return;
            }
            batch.records.push_back(record);
            batch.failures.push_back(good ? std::string() : decoder->reason());
            if (batch.arena.bytes() >= batch.target_bytes) {
                return;
            }
        }
    } catch (const std::exception& failure) { // no memory: the records that are there are good
        if (batch.records.size() > batch.failures.size()) {
            batch.records.pop_back();
        }
        if (batch.records.empty()) {
            batch.records.resize(1);
            batch.failures.assign(1, failure.what());
        }
    }
}

void record_store::work()
{
    decode_workspace workspace;
    std::unique_lock lock(mutex_);
    for (;;) {
        has_work_.wait(lock, [this] { return stop_ || !queue_.empty(); });
        if (stop_) {
            return;
        }
        const batch_pointer batch = queue_.front();
        queue_.pop_front();
        run(lock, batch, workspace);
    }
}

} // namespace trox::detail
