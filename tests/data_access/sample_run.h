// The sample runs, read event by event through a reader of each generation.
#ifndef TROX_TEST_SAMPLE_RUN_H
#define TROX_TEST_SAMPLE_RUN_H

#include "access_types.h"
#include "sample_files.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace trox_test
{

struct sample_legacy : access_legacy {
    using reader = trox_daq_reader;
    using time_id = trox_time_id;
    static constexpr auto samples = sample_generation::legacy;
    static constexpr const char* name = "legacy";
};
struct sample_2010 : access_2010 {
    using reader = trox_daq_reader_2010;
    using time_id = trox_time_id;
    static constexpr auto samples = sample_generation::g2010;
    static constexpr const char* name = "2010";
};
struct sample_2024 : access_2024 {
    using reader = trox_daq_reader_2024;
    using time_id = trox_time_id_2024;
    static constexpr auto samples = sample_generation::g2024;
    static constexpr const char* name = "2024";
};
using all_samples = ::testing::Types<sample_legacy, sample_2010, sample_2024>;

template <class T> std::vector<std::string> sample_paths()
{
    std::vector<std::string> paths = sample_names(T::samples);
    for (auto& path : paths) {
        path.insert(0, sample_directory(T::samples));
    }
    return paths;
}

/// What must be read with a list of channels.
template <class T> nlohmann::json expected_events(const std::string& list)
{
    std::ifstream file(std::string(TROX_TEST_DATA_DIR) + "/expected/" + T::name + "_" + list + ".json");
    return nlohmann::json::parse(file);
}

/// All records of a run's dumps, by channel, event number and time.
template <class T> class dumped_records
{
public:
    dumped_records()
    {
        for (const auto& file : sample_names(T::samples)) {
            const nlohmann::json dump = read_dump(file);
            for (const auto& channel : dump.at("channels")) {
                for (const auto& record : channel.at("records")) {
                    records_[{channel.at("name"), record.at("ev"), record.at("t").at(0), record.at("t").at(1)}] =
                        record;
                }
            }
        }
    }
    const nlohmann::json& find(const std::string& channel, const typename T::header& header) const
    {
        return records_.at({channel, header.event_number, header.event_time.timeup, header.event_time.timelow});
    }

private:
    std::map<std::tuple<std::string, std::uint64_t, unsigned, unsigned>, nlohmann::json> records_;
};

/// Reads a run with the channels of an expected list, step by step.
template <class T> class sample_run
{
public:
    explicit sample_run(const nlohmann::json& expected) : names_(expected.at("request"))
    {
        ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
        std::vector<daq_channel_entry> entries;
        for (const auto& name : names_) {
            entries.push_back({name.c_str(), {}});
        }
        std::vector<daq_channel_entry*> channels;
        for (auto& entry : entries) {
            channels.push_back(&entry);
        }
        typename T::time_id period{1, {0, 100000}};
        typename T::time_id open{};
        if (reader_.init(sample_paths<T>(), &channels) != 0 || reader_.set_period(&period) != 0 ||
            reader_.set_start_point(&open) != 0 || reader_.set_stop_point(&open) != 0 || reader_.start() != 0) {
            throw std::runtime_error(reader_.get_last_error());
        }
    }
    /// Takes the next event to the accessor; false behind the last.
    bool next(trox_daq_getdata& event)
    {
        if (reader_.get_data(nullptr, &records_, TROX_DAQ_READ_CHAN_EVENT_NEXT) != 0) {
            return false;
        }
        event.Clean(T::is_2024);
        if (set_records<T>(event, &records_) < 1) {
            throw std::runtime_error("an event without records");
        }
        return true;
    }
    const std::vector<typename T::record*>& records() const
    {
        return records_;
    }

private:
    std::vector<std::string> names_;
    typename T::reader reader_;
    std::vector<typename T::record*> records_;
};

} // namespace trox_test

#endif
