// Small data files, requests and expectations for the slicer's tests.
#ifndef TROX_TEST_SLICER_FILES_H
#define TROX_TEST_SLICER_FILES_H

#include "captured_stdout.h"
#include "slicer_types.h"
#include "trox_writer.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <stdlib.h>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace slicer_test
{

namespace tw = trox::writer;
using trox_test::event_text;
using trox_test::init;
using trox_test::params_of;
using trox_test::records_of;
using trox_test::slicer_generation_names;
using trox_test::slicer_generations;
using trox_test::slicer_generations_since_2010;
using trox_test::slicer_of;
using trox_test::time_id_of;

/// Kinds of records that a test channel has.
enum class kind {
    trace,     ///< one sample
    update,    ///< a slow value, in update events
    undecoded, ///< marked as compressed by a compressor that does not exist
};

struct sample {
    std::uint64_t number;
    time_stamp time;
    kind what = kind::trace;
};

/// A channel of a file; without samples it stands in the dictionary only.
struct channel {
    std::string name;
    std::vector<sample> samples;
};

/// Microsecond-exact time of event `number` of a machine of 10 Hz, `later_us` behind.
inline time_stamp time_of(std::uint64_t number, std::uint32_t later_us = 0)
{
    constexpr std::uint32_t start = 1339666200;
    constexpr std::uint32_t period_us = 100000;
    return time_stamp{start + static_cast<std::uint32_t>(number / 10),
                      static_cast<std::uint32_t>(number % 10) * period_us} +
           time_stamp{0, later_us};
}

/// Samples of events first, first + step, ... up to and with last.
inline std::vector<sample> events(std::uint64_t first, std::uint64_t last, std::uint64_t step = 1)
{
    std::vector<sample> all;
    for (std::uint64_t number = first; number <= last; number += step) {
        all.push_back({number, time_of(number)});
    }
    return all;
}

/// The value that a trace of an event carries.
inline float value_of(std::uint64_t number)
{
    return static_cast<float>(number) + 0.5F;
}

template <class T> void add_record(tw::file_writer& file, tw::channel_id id, const std::string& name, const sample& one)
{
    switch (one.what) {
    case kind::trace:
        file.add_record(id, tw::spectrum_payload(T::format, T::trace_type, {value_of(one.number)}));
        break;
    case kind::update:
        file.add_record(id, tw::update_payload(T::format, name, value_of(one.number), one.time));
        break;
    case kind::undecoded: {
        const std::vector<unsigned char> bytes(16, 0x55);
        tw::stored_record record;
        record.dtype = T::trace_type;
        record.bytes = bytes;
        record.zip = tw::stored_record::zip_head{0x80, 36, std::nullopt};
        file.add_record(id, record);
        break;
    }
    }
}

/// Writes a data file; samples of equal number, time and event type share one event.
template <class T> void write_file(const std::string& path, const std::vector<channel>& channels)
{
    tw::file_writer file(path, T::format);
    using event_key = std::tuple<std::uint32_t, std::uint32_t, int, std::uint64_t>;
    std::map<event_key, std::vector<std::pair<std::size_t, const sample*>>> by_event;
    std::vector<tw::channel_id> ids;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        ids.push_back(file.add_channel(channels[i].name));
        for (const sample& one : channels[i].samples) {
            const int type = one.what == kind::update ? TROX_EV_UPD : TROX_EV_NORMAL;
            by_event[{one.time.timeup, one.time.timelow, type, one.number}].emplace_back(i, &one);
        }
    }
    for (const auto& [key, records] : by_event) {
        const auto& [seconds, microseconds, type, number] = key;
        tw::event_info event;
        event.number = number;
        event.time = {seconds, microseconds};
        event.type = type;
        file.begin_event(event);
        tw::server_block_info block;
        block.name = "TEST.SVR";
        file.begin_server_block(block);
        for (const auto& [i, one] : records) {
            add_record<T>(file, ids[i], channels[i].name, *one);
        }
        file.end_event();
    }
    file.finish();
}

/// A request's channels, as the slicer takes them.
template <class T> class channel_list
{
public:
    using param = typename T::chan_param;

    channel_list(std::initializer_list<std::string> names)
    {
        for (const auto& name : names) {
            add(name);
        }
    }
    channel_list(const channel_list&) = delete;
    channel_list& operator=(const channel_list&) = delete;

    void add(const std::string& name, int subchan = -1)
    {
        auto& made = *params_.emplace_back(std::make_unique<param>());
        name.copy(made.name, sizeof(made.name) - 1);
        made.subchan = subchan;
        pointers_.push_back(&made);
    }
    const std::vector<param*>* operator&() const
    {
        return &pointers_;
    }
    param& operator[](std::size_t i)
    {
        return *params_[i];
    }

private:
    std::vector<std::unique_ptr<param>> params_;
    std::vector<param*> pointers_;
};

/// A folder of data files that goes with the test.
template <class T> class slicer_files : public testing::Test
{
protected:
    using slicer_type = typename T::slicer;
    using entry_type = typename T::entry;

    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "trox_slicer_XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    /// Path of a file of the folder.
    std::string path(const std::string& name) const
    {
        return folder_ + "/" + name + ".raw";
    }
    /// Writes a file and adds it to `files`.
    std::string add_file(const std::string& name, const std::vector<channel>& channels)
    {
        write_file<T>(path(name), channels);
        files.push_back(path(name));
        return files.back();
    }
    /// Adds a file that is no data file.
    std::string add_damaged_file(const std::string& name)
    {
        std::ofstream(path(name), std::ios::binary) << std::string(5000, 'x');
        files.push_back(path(name));
        return files.back();
    }

    /// Name of the channel that a record belongs to.
    static std::string name_in(const entry_type& record)
    {
        return reinterpret_cast<const typename T::subhead*>(record.sbchdata[0].chhd)->chname;
    }
    /// The sample of a trace.
    static float value_in(const entry_type& record)
    {
        float value = 0;
        const auto* payload = reinterpret_cast<const char*>(record.sbchdata[0].data);
        std::memcpy(&value, payload + sizeof(typename T::spectrum_head), sizeof value);
        return value;
    }
    /// "NAME@NUMBER" of every record.
    static std::vector<std::string> labels(const std::vector<entry_type*>& all)
    {
        std::vector<std::string> texts;
        for (const auto* record : all) {
            texts.push_back(name_in(*record) + "@" + std::to_string(record->event_id.event_number));
        }
        return texts;
    }

    /// Starts a slicer on all files.
    void start(slicer_type& slicer, const channel_list<T>& channels) const
    {
        ASSERT_EQ(init(slicer, files, channels), 0);
        ASSERT_EQ(slicer.start(), 0);
    }

    std::vector<std::string> files;

private:
    std::string folder_;
};

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using trox_test::captured_stdout;
using trox_test::printed_by;

constexpr int first = TROX_DAQ_READ_CHAN_EVENT_FIRST;
constexpr int previous = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int current = TROX_DAQ_READ_CHAN_EVENT_CUR;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int last = TROX_DAQ_READ_CHAN_EVENT_LAST;

} // namespace slicer_test

#endif
