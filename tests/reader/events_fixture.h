// A reader over a run of three files.
#ifndef TROX_TEST_EVENTS_FIXTURE_H
#define TROX_TEST_EVENTS_FIXTURE_H

#include "reader_fixture.h"

namespace trox_test
{

inline constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;

class reader_events : public reader_test
{
protected:
    using event = std::vector<trox_channel_entry_long*>;

    void init(const std::vector<std::string>& channels)
    {
        if (run.empty()) {
            run = write_run(dir);
        }
        channel_list list(channels);
        ASSERT_EQ(reader.init(run, list.list()), 0);
    }
    void start(const std::vector<std::string>& channels)
    {
        init(channels);
        ASSERT_EQ(reader.start(), 0);
        ASSERT_STREQ(reader.get_last_error(), "OK");
    }
    /// Numbers of all events that `next` gives, up to the answer that ends them.
    std::vector<std::uint32_t> numbers_until(int end_status)
    {
        std::vector<std::uint32_t> numbers;
        event records;
        int status = 0;
        while ((status = reader.get_data(nullptr, &records, next)) == 0) {
            numbers.push_back(records.at(0)->event_id.event_number);
        }
        EXPECT_EQ(status, end_status);
        return numbers;
    }

    std::vector<std::string> run;
    trox_daq_reader_2010 reader;
};

inline std::vector<std::uint32_t> numbers(std::uint32_t first, std::uint32_t last, std::uint32_t step = 1)
{
    std::vector<std::uint32_t> list;
    for (std::uint32_t number = first; number <= last; number += step) {
        list.push_back(number);
    }
    return list;
}

} // namespace trox_test

#endif
