// All records of a channel as values, for comparing one reading with another.
#ifndef TROX_TEST_CHANNEL_CONTENTS_H
#define TROX_TEST_CHANNEL_CONTENTS_H

#include "channel_scenario.h"
#include "channel_types.h"

#include <cstdint>
#include <string>
#include <vector>

namespace trox_test
{

/// One record: its event, and the bytes of its three blocks.
struct record_contents {
    std::uint64_t number = 0;
    time_stamp time{};
    std::string event_header;
    std::string server_block;
    std::string block;
    bool operator==(const record_contents& other) const
    {
        return number == other.number && time.timeup == other.time.timeup && time.timelow == other.time.timelow &&
               event_header == other.event_header && server_block == other.server_block && block == other.block;
    }
};

inline std::string bytes_at(std::uint64_t address, std::size_t size)
{
    return address == 0 ? std::string() : std::string(reinterpret_cast<const char*>(address), size);
}

template <class T> record_contents contents_of(const typename T::entry& record)
{
    const auto& at = record.sbchdata[0];
    const auto* block = block_of<T>(record);
    const auto length = block == nullptr ? 0 : std::max(sizeof *block, static_cast<std::size_t>(block->ldata));
    return {record.event_id.event_number, record.event_id.time, bytes_at(at.evhd, sizeof(typename T::event_header)),
            bytes_at(at.sbhd, sizeof(typename T::server_block_head)), bytes_at(at.chhd, length)};
}

/// The records of a reader that is done, in the order of its array. `some_number` is the number of one of them.
template <class T>
std::vector<record_contents> contents_of(typename T::reader& reader, typename T::event_number some_number)
{
    std::vector<record_contents> all;
    typename T::entry* record = find_by_number(reader, some_number, TROX_DAQ_READ_CHAN_EVENT_CUR, nullptr);
    if (record == nullptr || record->event_id.event_number != some_number) {
        return all;
    }
    // The array begins behind the record of zeros.
    while ((record - 1)->sbchdata[0].evhd != 0) {
        --record;
    }
    for (int i = 0; i < reader.get_number_of_records(); ++i) {
        all.push_back(contents_of<T>(record[i]));
    }
    return all;
}

} // namespace trox_test

#endif
