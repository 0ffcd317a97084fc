// The reader over a slicer that answers as a test tells it: answers, settings and records that files do not bring
// about.
#include "scripted_slicer.h"

namespace
{

using trox_test::entry;
using trox_test::head_of;
using trox_test::names;
using trox_test::printed_by;
using trox_test::reader_with_script;
using trox_test::record;
using trox_test::result_of;
using trox_test::script;
using trox_test::update_of;

// --- start --------------------------------------------------------------------------------------------

TEST_F(reader_with_script, start_hands_settings_files_and_channels_to_the_slicer)
{
    trox_time_id period{2, {3, 4}};
    time_stamp tolerance{5, 6};
    reader.set_period(&period);
    reader.set_time_diff(&tolerance);
    reader.set_synch_mode(1);
    reader.set_by_time_fix(false);
    reader.set_skip_bad_records(true);
    reader.add_file("/x/linac_main_run1_file1_20120614T093000.raw", true);
    script_.by_time_fix = true;
    start({"A:3;nick", "B"});
    EXPECT_EQ(script_.calls, (names{"init", "set_synch_mode", "set_time_diff", "set_event_step", "start"}));
    EXPECT_EQ(script_.files, (names{"/x/linac_main_run1_file1_20120614T093000.raw"}));
    EXPECT_EQ(script_.channels, (names{"A:3", "B:-1"}));
    EXPECT_EQ(script_.mode, 0);
    EXPECT_EQ(script_.synch_mode, 1);
    EXPECT_FALSE(script_.by_time_fix);
    EXPECT_TRUE(script_.skip);
    EXPECT_EQ(script_.time_diff.timeup, 5U);
    EXPECT_EQ(script_.time_diff.timelow, 6U);
    EXPECT_EQ(script_.step.event_number, 2U);
    EXPECT_EQ(script_.step.time.timeup, 3U);
    EXPECT_EQ(script_.step.time.timelow, 4U);
    EXPECT_EQ(script_.debug, -99) << "level 0 is not handed on";
    EXPECT_EQ(reader.get_number_of_bad_records(), 11);
    EXPECT_EQ(reader.get_number_of_bad_files(), 22);
}

TEST_F(reader_with_script, running_reader_hands_debug_level_and_time_fix_on)
{
    reader.set_debug(3);
    printed_by([&] { start({"A"}); });
    EXPECT_EQ(script_.debug, 3);
    reader.set_debug(0);
    EXPECT_EQ(script_.debug, 0);
    EXPECT_TRUE(script_.by_time_fix);
    reader.set_by_time_fix(false);
    EXPECT_FALSE(script_.by_time_fix);
}

struct failure {
    const char* what;
    int script::*status;
    const char* text; ///< printed with debugging
    const char* last_error;
    std::size_t calls; ///< made up to the failure
};

class failing_start : public reader_with_script, public ::testing::WithParamInterface<failure>
{
};

TEST_P(failing_start, answers_the_slicers_status_and_keeps_the_slicer)
{
    script_.*GetParam().status = -4;
    script_.not_found = "A;B";
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.start(), -4); }), "");
    EXPECT_STREQ(reader.get_last_error(), GetParam().last_error);
    EXPECT_EQ(script_.calls.size(), GetParam().calls);
    EXPECT_EQ(reader.start(), -8);
    reader.clean_up();
    EXPECT_EQ(script_.calls.back(), "clean_up");
    reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.start(), -4); }), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    steps, failing_start,
    ::testing::Values(
        failure{"init", &script::init_status, "Failed to init slicer error:-4\n", "Not Initialized", 1},
        failure{"synch_mode", &script::synch_mode_status, "Failed to set synch mode:0 at the slicer error:-4\n",
                "Not Initialized", 2},
        failure{"time_diff", &script::time_diff_status, "Failed to set time diff erro:-4\n", "Not Initialized", 3},
        failure{"event_step", &script::event_step_status, "Failed to set event step error:-4\n", "Not Initialized", 4},
        failure{"start", &script::start_status, "Failed to start slicer error:-4\n", "Not Initialized:A;B", 5}),
    [](const auto& step) { return std::string(step.param.what); });

// --- answers ------------------------------------------------------------------------------------------

TEST_F(reader_with_script, known_failures_are_passed_on_and_leave_the_last_error)
{
    start({"A"});
    for (const int status : {-2, -3, -6, -7}) {
        script_.answers = {{status}};
        reader.set_error(-10);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(get(), status); }), "");
        EXPECT_STREQ(reader.get_last_error(), "Files not found");
    }
    EXPECT_EQ(reader.get_number_of_events(), 0);
    EXPECT_EQ(reader.get_number_of_empty_events(), 0);
}

TEST_F(reader_with_script, other_failures_are_told_and_kept)
{
    start({"A"});
    for (const int status : {-1, -4, -5, -8, -9, -10, -11, 1, 77}) {
        script_.answers = {{status}};
        reader.set_error(0);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(get(), status); }),
                  "Unexpected return code " + std::to_string(status) + "\n");
        EXPECT_STREQ(reader.get_last_error(), reader.error_i2a(status));
    }
}

TEST_F(reader_with_script, answers_without_data_are_counted_until_an_event_comes)
{
    start({"A"});
    record a("A", 5);
    script_.answers = {{0}, {0}, {0, {*a}}};
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(reader.get_number_of_empty_events(), 2);
    EXPECT_EQ(reader.get_number_of_events(), 1);
    script_.asked = 0;
    reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(get(), 0); }), "BREAKING HERE 1 mode: 0 \nBREAKING HERE 1 mode: 0 \n");
}

TEST_F(reader_with_script, target_and_request_are_handed_on_each_time)
{
    start({"A"});
    record a("A", 5);
    script_.answers = {{0}, {0, {*a}}};
    trox_time_id target{4, {0, 0}};
    ASSERT_EQ(reader.get_data(&target, &event, TROX_DAQ_READ_CHAN_EVENT_PREV), 0);
    EXPECT_EQ(script_.target, &target);
    EXPECT_EQ(script_.request, TROX_DAQ_READ_CHAN_EVENT_PREV);
    EXPECT_EQ(script_.asked, 2U);
}

TEST_F(reader_with_script, answers_in_place_end_after_a_thousand)
{
    start({"A"});
    script_.answers = {{0}};
    EXPECT_EQ(get(), -1);
    EXPECT_STREQ(reader.get_last_error(), "No required data");
    EXPECT_EQ(script_.asked, 1000U);
    EXPECT_EQ(reader.get_number_of_empty_events(), 1000);
}

TEST_F(reader_with_script, slow_answer_is_told_with_negative_debug_levels)
{
    start({"A"});
    record a("A", 5);
    script_.answers = {{0, {*a}, 3}};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(get(), 0); }), "");
    reader.set_debug(-1);
    const std::string text = printed_by([&] { EXPECT_EQ(get(), 0); });
    double took_ms = 0;
    ASSERT_EQ(std::sscanf(text.c_str(), "slicer_2010->get_data() %lf msec\n", &took_ms), 1) << text;
    EXPECT_GT(took_ms, 2.9);
    EXPECT_EQ(text.back(), '\n');
}

// --- the reference of an event ------------------------------------------------------------------------

TEST_F(reader_with_script, range_is_judged_by_the_first_record_that_is_no_update)
{
    trox_time_id first{5, {0, 0}};
    reader.set_start_point(&first);
    start({"A", "U"});
    record bor("U", 9, TROX_BOR_BLOCK_2010, update_of("U"));
    record eor("U", 9, TROX_EOR_BLOCK_2010, update_of("U"));
    record update("U", 9, TROX_UPD_BLOCK_2010, update_of("U"));
    record early("A", 4);
    record late("A", 5);
    script_.answers = {{0, {*bor, *eor, *update, *early}}, {0, {*update, *late}}};
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(script_.asked, 2U) << "number 4 lies before the range, whatever the updates say";
}

TEST_F(reader_with_script, record_without_head_is_told_and_no_reference_and_not_delivered)
{
    trox_time_id first{5, {0, 0}};
    reader.set_start_point(&first);
    start({"A", "B"});
    record none("A", 4);
    (*none)->sbchdata[0].chhd = 0;
    record good("B", 6);
    script_.answers = {{0, {*none, *good}}};
    reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { ASSERT_EQ(get(), 0); }), "trox_daq_reader_2010::get_data() chan_header is NULL\n");
    EXPECT_EQ(delivered(), (names{"B:-1"}));
    // Alone it is the first entry, and so the reference.
    record only("A", 6);
    (*only)->sbchdata[0].chhd = 0;
    script_.answers = {{0, {*only}}};
    script_.asked = 0;
    reader.set_debug(0);
    ASSERT_EQ(get(), 0);
    EXPECT_TRUE(event.empty());
    EXPECT_EQ(reader.get_number_of_events(), 2);
}

// --- whose record it is -------------------------------------------------------------------------------

TEST_F(reader_with_script, record_goes_to_the_first_result_of_its_key)
{
    start({"A", "A:0", "A:1", "B:-7", ":3", ":3"});
    record whole("A", 1);
    record cut("A:1", 1);
    record negative("B", 1);
    record unnamed(":3", 1);
    record stranger("A:2", 1);
    script_.answers = {{0, {*unnamed, *stranger, *negative, *cut, *whole}}};
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(delivered(), (names{"A:-1", "A:1", "B:-7", ":3"})) << "in channel order, strangers dropped";
}

TEST_F(reader_with_script, update_goes_by_the_name_in_its_payload)
{
    start({"LONG:2", "LONG", "A"});
    for (const int type : {TROX_UPD_BLOCK_2010, TROX_BOR_BLOCK_2010, TROX_EOR_BLOCK_2010}) {
        record update("A", 1, type, update_of("LONG"));
        script_.answers = {{0, {*update}}};
        ASSERT_EQ(get(), 0);
        ASSERT_FALSE(event.empty());
        EXPECT_EQ(delivered().front(), "LONG:2") << type;
        EXPECT_EQ(result_of(event.front()).slow, 1) << "since the first, an update";
    }
}

TEST_F(reader_with_script, only_an_update_makes_a_channel_slow)
{
    start({"A", "B"});
    record bor("x", 1, TROX_BOR_BLOCK_2010, update_of("A"));
    record cut("B", 1, TROX_UPD_BLOCK_2010 | 0x10000);
    script_.answers = {{0, {*bor, *cut}}};
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(delivered(), (names{"A:-1", "B:-1"}));
    EXPECT_EQ(result_of(event[0]).slow, 0);
    EXPECT_EQ(result_of(event[1]).slow, 0);
}

TEST_F(reader_with_script, update_name_ends_with_its_field_or_its_payload)
{
    const std::string name(255, 'n');
    start({name, "SHORT"});
    record filled("x", 1, TROX_UPD_BLOCK_2010, std::string(272, 'n'));
    record short_payload("x", 1, TROX_UPD_BLOCK_2010, "SHORT");
    record no_payload("SHORT", 1, TROX_UPD_BLOCK_2010);
    script_.answers = {{0, {*filled, *no_payload}}, {0, {*short_payload}}};
    ASSERT_EQ(get(), 0);
    EXPECT_TRUE(event.empty()) << "256 characters are another name; none is none";
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(delivered(), (names{"SHORT:-1"}));
}

TEST_F(reader_with_script, record_name_that_fills_its_field_matches_a_key_of_that_length)
{
    const std::string name(253, 'n');
    start({name + ":12", name});
    record filled(name + ":12", 1); // 256 characters, no NUL
    script_.answers = {{0, {*filled}}};
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(delivered(), (names{name + ":12"}));
}

TEST_F(reader_with_script, records_out_of_channel_order_find_their_results)
{
    names channels;
    std::vector<std::unique_ptr<record>> records;
    script::answer answer;
    for (int i = 0; i < 100; ++i) {
        channels.push_back("CHANNEL/" + std::to_string(i));
        records.push_back(std::make_unique<record>(channels.back(), static_cast<std::uint32_t>(i + 1)));
    }
    for (int i = 0; i < 100; ++i) {
        answer.records.push_back(**records[static_cast<std::size_t>(i * 37 % 100)]);
    }
    script_.answers = {answer};
    start(channels);
    ASSERT_EQ(get(), 0);
    ASSERT_EQ(event.size(), 100U);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(event[i]->event_id.event_number, i + 1);
        EXPECT_EQ(head_of(event[i]).chname, channels[i]);
    }
}

// --- what is copied -----------------------------------------------------------------------------------

TEST_F(reader_with_script, copies_outlive_the_slicers_records)
{
    start({"A"});
    {
        record a("A", 7, TROX_BLOCK_1CHAN_2010, "payload");
        script_.answers = {{0, {*a}}};
        ASSERT_EQ(get(), 0);
    }
    EXPECT_EQ(event[0]->event_id.event_number, 7U);
    EXPECT_EQ(event[0]->event_id.time.timeup, 1007U);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(event[0]->sbchdata[0].data), "payload", 7), 0);
    EXPECT_EQ(reinterpret_cast<const trox_eventheader*>(event[0]->sbchdata[0].evhd)->event_number, 7U);
    EXPECT_EQ(reinterpret_cast<const trox_serv_block_head_2010*>(event[0]->sbchdata[0].sbhd)->mpulse, 7);
    for (std::size_t i = 1; i < 8; ++i) {
        EXPECT_EQ(event[0]->sbchdata[i].evhd, 0U) << "not in use";
    }
}

TEST_F(reader_with_script, absent_heads_leave_no_old_ones_behind)
{
    start({"A"});
    record first("A", 7);
    record second("A", 8);
    (*second)->sbchdata[0].evhd = 0;
    (*second)->sbchdata[0].sbhd = 0;
    script_.answers = {{0, {*first}}, {0, {*second}}};
    ASSERT_EQ(get(), 0);
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(result_of(event[0]).evhd.event_number, 0U);
    EXPECT_EQ(result_of(event[0]).sbhd.mpulse, 0);
}

TEST_F(reader_with_script, length_below_that_of_the_head_copies_the_head)
{
    start({"A"});
    for (const std::int32_t length : {0, 1, 267, 268, -1, std::numeric_limits<std::int32_t>::min()}) {
        record a("A", 7);
        a.ldata(length);
        script_.answers = {{0, {*a}}};
        ASSERT_EQ(get(), 0);
        ASSERT_EQ(event.size(), 1U);
        EXPECT_STREQ(head_of(event[0]).chname, "A");
        EXPECT_EQ(head_of(event[0]).ldata, length);
    }
}

TEST_F(reader_with_script, buffer_only_grows)
{
    start({"A"});
    record small("A", 1, TROX_BLOCK_1CHAN_2010, std::string(10, 's'));
    record large("A", 2, TROX_BLOCK_1CHAN_2010, std::string(100000, 'l'));
    script_.answers = {{0, {*small}}, {0, {*large}}, {0, {*small}}, {0, {*large}}};
    ASSERT_EQ(get(), 0);
    ASSERT_EQ(get(), 0);
    const std::uint64_t buffer = event[0]->sbchdata[0].chhd;
    EXPECT_EQ(reinterpret_cast<const char*>(event[0]->sbchdata[0].data)[99999], 'l');
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(event[0]->sbchdata[0].chhd, buffer);
    EXPECT_EQ(head_of(event[0]).ldata, 278);
    EXPECT_EQ(reinterpret_cast<const char*>(event[0]->sbchdata[0].data)[9], 's');
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(event[0]->sbchdata[0].chhd, buffer);
}

TEST_F(reader_with_script, flags_follow_the_event_also_after_one_that_failed)
{
    start({"A", "B"});
    record a("A", 1);
    record b("B", 1);
    record large("A", 2, TROX_BLOCK_1CHAN_2010, std::string(1000, 'l'));
    script_.answers = {{0, {*a, *b}}, {0, {*large}}, {0, {*a}}};
    ASSERT_EQ(get(), 0);
    const entry* record_a = event[0];
    const entry* record_b = event[1];
    EXPECT_EQ(result_of(record_b).updated, 1);

    const trox_detail::os_calls before = trox_detail::os();
    trox_detail::os().realloc = [](void*, std::size_t) -> void* { return nullptr; };
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(get(), -6); }), "Failed to realloc 1268 of data for A\n");
    ::testing::internal::GetCapturedStderr();
    trox_detail::os() = before;
    EXPECT_TRUE(event.empty());
    EXPECT_EQ(result_of(record_a).updated, 0);
    EXPECT_EQ(result_of(record_b).updated, 0);

    ASSERT_EQ(get(), 0);
    EXPECT_EQ(delivered(), (names{"A:-1"}));
    EXPECT_EQ(result_of(record_a).updated, 1);
    EXPECT_EQ(reader.get_number_of_events(), 3);
}

} // namespace
