// What the records of the channel-reading layer promise to their users beside their layout.
#include "event.h"

#include <gtest/gtest.h>

TEST(time_stamps, carry_into_the_seconds_when_the_microseconds_reach_a_million)
{
    const time_stamp sum = time_stamp{7, 999999} + time_stamp{0, 1};
    EXPECT_EQ(sum.timeup, 8U);
    EXPECT_EQ(sum.timelow, 0U);
}

TEST(time_stamps, do_not_carry_below_a_million)
{
    const time_stamp sum = time_stamp{7, 499999} + time_stamp{2, 500000};
    EXPECT_EQ(sum.timeup, 9U);
    EXPECT_EQ(sum.timelow, 999999U);
}

TEST(status_codes, of_reader_slicer_and_channel_have_one_value_per_meaning)
{
    EXPECT_EQ(TROX_DAQ_READER_OK, 0);
    EXPECT_EQ(TROX_DAQ_READER_NO_DATA, -1);
    EXPECT_EQ(TROX_DAQ_READER_NOT_READY, -2);
    EXPECT_EQ(TROX_DAQ_READER_OUT_OF_WINDOW, -3);
    EXPECT_EQ(TROX_DAQ_READER_NOT_INIT, -4);
    EXPECT_EQ(TROX_DAQ_READER_NOT_FOUND, -5);
    EXPECT_EQ(TROX_DAQ_READER_INTERN_ERROR, -6);
    EXPECT_EQ(TROX_DAQ_READER_INV_PARAM, -7);
    EXPECT_EQ(TROX_DAQ_READER_NOT_ALLOWED, -8);
    EXPECT_EQ(TROX_DAQ_READER_BAD_FILE_FORMAT, -9);
    EXPECT_EQ(TROX_DAQ_READER_FILES_NOT_FOUND, -10); // below BAD_FILE_FORMAT, although declared above NOT_INIT
    EXPECT_EQ(TROX_DAQ_SLICER_OK, 0);
    EXPECT_EQ(TROX_DAQ_SLICER_NO_DATA, -1);
    EXPECT_EQ(TROX_DAQ_SLICER_NOT_READY, -2);
    EXPECT_EQ(TROX_DAQ_SLICER_OUT_OF_WINDOW, -3);
    EXPECT_EQ(TROX_DAQ_SLICER_NOT_INIT, -4);
    EXPECT_EQ(TROX_DAQ_SLICER_NOT_FOUND, -5);
    EXPECT_EQ(TROX_DAQ_SLICER_INTERN_ERROR, -6);
    EXPECT_EQ(TROX_DAQ_SLICER_INV_PARAM, -7);
    EXPECT_EQ(TROX_DAQ_SLICER_NOT_ALLOWED, -8);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_OK, 0);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_NO_DATA, -1);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_NOT_READY, -2);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_OUT_OF_WINDOW, -3);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_NOT_INIT, -4);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_NOT_FOUND, -5);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_INTERN_ERROR, -6);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_INV_PARAM, -7);
}

TEST(request_types, count_from_first_to_last)
{
    EXPECT_EQ(TROX_DAQ_READ_CHAN_EVENT_FIRST, -2);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_EVENT_PREV, -1);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_EVENT_CUR, 0);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_EVENT_NEXT, 1);
    EXPECT_EQ(TROX_DAQ_READ_CHAN_EVENT_LAST, 2);
}
