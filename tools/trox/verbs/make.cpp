// trox make: a sample run of a simulated machine.
#include "../verbs.h"
#include "machine/write_run.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <utility>

namespace trox_cli
{
namespace
{

namespace tw = trox::writer;

const choices<tw::generation> generation_words{
    {"legacy", tw::generation::legacy}, {"2010", tw::generation::v2010}, {"2024", tw::generation::v2024}};
const choices<std::optional<tw::storage>> storage_words{
    {"mixed", std::nullopt}, {"none", tw::storage::plain}, {"zlib", tw::storage::zlib}, {"lzo", tw::storage::lzo}};

template <class Value> std::string word_of(const choices<Value>& words, const Value& value)
{
    const auto found = std::find_if(words.begin(), words.end(), [&](const auto& word) { return word.second == value; });
    return found->first;
}

class make_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        app.add_option("directory", directory_,
                       "Where data files and the run's catalogue are written; made when needed")
            ->type_name(directory_value)
            ->required();
        declare_run(app);
        declare_contents(app);
        common.declare_rendering(app);
        common.declare_output(app);
        common.declare_progress(app);
    }

    exit_code run(context& context) override
    {
        if (length_.events < length_.files) {
            throw wrong_use("--files: every file has an event at least");
        }
        refuse_oversize();
        refuse_second_run();
        const trox_machine::machine source(settings_);
        const auto written = [&] {
            auto bar = context.start_progress("writing", length_.bytes.value_or(length_.events));
            std::uint64_t before = 0;
            const auto seen = [&](std::uint64_t done) { bar.advance(done - std::exchange(before, done)); };
            return trox_machine::write_run(source, run_, directory_, length_, seen);
        }();
        context.keep_inputs(written.files);
        tell(context, written);
        tell_oversize(context, written);
        return exit_code::done;
    }

private:
    void declare_run(CLI::App& app)
    {
        constexpr const char* group = "Run";
        add_choice(app, "--generation", settings_.format, generation_words, "Generation of the files (2010)")
            ->group(group);
        add_integer(app, "--run", run_.number, 0, INT32_MAX, "Number of the run (1)")->group(group);
        app.add_option("--experiment", run_.experiment, "Name of the experiment (linac)")
            ->type_name("NAME")
            ->group(group);
        app.add_option("--stream", run_.stream, "Name of the stream (main)")->type_name("NAME")->group(group);
    }
    void declare_contents(CLI::App& app)
    {
        constexpr const char* group = "Contents";
        constexpr std::int64_t most_events = 100000000;
        constexpr std::int64_t most_files = 10000;
        CLI::Option* const events =
            add_integer(app, "--events", length_.events, 1, most_events, "Machine events, ten a second (30)");
        CLI::Option* const size =
            add_bytes(app, "--size", length_.bytes,
                      "Bytes of all files together, instead of a number of events, like 500M or 2G");
        size->excludes(events);
        CLI::Option* const files = add_integer(app, "--files", length_.files, 1, most_files, "Data files (3)");
        CLI::Option* const seed = add_integer(app, "--seed", settings_.seed, 0, INT64_MAX,
                                              "Seed of all that is random; equal options give equal files (0)");
        CLI::Option* const channels = add_integer(app, "--channels", settings_.channels, 1, trox_machine::most_channels,
                                                  "Channels; there are 13 kinds, which come in turn (13)");
        CLI::Option* const stored =
            add_choice(app, "--compression", settings_.stored, storage_words,
                       "How records are stored: all ways in a mix (the default), or one of them");
        for (CLI::Option* const option : {events, size, files, seed, channels, stored}) {
            option->group(group);
        }
    }

    /// Positions of 32 bits end a file below 4 GiB; one that would pass them is not begun.
    void refuse_oversize() const
    {
        constexpr std::uint64_t room_for_tables = std::uint64_t{64} << 20;
        constexpr std::uint64_t most = (std::uint64_t{1} << 32) - room_for_tables;
        const std::uint64_t wanted = length_.bytes.value_or(0) / static_cast<std::uint64_t>(length_.files);
        if (settings_.format != tw::generation::v2024 && wanted > most) {
            throw wrong_use("--size: a file of the " + word_of(generation_words, settings_.format) +
                                " generation ends below 4 GiB",
                            "--files with a larger number, or --generation 2024");
        }
    }

    /// Two catalogue entries of one run would be read as one run.
    void refuse_second_run()
    {
        std::error_code failed;
        std::filesystem::create_directories(directory_, failed);
        if (failed) {
            throw failure(directory_ + ": cannot be made: " + failed.message());
        }
        const std::string beginning = run_.experiment + "_" + run_.stream + "_run" + std::to_string(run_.number) + "_";
        for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
            if (entry.path().filename().string().starts_with(beginning)) {
                throw failure(directory_ + ": holds files of run " + std::to_string(run_.number) + " already",
                              "name another directory, or another --run");
            }
        }
    }

    /// Every file has an event and its tables, however few bytes are asked for.
    void tell_oversize(context& context, const trox_machine::written_run& written) const
    {
        std::uint64_t size = 0;
        for (const auto& path : written.files) {
            size += std::filesystem::file_size(path);
        }
        if (length_.bytes && size > *length_.bytes + *length_.bytes / 4) {
            context.note(fmt::format("{} bytes were written where {} were asked for: every file has an event and its "
                                     "tables",
                                     size, *length_.bytes));
        }
    }

    void tell(context& context, const trox_machine::written_run& written) const
    {
        report result = context.open_document();
        result.fields({"run"}, {{{"experiment"}, run_.experiment},
                                {{"stream"}, run_.stream},
                                {{"run", column_type::integer}, run_.number},
                                {{"generation"}, word_of(generation_words, settings_.format)},
                                {{"channels", column_type::integer}, settings_.channels},
                                {{"events", column_type::integer}, written.events},
                                {{"seed", column_type::integer}, settings_.seed},
                                {{"compression"}, word_of(storage_words, settings_.stored)},
                                {{"catalogue"}, written.catalogue}});
        result.begin_table({"files"}, {{"path"}, {"size", column_type::bytes}});
        for (const auto& path : written.files) {
            result.row({path, std::filesystem::file_size(path)});
        }
        result.end_table();
        context.finish(result);
    }

    std::string directory_;
    trox_machine::machine_settings settings_;
    tw::run_identity run_{"linac", "main", 1};
    trox_machine::run_length length_;
};

} // namespace

const verb_entry make_entry{
    "make",
    "write a sample run of a simulated machine",
    "Writes data files and a run catalogue of a simulated linac: single values, traces, orbits, spectra, images, "
    "name/value lists, states and slow values, of any generation and size. Equal options give equal files, byte for "
    "byte.\n\n"
    "The machine takes ten events a second from 2025-03-10 09:30 UTC on; cameras and slow channels answer some "
    "milliseconds later. With more than 13 channels the kinds repeat under other names.",
    {{"trox make /tmp/run --events 100", "Writes a small run of the 2010 generation."},
     {"trox make /tmp/big --generation 2024 --size 2G --files 4 --seed 7", "Writes 2 GiB in four files."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<make_verb>(); }};

} // namespace trox_cli
