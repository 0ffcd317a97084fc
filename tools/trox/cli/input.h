// What a verb reads: files, a run, or a period; which of their channels and events.
#ifndef TROX_CLI_INPUT_H
#define TROX_CLI_INPUT_H

#include "context.h"
#include "options.h"
#include "trox/data_set.h"
#include "trox/event_reader.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox_cli
{

/// --catalogue, --data, --experiment, --stream: where runs lie.
class place_options
{
public:
    void declare(CLI::App& app);
    bool is_given() const noexcept
    {
        return !place_.catalogue.empty();
    }
    /// Throws wrong_use when any of the options is given: files need none of them.
    void refuse_beside_files() const;
    /// Data files are looked for in the catalogue's directory when no --data was given. The context keeps the
    /// catalogue's files from being replaced. Throws wrong_use without a catalogue, and as context::keep_inputs.
    trox::run_place place(const context& context) const;

private:
    trox::run_place place_;
};

/// The input of a verb that reads data files:
///
///     FILE... | --run N --catalogue DIR | --from TIME --to TIME --catalogue DIR
///
/// A directory as FILE stands for its *.raw files. All files are read in the order of their events, however they are
/// named. With files or a run, --from and --to limit the
/// events that are read, for verbs that read events.
class data_source
{
public:
    /// FILE... as positional arguments.
    void declare_files(CLI::App& app);
    /// Files and channels as positional arguments (what exists, or ends with ".raw", is a file), and --channel.
    void declare_files_and_channels(CLI::App& app);
    /// One more positional argument in front of those of the command line.
    void put_argument_first(const std::string& word);
    /// --from-event and --to-event.
    void declare_event_range(CLI::App& app);

    /// Opens what was given, and tells the context of files that were passed over; none of them can be the output.
    /// Throws failure, trox::error.
    trox::data_set open(context& context) const;
    /// The same as paths, for verbs that look at each file on its own: those named in their order, directories' in
    /// reading order. Throws as `open`.
    std::vector<std::string> files(const context& context) const;
    /// Whether files are named, rather than a run or a period.
    bool has_files() const;

    /// The channels that were named, by their index in the data set; all when none were. Throws failure, with the names
    /// that may have been meant, when one matches nothing.
    std::vector<std::size_t> channels(const trox::data_set& data) const;
    bool names_channels() const;
    /// Channels (checked as by `channels`) and range.
    trox::selection selection(const trox::data_set& data) const;
    trox::event_range range() const;
    const std::optional<std::int32_t>& run() const noexcept
    {
        return run_;
    }
    const place_options& where() const noexcept
    {
        return where_;
    }

private:
    void declare_places(CLI::App& app);
    struct sorted_arguments {
        std::vector<std::string> files;
        std::vector<std::string> channels;
    };
    sorted_arguments sort_arguments() const;
    void refuse_two_sources(const sorted_arguments& sorted) const;
    trox::data_set open_period(const context& context, const trox::open_options& how) const;

    bool takes_channels_ = false;
    bool limits_events_ = false; ///< --from and --to mean events also beside files and --run
    std::vector<std::string> first_arguments_;
    std::vector<std::string> arguments_;
    std::vector<std::string> channels_;
    place_options where_;
    std::optional<std::int32_t> run_;
    std::optional<trox::time_point> begin_;
    std::optional<trox::time_point> end_;
    std::optional<std::uint64_t> first_number_;
    std::optional<std::uint64_t> end_number_;
};

/// --by-time[=TOLERANCE], --step and --missing.
class synchronisation_options
{
public:
    void declare(CLI::App& app);
    /// By time, the distance of events is that of the channel with the smallest median step, unless it is given.
    void apply(context& context, const trox::data_set& data, trox::selection& selection) const;

private:
    const CLI::Option* by_time_ = nullptr;
    std::string tolerance_;
    CLI::Option* has_step_ = nullptr;
    trox::microseconds step_{0};
    trox::on_missing missing_ = trox::on_missing::keep;
};

/// The channel of that name. Throws failure with the names that may have been meant.
std::size_t require_channel(const trox::data_set& data, const std::string& name);
/// Files as they are, directories as their *.raw files in reading order. Throws failure for a directory that cannot be
/// read, or holds no such file.
std::vector<std::string> expand_directories(const std::vector<std::string>& paths);

/// --slice: some samples of all.
void add_slice(CLI::App& app, std::optional<trox::sample_window>& target, const std::string& description);

} // namespace trox_cli

#endif
