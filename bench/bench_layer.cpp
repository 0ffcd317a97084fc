// Reading all events of a file through the generation-neutral layer beside the reader class, from opening to the last
// event, decoding included.
#include "bench_files.h"
#include "benchmarks.h"
#include "measure.h"

#include "trox/trox.h"
#include "trox_daq_reader_2010.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace bench
{

namespace
{

void expect_all(std::size_t delivered, const file_shape& shape)
{
    if (delivered != shape.channels * shape.events) {
        throw std::runtime_error("delivered " + std::to_string(delivered) + " records");
    }
}

void read_with_class(const std::string& path, const file_shape& shape)
{
    trox_daq_reader_2010 reader;
    reader.set_data_dir(nullptr);
    if (reader.add_file(path.c_str(), true) != 0) {
        throw std::runtime_error(reader.get_last_error());
    }
    for (std::size_t i = 0; i < shape.channels; ++i) {
        const std::string name = channel_name(i);
        daq_channel_entry entry{name.c_str(), {-1, -1, -1, -1, 0, 0, 0}};
        reader.add_channel(&entry);
    }
    if (reader.start() != 0) {
        throw std::runtime_error(reader.get_last_error());
    }
    std::size_t delivered = 0;
    std::vector<trox_channel_entry_long*> result;
    while (reader.get_number_of_events() < static_cast<int>(shape.events) &&
           reader.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT) == 0) {
        delivered += result.size();
    }
    reader.clean_up();
    expect_all(delivered, shape);
}

void read_with_layer(const std::string& path, const file_shape& shape)
{
    const auto data = trox::data_set::open_files({path});
    trox::event_reader events(data, {});
    std::size_t delivered = 0;
    for (const trox::event& event : events) {
        for (const trox::record& record : event.records()) {
            delivered += record ? 1 : 0;
        }
    }
    expect_all(delivered, shape);
}

void compare(const char* name, const file_shape& shape, int rounds)
{
    const scratch_directory directory;
    const std::string path = directory.data_file(1);
    write_file(path, shape);
    const auto times = interleaved_medians({{"reader class", [] {}, [&] { read_with_class(path, shape); }},
                                            {"layer", [] {}, [&] { read_with_layer(path, shape); }}},
                                           rounds);
    print_heading(name);
    const double bytes = static_cast<double>(shape.channels * shape.events * shape.payload);
    print_time("reader class, opening to last event", times[0], bytes);
    print_time("layer", times[1], bytes);
    print_ratio("reader class / layer", times[0] / times[1], at_least(0.8));
}

} // namespace

void read_through_layer(int rounds)
{
    compare("Layer: 200 channels of 4 KiB traces, zlib, 500 events", {200, 500, 4096, trox::writer::storage::zlib},
            rounds);
    compare("Layer: 10 channels of 64 KiB traces, zlib, 200 events", {10, 200, 65536, trox::writer::storage::zlib},
            rounds);
    compare("Layer: 200 channels of 32 bytes, plain, 500 events", {200, 500, 32, trox::writer::storage::plain}, rounds);
    compare("Layer: 10 channels of 64 KiB traces, plain, 200 events", {10, 200, 65536, trox::writer::storage::plain},
            rounds);
}

} // namespace bench
