// The decoding of batches: by workers or the reader's thread, with all the memory there is, one record after the other.
#include "trox/record_store.h"

#include <algorithm>
#include <exception>

namespace trox::detail
{

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
