// trox doctor: what is wrong with a file.
#include "doctor.h"
#include "../cli/input.h"
#include "../verbs.h"

#include <algorithm>
#include <fmt/format.h>
#include <system_error>

namespace trox_cli
{
namespace
{

using trox::inspect::channel_report;
using trox::inspect::check_report;

tone tone_of(trox::inspect::severity level)
{
    switch (level) {
    case trox::inspect::severity::error:
        return tone::bad;
    case trox::inspect::severity::warning:
        return tone::warning;
    case trox::inspect::severity::note:
        return tone::dim;
    }
    return tone::plain;
}

channel_report sum_of(const check_report& checked)
{
    channel_report sum;
    for (const channel_report& channel : checked.channels) {
        sum.checked += channel.checked;
        sum.good += channel.good;
        sum.damaged += channel.damaged;
        sum.unchecked += channel.unchecked;
    }
    return sum;
}

cell count_cell(std::uint64_t count, tone shade)
{
    return count == 0 ? cell(count) : cell(count).with(shade);
}

class doctor_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files(app);
        add_integer(app, "--findings", kept_, 0, most_kept,
                    "How many findings of each code are told (20); all of them are counted")
            ->type_name("N")
            ->default_str(std::to_string(kept_));
        common.declare_rendering(app);
        common.declare_long(app);
        common.declare_output(app);
        common.declare_work(app);
    }

    exit_code run(context& context) override
    {
        exit_code code = exit_code::done;
        std::vector<check_report> all;
        for (const std::string& path : source_.files(context)) {
            try {
                all.push_back(check(context, path));
            } catch (const std::system_error& error) {
                context.note(error.what());
                code = exit_code::failed;
                continue;
            }
            if (!all.back().format) {
                context.note(path + ": is no data file");
                code = exit_code::failed;
            } else if (all.back().errors != 0) {
                context.data_lost(
                    fmt::format("{}: {} {}", path, all.back().errors, all.back().errors == 1 ? "error" : "errors"));
            }
        }
        if (all.empty()) {
            return code;
        }
        report result = context.open_document();
        tell_files(result, all);
        const bool is_sound = std::all_of(all.begin(), all.end(), [](const auto& one) { return one.counts.empty(); });
        if (!is_sound || !is_short(context.options())) { // people are told the good news by the first table
            tell_counts(result, all);
            tell_findings(result, all);
            tell_channels(result, all, context.options());
        }
        context.finish(result);
        return code;
    }

private:
    static constexpr std::int64_t most_kept = 1'000'000;

    check_report check(context& context, const std::string& path) const
    {
        trox::inspect::doctor_options options;
        options.threads = context.options().threads;
        options.kept_per_code = kept_;
        options.largest_record = context.options().memory;
        std::uint64_t seen = 0;
        std::optional<progress> bar;
        options.progress = [&](std::uint64_t done, std::uint64_t total) {
            if (!bar) {
                bar.emplace(context.start_progress("checking " + path, total));
            }
            bar->advance(done - seen);
            seen = done;
        };
        return trox::inspect::check_file(path, options);
    }

    static void tell_files(report& result, const std::vector<check_report>& all)
    {
        result.begin_table({"files", "Files"}, {{"path"},
                                                {"generation"},
                                                {"size", column_type::bytes},
                                                {"errors", column_type::integer},
                                                {"warnings", column_type::integer},
                                                {"notes", column_type::integer},
                                                {"events", column_type::integer},
                                                {"channels", column_type::integer},
                                                {"records", column_type::integer},
                                                {"good", column_type::integer},
                                                {"damaged", column_type::integer},
                                                {"unchecked", column_type::integer, column_view::exact},
                                                {"unused_bytes", column_type::bytes, column_view::exact, "unused"},
                                                {"unused_pieces", column_type::integer, column_view::exact}});
        for (const check_report& one : all) {
            const channel_report sum = sum_of(one);
            result.row({one.path, one.format ? cell(trox::name_of(*one.format)) : cell(), one.file_size,
                        count_cell(one.errors, tone::bad), count_cell(one.warnings, tone::warning), one.notes,
                        one.events, one.channels.size(), sum.checked, sum.good, count_cell(sum.damaged, tone::bad),
                        sum.unchecked, one.unused_bytes, one.unused_pieces});
        }
        result.end_table();
    }

    static void tell_counts(report& result, const std::vector<check_report>& all)
    {
        result.begin_table({"codes", "Codes"}, {{"file", column_type::text, column_view::exact},
                                                {"severity"},
                                                {"code"},
                                                {"count", column_type::integer},
                                                {"meaning"},
                                                {"readable", column_type::text, {}, "can still be read"}});
        for (const check_report& one : all) {
            for (const auto& [code, count] : one.counts) {
                const auto& info = trox::inspect::info_of(code);
                result.row({one.path, cell(name_of(info.level)).with(tone_of(info.level)), info.name, count, info.what,
                            info.readable});
            }
        }
        result.end_table();
    }

    static void tell_findings(report& result, const std::vector<check_report>& all)
    {
        result.begin_table({"findings", "Findings"}, {{"file", column_type::text, column_view::exact},
                                                      {"severity", column_type::text, column_view::exact},
                                                      {"code"},
                                                      {"item"},
                                                      {"channel"},
                                                      {"event", column_type::integer},
                                                      {"record", column_type::integer},
                                                      {"offset", column_type::integer},
                                                      {"found"},
                                                      {"expected"}});
        for (const check_report& one : all) {
            for (const trox::inspect::finding& finding : one.findings) {
                const auto& info = trox::inspect::info_of(finding.code);
                const auto& where = finding.where;
                result.row({one.path, name_of(info.level), cell(info.name).with(tone_of(info.level)),
                            name_of(where.item), where.channel.empty() ? cell() : cell(where.channel), where.event,
                            where.record, where.offset, finding.found, finding.expected});
            }
        }
        result.end_table();
    }

    static bool is_short(const common_options& options)
    {
        return options.format == output_format::table && options.detail != column_view::exact;
    }

    /// Tables for people have the damaged channels only, unless all is asked for.
    static void tell_channels(report& result, const std::vector<check_report>& all, const common_options& options)
    {
        const auto is_searched = [](const channel_report& channel) { return !channel.announced; };
        const bool damaged_only =
            is_short(options) && std::none_of(all.begin(), all.end(), [&](const check_report& one) {
                return std::any_of(one.channels.begin(), one.channels.end(), is_searched);
            });
        result.begin_table({"channels", damaged_only ? "Damaged channels" : "Channels"},
                           {{"file", column_type::text, column_view::exact},
                            {"channel"},
                            {"announced", column_type::integer},
                            {"records", column_type::integer},
                            {"good", column_type::integer},
                            {"damaged", column_type::integer},
                            {"unchecked", column_type::integer},
                            {"offset", column_type::integer, column_view::exact},
                            {"size", column_type::bytes, column_view::exact}});
        for (const check_report& one : all) {
            for (const channel_report& channel : one.channels) {
                if (is_short(options) && channel.damaged == 0 && channel.announced == channel.checked) {
                    continue;
                }
                result.row({one.path, channel.name, channel.announced, channel.checked, channel.good,
                            count_cell(channel.damaged, tone::bad), channel.unchecked,
                            channel.position == 0 ? cell() : cell(channel.position), channel.length});
            }
        }
        result.end_table();
    }

    data_source source_;
    std::size_t kept_ = 20;
};

} // namespace

const verb_entry doctor_entry{
    "doctor",
    "check files, and tell what is wrong with them",
    "Checks everything that can be checked in data files of any generation: references, lengths, counts, patterns, "
    "checksums, positions, streams and payloads. Tells what is wrong, where, and what can still be read. The codes are "
    "listed in docs/doctor.md of the documentation (installed below share/doc/trox).\n\n"
    "Ends with 0 when no error was found (warnings and notes are none), with 3 when data are lost or wrong, and with 1 "
    "when a file cannot be opened or is no data file.\n\n"
    "--memory bounds what one LZO record may take; larger ones are not decompressed. Tables for people show damaged "
    "channels only, and all that were found of a file without tables; --long and the other formats show all.\n\n"
    "What can be read of a damaged file goes into a new one with \"trox recover\".",
    {{"trox doctor /data/linac_main_run7_file1_20240305T120000.raw", "Checks a file."},
     {"trox doctor /data --json | jq '.findings[] | select(.code == \"record-stream\")'",
      "Checks all files of a directory, and picks the streams that are broken."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<doctor_verb>(); }};

} // namespace trox_cli
