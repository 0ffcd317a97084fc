// What several verbs say of channels, files and events, in words.
#ifndef TROX_CLI_SUMMARY_H
#define TROX_CLI_SUMMARY_H

#include "cells.h"
#include "trox/data_set.h"
#include "trox/record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox_cli
{

/// The names of the event types in a mask.
std::vector<std::string> event_type_names(std::uint32_t mask);

/// The mask of those event types whose values stay valid until the next one.
std::uint32_t slow_event_types();

/// Number of events of all types, and the time that they span.
struct file_span {
    std::uint64_t events = 0;
    std::optional<trox::time_point> first{};
    std::optional<trox::time_point> last{};
};
file_span span_of(const trox::file_info& file);

/// Smallest, largest, mean and root mean square of some numbers; NaN takes part in none of them.
class statistics
{
public:
    void add(double value);
    std::uint64_t count() const noexcept
    {
        return count_;
    }
    std::optional<double> least() const;
    std::optional<double> most() const;
    std::optional<double> mean() const;
    /// Standard deviation around the mean.
    std::optional<double> deviation() const;

private:
    std::uint64_t count_ = 0;
    double least_ = 0;
    double most_ = 0;
    double mean_ = 0;
    double squares_ = 0; ///< sum of squared distances from the mean
};

/// What a record holds, short enough for a line: "0.5", "1024 samples, 0.1 to 0.9", "48 x 40 pixels, mean 8.5", a text.
std::string summary_of(const trox::record& record);

/// The words for "no such thing": "-" where a name is empty.
cell text_or_null(const std::string& text);

} // namespace trox_cli

#endif
