// List files, properties and a range for the property front end.
#ifndef TROX_TEST_FRONT_END_FIXTURE_H
#define TROX_TEST_FRONT_END_FIXTURE_H

#include "captured_output.h"
#include "sample_files.h"
#include "temp_directory.h"
#include "trox_daq_data.h"
#include "trox_writer.h"

#include <cstdlib>
#include <deque>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace trox_test
{

class front_end : public ::testing::Test
{
protected:
    front_end()
    {
        ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    }
    ~front_end() override
    {
        ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    }

    /// A list file with this text; its path.
    std::string list(const std::string& text)
    {
        const std::string path = directory_.file("list.txt");
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    static std::string sample_lines(sample_generation generation)
    {
        std::string lines;
        for (const auto& name : sample_names(generation)) {
            lines += sample_directory(generation) + name + "\n";
        }
        return lines;
    }
    std::string sample_list(sample_generation generation)
    {
        return list(sample_lines(generation));
    }

    /// Asks for a property; `prlen` counts what ends the name.
    void want(const std::string& name)
    {
        want(name, static_cast<int>(name.size()) + 1);
    }
    void want(const std::string& name, int prlen)
    {
        names_.push_back(name);
        owned_.push_back({"label", 5, names_.back().c_str(), prlen, 1, 9});
        properties_.push_back(&owned_.back());
    }

    int init(const std::string& list_file)
    {
        return data_.Init(list_file.c_str(), &properties_, 0, &period_, &start_, &stop_);
    }
    int init_2024(const std::string& list_file)
    {
        return data_.Init2024(list_file.c_str(), &properties_, 0, &period_2024_, &start_2024_, &stop_2024_);
    }
    int init(sample_generation generation)
    {
        const std::string path = sample_list(generation);
        return generation == sample_generation::g2024 ? init_2024(path) : init(path);
    }
    /// What the work tells on standard error.
    template <class Work> static std::string told(Work work)
    {
        return capture(work).err;
    }

    /// Writes a small file with the channel A/CHANNEL in three events; its path.
    std::string small_file(const std::string& name,
                           trox::writer::generation generation = trox::writer::generation::v2010)
    {
        namespace tw = trox::writer;
        const std::string path = directory_.file(name);
        tw::file_options options;
        options.replace_existing = true;
        tw::file_writer file(path, generation, options);
        const int type = generation == tw::generation::legacy ? int{TROX_BLOCK_SINGLE} : int{TROX_BLOCK_1CHAN_2010};
        const auto channel = file.add_channel("A/CHANNEL");
        for (unsigned i = 0; i < 3; ++i) {
            file.begin_event({10 + i, {1339666200, 100000 * i}, TROX_EV_NORMAL});
            file.begin_server_block({"SVR"});
            file.add_record(channel, tw::spectrum_payload(generation, type, {static_cast<float>(i) + 0.5F, 9.0F}));
            file.end_event();
        }
        file.finish();
        return path;
    }

    static constexpr const char* charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
    static constexpr const char* magnet = "LINAC.MAG/QUAD/Q5.BC2/I.RBV";

    temp_directory directory_;
    std::deque<std::string> names_;
    std::deque<trox_sprop> owned_;
    std::vector<trox_sprop*> properties_;
    trox_time_id period_{1, {0, 100000}};
    trox_time_id start_{};
    trox_time_id stop_{};
    trox_time_id_2024 period_2024_{1, {0, 100000}};
    trox_time_id_2024 start_2024_{};
    trox_time_id_2024 stop_2024_{};
    trox_daq_data data_;
};

} // namespace trox_test

#endif
