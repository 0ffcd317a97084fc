// Drawings of what data files hold.
//
// Layer: stands on namespace trox; the verbs of the command line stand on it. Free of the command line: it prints
// nothing. A drawing is made once, and then drawn for a terminal (terminal.h) or as a file (draw.h):
//
//     const auto made = trox_plot::make_drawing(data, {{trox::pattern_from_text("LINAC.RF/ADC/A07.M1/TRACE.Z")}});
//     std::cout << trox_plot::draw_in_terminal(made.what, {});
//     std::ofstream("trace.svg") << trox_plot::draw(made.what, trox_plot::file_kind::svg);
#ifndef TROX_PLOT_PLOT_H
#define TROX_PLOT_PLOT_H

#include "figure.h"
#include "trox/event_reader.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace trox_plot
{

/// What of the selected channels is drawn.
enum class subject {
    automatic, ///< by the kind of the first channel: its image, its trace, or its values against time
    trace,     ///< samples of one event, against the channel's own axis
    history,   ///< single values of all events, against time
    image      ///< pixels of one event
};

struct request {
    subject what = subject::automatic;
    std::vector<std::string> members{};   ///< names of the members (entries of name/value lists) to draw; none: all
    trox::sample_window window{};         ///< of traces
    std::optional<std::uint64_t> event{}; ///< of traces and images; none: the first one with a record
    std::function<std::string(trox::time_point)> show_time{}; ///< in titles; none: ISO 8601 in UTC
    time_words times{};                                       ///< on axes
    std::function<void(std::uint64_t)> progress{}; ///< called after every event of a history with their number
};

struct plotted {
    drawing what{};
    std::uint64_t event = 0;    ///< of a trace or an image
    std::uint64_t points = 0;   ///< values that the drawing is made of, before they are reduced
    std::uint64_t left_out = 0; ///< values that are no finite numbers
    trox::reading_report report{};
    /// Why nothing is drawn: records were lost (see `report`), and no others are there.
    std::optional<std::string> nothing{};
};

/// Reads what is to be drawn. Channels of equal units share a panel. A history takes bounded memory however long it is,
/// and keeps all extremes.
/// Throws error: what the reader throws; (not_found) when no event has anything to draw, and nothing was lost;
/// (wrong_use) for channels that hold something else than was asked for, and for members that no channel has.
plotted make_drawing(const trox::data_set& data, const trox::selection& what, const trox::reading_options& reading = {},
                     const request& how = {});

} // namespace trox_plot

#endif
