// Compressed slow records carry name or index of their channel, as plain ones do.
#include "doctor.h"
#include "temp_directory.h"
#include "trox_writer.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace
{

namespace ti = trox::inspect;
namespace tw = trox::writer;

class compressed_values : public testing::TestWithParam<tw::generation>
{
protected:
    // Findings of a code in a file of one slow channel and one environment channel, both compressed.
    std::uint64_t count(const std::string& name, std::int32_t index, ti::finding_code code)
    {
        const auto path = directory_.file("values.raw");
        const time_stamp time{1700000000, 5};
        tw::file_options options;
        options.replace_existing = true;
        tw::file_writer file(path, GetParam(), options);
        const auto slow = file.add_channel("T/SLOW", tw::storage::zlib);
        tw::channel_settings settings;
        settings.name = "T/ENV";
        settings.key = 77;
        settings.environment_index = 3;
        settings.stored = tw::storage::zlib;
        const auto environment = file.add_channel(settings);
        file.begin_event({1, time, TROX_EV_UPD});
        file.begin_server_block({"SLOW", {}, {}, 0, 0});
        file.add_record(slow, tw::update_payload(GetParam(), name, 1, time));
        file.end_event();
        file.begin_event({2, time, TROX_EV_ENV});
        file.begin_server_block({"SLOW", {}, {}, 0, 0});
        file.add_record(environment, tw::environment_payload(index, 1, time));
        file.end_event();
        file.finish();
        const auto checked = ti::check_file(path);
        const auto known = std::find_if(checked.counts.begin(), checked.counts.end(),
                                        [&](const ti::code_count& one) { return one.code == code; });
        return known == checked.counts.end() ? 0 : known->count;
    }

private:
    trox_test::temp_directory directory_;
};

TEST_P(compressed_values, that_are_those_of_their_channel_are_sound)
{
    EXPECT_EQ(count("T/SLOW", 3, ti::finding_code::record_value_name), 0U);
    EXPECT_EQ(count("T/SLOW", 3, ti::finding_code::record_value_index), 0U);
}

TEST_P(compressed_values, of_another_channel_are_found)
{
    EXPECT_EQ(count("T/SLAW", 3, ti::finding_code::record_value_name), 1U);
    EXPECT_EQ(count("T/SLOW", 4, ti::finding_code::record_value_index), 1U);
}

INSTANTIATE_TEST_SUITE_P(generations, compressed_values,
                         testing::Values(tw::generation::legacy, tw::generation::v2010, tw::generation::v2024));

} // namespace
