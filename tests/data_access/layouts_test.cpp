// Which layout a record is taken for: by the accessor's flag, and by the event header's pattern.
#include "typed_records.h"

using namespace trox_test;
using ::testing::HasSubstr;

TEST(selection_by_flag, records_of_2024_are_asked_for_after_the_flag_is_set)
{
    typed_record<access_2010> older("FAST", TROX_BLOCK_1CHAN_2010, spectrum<access_2010>(1, 1, {1.0F}));
    typed_record<access_2024> younger("FAST", TROX_BLOCK_1CHAN_2010, spectrum<access_2024>(1, 1, {2.0F}));
    std::vector<trox_channel_entry_long*> older_records{&older.record};
    std::vector<trox_channel_entry_long_2024*> younger_records{&younger.record};
    trox_daq_getdata event(false);
    ASSERT_EQ(event.SetRes(&older_records), 1);
    event.set_data_2024(true);
    EXPECT_THAT(capture([&] { EXPECT_EQ(event.SetChan(0), -1); }).err, HasSubstr(" Res2024= (nil) Nchan= 1\n"));
    EXPECT_EQ(event.GetSpectVal(0, 0), 1.0F) << "the record selected before";
    EXPECT_THAT(capture([&] {
                    EXPECT_EQ(event.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
                }).err,
                ::testing::StartsWith("trox_daq_getdata::GetEventInfo: wrong Status= 1 EventHeader "));
    ASSERT_EQ(event.SetRes_2024(&younger_records), 1);
    EXPECT_EQ(event.GetSpectVal(0, 0), 2.0F);
    EXPECT_EQ(event.GetEventHead(), nullptr);
    event.set_data_2024(false);
    EXPECT_EQ(event.SetChan(0), 3);
    EXPECT_EQ(event.GetSpectVal(0, 0), 1.0F);
    EXPECT_EQ(event.GetEventHead_2024(), nullptr);
}

TEST(selection_by_pattern, a_2024_record_is_never_taken_for_a_legacy_one)
{
    typed_record<access_2024> image_record("IMAGE", TROX_BLOCK_IMAGE, image(1, 1, 1, 1, {7}), TROX_EV_IMAGE);
    image_record.header.pattern = access_legacy::pattern;
    std::vector<trox_channel_entry_long_2024*> records{&image_record.record};
    trox_daq_getdata event(true);
    ASSERT_EQ(event.SetRes_2024(&records), 1);
    EXPECT_EQ(event.GetPropType(), 4);
    EXPECT_EQ(event.Get_NImage(), 1);
}

TEST(selection_by_pattern, the_event_header_tells_legacy_from_2010_records)
{
    typed_record<access_legacy> older("OLD", TROX_BLOCK_SINGLE, spectrum<access_legacy>(1, 1, {1.0F}));
    typed_record<access_2010> younger("NEW", TROX_BLOCK_1CHAN_2010, spectrum<access_2010>(1, 1, {2.0F}));
    younger.header.pattern = 0; // any pattern but the legacy one
    std::vector<trox_channel_entry_long*> records{&older.record, &younger.record};
    trox_daq_getdata event(false);
    ASSERT_EQ(event.SetRes(&records), 2);
    EXPECT_EQ(event.GetChanHead(), &older.head());
    EXPECT_EQ(event.GetServBlockHead(), &older.block);
    EXPECT_EQ(event.GetChanHead_2010(), nullptr);
    EXPECT_EQ(event.GetServBlockHead_2010(), nullptr);
    EXPECT_EQ(event.GetSpectVal(0, 0), 1.0F);
    ASSERT_EQ(event.SetNextChan(), 3);
    EXPECT_EQ(event.GetChanHead(), nullptr);
    EXPECT_EQ(event.GetServBlockHead(), nullptr);
    EXPECT_EQ(event.GetChanHead_2010(), &younger.head());
    EXPECT_EQ(event.GetServBlockHead_2010(), &younger.block);
    EXPECT_EQ(event.GetEventHead(), &younger.header);
    EXPECT_EQ(event.GetSpectVal(0, 0), 2.0F);
}
