// trox show: one event, or one channel at one event.
#include "../cli/input.h"
#include "../cli/record_report.h"
#include "../cli/summary.h"
#include "../cli/text.h"
#include "../verbs.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace trox_cli
{
namespace
{

class show_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files_and_channels(app);
        source_.declare_event_range(app);
        declare_event(app);
        synchronisation_.declare(app);
        add_slice(app, shown_.window,
                  "Which samples or pixels of one channel are shown: the first one, how many (all, when left out), and "
                  "every which one");
        common.declare_rendering(app);
        common.declare_long(app);
        common.declare_output(app);
        common.declare_work(app);
    }

    exit_code run(context& context) override
    {
        const trox::data_set data = source_.open(context);
        trox::selection selected = source_.selection(data);
        synchronisation_.apply(context, data, selected);
        const bool is_record = source_.names_channels() && selected.channels.size() == 1;
        if (shown_.window && !is_record) {
            throw wrong_use("--slice shows samples of a channel, and an event is shown", "name one channel");
        }
        trox::reading_report losses;
        const shown_event event = require_event(context, data, selected, losses);
        if (is_record) {
            show_record(context, data.channels()[event.channels.front()], event);
        } else {
            show_event(context, data, event);
        }
        context.tell_losses(losses);
        return exit_code::done;
    }

private:
    enum class which { first, last, number, time };

    void declare_event(CLI::App& app)
    {
        constexpr const char* group = "Event";
        CLI::Option* const number =
            app.add_option_function<std::string>(
                   "--event", [this](const std::string& text) { take_number(text); }, "The event of this number")
                ->type_name("N")
                ->group(group);
        CLI::Option* const time = add_time(app, "--time", time_, "The first event then or later")->group(group);
        CLI::Option* const first = app.add_flag("--first", is_first_, "The first event (the default)")->group(group);
        CLI::Option* const last = app.add_flag("--last", is_last_, "The last event")->group(group);
        const std::vector<CLI::Option*> all{number, time, first, last};
        for (std::size_t i = 0; i < all.size(); ++i) {
            for (std::size_t j = i + 1; j < all.size(); ++j) {
                all[i]->excludes(all[j]);
            }
        }
    }

    void take_number(const std::string& text)
    {
        number_ = number_from_text(text);
        if (!number_) {
            throw CLI::ValidationError("--event", "\"" + text + "\" is no event number");
        }
    }

    std::optional<trox::event> find_event(trox::event_reader& events) const
    {
        if (number_) {
            return events.at_number(*number_);
        }
        if (time_) {
            return events.at_time(*time_);
        }
        return is_last_ ? events.last() : events.first();
    }

    static shown_event shown(const trox::event_reader& events, const trox::event& event)
    {
        return {event.number(), event.time(), events.channels(), event.records()};
    }

    /// The event in which the named channels are shown, and what was lost on the way to it.
    shown_event require_event(context& context, const trox::data_set& data, const trox::selection& selected,
                              trox::reading_report& losses) const
    {
        trox::reading_options reading = context.reading();
        reading.progress = context.follow_files("finding the event");
        trox::event_reader events(data, selected, reading);
        const auto found = find_event(events);
        const bool is_exact = found && number_;
        if (!is_exact && holds_slow_values(data, events.channels())) {
            if (auto between = find_between(data, selected, reading, events.channels(), losses)) {
                if (!found || between->time < found->time()) {
                    return *between;
                }
            }
        }
        losses = events.report();
        if (found) {
            return shown(events, *found);
        }
        refuse(context, events);
    }

    /// Slow values hold also in events that are none of their channels'.
    bool holds_slow_values(const trox::data_set& data, const std::vector<std::size_t>& channels) const
    {
        return source_.names_channels() && (number_ || time_) &&
               std::any_of(channels.begin(), channels.end(), [&](std::size_t channel) {
                   return (data.channels()[channel].event_types & slow_event_types()) != 0;
               });
    }

    /// The event that is looked for among those of all channels, with the records of some of them; none when they have
    /// none there.
    std::optional<shown_event> find_between(const trox::data_set& data, const trox::selection& selected,
                                            const trox::reading_options& reading,
                                            const std::vector<std::size_t>& channels,
                                            trox::reading_report& losses) const
    {
        trox::selection all = selected;
        all.channels.clear();
        all.missing = trox::on_missing::keep;
        trox::event_reader events(data, all, reading);
        const auto found = find_event(events);
        if (!found) {
            return std::nullopt;
        }
        // Without a selection the channels are those of the data set.
        shown_event event{found->number(), found->time(), channels, {}};
        for (const std::size_t channel : channels) {
            event.records.push_back((*found)[channel]);
        }
        const auto is_there = [](const trox::record& record) { return bool(record); };
        const bool is_wanted = selected.missing == trox::on_missing::keep
                                   ? std::any_of(event.records.begin(), event.records.end(), is_there)
                                   : std::all_of(event.records.begin(), event.records.end(), is_there);
        if (!is_wanted) {
            return std::nullopt;
        }
        const trox::reading_report& read = events.report();
        for (const std::size_t channel : channels) {
            const trox::channel_report& one = read.channels[channel];
            losses.channels.push_back(one);
            std::copy_if(read.skipped_records.begin(), read.skipped_records.end(),
                         std::back_inserter(losses.skipped_records),
                         [&](const trox::skipped_record& record) { return record.where.channel == one.name; });
        }
        return event;
    }

    [[noreturn]] void refuse(context& context, trox::event_reader& events) const
    {
        const trox::reading_report& read = events.report();
        context.tell_losses(read);
        const bool is_damaged = number_ && std::any_of(read.skipped_records.begin(), read.skipped_records.end(),
                                                       [&](const auto& bad) { return bad.where.event == number_; });
        if (is_damaged) {
            throw failure(fmt::format("the records of event {} cannot be read", *number_));
        }
        const std::string what = number_ ? fmt::format("there is no event {}", *number_)
                                 : time_ ? "there is no event at " + trox::to_text(*time_) + " or later"
                                         : "there is no event";
        const auto first = events.first();
        const auto last = events.last();
        const std::string hint =
            first && last ? fmt::format("events of this selection are {} ({}) to {} ({})", first->number(),
                                        trox::to_text(first->time()), last->number(), trox::to_text(last->time()))
                          : "";
        throw failure(what, hint);
    }

    static void show_event(context& context, const trox::data_set& data, const shown_event& event)
    {
        if (context.options().format == output_format::csv) {
            report result = context.open_table();
            tell_records(result, data, event);
            context.finish(result);
            return;
        }
        report result = context.open_document();
        tell_event(result, data, event);
        context.finish(result);
    }

    void show_record(context& context, const trox::channel_info& channel, const shown_event& event) const
    {
        const trox::record& record = event.records.front();
        if (!record) {
            throw failure(fmt::format("{} has no record in event {}", channel.name, event.number));
        }
        report result = context.open_table();
        switch (context.options().format) {
        case output_format::table:
            tell_record_as_rows(result, channel, record, shown_);
            break;
        case output_format::json:
        case output_format::ndjson:
            tell_record_as_lists(result, channel, record, shown_);
            break;
        case output_format::csv:
            tell_record_values(result, record, shown_);
            break;
        }
        context.finish(result);
    }

    data_source source_;
    synchronisation_options synchronisation_;
    shown_samples shown_;
    std::optional<std::uint64_t> number_;
    std::optional<trox::time_point> time_;
    bool is_first_ = false;
    bool is_last_ = false;
};

} // namespace

const verb_entry show_entry{
    "show",
    "show an event, or a channel at an event",
    "Shows what each channel holds in one event, or everything that one channel holds there: samples, pixels, named "
    "values, a state or a slow value, with the head of the record and its place in the file.\n\n"
    "Tables show the first samples; --slice shows others, --json all samples, --format csv all samples and pixels. A "
    "slow "
    "value stays valid until the next one: \"updated\" tells whether it is of this very event. So --event and --time "
    "find events of all "
    "channels for a slow one.",
    {{"trox show /data/linac_main_run7_file1_20240305T120000.raw", "Shows the first event of a file."},
     {"trox show --run 7 --catalogue /catalogue --data /data --event 25769803780 'LINAC.RF/*'",
      "Shows some channels at an event."},
     {"trox show /data LINAC.RF/ADC/A07.M1/TRACE.Z --time 2024-03-05T12:00:01 --slice 100:20",
      "Shows 20 samples of a trace."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<show_verb>(); }};

} // namespace trox_cli
