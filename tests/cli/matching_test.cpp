// What cover, sync and stat say as JSON, compared with what the independent writer put into the sample files.
#include "run_trox.h"
#include "sample_files.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace
{

using nlohmann::json;
using trox_test::run_trox;
using trox_test::sample_generation;

struct known_channel {
    std::vector<json> records; ///< of the dumps of all files
    std::uint64_t stored = 0;  ///< bytes of its baskets
    bool is_slow = false;
};

std::map<std::string, known_channel> known_channels(sample_generation generation)
{
    std::map<std::string, known_channel> channels;
    for (const std::string& name : trox_test::sample_names(generation)) {
        const json dump = trox_test::read_dump(name);
        for (const json& channel : dump.at("channels")) {
            known_channel& known = channels[channel.at("name")];
            const auto& records = channel.at("records");
            known.records.insert(known.records.end(), records.begin(), records.end());
            known.stored += records.empty() ? 0 : channel.at("basket").at(1).get<std::uint64_t>();
            for (const json& record : records) {
                const std::string kind = record.at("v").at("k");
                known.is_slow = known.is_slow || kind == "upd" || kind == "env";
            }
        }
    }
    return channels;
}

std::int64_t us_of(const json& time)
{
    return time.at(0).get<std::int64_t>() * 1000000 + time.at(1).get<std::int64_t>();
}

/// Times of the machine events, which channels of every event carry.
std::map<std::uint64_t, std::int64_t> machine_times(const std::map<std::string, known_channel>& channels)
{
    std::map<std::uint64_t, std::int64_t> times;
    for (const json& record : channels.at("LINAC.RF/ADC/A07.M1/TRACE.Z").records) {
        times[record.at("ev")] = us_of(record.at("t"));
    }
    return times;
}

class matching : public testing::TestWithParam<sample_generation>
{
protected:
    static json told(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin() + 1, {trox_test::sample_directory(GetParam()), "--json"});
        const auto result = run_trox(arguments);
        EXPECT_EQ(result.code, 0) << result.err;
        return result.json();
    }
    const std::map<std::string, known_channel> known = known_channels(GetParam());
};

TEST_P(matching, cover_counts_the_records_and_finds_the_gap_of_the_middle_file)
{
    const json shown = told({"cover", "--findings", "--bins", "12"});
    ASSERT_EQ(shown.at("channels").size(), known.size());
    for (const json& channel : shown.at("channels")) {
        const std::string name = channel.at("channel");
        SCOPED_TRACE(name);
        const known_channel& expected = known.at(name);
        EXPECT_EQ(channel.at("records"), expected.records.size());
        EXPECT_EQ(channel.at("duplicates"), 0);
        std::size_t counted = 0;
        for (const json& count : channel.at("counts")) {
            counted += count.get<std::size_t>();
        }
        EXPECT_EQ(counted, expected.records.size());
        EXPECT_EQ(channel.at("gaps").is_null(), expected.is_slow);
        if (!expected.is_slow) {
            EXPECT_EQ(channel.at("gaps"), name == "LINAC.DIAG/WIRE/W2.BC2/SIGNAL" ? 1 : 0);
            EXPECT_EQ(channel.at("clock_jumps"), 0);
        }
    }
    ASSERT_EQ(shown.at("findings").size(), 1U);
    const json& gap = shown.at("findings")[0];
    const auto& wire = known.at("LINAC.DIAG/WIRE/W2.BC2/SIGNAL").records;
    EXPECT_EQ(gap.at("event"), wire.at(20).at("ev")); // 20 in the first file, none in the second
    EXPECT_EQ(gap.at("length_us"), us_of(wire.at(20).at("t")) - us_of(wire.at(19).at("t")));
}

TEST_P(matching, sync_tells_presence_and_residuals_of_each_channel)
{
    const auto machine = machine_times(known);
    const json shown = told({"sync"});
    EXPECT_EQ(shown.at("summary").at("events"), 120);
    for (const json& channel : shown.at("channels")) {
        SCOPED_TRACE(channel.at("channel").get<std::string>());
        const known_channel& expected = known.at(channel.at("channel"));
        EXPECT_EQ(channel.at("present"), expected.records.size());
        EXPECT_EQ(channel.at("present").get<int>() + channel.at("carried").get<int>() +
                      channel.at("missing").get<int>(),
                  120);
        EXPECT_EQ(channel.at("carried").get<int>() > 0, expected.is_slow);
        double sum = 0;
        double most = 0;
        for (const json& record : expected.records) {
            const auto residual = static_cast<double>(us_of(record.at("t")) - machine.at(record.at("ev")));
            sum += residual;
            most = std::max(most, residual);
        }
        EXPECT_NEAR(channel.at("mean_residual_us").get<double>(), sum / static_cast<double>(expected.records.size()),
                    1e-6);
        EXPECT_EQ(channel.at("most_residual_us").get<double>(), most);
    }
}

TEST_P(matching, stat_tells_records_and_bytes_of_each_channel)
{
    const json shown = told({"stat"});
    ASSERT_EQ(shown.at("channels").size(), known.size());
    const int subhead = GetParam() == sample_generation::legacy ? 44 : 268;
    for (const json& channel : shown.at("channels")) {
        SCOPED_TRACE(channel.at("channel").get<std::string>());
        const known_channel& expected = known.at(channel.at("channel"));
        std::uint64_t payload = 0;
        for (const json& record : expected.records) {
            payload += static_cast<std::uint64_t>(record.at("out").at("ldata").get<int>() - subhead);
        }
        EXPECT_EQ(channel.at("records"), expected.records.size());
        EXPECT_EQ(channel.at("damaged"), 0);
        EXPECT_EQ(channel.at("stored_bytes"), expected.stored);
        EXPECT_EQ(channel.at("payload_bytes"), payload);
        EXPECT_GT(channel.at("decoding_us").get<std::int64_t>(), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(samples, matching,
                         testing::Values(sample_generation::legacy, sample_generation::g2010,
                                         sample_generation::g2024));

} // namespace
