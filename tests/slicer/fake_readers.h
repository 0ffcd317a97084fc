// A slicer on fake channel readers.
#ifndef TROX_TEST_FAKE_READERS_H
#define TROX_TEST_FAKE_READERS_H

#include "captured_stdout.h"
#include "fake_generation.h"

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
using records = std::vector<trox_channel_entry_long*>;

constexpr int first = TROX_DAQ_READ_CHAN_EVENT_FIRST;
constexpr int previous = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int current = TROX_DAQ_READ_CHAN_EVENT_CUR;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int last = TROX_DAQ_READ_CHAN_EVENT_LAST;

class fake_readers : public testing::Test
{
protected:
    void SetUp() override
    {
        world = {};
    }

    /// A record that lives as long as the test.
    trox_channel_entry_long* record(std::uint32_t number, std::uint32_t seconds, std::uint32_t microseconds,
                                    int dtype = TROX_BLOCK_1CHAN_2010)
    {
        auto& block = *blocks_.emplace_back(std::make_unique<trox_serv_block_subhead_2010>());
        block.dtype = dtype;
        auto& made = *records_.emplace_back(std::make_unique<trox_channel_entry_long>());
        made.event_id = {number, {seconds, microseconds}};
        made.sbchdata[0].chhd = reinterpret_cast<std::uint64_t>(&block);
        return &made;
    }
    /// Makes a channel answer with an event, and hold it as its current one.
    void answers(const std::string& name, trox_channel_entry_long* answer)
    {
        world.channels[name].answers = {{0, answer}};
        world.channels[name].current = {0, answer};
    }
    /// Starts the slicer on channels that answer well; the first call, which is special, is done.
    void start(fake_slicer& slicer, const std::vector<std::string>& names,
               const std::vector<std::string>& files = {"file0", "file1", "file2"})
    {
        init(slicer, names, files);
        for (const auto& name : names) {
            answers(name, record(50, 50, 0));
        }
        ASSERT_EQ(slicer.start(), 0);
        records found;
        ASSERT_EQ(slicer.get_data(nullptr, &found, current), 0);
    }
    void init(fake_slicer& slicer, const std::vector<std::string>& names, const std::vector<std::string>& files)
    {
        std::vector<std::unique_ptr<trox_daq_chan_param_2010>> params;
        std::vector<trox_daq_chan_param_2010*> pointers;
        for (const auto& name : names) {
            auto& param = *params.emplace_back(std::make_unique<trox_daq_chan_param_2010>());
            name.copy(param.name, sizeof(param.name) - 1);
            param.subchan = 3;
            pointers.push_back(&param);
        }
        ASSERT_EQ(slicer.init(&files, &pointers, 0), 0);
    }
    /// The event that is chosen among these answers of channels A and B to a request relative to event 50.
    std::uint32_t chosen(int request, trox_channel_entry_long* a, trox_channel_entry_long* b)
    {
        fake_slicer slicer;
        start(slicer, {"A", "B"});
        answers("A", a);
        answers("B", b);
        records found;
        EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0);
        return found.empty() ? 0 : found.front()->event_id.event_number;
    }
    /// The same by time, relative to second 50, with a tolerance of 100 us; microseconds of the chosen event.
    std::string chosen_by_time(int request, trox_channel_entry_long* a, trox_channel_entry_long* b)
    {
        fake_slicer slicer;
        time_stamp diff{0, 100};
        slicer.set_time_diff(&diff);
        slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
        start(slicer, {"A", "B"});
        answers("A", a);
        answers("B", b);
        records found;
        slicer.set_debug(1);
        const std::string text = printed_by([&] { EXPECT_EQ(slicer.get_data(nullptr, &found, request), 0); });
        const std::string mark = "(output): ";
        const auto at = text.find(mark) + mark.size();
        return text.substr(at, text.find(' ', at) - at);
    }

private:
    std::vector<std::unique_ptr<trox_serv_block_subhead_2010>> blocks_;
    std::vector<std::unique_ptr<trox_channel_entry_long>> records_;
};

} // namespace slicer_test

#endif
