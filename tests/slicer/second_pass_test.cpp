// The slicer's second pass: what it hands out of a channel is what a reader beside it answers for the current event.
#include "slicer_files.h"

#include "channel_waiting.h"

#include <memory>

namespace slicer_test
{

namespace
{

/// One channel of one file, asked as the slicer asks it in its two passes, with the slicer's default settings.
template <class T> class asked_reader
{
public:
    using reader = typename T::generation::channel_reader;
    using time_id = typename T::time_id;

    asked_reader(const std::string& file, const char* channel)
    {
        EXPECT_EQ(loader_.get_all_tables(file, 0, nullptr), 0);
        reader_ = std::make_unique<reader>(&loader_, channel, -1, nullptr);
        time_stamp tolerance{0, 50000};
        time_id step{1, {0, 100000}};
        reader_->set_time_diff(&tolerance);
        reader_->set_step(&step);
        EXPECT_TRUE(trox_test::start_and_wait(*reader_));
    }

    /// Number of the current record, if it is of the event that the request chooses; 0 otherwise.
    std::uint64_t answer(time_id target, int request)
    {
        typename T::entry* chosen = nullptr;
        if (reader_->get_chan_data(&target, &chosen, request) != TROX_DAQ_READ_CHAN_OK || chosen == nullptr) {
            return 0;
        }
        const time_id event = chosen->event_id;
        typename T::entry* current = nullptr;
        if (reader_->get_chan_data(nullptr, &current, TROX_DAQ_READ_CHAN_EVENT_CUR) != TROX_DAQ_READ_CHAN_OK ||
            current == nullptr) {
            return 0;
        }
        return current->event_id.event_number == event.event_number ? event.event_number : 0;
    }

private:
    typename T::loader loader_{0};
    std::unique_ptr<reader> reader_;
};

} // namespace

template <class T> class slicer_second_pass : public slicer_files<T>
{
protected:
    /// Asks a slicer and a reader for the events of some of the samples. How many records there were.
    int compare(const std::vector<sample>& samples, const std::vector<std::size_t>& wanted)
    {
        this->files.clear();
        this->add_file(std::to_string(written_++), {{"A", samples}});
        asked_reader<T> reader(this->files.front(), "A");
        slicer_of<T> slicer;
        this->start(slicer, {"A"});
        records_of<T> found;
        slicer.get_data(nullptr, &found, current); // the first call is not like the others
        int delivered = 0;
        for (const std::size_t i : wanted) {
            const time_id_of<T> target{static_cast<typename T::event_number>(samples[i].number), samples[i].time};
            slicer.get_data(&target, &found, current);
            const std::uint64_t expected = reader.answer(target, current);
            EXPECT_EQ(found.size(), expected != 0 ? 1U : 0U) << "number " << target.event_number;
            if (expected != 0 && found.size() == 1) {
                EXPECT_EQ(found.front()->event_id.event_number, expected);
                ++delivered;
            }
        }
        return delivered;
    }

private:
    int written_ = 0;
};
TYPED_TEST_SUITE(slicer_second_pass, slicer_generations, slicer_generation_names);

TYPED_TEST(slicer_second_pass, delivers_every_record_where_numbers_ascend)
{
    EXPECT_EQ(this->compare(events(1, 9), {0, 1, 4, 8, 2, 2, 3}), 7);
}

TYPED_TEST(slicer_second_pass, asks_the_reader_where_times_do_not_ascend_with_the_numbers)
{
    // By time the first event is number 3, and the last one number 4.
    const std::vector<sample> samples{
        {1, time_of(30)}, {2, time_of(20)}, {3, time_of(10)}, {4, time_of(50)}, {5, time_of(40)}};
    EXPECT_EQ(this->compare(samples, {2, 3, 2, 3}), 4);
    EXPECT_EQ(this->compare(samples, {0, 1, 4, 2}), 1) << "the others lie outside by number";
}

TYPED_TEST(slicer_second_pass, asks_the_reader_where_an_event_has_number_0)
{
    const std::vector<sample> samples{{0, time_of(1)}, {2, time_of(2)}, {3, time_of(3)}};
    EXPECT_EQ(this->compare(samples, {1, 2, 1}), 3);
    this->files.clear();
    this->add_file("by_time", {{"A", samples}});
    slicer_of<TypeParam> slicer;
    slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
    this->start(slicer, {"A"});
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@0")) << "found by time, twice";
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@2"));
}

} // namespace slicer_test
