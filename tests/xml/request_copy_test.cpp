// Copies of requests carry every field.
#include "trox_xml.h"

#include <cstring>
#include <gtest/gtest.h>

namespace
{

bool copy(const trox_daq_request* source, trox_daq_request* destination)
{
    return trox_copy_daq_request(source, destination);
}

bool copy(const trox_daq_request_2024* source, trox_daq_request_2024* destination)
{
    return trox_copy_daq_request_2024(source, destination);
}

template <class Request> class RequestCopy : public testing::Test
{
};
using request_types = testing::Types<trox_daq_request, trox_daq_request_2024>;
TYPED_TEST_SUITE(RequestCopy, request_types, );

TYPED_TEST(RequestCopy, CarriesEveryField)
{
    TypeParam source;
    source.start_time = {1, {2, 3}};
    source.stop_time = {4, {5, 6}};
    source.run_first = 7;
    source.run_last = 8;
    std::memset(source.exp_name, 'e', sizeof source.exp_name); // no NUL: the whole field is the name
    std::strcpy(source.stream_name, "main");
    source.cdir = std::string(300, 'c');
    source.ddir = "/d/:/e/:";
    source.time_diff = {9, 10};
    source.period = {11, {12, 13}};
    source.synch_mode = 1;

    TypeParam copied;
    copied.cdir = "old";
    ASSERT_FALSE(copy(&source, &copied));
    EXPECT_EQ(copied.start_time.event_number, 1U);
    EXPECT_EQ(copied.start_time.time.timeup, 2U);
    EXPECT_EQ(copied.start_time.time.timelow, 3U);
    EXPECT_EQ(copied.stop_time.event_number, 4U);
    EXPECT_EQ(copied.stop_time.time.timeup, 5U);
    EXPECT_EQ(copied.stop_time.time.timelow, 6U);
    EXPECT_EQ(copied.run_first, 7);
    EXPECT_EQ(copied.run_last, 8);
    EXPECT_EQ(std::string(copied.exp_name, sizeof copied.exp_name), std::string(32, 'e'));
    EXPECT_STREQ(copied.stream_name, "main");
    EXPECT_EQ(copied.cdir, std::string(300, 'c'));
    EXPECT_EQ(copied.ddir, "/d/:/e/:");
    EXPECT_EQ(copied.time_diff.timeup, 9U);
    EXPECT_EQ(copied.time_diff.timelow, 10U);
    EXPECT_EQ(copied.period.event_number, 11U);
    EXPECT_EQ(copied.period.time.timeup, 12U);
    EXPECT_EQ(copied.period.time.timelow, 13U);
    EXPECT_EQ(copied.synch_mode, 1);
}

TYPED_TEST(RequestCopy, OntoItselfChangesNothing)
{
    TypeParam request;
    request.ddir = std::string(100, 'd');
    EXPECT_FALSE(copy(&request, &request));
    EXPECT_EQ(request.ddir, std::string(100, 'd'));
}

TYPED_TEST(RequestCopy, NullArgumentsAreFailures)
{
    TypeParam request;
    TypeParam* const none = nullptr;
    EXPECT_TRUE(copy(none, &request));
    EXPECT_TRUE(copy(&request, none));
    EXPECT_TRUE(copy(none, none));
}

TEST(RequestCopy2024, KeepsAll64BitsOfAnEventNumber)
{
    trox_daq_request_2024 source;
    source.start_time.event_number = 0x1234567890ABCDEFU;
    trox_daq_request_2024 copied;
    ASSERT_FALSE(trox_copy_daq_request_2024(&source, &copied));
    EXPECT_EQ(copied.start_time.event_number, 0x1234567890ABCDEFU);
}

} // namespace
