// trox info: what files or a run are.
#include "../cli/input.h"
#include "../cli/summary.h"
#include "../verbs.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace trox_cli
{
namespace
{

/// Channels of one kind together.
struct kind_sum {
    std::uint64_t channels = 0;
    std::uint64_t records = 0;
    std::uint64_t stored_bytes = 0;
    std::array<std::uint64_t, 3> stored_as{}; ///< channels with records by compression
};

/// Events of one type in all files.
struct type_sum {
    std::uint64_t count = 0;
    trox::event_type_info first{};
    trox::event_type_info last{};
};

std::map<trox::channel_kind, kind_sum> sums_of_kinds(const trox::data_set& data, context& context)
{
    std::map<trox::channel_kind, kind_sum> sums;
    auto bar = context.start_progress("looking at channels", data.channels().size());
    for (std::size_t i = 0; i < data.channels().size(); ++i) {
        const auto details = data.inspect(i);
        kind_sum& sum = sums[details.kind];
        ++sum.channels;
        sum.records += data.channels()[i].records;
        sum.stored_bytes += details.stored_bytes;
        if (data.channels()[i].records != 0) {
            ++sum.stored_as.at(static_cast<std::size_t>(details.stored_as));
        }
        bar.advance();
    }
    return sums;
}

std::map<int, type_sum> sums_of_types(const trox::data_set& data)
{
    std::map<int, type_sum> sums;
    for (const auto& file : data.files()) {
        for (const auto& type : file.events) {
            if (type.count == 0) {
                continue;
            }
            type_sum& sum = sums[type.type];
            sum.first = sum.count == 0 || type.first_time < sum.first.first_time ? type : sum.first;
            sum.last = sum.count == 0 || type.last_time > sum.last.last_time ? type : sum.last;
            sum.count += type.count;
        }
    }
    return sums;
}

class info_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files(app);
        common.declare_rendering(app);
        common.declare_output(app);
        common.declare_progress(app);
    }

    exit_code run(context& context) override
    {
        const trox::data_set data = source_.open(context);
        const auto kinds = sums_of_kinds(data, context);
        report result = context.open_document();
        tell_summary(result, data);
        tell_files(result, data);
        tell_events(result, data);
        tell_kinds(result, kinds);
        context.finish(result);
        return exit_code::done;
    }

private:
    static void tell_summary(report& result, const trox::data_set& data)
    {
        std::set<trox::generation> generations;
        std::uint64_t size = 0;
        std::uint64_t events = 0;
        for (const auto& file : data.files()) {
            generations.insert(file.format);
            size += file.size;
            events += span_of(file).events;
        }
        std::vector<std::string> names;
        for (const auto format : generations) {
            names.emplace_back(trox::name_of(format));
        }
        const auto first = data.first_time();
        const auto last = data.last_time();
        const cell duration = first && last ? cell(*last - *first) : cell();
        result.fields({"summary"}, {{{"generations", column_type::list}, cell::list(names)},
                                    {{"files", column_type::integer}, data.files().size()},
                                    {{"skipped_files", column_type::integer}, data.skipped_files().size()},
                                    {{"size", column_type::bytes}, size},
                                    {{"channels", column_type::integer}, data.channels().size()},
                                    {{"events", column_type::integer}, events},
                                    {{"first_time", column_type::time}, first},
                                    {{"last_time", column_type::time}, last},
                                    {{"duration_us", column_type::duration, {}, "duration"}, duration}});
    }

    static void tell_files(report& result, const trox::data_set& data)
    {
        result.begin_table({"files", "Files"}, {{"path"},
                                                {"generation"},
                                                {"size", column_type::bytes},
                                                {"channels", column_type::integer},
                                                {"events", column_type::integer},
                                                {"first_time", column_type::time},
                                                {"last_time", column_type::time}});
        for (const auto& file : data.files()) {
            const file_span span = span_of(file);
            result.row(
                {file.path, trox::name_of(file.format), file.size, file.channels, span.events, span.first, span.last});
        }
        result.end_table();
    }

    static void tell_events(report& result, const trox::data_set& data)
    {
        result.begin_table({"event_types", "Events"}, {{"type", column_type::integer},
                                                       {"name"},
                                                       {"events", column_type::integer},
                                                       {"first_event", column_type::integer},
                                                       {"last_event", column_type::integer},
                                                       {"first_time", column_type::time},
                                                       {"last_time", column_type::time}});
        for (const auto& [type, sum] : sums_of_types(data)) {
            result.row({type, trox::event_type_name(type), sum.count, sum.first.first_number, sum.last.last_number,
                        sum.first.first_time, sum.last.last_time});
        }
        result.end_table();
    }

    static void tell_kinds(report& result, const std::map<trox::channel_kind, kind_sum>& kinds)
    {
        result.begin_table({"kinds", "Channels"}, {{"kind"},
                                                   {"channels", column_type::integer},
                                                   {"records", column_type::integer},
                                                   {"stored_bytes", column_type::bytes, {}, "stored"},
                                                   {"plain_channels", column_type::integer, {}, "plain"},
                                                   {"zlib_channels", column_type::integer, {}, "zlib"},
                                                   {"lzo_channels", column_type::integer, {}, "lzo"}});
        for (const auto& [kind, sum] : kinds) {
            result.row({trox::name_of(kind), sum.channels, sum.records, sum.stored_bytes, sum.stored_as[0],
                        sum.stored_as[1], sum.stored_as[2]});
        }
        result.end_table();
    }

    data_source source_;
};

} // namespace

const verb_entry info_entry{
    "info",
    "tell what a file or a run is",
    "Tells of data files of any generation: their size and span, their events by type, and their channels by kind. "
    "\"trox list\" lists each channel.\n\n"
    "Which compression a channel has is that of its first record; one without records has none.",
    {{"trox info /data/linac_main_run7_file1_20240305T120000.raw", "Tells of one file."},
     {"trox info --run 7 --catalogue /catalogue --data /data", "Tells of a run."},
     {"trox info /data --json | jq .summary", "Tells of all files of a directory."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<info_verb>(); }};

} // namespace trox_cli
