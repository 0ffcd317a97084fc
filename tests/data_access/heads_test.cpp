// Heads of the selected record, and the event header that stands for the whole event.
#include "typed_records.h"

#include <stdexcept>

using namespace trox_test;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace
{

struct event_info {
    unsigned long number = 0;
    int type = -1;
    unsigned length = 0;
    unsigned seconds = 0;
    unsigned microseconds = 0;
    int status = -1;
    int servers = -1;
};

template <class T> int read_info(trox_daq_getdata& event, event_info& info)
{
    if constexpr (T::is_2024) {
        return event.GetEventInfo_2024(&info.number, &info.type, &info.length, &info.seconds, &info.microseconds,
                                       &info.status, &info.servers);
    } else {
        unsigned number = 0;
        const int status = event.GetEventInfo(&number, &info.type, &info.length, &info.seconds, &info.microseconds,
                                              &info.status, &info.servers);
        info.number = number;
        return status;
    }
}

} // namespace

template <class T> class heads : public record_access<T>
{
protected:
    /// An update without event number, `seconds` in its header.
    void add_unnumbered_update(unsigned seconds)
    {
        this->add_update("SLOW", 1.0F, 0).header.event_time = {seconds, 0};
    }
    /// The event header that stands for the records, at least one of which is there.
    event_info representative()
    {
        this->set_records();
        event_info info;
        EXPECT_EQ(read_info<T>(this->access_, info), 0);
        return info;
    }
    static constexpr const char* info_name = T::is_2024 ? "GetEventInfo_2024" : "GetEventInfo";
};
TYPED_TEST_SUITE(heads, all_access, access_names);

TYPED_TEST(heads, are_those_of_the_selected_record)
{
    auto& first = this->add_trace("A");
    auto& second = this->add_trace("B");
    this->set_records();
    EXPECT_EQ(event_head_of<TypeParam>(this->access_), &first.header);
    EXPECT_EQ(block_head_of<TypeParam>(this->access_), &first.block);
    EXPECT_EQ(head_of<TypeParam>(this->access_), &first.head());
    this->access_.SetChan(1);
    EXPECT_EQ(event_head_of<TypeParam>(this->access_), &second.header);
    EXPECT_EQ(block_head_of<TypeParam>(this->access_), &second.block);
    EXPECT_EQ(head_of<TypeParam>(this->access_), &second.head());
}

TYPED_TEST(heads, of_other_layouts_are_null)
{
    this->add_trace("A");
    this->set_records();
    const auto& event = this->access_;
    EXPECT_EQ(event.GetEventHead() == nullptr, TypeParam::is_2024);
    EXPECT_EQ(event.GetEventHead_2024() != nullptr, TypeParam::is_2024);
    EXPECT_EQ(event.GetServBlockHead() != nullptr, TypeParam::is_legacy);
    EXPECT_EQ(event.GetServBlockHead_2010() != nullptr, !TypeParam::is_legacy && !TypeParam::is_2024);
    EXPECT_EQ(event.GetServBlockHead_2024() != nullptr, TypeParam::is_2024);
    EXPECT_EQ(event.GetChanHead() != nullptr, TypeParam::is_legacy);
    EXPECT_EQ(event.GetChanHead_2010() != nullptr, !TypeParam::is_legacy);
}

TYPED_TEST(heads, server_block_values)
{
    this->add_trace("A", 12);
    this->set_records();
    unsigned seconds = 0;
    unsigned microseconds = 0;
    int ltotal = 0;
    unsigned long wide_pulse = 0;
    int pulse = 0;
    int tmask = 0;
    int status = 0;
    int nchan = 0;
    const auto& event = this->access_;
    if constexpr (TypeParam::is_2024) {
        ASSERT_EQ(event.GetServBlockInfo_2024(&seconds, &microseconds, &ltotal, &wide_pulse, &tmask, &status, &nchan),
                  0);
        EXPECT_EQ(event.GetServBlockInfo_2024(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(wide_pulse, 12U);
    } else {
        ASSERT_EQ(event.GetServBlockInfo(&seconds, &microseconds, &ltotal, &pulse, &tmask, &status, &nchan), 0);
        EXPECT_EQ(event.GetServBlockInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(pulse, 12);
    }
    EXPECT_EQ(seconds, 1339666201U);
    EXPECT_EQ(microseconds, 125U);
    EXPECT_EQ(ltotal, 600);
    EXPECT_EQ(tmask, 0x21);
    EXPECT_EQ(status, 0x40);
    EXPECT_EQ(nchan, 5);
}

TYPED_TEST(heads, channel_values)
{
    this->add_trace("A.CHANNEL");
    this->set_records();
    char* name = nullptr;
    int dtype = 0;
    int error = 0;
    int ldata = 0;
    ASSERT_EQ(this->access_.GetChanInfo(&name, &dtype, &error, &ldata), 0);
    EXPECT_STREQ(name, "A.CHANNEL");
    EXPECT_EQ(dtype, TypeParam::trace_type);
    EXPECT_EQ(error, 0x1000);
    EXPECT_EQ(ldata, this->owned_[0]->head().ldata);
    EXPECT_EQ(this->access_.GetChanInfo(nullptr, nullptr, nullptr, nullptr), 0);
}

TYPED_TEST(heads, are_asked_for_records_first)
{
    const auto& event = this->access_;
    EXPECT_THAT(capture([&] {
                    EXPECT_EQ(event.GetServBlockInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                              -1);
                }).err,
                StartsWith("trox_daq_getdata::GetServBlockInfo: wrong Status= 0 SrvbHeader "));
    EXPECT_THAT(capture([&] {
                    EXPECT_EQ(
                        event.GetServBlockInfo_2024(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
                }).err,
                StartsWith("trox_daq_getdata::GetServBlockInfo_2024: wrong Status= 0 SrvbHeader "));
    EXPECT_THAT(capture([&] { EXPECT_EQ(event.GetChanInfo(nullptr, nullptr, nullptr, nullptr), -1); }).err,
                StartsWith("trox_daq_getdata::GetChanInfo: wrong Status= 0 ChanHeader "));
    event_info info;
    EXPECT_THAT(capture([&] { EXPECT_EQ(read_info<TypeParam>(this->access_, info), -1); }).err,
                StartsWith("trox_daq_getdata::" + std::string(this->info_name) + ": wrong Status= 0 EventHeader "));
}

TYPED_TEST(heads, of_another_generation_are_refused)
{
    this->add_trace("A");
    this->set_records();
    auto& event = this->access_;
    const std::string block =
        capture([&] {
            if constexpr (TypeParam::is_2024) {
                EXPECT_EQ(event.GetServBlockInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
            } else {
                EXPECT_EQ(event.GetServBlockInfo_2024(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                          -1);
            }
        }).err;
    EXPECT_THAT(block, HasSubstr(": wrong Status= 1 SrvbHeader "));
    const std::string info =
        capture([&] {
            if constexpr (TypeParam::is_2024) {
                EXPECT_EQ(event.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
            } else {
                EXPECT_EQ(event.GetEventInfo_2024(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
            }
        }).err;
    EXPECT_THAT(info, HasSubstr(": wrong Status= 1 EventHeader "));
}

// --- the header that stands for the event ---------------------------------------------------------------

TYPED_TEST(heads, event_info_gives_all_values_and_any_may_be_null)
{
    this->add_trace("A", 9);
    const event_info info = this->representative();
    EXPECT_EQ(info.number, 9U);
    EXPECT_EQ(info.type, TROX_EV_NORMAL);
    EXPECT_EQ(info.length, 1000U);
    EXPECT_EQ(info.seconds, 1339666200U);
    EXPECT_EQ(info.microseconds, 250000U);
    EXPECT_EQ(info.status, 3);
    EXPECT_EQ(info.servers, 2);
    if constexpr (TypeParam::is_2024) {
        EXPECT_EQ(this->access_.GetEventInfo_2024(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    } else {
        EXPECT_EQ(this->access_.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    }
}

TYPED_TEST(heads, a_machine_event_stands_before_updates)
{
    this->add_update("SLOW", 1.0F, 5);
    this->add_trace("FAST.0", 7);
    this->add_trace("FAST.1", 9);
    this->set_records();
    this->access_.SetChan(2);
    event_info info;
    ASSERT_EQ(read_info<TypeParam>(this->access_, info), 0);
    EXPECT_EQ(info.number, 7U) << "the first machine event, though another one has a higher number";
    EXPECT_EQ(info.type, TROX_EV_NORMAL);
    EXPECT_EQ(this->access_.GetChanNumb(), 2) << "the selected channel stays";
    EXPECT_EQ(this->selected_name(), "FAST.1");
}

TYPED_TEST(heads, an_update_of_a_higher_number_hides_machine_events_behind_it)
{
    this->add_update("SLOW", 1.0F, 8);
    this->add_trace("FAST.0", 7);
    this->add_trace("FAST.1", 8);
    const event_info info = this->representative();
    EXPECT_EQ(info.number, 8U);
    EXPECT_EQ(info.type, TROX_EV_UPD);
}

TYPED_TEST(heads, of_updates_alone_the_highest_number_stands)
{
    this->add_update("SLOW.0", 1.0F, 5);
    this->add_update("SLOW.1", 1.0F, 8);
    this->add_update("SLOW.2", 1.0F, 6);
    EXPECT_EQ(this->representative().number, 8U);
}

TYPED_TEST(heads, number_0_counts_when_it_has_a_time)
{
    this->add_unnumbered_update(0);
    this->add_unnumbered_update(44);
    this->add_unnumbered_update(55);
    EXPECT_EQ(this->representative().seconds, 55U) << "the last one with a time";
    this->add_trace("FAST.0", 0).header.event_time = {66, 0};
    this->add_trace("FAST.1", 7);
    const event_info info = this->representative();
    EXPECT_EQ(info.seconds, 66U) << "a machine event ends the search, also without a number";
    EXPECT_EQ(info.type, TROX_EV_NORMAL);
}

TYPED_TEST(heads, number_0_does_not_count_behind_another_number)
{
    this->add_update("SLOW.0", 1.0F, 3);
    this->add_unnumbered_update(55);
    EXPECT_EQ(this->representative().number, 3U);
}

TYPED_TEST(heads, number_0_without_time_stands_for_nothing)
{
    this->add_unnumbered_update(0);
    this->add_trace("FAST.0", 0).header.event_time = {0, 999};
    this->set_records();
    this->access_.SetChan(1);
    event_info info;
    EXPECT_EQ(read_info<TypeParam>(this->access_, info), -1);
    EXPECT_EQ(this->access_.GetChanNumb(), 1);
}

TYPED_TEST(heads, a_record_that_cannot_be_selected_ends_the_search)
{
    this->add_update("SLOW.0", 1.0F, 3);
    this->records_.push_back(nullptr);
    this->add_trace("FAST.0", 9);
    this->set_records();
    event_info info;
    EXPECT_THAT(capture([&] { EXPECT_EQ(read_info<TypeParam>(this->access_, info), -1); }).err,
                HasSubstr("trox_daq_getdata::" + std::string(this->info_name) + ": failed to SetHead() for  1\n"));
    EXPECT_EQ(this->access_.GetChanNumb(), 0);
    EXPECT_EQ(this->selected_name(), "SLOW.0");
}

TYPED_TEST(heads, a_failing_search_leaves_a_later_record_selected)
{
    this->add_update("SLOW.0", 1.0F, 3);
    this->records_.push_back(nullptr);
    this->add_trace("FAST.0", 9);
    this->set_records();
    ASSERT_EQ(this->access_.SetChan(2), 3);
    event_info info;
    capture([&] { EXPECT_EQ(read_info<TypeParam>(this->access_, info), -1); });
    EXPECT_EQ(this->access_.GetChanNumb(), 2);
    EXPECT_EQ(this->selected_name(), "FAST.0");
    EXPECT_EQ(this->access_.GetPropType(), 3);
    EXPECT_EQ(this->access_.GetChanType(), 1);
    EXPECT_EQ(this->access_.GetSpectVal(0, 0), 1.5F);
}

TYPED_TEST(heads, the_search_selects_nothing_else_and_tells_nothing_twice)
{
    this->add_update("SLOW.0", 1.0F, 3);
    this->add_trace("ODD", 9).header.event_type = 99;
    capture([&] {
        this->set_records();
        this->access_.SetChan(1);
    });
    event_info info;
    EXPECT_EQ(capture([&] { EXPECT_EQ(read_info<TypeParam>(this->access_, info), 0); }).err,
              "SetHead() unknown event structure\n");
    EXPECT_EQ(info.number, 9U);
    EXPECT_EQ(this->access_.GetChanType(), 2) << "as before, from the slow record";
    EXPECT_EQ(this->selected_name(), "ODD");
}

TYPED_TEST(heads, a_search_in_a_list_that_shrank_throws_and_leaves_the_selected_record)
{
    this->add_update("SLOW.0", 1.0F, 3);
    this->add_update("SLOW.1", 1.0F, 4);
    this->set_records();
    this->access_.SetChan(1);
    this->records_.pop_back();
    event_info info;
    EXPECT_THROW(read_info<TypeParam>(this->access_, info), std::out_of_range);
    EXPECT_EQ(this->access_.GetChanNumb(), 1);
    EXPECT_EQ(this->selected_name(), "SLOW.1");
}
