// trox cover: how complete channels are over time.
#include "../cli/coverage.h"
#include "../cli/input.h"
#include "../cli/summary.h"
#include "../verbs.h"

#include <algorithm>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

/// Channels that only slow events carry record when they change, at no step of their own.
class cover_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files_and_channels(app);
        source_.declare_event_range(app);
        add_integer(app, "--bins", bins_, 1, 1000, "Parts of the time in which records are counted (40)")
            ->group("Output");
        app.add_flag("--findings", tells_findings_, "List each gap, duplicate and clock jump, not only their numbers")
            ->group("Output");
        common.declare_rendering(app);
        common.declare_long(app);
        common.declare_output(app);
        common.declare_progress(app);
    }

    exit_code run(context& context) override
    {
        const trox::data_set data = source_.open(context);
        const std::vector<std::size_t> channels = source_.channels(data);
        std::vector<trox::channel_stamps> stamps = data.stamps(channels, context.follow_files("reading tables"));
        trox::reading_report losses;
        for (trox::channel_stamps& channel : stamps) {
            limit(channel.records);
            losses.skipped_records.insert(losses.skipped_records.end(), channel.skipped.begin(), channel.skipped.end());
            auto& skipped = losses.channels.emplace_back();
            skipped.skipped = channel.skipped.size();
        }
        context.tell_losses(losses);
        tell(context, data, channels, stamps);
        return exit_code::done;
    }

private:
    void limit(std::vector<trox::record_stamp>& records) const
    {
        const trox::event_range range = source_.range();
        const auto is_outside = [&](const trox::record_stamp& record) {
            return (range.first_number && record.number < *range.first_number) ||
                   (range.end_number && record.number >= *range.end_number) ||
                   (range.begin && record.time < *range.begin) || (range.end && record.time >= *range.end);
        };
        records.erase(std::remove_if(records.begin(), records.end(), is_outside), records.end());
    }

    void tell(context& context, const trox::data_set& data, const std::vector<std::size_t>& channels,
              const std::vector<trox::channel_stamps>& stamps) const
    {
        std::optional<trox::time_point> first;
        std::optional<trox::time_point> last;
        for (const trox::channel_stamps& channel : stamps) {
            for (const trox::record_stamp& record : channel.records) {
                first = first ? std::min(*first, record.time) : record.time;
                last = last ? std::max(*last, record.time) : record.time;
            }
        }
        std::vector<channel_coverage> found;
        for (std::size_t i = 0; i < channels.size(); ++i) {
            found.push_back(find_coverage(stamps[i].records, has_fast_events(data.channels()[channels[i]])));
        }
        report result = tells_findings_ ? context.open_document() : context.open_table();
        if (tells_findings_) {
            result.fields({"span", "Span"}, {{{"first_time", column_type::time}, first},
                                             {{"last_time", column_type::time}, last},
                                             {{"channels", column_type::integer}, channels.size()}});
        }
        tell_channels(result, data, channels, stamps, found, first, last);
        if (tells_findings_) {
            tell_findings(result, data, channels, found);
        }
        context.finish(result);
    }

    void tell_channels(report& result, const trox::data_set& data, const std::vector<std::size_t>& channels,
                       const std::vector<trox::channel_stamps>& stamps, const std::vector<channel_coverage>& found,
                       std::optional<trox::time_point> first, std::optional<trox::time_point> last) const
    {
        constexpr auto exact = column_view::exact;
        result.begin_table({"channels", tells_findings_ ? "Channels" : ""},
                           {{"channel"},
                            {"records", column_type::integer},
                            {"expected", column_type::integer},
                            {"step_us", column_type::duration, {}, "step"},
                            {"gaps", column_type::integer},
                            {"longest_gap_us", column_type::duration, {}, "longest gap"},
                            {"duplicates", column_type::integer},
                            {"clock_jumps", column_type::integer, {}, "clock jumps"},
                            {"first_time", column_type::time, exact},
                            {"last_time", column_type::time, exact},
                            {"over_time", column_type::text, {}, "over time"},
                            {"counts", column_type::list, exact}});
        for (std::size_t i = 0; i < channels.size(); ++i) {
            const auto& records = stamps[i].records;
            const channel_coverage& coverage = found[i];
            const auto counts = first ? count_over_time(records, *first, *last, bins_) : std::vector<std::uint64_t>();
            const auto [earliest, latest] = std::minmax_element(
                records.begin(), records.end(), [](const auto& a, const auto& b) { return a.time < b.time; });
            const auto time_or_null = [&](auto at) {
                return at == records.end() ? std::nullopt : std::optional(at->time);
            };
            const auto regular = [&](irregularity what) {
                return coverage.step ? std::optional(coverage.count(what)) : std::nullopt;
            };
            const auto marked = [](const std::optional<std::uint64_t>& number) {
                return cell(number).with(number.value_or(0) > 0 ? tone::warning : tone::plain);
            };
            result.row({data.channels()[channels[i]].name, records.size(), coverage.expected, coverage.step,
                        marked(regular(irregularity::gap)), coverage.longest_gap(),
                        marked(coverage.count(irregularity::duplicate)), marked(regular(irregularity::clock_jump)),
                        time_or_null(earliest), time_or_null(latest), strip_of(counts), cell::list(counts)});
        }
        result.end_table();
    }

    static void tell_findings(report& result, const trox::data_set& data, const std::vector<std::size_t>& channels,
                              const std::vector<channel_coverage>& found)
    {
        result.begin_table({"findings", "Findings"}, {{"channel"},
                                                      {"finding"},
                                                      {"event", column_type::integer},
                                                      {"time", column_type::time},
                                                      {"length_us", column_type::duration, {}, "length"},
                                                      {"file"}});
        for (std::size_t i = 0; i < channels.size(); ++i) {
            for (const coverage_finding& finding : found[i].findings) {
                result.row({data.channels()[channels[i]].name, name_of(finding.what), finding.at.number,
                            finding.at.time, finding.length, data.files()[finding.at.file].path});
            }
        }
        result.end_table();
    }

    data_source source_;
    std::size_t bins_ = 40;
    bool tells_findings_ = false;
};

} // namespace

const verb_entry cover_entry{
    "cover",
    "tell how complete channels are over time",
    "Counts the records of each channel over time, and finds gaps (a step of more than 1.5 times the channel's median "
    "step), duplicates (the number or the time of a record before) and clock jumps (time and number go on by amounts "
    "that differ by more than half a step). Only tables are read, nothing is decoded.\n\n"
    "\"over time\" shows the parts of the time from the first to the last record of all channels, each as high as it "
    "is "
    "full. \"expected\" is the number of records that fit between a channel's first and last one. Slow channels record "
    "when they change: of them only duplicates are told. The median is that of all steps above 0, of an even number "
    "the "
    "lower of the two in the middle.",
    {{"trox cover /data", "Tells how complete the channels of a directory's files are."},
     {"trox cover /data 'LINAC.RF/*' --findings", "Lists each gap of some channels."},
     {"trox cover --run 7 --catalogue /catalogue --data /data --json", "Tells of a run, as JSON."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<cover_verb>(); }};

} // namespace trox_cli
