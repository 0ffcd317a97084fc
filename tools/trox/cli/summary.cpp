#include "summary.h"

#include "event_util.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

constexpr int shown_digits = 6;

std::string number_text(double value)
{
    return fmt::format("{:.{}g}", value, shown_digits);
}

std::string range_text(const statistics& seen)
{
    return seen.count() == 0 ? "no numbers" : number_text(*seen.least()) + " to " + number_text(*seen.most());
}

std::string trace_summary(const trox::record& record)
{
    statistics seen;
    std::vector<std::string> singles;
    std::size_t samples = 0;
    for (std::size_t member = 0; member < record.members(); ++member) {
        const auto trace = record.trace(member);
        if (!trace) {
            return "?";
        }
        samples = trace->samples.size();
        for (const float value : trace->samples) {
            seen.add(static_cast<double>(value));
        }
        if (samples == 1) {
            singles.push_back(real_text(trace->samples[0]));
        }
    }
    if (!singles.empty()) {
        return join(singles, ", ");
    }
    const std::string members = record.members() > 1 ? fmt::format("{} x ", record.members()) : "";
    return fmt::format("{}{} samples, {}", members, samples, range_text(seen));
}

std::string image_summary(const trox::record& record)
{
    const auto image = record.image();
    if (!image) {
        return "?";
    }
    statistics seen;
    for (std::size_t i = 0; i < image->pixel_count(); ++i) {
        seen.add(image->value(i));
    }
    return fmt::format("{} x {} pixels, {}", image->width, image->height, range_text(seen));
}

std::string values_summary(const trox::record& record)
{
    const auto list = record.values();
    if (!list) {
        return "?";
    }
    std::vector<std::string> words;
    constexpr std::size_t most = 3;
    for (std::size_t i = 0; i < std::min(list->entries.size(), most); ++i) {
        words.push_back(std::string(list->entries[i].name) + " " + real_text(list->entries[i].value));
    }
    if (list->entries.size() > most) {
        words.push_back(fmt::format("… ({})", list->entries.size()));
    }
    return join(words, ", ");
}

std::string control_summary(const trox::record& record)
{
    const auto value = record.control();
    if (!value) {
        return "?";
    }
    if (value->text) {
        return std::string(*value->text);
    }
    std::vector<std::string> words;
    constexpr std::size_t most = 4;
    for (std::size_t i = 0; i < std::min(value->floats.size(), most); ++i) {
        words.push_back(real_text(value->floats[i]));
    }
    for (std::size_t i = 0; i < std::min(value->integers.size(), most); ++i) {
        words.push_back(std::to_string(value->integers[i]));
    }
    const std::size_t size = value->floats.size() + value->integers.size();
    if (size > most) {
        words.push_back(fmt::format("… ({})", size));
    }
    return words.empty() ? "empty" : join(words, ", ");
}

} // namespace

std::uint32_t slow_event_types()
{
    std::uint32_t mask = 0;
    for (int type = 0; type < TROX_EV_EVMAX; ++type) {
        mask |= is_slow_event(type) ? std::uint32_t{1} << static_cast<unsigned>(type) : 0U;
    }
    return mask;
}

std::vector<std::string> event_type_names(std::uint32_t mask)
{
    std::vector<std::string> names;
    constexpr int types = 32;
    for (int type = 0; type < types; ++type) {
        if (((mask >> static_cast<unsigned>(type)) & 1U) != 0) {
            names.push_back(trox::event_type_name(type));
        }
    }
    return names;
}

file_span span_of(const trox::file_info& file)
{
    file_span span;
    for (const auto& type : file.events) {
        span.events += type.count;
        if (type.count > 0) {
            span.first = span.first ? std::min(*span.first, type.first_time) : type.first_time;
            span.last = span.last ? std::max(*span.last, type.last_time) : type.last_time;
        }
    }
    return span;
}

void statistics::add(double value)
{
    if (std::isnan(value)) {
        return;
    }
    least_ = count_ == 0 ? value : std::min(least_, value);
    most_ = count_ == 0 ? value : std::max(most_, value);
    ++count_;
    const double distance = value - mean_;
    mean_ += distance / static_cast<double>(count_);
    squares_ += distance * (value - mean_);
}

std::optional<double> statistics::least() const
{
    return count_ == 0 ? std::nullopt : std::optional(least_);
}

std::optional<double> statistics::most() const
{
    return count_ == 0 ? std::nullopt : std::optional(most_);
}

std::optional<double> statistics::mean() const
{
    return count_ == 0 ? std::nullopt : std::optional(mean_);
}

std::optional<double> statistics::deviation() const
{
    return count_ == 0 ? std::nullopt : std::optional(std::sqrt(squares_ / static_cast<double>(count_)));
}

std::string summary_of(const trox::record& record)
{
    switch (record.kind()) {
    case trox::channel_kind::trace:
    case trox::channel_kind::single_values:
    case trox::channel_kind::region_of_interest:
        return trace_summary(record);
    case trox::channel_kind::image:
        return image_summary(record);
    case trox::channel_kind::name_value:
        return values_summary(record);
    case trox::channel_kind::slow:
        if (const auto value = record.slow()) {
            return real_text(value->value);
        }
        break;
    case trox::channel_kind::control_value:
        return control_summary(record);
    case trox::channel_kind::unknown:
        return bytes_text(record.payload().size());
    }
    return "?";
}

cell text_or_null(const std::string& text)
{
    return text.empty() ? cell() : cell(text);
}

} // namespace trox_cli
