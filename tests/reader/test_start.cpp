// Start, traces and clean-up.
#include "events_fixture.h"

namespace
{

using trox_test::channel_list;
using trox_test::next;
using trox_test::numbers;
using trox_test::printed_by;
using trox_test::reader_events;

TYPED_TEST_SUITE(reader_events, trox_test::reader_types, trox_test::reader_type_names);

// --- start --------------------------------------------------------------------------------------------

TYPED_TEST(reader_events, second_start_is_not_allowed)
{
    this->start({trox_test::trace_name});
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.start(), -8); }), "");
    EXPECT_STREQ(this->reader.get_last_error(), "Not allowed");
    this->reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.start(), -8); }), "We have already slicer\n");
    this->reader.set_debug(0);
    EXPECT_EQ(this->numbers_until(-3).size(), 30U) << "the first start goes on";
}

TYPED_TEST(reader_events, start_refuses_a_bad_request_and_stays_configured)
{
    this->init({trox_test::trace_name});
    typename TypeParam::time_id point{200, {0, 0}};
    this->reader.set_start_point(&point);
    point.event_number = 100;
    this->reader.set_stop_point(&point);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.start(), -7); }), "");
    this->reader.set_debug(-1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.start(), -7); }),
              "Wrong Event IDs start:200 > stop:100\nRequest is not OK ret:-7\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
    typename TestFixture::event records;
    EXPECT_EQ(this->reader.get_data(nullptr, &records, next), -4);
    EXPECT_EQ(this->reader.set_synch_mode(0), 0) << "there is no slicer";
}

TYPED_TEST(reader_events, start_without_files_and_channels_keeps_the_slicer)
{
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.start(), -1); });
    // The slicer's own texts come first.
    EXPECT_TRUE(text.starts_with("SLICER: ")) << text;
    EXPECT_TRUE(text.ends_with("\nFailed to init slicer error:-1\n")) << text;
    EXPECT_STREQ(this->reader.get_last_error(), "No required data");
    EXPECT_EQ(this->reader.start(), -8);
    this->reader.clean_up();
    this->reader.set_debug(0);
    printed_by([&] { EXPECT_EQ(this->reader.start(), -1); });
}

TYPED_TEST(reader_events, failed_slicer_start_names_the_channels_not_found)
{
    ASSERT_EQ(this->reader.add_file(this->dir.touch("empty.raw").c_str(), true), 0);
    daq_channel_entry channel{"CH", {}};
    ASSERT_EQ(this->reader.add_channel(&channel), 0);
    // A name without a time would be dropped.
    this->reader.remove_file(this->dir / "empty.raw");
    ASSERT_EQ(this->reader.add_file(this->dir.touch("linac_main_run7_file1_20120614T093000.raw").c_str(), true), 0);
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.start(), -6); });
    EXPECT_NE(text.find("Failed to start slicer error:-6\n"), std::string::npos) << text;
    EXPECT_STREQ(this->reader.get_last_error(), "Intern error:");
}

TYPED_TEST(reader_events, channels_that_no_file_has_are_passed_over)
{
    this->start({trox_test::trace_name, "NO/SUCH/CHANNEL"});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    EXPECT_EQ(records.size(), 1U);
}

// --- traces -------------------------------------------------------------------------------------------

TYPED_TEST(reader_events, traces_tell_answer_range_search_and_update)
{
    this->start({trox_test::sparse_name, trox_test::trace_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    this->reader.set_debug(2);
    const std::string text = printed_by([&] { ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0); });
    const std::string own = text.substr(text.find("reader.get_data() CUR_RES"));
    EXPECT_EQ(own, std::string("reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
                               "reader.get_data() BELONG: 1\n"
                               "reader.get_data() FOUND: 0\n"
                               "reader.get_data() FOUND: 1\n"
                               "UPDATED ") +
                       trox_test::trace_name + "\n");
}

TYPED_TEST(reader_events, traces_tell_events_outside_the_range_and_empty_ones)
{
    this->init({trox_test::trace_name});
    typename TypeParam::time_id first{1001, {0, 0}};
    this->reader.set_start_point(&first);
    ASSERT_EQ(this->reader.start(), 0);
    this->reader.set_debug(2);
    typename TestFixture::event records;
    const std::string text = printed_by([&] { ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0); });
    const std::size_t outside = text.find("reader.get_data() BELONG: 0\n");
    ASSERT_NE(outside, std::string::npos);
    EXPECT_NE(text.find("reader.get_data() BELONG: 1\n", outside), std::string::npos);
    this->reader.clean_up();

    this->reader.set_debug(0);
    this->start({trox_test::sparse_name});
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    typename TypeParam::time_id missing{1003, {0, 0}};
    this->reader.set_debug(1);
    EXPECT_NE(printed_by([&] {
                  this->reader.get_data(&missing, &records, TROX_DAQ_READ_CHAN_EVENT_CUR);
              }).find("BREAKING HERE 1 mode: 0 \n"),
              std::string::npos);
}

// --- clean_up -----------------------------------------------------------------------------------------

TYPED_TEST(reader_events, clean_up_empties_the_reader_and_lets_it_begin_anew)
{
    this->start({trox_test::trace_name, trox_test::slow_name});
    typename TestFixture::event records;
    for (int i = 0; i < 9; ++i) {
        ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    }
    this->reader.clean_up();
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
    EXPECT_EQ(this->reader.get_number_of_channels(), 0);
    EXPECT_EQ(this->reader.get_number_of_events(), 0);
    EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
    EXPECT_EQ(this->reader.get_channel_name(0, nullptr), nullptr);
    EXPECT_EQ(this->reader.get_data(nullptr, &records, next), -4);
    this->reader.clean_up();
    this->start({trox_test::slow_name, trox_test::sparse_name});
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    ASSERT_EQ(records.size(), 1U) << "no slow value is left of the first reading";
    EXPECT_STREQ(this->head_of(records[0]).chname, trox_test::sparse_name);
}

TYPED_TEST(reader_events, init_with_a_request_of_a_running_reader_begins_anew)
{
    this->start({trox_test::trace_name, trox_test::sparse_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    const std::string catalogue = this->dir.make_directory("catalogue");
    trox_test::write_run_catalogue(catalogue, 2);
    typename TypeParam::request request = trox_test::request_for_run<TypeParam>(catalogue, this->dir);
    channel_list others{trox_test::members_name};
    EXPECT_EQ(this->reader.init(&request, others.list()), 0);
    EXPECT_EQ(this->reader.get_number_of_channels(), 1);
    EXPECT_EQ(this->reader.get_number_of_files(), 2);
    EXPECT_EQ(this->reader.get_number_of_events(), 0);
    EXPECT_EQ(this->reader.get_data(nullptr, &records, next), -4) << "configured, not running";
    ASSERT_EQ(this->reader.start(), 0);
    EXPECT_EQ(this->numbers_until(-3), numbers(1000, 1019, 2));
}

TYPED_TEST(reader_events, refused_arguments_leave_a_running_reader_at_work)
{
    this->start({trox_test::trace_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    channel_list others{trox_test::sparse_name};
    EXPECT_EQ(this->reader.init(static_cast<typename TypeParam::request*>(nullptr), others.list()), -7);
    EXPECT_EQ(this->reader.init(std::vector<std::string>{}, others.list()), -7);
    EXPECT_EQ(this->reader.init(static_cast<std::vector<char*>*>(nullptr), others.list()), -7);
    EXPECT_EQ(this->reader.set_channels(nullptr), -7) << "invalid before not allowed";
    EXPECT_EQ(this->reader.set_channels(others.list()), -8);
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    EXPECT_EQ(records.at(0)->event_id.event_number, 1001U);
}

TYPED_TEST(reader_events, reader_may_be_destroyed_while_it_runs)
{
    this->run = this->write_run(this->dir);
    auto short_lived = std::make_unique<typename TypeParam::reader>();
    channel_list list{trox_test::trace_name};
    ASSERT_EQ(short_lived->init(this->run, list.list()), 0);
    ASSERT_EQ(short_lived->start(), 0);
    short_lived.reset();
}

} // namespace
