// Time stamps from calendar dates, and the files of a period.
#include "captured_output.h"
#include "trox_daq_data.h"

#include <climits>
#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

using trox_test::capture;

namespace
{

/// A time zone of this process, UTC again at its end.
class time_zone
{
public:
    explicit time_zone(const char* name)
    {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    time_zone(const time_zone&) = delete;
    time_zone& operator=(const time_zone&) = delete;
    ~time_zone()
    {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
};

} // namespace

TEST(daq_time, counts_from_the_epoch_in_local_time)
{
    {
        const time_zone utc("UTC");
        long seconds = -1;
        EXPECT_EQ(capture([&] { seconds = trox_daq_time(1970, 1, 1, 0, 0, 0); }).out,
                  "trox_daq_time: Thu Jan  1 00:00:00 1970\n\n");
        EXPECT_EQ(seconds, 0);
        EXPECT_EQ(trox_daq_time(2012, 6, 14, 9, 30, 0), 1339666200);
    }
    const time_zone hamburg("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(trox_daq_time(1970, 1, 1, 0, 0, 0), -3600);
    EXPECT_EQ(trox_daq_time(2012, 6, 14, 11, 30, 0), 1339666200) << "the system decides about daylight saving";
}

TEST(daq_time, survives_years_that_no_clock_knows)
{
    for (const int year : {INT_MIN, INT_MAX, -10000, 100000}) {
        EXPECT_THAT(capture([&] { trox_daq_time(year, INT_MIN, INT_MAX, INT_MIN, INT_MAX, 0); }).out,
                    ::testing::StartsWith("trox_daq_time: "));
    }
}

TEST(file_list, reports_the_request_and_the_answer)
{
    char dir[] = "/some/where";
    char exp[] = "linac";
    int status = -1;
    const auto printed = capture([&] { status = GetFileList(dir, exp, 1339666200, 1339666300); });
    EXPECT_THAT(printed.out, ::testing::MatchesRegex("GetFileList: dir /some/where exp linac start 1339666200 end "
                                                     "1339666300\nTROX_DAQ_DATA_RAW_FORMAT= 1\nret= -?[0-9]+\n"));
    EXPECT_EQ(status, 0);
    EXPECT_THAT(capture([&] { GetFileList(nullptr, exp, 0, 0); }).out,
                ::testing::StartsWith("GetFileList: dir  exp linac start 0 end 0\n"));
}

TEST(file_list, throws_for_a_null_experiment)
{
    char dir[] = "/some/where";
    EXPECT_THROW(GetFileList(dir, nullptr, 0, 0), std::logic_error);
}
