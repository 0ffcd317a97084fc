// The three generations as a program meets them that asks for typed values.
#ifndef TROX_TEST_ACCESS_TYPES_H
#define TROX_TEST_ACCESS_TYPES_H

#include "event.h"
#include "trox_daq_data.h"

#include <gtest/gtest.h>

namespace trox_test
{

struct access_legacy {
    using header = trox_eventheader;
    using block = trox_serv_block_head;
    using subhead = trox_serv_block_subhead;
    using record = trox_channel_entry_long;
    using update = trox_upd_data_block;
    using spectrum_head = trox_spect_head;
    static constexpr bool is_2024 = false;
    static constexpr bool is_legacy = true;
    static constexpr std::uint32_t pattern = 0xFFEEFFEE;
    static constexpr int trace_type = TROX_BLOCK_SINGLE;
    static constexpr int four_members_type = TROX_BLOCK_BPM;
    static constexpr int update_type = TROX_UPD_BLOCK;
};
struct access_2010 {
    using header = trox_eventheader;
    using block = trox_serv_block_head_2010;
    using subhead = trox_serv_block_subhead_2010;
    using record = trox_channel_entry_long;
    using update = trox_upd_data_block_2010;
    using spectrum_head = trox_spect_head_2010;
    static constexpr bool is_2024 = false;
    static constexpr bool is_legacy = false;
    static constexpr std::uint32_t pattern = 0xFFEEFF10;
    static constexpr int trace_type = TROX_BLOCK_1CHAN_2010;
    static constexpr int four_members_type = TROX_BLOCK_4CHAN_2010;
    static constexpr int update_type = TROX_UPD_BLOCK_2010;
};
struct access_2024 : access_2010 {
    using header = trox_eventheader_2024;
    using block = trox_serv_block_head_2024;
    using record = trox_channel_entry_long_2024;
    static constexpr bool is_2024 = true;
    static constexpr std::uint32_t pattern = 0xFFEEFF24;
};

using all_access = ::testing::Types<access_legacy, access_2010, access_2024>;

struct access_names {
    template <class T> static std::string GetName(int /*index*/)
    {
        return T::is_legacy ? "legacy" : T::is_2024 ? "g2024" : "g2010";
    }
};

template <class T> int set_records(trox_daq_getdata& event, std::vector<typename T::record*>* records)
{
    if constexpr (T::is_2024) {
        return event.SetRes_2024(records);
    } else {
        return event.SetRes(records);
    }
}

/// The sub-head of the selected record.
template <class T> typename T::subhead* head_of(const trox_daq_getdata& event)
{
    if constexpr (T::is_legacy) {
        return event.GetChanHead();
    } else {
        return event.GetChanHead_2010();
    }
}

template <class T> typename T::header* event_head_of(const trox_daq_getdata& event)
{
    if constexpr (T::is_2024) {
        return event.GetEventHead_2024();
    } else {
        return event.GetEventHead();
    }
}

template <class T> typename T::block* block_head_of(const trox_daq_getdata& event)
{
    if constexpr (T::is_2024) {
        return event.GetServBlockHead_2024();
    } else if constexpr (T::is_legacy) {
        return event.GetServBlockHead();
    } else {
        return event.GetServBlockHead_2010();
    }
}

} // namespace trox_test

#endif
