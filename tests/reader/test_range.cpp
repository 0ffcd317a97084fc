// Which events belong to the range.
#include "reader_fixture.h"

namespace
{

using trox_test::channel_list;
using trox_test::printed_by;
using trox_test::run_second;
using trox_test::time_of;

template <class T> class reader_range : public trox_test::reader_test<T>
{
protected:
    /// Numbers of the events between two points; each must end with -3.
    std::vector<std::uint64_t> read(typename T::time_id start, typename T::time_id stop, int mode,
                                    const std::vector<std::string>& channels = {trox_test::trace_name})
    {
        typename T::reader reader;
        channel_list list(channels);
        EXPECT_EQ(reader.init(run, list.list()), 0);
        typename T::time_id period{1, {0, 100000}};
        EXPECT_EQ(reader.set_period(&period), 0);
        EXPECT_EQ(reader.set_start_point(&start), 0);
        EXPECT_EQ(reader.set_stop_point(&stop), 0);
        EXPECT_EQ(reader.set_synch_mode(mode), 0);
        std::vector<std::uint64_t> numbers;
        int status = reader.start();
        if (status != 0) {
            end_status = status;
            return numbers;
        }
        std::vector<typename T::channel_entry*> records;
        while ((status = reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT)) == 0) {
            const auto& header = *reinterpret_cast<const typename T::event_header*>(records.at(0)->sbchdata[0].evhd);
            numbers.push_back(header.event_number);
        }
        end_status = status;
        return numbers;
    }
    static std::vector<std::uint64_t> numbers(std::uint32_t first, std::uint32_t last)
    {
        std::vector<std::uint64_t> list;
        for (std::uint32_t number = first; number <= last; ++number) {
            list.push_back(number);
        }
        return list;
    }

    static constexpr int evid = TROX_DAQ_SLICER_SYNCH_MODE_EVID;
    static constexpr int time = TROX_DAQ_SLICER_SYNCH_MODE_TIME;
    std::vector<std::string> run = this->write_run(this->dir);
    int end_status = 0;
};
TYPED_TEST_SUITE(reader_range, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_range, numbers_bound_the_events_both_included)
{
    EXPECT_EQ(this->read({1007, {}}, {1022, {}}, this->evid), this->numbers(1007, 1022));
    EXPECT_EQ(this->end_status, -3);
    EXPECT_EQ(this->read({1007, {}}, {}, this->evid), this->numbers(1007, 1029));
    EXPECT_EQ(this->read({}, {1001, {}}, this->evid), this->numbers(1000, 1001));
    EXPECT_EQ(this->read({1005, {}}, {1005, {}}, this->evid), this->numbers(1005, 1005));
}

TYPED_TEST(reader_range, stop_before_all_data_runs_to_the_end)
{
    EXPECT_EQ(this->read({}, {999, {}}, this->evid), this->numbers(1, 0));
    EXPECT_EQ(this->end_status, -3);
}

TYPED_TEST(reader_range, times_bound_the_events_both_included)
{
    for (const int mode : {this->evid, this->time}) {
        EXPECT_EQ(this->read({0, time_of(1007)}, {0, time_of(1022)}, mode), this->numbers(1007, 1022)) << mode;
        typename TypeParam::time_id between{0, time_of(1007) + time_stamp{0, 1}};
        EXPECT_EQ(this->read(between, {0, time_of(1022) + time_stamp{0, 99999}}, mode), this->numbers(1008, 1022))
            << mode;
    }
}

TYPED_TEST(reader_range, number_counts_before_time_by_event_number_only)
{
    EXPECT_EQ(this->read({1007, time_of(1015)}, {1020, {run_second + 10, 0}}, this->evid), this->numbers(1007, 1020));
    EXPECT_EQ(this->read({1007, time_of(1015)}, {1020, {run_second + 10, 0}}, this->time), this->numbers(1015, 1029));
}

TYPED_TEST(reader_range, files_outside_the_times_are_not_read)
{
    // Without the second file no event of it can come; the range asks for the third one's second.
    std::filesystem::resize_file(this->run[1], 100);
    typename TypeParam::reader reader;
    channel_list list{trox_test::trace_name};
    ASSERT_EQ(reader.init(std::vector<std::string>{this->run[0], this->run[1]}, list.list()), 0);
    typename TypeParam::time_id stop{0, {run_second, 900000}};
    reader.set_stop_point(&stop);
    ASSERT_EQ(reader.start(), 0);
    EXPECT_EQ(reader.get_number_of_files(), 1);
}

TYPED_TEST(reader_range, range_without_files_does_not_start)
{
    printed_by([&] { EXPECT_TRUE(this->read({0, {1000, 0}}, {0, {2000, 0}}, this->evid).empty()); });
    EXPECT_EQ(this->end_status, -1);
}

TYPED_TEST(reader_range, event_of_updates_only_is_judged_by_the_first_update)
{
    // Updates come 20 ms behind their events 1001, 1008, 1015, 1022 and 1029.
    EXPECT_EQ(this->read({0, time_of(1008) + time_stamp{0, 20000}}, {0, time_of(1022) + time_stamp{0, 19999}},
                         this->evid, {trox_test::slow_name}),
              (std::vector<std::uint64_t>{1008, 1015}));
}

TYPED_TEST(reader_range, event_with_other_data_is_judged_by_the_first_that_is_no_update)
{
    // The update is listed first and lies behind the stop, its event does not.
    EXPECT_EQ(this->read({0, time_of(1005)}, {0, time_of(1008) + time_stamp{0, 10000}}, this->evid,
                         {trox_test::slow_name, trox_test::trace_name}),
              this->numbers(1005, 1008));
}

TYPED_TEST(reader_range, request_of_an_unknown_mode_fails_with_the_first_event)
{
    const std::string catalogue = this->dir.make_directory("catalogue");
    trox_test::write_run_catalogue(catalogue);
    typename TypeParam::request request = trox_test::request_for_run<TypeParam>(catalogue, this->dir);
    request.synch_mode = 5;
    typename TypeParam::reader reader;
    channel_list list{trox_test::trace_name};
    ASSERT_EQ(reader.init(&request, list.list()), 0);
    ASSERT_EQ(reader.start(), 0);
    std::vector<typename TypeParam::channel_entry*> records;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT), -6); }),
              "Unknown synch mode 5\n");
    EXPECT_STREQ(reader.get_last_error(), "Intern error");
}

TYPED_TEST(reader_range, request_for_a_run_reads_its_events)
{
    const std::string catalogue = this->dir.make_directory("catalogue");
    trox_test::write_run_catalogue(catalogue);
    typename TypeParam::request request = trox_test::request_for_run<TypeParam>(catalogue, this->dir);
    typename TypeParam::reader reader;
    channel_list list{trox_test::trace_name, trox_test::sparse_name};
    ASSERT_EQ(reader.init(&request, list.list()), 0);
    ASSERT_EQ(reader.start(), 0);
    std::vector<typename TypeParam::channel_entry*> records;
    int events = 0;
    while (reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT) == 0) {
        ++events;
    }
    EXPECT_EQ(events, 30);
    EXPECT_EQ(reader.get_number_of_events(), 30);
}

} // namespace
