// Channels, init with a list of files, and the checking of a request.
#include "reader_fixture.h"

#include "failing_calls.h"

#include <ctime>

namespace
{

using trox_test::channel_list;
using trox_test::printed_by;
using trox_test::run_file_name;
using trox_test::run_second;

template <class T> class reader_request : public trox_test::reader_test<T>
{
protected:
    int add(const char* name, const trox_chan_prms& prms = {})
    {
        daq_channel_entry channel{name, prms};
        return reader.add_channel(&channel);
    }
    std::string channel(int i)
    {
        int subchan = 0;
        const char* name = reader.get_channel_name(i, &subchan);
        return name != nullptr ? name + (":" + std::to_string(subchan)) : "none";
    }
    void set_range(std::uint32_t start_s, std::uint32_t stop_s)
    {
        typename T::time_id start{0, {start_s, 0}};
        typename T::time_id stop{0, {stop_s, 0}};
        ASSERT_EQ(reader.set_start_point(&start), 0);
        ASSERT_EQ(reader.set_stop_point(&stop), 0);
    }
    std::vector<std::string> files() const
    {
        std::vector<std::string> list;
        for (int i = 0; i < reader.get_number_of_files(); ++i) {
            list.emplace_back(reader.get_file_name(i));
        }
        return list;
    }

    typename T::reader reader;
};
TYPED_TEST_SUITE(reader_request, trox_test::reader_types, trox_test::reader_type_names);

// --- channels -----------------------------------------------------------------------------------------

TYPED_TEST(reader_request, channel_with_subchannel_and_nickname)
{
    EXPECT_EQ(this->add("CH:3;beam", {1, 2, 3, 4, 5, 6, 7}), 0);
    EXPECT_EQ(this->channel(0), "CH:3");
    EXPECT_STREQ(this->reader.get_nickname("CH:3"), "beam");
    EXPECT_EQ(this->reader.get_channel_params("beam")->length, 3);
    EXPECT_EQ(this->reader.get_channel_params("beam")->tlength, 7.0F);
    this->reader.set_error(-1);
    EXPECT_EQ(this->add("CH:3;beam"), 0);
    EXPECT_STREQ(this->reader.get_last_error(), "No required data") << "a duplicate leaves the last error";
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(reader_request, channel_with_nickname_only)
{
    EXPECT_EQ(this->add("CH;beam"), 0);
    EXPECT_EQ(this->channel(0), "CH:-1");
    EXPECT_STREQ(this->reader.get_nickname("CH"), "beam");
    EXPECT_EQ(this->add("CH:0"), 0) << "another sub-channel is another channel";
    EXPECT_EQ(this->reader.get_number_of_channels(), 2);
}

TYPED_TEST(reader_request, subchannel_is_read_as_far_as_it_is_a_number)
{
    EXPECT_EQ(this->add("A:12x;n"), 0);
    EXPECT_EQ(this->add("B:"), 0);
    EXPECT_EQ(this->add("C:x"), 0);
    EXPECT_EQ(this->add("D:-5"), 0);
    EXPECT_EQ(this->add("E:1:2"), 0);
    EXPECT_EQ(this->add("F:99999999999"), 0);
    EXPECT_EQ(this->channel(0), "A:12");
    EXPECT_EQ(this->channel(1), "B:0");
    EXPECT_EQ(this->channel(2), "C:0");
    EXPECT_EQ(this->channel(3), "D:-5");
    EXPECT_EQ(this->channel(4), "E:1");
    EXPECT_EQ(this->channel(5), "F:2147483647");
}

TYPED_TEST(reader_request, colon_in_the_nickname_counts_as_the_first_one)
{
    EXPECT_EQ(this->add("CH;be:7"), 0);
    EXPECT_EQ(this->channel(0), "CH;be:7");
    EXPECT_STREQ(this->reader.get_nickname("CH"), "be:7");
}

TYPED_TEST(reader_request, parts_are_cut_to_their_fields)
{
    const std::string name(300, 'n');
    const std::string nickname(300, 'k');
    EXPECT_EQ(this->add((name + ";" + nickname).c_str()), 0);
    EXPECT_EQ(this->reader.get_channel_name(0, nullptr), name.substr(0, TypeParam::longest_name));
    EXPECT_EQ(this->reader.get_nickname("n"), nickname.substr(0, TypeParam::longest_name));
}

TYPED_TEST(reader_request, channels_without_name)
{
    EXPECT_EQ(this->add(nullptr), -7);
    EXPECT_EQ(this->add(""), -7);
    EXPECT_EQ(this->reader.add_channel(nullptr), -7);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
    EXPECT_EQ(this->reader.get_number_of_channels(), 0);
    EXPECT_EQ(this->add(":3"), 0);
    EXPECT_EQ(this->add(":3"), 0) << "without a name nothing is a duplicate";
    EXPECT_EQ(this->reader.get_number_of_channels(), 2);
}

TYPED_TEST(reader_request, number_of_channels_becomes_the_length_of_the_list)
{
    EXPECT_EQ(this->add("A"), 0);
    channel_list list{"B", "C", "B"};
    EXPECT_EQ(this->reader.set_channels(list.list()), 0);
    EXPECT_EQ(this->reader.get_number_of_channels(), 3);
    EXPECT_EQ(this->channel(0), "A:-1");
    EXPECT_EQ(this->channel(2), "C:-1");
    EXPECT_EQ(this->channel(3), "none");
}

TYPED_TEST(reader_request, bad_channel_ends_the_list)
{
    EXPECT_EQ(this->reader.set_channels(nullptr), -7);
    channel_list empty{};
    EXPECT_EQ(this->reader.set_channels(empty.list()), -7);
    channel_list list{"A", "", "B"};
    EXPECT_EQ(this->reader.set_channels(list.list()), -7);
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
    channel_list with_null{"C"};
    with_null.list()->push_back(nullptr);
    EXPECT_EQ(this->reader.set_channels(with_null.list()), -7);
    EXPECT_EQ(this->reader.get_number_of_channels(), 2);
    with_null.list()->pop_back();
}

TYPED_TEST(reader_request, channel_is_removed_by_name)
{
    this->add("CH");
    this->add("OTHER");
    EXPECT_EQ(this->reader.rem_channel("CH"), 0);
    EXPECT_STREQ(this->reader.get_last_error(), "OK");
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
    EXPECT_EQ(this->channel(0), "OTHER:-1");
    EXPECT_EQ(this->reader.rem_channel("CH"), -5);
    EXPECT_STREQ(this->reader.get_last_error(), "Channel not found");
}

TYPED_TEST(reader_request, name_with_subchannel_is_one_character_short)
{
    this->add("ABC:3");
    this->add("AB:3");
    EXPECT_EQ(this->reader.rem_channel("ABC:3"), 0);
    EXPECT_EQ(this->channel(0), "ABC:3") << "AB:3 is gone";
    EXPECT_EQ(this->reader.rem_channel("ABC:3"), -5);
    EXPECT_EQ(this->reader.rem_channel("ABCx:4"), -5);
    EXPECT_EQ(this->reader.rem_channel("ABCx:3"), 0);
    EXPECT_EQ(this->reader.get_number_of_channels(), 0);
}

TYPED_TEST(reader_request, nothing_is_left_of_a_name_too_short_to_remove)
{
    this->add(":3");
    EXPECT_EQ(this->reader.rem_channel(":3"), -5);
    EXPECT_EQ(this->reader.rem_channel("A:3"), -5);
    EXPECT_EQ(this->reader.rem_channel(nullptr), -7);
    EXPECT_EQ(this->reader.rem_channel(""), -7);
}

TYPED_TEST(reader_request, nickname_is_not_taken_off_when_removing)
{
    this->add("CH;beam");
    EXPECT_EQ(this->reader.rem_channel("CH;beam"), -5);
    EXPECT_EQ(this->reader.rem_channel("CH"), 0);
}

// --- init with files ----------------------------------------------------------------------------------

TYPED_TEST(reader_request, init_refuses_null_and_empty_file_lists)
{
    EXPECT_EQ(this->reader.init(static_cast<std::vector<char*>*>(nullptr), nullptr), -7);
    std::vector<char*> none;
    EXPECT_EQ(this->reader.init(&none, nullptr), -7);
    EXPECT_EQ(this->reader.init(std::vector<std::string>{}, nullptr), -7);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(reader_request, init_with_files_that_are_not_there_is_fine)
{
    this->env.unset("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    EXPECT_EQ(this->reader.init(std::vector<std::string>{"/no/such.raw", ""}, nullptr), 0);
    EXPECT_STREQ(this->reader.get_last_error(), "OK");
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(reader_request, init_takes_files_sorted_and_once)
{
    const auto run = this->write_run(this->dir);
    std::vector<std::string> given{run[2], run[0], run[1], run[0]};
    channel_list channels{trox_test::trace_name};
    EXPECT_EQ(this->reader.init(given, channels.list()), 0);
    EXPECT_EQ(this->files(), run);
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(reader_request, init_takes_zero_terminated_names)
{
    auto run = this->write_run(this->dir);
    std::vector<char*> given{run[1].data(), nullptr, run[0].data()};
    EXPECT_EQ(this->reader.init(&given, nullptr), 0);
    EXPECT_EQ(this->files(), (std::vector<std::string>{run[0], run[1]}));
    std::vector<char*> nothing{nullptr};
    typename TypeParam::reader other;
    EXPECT_EQ(other.init(&nothing, nullptr), 0);
    EXPECT_EQ(other.get_number_of_files(), 0);
}

TYPED_TEST(reader_request, init_refuses_a_bad_channel)
{
    const auto run = this->write_run(this->dir);
    channel_list channels{trox_test::trace_name, ""};
    EXPECT_EQ(this->reader.init(run, channels.list()), -7);
}

TYPED_TEST(reader_request, init_with_files_answers_bad_format_for_every_failure)
{
    EXPECT_EQ(this->reader.init(std::vector<std::string>{this->dir.touch("empty.raw")}, nullptr), -9);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
    typename TypeParam::reader other;
    channel_list unknown{"NO/SUCH/CHANNEL"};
    EXPECT_EQ(other.init(this->write_run(this->dir), unknown.list()), -9);
    EXPECT_EQ(other.get_number_of_files(), 3) << "the files stay";
}

TYPED_TEST(reader_request, init_passes_over_a_bad_first_file_when_asked_to)
{
    const auto run = this->write_run(this->dir);
    std::filesystem::resize_file(run[0], 100);
    EXPECT_EQ(this->reader.init(run, nullptr), -9);
    typename TypeParam::reader tolerant;
    tolerant.set_skip_bad_records(true);
    EXPECT_EQ(tolerant.init(run, nullptr), 0);
    EXPECT_EQ(tolerant.get_number_of_files(), 3);
    for (const std::string& file : run) {
        std::filesystem::resize_file(file, 100);
    }
    EXPECT_EQ(tolerant.init(run, nullptr), -9);
}

TYPED_TEST(reader_request, init_passes_over_a_first_file_whose_event_headers_cannot_be_mapped)
{
    // The loader's code for it, -5, is also that of a file without the channels.
    const auto run = this->write_run(this->dir);
    const trox_test::failing_calls system;
    constexpr int event_headers = 3; // tail, basket head, basket
    this->reader.set_skip_bad_records(true);
    system.maps.fail(event_headers);
    channel_list channels{trox_test::trace_name};
    EXPECT_EQ(this->reader.init(run, channels.list()), 0);
    typename TypeParam::reader strict;
    system.maps.fail(event_headers);
    EXPECT_EQ(strict.init(run, channels.list()), -9);
}

TYPED_TEST(reader_request, init_does_not_pass_over_a_first_file_without_the_channels)
{
    trox_test::tw::file_writer first(this->dir / "linac_main_run7_file0_20120614T092959.raw", TypeParam::format);
    first.add_channel("OTHER");
    first.finish();
    auto run = this->write_run(this->dir);
    run.push_back(this->dir / "linac_main_run7_file0_20120614T092959.raw");
    this->reader.set_skip_bad_records(true);
    channel_list channels{trox_test::trace_name};
    EXPECT_EQ(this->reader.init(run, channels.list()), -9);
}

TYPED_TEST(reader_request, init_of_a_configured_reader_adds)
{
    const auto run = this->write_run(this->dir);
    ASSERT_EQ(this->reader.add_file(run[2].c_str(), true), 0);
    ASSERT_EQ(this->add(trox_test::slow_name), 0);
    channel_list channels{trox_test::trace_name};
    EXPECT_EQ(this->reader.init(std::vector<std::string>{run[0]}, channels.list()), 0);
    EXPECT_EQ(this->files(), (std::vector<std::string>{run[0], run[2]}));
    EXPECT_EQ(this->channel(1), std::string(trox_test::trace_name) + ":-1");
}

TYPED_TEST(reader_request, init_of_a_running_reader_begins_anew)
{
    const auto run = this->write_run(this->dir);
    channel_list channels{trox_test::trace_name};
    ASSERT_EQ(this->reader.init(run, channels.list()), 0);
    ASSERT_EQ(this->reader.start(), 0);
    channel_list others{trox_test::sparse_name};
    EXPECT_EQ(this->reader.init(std::vector<std::string>{run[1]}, others.list()), 0);
    EXPECT_EQ(this->files(), (std::vector<std::string>{run[1]}));
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
    EXPECT_EQ(this->channel(0), std::string(trox_test::sparse_name) + ":-1");
    EXPECT_EQ(this->reader.set_synch_mode(0), 0) << "not running";
}

// --- checking a request -------------------------------------------------------------------------------

TYPED_TEST(reader_request, missing_stop_time_becomes_now)
{
    typename TypeParam::time_id stop{0, {0, 77}};
    this->reader.set_stop_point(&stop);
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    EXPECT_EQ(this->reader.check_request(), 0);
    const auto after = static_cast<std::uint32_t>(std::time(nullptr));
    EXPECT_GE(this->reader.get_stop_point()->time.timeup, before);
    EXPECT_LE(this->reader.get_stop_point()->time.timeup, after);
    EXPECT_EQ(this->reader.get_stop_point()->time.timelow, 0U);
    EXPECT_EQ(this->reader.get_start_point()->event_number, 0U) << "no clock, no number";
    EXPECT_EQ(this->reader.get_stop_point()->event_number, 0U);
}

TYPED_TEST(reader_request, machine_clock_gives_missing_event_numbers)
{
    this->env.set("TROX_EVENT_CLOCK", "1000:500:10");
    this->set_range(1001, 1003);
    EXPECT_EQ(this->reader.check_request(), 0);
    EXPECT_EQ(this->reader.get_start_point()->event_number, 510U);
    EXPECT_EQ(this->reader.get_stop_point()->event_number, 530U);
    typename TypeParam::time_id start{7, {1001, 0}};
    this->reader.set_start_point(&start);
    EXPECT_EQ(this->reader.check_request(), 0);
    EXPECT_EQ(this->reader.get_start_point()->event_number, 7U) << "given numbers stay";
}

TYPED_TEST(reader_request, start_number_behind_stop_number_is_invalid)
{
    typename TypeParam::time_id start{200, {0, 0}};
    typename TypeParam::time_id stop{100, {0, 0}};
    this->reader.set_start_point(&start);
    this->reader.set_stop_point(&stop);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.check_request(), -7); }), "");
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
    this->reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.check_request(), -7); }),
              "Wrong Event IDs start:200 > stop:100\n");
    stop.event_number = 200;
    this->reader.set_stop_point(&stop);
    EXPECT_EQ(this->reader.check_request(), 0) << "equal numbers are a range of one";
}

TYPED_TEST(reader_request, start_time_behind_stop_time_is_invalid)
{
    typename TypeParam::time_id start{0, {1000, 2}};
    typename TypeParam::time_id stop{0, {1000, 1}};
    this->reader.set_start_point(&start);
    this->reader.set_stop_point(&stop);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.check_request(), -7); }), "");
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.check_request(), -7); }),
              "Wrong Time start:1000_2 > stop:1000_1\n");
    this->reader.set_start_point(&stop);
    EXPECT_EQ(this->reader.check_request(), 0) << "equal times are a range of one";
}

template <class T> class file_filter : public reader_request<T>
{
protected:
    /// Four files, 10 s apart from second 1000 on.
    file_filter()
    {
        for (int n = 1; n <= 4; ++n) {
            this->names.push_back("/x/" + trox::writer::data_file_name({"linac", "main", 1}, n,
                                                                       {990 + 10 * static_cast<std::uint32_t>(n), 0}));
            this->reader.add_file(this->names.back().c_str(), true);
        }
    }
    std::vector<std::string> kept_by(std::uint32_t start_s, std::uint32_t stop_s)
    {
        this->set_range(start_s, stop_s);
        EXPECT_EQ(this->reader.check_request(), 0);
        return this->files();
    }

    std::vector<std::string> names;
};
TYPED_TEST_SUITE(file_filter, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(file_filter, range_over_all_files_keeps_all)
{
    EXPECT_EQ(this->kept_by(1000, 2000), this->names);
}

TYPED_TEST(file_filter, open_start_keeps_the_first_files)
{
    EXPECT_EQ(this->kept_by(0, 1015), (std::vector<std::string>{this->names[0], this->names[1]}));
}

TYPED_TEST(file_filter, first_file_stays_however_early_it_is)
{
    // 1000 + 10 < 1035, but the first file may begin before the range.
    EXPECT_EQ(this->kept_by(1035, 2000), (std::vector<std::string>{this->names[0], this->names[3]}));
}

TYPED_TEST(file_filter, file_that_ends_where_the_range_begins_stays)
{
    // 1010 + 10 is not below 1020.
    EXPECT_EQ(this->kept_by(1020, 2000), this->names);
    EXPECT_EQ(this->kept_by(1021, 2000), (std::vector<std::string>{this->names[0], this->names[2], this->names[3]}));
}

TYPED_TEST(file_filter, file_that_begins_where_the_range_ends_stays)
{
    EXPECT_EQ(this->kept_by(1000, 1020), (std::vector<std::string>{this->names[0], this->names[1], this->names[2]}));
    EXPECT_EQ(this->kept_by(1000, 1019), (std::vector<std::string>{this->names[0], this->names[1]}));
}

TYPED_TEST(file_filter, range_before_all_files_drops_all)
{
    EXPECT_TRUE(this->kept_by(900, 999).empty());
}

TYPED_TEST(file_filter, file_without_a_time_is_dropped_with_a_message_at_any_debug_level)
{
    this->reader.add_file("/x/plain.raw", true);
    this->set_range(1000, 2000);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.check_request(), 0); }),
              TypeParam::class_name + "::init() failed to extract stop time locally\n");
    EXPECT_EQ(this->files(), this->names);
}

TYPED_TEST(file_filter, first_file_without_a_time_is_dropped_with_its_own_message)
{
    this->reader.add_file("/x/plain.raw", false);
    this->set_range(1000, 2000);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.check_request(), 0); }),
              TypeParam::class_name + "::init() failed to extract start time locally\n");
    EXPECT_EQ(this->files(), this->names);
}

TYPED_TEST(file_filter, step_is_the_average_in_whole_seconds_however_uneven_the_files_are)
{
    this->reader.clean_up();
    this->names.clear();
    // Between neighbours 1, 2 and 32 s: 35 s over three steps are 11.
    for (const std::uint32_t second : {1000U, 1001U, 1003U, 1035U}) {
        this->names.push_back("/x/" + trox::writer::data_file_name(
                                          {"linac", "main", 1}, static_cast<int>(this->names.size()) + 1, {second, 0}));
        this->reader.add_file(this->names.back().c_str(), true);
    }
    const std::vector<std::string> all = this->names;
    EXPECT_EQ(this->kept_by(1012, 2000), all) << "1001 + 11 is not below 1012, although the file ended at 1003";
    EXPECT_EQ(this->kept_by(1013, 2000), (std::vector<std::string>{all[0], all[2], all[3]}));
    // 1003 and 1035 stay, apart from the first one. The step of three files is (1035 - 1000) / 2.
    EXPECT_EQ(this->kept_by(1020, 2000), (std::vector<std::string>{all[0], all[2], all[3]})) << "1003 + 17";
    EXPECT_EQ(this->kept_by(1021, 2000), (std::vector<std::string>{all[0], all[3]})) << "although it reaches to 1035";
    EXPECT_EQ(this->kept_by(1036, 2000), (std::vector<std::string>{all[0], all[3]})) << "1035 + 35";
}

TYPED_TEST(file_filter, single_file_is_judged_without_a_step)
{
    this->reader.clean_up();
    this->reader.add_file(this->names[1].c_str(), true);
    EXPECT_EQ(this->kept_by(1500, 2000), (std::vector<std::string>{this->names[1]}));
    EXPECT_EQ(this->kept_by(1000, 1010), (std::vector<std::string>{this->names[1]}));
    EXPECT_TRUE(this->kept_by(1000, 1009).empty());
}

} // namespace
