// Matching by time of data of other rates than ten events a second.
#include "layer/small_file.h"
#include "run_trox.h"
#include "temp_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

namespace
{

using testing::HasSubstr;
using trox_test::run_trox;

/// `T/A` in each of 200 events, `T/B` in every second one, at the same times, `step` apart.
std::string write_run(const std::string& path, trox::microseconds step, trox::writer::generation format)
{
    layer_test::small_file file(path, format);
    for (std::uint64_t i = 0; i < 200; ++i) {
        const auto time = layer_test::tenth(0) + step * static_cast<std::int64_t>(i);
        if (i % 2 == 0) {
            file.machine(i + 1, time, {{"T/A", 1.0F}, {"T/B", 1.0F}});
        } else {
            file.machine(i + 1, time, {{"T/A", 1.0F}});
        }
    }
    return file.finish();
}

class rates : public testing::TestWithParam<int>
{
protected:
    trox::microseconds step() const
    {
        return trox::microseconds(std::int64_t{1000} * GetParam());
    }

    trox_test::temp_directory directory_;
};

TEST_P(rates, set_the_distance_of_events_by_time)
{
    for (const auto format : layer_test::all_formats) {
        const std::string path = write_run(directory_.file("a.raw"), step(), format);
        for (const char* const how : {"--by-time", "--by-time=1ms"}) {
            const auto result = run_trox({"sync", path, how, "--json"});
            ASSERT_EQ(result.code, 0) << result.err;
            EXPECT_EQ(result.err, "");
            const auto told = result.json();
            EXPECT_EQ(told.at("summary").at("events"), 200) << how;
            std::map<std::string, std::pair<int, int>> counts;
            for (const auto& channel : told.at("channels")) {
                counts[channel.at("channel")] = {channel.at("present"), channel.at("missing")};
                EXPECT_EQ(channel.at("unmatched"), 0);
            }
            EXPECT_EQ(counts["T/A"], std::pair(200, 0)) << how;
            EXPECT_EQ(counts["T/B"], std::pair(100, 100)) << how;
        }
        std::filesystem::remove(path);
    }
}

TEST_P(rates, limit_the_tolerance)
{
    const std::string path = write_run(directory_.file("a.raw"), step(), trox::writer::generation::v2010);
    const std::string milliseconds = std::to_string(GetParam());
    const auto result = run_trox({"sync", path, "--by-time=" + milliseconds + "ms"});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("the tolerance must be smaller than the distance of events, " + milliseconds));
    EXPECT_EQ(run_trox({"sync", path, "--by-time=" + milliseconds + "ms", "--step", "10s"}).code, 0);
}

INSTANTIATE_TEST_SUITE_P(milliseconds, rates, testing::Values(10, 20, 200, 999));

TEST(a_step, that_is_too_long_passes_over_events_and_is_told)
{
    const trox_test::temp_directory directory;
    // Without the later generations' look at the numbers: one event in ten.
    const auto path = write_run(directory.file("a.raw"), trox::microseconds(10000), trox::writer::generation::legacy);
    const auto result = run_trox({"sync", path, "--by-time=2ms", "--step", "100ms", "--json"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.json().at("summary").at("events"), 20);
    EXPECT_EQ(result.json().at("channels")[0].at("unmatched"), 180);
    EXPECT_EQ(result.json().at("channels")[1].at("unmatched"), 80);
    EXPECT_EQ(result.err,
              "trox: sync: 260 records became part of no event: of several that match the same event one is "
              "taken, and by time those between two steps are passed over\n");
}

TEST(a_step, makes_no_sense_by_number_or_without_length)
{
    EXPECT_EQ(run_trox({"sync", "data_2010", "--step", "100ms"}).code, 2);
    EXPECT_EQ(run_trox({"sync", "data_2010", "--by-time", "--step", "0"}).code, 2);
    EXPECT_EQ(run_trox({"sync", "data_2010", "--by-time", "--step", "soon"}).code, 2);
}

} // namespace
