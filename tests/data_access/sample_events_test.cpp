// Event headers and channels of the sample runs' events.
#include "sample_run.h"

#include <gtest/gtest.h>

using namespace trox_test;

template <class T> class sample_events : public ::testing::Test
{
protected:
    /// Number, second and microsecond of the header that stands for the event.
    static nlohmann::json identity(trox_daq_getdata& event)
    {
        unsigned seconds = 0;
        unsigned microseconds = 0;
        unsigned long number = 0;
        if constexpr (T::is_2024) {
            EXPECT_EQ(event.GetEventInfo_2024(&number, nullptr, nullptr, &seconds, &microseconds, nullptr, nullptr), 0);
        } else {
            unsigned short_number = 0;
            EXPECT_EQ(event.GetEventInfo(&short_number, nullptr, nullptr, &seconds, &microseconds, nullptr, nullptr),
                      0);
            number = short_number;
        }
        return nlohmann::json::array({number, seconds, microseconds});
    }
    /// Compares every event of a list: its identity, and the classes of its channels.
    void expect_events(const std::string& list)
    {
        const nlohmann::json expected = expected_events<T>(list);
        sample_run<T> run(expected);
        trox_daq_getdata event(T::is_2024);
        std::size_t i = 0;
        for (; run.next(event); ++i) {
            const auto& line = expected.at("events").at(i);
            ASSERT_EQ(identity(event), nlohmann::json::array({line.at(0), line.at(1), line.at(2)})) << "event " << i;
            int slow = 0;
            int images = 0;
            for (const auto& entry : line.at(3)) {
                const auto& channel = expected.at("channels").at(entry.at(0).get<std::size_t>());
                const int type = channel.at("records").at(entry.at(1).get<std::size_t>()).at(5);
                slow += type == T::update_type ? 1 : 0;
                images += type == TROX_BLOCK_IMAGE || type == TROX_BLOCK_IMAGE_EXT ? 1 : 0;
            }
            const int channels = static_cast<int>(line.at(3).size());
            ASSERT_EQ(event.GetNchan(), channels);
            ASSERT_EQ(event.Get_NSlow(), slow) << "event " << i;
            ASSERT_EQ(event.Get_NImage(), images) << "event " << i;
            ASSERT_EQ(event.Get_NFast(), channels - slow - images) << "event " << i;
        }
        EXPECT_EQ(i, expected.at("events").size());
    }
};
TYPED_TEST_SUITE(sample_events, all_samples, access_names);

TYPED_TEST(sample_events, of_all_channels)
{
    this->expect_events("evid_all");
}

TYPED_TEST(sample_events, of_slow_channels_alone)
{
    this->expect_events("evid_slow_only");
}

TYPED_TEST(sample_events, of_slow_channels_and_a_slow_trace)
{
    this->expect_events("evid_tenth_and_slow");
}

TYPED_TEST(sample_events, channels_are_found_by_name_in_every_event)
{
    const nlohmann::json expected = expected_events<TypeParam>("evid_all");
    sample_run<TypeParam> run(expected);
    trox_daq_getdata event(TypeParam::is_2024);
    for (const auto& line : expected.at("events")) {
        ASSERT_TRUE(run.next(event));
        int index = 0;
        for (const auto& entry : line.at(3)) {
            const std::string name = expected.at("channels").at(entry.at(0).get<std::size_t>()).at("name");
            ASSERT_GT(event.SetProp(name.c_str()), 0) << name;
            ASSERT_EQ(event.GetChanNumb(), index++) << name;
            ASSERT_STREQ(event.GetPropName(), name.c_str());
        }
    }
}
