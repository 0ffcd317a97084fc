// trox stat: bytes, ratio and decoding time of channels.
#include "../cli/input.h"
#include "../cli/summary.h"
#include "../verbs.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

struct channel_numbers {
    trox::channel_details details{};
    std::uint64_t records = 0;
    std::uint64_t damaged = 0;
    std::uint64_t payload = 0; ///< bytes, decoded
    std::uint64_t largest = 0;
    trox::microseconds decoding{0}; ///< of one thread, reading the file included
};

class stat_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files_and_channels(app);
        source_.declare_event_range(app);
        add_choice(app, "--sort", order_, {{"file", order::file}, {"stored", order::stored}, {"time", order::time}},
                   "Order of the channels: as in the file (the default), the largest first, the slowest first")
            ->group("Output");
        common.declare_rendering(app);
        common.declare_output(app);
        common.declare_memory(app);
    }

    exit_code run(context& context) override
    {
        const trox::data_set data = source_.open(context);
        const std::vector<std::size_t> channels = source_.channels(data);
        std::vector<std::pair<std::size_t, channel_numbers>> found;
        trox::reading_report losses;
        std::uint64_t records = 0;
        for (const std::size_t channel : channels) {
            records += data.channels()[channel].records;
        }
        progress bar = context.start_progress("decoding", records);
        records = 0;
        for (const std::size_t channel : channels) {
            found.emplace_back(channel, measure(context, data, channel, losses, bar));
            records += data.channels()[channel].records;
            bar.reach(records);
        }
        bar.hide();
        context.tell_losses(losses);
        sort(found);
        tell(context, data, found);
        return exit_code::done;
    }

private:
    enum class order { file, stored, time };

    /// Decodes all records of a channel by one thread, so that the time is that of the work.
    channel_numbers measure(const context& context, const trox::data_set& data, std::size_t channel,
                            trox::reading_report& losses, progress& bar) const
    {
        channel_numbers numbers;
        numbers.details = data.inspect(channel);
        trox::selection selection;
        selection.channels = {{data.channels()[channel].name, trox::channel_pattern::syntax::name}};
        selection.range = source_.range();
        trox::reading_options reading = context.reading();
        reading.threads = 1;
        const auto begin = std::chrono::steady_clock::now();
        trox::event_reader events(data, selection, reading);
        for (const trox::event& event : events) {
            const std::uint64_t bytes = event[0].payload().size();
            ++numbers.records;
            numbers.payload += bytes;
            numbers.largest = std::max(numbers.largest, bytes);
            bar.advance();
        }
        numbers.decoding = std::chrono::duration_cast<trox::microseconds>(std::chrono::steady_clock::now() - begin);
        const trox::reading_report& read = events.report();
        numbers.damaged = read.channels.front().skipped;
        losses.skipped_records.insert(losses.skipped_records.end(), read.skipped_records.begin(),
                                      read.skipped_records.end());
        losses.channels.push_back(read.channels.front());
        const auto note_files = [&losses](const std::vector<trox::skipped_file>& files) {
            losses.skipped_files.insert(losses.skipped_files.end(), files.begin(), files.end());
        };
        note_files(numbers.details.skipped_files);
        note_files(read.skipped_files);
        return numbers;
    }

    void sort(std::vector<std::pair<std::size_t, channel_numbers>>& found) const
    {
        const auto weight = [this](const channel_numbers& numbers) -> std::uint64_t {
            switch (order_) {
            case order::file:
                break;
            case order::stored:
                return numbers.details.stored_bytes;
            case order::time:
                return static_cast<std::uint64_t>(numbers.decoding.count());
            }
            return 0;
        };
        std::stable_sort(found.begin(), found.end(),
                         [&](const auto& a, const auto& b) { return weight(a.second) > weight(b.second); });
    }

    static std::optional<double> part(std::uint64_t of, std::uint64_t by)
    {
        return by == 0 ? std::nullopt : std::optional(static_cast<double>(of) / static_cast<double>(by));
    }

    /// Stored bytes are those of all records, so that a part of the payload says nothing of them.
    std::optional<double> ratio(const channel_numbers& numbers) const
    {
        const trox::event_range range = source_.range();
        const bool is_part = range.first_number || range.end_number || range.begin || range.end;
        return is_part ? std::nullopt : part(numbers.payload, numbers.details.stored_bytes);
    }

    void tell(context& context, const trox::data_set& data,
              const std::vector<std::pair<std::size_t, channel_numbers>>& found) const
    {
        report result = context.open_table();
        result.begin_table({"channels"}, {{"channel"},
                                          {"kind"},
                                          {"compression"},
                                          {"records", column_type::integer},
                                          {"damaged", column_type::integer},
                                          {"stored_bytes", column_type::bytes, {}, "stored"},
                                          {"payload_bytes", column_type::bytes, {}, "payload"},
                                          {"ratio", column_type::real, {}, {}, 3},
                                          {"largest_bytes", column_type::bytes, {}, "largest"},
                                          {"decoding_us", column_type::duration, {}, "decoding"},
                                          {"bytes_per_second", column_type::bytes, {}, "per second"}});
        constexpr double second_us = 1e6;
        for (const auto& [channel, numbers] : found) {
            const auto speed = part(numbers.payload, static_cast<std::uint64_t>(numbers.decoding.count()));
            result.row({data.channels()[channel].name, trox::name_of(numbers.details.kind),
                        data.channels()[channel].records == 0 ? cell() : cell(trox::name_of(numbers.details.stored_as)),
                        numbers.records, cell(numbers.damaged).with(numbers.damaged > 0 ? tone::bad : tone::plain),
                        numbers.details.stored_bytes, numbers.payload, ratio(numbers), numbers.largest,
                        numbers.decoding,
                        speed ? std::optional(static_cast<std::uint64_t>(*speed * second_us)) : std::nullopt});
        }
        result.end_table();
        context.finish(result);
    }

    data_source source_;
    order order_ = order::file;
};

} // namespace

const verb_entry stat_entry{
    "stat",
    "measure bytes, ratio and decoding time of channels",
    "Reads each channel on its own, and tells how many bytes its records take in the files, how many decoded, and how "
    "long one thread reads and decodes them. Records are those that reading delivers: of several with one event number "
    "the one that is found.\n\n"
    "Stored bytes are those of the channel's baskets: payloads, their heads, and gaps between them; those of all "
    "events, whatever the range, so that there is no ratio with a range. The time includes finding the events in the "
    "tables; a second run finds the files in memory and is faster.",
    {{"trox stat /data", "Measures the channels of a directory's files."},
     {"trox stat /data --sort stored --json", "Tells the largest first, as JSON."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<stat_verb>(); }};

} // namespace trox_cli
