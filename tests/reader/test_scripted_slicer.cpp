// The reader over a slicer that answers as a test tells it: answers, settings and records that files do not bring
// about.
#include "scripted_slicer.h"

namespace
{

using trox_test::names;
using trox_test::printed_by;
using trox_test::reader_with_script;
using trox_test::record;
using trox_test::script;
using trox_test::update_of;

TYPED_TEST_SUITE(reader_with_script, trox_test::reader_types, trox_test::reader_type_names);

// --- start --------------------------------------------------------------------------------------------

TYPED_TEST(reader_with_script, start_hands_settings_files_and_channels_to_the_slicer)
{
    typename TypeParam::time_id period{2, {3, 4}};
    time_stamp tolerance{5, 6};
    this->reader.set_period(&period);
    this->reader.set_time_diff(&tolerance);
    this->reader.set_synch_mode(1);
    this->reader.set_skip_bad_records(true);
    this->reader.add_file("/x/linac_main_run1_file1_20120614T093000.raw", true);
    this->start({"A:3;nick", "B"});
    EXPECT_EQ(this->script_.calls, (names{"init", "set_synch_mode", "set_time_diff", "set_event_step", "start"}));
    EXPECT_EQ(this->script_.files, (names{"/x/linac_main_run1_file1_20120614T093000.raw"}));
    EXPECT_EQ(this->script_.channels, (names{"A:3", "B:-1"}));
    EXPECT_EQ(this->script_.mode, 0);
    EXPECT_EQ(this->script_.synch_mode, 1);
    EXPECT_TRUE(this->script_.skip);
    EXPECT_EQ(this->script_.time_diff.timeup, 5U);
    EXPECT_EQ(this->script_.time_diff.timelow, 6U);
    EXPECT_EQ(this->script_.step.event_number, 2U);
    EXPECT_EQ(this->script_.step.time.timeup, 3U);
    EXPECT_EQ(this->script_.step.time.timelow, 4U);
    EXPECT_EQ(this->script_.debug, -99) << "level 0 is not handed on";
    EXPECT_EQ(this->reader.get_number_of_bad_records(), 11);
    EXPECT_EQ(this->reader.get_number_of_bad_files(), 22);
}

TYPED_TEST(reader_with_script, running_reader_hands_debug_level_on)
{
    this->reader.set_debug(3);
    printed_by([&] { this->start({"A"}); });
    EXPECT_EQ(this->script_.debug, 3);
    this->reader.set_debug(0);
    EXPECT_EQ(this->script_.debug, 0);
}

template <class T> class time_fix_with_script : public reader_with_script<T>
{
};
TYPED_TEST_SUITE(time_fix_with_script, trox_test::reader_types_since_2010, trox_test::reader_type_names);

TYPED_TEST(time_fix_with_script, is_handed_on_at_the_start_and_while_running)
{
    this->reader.set_by_time_fix(false);
    this->script_.by_time_fix = true;
    this->start({"A"});
    EXPECT_FALSE(this->script_.by_time_fix);
    this->reader.set_by_time_fix(true);
    EXPECT_TRUE(this->script_.by_time_fix);
    this->reader.clean_up();
    this->script_.by_time_fix = false;
    this->start({"A"});
    EXPECT_TRUE(this->script_.by_time_fix);
}

template <class T> struct failure {
    int script<T>::*status;
    const char* text; ///< printed with debugging
    const char* last_error;
    std::size_t calls; ///< made up to the failure
};

TYPED_TEST(reader_with_script, failing_step_of_the_start_is_answered_and_keeps_the_slicer)
{
    using told = script<TypeParam>;
    const failure<TypeParam> failures[] = {
        {&told::init_status, "Failed to init slicer error:-4\n", "Not Initialized", 1},
        {&told::synch_mode_status, "Failed to set synch mode:0 at the slicer error:-4\n", "Not Initialized", 2},
        {&told::time_diff_status, "Failed to set time diff erro:-4\n", "Not Initialized", 3},
        {&told::event_step_status, "Failed to set event step error:-4\n", "Not Initialized", 4},
        {&told::start_status, "Failed to start slicer error:-4\n", "Not Initialized:A;B", 5}};
    this->script_.not_found = "A;B";
    for (const auto& failure : failures) {
        SCOPED_TRACE(failure.text);
        this->script_.calls.clear();
        this->script_.*failure.status = -4;
        this->reader.set_debug(0);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.start(), -4); }), "");
        EXPECT_STREQ(this->reader.get_last_error(), failure.last_error);
        EXPECT_EQ(this->script_.calls.size(), failure.calls);
        EXPECT_EQ(this->reader.start(), -8);
        this->reader.clean_up();
        EXPECT_EQ(this->script_.calls.back(), "clean_up");
        this->reader.set_debug(1);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.start(), -4); }), failure.text);
        this->reader.clean_up();
        this->script_.*failure.status = 0;
    }
}

// --- answers ------------------------------------------------------------------------------------------

TYPED_TEST(reader_with_script, known_failures_are_passed_on_and_leave_the_last_error)
{
    this->start({"A"});
    for (const int status : {-2, -3, -6, -7}) {
        this->script_.answers = {{status}};
        this->reader.set_error(-10);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->get(), status); }), "");
        EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    }
    EXPECT_EQ(this->reader.get_number_of_events(), 0);
    EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
}

TYPED_TEST(reader_with_script, other_failures_are_told_and_kept)
{
    this->start({"A"});
    for (const int status : {-1, -4, -5, -8, -9, -10, -11, 1, 77}) {
        this->script_.answers = {{status}};
        this->reader.set_error(0);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->get(), status); }),
                  "Unexpected return code " + std::to_string(status) + "\n");
        EXPECT_STREQ(this->reader.get_last_error(), this->reader.error_i2a(status));
    }
}

TYPED_TEST(reader_with_script, answers_without_data_are_counted_until_an_event_comes)
{
    this->start({"A"});
    record<TypeParam> a("A", 5);
    this->script_.answers = {{0}, {0}, {0, {*a}}};
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->reader.get_number_of_empty_events(), 2);
    EXPECT_EQ(this->reader.get_number_of_events(), 1);
    this->script_.asked = 0;
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->get(), 0); }), "BREAKING HERE 1 mode: 0 \nBREAKING HERE 1 mode: 0 \n");
}

TYPED_TEST(reader_with_script, target_and_request_are_handed_on_each_time)
{
    this->start({"A"});
    record<TypeParam> a("A", 5);
    this->script_.answers = {{0}, {0, {*a}}};
    typename TypeParam::time_id target{4, {0, 0}};
    ASSERT_EQ(this->reader.get_data(&target, &this->event, TROX_DAQ_READ_CHAN_EVENT_PREV), 0);
    EXPECT_EQ(this->script_.target, &target);
    EXPECT_EQ(this->script_.request, TROX_DAQ_READ_CHAN_EVENT_PREV);
    EXPECT_EQ(this->script_.asked, 2U);
}

TYPED_TEST(reader_with_script, answers_in_place_end_after_a_thousand)
{
    this->start({"A"});
    this->script_.answers = {{0}};
    EXPECT_EQ(this->get(), -1);
    EXPECT_STREQ(this->reader.get_last_error(), "No required data");
    EXPECT_EQ(this->script_.asked, 1000U);
    EXPECT_EQ(this->reader.get_number_of_empty_events(), 1000);
}

TYPED_TEST(reader_with_script, slow_answer_is_told_with_negative_debug_levels)
{
    this->start({"A"});
    record<TypeParam> a("A", 5);
    this->script_.answers = {{0, {*a}, 3}};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->get(), 0); }), "");
    this->reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(this->get(), 0); });
    double took_ms = 0;
    ASSERT_EQ(std::sscanf(text.c_str(), "slicer_2010->get_data() %lf msec\n", &took_ms), 1) << text;
    EXPECT_GT(took_ms, 2.9);
    EXPECT_EQ(text.back(), '\n');
}

// --- the reference of an event ------------------------------------------------------------------------

TYPED_TEST(reader_with_script, range_is_judged_by_the_first_record_that_is_no_update)
{
    typename TypeParam::time_id first{5, {0, 0}};
    this->reader.set_start_point(&first);
    this->start({"A", "U"});
    record<TypeParam> bor("U", 9, TypeParam::begin_of_run_type, update_of<TypeParam>("U"));
    record<TypeParam> eor("U", 9, TypeParam::end_of_run_type, update_of<TypeParam>("U"));
    record<TypeParam> update("U", 9, TypeParam::update_type, update_of<TypeParam>("U"));
    record<TypeParam> early("A", 4);
    record<TypeParam> late("A", 5);
    this->script_.answers = {{0, {*bor, *eor, *update, *early}}, {0, {*update, *late}}};
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->script_.asked, 2U) << "number 4 lies before the range, whatever the updates say";
}

TYPED_TEST(reader_with_script, record_without_head_is_told_and_no_reference_and_not_delivered)
{
    typename TypeParam::time_id first{5, {0, 0}};
    this->reader.set_start_point(&first);
    this->start({"A", "B"});
    record<TypeParam> none("A", 4);
    (*none)->sbchdata[0].chhd = 0;
    record<TypeParam> good("B", 6);
    this->script_.answers = {{0, {*none, *good}}};
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { ASSERT_EQ(this->get(), 0); }),
              TypeParam::class_name + "::get_data() chan_header is NULL\n");
    EXPECT_EQ(this->delivered(), (names{"B:-1"}));
    // Alone it is the first entry, and so the reference.
    record<TypeParam> only("A", 6);
    (*only)->sbchdata[0].chhd = 0;
    this->script_.answers = {{0, {*only}}};
    this->script_.asked = 0;
    this->reader.set_debug(0);
    ASSERT_EQ(this->get(), 0);
    EXPECT_TRUE(this->event.empty());
    EXPECT_EQ(this->reader.get_number_of_events(), 2);
}

// --- whose record it is -------------------------------------------------------------------------------

TYPED_TEST(reader_with_script, record_goes_to_the_first_result_of_its_key)
{
    this->start({"A", "A:0", "A:1", "B:-7", ":3", ":3"});
    record<TypeParam> whole("A", 1);
    record<TypeParam> cut("A:1", 1);
    record<TypeParam> negative("B", 1);
    record<TypeParam> unnamed(":3", 1);
    record<TypeParam> stranger("A:2", 1);
    this->script_.answers = {{0, {*unnamed, *stranger, *negative, *cut, *whole}}};
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->delivered(), (names{"A:-1", "A:1", "B:-7", ":3"})) << "in channel order, strangers dropped";
}

TYPED_TEST(reader_with_script, update_goes_by_the_name_in_its_payload)
{
    this->start({"LONG:2", "LONG", "A"});
    for (const int type : {TypeParam::update_type, TypeParam::begin_of_run_type, TypeParam::end_of_run_type}) {
        record<TypeParam> update("A", 1, type, update_of<TypeParam>("LONG"));
        this->script_.answers = {{0, {*update}}};
        ASSERT_EQ(this->get(), 0);
        ASSERT_FALSE(this->event.empty());
        EXPECT_EQ(this->delivered().front(), "LONG:2") << type;
        EXPECT_EQ(this->result_of(this->event.front()).slow, 1) << "since the first, an update";
    }
}

TYPED_TEST(reader_with_script, only_an_update_makes_a_channel_slow)
{
    this->start({"A", "B"});
    record<TypeParam> bor("x", 1, TypeParam::begin_of_run_type, update_of<TypeParam>("A"));
    record<TypeParam> cut("B", 1, TypeParam::update_type | 0x10000);
    this->script_.answers = {{0, {*bor, *cut}}};
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->delivered(), (names{"A:-1", "B:-1"}));
    EXPECT_EQ(this->result_of(this->event[0]).slow, 0);
    EXPECT_EQ(this->result_of(this->event[1]).slow, 0);
}

TYPED_TEST(reader_with_script, update_name_ends_with_its_field_or_its_payload)
{
    const std::string name(TypeParam::longest_name, 'n');
    this->start({name, "SHORT"});
    record<TypeParam> filled("x", 1, TypeParam::update_type, std::string(TypeParam::update_size, 'n'));
    record<TypeParam> short_payload("x", 1, TypeParam::update_type, "SHORT");
    record<TypeParam> no_payload("SHORT", 1, TypeParam::update_type);
    this->script_.answers = {{0, {*filled, *no_payload}}, {0, {*short_payload}}};
    ASSERT_EQ(this->get(), 0);
    EXPECT_TRUE(this->event.empty()) << "a name without an end is another name; none is none";
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->delivered(), (names{"SHORT:-1"}));
}

TYPED_TEST(reader_with_script, record_name_that_fills_its_field_matches_a_key_of_that_length)
{
    const std::string name(TypeParam::head_name_size - 3, 'n');
    this->start({name + ":12", name});
    record<TypeParam> filled(name + ":12", 1); // no NUL
    this->script_.answers = {{0, {*filled}}};
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->delivered(), (names{name + ":12"}));
}

TYPED_TEST(reader_with_script, records_out_of_channel_order_find_their_results)
{
    names channels;
    std::vector<std::unique_ptr<record<TypeParam>>> records;
    typename script<TypeParam>::answer answer;
    for (int i = 0; i < 100; ++i) {
        channels.push_back("CHANNEL/" + std::to_string(i));
        records.push_back(std::make_unique<record<TypeParam>>(channels.back(), static_cast<std::uint32_t>(i + 1)));
    }
    for (int i = 0; i < 100; ++i) {
        answer.records.push_back(**records[static_cast<std::size_t>(i * 37 % 100)]);
    }
    this->script_.answers = {answer};
    this->start(channels);
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->event.size(), 100U);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(this->event[i]->event_id.event_number, i + 1);
        EXPECT_EQ(this->head_of(this->event[i]).chname, channels[i]);
    }
}

// --- what is copied -----------------------------------------------------------------------------------

TYPED_TEST(reader_with_script, copies_outlive_the_slicers_records)
{
    this->start({"A"});
    {
        record<TypeParam> a("A", 7, TypeParam::one_channel, "payload");
        this->script_.answers = {{0, {*a}}};
        ASSERT_EQ(this->get(), 0);
    }
    EXPECT_EQ(this->event[0]->event_id.event_number, 7U);
    EXPECT_EQ(this->event[0]->event_id.time.timeup, 1007U);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(this->event[0]->sbchdata[0].data), "payload", 7), 0);
    EXPECT_EQ(reinterpret_cast<const typename TypeParam::event_header*>(this->event[0]->sbchdata[0].evhd)->event_number,
              7U);
    EXPECT_EQ(reinterpret_cast<const typename TypeParam::server_block_head*>(this->event[0]->sbchdata[0].sbhd)->mpulse,
              7);
    for (std::size_t i = 1; i < 8; ++i) {
        EXPECT_EQ(this->event[0]->sbchdata[i].evhd, 0U) << "not in use";
    }
}

TYPED_TEST(reader_with_script, absent_heads_leave_no_old_ones_behind)
{
    this->start({"A"});
    record<TypeParam> first("A", 7);
    record<TypeParam> second("A", 8);
    (*second)->sbchdata[0].evhd = 0;
    (*second)->sbchdata[0].sbhd = 0;
    this->script_.answers = {{0, {*first}}, {0, {*second}}};
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->result_of(this->event[0]).evhd.event_number, 0U);
    EXPECT_EQ(this->result_of(this->event[0]).sbhd.mpulse, 0);
}

TYPED_TEST(reader_with_script, length_below_that_of_the_head_copies_the_head)
{
    this->start({"A"});
    for (const std::int32_t length :
         {0, 1, static_cast<int>(TypeParam::subhead_size) - 1, static_cast<int>(TypeParam::subhead_size), -1,
          std::numeric_limits<std::int32_t>::min()}) {
        record<TypeParam> a("A", 7);
        a.ldata(length);
        this->script_.answers = {{0, {*a}}};
        ASSERT_EQ(this->get(), 0);
        ASSERT_EQ(this->event.size(), 1U);
        EXPECT_STREQ(this->head_of(this->event[0]).chname, "A");
        EXPECT_EQ(this->head_of(this->event[0]).ldata, length);
    }
}

TYPED_TEST(reader_with_script, buffer_only_grows)
{
    this->start({"A"});
    record<TypeParam> small("A", 1, TypeParam::one_channel, std::string(10, 's'));
    record<TypeParam> large("A", 2, TypeParam::one_channel, std::string(100000, 'l'));
    this->script_.answers = {{0, {*small}}, {0, {*large}}, {0, {*small}}, {0, {*large}}};
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->get(), 0);
    const std::uint64_t buffer = this->event[0]->sbchdata[0].chhd;
    EXPECT_EQ(reinterpret_cast<const char*>(this->event[0]->sbchdata[0].data)[99999], 'l');
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->event[0]->sbchdata[0].chhd, buffer);
    EXPECT_EQ(this->head_of(this->event[0]).ldata, static_cast<int>(TypeParam::subhead_size + 10));
    EXPECT_EQ(reinterpret_cast<const char*>(this->event[0]->sbchdata[0].data)[9], 's');
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->event[0]->sbchdata[0].chhd, buffer);
}

TYPED_TEST(reader_with_script, flags_follow_the_event_also_after_one_that_failed)
{
    this->start({"A", "B"});
    record<TypeParam> a("A", 1);
    record<TypeParam> b("B", 1);
    record<TypeParam> large("A", 2, TypeParam::one_channel, std::string(1000, 'l'));
    this->script_.answers = {{0, {*a, *b}}, {0, {*large}}, {0, {*a}}};
    ASSERT_EQ(this->get(), 0);
    const auto* record_a = this->event[0];
    const auto* record_b = this->event[1];
    EXPECT_EQ(this->result_of(record_b).updated, 1);

    const trox_detail::os_calls before = trox_detail::os();
    trox_detail::os().realloc = [](void*, std::size_t) -> void* { return nullptr; };
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->get(), -6); }),
              "Failed to realloc " + std::to_string(TypeParam::subhead_size + 1000) + " of data for A\n");
    ::testing::internal::GetCapturedStderr();
    trox_detail::os() = before;
    EXPECT_TRUE(this->event.empty());
    EXPECT_EQ(this->result_of(record_a).updated, 0);
    EXPECT_EQ(this->result_of(record_b).updated, 0);

    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->delivered(), (names{"A:-1"}));
    EXPECT_EQ(this->result_of(record_a).updated, 1);
    EXPECT_EQ(this->reader.get_number_of_events(), 3);
}

// --- the legacy reader ----------------------------------------------------------------------------------

using legacy_with_script = reader_with_script<trox_test::reader_legacy>;
using legacy_record = record<trox_test::reader_legacy>;

TEST_F(legacy_with_script, tolerance_is_95_ms_whatever_the_environment_says)
{
    env.set("DAQ_MAX_TIME_STEP_SEC", "3");
    env.set("DAQ_MAX_TIME_STEP_USEC", "1250");
    trox_test::scripted_reader<trox_test::reader_legacy> fresh;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(fresh.start(), 0);
        EXPECT_EQ(script_.time_diff.timeup, 0U);
        EXPECT_EQ(script_.time_diff.timelow, 95000U);
        fresh.clean_up(); // puts the same back
    }
}

TEST_F(legacy_with_script, tolerance_comes_with_a_request)
{
    trox_daq_request request;
    request.ddir = "/no/such/directory";
    request.time_diff = {6, 7};
    ASSERT_EQ(reader.init(&request, nullptr), -10);
    ASSERT_EQ(reader.start(), 0);
    EXPECT_EQ(script_.time_diff.timeup, 6U);
    EXPECT_EQ(script_.time_diff.timelow, 7U);
}

TEST_F(legacy_with_script, update_types_of_later_generations_are_no_updates)
{
    start({"A", "B"});
    for (const int type : {TROX_UPD_BLOCK_2010, TROX_BOR_BLOCK_2010, TROX_EOR_BLOCK_2010}) {
        legacy_record plain("A", 1, type, update_of<trox_test::reader_legacy>("B"));
        script_.answers = {{0, {*plain}}};
        ASSERT_EQ(get(), 0);
        ASSERT_EQ(delivered(), (names{"A:-1"})) << type << " goes by the name in its head";
        EXPECT_EQ(result_of(event[0]).slow, 0);
    }
}

using later_with_script = reader_with_script<trox_test::reader_2024>;
using later_record = record<trox_test::reader_2024>;

TEST_F(later_with_script, update_types_of_the_legacy_generation_are_no_updates)
{
    start({"A", "B"});
    for (const int type : {TROX_UPD_BLOCK, TROX_BOR_BLOCK, TROX_EOR_BLOCK}) {
        later_record plain("A", 1, type, update_of<trox_test::reader_2024>("B"));
        script_.answers = {{0, {*plain}}};
        ASSERT_EQ(get(), 0);
        ASSERT_EQ(delivered(), (names{"A:-1"})) << type << " goes by the name in its head";
        EXPECT_EQ(result_of(event[0]).slow, 0);
    }
}

} // namespace
