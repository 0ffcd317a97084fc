// The nine sample files and what must be found in each.
#ifndef TROX_TEST_SAMPLE_FILES_H
#define TROX_TEST_SAMPLE_FILES_H

#include <cstdint>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace trox_test
{

enum class sample_generation { legacy, g2010, g2024 };

inline std::string sample_directory(sample_generation generation)
{
    const std::string root = TROX_TEST_DATA_DIR;
    switch (generation) {
    case sample_generation::legacy:
        return root + "/data_legacy/";
    case sample_generation::g2010:
        return root + "/data_2010/";
    case sample_generation::g2024:
        return root + "/data_2024/";
    }
    throw std::logic_error("no such generation");
}

/// Base names of a generation's three files, in run order.
inline std::vector<std::string> sample_names(sample_generation generation)
{
    switch (generation) {
    case sample_generation::legacy:
        return {"linac_main_run977_file1_20091103T221510.raw", "linac_main_run977_file2_20091103T221514.raw",
                "linac_main_run977_file3_20091103T221518.raw"};
    case sample_generation::g2010:
        return {"linac_main_run1042_file1_20120614T093000.raw", "linac_main_run1042_file2_20120614T093004.raw",
                "linac_main_run1042_file3_20120614T093008.raw"};
    case sample_generation::g2024:
        return {"linac_main_run2210_file1_20240305T035954.250.raw", "linac_main_run2210_file2_20240305T035958.250.raw",
                "linac_main_run2210_file3_20240305T040002.250.raw"};
    }
    throw std::logic_error("no such generation");
}

inline std::vector<std::uint8_t> read_bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// What must be found in a sample file: its dump, as documented beside the samples.
inline nlohmann::json read_dump(const std::string& name)
{
    const std::string stem = name.substr(0, name.size() - std::string(".raw").size());
    std::ifstream file(std::string(TROX_TEST_DATA_DIR) + "/expected/" + stem + ".dump.json");
    return nlohmann::json::parse(file);
}

} // namespace trox_test

#endif
