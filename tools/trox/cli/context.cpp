#include "context.h"

#include "base/target_file.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

namespace trox_cli
{
namespace
{

// One name for all those that lead to a place, whether there is a file or not.
std::filesystem::path place_of(const std::string& path)
{
    std::error_code failed;
    const auto place =
        std::filesystem::weakly_canonical(std::filesystem::absolute(trox_base::resolve_links(path)), failed);
    return failed ? std::filesystem::path(path) : place;
}

bool has_colors(color_use wanted, const output& out)
{
    switch (wanted) {
    case color_use::always:
        return true;
    case color_use::never:
        return false;
    case color_use::automatic:
        break;
    }
    const char* const refusal = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return out.is_terminal() && (refusal == nullptr || *refusal == '\0') && terminal != nullptr &&
           std::strcmp(terminal, "dumb") != 0;
}

} // namespace

void write_diagnostic(const std::string& verb, const std::string& text)
{
    const std::string line = "trox: " + (verb.empty() ? "" : verb + ": ") + printable(text) + "\n";
    std::fputs(line.c_str(), stderr);
}

context::context(std::string verb, const common_options& options) : verb_(std::move(verb)), options_(options) {}

const time_display& context::times()
{
    if (!times_) {
        times_.emplace(options_.zone, options_.time_format);
    }
    return *times_;
}

output& context::out()
{
    file_bar_.reset();
    if (!out_) {
        out_ = std::make_unique<output>(options_.output_file);
    }
    return *out_;
}

output& context::binary_out()
{
    if (out().is_terminal()) {
        throw wrong_use("the result is binary, and not written to a terminal", "name a file with -o, or use a pipe");
    }
    return *out_;
}

void context::keep_inputs(const std::vector<std::string>& paths) const
{
    const std::string& target = options_.output_file;
    if (target.empty() || trox_base::takes_bytes_as_they_come(target)) {
        return;
    }
    const auto same = std::find_if(paths.begin(), paths.end(), [&](const std::string& path) {
        return path == target || trox_base::is_same_file(path, target) || place_of(path) == place_of(target);
    });
    if (same != paths.end()) {
        throw wrong_use("-o " + target + " would replace " + *same + ", which this command works on",
                        "name another file");
    }
}

bool context::wants_colors()
{
    return has_colors(options_.color, out());
}

report_setting context::setting(int schema_version)
{
    report_setting setting;
    setting.schema = fmt::format("trox.{}/{}", verb_, schema_version);
    setting.times = times();
    setting.has_colors = wants_colors();
    setting.detail = options_.detail;
    setting.width = out().width();
    setting.is_terminal = out().is_terminal();
    return setting;
}

report context::open_table(int schema_version)
{
    if (options_.format == output_format::csv) {
        return report(make_csv_table_renderer(out(), setting(schema_version)));
    }
    return open_document(schema_version);
}

report context::open_document(int schema_version)
{
    const report_setting chosen = setting(schema_version);
    switch (options_.format) {
    case output_format::table:
        break;
    case output_format::json:
        return report(make_json_renderer(out(), chosen));
    case output_format::ndjson:
        return report(make_ndjson_renderer(out(), chosen));
    case output_format::csv:
        return report(make_csv_values_renderer(out(), chosen));
    }
    return report(make_table_renderer(out(), chosen));
}

void context::finish(report& result)
{
    result.finish();
    out().finish();
}

void context::note(const std::string& text)
{
    file_bar_.reset();
    write_diagnostic(verb_, text);
}

void context::data_lost(const std::string& text)
{
    has_lost_data_ = true;
    note(text);
}

bool context::wants_progress() const
{
    switch (options_.progress) {
    case progress_use::automatic:
        return ::isatty(STDERR_FILENO) == 1;
    case progress_use::always:
        return true;
    case progress_use::never:
        break;
    }
    return false;
}

progress context::start_progress(const std::string& label, std::uint64_t total) const
{
    constexpr std::chrono::milliseconds usual_patience{1000};
    const bool is_always = options_.progress == progress_use::always;
    return wants_progress() ? progress(label, total, is_always ? std::chrono::milliseconds(0) : usual_patience)
                            : progress();
}

trox::file_progress context::follow_files(const std::string& label)
{
    if (!wants_progress()) {
        return {};
    }
    file_bar_.reset();
    return [this, label](std::size_t done, std::size_t total) {
        if (!file_bar_) {
            file_bar_ = std::make_unique<progress>(start_progress(label, total));
        }
        file_bar_->reach(done);
        if (done == total) {
            file_bar_.reset();
        }
    };
}

trox::reading_options context::reading() const
{
    trox::reading_options reading;
    reading.memory_budget = static_cast<std::size_t>(options_.memory);
    reading.threads = options_.threads;
    return reading;
}

void context::tell_problems(const std::vector<trox::file_info>& files)
{
    for (const auto& file : files) {
        if (!file.problem.empty()) {
            data_lost(file.path + ": " + file.problem);
        }
    }
}

void context::tell_losses(const std::vector<trox::skipped_file>& files)
{
    for (const auto& file : files) {
        if (told_files_.insert(file.path).second) {
            data_lost(file.path + ": passed over: " + file.reason);
        }
    }
}

void context::tell_losses(const trox::reading_report& read)
{
    constexpr std::size_t most = 10;
    std::uint64_t skipped = 0;
    std::uint64_t unmatched = 0;
    for (const auto& channel : read.channels) {
        skipped += channel.skipped;
        unmatched += channel.unmatched;
    }
    const std::size_t told = std::min(read.skipped_records.size(), most);
    for (std::size_t i = 0; i < told; ++i) {
        const auto& record = read.skipped_records[i];
        data_lost(trox::error(trox::fault::damaged_record, "passed over: " + record.reason, record.where).what());
    }
    if (skipped > told) {
        data_lost(fmt::format("{} more damaged records were passed over", skipped - told));
    }
    if (unmatched > 0) { // sound data: there are other ways to read them
        note(fmt::format("{} {} part of no event: of several that match the same event one is taken", unmatched,
                         unmatched == 1 ? "record became" : "records became"));
    }
}

} // namespace trox_cli
