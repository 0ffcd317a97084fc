// Events and their data.
#include "events_fixture.h"

#include "generic/os_calls.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace
{

using trox_test::channel_list;
using trox_test::next;
using trox_test::numbers;
using trox_test::printed_by;
using trox_test::reader_events;
using trox_test::sample;
using trox_test::samples_of;
using trox_test::slow_value;
using trox_test::time_of;

TYPED_TEST_SUITE(reader_events, trox_test::reader_types, trox_test::reader_type_names);

// --- get_data -----------------------------------------------------------------------------------------

TYPED_TEST(reader_events, get_data_before_start_is_not_initialised)
{
    typename TestFixture::event records;
    this->reader.set_error(-5);
    EXPECT_EQ(this->reader.get_data(nullptr, &records, next), -4);
    EXPECT_STREQ(this->reader.get_last_error(), "Channel not found") << "untouched";
}

TYPED_TEST(reader_events, get_data_refuses_a_null_result_and_unknown_requests)
{
    this->start({trox_test::trace_name});
    EXPECT_EQ(this->reader.get_data(nullptr, nullptr, next), -7);
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
    typename TestFixture::event records;
    this->reader.set_error(0);
    EXPECT_EQ(this->reader.get_data(nullptr, &records, 3), -7);
    EXPECT_EQ(this->reader.get_data(nullptr, &records, -3), -7);
    EXPECT_STREQ(this->reader.get_last_error(), "OK") << "the slicer's own answers leave it alone";
    EXPECT_EQ(this->reader.get_number_of_events(), 0);
}

TYPED_TEST(reader_events, all_events_of_all_files_come_in_order)
{
    this->start({trox_test::trace_name});
    EXPECT_EQ(this->numbers_until(-3), numbers(1000, 1029));
    EXPECT_EQ(this->reader.get_number_of_events(), 30);
    EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
    EXPECT_EQ(this->reader.get_number_of_bad_records(), 0);
    EXPECT_EQ(this->reader.get_number_of_bad_files(), 0);
    EXPECT_STREQ(this->reader.get_last_error(), "OK") << "of the last event";
}

TYPED_TEST(reader_events, result_is_emptied_and_holds_the_channels_of_the_event_in_order)
{
    this->start({trox_test::sparse_name, trox_test::trace_name});
    typename TestFixture::event records(5, nullptr);
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_STREQ(this->head_of(records[0]).chname, trox_test::sparse_name);
    EXPECT_STREQ(this->head_of(records[1]).chname, trox_test::trace_name);
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    ASSERT_EQ(records.size(), 1U) << "SPARSE comes with every fifth event";
    EXPECT_STREQ(this->head_of(records[0]).chname, trox_test::trace_name);
}

TYPED_TEST(reader_events, every_event_has_its_own_data_and_heads)
{
    this->start({trox_test::trace_name});
    typename TestFixture::event records;
    for (std::uint32_t number = 1000; number < 1030; ++number) {
        ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
        ASSERT_EQ(records.size(), 1U);
        const auto* record = records[0];
        EXPECT_EQ(record->event_id.event_number, number);
        EXPECT_EQ(record->event_id.time.timeup, time_of(number).timeup);
        EXPECT_EQ(record->event_id.time.timelow, time_of(number).timelow);
        const auto& head = this->head_of(record);
        EXPECT_EQ(head.dtype, TypeParam::one_channel);
        EXPECT_EQ(static_cast<std::size_t>(head.ldata),
                  TypeParam::subhead_size + TypeParam::spectrum_head_size + 4 * samples_of(number));
        for (std::size_t i = 0; i < samples_of(number); ++i) {
            EXPECT_EQ(this->value_of(record, i), sample(number, i));
        }
        const auto& event_header = *reinterpret_cast<const typename TypeParam::event_header*>(record->sbchdata[0].evhd);
        EXPECT_EQ(event_header.event_number, number);
        EXPECT_EQ(event_header.event_type, TROX_EV_NORMAL);
        const auto& server = *reinterpret_cast<const typename TypeParam::server_block_head*>(record->sbchdata[0].sbhd);
        EXPECT_STREQ(server.server, "TEST.SVR1");
    }
}

TYPED_TEST(reader_events, records_point_at_the_readers_own_copies)
{
    this->start({trox_test::trace_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    const auto& result = this->result_of(records[0]);
    const auto& pointers = records[0]->sbchdata[0];
    EXPECT_EQ(pointers.evhd, reinterpret_cast<std::uint64_t>(&result.evhd));
    EXPECT_EQ(pointers.sbhd, reinterpret_cast<std::uint64_t>(&result.sbhd));
    EXPECT_EQ(pointers.chhd, reinterpret_cast<std::uint64_t>(result.data));
    EXPECT_EQ(pointers.data, pointers.chhd + TypeParam::subhead_size);
    EXPECT_STREQ(result.chan.name, trox_test::trace_name);
    EXPECT_EQ(result.updated, 1);
    EXPECT_EQ(result.slow, 0);
}

TYPED_TEST(reader_events, buffer_grows_for_a_larger_record_and_stays_for_a_smaller_one)
{
    this->start({trox_test::trace_name});
    typename TestFixture::event records;
    std::vector<std::uint64_t> buffers;
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
        buffers.push_back(records[0]->sbchdata[0].chhd);
    }
    // Event 1000 is a large one: all that follow fit.
    for (const std::uint64_t buffer : buffers) {
        EXPECT_EQ(buffer, buffers[0]);
    }
    typename TypeParam::reader other;
    channel_list list{trox_test::trace_name};
    ASSERT_EQ(other.init(this->run, list.list()), 0);
    typename TypeParam::time_id first{1005, {0, 0}};
    ASSERT_EQ(other.set_start_point(&first), 0);
    ASSERT_EQ(other.start(), 0);
    for (std::uint32_t number = 1005; number <= 1011; ++number) {
        ASSERT_EQ(other.get_data(nullptr, &records, next), 0);
        EXPECT_EQ(this->value_of(records[0], samples_of(number) - 1), sample(number, samples_of(number) - 1));
    }
}

TYPED_TEST(reader_events, slow_channel_stays_with_its_latest_value)
{
    this->start({trox_test::trace_name, trox_test::slow_name});
    typename TestFixture::event records;
    std::uint32_t last_slow = 0;
    for (std::uint32_t number = 1000; number < 1030; ++number) {
        ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
        ASSERT_EQ(records[0]->event_id.event_number, number);
        last_slow = number % 7 == 0 ? number : last_slow;
        if (last_slow == 0) {
            EXPECT_EQ(records.size(), 1U) << "nothing before the first update, event " << number;
            continue;
        }
        ASSERT_EQ(records.size(), 2U) << number;
        const auto& result = this->result_of(records[1]);
        EXPECT_EQ(result.slow, 1);
        EXPECT_EQ(result.updated, number % 7 == 0 ? 1 : 0) << number;
        EXPECT_EQ(this->head_of(records[1]).dtype, TypeParam::update_type);
        EXPECT_EQ(records[1]->event_id.event_number, last_slow);
        typename TypeParam::update_block update{};
        std::memcpy(&update, reinterpret_cast<const void*>(records[1]->sbchdata[0].data), sizeof update);
        EXPECT_STREQ(update.upd_prop, trox_test::slow_name);
        EXPECT_EQ(update.upd_ch_data, slow_value(last_slow));
        EXPECT_EQ(this->result_of(records[0]).updated, 1);
        EXPECT_EQ(this->result_of(records[0]).slow, 0);
    }
}

TYPED_TEST(reader_events, fast_channel_without_data_is_absent_but_keeps_its_copy)
{
    this->start({trox_test::sparse_name, trox_test::trace_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    const typename TypeParam::channel_entry* sparse = records[0];
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(sparse->event_id.event_number, 1000U);
    EXPECT_EQ(this->value_of(sparse, 1), 2.0F);
    EXPECT_EQ(this->result_of(sparse).updated, 0);
}

TYPED_TEST(reader_events, subchannels_are_told_apart_by_their_keys)
{
    const std::string members = trox_test::members_name;
    this->start({members + ":3;energy", members + ":0", members, members + ":9"});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    ASSERT_EQ(records.size(), 3U) << "there is no member 9";
    EXPECT_EQ(this->head_of(records[0]).chname, members + ":3");
    EXPECT_EQ(this->value_of(records[0], 0), 1000.0F);
    EXPECT_EQ(this->head_of(records[1]).chname, members + ":0");
    EXPECT_EQ(this->value_of(records[1], 0), 1.0F);
    EXPECT_EQ(this->head_of(records[2]).chname, members);
    EXPECT_EQ(this->value_of(records[2], 3), 1000.0F);
}

TYPED_TEST(reader_events, update_goes_to_the_first_channel_of_its_name)
{
    const std::string slow = trox_test::slow_name;
    this->start({trox_test::trace_name, slow + ":0", slow});
    typename TestFixture::event records;
    do {
        ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    } while (records.size() == 1);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(this->result_of(records[1]).chan.subchan, 0) << "by name, whatever the sub-channel";
}

TYPED_TEST(reader_events, explicit_target_and_request_types_move_as_asked)
{
    this->start({trox_test::trace_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    EXPECT_EQ(records[0]->event_id.event_number, 1000U);
    typename TypeParam::time_id target{1005, {0, 0}};
    ASSERT_EQ(this->reader.get_data(&target, &records, next), 0);
    EXPECT_EQ(records[0]->event_id.event_number, 1006U);
    ASSERT_EQ(this->reader.get_data(&target, &records, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
    EXPECT_EQ(records[0]->event_id.event_number, 1005U);
    ASSERT_EQ(this->reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_PREV), 0);
    EXPECT_EQ(records[0]->event_id.event_number, 1004U);
    EXPECT_EQ(this->reader.get_number_of_events(), 4);
}

TYPED_TEST(reader_events, waiting_for_what_cannot_come_ends)
{
    this->init({trox_test::trace_name});
    typename TypeParam::time_id first{1010, {0, 0}};
    typename TypeParam::time_id last{1015, {0, 0}};
    ASSERT_EQ(this->reader.set_start_point(&first), 0);
    ASSERT_EQ(this->reader.set_stop_point(&last), 0);
    ASSERT_EQ(this->reader.start(), 0);
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    ASSERT_EQ(records[0]->event_id.event_number, 1010U);
    // No answer, or again and again the same one outside the range, however often these are asked.
    const std::pair<std::uint32_t, int> outside[] = {
        {1007, TROX_DAQ_READ_CHAN_EVENT_CUR}, {1017, TROX_DAQ_READ_CHAN_EVENT_CUR}, {1017, next}};
    for (const auto& [number, request] : outside) {
        typename TypeParam::time_id target{number, time_of(number)};
        EXPECT_EQ(this->reader.get_data(&target, &records, request), -1) << number;
        EXPECT_STREQ(this->reader.get_last_error(), "No required data");
        EXPECT_TRUE(records.empty());
    }
    EXPECT_EQ(this->reader.get_number_of_events(), 1);
    typename TypeParam::time_id inside{1015, time_of(1015)};
    ASSERT_EQ(this->reader.get_data(&inside, &records, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
    EXPECT_EQ(records[0]->event_id.event_number, 1015U);
}

TYPED_TEST(reader_events, answers_without_data_are_counted_and_end)
{
    this->start({trox_test::sparse_name});
    typename TestFixture::event records;
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    typename TypeParam::time_id missing{1003, {0, 0}};
    EXPECT_EQ(this->reader.get_data(&missing, &records, TROX_DAQ_READ_CHAN_EVENT_CUR), -1);
    EXPECT_STREQ(this->reader.get_last_error(), "No required data");
    EXPECT_GT(this->reader.get_number_of_empty_events(), 0);
    EXPECT_EQ(this->reader.get_number_of_events(), 1);
}

TYPED_TEST(reader_events, records_without_memory_end_the_call)
{
    // Replaced before the start, whose thread looks at the calls as well.
    static std::atomic<bool> refuses{false};
    static const trox_detail::os_calls before = trox_detail::os();
    trox_detail::os().realloc = [](void* block, std::size_t size) {
        return refuses ? nullptr : std::realloc(block, size);
    };
    this->start({trox_test::trace_name});
    typename TestFixture::event records;
    refuses = true;
    this->reader.set_error(-5);
    ::testing::internal::CaptureStderr();
    const std::string text = printed_by([&] { EXPECT_EQ(this->reader.get_data(nullptr, &records, next), -6); });
    const std::string reason = ::testing::internal::GetCapturedStderr();
    refuses = false;
    const std::size_t size = TypeParam::subhead_size + TypeParam::spectrum_head_size + 64 * sizeof(float);
    EXPECT_EQ(text, "Failed to realloc " + std::to_string(size) + " of data for " + trox_test::trace_name + "\n");
    EXPECT_EQ(reason.rfind("realloc: ", 0), 0U) << reason;
    EXPECT_STREQ(this->reader.get_last_error(), "Channel not found") << "untouched";
    ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
    EXPECT_EQ(records[0]->event_id.event_number, 1001U);
    this->reader.clean_up();
    trox_detail::os() = before;
}

TYPED_TEST(reader_events, record_without_payload_is_delivered_as_its_head)
{
    const std::string path = this->dir / "linac_main_run8_file1_20120614T093000.raw";
    trox_test::tw::file_writer file(path, TypeParam::format);
    const auto channel = file.add_channel("EMPTY");
    for (std::uint32_t number = 1000; number < 1005; ++number) {
        file.begin_event({number, time_of(number)});
        file.begin_server_block({"SVR"});
        trox_test::tw::stored_record record;
        record.dtype = TypeParam::one_channel;
        if (number == 1001) {
            record.ldata = 0;
        } else if (number == 1002) {
            record.ldata = 40;
        }
        file.add_record(channel, record);
        file.end_event();
    }
    file.finish();
    this->run = {path};
    this->start({"EMPTY"});
    typename TestFixture::event records;
    for (std::uint32_t number = 1000; number < 1005; ++number) {
        ASSERT_EQ(this->reader.get_data(nullptr, &records, next), 0);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_STREQ(this->head_of(records[0]).chname, "EMPTY");
        EXPECT_EQ(this->head_of(records[0]).ldata, number == 1001   ? 0
                                                   : number == 1002 ? 40
                                                                    : static_cast<int>(TypeParam::subhead_size));
    }
}

TYPED_TEST(reader_events, bad_records_and_files_are_counted_when_they_are_passed_over)
{
    this->run = this->write_run(this->dir);
    trox_test::tw::file_options replace;
    replace.replace_existing = true;
    trox_test::tw::file_writer file(this->run[1], TypeParam::format, replace);
    const auto channel = file.add_channel(trox_test::trace_name);
    for (std::uint32_t number = 1010; number < 1020; ++number) {
        file.begin_event({number, time_of(number)});
        file.begin_server_block({"SVR"});
        const auto payload = trox_test::tw::spectrum_payload(TypeParam::format, TypeParam::one_channel, {1.0F});
        if (number % 4 == 0) {
            const std::vector<unsigned char> rubbish(20, 7);
            trox_test::tw::stored_record bad;
            bad.dtype = TypeParam::one_channel;
            bad.bytes = rubbish;
            bad.zip.emplace();
            bad.zip->flags = trox_zip_zlib;
            bad.zip->orig_length = 36;
            file.add_record(channel, bad);
        } else {
            file.add_record(channel, payload);
        }
        file.end_event();
    }
    file.finish();
    std::filesystem::resize_file(this->run[2], 100);
    this->reader.set_skip_bad_records(true);
    std::vector<std::uint64_t> expected = numbers(1000, 1011);
    for (const std::uint32_t number : {1013, 1014, 1015, 1017, 1018, 1019}) {
        expected.push_back(number);
    }
    printed_by([&] {
        this->start({trox_test::trace_name});
        EXPECT_EQ(this->numbers_until(-3), expected);
    });
    EXPECT_EQ(this->reader.get_number_of_bad_records(), 2);
    EXPECT_EQ(this->reader.get_number_of_bad_files(), 1);
    this->reader.clean_up();
    EXPECT_EQ(this->reader.get_number_of_bad_records(), 0);
    EXPECT_EQ(this->reader.get_number_of_bad_files(), 0);
    EXPECT_TRUE(this->reader.is_skip_bad_records());
}

} // namespace
