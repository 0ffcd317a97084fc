// One run read twice: through the layer, and through the reader class of its generation.
#ifndef TROX_TESTS_LAYER_BOTH_READERS_H
#define TROX_TESTS_LAYER_BOTH_READERS_H

#include "event_texts.h"
#include "golden/golden_generation.h"
#include "trox_writer.h"

#include <bit>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace layer_test
{

struct legacy : trox_golden::golden_legacy {
    static constexpr auto format = trox::writer::generation::legacy;
};
struct v2010 : trox_golden::golden_2010 {
    static constexpr auto format = trox::writer::generation::v2010;
};
struct v2024 : trox_golden::golden_2024 {
    static constexpr auto format = trox::writer::generation::v2024;
};

/// What a reader class delivers for requests of the next event.
struct delivered {
    std::vector<std::string> events;
    int end_status = 0; ///< 0: there was no end within the bound
};

inline constexpr int ended = -3;

/// Reads with the reader class of generation `G`; a stop point of all zero does not limit.
template <class G> class class_reading
{
public:
    class_reading(const std::vector<std::string>& files, const std::vector<std::string>& channels,
                  const trox::synchronisation& match)
        : channels_(channels)
    {
        const time_stamp tolerance = stamp(match.tolerance);
        G::set_time_diff(reader_, tolerance);
        reader_.set_synch_mode(match.how == trox::synchronisation::mode::by_time ? TROX_DAQ_SLICER_SYNCH_MODE_TIME
                                                                                 : TROX_DAQ_SLICER_SYNCH_MODE_EVID);
        std::vector<daq_channel_entry> entries;
        for (const std::string& name : channels_) {
            entries.push_back({name.c_str(), {}});
        }
        std::vector<daq_channel_entry*> pointers;
        for (auto& entry : entries) {
            pointers.push_back(&entry);
        }
        typename G::time_id period{static_cast<typename G::event_number>(match.number_step), stamp(match.time_step)};
        if (reader_.init(files, &pointers) != 0 || reader_.set_period(&period) != 0) {
            throw std::runtime_error(reader_.get_last_error());
        }
    }

    delivered read(std::size_t most)
    {
        delivered result;
        if (reader_.start() != 0) {
            throw std::runtime_error(reader_.get_last_error());
        }
        std::vector<typename G::channel_entry*> records;
        while (result.events.size() < most && result.end_status == 0) {
            result.end_status = reader_.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT);
            if (result.end_status == 0) {
                result.events.push_back(text_of_event(records));
            }
        }
        reader_.clean_up();
        return result;
    }

private:
    using slot_type = typename G::result_entry;

    static time_stamp stamp(trox::microseconds duration)
    {
        return {static_cast<std::uint32_t>(duration.count() / 1000000),
                static_cast<std::uint32_t>(duration.count() % 1000000)};
    }

    static const slot_type& slot_of(const typename G::channel_entry* record)
    {
        return *std::bit_cast<const slot_type*>(std::bit_cast<std::uintptr_t>(record) - offsetof(slot_type, res));
    }

    /// The event is named by its first record that is no slow value, else by the first new slow value.
    static std::string text_of_event(const std::vector<typename G::channel_entry*>& records)
    {
        const slot_type* fast = nullptr;
        const slot_type* fresh = nullptr;
        std::string text;
        for (const auto* record : records) {
            const slot_type& slot = slot_of(record);
            const auto& head = *reinterpret_cast<const typename G::subhead*>(slot.data);
            if (!G::is_update(head.dtype)) {
                fast = fast == nullptr ? &slot : fast;
            } else if (slot.updated != 0) {
                fresh = fresh == nullptr ? &slot : fresh;
            }
            const auto& id = slot.res.event_id;
            text += record_text{slot.chan.name,
                                id.event_number,
                                time_text(id.time.timeup, id.time.timelow),
                                slot.updated != 0,
                                head.dtype,
                                static_cast<std::uint32_t>(head.error),
                                sum_of(&head + 1, static_cast<std::size_t>(head.ldata) - sizeof head)}
                        .text();
        }
        const slot_type* named = fast != nullptr ? fast : fresh;
        const auto id = named == nullptr ? typename G::time_id{} : named->res.event_id;
        return std::to_string(id.event_number) + " @" + time_text(id.time.timeup, id.time.timelow) + text;
    }

    std::vector<std::string> channels_;
    typename G::daq_reader reader_;
};

} // namespace layer_test

#endif
