// What channel readers print about themselves.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

using namespace trox_test;

namespace
{

template <class T> class channel_printing : public ::testing::Test
{
protected:
    static scenario_options<T> two_events()
    {
        scenario_options<T> options;
        options.events = 2;
        return options;
    }
    /// Lines that begin a record: number and time.
    static constexpr const char* record_lines[] = {"\n101 1000:0\n", "\n102 1000:200000\n"};

    void expect_dump(const std::string& printed, const std::string& begin, const std::string& end,
                     const std::string& content)
    {
        EXPECT_EQ(printed.rfind(begin, 0), 0U) << printed;
        ASSERT_GE(printed.size(), end.size());
        EXPECT_EQ(printed.substr(printed.size() - end.size()), end);
        for (const char* line : record_lines) {
            EXPECT_THAT(printed, ::testing::HasSubstr(line));
        }
        EXPECT_THAT(printed, ::testing::HasSubstr(content));
    }

    scenario_file<T> scenario_{two_events()};
};
TYPED_TEST_SUITE(channel_printing, channel_generations);

/// The dumps of all records, which legacy readers do not make.
template <class T> class channel_dumping : public channel_printing<T>
{
};
TYPED_TEST_SUITE(channel_dumping, channel_generations_since_2010);

/// Sets the time zone as long as it lives.
class time_zone
{
public:
    explicit time_zone(const char* name) : kept_(std::getenv("TZ") != nullptr ? std::getenv("TZ") : "")
    {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    ~time_zone()
    {
        kept_.empty() ? ::unsetenv("TZ") : ::setenv("TZ", kept_.c_str(), 1);
        ::tzset();
    }

private:
    std::string kept_;
};

} // namespace

TYPED_TEST(channel_printing, of_time_limits_gives_numbers_and_local_times)
{
    const time_zone zone("UTC-1");
    open_channel<TypeParam> whole(this->scenario_.path(), "TEST/PLAIN");
    EXPECT_EQ(capture([&] { whole.reader.print_time_limits(); }).out,
              "TEST/PLAIN First:  EventID: 101 Time: Thu Jan  1 01:16:40 1970 : 0\n"
              "TEST/PLAIN Last :  EventID: 102 Time: Thu Jan  1 01:16:40 1970 : 200000\n");
    open_channel<TypeParam> member(this->scenario_.path(), "TEST/MEMBERS", 2);
    EXPECT_EQ(capture([&] { member.reader.print_time_limits(); }).out,
              "TEST/MEMBERS:2 First:  EventID: 101 Time: Thu Jan  1 01:16:40 1970 : 0\n"
              "TEST/MEMBERS:2 Last :  EventID: 102 Time: Thu Jan  1 01:16:40 1970 : 200000\n");
}

TYPED_TEST(channel_printing, of_time_limits_says_where_they_are_not_known)
{
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader whole(&loader, "TEST/PLAIN", -1, nullptr);
    EXPECT_EQ(capture([&] { whole.print_time_limits(); }).out,
              "TEST/PLAIN First:  Unknown\nTEST/PLAIN Last :  Unknown\n");
    typename TypeParam::reader member(&loader, "TEST/PLAIN", 0, nullptr);
    EXPECT_EQ(capture([&] { member.print_time_limits(); }).out,
              "TEST/PLAIN:0 First:  Unknown\nTEST/PLAIN:0 Last :  Unknown\n");
}

TYPED_TEST(channel_printing, of_records_needs_a_started_reader)
{
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&loader, "TEST/PLAIN", -1, nullptr);
    const auto print_all = [&] {
        reader.print_cdt_entry();
        reader.print_event_chan_pointers_entry();
        if constexpr (TypeParam::dumps_records) {
            reader.print_event_headers();
            reader.print_server_block_headers();
            reader.print_channel_headers();
            reader.print_channel();
        }
    };
    EXPECT_EQ(capture(print_all).out, "");
    ASSERT_TRUE(start_and_wait(reader));
    EXPECT_NE(capture(print_all).out, "");
    reader.clean();
    EXPECT_EQ(capture(print_all).out, "");
}

TYPED_TEST(channel_printing, of_the_dictionary_entry_shows_name_and_count)
{
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN");
    const std::string printed = capture([&] { open.reader.print_cdt_entry(); }).out;
    EXPECT_THAT(printed, ::testing::HasSubstr("TEST/PLAIN"));
    EXPECT_THAT(printed, ::testing::HasSubstr("count"));
}

TYPED_TEST(channel_printing, of_the_pointers_shows_every_row_of_the_channel)
{
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN");
    const std::string printed = capture([&] { open.reader.print_event_chan_pointers_entry(); }).out;
    for (const std::size_t i : {std::size_t{0}, std::size_t{1}}) {
        EXPECT_THAT(printed, ::testing::HasSubstr(std::to_string(this->scenario_.file().row(plain_channel, i).chhd)));
    }
    EXPECT_THAT(printed,
                ::testing::Not(::testing::HasSubstr(std::to_string(this->scenario_.file().row(zlib_channel, 0).chhd))));
}

TYPED_TEST(channel_dumping, of_heads_and_data_stands_between_its_headlines)
{
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN");
    auto& reader = open.reader;
    this->expect_dump(capture([&] { reader.print_event_headers(); }).out, "=================EVENT HEADERS======\n",
                      "==========END=OF=EVENT=HEADERS=======\n", "num_svr_block");
    this->expect_dump(capture([&] { reader.print_server_block_headers(); }).out, "=================SB HEADERS======\n",
                      "==========END=OF=SB=HEADERS=======\n", "TEST.SVR");
    this->expect_dump(capture([&] { reader.print_channel_headers(); }).out, "=================CHANNEL HEADERS======\n",
                      "==========END=OF=CHANNEL=HEADERS=======\n", "TEST/PLAIN");
    this->expect_dump(capture([&] { reader.print_channel(); }).out, "=================CHANNEL======\n",
                      "==========END=OF=CHANNEL========\n", "TEST/PLAIN");
}

TYPED_TEST(channel_dumping, of_a_block_that_did_not_convert_gives_its_event_only)
{
    auto& file = this->scenario_.file();
    file.put(file.row(zlib_channel, 1).chhd + offsetof(typename TypeParam::subhead, dtype), 55);
    this->scenario_.rewrite();
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/ZLIB");
    const std::string printed = capture([&] { open.reader.print_channel_headers(); }).out;
    EXPECT_THAT(printed, ::testing::EndsWith("\n102 1000:200000\n==========END=OF=CHANNEL=HEADERS=======\n"));
}
