// trox plot: traces, values against time, and images; in the terminal or as a file.
#include "plot/plot.h"
#include "../cli/input.h"
#include "../cli/text.h"
#include "../verbs.h"
#include "base/target_file.h"
#include "plot/draw.h"
#include "plot/terminal.h"

#include <cmath>
#include <optional>
#include <unistd.h>

namespace trox_cli
{
namespace
{

using trox_plot::cell_style;
using trox_plot::file_kind;
using trox_plot::subject;

const choices<subject> subject_words{
    {"auto", subject::automatic}, {"trace", subject::trace}, {"history", subject::history}, {"image", subject::image}};
const choices<cell_style> style_words{
    {"braille", cell_style::braille}, {"blocks", cell_style::blocks}, {"ascii", cell_style::ascii}};

const choices<std::optional<std::optional<file_kind>>> format_words{
    {"terminal", std::optional<file_kind>()}, {"png", file_kind::png}, {"svg", file_kind::svg}};

/// Reads "WIDTHxHEIGHT". Throws CLI::ValidationError.
trox_plot::extent parse_size(const std::string& text)
{
    const std::size_t at = text.find('x');
    const auto width = number_from_text(text.substr(0, at));
    const auto height = at == std::string::npos ? std::nullopt : number_from_text(text.substr(at + 1));
    if (!width || !height) {
        throw CLI::ValidationError("--size", "\"" + text + "\" is no size in pixels like 900x540");
    }
    return {static_cast<double>(*width), static_cast<double>(*height)};
}

class plot_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        source_.declare_files_and_channels(app);
        source_.declare_event_range(app);
        synchronisation_.declare(app);
        declare_subject(app);
        declare_drawing(app);
        common.declare_color(app);
        common.declare_times(app, "titles and axes show times");
        common.declare_output(app);
        common.declare_work(app);
    }

    exit_code run(context& context) override
    {
        const auto kind = kind_of(context.options().output_file);
        const trox::data_set data = source_.open(context);
        if (!source_.names_channels()) {
            throw wrong_use("there is no channel to draw", "\"trox list\" lists channels");
        }
        trox::selection selected = source_.selection(data);
        synchronisation_.apply(context, data, selected);
        const auto made = make(context, data, selected);
        context.tell_losses(made.report);
        if (made.nothing) {
            throw failure("nothing is drawn: " + *made.nothing);
        }
        if (made.left_out != 0) {
            context.note(std::to_string(made.left_out) + " values are no finite numbers, and left out");
        }
        if (kind) {
            output& out = *kind == file_kind::png ? context.binary_out() : context.out();
            out.write(trox_plot::draw(made.what, *kind, size_));
        } else {
            context.out().write(trox_plot::draw_in_terminal(made.what, terminal_of(context)));
        }
        context.out().finish();
        return exit_code::done;
    }

private:
    void declare_subject(CLI::App& app)
    {
        constexpr const char* group = "Selection";
        CLI::Option* const what =
            add_choice(app, "--as", request_.what, subject_words,
                       "What is drawn: the samples of one event (trace), single values of all events against time "
                       "(history), pixels of one event (image); auto (the default): what suits the first channel");
        CLI::Option* const event =
            app.add_option_function<std::string>(
                   "--event",
                   [this](const std::string& text) {
                       request_.event = number_from_text(text);
                       if (!request_.event) {
                           throw CLI::ValidationError("--event", "\"" + text + "\" is no event number");
                       }
                   },
                   "The event of a trace or an image; the first one with a record, when left out")
                ->type_name("N");
        CLI::Option* const members =
            add_repeated(app, "--member", request_.members, "NAME", "A member of the channels, or an entry of a list");
        for (CLI::Option* const option : {what, event, members}) {
            option->group(group);
        }
        add_slice(app, window_,
                  "Which samples of a trace are drawn: the first one, how many (all, when left out), and every which "
                  "one");
    }

    void declare_drawing(CLI::App& app)
    {
        constexpr const char* group = "Drawing";
        constexpr std::int64_t most_cells = 1000;
        CLI::Option* const format =
            add_choice(app, "--format", format_, format_words,
                       "How it is drawn: with characters for a terminal, or as a file; otherwise "
                       "the ending of the file's name tells");
        CLI::Option* const size = app.add_option_function<std::string>(
                                         "--size", [this](const std::string& text) { size_ = parse_size(text); },
                                         "Pixels of a PNG or SVG (900x540)")
                                      ->type_name("WIDTHxHEIGHT");
        CLI::Option* const style =
            add_choice(app, "--style", style_, style_words,
                       "Characters of which drawings in the terminal are made: braille (the default), blocks or ascii");
        CLI::Option* const width = add_integer(app, "--width", width_, 0, most_cells,
                                               "Characters of a line; 0 (the default): as the terminal");
        CLI::Option* const height = add_integer(app, "--height", height_, 0, most_cells, "Lines of characters (24)");
        for (CLI::Option* const option : {format, size, style, width, height}) {
            option->group(group);
        }
    }

    /// None for the terminal.
    std::optional<file_kind> kind_of(const std::string& file) const
    {
        if (format_) {
            return *format_;
        }
        if (file.empty()) {
            return std::nullopt;
        }
        if (file.ends_with(".png")) {
            return file_kind::png;
        }
        if (file.ends_with(".svg")) {
            return file_kind::svg;
        }
        if (!file.ends_with(".txt") && !trox_base::takes_bytes_as_they_come(file)) {
            throw wrong_use("the ending of \"" + file + "\" does not tell the format",
                            "name it with --format, or end with .png, .svg or .txt");
        }
        return std::nullopt;
    }

    trox_plot::plotted make(context& context, const trox::data_set& data, const trox::selection& selected)
    {
        // Only a history takes long; how long is found out when it begins.
        std::optional<progress> bar;
        trox_plot::request request = request_;
        request.window = window_.value_or(trox::sample_window());
        const auto& options = context.options();
        request.show_time = [&context](trox::time_point time) { return context.times().show(time); };
        request.times.is_local = options.zone != "UTC";
        request.times.zone = options.zone == "local" ? "local time" : options.zone;
        if (options.time_format != "iso") {
            request.times.show = [&context](double time) {
                return context.times().show(trox::time_point(trox::microseconds(std::llround(time))));
            };
        }
        if (context.wants_progress()) {
            request.progress = [&](std::uint64_t done) {
                if (done == 1) {
                    const auto total = trox::event_reader(data, selected, context.reading()).count();
                    bar.emplace(context.start_progress("reading", total));
                }
                bar->advance();
            };
        }
        return trox_plot::make_drawing(data, selected, context.reading(), request);
    }

    trox_plot::terminal terminal_of(context& context) const
    {
        constexpr std::size_t usual_width = 80;
        const std::size_t shown = context.out().width();
        return {width_ != 0 ? width_ : shown != 0 ? shown : usual_width, height_, style_, context.wants_colors()};
    }

    data_source source_;
    synchronisation_options synchronisation_;
    trox_plot::request request_;
    std::optional<trox::sample_window> window_;
    std::optional<std::optional<file_kind>> format_; ///< as --format says: none inside for the terminal
    trox_plot::extent size_;
    cell_style style_ = cell_style::braille;
    std::size_t width_ = 0;
    std::size_t height_ = 24;
};

} // namespace

const verb_entry plot_entry{
    "plot",
    "draw a trace, values against time, or an image",
    "Draws channels in the terminal, or as PNG or SVG. Channels of equal units share a panel; times are UTC without "
    "--tz. Where "
    "there "
    "are more values than a drawing has columns, the smallest and the largest of each column are drawn, so that no "
    "peak "
    "is lost.\n\n"
    "Traces and images are of one event, values against time of all events of the range.",
    {{"trox plot run7.raw LINAC.RF/ADC/A07.M1/TRACE.Z", "Draws a trace in the terminal."},
     {"trox plot run7.raw LINAC.DIAG/CAM/SCR.4/IMG --event 25769803780 -o beam.png", "Draws an image of one event."},
     {"trox plot run7.raw LINAC.MAG/QUAD/Q5.BC2/I.RBV LINAC.ENV/TEMP/RACK.17 -o slow.svg",
      "Draws slow values against time."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<plot_verb>(); }};

} // namespace trox_cli
