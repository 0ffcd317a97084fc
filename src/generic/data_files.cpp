#include "generic/data_files.h"

#include "event_util.h"
#include "generic/os_calls.h"
#include "trox_xml.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace trox_detail
{

namespace
{

constexpr std::size_t archive_directory_size = 1024;
constexpr std::string_view file_word = "file";

struct directory_closer {
    void operator()(DIR* directory) const noexcept
    {
        ::closedir(directory);
    }
};

} // namespace

malloc_text join_texts(std::initializer_list<std::string_view> parts)
{
    std::size_t length = 0;
    for (const std::string_view part : parts) {
        length += part.size();
    }
    malloc_text text(static_cast<char*>(os().malloc(length + 1)));
    if (text) {
        char* end = text.get();
        for (const std::string_view part : parts) {
            end = std::copy(part.begin(), part.end(), end);
        }
        *end = '\0';
    }
    return text;
}

std::string_view base_name(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

file_state look_at_file(const char* path)
{
    struct stat status {
    };
    if (::stat(path, &status) != 0) {
        return file_state::absent;
    }
    return is_closed(status.st_ctime, std::time(nullptr)) ? file_state::closed : file_state::not_closed;
}

bool are_files_taken_unseen()
{
    return std::getenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME") != nullptr;
}

std::vector<std::string> split_path_list(const std::string& list)
{
    std::vector<std::string> directories;
    std::size_t begin = 0;
    std::size_t search_from = 1; // a ":" in front separates nothing
    while (begin < list.size()) {
        const std::size_t separator = std::min(list.find(':', search_from), list.size());
        const std::string directory = list.substr(begin, separator - begin);
        if (directory.empty() || directory == ":") {
            break;
        }
        directories.push_back(directory);
        begin = separator + 1;
        search_from = begin;
    }
    return directories;
}

std::string archive_directory(const char* experiment, const char* file)
{
    std::array<char, archive_directory_size> buffer{};
    int length = static_cast<int>(buffer.size());
    if (get_pnfs_dir(experiment, file, buffer.data(), &length, nullptr)) {
        return {};
    }
    std::string directory(buffer.data(), ::strnlen(buffer.data(), buffer.size()));
    if (directory.ends_with('/')) {
        directory.pop_back();
    }
    return directory;
}

std::optional<std::vector<std::string>> names_in_directory(const std::string& directory)
{
    const std::unique_ptr<DIR, directory_closer> open(::opendir(directory.c_str()));
    if (!open) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* found = os().readdir(open.get())) {
        names.emplace_back(found->d_name);
        errno = 0;
    }
    if (errno != 0) {
        return std::nullopt; // some of the names would pass for all
    }
    std::sort(names.begin(), names.end()); // the same files in whatever order the file system keeps them
    return names;
}

std::optional<std::uint32_t> second_of_file(const std::string& name)
{
    time_stamp time{};
    if (get_time_from_file_name(name.c_str(), &time) != 0) {
        return std::nullopt;
    }
    return time.timeup;
}

numbered_name split_at_file_number(std::string_view base)
{
    numbered_name parts;
    const std::size_t last = base.rfind('_');
    if (last == std::string_view::npos || last == 0) {
        return parts;
    }
    const std::size_t before = base.rfind('_', last - 1);
    if (before == std::string_view::npos) {
        return parts;
    }
    parts.prefix = base.substr(0, before + 1);
    parts.token = base.substr(before + 1, last - before - 1);
    if (parts.token.starts_with(file_word)) {
        const char* digits = parts.token.data() + file_word.size();
        int number = 0;
        std::from_chars(digits, parts.token.data() + parts.token.size(), number);
        parts.number = number;
    }
    return parts;
}

bool is_of_runs(std::string_view name, int first, int last)
{
    constexpr std::string_view mark = "_run";
    for (std::size_t at = name.find(mark); at != std::string_view::npos; at = name.find(mark, at + 1)) {
        const char* digits = name.data() + at + mark.size();
        const char* end = name.data() + name.size();
        int run = 0;
        const auto number = std::from_chars(digits, end, run);
        const bool is_plain = number.ec == std::errc() && *digits != '0' && *digits != '-';
        if (is_plain && number.ptr != end && *number.ptr == '_' && run >= first && run <= last) {
            return true;
        }
    }
    return false;
}

std::optional<std::vector<scanned_file>> scan_directory(const std::string& directory, std::string_view experiment,
                                                        int first_run, int last_run)
{
    const auto names = names_in_directory(directory);
    if (!names) {
        return std::nullopt;
    }
    std::vector<scanned_file> files;
    for (const std::string& name : *names) {
        if (name.find(experiment) == std::string::npos || (first_run > 0 && !is_of_runs(name, first_run, last_run))) {
            continue;
        }
        if (const auto second = second_of_file(name)) {
            files.push_back({name, *second});
        }
    }
    return files;
}

} // namespace trox_detail
