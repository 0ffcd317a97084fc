// What the reader's tests share: a clean environment, a directory of their own, small files and runs.
#ifndef TROX_TEST_READER_FIXTURE_H
#define TROX_TEST_READER_FIXTURE_H

#include "captured_stdout.h"
#include "reader_types.h"
#include "temp_directory.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace trox_test
{

namespace tw = trox::writer;

/// Sets or unsets environment variables, and puts them back at its end.
class environment
{
public:
    environment() = default;
    environment(const environment&) = delete;
    environment& operator=(const environment&) = delete;
    ~environment()
    {
        for (const auto& [name, value] : before_) {
            put(name, value);
        }
    }

    void set(const std::string& name, const std::string& value)
    {
        remember(name);
        put(name, value);
    }
    void unset(const std::string& name)
    {
        remember(name);
        put(name, std::nullopt);
    }

private:
    void remember(const std::string& name)
    {
        const char* value = std::getenv(name.c_str());
        before_.try_emplace(name, value != nullptr ? std::optional<std::string>(value) : std::nullopt);
    }
    static void put(const std::string& name, const std::optional<std::string>& value)
    {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }

    std::map<std::string, std::optional<std::string>> before_;
};

/// A directory of its own with what the reader's tests put there.
class scratch_directory
{
public:
    /// With a closing "/".
    std::string path() const
    {
        return directory_.file("");
    }
    std::string operator/(const std::string& name) const
    {
        return directory_.file(name);
    }
    /// An empty file; its path.
    std::string touch(const std::string& name) const
    {
        const std::string file = directory_.file(name);
        std::ofstream(file).flush();
        return file;
    }
    std::string make_directory(const std::string& name) const
    {
        std::filesystem::create_directory(directory_.file(name));
        return directory_.file(name) + "/";
    }

private:
    temp_directory directory_;
};

/// A caller's list of channels.
class channel_list
{
public:
    channel_list(std::initializer_list<const char*> names)
    {
        for (const char* name : names) {
            add(name);
        }
    }
    explicit channel_list(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            add(name.c_str());
        }
    }
    channel_list(const channel_list&) = delete;
    channel_list& operator=(const channel_list&) = delete;
    ~channel_list()
    {
        for (const daq_channel_entry* channel : list_) {
            std::free(const_cast<char*>(channel->name));
            delete channel;
        }
    }

    void add(const char* name)
    {
        list_.push_back(new daq_channel_entry{::strdup(name), {}});
    }
    std::vector<daq_channel_entry*>* list()
    {
        return &list_;
    }

private:
    std::vector<daq_channel_entry*> list_;
};

inline constexpr std::uint32_t run_second = 1339666200; // 2012-06-14 09:30:00 UTC
inline constexpr const char* trace_name = "LINAC.TEST/ADC/1/TRACE";
inline constexpr const char* sparse_name = "LINAC.TEST/ADC/2/SPARSE";
inline constexpr const char* members_name = "LINAC.TEST/BPM/1/XY";
inline constexpr const char* slow_name = "LINAC.TEST/MAG/1/CURRENT";

/// Time of event `number` of a test run: 10 Hz from event 1000 on.
inline time_stamp time_of(std::uint32_t number)
{
    return {run_second + (number - 1000) / 10, 100000 * ((number - 1000) % 10)};
}

/// The slow value that comes with event `number`.
inline float slow_value(std::uint32_t number)
{
    return static_cast<float>(number) * 0.5F;
}

/// Value of the trace's sample `i` in event `number`.
inline float sample(std::uint32_t number, std::size_t i)
{
    return static_cast<float>(number % 1000) + static_cast<float>(i) / 8.0F;
}

/// Samples of the trace in event `number`: more in every tenth event.
inline std::size_t samples_of(std::uint32_t number)
{
    return number % 10 == 0 ? 64 : 16;
}

/// Writes events `first` to `last`: the trace in all, SPARSE in every fifth, XY (4 members) in even ones, and a slow
/// value 20 ms behind every seventh.
template <class T> void write_events(tw::file_writer& file, std::uint32_t first, std::uint32_t last)
{
    constexpr auto format = T::format;
    const auto trace = file.add_channel(trace_name);
    const auto sparse = file.add_channel(sparse_name);
    const auto members = file.add_channel(members_name, tw::storage::zlib);
    const auto slow = file.add_channel(slow_name);
    for (std::uint32_t number = first; number <= last; ++number) {
        file.begin_event({number, time_of(number)});
        file.begin_server_block({"TEST.SVR1"});
        std::vector<float> values(samples_of(number));
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = sample(number, i);
        }
        file.add_record(trace, tw::spectrum_payload(format, T::one_channel, values));
        if (number % 5 == 0) {
            file.add_record(sparse, tw::spectrum_payload(format, T::one_channel, {1.0F, 2.0F}));
        }
        if (number % 2 == 0) {
            tw::spectrum_head head;
            head.members = 4;
            file.add_record(members,
                            tw::spectrum_payload(format, T::four_members, {1, 2, 3, static_cast<float>(number)}, head));
        }
        file.end_event();
        if (number % 7 == 0) {
            const time_stamp time = time_of(number) + time_stamp{0, 20000};
            file.begin_event({number, time, TROX_EV_UPD});
            file.begin_server_block({"TEST.SVR2"});
            file.add_record(slow, tw::update_payload(format, slow_name, slow_value(number), time));
            file.end_event();
        }
    }
}

template <class T> std::string write_file(const std::string& path, std::uint32_t first, std::uint32_t last)
{
    tw::file_writer file(path, T::format);
    write_events<T>(file, first, last);
    file.finish();
    return path;
}

/// Name of file `n` (from 1) of run `run`, ten events (one second) each.
inline std::string run_file_name(int run, int n)
{
    return tw::data_file_name({"linac", "main", run}, n, {run_second + static_cast<std::uint32_t>(n) - 1, 0});
}

/// Three files of run 7 with the events 1000 to 1029, in `directory`; their paths.
template <class T> std::vector<std::string> write_run(const scratch_directory& directory)
{
    std::vector<std::string> files;
    for (int n = 1; n <= 3; ++n) {
        const std::uint32_t first = 1000 + 10 * (static_cast<std::uint32_t>(n) - 1);
        files.push_back(write_file<T>(directory / run_file_name(7, n), first, first + 9));
    }
    return files;
}

/// A catalogue entry of run 7 with the names of `count` files, one second each.
inline void write_run_catalogue(const std::string& directory, int count = 3, int run = 7)
{
    tw::catalogue_run entry{{"linac", "main", run}, run_second, run_second + count, {}};
    for (int n = 1; n <= count; ++n) {
        entry.files.push_back({run_file_name(run, n), "raw", run_second + n - 1, run_second + n});
    }
    tw::write_catalogue(directory, entry);
}

/// A request for the events of run 7.
template <class T> typename T::request request_for_run(const std::string& catalogue, const scratch_directory& data)
{
    typename T::request request;
    std::snprintf(request.exp_name, sizeof request.exp_name, "linac");
    std::snprintf(request.stream_name, sizeof request.stream_name, "main");
    request.cdir = catalogue;
    request.ddir = data.path();
    request.run_first = 7;
    request.period = {1, {0, 100000}};
    request.time_diff = {0, 50000};
    return request;
}

/// Unsets what would change a reader's behaviour, and takes fresh files.
template <class T> class reader_test : public ::testing::Test
{
protected:
    using entry = typename T::channel_entry;
    using event = std::vector<entry*>;

    reader_test()
    {
        for (const char* name : {"TROX_DAQ_DATA_PATH_LIST", "DAQ_MAX_TIME_STEP_SEC", "DAQ_MAX_TIME_STEP_USEC",
                                 "TROX_EVENT_CLOCK", "TROX_DAQ_READER_SKIP_BAD_RECORDS", "TROX_DAQ_ARCHIVE_ROOT"}) {
            env.unset(name);
        }
        env.set("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1");
    }

    static std::string write_file(const std::string& path, std::uint32_t first, std::uint32_t last)
    {
        return trox_test::write_file<T>(path, first, last);
    }
    static std::vector<std::string> write_run(const scratch_directory& directory)
    {
        return trox_test::write_run<T>(directory);
    }
    /// The result entry that a delivered record lies in.
    static const typename T::result_entry& result_of(const entry* record)
    {
        const char* address = reinterpret_cast<const char*>(record) - offsetof(typename T::result_entry, res);
        return *reinterpret_cast<const typename T::result_entry*>(address);
    }
    static const typename T::subhead& head_of(const entry* record)
    {
        return *reinterpret_cast<const typename T::subhead*>(record->sbchdata[0].chhd);
    }
    /// Element `i` of a delivered spectrum's values.
    static float value_of(const entry* record, std::size_t i)
    {
        float value = 0;
        std::memcpy(&value,
                    reinterpret_cast<const char*>(record->sbchdata[0].data) + T::spectrum_head_size + i * sizeof value,
                    sizeof value);
        return value;
    }

    environment env;
    scratch_directory dir;
};

} // namespace trox_test

#endif
