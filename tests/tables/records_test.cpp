// What the records of the channel-reading layer promise to their users beside their layout.
#include "event.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <new>

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

TEST(data_formats, have_the_numbers_that_catalogue_lookups_take)
{
    EXPECT_EQ(TROX_DAQ_DATA_ROOT_FORMAT, 0);
    EXPECT_EQ(TROX_DAQ_DATA_RAW_FORMAT, 1);
    EXPECT_EQ(TROX_DAQ_DATA_BOTH_FORMAT, 2);
    EXPECT_EQ(TROX_DAQ_DATA_RAW64_FORMAT, 3);
    EXPECT_EQ(TROX_DAQ_DATA_FORMAT_MAX, 4);
}

TEST(event_structures, have_the_numbers_that_programs_compare_with)
{
    EXPECT_EQ(TROX_EV_STRUCT_UNKNOWN, 0);
    EXPECT_EQ(TROX_EV_STRUCT_LOCAL, 1);
    EXPECT_EQ(TROX_EV_STRUCT_GLOBAL, 2);
    EXPECT_EQ(TROX_EV_STRUCT_ML, 3);
    EXPECT_EQ(TROX_EV_STRUCT_UNDEF, 4);
}

TEST(error_bits, are_bits_0_to_26_in_this_order_and_30)
{
    const unsigned in_order[] = {
        TROX_SB_ERR_NOT_COLLECTED,
        TROX_SB_ERR_OUT_MEMORY_SRV,
        TROX_SB_ERR_OUT_MEMORY_COL,
        TROX_SB_ERR_NO_DMA,
        TROX_SB_ERR_NO_SERVER,
        TROX_SB_ERR_OLD_DATA,
        TROX_SB_ERR_NO_FIRST,
        TROX_SB_ERR_NOT_ASSM,
        TROX_CH_ERR_EVB_DATA,
        TROX_EP_ERR_EVB_SBLK,
        TROX_SB_ERR_ML_SKIPPED,
        TROX_SB_ERR_ML_NOOUT,
        TROX_FE_ADC_OVERLOAD,
        TROX_FE_OUTSIDE_SL,
        TROX_FE_OUTSIDE_LR,
        TROX_FE_CONF,
        TROX_FE_INT_ERR,
        TROX_FE_TIME_INV,
        TROX_FE_EVID_INV,
        TROX_FE_DTYPE_INV,
        TROX_FE_MODE_NOTSUP,
        TROX_FE_SPECT_PARAM_INCONSIST,
        TROX_FE_NO_DATA,
        TROX_FE_DAQ_PARAM_INV,
        TROX_FE_DAQ_DISABLED,
        TROX_FE_DAQ_BUF_SKIPPED,
        TROX_SD_ERR_NOT_ASSM,
    };
    unsigned bit = 1;
    for (const unsigned error : in_order) {
        EXPECT_EQ(error, bit);
        bit <<= 1;
    }
    EXPECT_EQ(bit, 1U << 27);
    EXPECT_EQ(TROX_SB_ERR_OK, 0U);
    EXPECT_EQ(TROX_CHAN_ZIP_FLAG, 1U << 30);
}

template <class T> class requests : public ::testing::Test
{
};
using request_types = ::testing::Types<trox_daq_request, trox_daq_request_2024>;
TYPED_TEST_SUITE(requests, request_types);

TYPED_TEST(requests, are_made_empty_and_zero_wherever_they_lie)
{
    alignas(TypeParam) unsigned char place[sizeof(TypeParam)];
    std::fill(std::begin(place), std::end(place), static_cast<unsigned char>(0xA5));
    auto* const request = new (place) TypeParam;
    for (const auto& id : {request->start_time, request->stop_time, request->period}) {
        EXPECT_EQ(id.event_number, 0U);
        EXPECT_EQ(id.time.timeup, 0U);
        EXPECT_EQ(id.time.timelow, 0U);
    }
    EXPECT_EQ(request->run_first, 0);
    EXPECT_EQ(request->run_last, 0);
    const auto is_zero = [](char c) { return c == '\0'; };
    EXPECT_TRUE(std::all_of(std::begin(request->exp_name), std::end(request->exp_name), is_zero));
    EXPECT_TRUE(std::all_of(std::begin(request->stream_name), std::end(request->stream_name), is_zero));
    EXPECT_EQ(request->cdir, "");
    EXPECT_EQ(request->ddir, "");
    EXPECT_EQ(request->time_diff.timeup, 0U);
    EXPECT_EQ(request->time_diff.timelow, 0U);
    EXPECT_EQ(request->synch_mode, TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    request->~TypeParam();
}
