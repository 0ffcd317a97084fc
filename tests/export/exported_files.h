// Exports into a directory of the test's own, and what they leave there.
#ifndef TROX_TESTS_EXPORTED_FILES_H
#define TROX_TESTS_EXPORTED_FILES_H

#include "export/exporter.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace trox_test
{

inline std::vector<std::string> names_in(const temp_directory& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.file(""))) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

inline std::string contents_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline trox_export::options into(trox_export::file_format format, const std::string& target)
{
    trox_export::options how;
    how.format = format;
    how.target = target;
    return how;
}

inline trox_export::options verified(trox_export::file_format format, const std::string& target)
{
    trox_export::options how = into(format, target);
    how.verify = true;
    return how;
}

} // namespace trox_test

#endif
