#include "event_util.h"
#include "trox_xml.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>

namespace
{

constexpr const char* archive_root_variable = "TROX_DAQ_ARCHIVE_ROOT";

/// True for a name that stays one directory below the root.
bool is_plain_name(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

/// YYYY/MM of a time, in UTC as the file names are.
std::string year_and_month(const time_stamp& time)
{
    using namespace std::chrono;
    const year_month_day date{floor<days>(sys_seconds{seconds{time.timeup}})};
    char text[32]; // fits any int and unsigned
    std::snprintf(text, sizeof text, "%04d/%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()));
    return text;
}

/// The archive directory of a file, or an empty text.
std::string find_archive_dir(const std::string& experiment, const char* file)
{
    const char* root = std::getenv(archive_root_variable);
    time_stamp time{};
    if (root == nullptr || *root == '\0' || !is_plain_name(experiment) || get_time_from_file_name(file, &time) != 0) {
        return {};
    }
    std::string directory = root;
    if (directory.back() != '/') {
        directory += '/';
    }
    directory += experiment + '/' + year_and_month(time);
    std::error_code ignored;
    return std::filesystem::is_directory(directory, ignored) ? directory : std::string{};
}

} // namespace

bool get_pnfs_dir(const char* experiment, const char* file, char* buffer, int* length, void*)
{
    if (experiment == nullptr || file == nullptr || buffer == nullptr || length == nullptr || *length <= 0) {
        return true;
    }
    try {
        const std::string directory = find_archive_dir(experiment, file);
        if (directory.empty() || directory.size() >= static_cast<std::size_t>(*length)) {
            return true;
        }
        std::memcpy(buffer, directory.c_str(), directory.size() + 1);
    } catch (const std::exception&) { // no memory
        return true;
    }
    return false;
}
