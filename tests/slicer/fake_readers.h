// A slicer on fake channel readers.
#ifndef TROX_TEST_FAKE_READERS_H
#define TROX_TEST_FAKE_READERS_H

#include "captured_stdout.h"
#include "fake_generation.h"
#include "slicer_types.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace slicer_test
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using trox_test::printed_by;
using trox_test::records_of;
using trox_test::slicer_generation_names;
using trox_test::slicer_generations;
using trox_test::slicer_generations_since_2010;
using trox_test::time_id_of;

/// The slicer of fake channel readers that goes with a real one.
template <class T> using fake_slicer_of = fake_slicer<typename T::generation>;

constexpr int first = TROX_DAQ_READ_CHAN_EVENT_FIRST;
constexpr int previous = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int current = TROX_DAQ_READ_CHAN_EVENT_CUR;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int last = TROX_DAQ_READ_CHAN_EVENT_LAST;

template <class T> class fake_readers : public testing::Test
{
protected:
    using slicer_type = fake_slicer_of<T>;
    using entry_type = typename T::entry;

    void SetUp() override
    {
        world = {};
    }

    /// A record that lives as long as the test.
    entry_type* record(std::uint64_t number, std::uint32_t seconds, std::uint32_t microseconds,
                       int dtype = T::trace_type)
    {
        auto& block = *blocks_.emplace_back(std::make_unique<typename T::subhead>());
        block.dtype = dtype;
        auto& made = *records_.emplace_back(std::make_unique<entry_type>());
        made.event_id = {static_cast<typename T::event_number>(number), {seconds, microseconds}};
        made.sbchdata[0].chhd = reinterpret_cast<std::uint64_t>(&block);
        return &made;
    }
    /// Makes a channel answer with an event, and hold it as its current one.
    void answers(const std::string& name, entry_type* answer)
    {
        world.channels[name].answers = {{0, answer}};
        world.channels[name].current = {0, answer};
    }
    /// Starts the slicer on channels that answer well; the first call, which is special, is done.
    void start(slicer_type& slicer, const std::vector<std::string>& names,
               const std::vector<std::string>& files = {"file0", "file1", "file2"})
    {
        init(slicer, names, files);
        for (const auto& name : names) {
            answers(name, record(50, 50, 0));
        }
        ASSERT_EQ(slicer.start(), 0);
        records_of<T> found;
        ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    }
    void init(slicer_type& slicer, const std::vector<std::string>& names, const std::vector<std::string>& files)
    {
        std::vector<std::unique_ptr<typename T::chan_param>> params;
        std::vector<typename T::chan_param*> pointers;
        for (const auto& name : names) {
            auto& param = *params.emplace_back(std::make_unique<typename T::chan_param>());
            name.copy(param.name, sizeof(param.name) - 1);
            param.subchan = 3;
            pointers.push_back(&param);
        }
        ASSERT_EQ(slicer.init(&files, &pointers, 0), 0);
    }
    /// The event that is chosen among these answers of channels A and B to a request relative to event 50.
    std::uint64_t chosen(int request, entry_type* a, entry_type* b)
    {
        slicer_type slicer;
        start(slicer, {"A", "B"});
        answers("A", a);
        answers("B", b);
        records_of<T> found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0);
        return found.empty() ? 0 : found.front()->event_id.event_number;
    }
    /// The same by time, relative to second 50, with a tolerance of 100 us; microseconds of the chosen event.
    std::string chosen_by_time(int request, entry_type* a, entry_type* b)
    {
        slicer_type slicer;
        time_stamp diff{0, 100};
        slicer.set_time_diff(&diff);
        slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
        start(slicer, {"A", "B"});
        answers("A", a);
        answers("B", b);
        records_of<T> found;
        slicer.set_debug(1);
        const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); });
        const std::string mark = "(output): ";
        const auto at = text.find(mark) + mark.size();
        return text.substr(at, text.find(' ', at) - at);
    }

    fake_world<typename T::generation>& world = world_of<typename T::generation>;

private:
    std::vector<std::unique_ptr<typename T::subhead>> blocks_;
    std::vector<std::unique_ptr<entry_type>> records_;
};
TYPED_TEST_SUITE(fake_readers, slicer_generations, slicer_generation_names);

template <class T> using fake_readers_since_2010 = fake_readers<T>;
TYPED_TEST_SUITE(fake_readers_since_2010, slicer_generations_since_2010, slicer_generation_names);
using legacy_fake_readers = fake_readers<trox_test::slicer_legacy>;

} // namespace slicer_test

#endif
