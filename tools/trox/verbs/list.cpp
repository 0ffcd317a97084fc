// trox list: channels, runs, files.
#include "../cli/input.h"
#include "../cli/summary.h"
#include "../cli/text.h"
#include "../verbs.h"

#include <algorithm>
#include <array>
#include <fnmatch.h>
#include <limits>

namespace trox_cli
{
namespace
{

enum class subject { channels, runs, files };

const choices<subject> subject_words{
    {"channels", subject::channels}, {"runs", subject::runs}, {"files", subject::files}};

constexpr std::array all_kinds{trox::channel_kind::trace,         trox::channel_kind::single_values,
                               trox::channel_kind::image,         trox::channel_kind::region_of_interest,
                               trox::channel_kind::name_value,    trox::channel_kind::slow,
                               trox::channel_kind::control_value, trox::channel_kind::unknown};

/// Kinds as words of a command line: "single-values".
choices<std::optional<trox::channel_kind>> kind_words()
{
    choices<std::optional<trox::channel_kind>> words;
    for (const auto kind : all_kinds) {
        std::string word = trox::name_of(kind);
        std::replace(word.begin(), word.end(), ' ', '-');
        words.emplace_back(word, kind);
    }
    return words;
}

class list_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        const auto take_subject = [this](const std::string& word) {
            const auto found = std::find_if(subject_words.begin(), subject_words.end(),
                                            [&](const auto& known) { return known.first == word; });
            if (found == subject_words.end()) {
                source_.put_argument_first(word);
            } else {
                subject_ = found->second;
            }
        };
        app.add_option_function<std::string>("subject", take_subject,
                                             "What is listed: channels (the default), runs of a catalogue, files; may "
                                             "be left out (a file of such a name is ./runs)")
            ->type_name("channels|runs|files");
        source_.declare_files(app);
        declare_filters(app);
        common.declare_rendering(app);
        common.declare_long(app);
        common.declare_output(app);
        common.declare_progress(app);
    }

    exit_code run(context& context) override
    {
        switch (subject_) {
        case subject::channels:
            list_channels(context);
            break;
        case subject::runs:
            list_runs(context);
            break;
        case subject::files:
            list_files(context);
            break;
        }
        return exit_code::done;
    }

private:
    void declare_filters(CLI::App& app)
    {
        constexpr const char* group = "Filters";
        add_repeated(app, "--glob", globs_, "PATTERN",
                     "Channels, or files, with such a name: a glob (\"LINAC.RF/*\"), for channels also a name, or a "
                     "regular expression behind \"re:\"; repeated for more")
            ->group(group);
        add_choice(app, "--kind", kind_, kind_words(), "Channels of this kind")->group(group);
        add_repeated(app, "--unit", units_, "UNIT", "Channels with this unit; repeated for more")->group(group);
    }

    void refuse_filters(const char* what) const
    {
        if (kind_ || !units_.empty()) {
            throw wrong_use(std::string("--kind and --unit filter channels, not ") + what);
        }
    }

    // --- channels ---------------------------------------------------------------------------------------------

    std::vector<std::size_t> filtered_channels(const trox::data_set& data) const
    {
        std::vector<std::size_t> found;
        if (globs_.empty()) {
            for (std::size_t i = 0; i < data.channels().size(); ++i) {
                found.push_back(i);
            }
        }
        for (const auto& glob : globs_) {
            const auto pattern = trox::pattern_from_text(glob);
            const bool is_unknown = pattern.kind == trox::channel_pattern::syntax::name && !data.find(glob);
            const auto matching = is_unknown ? std::vector<std::size_t>{} : trox::match_channels(data, {pattern});
            found.insert(found.end(), matching.begin(), matching.end());
        }
        std::sort(found.begin(), found.end());
        found.erase(std::unique(found.begin(), found.end()), found.end());
        const auto has_other_unit = [&](std::size_t index) {
            const auto& unit = data.channels()[index].unit;
            return !units_.empty() && std::find(units_.begin(), units_.end(), unit) == units_.end();
        };
        found.erase(std::remove_if(found.begin(), found.end(), has_other_unit), found.end());
        return found;
    }

    void list_channels(context& context)
    {
        const trox::data_set data = source_.open(context);
        const auto found = filtered_channels(data);
        report result = context.open_table();
        constexpr auto exact = column_view::exact;
        result.begin_table({"channels"}, {{"name"},
                                          {"kind"},
                                          {"unit"},
                                          {"records", column_type::integer},
                                          {"members", column_type::integer},
                                          {"samples", column_type::integer},
                                          {"groups", column_type::integer, exact},
                                          {"stored_bytes", column_type::bytes, {}, "stored"},
                                          {"compression"},
                                          {"event_types", column_type::list, {}, "events"},
                                          {"block_type", column_type::integer, exact},
                                          {"member_names", column_type::list, exact},
                                          {"files", column_type::integer, exact},
                                          {"description", column_type::text, exact},
                                          {"property", column_type::text, exact},
                                          {"server", column_type::text, exact},
                                          {"subsystem", column_type::text, exact}});
        auto bar = context.start_progress("looking at channels", found.size());
        for (const std::size_t index : found) {
            const auto details = data.inspect(index);
            if (!kind_ || details.kind == *kind_) {
                result.row(channel_row(data.channels()[index], details));
            }
            bar.advance();
        }
        bar.hide();
        result.end_table();
        context.finish(result);
    }

    static std::vector<cell> channel_row(const trox::channel_info& channel, const trox::channel_details& details)
    {
        const bool has_shape = details.samples != 0;
        const auto shape = [&](std::size_t size) { return has_shape ? cell(size) : cell(); };
        return {channel.name,
                trox::name_of(details.kind),
                text_or_null(channel.unit),
                channel.records,
                shape(details.members.size()),
                shape(details.samples),
                shape(details.groups),
                details.stored_bytes,
                channel.records == 0 ? cell() : cell(trox::name_of(details.stored_as)),
                cell::list(event_type_names(channel.event_types)),
                channel.records == 0 ? cell() : cell(details.block_type),
                cell::list(details.members),
                channel.files,
                text_or_null(channel.description),
                text_or_null(channel.property),
                text_or_null(channel.server),
                text_or_null(channel.subsystem)};
    }

    // --- runs -------------------------------------------------------------------------------------------------

    void list_runs(context& context)
    {
        refuse_filters("runs");
        if (!globs_.empty()) {
            throw wrong_use("--glob filters channels and files, not runs", "--experiment and --stream do");
        }
        if (source_.has_files()) {
            throw wrong_use("runs are those of a catalogue", "trox list runs --catalogue DIR");
        }
        trox::run_query query;
        query.first = source_.run();
        query.last = source_.run();
        query.begin = source_.range().begin;
        query.end = source_.range().end;
        report result = context.open_table();
        result.begin_table({"runs"}, {{"run", column_type::integer},
                                      {"experiment"},
                                      {"stream"},
                                      {"start", column_type::time},
                                      {"stop", column_type::time},
                                      {"files", column_type::integer},
                                      {"catalogue_file", column_type::text, column_view::exact},
                                      {"paths", column_type::list, column_view::exact}});
        for (const auto& found : trox::find_runs(source_.where().place(context), query)) {
            result.row({found.number, found.experiment, found.stream, found.start, found.stop, found.files.size(),
                        found.catalogue_file, cell::list(found.files)});
        }
        result.end_table();
        context.finish(result);
    }

    // --- files ------------------------------------------------------------------------------------------------

    bool is_wanted_file(const std::string& path) const
    {
        const std::string base = path.substr(path.find_last_of('/') + 1);
        return globs_.empty() || std::any_of(globs_.begin(), globs_.end(), [&](const std::string& glob) {
                   return ::fnmatch(glob.c_str(), base.c_str(), 0) == 0;
               });
    }

    void list_files(context& context)
    {
        refuse_filters("files");
        const trox::data_set data = source_.open(context);
        report result = context.open_table();
        result.begin_table({"files"}, {{"path"},
                                       {"generation"},
                                       {"size", column_type::bytes},
                                       {"channels", column_type::integer},
                                       {"events", column_type::integer},
                                       {"first_time", column_type::time},
                                       {"last_time", column_type::time}});
        for (const auto& file : data.files()) {
            if (is_wanted_file(file.path)) {
                const file_span span = span_of(file);
                result.row({file.path, trox::name_of(file.format), file.size, file.channels, span.events, span.first,
                            span.last});
            }
        }
        result.end_table();
        context.finish(result);
    }

    subject subject_ = subject::channels;
    data_source source_;
    std::vector<std::string> globs_;
    std::vector<std::string> units_;
    std::optional<trox::channel_kind> kind_;
};

} // namespace

const verb_entry list_entry{
    "list",
    "list channels, runs or files",
    "Lists the channels of data files, the runs of a catalogue, or the data files of a run, a period or a "
    "directory.\n\n"
    "Of a channel, kind, members and samples are those of its first good record, stored bytes those of all its files, "
    "and the compression that of its first record. An answer without rows is no failure.",
    {{"trox list /data/linac_main_run7_file1_20240305T120000.raw", "Lists the channels of a file."},
     {"trox list /data --glob 'LINAC.RF/*' --kind trace", "Lists some of the channels of all files of a directory."},
     {"trox list runs --catalogue /catalogue --from 2024-03-01", "Lists the runs since a day."},
     {"trox list files --run 7 --catalogue /catalogue --data /data --json", "Lists the files of a run as JSON."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<list_verb>(); }};

} // namespace trox_cli
