#include "check.h"

#include "text.h"
#include "values.h"

#include <bit>
#include <cstring>

namespace trox_demo
{
namespace
{

using block_head = trox_serv_block_subhead_2010;

const block_head* block_of(const trox_channel_entry_long& record)
{
    return std::bit_cast<const block_head*>(record.sbchdata[0].chhd);
}

constexpr int no_record = -1;

/// The event whose record of the channel belongs to `event`.
int due_record(channel of, int event)
{
    const int latest = linac().latest_record(of, event).value_or(no_record);
    return is_slow(of) || latest == event ? latest : no_record;
}

bool is_same(const trox_time_id& id, channel of, int event)
{
    const time_stamp time = linac().record_time(of, event);
    return id.event_number == event_number(event) && id.time.timeup == time.timeup && id.time.timelow == time.timelow;
}

} // namespace

const block_head* event_records::block(channel of) const
{
    const auto* const record = records.at(index_of(of));
    return record == nullptr ? nullptr : block_of(*record);
}

bool event_records::is_updated(channel of) const
{
    const auto* const record = records.at(index_of(of));
    return record != nullptr && record->event_id.event_number == number;
}

event_records sort_records(const std::vector<trox_channel_entry_long*>& result)
{
    event_records sorted;
    for (const auto* const record : result) {
        const block_head* const block = block_of(*record);
        const auto of = block == nullptr ? std::nullopt : channel_of(*block);
        if (!of) {
            continue;
        }
        sorted.records.at(index_of(*of)) = record;
        if (sorted.number == 0 && !is_slow(*of)) {
            sorted.number = record->event_id.event_number;
            sorted.time = record->event_id.time;
        }
    }
    return sorted;
}

void checker::check(int event, const event_records& read)
{
    if (read.number != event_number(event)) {
        fail(text("event %u comes in the place of %u", read.number, event_number(event)));
        return;
    }
    for (const channel of : all_channels) {
        check_channel(of, event, read);
    }
}

void checker::check_channel(channel of, int event, const event_records& read)
{
    const int recorded = due_record(of, event);
    const auto* const record = read.records.at(index_of(of));
    if ((recorded == no_record) != (record == nullptr)) {
        fail(text("event %u: %s is %s", event_number(event), linac().name(of).c_str(),
                  record == nullptr ? "missing" : "there without having been written"));
    } else if (record != nullptr) {
        check_record(of, recorded, *record);
        records_ += recorded == event ? 1 : 0;
    }
}

void checker::check_record(channel of, int recorded, const trox_channel_entry_long& record)
{
    const tw::payload expected = linac().delivered(of, recorded);
    const block_head& block = *block_of(record);
    const std::size_t size = sizeof block + expected.bytes.size();
    if (!is_same(record.event_id, of, recorded)) {
        fail(text("%s: a record of event %u in the place of %u", linac().name(of).c_str(), record.event_id.event_number,
                  event_number(recorded)));
    } else if (block.dtype != expected.dtype || static_cast<std::size_t>(block.ldata) != size ||
               std::memcmp(&block + 1, expected.bytes.data(), expected.bytes.size()) != 0) {
        fail(text("%s: the data of event %u differ from what was written", linac().name(of).c_str(),
                  event_number(recorded)));
    }
    payload_bytes_ += expected.bytes.size();
}

void checker::fail(std::string what)
{
    differences_.push_back(std::move(what));
}

std::size_t checker::records() const
{
    return records_;
}

std::size_t checker::payload_bytes() const
{
    return payload_bytes_;
}

const std::vector<std::string>& checker::differences() const
{
    return differences_;
}

} // namespace trox_demo
