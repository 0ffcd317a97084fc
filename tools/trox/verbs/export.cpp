// trox export: events as files of other formats.
#include "../cli/input.h"
#include "../cli/signals.h"
#include "../cli/text.h"
#include "../verbs.h"
#include "base/target_file.h"
#include "export/exporter.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

namespace trox_cli
{
namespace
{

using trox_export::csv_layout;
using trox_export::file_format;

const choices<std::optional<file_format>> format_words{{"csv", file_format::csv},
                                                       {"ndjson", file_format::ndjson},
                                                       {"npz", file_format::npz},
                                                       {"hdf5", file_format::hdf5},
                                                       {"png", file_format::png}};

/// Lines without what moves a terminal's cursor.
std::string printable_lines(std::string_view text)
{
    std::string lines;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        lines += printable(text.substr(0, length));
        lines.append(length < text.size() ? 1 : 0, '\n');
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return lines;
}

class export_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files_and_channels(app);
        source_.declare_event_range(app);
        synchronisation_.declare(app);
        declare_format(app);
        common.declare_output(app, "The file, which is replaced as a whole; CSV and NDJSON go to standard output (-) "
                                   "without it, and into a device or pipe as they are made");
        common.declare_times(app, "CSV shows times");
        common.declare_work(app);
    }

    exit_code run(context& context) override
    {
        target_ = context.options().output_file;
        const file_format format = chosen_format();
        const trox::data_set data = source_.open(context);
        trox::selection selected = source_.selection(data);
        synchronisation_.apply(context, data, selected);
        const auto& options = context.options();
        if (options.zone != "UTC" || options.time_format != "iso") {
            if (format != file_format::csv) {
                throw wrong_use("--tz and --time-format are for CSV; times of other formats are UTC");
            }
            how_.show_time = [&context](trox::time_point time) { return context.times().show(time); };
        }

        how_.format = format;
        how_.target = target_;
        if (is_stream()) {
            const bool is_terminal = context.out().is_terminal();
            how_.write = [&context, is_terminal](std::string_view text) {
                context.out().write(is_terminal ? printable_lines(text) : std::string(text));
            };
        }
        const auto done = write(context, data, selected);
        if (is_stream()) {
            context.out().finish();
        }
        tell(context, done);
        return exit_code::done;
    }

private:
    void declare_format(CLI::App& app)
    {
        constexpr const char* group = "Output";
        CLI::Option* const format = add_choice(app, "--format", format_, format_words,
                                               "What is written: csv, ndjson, npz (NumPy), hdf5, or png (a picture per "
                                               "image); otherwise the ending of the file's name tells");
        CLI::Option* const wide = app.add_flag_function(
            "--wide", [this](std::int64_t) { how_.csv = csv_layout::wide; },
            "CSV with a line per event and a field per channel, for channels of one value a member");
        constexpr int most_compression = 9;
        CLI::Option* const compression = add_integer(app, "--compression", how_.compression, 0, most_compression,
                                                     "Of npz, hdf5 and png: 0 for none, 1 for fast to 9 for small (4)");
        CLI::Option* const verify = app.add_flag(
            "--verify", how_.verify, "Read the file back, and compare every value with a second reading of the data");
        for (CLI::Option* const option : {format, wide, compression, verify}) {
            option->group(group);
        }
    }

    file_format chosen_format() const
    {
        auto format = format_ ? format_ : trox_export::format_of_name(target_);
        if (!format && target_.empty()) {
            format = file_format::csv;
        }
        if (!format) {
            throw wrong_use("the ending of \"" + target_ + "\" does not tell the format", "name it with --format");
        }
        const bool is_text = *format == file_format::csv || *format == file_format::ndjson;
        if (target_.empty() && !is_text) {
            throw wrong_use("this format needs a file", "name it with -o");
        }
        if (is_stream() && !is_text) {
            throw wrong_use("this format needs a file, and " + target_ + " is a device or a pipe",
                            "name another one with -o");
        }
        if (is_stream() && how_.verify) {
            const std::string where = target_.empty() ? "standard output" : target_;
            throw wrong_use("what is written to " + where + " cannot be verified", "name a file with -o");
        }
        if (how_.csv == csv_layout::wide && *format != file_format::csv) {
            throw wrong_use("--wide is for CSV");
        }
        return *format;
    }

    /// Whether text is handed on as it is made: nothing to be put in place, or to be read back.
    bool is_stream() const
    {
        return target_.empty() || trox_base::takes_bytes_as_they_come(target_);
    }

    trox_export::result write(context& context, const trox::data_set& data, const trox::selection& selected)
    {
        const std::uint64_t passes = how_.verify ? 2 : 1;
        const std::uint64_t total =
            context.wants_progress() ? passes * trox::event_reader(data, selected, context.reading()).count() : 0;
        auto bar = context.start_progress(how_.verify ? "exporting and verifying" : "exporting", total);
        // A stream ends where a signal ends the program: there is nothing to undo.
        std::optional<signal_guard> guard;
        if (!is_stream()) {
            guard.emplace();
            how_.check = &signal_guard::check;
        }
        how_.progress = [&](std::uint64_t) { bar.advance(); };
        try {
            auto done = trox_export::export_events(data, selected, context.reading(), how_);
            if (guard) {
                signal_guard::check(); // one that came too late to undo anything
            }
            return done;
        } catch (const interrupted&) {
            signal_guard::end_by_signal();
            throw failure("interrupted");
        }
    }

    void tell(context& context, const trox_export::result& done) const
    {
        context.tell_losses(done.report);
        tell_missing(context, done.report);
        for (const auto& changed : done.changed_shapes) {
            context.note(fmt::format("{}: the number of values changes, from {} to {}", changed.channel, changed.fewest,
                                     changed.most));
        }
        if (done.difference) {
            throw failure("verification failed, and nothing was put in place: " + *done.difference);
        }
        if (!is_stream()) {
            const std::string what =
                done.file_count == 1 ? done.files.front() : fmt::format("{} files", done.file_count);
            context.note(fmt::format("{}: {} events, {} records{}", what, done.events, done.records,
                                     done.is_verified ? ", verified" : ""));
        }
    }

    static void tell_missing(context& context, const trox::reading_report& read)
    {
        constexpr std::size_t most = 10;
        std::size_t missing = 0;
        for (const auto& channel : read.channels) {
            if (channel.missing == 0) {
                continue;
            }
            if (++missing <= most) {
                context.note(
                    fmt::format("{}: no record in {} of {} events", channel.name, channel.missing, read.events));
            }
        }
        if (missing > most) {
            context.note(fmt::format("{} more channels are missing in some events", missing - most));
        }
        if (read.dropped != 0) {
            context.note(fmt::format("{} events were left out", read.dropped));
        }
    }

    data_source source_;
    synchronisation_options synchronisation_;
    std::optional<file_format> format_;
    std::string target_;
    trox_export::options how_;
};

} // namespace

const verb_entry export_entry{
    "export",
    "write events as CSV, NDJSON, NumPy arrays, HDF5 or pictures",
    "Writes the selected events into a file of another format, event by event, in bounded memory. The file appears "
    "when it is whole (and verified, with --verify); until then one of the same name stays as it was.\n\n"
    "CSV has a line per event and member of a channel (fields event, time, channel, member, unit, present, "
    "record_time, errors, shape, start, increment, group_increment, values), or with --wide a line per event. NDJSON "
    "has an object per event, null for a channel without a record. npz and HDF5 have an array per column of a channel, "
    "CHANNEL/COLUMN: present (0 missing, 1 recorded, 2 an earlier slow value), record_time, errors, length, the "
    "members' samples, axis, image, value and so on. Rows without a record, and what is missing at the end of shorter "
    "rows, are NaN, 0 or empty. Times are UTC; numbers are microseconds since 1970.\n\n"
    "Pictures have 8 or 16 bits, as the camera sent them. Several become NAME-EVENT.png, with several channels "
    "NAME-CHANNEL-EVENT.png.",
    {{"trox export run7.raw 'LINAC.RF/*' -o rf.h5 --verify", "Writes some channels to HDF5, and compares."},
     {"trox export run7.raw LINAC.DIAG/TOROID/2.BC1/CHARGE LINAC.MAG/QUAD/Q5.BC1/I.RBV --wide",
      "Shows a slow value beside a value of every event as CSV. Alone it has the events that brought a new value."},
     {"trox export run7.raw LINAC.DIAG/CAM/SCR.4/IMG -o beam.png", "Writes every image as a picture."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<export_verb>(); }};

} // namespace trox_cli
