// What the readers of the three generations do differently.
#include "discovery_fixture.h"

#include "event_util.h"
#include "failing_calls.h"
#include "generic/data_path_list.h"

#include <cerrno>
#include <type_traits>
#include <unistd.h>

namespace
{

/// The name that the host has for a test; null: its own.
const char* host_name = nullptr;
bool host_has_no_name = false;

} // namespace

// The linker puts these in the place of gethostname and the C library's in that of the second.
extern "C" int __real_gethostname(char* name, std::size_t size);
extern "C" int __wrap_gethostname(char* name, std::size_t size)
{
    if (host_has_no_name) {
        errno = EFAULT;
        return -1;
    }
    if (host_name == nullptr) {
        return __real_gethostname(name, size);
    }
    return std::snprintf(name, size, "%s", host_name) < 0 ? -1 : 0;
}

namespace
{

using trox_test::channel_list;
using trox_test::printed_by;
using trox_test::reader_2010;
using trox_test::reader_2024;
using trox_test::reader_legacy;
using trox_test::run_file_name;
using trox_test::run_second;

// --- operations ---------------------------------------------------------------------------------------

template <class R>
concept has_time_diff_setter = requires(R reader, time_stamp* diff)
{
    reader.set_time_diff(diff);
};
template <class R>
concept has_time_diff_getter = requires(R reader)
{
    reader.get_time_diff();
};
template <class R>
concept has_time_fix_setter = requires(R reader)
{
    reader.set_by_time_fix(true);
};
template <class R>
concept has_time_fix_getter = requires(R reader)
{
    reader.is_by_time_fix();
};
template <class R>
concept has_channel_index = requires(R reader)
{
    reader.get_chan_name_map();
};
template <class R>
concept tells_any_of_these =
    has_time_diff_setter<R> || has_time_diff_getter<R> || has_time_fix_setter<R> || has_time_fix_getter<R>;
template <class R>
concept tells_all_of_these =
    has_time_diff_setter<R> && has_time_diff_getter<R> && has_time_fix_setter<R> && has_time_fix_getter<R>;

static_assert(!tells_any_of_these<trox_daq_reader>);
static_assert(tells_all_of_these<trox_daq_reader_2010>);
static_assert(tells_all_of_these<trox_daq_reader_2024>);
static_assert(!has_channel_index<trox_daq_reader>);
static_assert(!has_channel_index<trox_daq_reader_2010>);
static_assert(has_channel_index<trox_daq_reader_2024>);

// The operations that look at one channel of a file, which the legacy reader does not offer.
template <class R>
concept prints_event_headers = requires(R reader, const char* file, char* channel)
{
    reader.print_channel_event_headers(file, channel);
};
template <class R>
concept prints_server_blocks = requires(R reader, const char* file, char* channel)
{
    reader.print_channel_server_block_headers(file, channel);
};
template <class R>
concept prints_channel_heads = requires(R reader, const char* file, char* channel)
{
    reader.print_channel_channel_headers(file, channel);
};
template <class R>
concept prints_channels = requires(R reader, const char* file, char* channel)
{
    reader.print_channel_channel(file, channel);
};
static_assert(!prints_event_headers<trox_daq_reader> && !prints_server_blocks<trox_daq_reader> &&
              !prints_channel_heads<trox_daq_reader> && !prints_channels<trox_daq_reader>);
template <class R>
concept prints_all =
    prints_event_headers<R> && prints_server_blocks<R> && prints_channel_heads<R> && prints_channels<R>;
static_assert(prints_all<trox_daq_reader_2010> && prints_all<trox_daq_reader_2024>);

template <class R, class Id>
concept takes_points = requires(R reader, Id* id)
{
    reader.set_period(id);
    reader.set_start_point(id);
    reader.set_stop_point(id);
    requires std::is_same_v<decltype(reader.get_period()), Id*>;
    requires std::is_same_v<decltype(reader.get_start_point()), Id*>;
    requires std::is_same_v<decltype(reader.get_stop_point()), Id*>;
};
static_assert(takes_points<trox_daq_reader, trox_time_id> && takes_points<trox_daq_reader_2010, trox_time_id>);
static_assert(takes_points<trox_daq_reader_2024, trox_time_id_2024>);
static_assert(!takes_points<trox_daq_reader_2024, trox_time_id>);

template <class R, class Request>
concept takes_request = requires(R reader, Request* request, std::vector<daq_channel_entry*>* channels)
{
    reader.init(request, channels);
};
static_assert(takes_request<trox_daq_reader, trox_daq_request> &&
              takes_request<trox_daq_reader_2010, trox_daq_request>);
static_assert(takes_request<trox_daq_reader_2024, trox_daq_request_2024>);
static_assert(!takes_request<trox_daq_reader_2024, trox_daq_request>);

// --- data path list -----------------------------------------------------------------------------------

template <class T> class reader_on_a_host : public trox_test::reader_test<T>
{
protected:
    ~reader_on_a_host() override
    {
        host_name = nullptr;
        host_has_no_name = false;
    }
};
TYPED_TEST_SUITE(reader_on_a_host, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_on_a_host, known_by_its_name_has_its_own_path_list_but_for_the_legacy_reader)
{
    constexpr bool asks = !std::is_same_v<TypeParam, reader_legacy>;
    const std::map<const char*, const char*> lists{
        {"kimb-pc3", "/space/POOL:/daq_data/kimb"},
        {"dral", "/space/POOL:/daq_data/dral"},
        {"x.vorn.y", "/space/POOL:/daq_data/vorn/LINAC:/daq_data/vorn/LLRF:/daq_data/vorn/EXT:/daq_data/vorn/SIM:"
                     "/daq_data/vorn/USR1:/daq_data/vorn/USR1:/daq_data/vorn/LASER:/daq_data/vorn/SYNC1:"
                     "/daq_data/vorn/TEST1"}};
    for (const auto& [name, list] : lists) {
        host_name = name;
        const typename TypeParam::reader reader;
        EXPECT_EQ(reader.get_data_path_list(), asks ? list : trox_detail::built_in_data_path_list()) << name;
    }
}

TYPED_TEST(reader_on_a_host, without_a_known_name_has_the_built_in_path_list)
{
    host_name = "elsewhere";
    EXPECT_EQ(typename TypeParam::reader().get_data_path_list(), trox_detail::built_in_data_path_list());
    host_has_no_name = true;
    EXPECT_EQ(typename TypeParam::reader().get_data_path_list(), trox_detail::built_in_data_path_list());
}

TYPED_TEST(reader_on_a_host, has_the_path_list_of_the_environment)
{
    host_name = "kimb";
    this->env.set("TROX_DAQ_DATA_PATH_LIST", "/one:/two");
    EXPECT_STREQ(typename TypeParam::reader().get_data_path_list(), "/one:/two");
}

using legacy_files = trox_test::reader_test<reader_legacy>;

TEST_F(legacy_files, name_without_a_directory_is_sought_along_the_path_list_at_once)
{
    env.unset("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    env.set("TROX_DAQ_DATA_PATH_LIST", "/no/such:/usr/bin");
    trox_daq_reader reader;
    ASSERT_EQ(reader.add_file("env", true), 0);
    EXPECT_STREQ(reader.get_file_name(0), "/usr/bin/env");
    reader.clean_up();
    ASSERT_EQ(reader.add_file("env", true), 0) << "with the defaults put back, again";
    EXPECT_STREQ(reader.get_file_name(0), "/usr/bin/env");
}

TEST_F(legacy_files, name_without_a_directory_lies_in_the_data_directory_of_the_later_readers)
{
    env.set("TROX_DAQ_DATA_PATH_LIST", "/usr/bin");
    trox_daq_reader_2010 reader_of_2010;
    trox_daq_reader_2024 reader_of_2024;
    ASSERT_EQ(reader_of_2010.add_file("env", true), 0);
    ASSERT_EQ(reader_of_2024.add_file("env", true), 0);
    EXPECT_STREQ(reader_of_2010.get_file_name(0), "/daq/trox_ext/LINAC/env");
    EXPECT_STREQ(reader_of_2024.get_file_name(0), "/daq/trox_ext/LINAC/env");
}

// --- data format --------------------------------------------------------------------------------------

class data_format : public ::testing::Test
{
protected:
    data_format()
    {
        reset();
    }
    ~data_format() override
    {
        reset();
    }
    static void reset()
    {
        set_data_format_2010(false);
        set_data_format_2024(false);
    }
    /// First lines of two printers that tell the layout they assume.
    static std::string layouts()
    {
        const trox_event_chan_ptr_entry narrow{1, 2, 3, 4};
        const trox_serv_block_subhead_2010 wide{"CH", 1, 0, 268};
        const auto first_line = [](const std::string& text) { return text.substr(0, text.find('\n')); };
        return first_line(printed_by([&] { print_trox_event_chan_ptr_entry(&narrow); })) + ", " +
               first_line(printed_by([&] { print_trox_serv_block_subhead(&wide); }));
    }
};

TEST_F(data_format, is_left_alone_by_the_legacy_reader)
{
    const trox_daq_reader reader;
    EXPECT_EQ(layouts(), "layout: legacy, layout: 2010");
}

TEST_F(data_format, is_switched_to_2010_by_the_2010_reader)
{
    const trox_daq_reader_2010 reader;
    EXPECT_EQ(layouts(), "layout: 2010, layout: 2010");
    const trox_daq_reader legacy;
    EXPECT_EQ(layouts(), "layout: 2010, layout: 2010") << "not switched back";
}

TEST_F(data_format, is_switched_to_2024_by_the_2024_reader)
{
    const trox_daq_reader_2024 reader;
    EXPECT_EQ(layouts(), "layout: legacy, layout: 2024") << "independent of the 2010 switch";
}

// --- event numbers beyond 32 bits -----------------------------------------------------------------------

constexpr std::uint64_t high = std::uint64_t{1} << 40;

using discovery_2024 = trox_test::reader_discovery<reader_2024>;

TEST_F(discovery_2024, wrong_event_numbers_are_told_in_full)
{
    trox_time_id_2024 start{high + 200, {}};
    trox_time_id_2024 stop{high + 100, {}};
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
    reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.check_request(), -7); }),
              "Wrong Event IDs start:1099511627976 > stop:1099511627876\n");
    // The low 32 bits alone would be in order, and the other way round.
    start = {high + 100, {}};
    stop = {200, {}};
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.check_request(), -7); }),
              "Wrong Event IDs start:1099511627876 > stop:200\n");
    start = {200, {}};
    stop = {high + 100, {}};
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
    EXPECT_EQ(reader.check_request(), 0);
}

TEST_F(discovery_2024, request_is_copied_with_its_64_bit_numbers)
{
    write_run(dir);
    trox_test::write_run_catalogue(catalogue);
    request.start_time = {high + 1, {run_second, 5}};
    request.stop_time = {high + 2, {run_second + 2, 6}};
    request.period = {high + 3, {7, 8}};
    request.time_diff = {9, 10};
    request.synch_mode = 1;
    ASSERT_EQ(reader.init(&request, nullptr), 0);
    EXPECT_EQ(reader.get_start_point()->event_number, high + 1);
    EXPECT_EQ(reader.get_start_point()->time.timelow, 5U);
    EXPECT_EQ(reader.get_stop_point()->event_number, high + 2);
    EXPECT_EQ(reader.get_stop_point()->time.timeup, run_second + 2);
    EXPECT_EQ(reader.get_period()->event_number, high + 3);
    EXPECT_EQ(reader.get_period()->time.timelow, 8U);
    EXPECT_EQ(reader.get_time_diff()->timelow, 10U);
    EXPECT_EQ(reader.get_synch_mode(), 1);
}

TEST_F(discovery_2024, machine_clock_gives_64_bit_numbers)
{
    env.set("TROX_EVENT_CLOCK", "1000:1099511627776:10");
    trox_time_id_2024 start{0, {1001, 0}};
    trox_time_id_2024 stop{0, {1003, 0}};
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
    ASSERT_EQ(reader.check_request(), 0);
    EXPECT_EQ(reader.get_start_point()->event_number, high + 10);
    EXPECT_EQ(reader.get_stop_point()->event_number, high + 30);
}

TEST_F(discovery_2024, range_of_64_bit_numbers_bounds_the_events)
{
    // The low 32 bits of the numbers turn round between the third and the fourth event.
    const std::uint64_t first = high + 0xFFFFFFFD;
    const std::string path = dir / run_file_name(7, 1);
    trox_test::tw::file_writer file(path, trox_test::tw::generation::v2024);
    const auto channel = file.add_channel("CH");
    for (std::uint32_t i = 0; i < 8; ++i) {
        file.begin_event({first + i, {run_second, 100000 * i}});
        file.begin_server_block({"SVR"});
        file.add_record(channel, trox_test::tw::spectrum_payload(trox_test::tw::generation::v2024,
                                                                 TROX_BLOCK_1CHAN_2010, {static_cast<float>(i)}));
        file.end_event();
    }
    file.finish();
    channel_list channels{"CH"};
    ASSERT_EQ(reader.init(std::vector<std::string>{path}, channels.list()), 0);
    trox_time_id_2024 start{first + 1, {}};
    trox_time_id_2024 stop{first + 5, {}};
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
    ASSERT_EQ(reader.start(), 0);
    event records;
    for (std::uint32_t i = 1; i <= 5; ++i) {
        ASSERT_EQ(reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT), 0);
        EXPECT_EQ(records.at(0)->event_id.event_number, first + i);
        EXPECT_EQ(result_of(records[0]).evhd.event_number, first + i);
        EXPECT_EQ(value_of(records[0], 0), static_cast<float>(i));
    }
    trox_time_id_2024 target{first + 3, {}};
    ASSERT_EQ(reader.get_data(&target, &records, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
    EXPECT_EQ(records.at(0)->event_id.event_number, first + 3);
    ASSERT_EQ(reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT), 0);
    ASSERT_EQ(reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT), 0);
    EXPECT_EQ(records.at(0)->event_id.event_number, first + 5);
    EXPECT_EQ(reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT), -3);
}

// --- a text that only a failing system brings about -----------------------------------------------------

template <class T> class failing_scan : public trox_test::reader_discovery<T>
{
};
TYPED_TEST_SUITE(failing_scan, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(failing_scan, neighbour_in_a_directory_that_is_no_longer_readable_is_told)
{
    this->write_file(this->dir / run_file_name(7, 2), 1000, 1009);
    const trox_test::failing_calls system;
    // Five entries and their end are the first listing.
    system.listings.fail(7);
    this->reader.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.init(&this->request, nullptr), 0); });
    EXPECT_NE(text.find("PARTIAL FILE NAME: 'linac_main_run7_file1_'\n" + TypeParam::class_name +
                        "(): unable read the files in the directory to get the name if the very first file\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(this->reader.get_number_of_files(), 1);
}

// --- index of the channels' full names ------------------------------------------------------------------

class channel_index : public trox_test::reader_test<reader_2024>
{
protected:
    using map = std::map<std::string, int>;

    int add(const char* name)
    {
        daq_channel_entry channel{name, {}};
        return reader.add_channel(&channel);
    }
    const map& index() const
    {
        return reader.get_chan_name_map();
    }

    trox_daq_reader_2024 reader;
};

TEST_F(channel_index, holds_subchannels_by_their_full_names)
{
    EXPECT_TRUE(index().empty());
    ASSERT_EQ(add("CH:0"), 0);
    ASSERT_EQ(add("CH:1;second"), 0);
    EXPECT_EQ(index(), (map{{"CH:0", 0}, {"CH:1", 1}}));
}

TEST_F(channel_index, holds_names_alone_without_a_subchannel_and_other_negative_ones_with_their_sign)
{
    ASSERT_EQ(add("CH"), 0);
    ASSERT_EQ(add("CH:-7"), 0);
    ASSERT_EQ(add("B:-1"), 0);
    EXPECT_EQ(index(), (map{{"CH", 0}, {"CH:-7", 1}, {"B", 2}}));
}

TEST_F(channel_index, is_in_order_of_the_texts)
{
    for (const char* name : {"b", "a:10", "a:9", "a", "\xC3\xA4", "B"}) {
        ASSERT_EQ(add(name), 0);
    }
    std::vector<std::string> names;
    for (const auto& [name, at] : index()) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "a:10", "a:9", "b", "\xC3\xA4"})) << "as unsigned bytes";
}

TEST_F(channel_index, is_not_touched_by_a_duplicate_or_a_bad_channel)
{
    ASSERT_EQ(add("A"), 0);
    ASSERT_EQ(add("B"), 0);
    EXPECT_EQ(add("A;again"), 0);
    EXPECT_EQ(add("A:-1"), 0) << "the same channel";
    EXPECT_EQ(add(""), -7);
    EXPECT_EQ(reader.add_channel(nullptr), -7);
    EXPECT_EQ(index(), (map{{"A", 0}, {"B", 1}}));
}

TEST_F(channel_index, counts_as_the_number_of_channels_does)
{
    channel_list twice{"A", "A", "B"};
    ASSERT_EQ(reader.set_channels(twice.list()), 0);
    ASSERT_EQ(reader.get_number_of_channels(), 3);
    ASSERT_EQ(add("C"), 0);
    EXPECT_EQ(index(), (map{{"A", 0}, {"B", 1}, {"C", 3}})) << "the number of channels before it was added";
}

TEST_F(channel_index, closes_up_behind_a_removed_channel)
{
    for (const char* name : {"D", "C", "ABC:3", "A"}) {
        ASSERT_EQ(add(name), 0);
    }
    ASSERT_EQ(reader.rem_channel("C"), 0);
    EXPECT_EQ(index(), (map{{"D", 0}, {"ABC:3", 1}, {"A", 2}}));
    EXPECT_EQ(reader.rem_channel("C"), -5);
    EXPECT_EQ(reader.rem_channel("ABCx:3"), 0);
    EXPECT_EQ(index(), (map{{"D", 0}, {"A", 1}}));
    ASSERT_EQ(add("C"), 0);
    EXPECT_EQ(index(), (map{{"D", 0}, {"A", 1}, {"C", 2}}));
    for (const auto& [name, at] : index()) {
        EXPECT_EQ(reader.get_channel_name(at, nullptr), name);
    }
}

TEST_F(channel_index, is_emptied_by_clean_up)
{
    ASSERT_EQ(add("A"), 0);
    reader.clean_up();
    EXPECT_TRUE(index().empty());
    ASSERT_EQ(add("B"), 0);
    EXPECT_EQ(index(), (map{{"B", 0}}));
}

TEST_F(channel_index, names_the_results_that_are_delivered)
{
    const auto run = write_run(dir);
    const std::string members = trox_test::members_name;
    const std::string trace = trox_test::trace_name;
    channel_list channels(std::vector<std::string>{members + ":3", trace});
    ASSERT_EQ(reader.init(run, channels.list()), 0);
    ASSERT_EQ(reader.start(), 0);
    event records;
    ASSERT_EQ(reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT), 0);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(result_of(records[0]).full_chan_name, members + ":3");
    EXPECT_EQ(result_of(records[1]).full_chan_name, trace);
    EXPECT_EQ(index(), (map{{members + ":3", 0}, {trace, 1}}));
}

} // namespace
