// trox recover: what can be read of a damaged file, in a new one.
#include "recover/recover.h"
#include "../cli/signals.h"
#include "../verbs.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>

namespace trox_cli
{
namespace
{

namespace tr = trox::recovery;
using trox::writer::generation;

const choices<std::optional<generation>> generation_words{
    {"auto", std::nullopt}, {"legacy", generation::legacy}, {"2010", generation::v2010}, {"2024", generation::v2024}};

std::string word_of(const std::optional<generation>& which)
{
    for (const auto& [word, value] : generation_words) {
        if (value == which) {
            return word;
        }
    }
    return {};
}

class recover_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        app.add_option("damaged", damaged_, "The damaged file, which is only read")->type_name(file_value)->required();
        app.add_option("recovered", recovered_, "The new file")->type_name(file_value)->required();
        app.add_flag("--replace", options_.replace_existing, "Replace the new file when it exists");
        app.add_flag("--sync", options_.sync, "Wait until the new file is on the disk");
        app.add_flag("--keep-unknown-types", options_.keep_unknown_types,
                     "Keep records of block types that no reader knows");
        app.add_flag("--in-order", options_.in_order,
                     "Give records whose event is not certain to the first events that can have them, in order; a "
                     "guess, marked in the report");
        add_choice(app, "--generation", options_.generation, generation_words,
                   "Generation of the damaged file, where it cannot be told (auto)");
        common.declare_rendering(app);
        common.declare_output(app);
        common.declare_progress(app);
    }

    exit_code run(context& context) override
    {
        context.keep_inputs({damaged_, recovered_});
        const auto result = recover(context);
        if (result.end == tr::outcome::nothing) {
            const bool is_there = !options_.replace_existing && result.failure.ends_with(" exists");
            throw failure(result.failure, is_there ? "--replace replaces it" : "");
        }
        try {
            context.keep_inputs({damaged_, recovered_}); // now that there is one of that name
            tell(context, result);
        } catch (const wrong_use& why) {
            throw wrong_use(std::string(why.what()) + "; " + recovered_ + " is in place", why.hint());
        } catch (const failure& why) {
            throw failure(std::string(why.what()) + "; " + recovered_ + " is in place", why.hint());
        }
        if (result.end == tr::outcome::partial) {
            context.data_lost(damaged_ + ": " + losses(result));
        }
        return exit_code::done;
    }

private:
    static std::string losses(const tr::report& result)
    {
        const auto amount = [](std::uint64_t count, const char* one, const char* many) {
            return std::to_string(count) + " " + (count == 1 ? one : many);
        };
        const auto events = result.lost_events.size();
        std::string text;
        if (result.lost > 0) {
            text = amount(result.lost, "record", "records");
        }
        if (events > 0) {
            text += (text.empty() ? "" : " and ") + amount(events, "event or server block", "events or server blocks");
        }
        if (text.empty()) {
            return result.other_loss;
        }
        return text + (result.lost + events == 1 ? " is lost" : " are lost");
    }

    tr::report recover(context& context)
    {
        constexpr std::uint64_t passes = 3; // records are looked at, written and compared
        std::error_code ignored;
        const auto size = std::filesystem::file_size(damaged_, ignored);
        const std::uint64_t total = ignored ? 0 : passes * size;
        auto bar = context.start_progress("recovering", total);
        std::uint64_t left = total;
        const signal_guard guard;
        options_.seen = [&](std::uint64_t bytes) {
            signal_guard::check();
            const auto amount = std::min(bytes, left); // what is searched may be seen more often
            left -= amount;
            bar.advance(amount);
        };
        try {
            return tr::recover_file(damaged_, recovered_, options_);
        } catch (const interrupted&) {
            signal_guard::end_by_signal();
            throw failure("interrupted");
        }
    }

    void tell(context& context, const tr::report& result) const
    {
        report told = context.open_document();
        told.fields({"recovery"}, {{{"generation"}, word_of(result.generation)},
                                   {{"complete", column_type::boolean}, result.end == tr::outcome::complete},
                                   {{"events", column_type::integer}, result.events},
                                   {{"records", column_type::integer}, result.records},
                                   {{"lost_records", column_type::integer}, result.lost}});
        told.begin_table({"parts", "Parts of the damaged file"},
                         {{"part"}, {"found"}, {"offset", column_type::integer}, {"cut", column_type::boolean}});
        for (const auto& part : result.parts) {
            const bool is_there = part.how == tr::means::reference || part.how == tr::means::pattern;
            told.row({part.name, tr::text_of(part.how), is_there ? cell(part.position) : cell(), part.cut});
        }
        told.end_table();
        tell_channels(told, result);
        tell_losses(told, result);
        context.finish(told);
    }

    static void tell_channels(report& told, const tr::report& result)
    {
        told.begin_table({"channels", "Channels"}, {{"channel"},
                                                    {"by_row", column_type::integer},
                                                    {"by_match", column_type::integer},
                                                    {"by_order", column_type::integer},
                                                    {"lost", column_type::integer}});
        for (const auto& channel : result.channels) {
            told.row({channel.name, channel.by_row, channel.by_match, channel.by_order,
                      cell(channel.lost).with(channel.lost > 0 ? tone::bad : tone::plain)});
        }
        told.end_table();
    }

    static void tell_losses(report& told, const tr::report& result)
    {
        told.begin_table({"lost_events", "Lost events and server blocks"},
                         {{"event", column_type::integer}, {"offset", column_type::integer}, {"reason"}});
        for (const auto& lost : result.lost_events) {
            told.row({lost.number, lost.offset, lost.reason});
        }
        told.end_table();
        told.begin_table({"lost_records", "Lost records"}, {{"channel"},
                                                            {"event", column_type::integer},
                                                            {"offset", column_type::integer},
                                                            {"reason"},
                                                            {"records", column_type::integer}});
        for (const auto& lost : result.lost_records) {
            told.row(
                {lost.channel.empty() ? cell() : cell(lost.channel), lost.event, lost.offset, lost.reason, lost.count});
        }
        told.end_table();
        told.begin_table({"remarks", "Remarks"}, {{"remark"}});
        for (const auto& remark : result.remarks) {
            told.row({remark});
        }
        told.end_table();
    }

    std::string damaged_;
    std::string recovered_;
    tr::recover_options options_;
};

} // namespace

const verb_entry recover_entry{
    "recover",
    "write what can be read of a damaged file into a new one",
    "Tables are found through the trailer, or by their patterns when it is damaged or cut off. Records are found "
    "through the pointers table; those without a good row there are found by walking the baskets of their channels, "
    "and assigned to events by what event headers and server blocks count.\n\n"
    "Nothing is written on a guess: a record whose event is not certain is listed as lost. The new file is read again "
    "and compared before it gets its name. The exit code is 0 when all records were recovered, 3 when something is "
    "lost, 1 when nothing could be written.",
    {{"trox recover damaged.raw recovered.raw", "Writes recovered.raw, and tells what was found and what is lost."},
     {"trox recover damaged.raw recovered.raw --json -o report.json", "Keeps the report for a program."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<recover_verb>(); }};

} // namespace trox_cli
