// Generations whose channel readers and loaders answer what a test tells them, so that the slicer meets also what real
// ones do not do, or not at will. One beside each real generation, with its records, rules and texts.
#ifndef TROX_TEST_FAKE_GENERATION_H
#define TROX_TEST_FAKE_GENERATION_H

#include "detail/basic_slicer.h"
#include "event_util.h"
#include "generation/traits_slicer_2010.h"
#include "generation/traits_slicer_2024.h"
#include "generation/traits_slicer_legacy.h"
#include "generic/slicer_events.inl"

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace slicer_test
{

template <class Real> class fake_loader;
template <class Real> class fake_reader;
template <class Real> class fake_slicer;

template <class Real> struct fake_generation {
    using table_loader = fake_loader<Real>;
    using channel_reader = fake_reader<Real>;
    using slicer = fake_slicer<Real>;
    using event_number = typename Real::event_number;
    using time_id = typename Real::time_id;
    using channel_entry = typename Real::channel_entry;
    using chan_param = typename Real::chan_param;
    using subhead = typename Real::subhead;
};

/// What the fakes do; reset for every test.
template <class Real> struct fake_world {
    using event_number = typename Real::event_number;
    using time_id = typename Real::time_id;

    /// Answers of a channel's reader, in order; the last one is repeated.
    struct answer {
        int status = 0;
        typename Real::channel_entry* record = nullptr;
    };
    struct channel {
        std::deque<answer> answers{{}};    ///< to requests with a target
        answer current{};                  ///< to the current record
        std::deque<int> start_statuses{0}; ///< the last one is repeated
        int number_of_records = 1;
        int bad_records = 0;
        time_id first{};
        time_id last{static_cast<event_number>(-2), {0xFFFFFFFE, 0}};
        int constructed = 0;
        int questions = 0;
        bool descriptions_cleaned = false;
        bool construction_throws = false; ///< as if memory were short
        bool start_throws = false;
        // What the slicer has set on the channel's last reader.
        int subchan = 0;
        bool by_time_fix = false;
        bool skips = false;
        time_stamp time_diff{};
        time_id step{};
    };
    std::map<std::string, channel> channels;
    std::string file_that_throws;       ///< when its tables are loaded
    std::function<int()> load_status{}; ///< what loading answers; 0 without it
    int set_time_diff_status = 0;
    int set_step_status = 0;
    std::chrono::milliseconds answer_takes{0};
    std::chrono::milliseconds construction_takes{0};
    std::vector<std::string> log; ///< what was ended, in order
};
template <class Real> inline fake_world<Real> world_of;

template <class Real> class fake_loader : public std::enable_shared_from_this<fake_loader<Real>>
{
public:
    explicit fake_loader(int) {}
    ~fake_loader()
    {
        world_of<Real>.log.push_back("~loader " + name_);
    }
    int get_all_tables(const std::string& file, int, const std::vector<std::string>*)
    {
        if (file == world_of<Real>.file_that_throws) {
            throw std::length_error("fake loader");
        }
        name_ = file;
        return world_of<Real>.load_status ? world_of<Real>.load_status() : 0;
    }
    void clean_up() {}
    void set_debug(int) {}
    const char* get_file_name() const
    {
        return name_.c_str();
    }
    unsigned char* get_evh_base() const
    {
        return reinterpret_cast<unsigned char*>(std::uintptr_t{0x123456789ab});
    }
    int get_client_counter() const
    {
        return clients_;
    }
    void inc_client_counter()
    {
        ++clients_;
    }

private:
    std::string name_;
    int clients_ = 0;
};

template <class Real> class fake_reader
{
public:
    using time_id = typename Real::time_id;
    using entry = typename Real::channel_entry;

    fake_reader(fake_loader<Real>* loader, const char* name, int subchan, chan_descr_2010*)
        : loader_(loader->shared_from_this()), channel_(&world_of<Real>.channels[name])
    {
        if (channel_->construction_throws) {
            throw std::bad_alloc();
        }
        channel_->subchan = subchan;
        ++channel_->constructed;
        std::this_thread::sleep_for(world_of<Real>.construction_takes);
    }
    void set_by_time_fix(bool on) requires(!std::is_same_v<Real, trox_detail::generation_legacy>)
    {
        channel_->by_time_fix = on;
    }
    void set_skip_bad_records(bool skips)
    {
        channel_->skips = skips;
    }
    int set_time_diff(time_stamp* diff)
    {
        channel_->time_diff = *diff;
        return world_of<Real>.set_time_diff_status;
    }
    int set_step(time_id* step)
    {
        channel_->step = *step;
        return world_of<Real>.set_step_status;
    }
    int start(pthread_mutex_t** mutex, pthread_cond_t** cond, int** flag)
    {
        *mutex = &mutex_;
        *cond = &cond_;
        *flag = &flag_;
        if (channel_->start_throws) {
            throw std::bad_alloc();
        }
        return next_of(channel_->start_statuses);
    }
    int get_number_of_records() const
    {
        return channel_->number_of_records;
    }
    int get_number_of_bad_records() const
    {
        return channel_->bad_records;
    }
    bool is_current(const entry&) const noexcept
    {
        return false;
    }
    void fetch_ahead() const noexcept {}
    int get_chan_data(time_id* id, entry** out, int type)
    {
        const bool asks_for_event = id != nullptr;
        if (asks_for_event) {
            ++channel_->questions;
            if (world_of<Real>.answer_takes.count() > 0) {
                std::this_thread::sleep_for(world_of<Real>.answer_takes);
            }
        }
        const auto answer = asks_for_event                         ? next_of(channel_->answers)
                            : type == TROX_DAQ_READ_CHAN_EVENT_CUR ? channel_->current
                                                                   : typename fake_world<Real>::answer{};
        *out = answer.record;
        return answer.status;
    }
    void get_time_limits(time_id* first_event, time_id* last_event)
    {
        *first_event = channel_->first;
        *last_event = channel_->last;
    }
    void print_time_limits() {}
    fake_loader<Real>* get_cfg() const
    {
        return loader_.get();
    }
    void clean_descr()
    {
        channel_->descriptions_cleaned = true;
    }
    void clean()
    {
        world_of<Real>.log.emplace_back("clean");
    }

private:
    template <class Value> static Value next_of(std::deque<Value>& values)
    {
        const Value value = values.front();
        if (values.size() > 1) {
            values.pop_front();
        }
        return value;
    }

    std::shared_ptr<fake_loader<Real>> loader_;
    typename fake_world<Real>::channel* channel_;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond_ = PTHREAD_COND_INITIALIZER;
    int flag_ = 1;
};

template <class Real> void* fake_table_thread(void* task)
{
    return trox_detail::run_table_thread<fake_generation<Real>>(task);
}

} // namespace slicer_test

namespace trox_detail
{

template <class Real> struct slicer_texts<slicer_test::fake_generation<Real>> : slicer_texts<Real> {
};

template <class Real> struct slicer_traits<slicer_test::fake_generation<Real>> : slicer_traits<Real> {
    static constexpr auto table_thread = slicer_test::fake_table_thread<Real>;
};

} // namespace trox_detail

namespace slicer_test
{

template <class Real> class fake_slicer : public trox_detail::basic_slicer<fake_generation<Real>>
{
public:
    using trox_detail::basic_slicer<fake_generation<Real>>::init;
};

} // namespace slicer_test

#endif
