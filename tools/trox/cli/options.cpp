#include "options.h"

#include "errors.h"
#include "text.h"
#include "trox/error.h"

#include <algorithm>
#include <charconv>

namespace trox_cli
{
namespace
{

constexpr const char* rendering_group = "Output";
constexpr const char* work_group = "Work";

/// Runs `take` on the option's word; what it throws becomes the option's error.
CLI::Option* add_word(CLI::App& app, const std::string& names, const std::string& value,
                      const std::function<void(const std::string&)>& take, const std::string& description)
{
    const auto checked = [take, names](const std::string& word) {
        try {
            take(word);
        } catch (const failure& error) {
            throw CLI::ValidationError(names.substr(names.rfind(',') + 1), error.what());
        }
    };
    return app.add_option_function<std::string>(names, checked, description)->type_name(value);
}

} // namespace

CLI::Option* add_choice(CLI::App& app, const std::string& names, const std::vector<std::string>& words,
                        const std::function<void(std::size_t)>& choose, const std::string& description)
{
    const auto take = [words, choose](const std::string& word) {
        std::string joined = word; // results show "single values"
        std::replace(joined.begin(), joined.end(), ' ', '-');
        const auto found = std::find(words.begin(), words.end(), joined);
        if (found == words.end()) {
            throw wrong_use("\"" + word + "\" is none of " + join(words, ", "));
        }
        choose(static_cast<std::size_t>(found - words.begin()));
    };
    return add_word(app, names, join(words, "|"), take, description);
}

CLI::Option* add_integer(CLI::App& app, const std::string& names, std::int64_t least, std::int64_t most,
                         const std::function<void(std::int64_t)>& take, const std::string& description)
{
    const auto checked = [least, most, take](const std::string& word) {
        std::int64_t value = 0;
        const char* const end = word.data() + word.size();
        const auto [stop, failed] = std::from_chars(word.data(), end, value);
        if (failed != std::errc() || stop != end || value < least || value > most) {
            throw wrong_use("\"" + word + "\" is no number from " + std::to_string(least) + " to " +
                            std::to_string(most));
        }
        take(value);
    };
    return add_word(app, names, "N", checked, description);
}

CLI::Option* add_repeated(CLI::App& app, const std::string& names, std::vector<std::string>& target,
                          const std::string& value, const std::string& description)
{
    // Else an option would swallow the arguments behind its value.
    return app.add_option(names, target, description)->type_name(value)->allow_extra_args(false);
}

CLI::Option* add_bytes(CLI::App& app, const std::string& names, const std::function<void(std::uint64_t)>& take,
                       const std::string& description)
{
    const auto checked = [take](const std::string& word) {
        const auto bytes = bytes_from_text(word);
        if (!bytes || *bytes == 0) {
            throw wrong_use("\"" + word + "\" is no number of bytes like 64K, 256M or 1G");
        }
        take(*bytes);
    };
    return add_word(app, names, "BYTES", checked, description);
}

CLI::Option* add_time(CLI::App& app, const std::string& names, std::optional<trox::time_point>& target,
                      const std::string& description)
{
    return add_word(
        app, names, "TIME", [&target](const std::string& word) { target = parse_time(word); }, description);
}

CLI::Option* add_duration(CLI::App& app, const std::string& names, trox::microseconds& target,
                          const std::string& description)
{
    const auto take = [&target](const std::string& word) {
        const auto duration = duration_from_text(word);
        if (!duration || duration->count() < 0) {
            throw wrong_use("\"" + word + "\" is no duration like 300us, 50ms or 1.5s");
        }
        target = *duration;
    };
    return add_word(app, names, "DURATION", take, description);
}

trox::time_point parse_time(const std::string& text)
{
    try {
        return trox::time_from_text(text);
    } catch (const trox::error& error) {
        throw wrong_use(error.reason());
    }
}

void common_options::declare_rendering(CLI::App& app)
{
    CLI::Option* const chosen = add_choice<output_format>(
        app, "--format", format,
        {{"table", output_format::table},
         {"json", output_format::json},
         {"ndjson", output_format::ndjson},
         {"csv", output_format::csv}},
        "How results are written: for people (the default), as one JSON document, as one JSON "
        "object a line, or as comma-separated values");
    CLI::Option* const json = app.add_flag_function(
        "--json", [this](std::int64_t) { format = output_format::json; }, "The same as --format json");
    json->excludes(chosen);
    declare_color(app);
    declare_times(app, "tables and CSV show times", ". Times in JSON are UTC always");
    for (CLI::Option* const option : {chosen, json}) {
        option->group(rendering_group);
    }
}

void common_options::declare_times(CLI::App& app, const std::string& where, const std::string& remark)
{
    CLI::Option* const zoned = app.add_option("--tz", zone,
                                              "Time zone in which " + where +
                                                  ": UTC (the default), local, or a name like Europe/Berlin" + remark)
                                   ->type_name("ZONE");
    CLI::Option* const timed = app.add_option("--time-format", time_format,
                                              "How " + where +
                                                  ": iso (the default), epoch (seconds since 1970), or a pattern of "
                                                  "strftime, with %f for microseconds")
                                   ->type_name("FORMAT");
    zoned->group(rendering_group);
    timed->group(rendering_group);
}

void common_options::declare_color(CLI::App& app)
{
    add_choice<color_use>(app, "--color", color,
                          {{"auto", color_use::automatic}, {"always", color_use::always}, {"never", color_use::never}},
                          "Whether results have colours; auto (the default): on terminals, unless NO_COLOR is set")
        ->group(rendering_group);
}

void common_options::declare_long(CLI::App& app)
{
    app.add_flag_function(
           "-l,--long", [this](std::int64_t) { detail = column_view::exact; }, "Show in tables all that JSON has")
        ->group(rendering_group);
}

void common_options::declare_output(CLI::App& app, const std::string& description)
{
    const auto take = [this](const std::string& word) {
        if (word.empty()) {
            throw wrong_use("the name of the file is empty");
        }
        output_file = word == "-" ? "" : word;
    };
    add_word(app, "-o,--output", file_value, take, description)->group(rendering_group);
}

void common_options::declare_work(CLI::App& app)
{
    constexpr std::int64_t most_threads = 1024;
    add_integer(app, "--threads", threads, 0, most_threads, "Threads that decode; 0 (the default): one per processor")
        ->group(work_group);
    declare_memory(app);
}

void common_options::declare_memory(CLI::App& app)
{
    add_bytes(app, "--memory", memory, "Memory for decoded data, like 64M or 1G (256M)")->group(work_group);
    declare_progress(app);
}

void common_options::declare_progress(CLI::App& app)
{
    add_choice<progress_use>(
        app, "--progress", progress,
        {{"auto", progress_use::automatic}, {"always", progress_use::always}, {"never", progress_use::never}},
        "Whether a bar on standard error shows how far the work is; auto (the default): on terminals, when it lasts "
        "for more than a second")
        ->group(work_group);
}

} // namespace trox_cli
