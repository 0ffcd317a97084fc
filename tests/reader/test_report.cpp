// Names, parameters, time span and printing.
#include "reader_fixture.h"

namespace
{

using trox_test::printed_by;
using trox_test::run_second;

template <class T> class reader_report : public trox_test::reader_test<T>
{
protected:
    void add(const char* name, const trox_chan_prms& prms = {})
    {
        daq_channel_entry channel{name, prms};
        ASSERT_EQ(reader.add_channel(&channel), 0);
    }

    typename T::reader reader;
};
TYPED_TEST_SUITE(reader_report, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_report, file_names_end_with_the_list)
{
    const std::string a = this->dir.touch("a");
    ASSERT_EQ(this->reader.add_file(a.c_str(), true), 0);
    EXPECT_EQ(this->reader.get_file_name(0), a);
    EXPECT_EQ(this->reader.get_file_name(1), nullptr);
    EXPECT_EQ(this->reader.get_file_name(-1), nullptr);
    EXPECT_EQ(this->reader.get_number_of_files(), 1);
}

TYPED_TEST(reader_report, channel_names_end_with_the_list)
{
    this->add("CH:3");
    this->add("OTHER");
    int subchan = 99;
    EXPECT_STREQ(this->reader.get_channel_name(0, &subchan), "CH");
    EXPECT_EQ(subchan, 3);
    EXPECT_STREQ(this->reader.get_channel_name(1, &subchan), "OTHER");
    EXPECT_EQ(subchan, -1);
    EXPECT_STREQ(this->reader.get_channel_name(0, nullptr), "CH");
    EXPECT_EQ(this->reader.get_channel_name(-1, &subchan), nullptr);
    EXPECT_EQ(this->reader.get_channel_name(2, &subchan), nullptr) << "passes the bound, but there is nothing";
    EXPECT_EQ(this->reader.get_channel_name(3, &subchan), nullptr);
    EXPECT_EQ(subchan, -1) << "untouched";
}

TYPED_TEST(reader_report, dictionary_names_need_a_loaded_dictionary)
{
    int count = 5;
    EXPECT_EQ(this->reader.get_channel_name(0, &count, nullptr, nullptr), nullptr);
    EXPECT_EQ(this->reader.get_channel_name(-1, &count, nullptr, nullptr), nullptr);
    EXPECT_EQ(count, 5);
}

TYPED_TEST(reader_report, nickname_is_found_by_a_part_of_the_full_name)
{
    EXPECT_EQ(this->reader.get_nickname("CH"), nullptr);
    this->add("MYCH:2;mine");
    this->add("CH;bare");
    EXPECT_STREQ(this->reader.get_nickname("CH"), "mine");
    EXPECT_STREQ(this->reader.get_nickname("CH:2"), "mine");
    EXPECT_STREQ(this->reader.get_nickname("MYCH:2"), "mine");
    EXPECT_EQ(this->reader.get_nickname("CH:3"), nullptr);
    EXPECT_EQ(this->reader.get_nickname("mine"), nullptr);
    EXPECT_EQ(this->reader.get_nickname(nullptr), nullptr);
    EXPECT_EQ(this->reader.get_nickname(""), nullptr);
}

TYPED_TEST(reader_report, first_channel_without_nickname_hides_later_nicknames)
{
    this->add("MYCH");
    this->add("CH;bare");
    EXPECT_EQ(this->reader.get_nickname("CH"), nullptr);
}

TYPED_TEST(reader_report, parameters_are_found_by_nickname_name_or_part_of_the_full_name)
{
    this->add("CH:3;beam", {1, 2, 3, 4, 0, 0, 0});
    this->add("BARE", {5, 6, 7, 8, 0, 0, 0});
    ASSERT_NE(this->reader.get_channel_params("beam"), nullptr);
    EXPECT_EQ(this->reader.get_channel_params("beam")->start, 1);
    EXPECT_EQ(this->reader.get_channel_params("H:3")->inc, 2) << "with a sub-channel a part of the name is enough";
    EXPECT_EQ(this->reader.get_channel_params("BARE")->start, 5);
    EXPECT_EQ(this->reader.get_channel_params("BAR"), nullptr) << "without one it is not";
    EXPECT_EQ(this->reader.get_channel_params("CH:4"), nullptr);
    EXPECT_EQ(this->reader.get_channel_params(nullptr), nullptr);
    EXPECT_EQ(this->reader.get_channel_params(""), nullptr);
    this->reader.get_channel_params("beam")->length = 42;
    EXPECT_EQ(this->reader.get_channel_params("beam")->length, 42) << "the reader's own record";
}

TYPED_TEST(reader_report, parameters_are_sought_among_the_counted_channels_only)
{
    EXPECT_EQ(this->reader.get_channel_params("A"), nullptr);
    this->add("A");
    this->add("B");
    trox_test::channel_list one{"C"};
    ASSERT_EQ(this->reader.set_channels(one.list()), 0);
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
    EXPECT_NE(this->reader.get_channel_params("A"), nullptr);
    EXPECT_EQ(this->reader.get_channel_params("B"), nullptr);
    trox_test::channel_list thrice{"D", "D", "D", "D", "D", "D"};
    ASSERT_EQ(this->reader.set_channels(thrice.list()), 0);
    EXPECT_EQ(this->reader.get_number_of_channels(), 6);
    EXPECT_NE(this->reader.get_channel_params("D"), nullptr);
    EXPECT_EQ(this->reader.get_channel_params("E"), nullptr) << "fewer entries than counted channels";
}

TYPED_TEST(reader_report, files_are_printed_with_numbers_from_1)
{
    EXPECT_EQ(printed_by([&] { this->reader.print_files(); }), "========== READER files ==============\n"
                                                               "========== READER files END ==========\n");
    const std::string a = this->dir.touch("a");
    const std::string b = this->dir.touch("b");
    this->reader.add_file(a.c_str(), true);
    this->reader.add_file(b.c_str(), true);
    EXPECT_EQ(printed_by([&] { this->reader.print_files(); }), "========== READER files ==============\n"
                                                               "[1] " +
                                                                   a + "\n[2] " + b +
                                                                   "\n"
                                                                   "========== READER files END ==========\n");
}

TYPED_TEST(reader_report, channels_are_printed_with_parameters)
{
    EXPECT_EQ(printed_by([&] { this->reader.print_channels(); }), "========== READER channels ==============\n"
                                                                  "========== READER channels END ==========\n");
    this->add("CH:3;beam", {1, 2, 3, 255, 0.5F, 1.5F, 2.5F});
    this->add("BARE");
    EXPECT_EQ(printed_by([&] { this->reader.print_channels(); }),
              "========== READER channels ==============\n"
              "[1] CH:3 -> beam\tparams:\tstart:1\tsamples:3\tinc:2\ttstart:0.500000\ttsamples:2.500000\t"
              "tinc:1.500000\tfunc:0xff\n"
              "[2] BARE:-1\tparams:\tstart:0\tsamples:0\tinc:0\ttstart:0.000000\ttsamples:0.000000\t"
              "tinc:0.000000\tfunc:0x0\n"
              "========== READER channels END ==========\n");
}

// --- time span ----------------------------------------------------------------------------------------

TYPED_TEST(reader_report, span_without_files_is_minus_1)
{
    EXPECT_EQ(this->reader.get_time_period_us(), -1.0);
}

TYPED_TEST(reader_report, span_of_two_files_adds_an_average_file)
{
    this->reader.add_file("/x/linac_main_run1_file1_19700101T001640.raw", true); // 1000 s
    this->reader.add_file("/x/linac_main_run1_file2_19700101T001650.raw", true); // 1010 s
    EXPECT_EQ(this->reader.get_time_period_us(), 2.0e7);
    this->reader.add_file("/x/linac_main_run1_file3_19700101T001705.raw", true); // 1025 s: 25 / 2 is 12
    EXPECT_EQ(this->reader.get_time_period_us(), 3.7e7);
}

TYPED_TEST(reader_report, span_of_files_that_are_not_in_order_is_negative)
{
    this->reader.add_file("/x/linac_main_run1_file2_19700101T001650.raw", true); // 1010 s
    this->reader.add_file("/x/linac_main_run1_file1_19700101T001640.raw", true); // 1000 s, and 10 s back
    EXPECT_EQ(this->reader.get_time_period_us(), -2.0e7);
}

TYPED_TEST(reader_report, span_of_files_without_times_tells_first_from_last)
{
    this->reader.add_file("/x/linac_main_run1_file1_19700101T001640.raw", true);
    this->reader.add_file("/x/plain.raw", true);
    EXPECT_EQ(this->reader.get_time_period_us(), 0.0) << "the last has none";
    this->reader.remove_file("/x/linac_main_run1_file1_19700101T001640.raw");
    this->reader.add_file("/x/linac_main_run1_file1_19700101T001640.raw", true);
    EXPECT_EQ(this->reader.get_time_period_us(), -1.0) << "the first has none";
}

TYPED_TEST(reader_report, span_of_equal_or_zero_seconds_is_minus_4)
{
    this->reader.add_file("/x/linac_main_run1_file1_19700101T001640.raw", true);
    this->reader.add_file("/y/linac_main_run1_file1_19700101T001640.raw", true);
    EXPECT_EQ(this->reader.get_time_period_us(), -4.0);
    this->reader.clean_up();
    this->reader.add_file("/x/linac_main_run1_file1_19700101T000000.raw", true);
    this->reader.add_file("/x/linac_main_run1_file2_19700101T001640.raw", true);
    EXPECT_EQ(this->reader.get_time_period_us(), -4.0);
}

TYPED_TEST(reader_report, span_of_one_file_is_that_of_its_events)
{
    // Events 1000 to 1049: 09:30:00.0 to 09:30:04.9; the update of event 1043 lies 20 ms behind it.
    const std::string file = this->write_file(this->dir / "one.raw", 1000, 1049);
    ASSERT_EQ(this->reader.add_file(file.c_str(), true), 0);
    EXPECT_EQ(this->reader.get_time_period_us(), 4.0e6);
    EXPECT_EQ(this->reader.get_channel_name(0, nullptr, nullptr, nullptr), nullptr) << "tables released again";
}

/// Writes a file of slow and fast events, one at each of these seconds.
template <class T>
void write_two_event_types(const std::string& path, const std::vector<std::pair<int, std::uint32_t>>& events)
{
    constexpr auto format = T::format;
    trox_test::tw::file_writer file(path, format);
    const auto slow = file.add_channel("SLOW");
    const auto fast = file.add_channel("FAST");
    std::uint32_t number = 0;
    for (const auto& [type, second] : events) {
        file.begin_event({++number, {second, 0}, type});
        file.begin_server_block({"SVR"});
        if (type == TROX_EV_UPD) {
            file.add_record(slow, trox_test::tw::update_payload(format, "SLOW", 1, {second, 0}));
        } else {
            file.add_record(fast, trox_test::tw::spectrum_payload(format, T::one_channel, {1.0F}));
        }
        file.end_event();
    }
    file.finish();
}

TYPED_TEST(reader_report, span_of_one_file_covers_all_event_types)
{
    write_two_event_types<TypeParam>(
        this->dir / "types.raw",
        {{TROX_EV_UPD, 500}, {TROX_EV_NORMAL, 510}, {TROX_EV_NORMAL, 530}, {TROX_EV_UPD, 520}});
    ASSERT_EQ(this->reader.add_file((this->dir / "types.raw").c_str(), true), 0);
    EXPECT_EQ(this->reader.get_time_period_us(), 3.0e7);
}

TYPED_TEST(reader_report, event_type_that_begins_at_zero_does_not_begin_the_span)
{
    write_two_event_types<TypeParam>(this->dir / "zero.raw",
                                     {{TROX_EV_UPD, 0}, {TROX_EV_NORMAL, 510}, {TROX_EV_NORMAL, 530}});
    ASSERT_EQ(this->reader.add_file((this->dir / "zero.raw").c_str(), true), 0);
    EXPECT_EQ(this->reader.get_time_period_us(), 2.0e7);
}

TYPED_TEST(reader_report, span_of_one_unreadable_file_is_minus_2)
{
    ASSERT_EQ(this->reader.add_file(this->dir.touch("empty.raw").c_str(), true), 0);
    EXPECT_EQ(this->reader.get_time_period_us(), -2.0);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
}

TYPED_TEST(reader_report, span_of_one_file_without_the_channels_is_minus_2)
{
    const std::string file = this->write_file(this->dir / "one.raw", 1000, 1010);
    ASSERT_EQ(this->reader.add_file(file.c_str(), true), 0);
    this->add("NO/SUCH/CHANNEL");
    EXPECT_EQ(this->reader.get_time_period_us(), -2.0);
}

TYPED_TEST(reader_report, span_of_one_file_without_events_is_minus_3)
{
    trox_test::tw::file_writer file(this->dir / "none.raw", TypeParam::format);
    file.add_channel("CH");
    file.finish();
    ASSERT_EQ(this->reader.add_file((this->dir / "none.raw").c_str(), true), 0);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.get_time_period_us(), -3.0); }), "");
    EXPECT_STREQ(this->reader.get_last_error(), "No required data");
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.get_time_period_us(), -3.0); }),
              "No events in event index table\n");
}

TYPED_TEST(reader_report, dictionary_of_a_file_without_events_stays_readable_after_its_span)
{
    trox_test::tw::file_writer file(this->dir / "none.raw", TypeParam::format);
    file.add_channel("FIRST");
    file.add_channel("SECOND");
    file.finish();
    ASSERT_EQ(this->reader.add_file((this->dir / "none.raw").c_str(), true), 0);
    ASSERT_EQ(this->reader.get_time_period_us(), -3.0);
    int count = 5;
    int ev_mask = 5;
    int dtype_mask = 5;
    EXPECT_STREQ(this->reader.get_channel_name(0, &count, &ev_mask, &dtype_mask), "FIRST");
    EXPECT_EQ(count, 0);
    EXPECT_EQ(ev_mask, 0);
    EXPECT_EQ(dtype_mask, 0);
    EXPECT_STREQ(this->reader.get_channel_name(1, nullptr, nullptr, nullptr), "SECOND");
    // 2 * 272 / 96 is 5, but only two entries are there.
    for (const int i : {2, 4, 5, -1}) {
        EXPECT_EQ(this->reader.get_channel_name(i, nullptr, nullptr, nullptr), nullptr) << i;
    }
    this->reader.clean_up();
    EXPECT_EQ(this->reader.get_channel_name(0, nullptr, nullptr, nullptr), nullptr);
}

TYPED_TEST(reader_report, span_of_a_checked_request_is_that_of_the_request)
{
    typename TypeParam::time_id start{0, {1000, 500000}};
    typename TypeParam::time_id stop{0, {1003, 0}};
    this->reader.set_start_point(&start);
    this->reader.set_stop_point(&stop);
    ASSERT_EQ(this->reader.check_request(), 0);
    EXPECT_EQ(this->reader.get_time_period_us(), 2.5e6);
    this->reader.clean_up();
    EXPECT_EQ(this->reader.get_time_period_us(), -1.0);
}

} // namespace
