// A reader over a run of three files.
#ifndef TROX_TEST_EVENTS_FIXTURE_H
#define TROX_TEST_EVENTS_FIXTURE_H

#include "reader_fixture.h"

namespace trox_test
{

inline constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;

template <class T> class reader_events : public reader_test<T>
{
protected:
    using event = typename reader_test<T>::event;

    void init(const std::vector<std::string>& channels)
    {
        if (run.empty()) {
            run = this->write_run(this->dir);
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
    std::vector<std::uint64_t> numbers_until(int end_status)
    {
        std::vector<std::uint64_t> numbers;
        event records;
        int status = 0;
        while ((status = reader.get_data(nullptr, &records, next)) == 0) {
            numbers.push_back(records.at(0)->event_id.event_number);
        }
        EXPECT_EQ(status, end_status);
        return numbers;
    }

    std::vector<std::string> run;
    typename T::reader reader;
};

inline std::vector<std::uint64_t> numbers(std::uint64_t first, std::uint64_t last, std::uint64_t step = 1)
{
    std::vector<std::uint64_t> list;
    for (std::uint64_t number = first; number <= last; number += step) {
        list.push_back(number);
    }
    return list;
}

} // namespace trox_test

#endif
