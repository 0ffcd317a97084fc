// trox sync: how well channels match.
#include "../cli/input.h"
#include "../cli/summary.h"
#include "../verbs.h"

#include <cmath>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

/// How far a channel's records lie from their events in time, and the event with the farthest.
struct channel_match {
    statistics residuals{}; ///< microseconds, record less event
    double farthest = 0;
    std::optional<std::uint64_t> farthest_event{};

    void add(double residual_us, std::uint64_t event)
    {
        residuals.add(residual_us);
        if (!farthest_event || std::abs(residual_us) > std::abs(farthest)) {
            farthest = residual_us;
            farthest_event = event;
        }
    }
};

class sync_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files_and_channels(app);
        source_.declare_event_range(app);
        synchronisation_.declare(app);
        common.declare_rendering(app);
        common.declare_output(app);
        common.declare_work(app);
    }

    exit_code run(context& context) override
    {
        const trox::data_set data = source_.open(context);
        trox::selection selection = source_.selection(data);
        synchronisation_.apply(context, data, selection);
        trox::reading_options reading = context.reading();
        reading.progress = context.follow_files("finding events");
        trox::event_reader events(data, selection, reading);
        std::vector<channel_match> matches(events.channels().size());
        progress bar = context.start_progress("reading", events.count());
        for (const trox::event& event : events) {
            for (std::size_t i = 0; i < matches.size(); ++i) {
                if (event[i] && event[i].is_updated()) {
                    const auto residual = event[i].time() - event.time();
                    matches[i].add(static_cast<double>(residual.count()), event.number());
                }
            }
            bar.advance();
        }
        bar.hide();
        const trox::reading_report& read = events.report();
        context.tell_losses(read);
        tell(context, read, matches);
        return exit_code::done;
    }

private:
    static void tell(context& context, const trox::reading_report& read, const std::vector<channel_match>& matches)
    {
        report result = context.open_document();
        std::uint64_t complete_records = 0;
        for (const trox::channel_report& channel : read.channels) {
            complete_records += channel.present + channel.carried;
        }
        const auto possible = static_cast<double>(read.events * read.channels.size());
        result.fields(
            {"summary"},
            {{{"events", column_type::integer}, read.events},
             {{"dropped", column_type::integer}, read.dropped},
             {{"channels", column_type::integer}, read.channels.size()},
             {{"filled", column_type::real, {}, {}, 4},
              possible > 0 ? std::optional(static_cast<double>(complete_records) / possible) : std::nullopt},
             {{"largest_residual_us", column_type::duration, {}, "largest residual"}, read.largest_residual}});
        constexpr int digits = 6;
        const auto residual = [](const char* name, const char* title) {
            return column{name, column_type::real, {}, title, digits};
        };
        result.begin_table({"channels", "Channels"}, {{"channel"},
                                                      {"present", column_type::integer},
                                                      {"carried", column_type::integer},
                                                      {"missing", column_type::integer},
                                                      {"skipped", column_type::integer},
                                                      {"unmatched", column_type::integer},
                                                      residual("least_residual_us", "least/us"),
                                                      residual("mean_residual_us", "mean/us"),
                                                      residual("most_residual_us", "most/us"),
                                                      residual("deviation_us", "deviation/us"),
                                                      {"farthest_event", column_type::integer, {}, "farthest event"}});
        for (std::size_t i = 0; i < matches.size(); ++i) {
            const trox::channel_report& channel = read.channels[i];
            const statistics& found = matches[i].residuals;
            const auto marked = [](std::uint64_t number, tone shade) {
                return cell(number).with(number > 0 ? shade : tone::plain);
            };
            result.row({channel.name, channel.present, channel.carried, marked(channel.missing, tone::warning),
                        marked(channel.skipped, tone::bad), marked(channel.unmatched, tone::warning), found.least(),
                        found.mean(), found.most(), found.deviation(), matches[i].farthest_event});
        }
        result.end_table();
        context.finish(result);
    }

    data_source source_;
    synchronisation_options synchronisation_;
};

} // namespace

const verb_entry sync_entry{
    "sync",
    "tell how well channels match",
    "Reads events as they would be delivered and tells, for each channel, in how many of them it has a record, an "
    "earlier "
    "slow value, or nothing, and how far its records lie from the time of their event (the residual: record less "
    "event, "
    "in microseconds). \"farthest event\" is the event with the largest residual.\n\n"
    "\"filled\" is the part of all records that could be there that is there, slow values carried on included. "
    "\"unmatched\" are sound records that became part of no event.",
    {{"trox sync /data", "Tells how the channels of a directory's files match by event number."},
     {"trox sync /data 'LINAC.DIAG/CAM/*' LINAC.DIAG/TOROID/3/CHARGE --by-time=10ms",
      "Matches cameras and a toroid by time, at most 10 ms apart."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<sync_verb>(); }};

} // namespace trox_cli
