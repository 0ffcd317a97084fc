// What the tests of the slicing layer need to know of each generation: its types, what it lacks, and its texts as a
// user of the library reads them.
#ifndef TROX_TEST_SLICER_TYPES_H
#define TROX_TEST_SLICER_TYPES_H

#include "sample_files.h"
#include "trox_daq_slicer.h"
#include "trox_daq_slicer_2010.h"
#include "trox_daq_slicer_2024.h"
#include "trox_writer.h"

#include <gtest/gtest.h>
#include <string>

namespace trox_test
{

/// "NUMBER:SECONDS_MICROSECONDS", as the traces print an event.
inline std::string event_text(std::uint64_t number, time_stamp time)
{
    return std::to_string(number) + ":" + std::to_string(time.timeup) + "_" + std::to_string(time.timelow);
}

template <class Generation> struct slicer_records {
    using generation = Generation;
    using time_id = typename Generation::time_id;
    using entry = typename Generation::channel_entry;
    using chan_param = typename Generation::chan_param;
    using subhead = typename Generation::subhead;
    using event_number = typename Generation::event_number;
};

struct slicer_legacy : slicer_records<trox_detail::generation_legacy> {
    using slicer = trox_daq_slicer;
    using loader = trox_file_get_tables;
    using task = get_tables_task;
    using spectrum_head = trox_spect_head;

    static constexpr const char* name = "legacy";
    static constexpr auto format = trox::writer::generation::legacy;
    static constexpr auto samples = sample_generation::legacy;
    static constexpr auto run_thread = get_table_thread;
    static constexpr int trace_type = 19;
    static constexpr int update_type = 1;
    static constexpr std::size_t param_size = 192;
    static constexpr std::size_t name_size = 80;

    static constexpr bool bounds_read_ahead = false;
    static constexpr bool has_timing_traces = false;
    static constexpr bool has_life_cycle_traces = false;
    static constexpr const char* class_name_without_memory = "trox_daq_slicer";
    static constexpr const char* end_pass = "Calling get_chan_data() gete_data() end\n";
    static constexpr const char* found = "found: 1\n";
    static constexpr const char* not_found = "found: 0\n";
    static constexpr const char* entered_at_first = "Calling get_chan_data() start channel (up)\n";
    static constexpr const char* number_not_there = "";

    static std::string nothing_to_read(int files, int channels)
    {
        return "SLICER: either no files (" + std::to_string(files) + ") or channels: (" + std::to_string(channels) +
               ")\n";
    }
    static std::string creating_channel(const std::string& channel, int subchan, const std::string& file)
    {
        return "trox_daq_slicer::create_channel()CREATING CHANNEL: " + channel + ":" + std::to_string(subchan) +
               " WITH FILE " + file + "\n";
    }
    static std::string leaving_file(int /*index*/, const std::string& channel, int file)
    {
        return "Channel " + channel + " switching to the next file fentry before: " + std::to_string(file) + "\n";
    }
    static std::string input(std::uint64_t number, time_stamp time, int mode)
    {
        return "current_event_id.event_number (input): " + event_text(number, time) +
               "  synch_mode:" + std::to_string(mode) + "\n";
    }
};

/// The same in the 2010 and the 2024 generation.
template <class Generation> struct slicer_since_2010 : slicer_records<Generation> {
    using spectrum_head = trox_spect_head_2010;

    static constexpr int trace_type = 41;
    static constexpr int update_type = 33;
    static constexpr std::size_t param_size = 544;
    static constexpr std::size_t name_size = 256;

    static constexpr bool bounds_read_ahead = true;
    static constexpr bool has_timing_traces = true;
    static constexpr bool has_life_cycle_traces = true;
    /// Of both: programs look for the text.
    static constexpr const char* class_name_without_memory = "trox_daq_slicer_2010";
    static constexpr const char* found = "found: \n";
    static constexpr const char* not_found = "";
    static constexpr const char* entered_at_first = "Calling get_chan_data() start channel (up) ret:0 \n";

    static std::string nothing_to_read(int files, int channels)
    {
        return std::string(files == 0 ? "SLICER:  no files found\n" : "") +
               (channels == 0 ? "SLICER:  no channels in request, Pleas, add some\n" : "");
    }
    static std::string leaving_file(int index, const std::string& /*channel*/, int file)
    {
        return "Channel[" + std::to_string(index) +
               "] switching to the next file fentry before: " + std::to_string(file) + "\n";
    }
    static std::string input(std::uint64_t /*number*/, time_stamp /*time*/, int /*mode*/)
    {
        return "";
    }
};

struct slicer_2010 : slicer_since_2010<trox_detail::generation_2010> {
    using slicer = trox_daq_slicer_2010;
    using loader = trox_file_get_tables_2010;
    using task = get_tables_task_2010;

    static constexpr const char* name = "g2010";
    static constexpr auto format = trox::writer::generation::v2010;
    static constexpr auto samples = sample_generation::g2010;
    static constexpr auto run_thread = get_table_thread_2010;
    static constexpr const char* end_pass = "Calling get_chan_data() gete_data() end\n";
    static constexpr const char* start_of_pass_timing = "get_data\\(\\) start [0-9.]+ msec\n";
    static constexpr const char* number_not_there = "";

    static std::string creating_channel(const std::string& channel, int subchan, const std::string& file)
    {
        return "trox_daq_slicer_2010::create_channel()CREATING CHANNEL: " + channel + ":" + std::to_string(subchan) +
               " file:" + file + "\n";
    }
};

struct slicer_2024 : slicer_since_2010<trox_detail::generation_2024> {
    using slicer = trox_daq_slicer_2024;
    using loader = trox_file_get_tables_2024;
    using task = get_tables_task_2024;

    static constexpr const char* name = "g2024";
    static constexpr auto format = trox::writer::generation::v2024;
    static constexpr auto samples = sample_generation::g2024;
    static constexpr auto run_thread = get_table_thread_2024;
    static constexpr const char* end_pass = "Calling get_chan_data() get_data() end\n";
    static constexpr const char* start_of_pass_timing = "get_data\\(\\) start [0-9.]+ msec for \\[0\\]\n";
    static constexpr const char* number_not_there = "";

    static std::string creating_channel(const std::string& channel, int subchan, const std::string& file)
    {
        return "trox_daq_slicer_2024::create_channel()CREATING CHANNEL: " + channel + ":" + std::to_string(subchan) +
               " file:" + file + "\n";
    }
};

/// The generations that the layer is there for, and those from 2010 on.
using slicer_generations = ::testing::Types<slicer_legacy, slicer_2010, slicer_2024>;
using slicer_generations_since_2010 = ::testing::Types<slicer_2010, slicer_2024>;

/// Names of the generations in the names of the tests.
struct slicer_generation_names {
    template <class T> static std::string GetName(int)
    {
        return T::name;
    }
};

template <class T> using slicer_of = typename T::slicer;
template <class T> using time_id_of = typename T::time_id;
template <class T> using records_of = std::vector<typename T::entry*>;
template <class T> using params_of = std::vector<typename T::chan_param*>;

/// Each slicer's `init`: the legacy one takes the files by reference, the others by pointer.
template <class Slicer, class Files, class Channels>
int init(Slicer& slicer, const Files& files, const Channels& channels, int mode = 0)
{
    if constexpr (requires { slicer.init(files, &channels, mode); }) {
        return slicer.init(files, &channels, mode);
    } else {
        return slicer.init(&files, &channels, mode);
    }
}

} // namespace trox_test

#endif
