// Options that many verbs share, and functions with which verbs declare their own. What is declared with them is all
// that help, man pages and completion are made from.
#ifndef TROX_CLI_OPTIONS_H
#define TROX_CLI_OPTIONS_H

#include "cells.h"
#include "trox/basics.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace trox_cli
{

enum class output_format { table, json, ndjson, csv };
enum class color_use { automatic, always, never };
enum class progress_use { automatic, always, never };

/// What the options of the same names say.
struct common_options {
    output_format format = output_format::table;
    std::string output_file{}; ///< empty: standard output
    color_use color = color_use::automatic;
    std::string zone = "UTC";
    std::string time_format = "iso";
    column_view detail = column_view::everywhere;     ///< which columns tables for people have
    unsigned threads = 0;                             ///< 0: one per processor
    std::uint64_t memory = std::uint64_t{256} << 20U; ///< bytes for decoded data
    progress_use progress = progress_use::automatic;

    /// --format, --json, --color, --tz, --time-format: for verbs that list or show something.
    void declare_rendering(CLI::App& app);
    /// --tz and --time-format alone. `where`: "titles show times" and the like; `remark`: the end of the sentence.
    void declare_times(CLI::App& app, const std::string& where, const std::string& remark = {});
    /// --long: for verbs whose tables leave columns out.
    void declare_long(CLI::App& app);
    /// --color alone.
    void declare_color(CLI::App& app);
    /// -o: for verbs whose result is one stream of text or bytes.
    void declare_output(CLI::App& app,
                        const std::string& description = "Write to FILE instead of standard output (-); FILE is "
                                                         "replaced as a whole, when all is done");
    /// --threads, --memory, --progress: for verbs that may take long.
    void declare_work(CLI::App& app);
    /// --memory and --progress: for verbs that may take long, and decode with one thread.
    void declare_memory(CLI::App& app);
    /// --progress alone.
    void declare_progress(CLI::App& app);
};

/// What stands for a value in help: names of files and directories are completed.
inline constexpr const char* file_value = "FILE";
inline constexpr const char* directory_value = "DIR";

/// An option (or, without dashes, a positional argument) whose value is one of some words.
template <class Value> using choices = std::vector<std::pair<std::string, Value>>;
CLI::Option* add_choice(CLI::App& app, const std::string& names, const std::vector<std::string>& words,
                        const std::function<void(std::size_t)>& choose, const std::string& description);
template <class Value>
CLI::Option* add_choice(CLI::App& app, const std::string& names, Value& target, const choices<Value>& values,
                        const std::string& description)
{
    std::vector<std::string> words;
    for (const auto& [word, value] : values) {
        words.push_back(word);
    }
    const auto choose = [&target, values](std::size_t index) { target = values[index].second; };
    return add_choice(app, names, words, choose, description);
}

/// An option that may be given several times, with one value each time.
CLI::Option* add_repeated(CLI::App& app, const std::string& names, std::vector<std::string>& target,
                          const std::string& value, const std::string& description);

/// An option whose value is a whole number from `least` to `most`.
CLI::Option* add_integer(CLI::App& app, const std::string& names, std::int64_t least, std::int64_t most,
                         const std::function<void(std::int64_t)>& take, const std::string& description);
template <class Integer>
CLI::Option* add_integer(CLI::App& app, const std::string& names, Integer& target, std::int64_t least,
                         std::int64_t most, const std::string& description)
{
    const auto take = [&target](std::int64_t value) { target = static_cast<Integer>(value); };
    return add_integer(app, names, least, most, take, description);
}

/// Options whose value is a number of bytes ("64K"), a point in time, a duration ("50ms").
CLI::Option* add_bytes(CLI::App& app, const std::string& names, const std::function<void(std::uint64_t)>& take,
                       const std::string& description);
template <class Bytes>
CLI::Option* add_bytes(CLI::App& app, const std::string& names, Bytes& target, const std::string& description)
{
    return add_bytes(app, names, std::function([&target](std::uint64_t bytes) { target = bytes; }), description);
}
CLI::Option* add_time(CLI::App& app, const std::string& names, std::optional<trox::time_point>& target,
                      const std::string& description);
CLI::Option* add_duration(CLI::App& app, const std::string& names, trox::microseconds& target,
                          const std::string& description);

/// A time as an option or argument takes it. Throws wrong_use.
trox::time_point parse_time(const std::string& text);

} // namespace trox_cli

#endif
