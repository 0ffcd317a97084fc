// Data files on disk: paths, names, and which files may be read already.
#ifndef TROX_GENERIC_DATA_FILES_H
#define TROX_GENERIC_DATA_FILES_H

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trox_detail
{

struct text_deleter {
    void operator()(char* text) const noexcept
    {
        std::free(text);
    }
};
using malloc_text = std::unique_ptr<char, text_deleter>;

/// The parts in one malloc'd text; null without memory.
malloc_text join_texts(std::initializer_list<std::string_view> parts);

/// What stands behind the last "/" of a path.
std::string_view base_name(std::string_view path);

enum class file_state { absent, not_closed, closed };

/// True when a status change lies 30 s or more in the past (times in seconds). A file that changed later may still
/// be written.
constexpr bool is_closed(std::time_t status_change, std::time_t now) noexcept
{
    constexpr std::time_t close_time_s = 30;
    return status_change < now - (close_time_s - 1);
}

/// Whether a file exists and is closed.
file_state look_at_file(const char* path);

/// True when the environment says to take files without looking (TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME).
bool are_files_taken_unseen();

/// The directories of a list. A first ":" belongs to the first directory; an empty directory, or ":" alone, ends
/// the list.
std::vector<std::string> split_path_list(const std::string& list);

/// The archive directory of a data file, without a closing "/"; empty when there is none.
std::string archive_directory(const char* experiment, const char* file);

/// The names in a directory, sorted; nothing when it cannot be read.
std::optional<std::vector<std::string>> names_in_directory(const std::string& directory);

/// The second coded in a data file's name; nothing when it has none.
std::optional<std::uint32_t> second_of_file(const std::string& name);

/// A data file's name taken apart around its file number.
struct numbered_name {
    std::string prefix; ///< up to and including the "_" before the token
    std::string token;  ///< between the last two "_": "file12"
    long number = 0;    ///< 0 when the token has none that an `int` holds
};
numbered_name split_at_file_number(std::string_view base);

/// True when the name holds "_run<R>_" for a run R from `first` to `last`.
bool is_of_runs(std::string_view name, int first, int last);

/// A data file that a directory scan found.
struct scanned_file {
    std::string name;
    std::uint32_t second = 0;
};

/// The data files of a directory whose names hold the experiment's name and a time, sorted by name; with
/// `first_run` > 0 only those of the runs `first_run` to `last_run`. Nothing when the directory cannot be read.
std::optional<std::vector<scanned_file>> scan_directory(const std::string& directory, std::string_view experiment,
                                                        int first_run, int last_run);

} // namespace trox_detail

#endif
