// A slicer that answers as a test tells it, and a reader over it.
#ifndef TROX_TEST_SCRIPTED_SLICER_H
#define TROX_TEST_SCRIPTED_SLICER_H

#include "reader_fixture.h"

#include "generation/traits_reader_2010.h"
#include "generic/reader_discovery.inl"
#include "generic/reader_events.inl"
#include "generic/reader_files.inl"
#include "generic/reader_report.inl"
#include "generic/reader_request.inl"

#include <chrono>
#include <thread>

namespace trox_test
{

using entry = trox_channel_entry_long;

/// What the slicer answers, and what it was told.
struct script {
    struct answer {
        int status = 0;
        std::vector<entry*> records{};
        int takes_ms = 0;
    };

    int init_status = 0;
    int synch_mode_status = 0;
    int time_diff_status = 0;
    int event_step_status = 0;
    int start_status = 0;
    std::string not_found;
    std::vector<answer> answers; // the last one again and again

    std::vector<std::string> files;
    std::vector<std::string> channels;
    std::vector<std::string> calls;
    int mode = -1;
    int debug = -99;
    int synch_mode = -1;
    bool by_time_fix = false;
    bool skip = false;
    time_stamp time_diff{};
    trox_time_id step{};
    const trox_time_id* target = nullptr;
    int request = 99;
    std::size_t asked = 0;
};
inline script* told = nullptr;

class scripted_slicer
{
public:
    void set_debug(int level)
    {
        told->debug = level;
    }
    void set_by_time_fix(bool on)
    {
        told->by_time_fix = on;
    }
    void set_skip_bad_records(bool skip)
    {
        told->skip = skip;
    }
    int init(const std::vector<std::string>* files, const std::vector<trox_daq_chan_param_2010*>* chans, int mode)
    {
        told->calls.emplace_back("init");
        told->files = *files;
        for (const auto* chan : *chans) {
            told->channels.push_back(chan->name + (":" + std::to_string(chan->subchan)));
        }
        told->mode = mode;
        return told->init_status;
    }
    int set_synch_mode(int mode)
    {
        told->calls.emplace_back("set_synch_mode");
        told->synch_mode = mode;
        return told->synch_mode_status;
    }
    int set_time_diff(const time_stamp* diff)
    {
        told->calls.emplace_back("set_time_diff");
        told->time_diff = *diff;
        return told->time_diff_status;
    }
    int set_event_step(const trox_time_id* step)
    {
        told->calls.emplace_back("set_event_step");
        told->step = *step;
        return told->event_step_status;
    }
    int start()
    {
        told->calls.emplace_back("start");
        return told->start_status;
    }
    const char* get_not_found_channels() const
    {
        return told->not_found.c_str();
    }
    int get_data(const trox_time_id* target, std::vector<entry*>* result, int request)
    {
        told->target = target;
        told->request = request;
        const auto& answer = told->answers[std::min(told->asked, told->answers.size() - 1)];
        ++told->asked;
        std::this_thread::sleep_for(std::chrono::milliseconds(answer.takes_ms));
        *result = answer.records;
        return answer.status;
    }
    void clean_up()
    {
        told->calls.emplace_back("clean_up");
    }
    int get_number_of_bad_records() const
    {
        return 11;
    }
    int get_number_of_bad_files() const
    {
        return 22;
    }
};

struct scripted_generation : trox_detail::generation_2010 {
    using slicer = scripted_slicer;
};

} // namespace trox_test

namespace trox_detail
{

template <> struct reader_traits<trox_test::scripted_generation> : reader_traits<generation_2010> {
};
template <> struct reader_texts<trox_test::scripted_generation> : reader_texts<generation_2010> {
};

} // namespace trox_detail

namespace trox_test
{

class scripted_reader : public trox_detail::basic_reader<scripted_generation>
{
public:
    using basic_reader::basic_reader;
    using basic_reader::set_by_time_fix;
    using basic_reader::set_time_diff;
};

/// A record in memory, as a channel reader publishes it.
class record
{
public:
    record(const std::string& name, std::uint32_t number, int dtype = TROX_BLOCK_1CHAN_2010,
           const std::string& payload = "")
        : block_(268 + payload.size())
    {
        std::memcpy(block_.data(), name.data(), std::min<std::size_t>(name.size(), 256));
        set_word(256, dtype);
        set_word(264, static_cast<std::int32_t>(block_.size()));
        std::memcpy(block_.data() + 268, payload.data(), payload.size());
        header_.event_number = number;
        server_.mpulse = static_cast<std::int32_t>(number);
        entry_.event_id = {number, {1000 + number, 0}};
        entry_.sbchdata[0] = {reinterpret_cast<std::uint64_t>(&header_), reinterpret_cast<std::uint64_t>(&server_),
                              reinterpret_cast<std::uint64_t>(block_.data()),
                              reinterpret_cast<std::uint64_t>(block_.data() + 268)};
    }
    record(const record&) = delete;
    record& operator=(const record&) = delete;

    record& ldata(std::int32_t value)
    {
        set_word(264, value);
        return *this;
    }
    entry* operator*()
    {
        return &entry_;
    }

private:
    void set_word(std::size_t position, std::int32_t value)
    {
        std::memcpy(block_.data() + position, &value, sizeof value);
    }

    std::vector<unsigned char> block_;
    trox_eventheader header_{};
    trox_serv_block_head_2010 server_{};
    entry entry_{};
};

/// Payload of an update: the channel's name in its field, and 16 bytes of values.
inline std::string update_of(const std::string& name, std::size_t size = 272)
{
    std::string payload = name;
    payload.resize(size);
    return payload;
}

using names = std::vector<std::string>;

class reader_with_script : public reader_test
{
protected:
    reader_with_script()
    {
        told = &script_;
    }
    void start(const std::vector<std::string>& channels)
    {
        channel_list list(channels);
        ASSERT_EQ(reader.set_channels(list.list()), 0);
        ASSERT_EQ(reader.start(), 0);
    }
    int get()
    {
        return reader.get_data(nullptr, &event, TROX_DAQ_READ_CHAN_EVENT_NEXT);
    }
    /// Channel names of the delivered records, as the reader's results know them.
    names delivered() const
    {
        names list;
        for (const entry* one : event) {
            const auto& chan = result_of(one).chan;
            list.push_back(chan.name + (":" + std::to_string(chan.subchan)));
        }
        return list;
    }

    script script_;
    scripted_reader reader;
    std::vector<entry*> event;
};

} // namespace trox_test

#endif
