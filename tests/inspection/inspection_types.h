// The three generations as a program meets them that looks into single files.
#ifndef TROX_TEST_INSPECTION_TYPES_H
#define TROX_TEST_INSPECTION_TYPES_H

#include "captured_output.h"
#include "sample_files.h"
#include "temp_directory.h"
#include "trox_daq_read_chan.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_read_chan_2024.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"
#include "trox_writer.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace trox_test
{

namespace tw = trox::writer;

struct inspected_legacy {
    using generation = trox_detail::generation_legacy;
    using reader = trox_daq_reader;
    using loader = trox_file_get_tables;
    static constexpr auto samples = sample_generation::legacy;
    static constexpr const char* reader_name = "trox_daq_reader";
    static constexpr auto format = tw::generation::legacy;
    static constexpr int trace_type = TROX_BLOCK_SINGLE;
};
struct inspected_2010 {
    using generation = trox_detail::generation_2010;
    using reader = trox_daq_reader_2010;
    using loader = trox_file_get_tables_2010;
    static constexpr auto samples = sample_generation::g2010;
    static constexpr auto format = tw::generation::v2010;
    static constexpr int trace_type = TROX_BLOCK_1CHAN_2010;
    static constexpr const char* reader_name = "trox_daq_reader_2010";
};
struct inspected_2024 {
    using generation = trox_detail::generation_2024;
    using reader = trox_daq_reader_2024;
    using loader = trox_file_get_tables_2024;
    static constexpr auto samples = sample_generation::g2024;
    static constexpr auto format = tw::generation::v2024;
    static constexpr int trace_type = TROX_BLOCK_1CHAN_2010;
    static constexpr const char* reader_name = "trox_daq_reader_2024";
};

/// Sample files, whatever their age.
class sample_inspection : public ::testing::Test
{
protected:
    sample_inspection()
    {
        ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    }
    static std::string sample(sample_generation generation, std::size_t i = 0)
    {
        return sample_directory(generation) + sample_names(generation).at(i);
    }
    static nlohmann::json dump(sample_generation generation, std::size_t i = 0)
    {
        return read_dump(sample_names(generation).at(i));
    }
};

inline void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// Number of lines that begin with `begin`.
inline int lines_with(const std::string& text, const std::string& begin)
{
    int count = 0;
    for (std::size_t at = 0; at < text.size();) {
        count += text.compare(at, begin.size(), begin) == 0 ? 1 : 0;
        const std::size_t end = text.find('\n', at);
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return count;
}

} // namespace trox_test

#endif
