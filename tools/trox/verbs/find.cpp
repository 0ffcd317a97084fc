// trox find: runs and files by number and time.
#include "../cli/input.h"
#include "../cli/summary.h"
#include "../cli/text.h"
#include "../verbs.h"

#include <charconv>

namespace trox_cli
{
namespace
{

/// A data file of a run, as far as it can be looked into.
struct found_file {
    std::string path;
    std::optional<trox::file_info> contents;
    std::string problem; ///< why it cannot be looked into
};

found_file look_into(const std::string& path)
{
    try {
        return {path, trox::data_set::open_files({path}).files().front(), {}};
    } catch (const trox::error& error) {
        return {path, std::nullopt, error.reason()};
    }
}

class find_files_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        app.add_option("what", what_, "Number of a run, or a time like 2012-06-14T09:30:00 (UTC)")
            ->type_name("RUN|TIME");
        where_.declare(app);
        add_time(app, "--from", begin_, "Begin of a period")->group("Selection");
        add_time(app, "--to", end_, "End of a period, not included")->group("Selection");
        common.declare_rendering(app);
        common.declare_output(app);
        common.declare_progress(app);
    }

    exit_code run(context& context) override
    {
        const trox::run_query query = wanted();
        const auto runs = trox::find_runs(where_.place(context), query);
        report result = context.open_document();
        tell_runs(result, runs);
        const std::size_t files = tell_files(context, result, runs, query);
        if (runs.empty() || files == 0) {
            result.finish();
            context.out().flush(); // a file stays what it was
            throw failure(runs.empty() ? "no run is found" : "no file of the runs found has events then");
        }
        context.finish(result);
        return exit_code::done;
    }

private:
    trox::run_query wanted() const
    {
        trox::run_query query;
        query.begin = begin_;
        query.end = end_;
        if (what_.empty()) {
            if (!begin_ && !end_) {
                throw wrong_use("nothing to find is named", "a run, a time, or --from TIME --to TIME");
            }
            return query;
        }
        if (begin_ || end_) {
            throw wrong_use("\"" + what_ + "\" and a period are two things to find", "name one of them");
        }
        const auto number = number_from_text(what_);
        if (number && *number <= INT32_MAX) {
            query.first = static_cast<std::int32_t>(*number);
            query.last = query.first;
            return query;
        }
        query.begin = parse_time(what_);
        query.end = *query.begin + trox::microseconds(1);
        return query;
    }

    static void tell_runs(report& result, const std::vector<trox::run_info>& runs)
    {
        result.begin_table({"runs", "Runs"}, {{"run", column_type::integer},
                                              {"experiment"},
                                              {"stream"},
                                              {"start", column_type::time},
                                              {"stop", column_type::time}});
        for (const auto& run : runs) {
            result.row({run.number, run.experiment, run.stream, run.start, run.stop});
        }
        result.end_table();
    }

    /// A file that cannot be looked into may hold what is looked for, and is told of.
    static bool is_wanted(const found_file& file, const trox::run_query& query)
    {
        if (!file.contents) {
            return true;
        }
        const file_span span = span_of(*file.contents);
        if (!span.first) {
            return !query.begin && !query.end;
        }
        return (!query.end || *span.first < *query.end) && (!query.begin || *span.last >= *query.begin);
    }

    static std::size_t tell_files(context& context, report& result, const std::vector<trox::run_info>& runs,
                                  const trox::run_query& query)
    {
        std::size_t told = 0;
        std::size_t total = 0;
        for (const auto& run : runs) {
            total += run.files.size();
        }
        progress bar = context.start_progress("looking into files", total);
        result.begin_table({"files", "Files"}, {{"run", column_type::integer},
                                                {"path"},
                                                {"events", column_type::integer},
                                                {"first_time", column_type::time},
                                                {"last_time", column_type::time},
                                                {"problem"}});
        for (const auto& run : runs) {
            context.keep_inputs(run.files);
            for (const auto& path : run.files) {
                const found_file file = look_into(path);
                bar.advance();
                if (!is_wanted(file, query)) {
                    continue;
                }
                ++told;
                const file_span span = file.contents ? span_of(*file.contents) : file_span();
                const cell events = file.contents ? cell(span.events) : cell();
                bar.hide();
                result.row({run.number, file.path, events, span.first, span.last,
                            file.problem.empty() ? cell() : cell(file.problem).with(tone::bad)});
                if (!file.problem.empty()) {
                    context.data_lost(file.path + ": " + file.problem);
                } else {
                    context.tell_problems({*file.contents});
                }
            }
        }
        result.end_table();
        return told;
    }

    std::string what_;
    place_options where_;
    std::optional<trox::time_point> begin_;
    std::optional<trox::time_point> end_;
};

} // namespace

const verb_entry find_entry{
    "find",
    "find runs and files by run number, time or period",
    "Finds in a run catalogue the runs of a number, of a time or of a period, and those of their files that have "
    "events then. A number is taken for a run; dates are written with dashes.\n\n"
    "Files that cannot be looked into are listed with their problem; the exit code is 3 then. The exit code is 1 when "
    "nothing is found.",
    {{"trox find 1042 --catalogue /catalogue --data /data", "Finds the files of a run."},
     {"trox find 2012-06-14T09:30:05 --catalogue /catalogue --data /data", "Finds the file that was written then."},
     {"trox find --from 2012-06-14 --to 2012-06-15 --catalogue /catalogue", "Finds all of a day."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<find_files_verb>(); }};

} // namespace trox_cli
