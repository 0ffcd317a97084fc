// A slicer that answers as a test tells it, and a reader over it.
#ifndef TROX_TEST_SCRIPTED_SLICER_H
#define TROX_TEST_SCRIPTED_SLICER_H

#include "reader_fixture.h"

#include "generation/traits_reader_2010.h"
#include "generation/traits_reader_2024.h"
#include "generation/traits_reader_legacy.h"
#include "generic/reader_discovery.inl"
#include "generic/reader_events.inl"
#include "generic/reader_files.inl"
#include "generic/reader_report.inl"
#include "generic/reader_request.inl"

#include <chrono>
#include <thread>

namespace trox_test
{

/// What the slicer answers, and what it was told.
template <class T> struct script {
    using entry = typename T::channel_entry;
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
    typename T::time_id step{};
    const typename T::time_id* target = nullptr;
    int request = 99;
    std::size_t asked = 0;
};
template <class T> inline script<T>* told = nullptr;

template <class T> class scripted_slicer
{
public:
    void set_debug(int level)
    {
        told<T>->debug = level;
    }
    void set_by_time_fix(bool on)
    {
        told<T>->by_time_fix = on;
    }
    void set_skip_bad_records(bool skip)
    {
        told<T>->skip = skip;
    }
    /// The legacy slicer takes its files by reference.
    int init(const std::vector<std::string>& files, const std::vector<typename T::chan_param*>* chans, int mode)
    {
        return init(&files, chans, mode);
    }
    int init(const std::vector<std::string>* files, const std::vector<typename T::chan_param*>* chans, int mode)
    {
        told<T>->calls.emplace_back("init");
        told<T>->files = *files;
        for (const auto* chan : *chans) {
            told<T>->channels.push_back(chan->name + (":" + std::to_string(chan->subchan)));
        }
        told<T>->mode = mode;
        return told<T>->init_status;
    }
    int set_synch_mode(int mode)
    {
        told<T>->calls.emplace_back("set_synch_mode");
        told<T>->synch_mode = mode;
        return told<T>->synch_mode_status;
    }
    int set_time_diff(const time_stamp* diff)
    {
        told<T>->calls.emplace_back("set_time_diff");
        told<T>->time_diff = *diff;
        return told<T>->time_diff_status;
    }
    int set_event_step(const typename T::time_id* step)
    {
        told<T>->calls.emplace_back("set_event_step");
        told<T>->step = *step;
        return told<T>->event_step_status;
    }
    int start()
    {
        told<T>->calls.emplace_back("start");
        return told<T>->start_status;
    }
    const char* get_not_found_channels() const
    {
        return told<T>->not_found.c_str();
    }
    int get_data(const typename T::time_id* target, std::vector<typename T::channel_entry*>* result, int request)
    {
        told<T>->target = target;
        told<T>->request = request;
        const auto& answer = told<T>->answers[std::min(told<T>->asked, told<T>->answers.size() - 1)];
        ++told<T>->asked;
        std::this_thread::sleep_for(std::chrono::milliseconds(answer.takes_ms));
        *result = answer.records;
        return answer.status;
    }
    void clean_up()
    {
        told<T>->calls.emplace_back("clean_up");
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

template <class T> struct scripted_generation : T {
    using slicer = scripted_slicer<T>;
};

} // namespace trox_test

namespace trox_detail
{

template <class T> struct reader_traits<trox_test::scripted_generation<T>> : reader_traits<typename T::generation> {
};
template <class T> struct reader_texts<trox_test::scripted_generation<T>> : reader_texts<typename T::generation> {
};

} // namespace trox_detail

namespace trox_test
{

template <class T> class scripted_reader : public trox_detail::basic_reader<scripted_generation<T>>
{
public:
    using trox_detail::basic_reader<scripted_generation<T>>::set_by_time_fix;
    using trox_detail::basic_reader<scripted_generation<T>>::set_time_diff;
};

/// A record in memory, as a channel reader publishes it.
template <class T> class record
{
public:
    record(const std::string& name, std::uint32_t number, int dtype = T::one_channel, const std::string& payload = "")
        : block_(T::subhead_size + payload.size())
    {
        std::memcpy(block_.data(), name.data(), std::min(name.size(), T::head_name_size));
        set_word(T::head_name_size, dtype);
        ldata(static_cast<std::int32_t>(block_.size()));
        std::copy(payload.begin(), payload.end(), block_.begin() + T::subhead_size);
        header_.event_number = number;
        server_.mpulse = static_cast<std::int32_t>(number);
        entry_.event_id = {number, {1000 + number, 0}};
        entry_.sbchdata[0] = {reinterpret_cast<std::uint64_t>(&header_), reinterpret_cast<std::uint64_t>(&server_),
                              reinterpret_cast<std::uint64_t>(block_.data()),
                              reinterpret_cast<std::uint64_t>(block_.data() + T::subhead_size)};
    }
    record(const record&) = delete;
    record& operator=(const record&) = delete;

    record& ldata(std::int32_t value)
    {
        set_word(T::head_name_size + 8, value);
        return *this;
    }
    typename T::channel_entry* operator*()
    {
        return &entry_;
    }

private:
    void set_word(std::size_t position, std::int32_t value)
    {
        std::memcpy(block_.data() + position, &value, sizeof value);
    }

    std::vector<unsigned char> block_;
    typename T::event_header header_{};
    typename T::server_block_head server_{};
    typename T::channel_entry entry_{};
};

/// Payload of an update: the channel's name in its field, and 16 bytes of values.
template <class T> std::string update_of(const std::string& name, std::size_t size = T::update_size)
{
    std::string payload = name;
    payload.resize(size);
    return payload;
}

using names = std::vector<std::string>;

template <class T> class reader_with_script : public reader_test<T>
{
protected:
    reader_with_script()
    {
        told<T> = &script_;
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
        for (const auto* one : event) {
            const auto& chan = this->result_of(one).chan;
            list.push_back(chan.name + (":" + std::to_string(chan.subchan)));
        }
        return list;
    }

    script<T> script_;
    scripted_reader<T> reader;
    std::vector<typename T::channel_entry*> event;
};

} // namespace trox_test

#endif
