// The events of a file's event index by the position of their header.
#ifndef TROX_GENERIC_INDEXED_EVENTS_INL
#define TROX_GENERIC_INDEXED_EVENTS_INL

#include "detail/big_endian.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace trox_detail
{

/// Identity of every event in an event index table, which was checked when it was read; its times and numbers are
/// big-endian. Null gives none.
template <class G>
std::unordered_map<std::uint64_t, typename G::time_id> indexed_events(const typename G::event_index_table* table)
{
    using head_type = typename G::event_index_head;
    using info_type = typename G::event_info;
    std::unordered_map<std::uint64_t, typename G::time_id> events;
    if (table == nullptr) {
        return events;
    }
    const auto* at = reinterpret_cast<const unsigned char*>(table) + offsetof(typename G::event_index_table, entries);
    const auto types = static_cast<std::uint64_t>(table->nevent_types);
    for (std::uint64_t type = 0; type < types; ++type) {
        const auto length = static_cast<std::uint64_t>(load_record<head_type>(at).length);
        for (std::uint64_t info = sizeof(head_type); info + sizeof(info_type) <= length; info += sizeof(info_type)) {
            const auto event = load_record<info_type>(at + info);
            events[static_cast<std::uint64_t>(event.offset)] = {
                big_endian(event.event_number), {big_endian(event.time.timeup), big_endian(event.time.timelow)}};
        }
        at += length;
    }
    return events;
}

} // namespace trox_detail

#endif
