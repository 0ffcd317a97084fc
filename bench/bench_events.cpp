#include "bench_files.h"
#include "benchmarks.h"
#include "measure.h"

#include "trox_daq_read_chan_2010.h"
#include "trox_daq_reader_2010.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace bench
{

namespace
{

/// A reader started over the first `channels` channels of one file: everything is decoded when it stands. `run`
/// takes all its events.
class event_loop
{
public:
    event_loop(const std::string& path, const file_shape& shape) : path_(path), shape_(shape) {}

    void prepare()
    {
        reader_ = std::make_unique<trox_daq_reader_2010>();
        reader_->set_data_dir(nullptr);
        if (reader_->add_file(path_.c_str(), true) != 0) {
            throw std::runtime_error(std::string("add_file: ") + reader_->get_last_error());
        }
        for (std::size_t i = 0; i < shape_.channels; ++i) {
            const std::string name = channel_name(i);
            daq_channel_entry entry{name.c_str(), {-1, -1, -1, -1, 0, 0, 0}};
            reader_->add_channel(&entry);
        }
        time_stamp tolerance{0, 1000};
        reader_->set_time_diff(&tolerance);
        if (reader_->start() != 0) {
            throw std::runtime_error(std::string("start: ") + reader_->get_last_error());
        }
    }

    void run()
    {
        std::size_t delivered = 0;
        while (reader_->get_data(nullptr, &result_, TROX_DAQ_READ_CHAN_EVENT_NEXT) == 0) {
            delivered += result_.size();
            if (reader_->get_number_of_events() == static_cast<int>(shape_.events)) {
                break; // what follows is the search for another file
            }
        }
        if (delivered != shape_.channels * shape_.events) {
            throw std::runtime_error("the event loop delivered " + std::to_string(delivered) + " records");
        }
    }

private:
    std::string path_;
    file_shape shape_;
    std::unique_ptr<trox_daq_reader_2010> reader_;
    std::vector<trox_channel_entry_long*> result_;
};

/// What plain copying moves of a record: what a program wants, or all that an event loop must keep of it.
enum class copied { payload, whole_record };

/// The records of the same file, decoded by channel readers, and their plain copying event by event.
class plain_delivery
{
public:
    plain_delivery(const std::string& path, const file_shape& shape, copied what) : shape_(shape), what_(what)
    {
        if (tables_.get_all_tables(path, 0, nullptr) != 0) {
            throw std::runtime_error("the tables of " + path + " do not load");
        }
        for (std::size_t i = 0; i < shape.channels; ++i) {
            readers_.push_back(
                std::make_unique<trox_daq_read_chan_2010>(&tables_, channel_name(i).c_str(), -1, nullptr));
            collect(*readers_.back());
            buffers_.emplace_back(heads + shape.payload);
        }
    }

    void run()
    {
        for (std::size_t event = 0; event < shape_.events; ++event) {
            for (std::size_t i = 0; i < shape_.channels; ++i) {
                copy(*records_[i * shape_.events + event], buffers_[i].data());
            }
        }
        keep(buffers_.back()[0]);
    }

private:
    static constexpr std::size_t heads =
        sizeof(trox_eventheader) + sizeof(trox_serv_block_head_2010) + sizeof(trox_serv_block_subhead_2010);

    void copy(const trox_channel_entry_long& record, unsigned char* to) const
    {
        const auto& blocks = record.sbchdata[0];
        const auto move = [&](std::uint64_t from, std::size_t size) {
            std::memcpy(to, reinterpret_cast<const void*>(from), size);
            to += size;
        };
        if (what_ == copied::whole_record) {
            move(blocks.evhd, sizeof(trox_eventheader));
            move(blocks.sbhd, sizeof(trox_serv_block_head_2010));
            move(blocks.chhd, sizeof(trox_serv_block_subhead_2010) + shape_.payload);
        } else {
            move(blocks.data, shape_.payload);
        }
    }
    void collect(trox_daq_read_chan_2010& reader)
    {
        pthread_mutex_t* mutex = nullptr;
        pthread_cond_t* cond = nullptr;
        int* flag = nullptr;
        if (reader.start(&mutex, &cond, &flag) != 0) {
            throw std::runtime_error("a channel does not start");
        }
        ::pthread_mutex_lock(mutex);
        while (*flag == 0) {
            ::pthread_cond_wait(cond, mutex);
        }
        ::pthread_mutex_unlock(mutex);
        trox_channel_entry_long* record = nullptr;
        int status = reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST);
        while (status == 0) {
            records_.push_back(record);
            trox_time_id id = record->event_id;
            status = reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_NEXT);
        }
        if (records_.size() % shape_.events != 0) {
            throw std::runtime_error("a channel does not deliver all its records");
        }
    }

    file_shape shape_;
    copied what_;
    trox_file_get_tables_2010 tables_{0};
    std::vector<std::unique_ptr<trox_daq_read_chan_2010>> readers_;
    std::vector<const trox_channel_entry_long*> records_;
    std::vector<std::vector<unsigned char>> buffers_;
};

void beside_copying(const file_shape& shape, int rounds)
{
    constexpr std::size_t goal_from = 4096;
    constexpr double most = 2.0;
    const scratch_directory directory;
    const std::string path = directory.data_file(1);
    write_file(path, shape);
    plain_delivery plain(path, shape, copied::payload);
    event_loop loop(path, shape);
    char heading[160];
    std::snprintf(heading, sizeof heading, "Event loop: %zu channels, %zu events, payloads of %zu bytes",
                  shape.channels, shape.events, shape.payload);
    print_heading(heading);
    const auto times = interleaved_medians(
        {{"event loop", [&] { loop.prepare(); }, [&] { loop.run(); }}, {"plain copy", {}, [&] { plain.run(); }}},
        rounds);
    const auto records = static_cast<double>(shape.channels * shape.events);
    const double bytes = records * static_cast<double>(shape.payload);
    print_time("event loop", times[0], bytes);
    print_time("plain copying of the payloads, same order", times[1], bytes);
    std::printf("    fixed cost per channel and event: %.0f ns\n", (times[0] - times[1]) / records * 1e9);
    print_ratio("time / plain copy", times[0] / times[1], shape.payload >= goal_from ? at_most(most) : goal{});
}

double cost_ns(double seconds, const file_shape& shape)
{
    return seconds / static_cast<double>(shape.channels * shape.events) * 1e9;
}

/// Cost per channel and event of a small and a large shape, in the same rounds. Beside it that of plain copying of the
/// same records in the same order: what the machine's caches allow.
void growth(const char* name, const file_shape& small, const file_shape& large, int rounds)
{
    constexpr double most = 1.5;
    const scratch_directory directory;
    const std::string small_path = directory.data_file(1);
    const std::string large_path = directory.data_file(2);
    write_file(small_path, small);
    write_file(large_path, large);
    event_loop small_loop(small_path, small);
    event_loop large_loop(large_path, large);
    plain_delivery small_plain(small_path, small, copied::whole_record);
    plain_delivery large_plain(large_path, large, copied::whole_record);
    print_heading(name);
    const auto times = interleaved_medians({{"small", [&] { small_loop.prepare(); }, [&] { small_loop.run(); }},
                                            {"large", [&] { large_loop.prepare(); }, [&] { large_loop.run(); }},
                                            {"small, copied", {}, [&] { small_plain.run(); }},
                                            {"large, copied", {}, [&] { large_plain.run(); }}},
                                           rounds);
    const double costs[] = {cost_ns(times[0], small), cost_ns(times[1], large), cost_ns(times[2], small),
                            cost_ns(times[3], large)};
    std::printf("    per channel and event                     event loop   plain copying of the records\n");
    std::printf("    %4zu channels, %6zu records %18.0f ns %18.0f ns\n", small.channels, small.events, costs[0],
                costs[2]);
    std::printf("    %4zu channels, %6zu records %18.0f ns %18.0f ns\n", large.channels, large.events, costs[1],
                costs[3]);
    print_ratio("growth of plain copying", costs[3] / costs[2], goal{});
    print_ratio("growth of the event loop", costs[1] / costs[0], at_most(most));
}

} // namespace

void loop_over_events(int rounds)
{
    beside_copying({200, 500, 4096}, rounds);
    beside_copying({20, 500, 65536}, rounds);
    beside_copying({200, 2000, 64}, rounds);
    const int fewer = std::min(rounds, 5);
    growth("Event loop: from 10 to 1,000 channels", {10, 1000, 64}, {1000, 1000, 64}, fewer);
    growth("Event loop: from 1,000 to 100,000 records a channel", {10, 1000, 64}, {10, 100'000, 64}, fewer);
}

} // namespace bench
