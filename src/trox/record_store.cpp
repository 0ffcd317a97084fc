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

/// Waits for a batch, or decodes it here. It has at least one record then, or a refusal.
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
    if (batch->size == 0 && !batch->is_alone) {
        decode_with_all_there_is(lock, batch);
    }
}

/// A record that did not fit its grant gets all memory that nobody holds; when that does not suffice, also what records
/// lie in that stand beside those of the event. When that does not suffice either, and there is nothing that the
/// program could let go, it counts as one that cannot be decoded.
void record_store::decode_with_all_there_is(std::unique_lock<std::mutex>& lock, const batch_pointer& batch)
{
    while (bring_on(lock)) {
    }
    lock.unlock();
    release_others();
    load_rows_of(*batch);
    lock.lock();
    decode_alone(lock, batch);
    if (batch->size == 0 && batch->refusal.what == record_failure::cause::no_room && !one_by_one_) {
        go_one_by_one(lock, batch);
        lock.unlock();
        load_rows_of(*batch);
        lock.lock();
        decode_in_turn(lock, batch);
    }
}

/// While no other is under way.
void record_store::decode_alone(std::unique_lock<std::mutex>& lock, const batch_pointer& batch)
{
    using cause = record_failure::cause;
    const std::size_t used = account_->bytes;
    batch->places.resize(1);
    batch->size = 1;
    batch->grant = used < budget_ ? budget_ - used : 0;
    batch->is_alone = true;
    batch->turn = ++turn_;
    batch->state = record_batch::stage::waiting;
    reserved_ += batch->grant;
    ++under_way_;
    run(lock, batch, own_workspace_);
    batch->refusal.may_pass = batch->refusal.what == cause::no_memory ||
                              (batch->refusal.what == cause::no_room && holds_more_than_the_event());
}

void record_store::load_rows_of(record_batch& batch)
{
    batch.rows = rows_.rows(batch.places.front().file);
    batch.path = batch.rows == nullptr ? nullptr : batch.rows->path();
}

/// A batch of one record of another batch.
auto record_store::alone_of(const record_batch& batch, std::size_t at) const -> batch_pointer
{
    auto alone = std::make_shared<record_batch>(account_);
    alone->channel = batch.channel;
    alone->first = at;
    alone->forward = batch.forward;
    alone->target_bytes = batch_bytes_;
    alone->round = round_;
    alone->places.push_back(batch.places[batch.index_of(at)]);
    alone->records.reserve(1);
    alone->failures.reserve(1);
    return alone;
}

/// Decodes the records of the event that waits have given so far once more, each alone, in the order of the channels,
/// and gives up those that no wait has asked for yet: these follow in turn. Only what the program holds stays. While no
/// batch is under way.
void record_store::go_one_by_one(std::unique_lock<std::mutex>& lock, const batch_pointer& present)
{
    one_by_one_ = true;
    const auto stays = [&present](const batch_pointer& batch) {
        return batch == present || batch->is_alone || batch.use_count() > 1;
    };
    batch_list again;
    for (const channel_state& state : channels_) {
        const auto given = std::find_if(state.batches.begin(), state.batches.end(), [&](const batch_pointer& batch) {
            return state.given_in == round_ && batch->answers_for(state.given);
        });
        if (given != state.batches.end() && !stays(*given)) {
            again.push_back(alone_of(**given, state.given));
        }
    }
    batch_list released;
    for (channel_state& state : channels_) {
        released.splice(released.end(), take_out(state, stays));
    }
    released.clear();
    while (!again.empty()) {
        const batch_pointer batch = again.front();
        lock.unlock();
        load_rows_of(*batch);
        lock.lock();
        auto& batches = channels_[batch->channel].batches;
        batches.splice(batches.begin(), again, again.begin());
        decode_alone(lock, batch);
    }
}

/// Decodes a record alone, behind those of the event that are there.
void record_store::decode_in_turn(std::unique_lock<std::mutex>& lock, const batch_pointer& batch)
{
    decode_alone(lock, batch);
    const bool needs_more_for_a_while =
        batch->size == 0 && batch->refusal.what == record_failure::cause::no_room && batch->arena.largest_lent() != 0;
    if (needs_more_for_a_while) {
        decode_among_the_others(lock, batch);
    }
}

/// A record that is compressed needs more while it is decoded than it does then. All records of the event are decoded
/// once more, those that need most of that first; when that does not suffice, all but this one as they were.
void record_store::decode_among_the_others(std::unique_lock<std::mutex>& lock, const batch_pointer& batch)
{
    std::vector<batch_pointer> others;
    for (const channel_state& state : channels_) {
        for (const batch_pointer& other : state.batches) {
            if (other != batch && other->is_alone && other->round == round_ && other->size != 0 &&
                other.use_count() == 1) {
                others.push_back(other);
            }
        }
    }
    const record_failure refusal = batch->refusal;
    std::sort(others.begin(), others.end(), [](const auto& a, const auto& b) { return a->turn < b->turn; });
    empty(others);
    std::vector<batch_pointer> all = others;
    all.push_back(batch);
    bool fits = decode_all(lock, {batch});
    if (fits) {
        std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
            return a->arena.largest_lent() > b->arena.largest_lent();
        });
        empty(all);
        fits = decode_all(lock, all);
    }
    if (!fits) {
        empty(all);
        batch->refusal = refusal;
        decode_all(lock, others);
    }
}

/// Decodes batches alone; false at the first that has no room.
bool record_store::decode_all(std::unique_lock<std::mutex>& lock, const std::vector<batch_pointer>& batches)
{
    for (const batch_pointer& batch : batches) {
        lock.unlock();
        load_rows_of(*batch);
        lock.lock();
        decode_alone(lock, batch);
        if (batch->size == 0) {
            return false;
        }
    }
    return true;
}

/// Gives up what batches hold that nobody else does.
void record_store::empty(const std::vector<batch_pointer>& batches)
{
    for (const batch_pointer& batch : batches) {
        batch->arena.release();
        batch->records.clear();
        batch->failures.clear();
        batch->size = 0;
        account_->bytes -= std::exchange(batch->counted, 0);
    }
}

/// Whether decoded records outside the present event are held, or such that lie beside one of its records. Under the
/// mutex, when all others are released.
bool record_store::holds_more_than_the_event() const noexcept
{
    std::size_t counted = 0;
    bool is_shared = false;
    for (const channel_state& state : channels_) {
        for (const batch_pointer& batch : state.batches) {
            counted += batch->counted;
            is_shared = is_shared || !batch->is_alone;
        }
    }
    return account_->bytes > counted || (one_by_one_ && is_shared);
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

/// Decodes a batch that waits, or waits until one that is being decoded is done; false when there are neither.
bool record_store::bring_on(std::unique_lock<std::mutex>& lock)
{
    if (run_one(lock)) {
        return true;
    }
    if (under_way_ == 0) {
        return false;
    }
    has_result_.wait(lock);
    return true;
}

void record_store::run(std::unique_lock<std::mutex>& lock, const batch_pointer& batch,
                       decode_workspace& workspace) noexcept
{
    batch->state = record_batch::stage::decoding;
    lock.unlock();
    decode(*batch, workspace);
    lock.lock();
    batch->size = batch->records.size();
    batch->rows = nullptr;
    batch->state = record_batch::stage::done;
    reserved_ -= batch->grant;
    --under_way_;
    account_->bytes += batch->arena.bytes() - batch->counted;
    batch->counted = batch->arena.bytes();
    has_result_.notify_all();
}

void record_store::decode(record_batch& batch, decode_workspace& workspace) noexcept
{
    constexpr auto no_memory = record_failure::cause::no_memory;
    batch.arena =
        batch_arena(batch.grant, pool_, batch.is_alone ? batch_arena::blocks::exact : batch_arena::blocks::roomy);
    batch.records.clear();
    batch.failures.clear();
    batch.refusal = {};
    try {
        decode_records(batch, workspace);
    } catch (const std::exception&) { // no memory: the records that are there are good
        batch.refusal = {no_memory, "there is no memory for it"};
    }
}

/// Decodes records until the batch has enough, or may not take more. Leaves none when not even the first one fits.
void record_store::decode_records(record_batch& batch, decode_workspace& workspace)
{
    if (batch.rows == nullptr) {
        batch.records.resize(batch.places.size());
        batch.failures.assign(batch.places.size(), {record_failure::cause::unreadable, "its file cannot be loaded"});
        return;
    }
    const auto decoder =
        batch.rows->decoder(batch.channel, batch.places.front().row, batch.places.back().row, workspace);
    for (const record_place& place : batch.places) {
        decoded_record record;
        record_failure failure;
        if (!decoder->decode(place.row, batch.arena, record)) {
            failure = decoder->failure();
            if (batch.arena.is_exhausted() || failure.what == record_failure::cause::no_memory) {
                refuse(batch, *decoder, place.row);
                return;
            }
        }
        batch.records.push_back(record);
        batch.failures.push_back(failure);
        if (batch.arena.bytes() >= batch.target_bytes) {
            return;
        }
    }
}

/// Ends a batch for lack of memory. A first record that no memory would suffice for, and one that is damaged, is a
/// failure of its own.
void record_store::refuse(record_batch& batch, channel_decoder& decoder, std::uint32_t row) const noexcept
{
    if (!batch.records.empty()) {
        return;
    }
    const std::size_t needed = batch.arena.refused();
    batch.refusal = decoder.failure();
    if (needed != 0) {
        const char* const text =
            needed > budget_
                ? "it needs more memory than the whole budget"
                : "the records of one event, with those that the program holds, need more memory than the budget";
        batch.refusal = {record_failure::cause::no_room, text, 0, budget_};
    }
    if (needed <= budget_ && !batch.is_alone) {
        return; // may fit, or find memory, when it is tried once more
    }
    const record_failure defect = decoder.defect(row);
    if (defect.what == record_failure::cause::damaged) {
        batch.refusal = defect;
    }
    if (needed > budget_ || defect.what == record_failure::cause::damaged) {
        batch.records.emplace_back();
        batch.failures.push_back(batch.refusal);
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
