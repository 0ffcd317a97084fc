#include "record_report.h"

#include "summary.h"
#include "text.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

constexpr std::size_t rows_for_people = 16;

/// Samples of a window of an array of `size`: index of each.
std::vector<std::size_t> indices_of(const trox::sample_window& window, std::size_t size)
{
    std::vector<std::size_t> indices;
    for (std::size_t i = window.first; i < size && indices.size() < window.count;) {
        indices.push_back(i);
        if (window.step >= size - i) {
            break;
        }
        i += window.step;
    }
    return indices;
}

cell statistics_cell(const std::optional<trox::statistics_view>& statistics)
{
    if (!statistics) {
        return {};
    }
    std::vector<scalar> values;
    for (std::size_t i = 0; i < statistics->values.size() && i < 32; ++i) {
        const bool is_there = ((statistics->mask >> i) & 1U) != 0;
        values.push_back(is_there ? scalar(statistics->values[i]) : scalar());
    }
    while (!values.empty() && std::holds_alternative<std::monostate>(values.back())) {
        values.pop_back();
    }
    return cell(std::move(values));
}

std::vector<trox::trace_view> members_of(const trox::record& record)
{
    std::vector<trox::trace_view> members;
    for (std::size_t i = 0; i < record.members(); ++i) {
        if (const auto member = record.trace(i)) {
            members.push_back(*member);
        }
    }
    return members;
}

/// The place of a sample on the channel's axis.
double position_of(const trox::trace_view& member, std::size_t index)
{
    const std::size_t size = std::max<std::size_t>(1, member.group_size);
    return member.start + static_cast<double>(index / size) * member.group_increment +
           static_cast<double>(index % size) * member.increment;
}

void tell_head(report& result, const trox::channel_info& channel, const trox::record& record)
{
    constexpr auto integer = column_type::integer;
    constexpr auto exact = column_view::exact;
    result.fields({"record"}, {{{"channel"}, channel.name},
                               {{"kind"}, trox::name_of(record.kind())},
                               {{"unit"}, text_or_null(channel.unit)},
                               {{"description"}, text_or_null(channel.description)},
                               {{"event", integer}, record.event_number()},
                               {{"time", column_type::time}, record.time()},
                               {{"event_type"}, trox::event_type_name(record.event_type())},
                               {{"updated", column_type::boolean}, record.is_updated()},
                               {{"server"}, record.server()},
                               {{"server_status", integer}, record.server_status()},
                               {{"errors", integer}, record.errors()},
                               {{"block_type", integer}, record.block_type()},
                               {{"stored_name", column_type::text, exact}, record.stored_name()},
                               {{"size", column_type::bytes}, record.payload().size()},
                               {{"file"}, record.file()},
                               {{"offset", integer}, record.offset()}});
}

std::vector<column> member_columns()
{
    constexpr auto real = column_type::real;
    constexpr auto integer = column_type::integer;
    constexpr int digits = 6;
    return {{"name"},
            {"samples", integer},
            {"groups", integer},
            {"start", real, {}, {}, digits},
            {"increment", real, {}, {}, digits},
            {"group_increment", real, column_view::exact, {}, digits},
            {"min", real, {}, {}, digits},
            {"max", real, {}, {}, digits},
            {"mean", real, {}, {}, digits},
            {"deviation", real, {}, {}, digits},
            {"statistics", column_type::list}};
}

std::vector<cell> member_row(const trox::trace_view& member)
{
    statistics seen;
    for (const float value : member.samples) {
        seen.add(static_cast<double>(value));
    }
    return {member.name,
            member.group_size,
            member.groups,
            member.start,
            member.increment,
            member.group_increment,
            seen.least(),
            seen.most(),
            seen.mean(),
            seen.deviation(),
            statistics_cell(member.statistics)};
}

void tell_members(report& result, const std::vector<trox::trace_view>& members)
{
    result.begin_table({"members", "Members"}, member_columns());
    for (const auto& member : members) {
        result.row(member_row(member));
    }
    result.end_table();
}

void tell_members_with_values(report& result, const std::vector<trox::trace_view>& members,
                              const trox::sample_window& window)
{
    auto columns = member_columns();
    columns.push_back({"values", column_type::list});
    result.begin_table({"members", "Members"}, columns);
    for (const auto& member : members) {
        std::vector<scalar> values;
        for (const std::size_t i : indices_of(window, member.samples.size())) {
            values.emplace_back(member.samples[i]);
        }
        auto row = member_row(member);
        row.emplace_back(std::move(values));
        result.row(row);
    }
    result.end_table();
}

/// A row per sample: its index, its place on the axis, the value of each member.
void tell_samples(report& result, const std::vector<trox::trace_view>& members, const trox::sample_window& window)
{
    std::vector<column> columns{{"index", column_type::integer}, {"position", column_type::real, {}, {}, 8}};
    std::size_t most = 0;
    for (const auto& member : members) {
        columns.push_back({std::string(member.name), column_type::real, {}, std::string(member.name)});
        most = std::max(most, member.samples.size());
    }
    result.begin_table({"samples", "Samples"}, columns);
    for (const std::size_t i : indices_of(window, most)) {
        std::vector<cell> row{i, position_of(members.front(), i)};
        for (const auto& member : members) {
            row.push_back(i < member.samples.size() ? cell(member.samples[i]) : cell());
        }
        result.row(row);
    }
    result.end_table();
}

void tell_region(report& result, const trox::record& record)
{
    const auto region = record.region_of_interest();
    if (!region) {
        return;
    }
    constexpr auto integer = column_type::integer;
    result.fields({"region", "Region of interest"}, {{{"x", integer}, region->x},
                                                     {{"y", integer}, region->y},
                                                     {{"width", integer}, region->width},
                                                     {{"height", integer}, region->height}});
}

std::vector<field> image_fields(const trox::image_view& image)
{
    constexpr auto integer = column_type::integer;
    statistics seen;
    for (std::size_t i = 0; i < image.pixel_count(); ++i) {
        seen.add(image.value(i));
    }
    const auto pixel = [](const std::optional<double>& value) {
        return value ? cell(static_cast<std::uint64_t>(*value)) : cell();
    };
    return {{{"width", integer}, image.width},
            {{"height", integer}, image.height},
            {{"bytes_per_pixel", integer}, image.bytes_per_pixel},
            {{"frame", integer}, image.frame},
            {{"x", integer}, image.x},
            {{"y", integer}, image.y},
            {{"min", integer}, pixel(seen.least())},
            {{"max", integer}, pixel(seen.most())},
            {{"mean", column_type::real, {}, {}, 6}, seen.mean()},
            {{"deviation", column_type::real, {}, {}, 6}, seen.deviation()}};
}

void tell_pixels(report& result, const trox::image_view& image, const trox::sample_window& window)
{
    constexpr auto integer = column_type::integer;
    result.begin_table({"pixels", "Pixels"}, {{"index", integer}, {"x", integer}, {"y", integer}, {"value", integer}});
    for (const std::size_t i : indices_of(window, image.pixel_count())) {
        result.row({i, i % image.width, i / image.width, image.value(i)});
    }
    result.end_table();
}

void tell_named_values(report& result, const trox::name_value_list& list)
{
    result.begin_table({"values", "Values"}, {{"name"}, {"value", column_type::real}});
    for (const auto& entry : list.entries) {
        result.row({entry.name, entry.value});
    }
    result.end_table();
}

void tell_list(report& result, const trox::record& record)
{
    if (const auto list = record.values()) {
        result.fields({"list", "List"}, {{{"id", column_type::integer}, list->id}, {{"comment"}, list->comment}});
        tell_named_values(result, *list);
    }
}

std::vector<field> slow_fields(const trox::slow_value& value)
{
    return {{{"value", column_type::real}, value.value},
            {{"status", column_type::integer}, value.status},
            {{"set_time", column_type::time}, value.time}};
}

std::vector<field> control_fields(const trox::control_value& value)
{
    cell numbers;
    if (!value.text) {
        numbers = value.integers.empty() ? cell::list(value.floats) : cell::list(value.integers);
    }
    return {{{"type", column_type::integer}, value.type},
            {{"status", column_type::integer}, value.status},
            {{"set_time", column_type::time}, value.time},
            {{"text"}, value.text},
            {{"numbers", column_type::list}, numbers}};
}

void tell_slow(report& result, const trox::record& record)
{
    if (const auto value = record.slow()) {
        result.fields({"slow", "Value"}, slow_fields(*value));
    }
}

void tell_control(report& result, const trox::record& record)
{
    if (const auto value = record.control()) {
        result.fields({"control", "Value"}, control_fields(*value));
    }
}

/// The first bytes of what has no layout, in hexadecimal.
void tell_bytes(report& result, const trox::record& record)
{
    constexpr std::size_t most = 64;
    std::vector<unsigned> bytes;
    for (const std::byte byte : record.payload()) {
        if (bytes.size() == most) {
            break;
        }
        bytes.push_back(std::to_integer<unsigned>(byte));
    }
    result.fields({"payload", "Payload"}, {{{"first_bytes"}, fmt::format("{:02x}", fmt::join(bytes, " "))}});
}

/// What `tell_record_as_lists` and `tell_record_as_rows` say of a kind without samples. Answers whether that was all.
bool tell_without_samples(report& result, const trox::record& record)
{
    switch (record.kind()) {
    case trox::channel_kind::name_value:
        tell_list(result, record);
        return true;
    case trox::channel_kind::slow:
        tell_slow(result, record);
        return true;
    case trox::channel_kind::control_value:
        tell_control(result, record);
        return true;
    case trox::channel_kind::unknown:
        tell_bytes(result, record);
        return true;
    case trox::channel_kind::image:
        if (const auto image = record.image()) {
            result.fields({"image", "Image"}, image_fields(*image));
        }
        return false;
    case trox::channel_kind::region_of_interest:
        tell_region(result, record);
        return false;
    case trox::channel_kind::trace:
    case trox::channel_kind::single_values:
        break;
    }
    return false;
}

} // namespace

void tell_records(report& result, const trox::data_set& data, const shown_event& event)
{
    constexpr auto exact = column_view::exact;
    result.begin_table({"records", "Records"}, {{"channel"},
                                                {"kind"},
                                                {"summary"},
                                                {"unit"},
                                                {"updated", column_type::boolean},
                                                {"errors", column_type::integer},
                                                {"residual_us", column_type::duration, {}, "residual"},
                                                {"value", column_type::real, exact},
                                                {"event", column_type::integer, exact},
                                                {"time", column_type::time, exact},
                                                {"event_type", column_type::text, exact},
                                                {"server", column_type::text, exact},
                                                {"file", column_type::text, exact},
                                                {"offset", column_type::integer, exact}});
    for (std::size_t i = 0; i < event.records.size(); ++i) {
        const auto& channel = data.channels()[event.channels[i]];
        const trox::record& record = event.records[i];
        if (!record) {
            result.row({channel.name, {}, {}, text_or_null(channel.unit), {}, {}, {}, {}, {}, {}, {}, {}, {}, {}});
            continue;
        }
        result.row({channel.name, trox::name_of(record.kind()), summary_of(record), text_or_null(channel.unit),
                    record.is_updated(), cell(record.errors()).with(record.errors() == 0 ? tone::plain : tone::warning),
                    record.time() - event.time, record.number(), record.event_number(), record.time(),
                    trox::event_type_name(record.event_type()), record.server(), record.file(), record.offset()});
    }
    result.end_table();
}

void tell_event(report& result, const trox::data_set& data, const shown_event& event)
{
    const auto& records = event.records;
    const auto present = std::count_if(records.begin(), records.end(), [](const auto& one) { return bool(one); });
    result.fields({"event"}, {{{"event", column_type::integer}, event.number},
                              {{"time", column_type::time}, event.time},
                              {{"channels", column_type::integer}, records.size()},
                              {{"present", column_type::integer}, present}});
    tell_records(result, data, event);
}

void tell_record_as_lists(report& result, const trox::channel_info& channel, const trox::record& record,
                          const shown_samples& shown)
{
    tell_head(result, channel, record);
    if (tell_without_samples(result, record)) {
        return;
    }
    const auto image = record.image();
    if (!image) {
        tell_members_with_values(result, members_of(record), shown.window.value_or(trox::sample_window()));
    } else if (shown.window) {
        tell_pixels(result, *image, *shown.window);
    }
}

void tell_record_as_rows(report& result, const trox::channel_info& channel, const trox::record& record,
                         const shown_samples& shown)
{
    tell_head(result, channel, record);
    if (tell_without_samples(result, record)) {
        return;
    }
    const auto window = shown.window.value_or(trox::sample_window{0, rows_for_people, 1});
    if (const auto image = record.image()) {
        tell_pixels(result, *image, window);
        return;
    }
    const auto members = members_of(record);
    tell_members(result, members);
    if (!members.empty()) {
        tell_samples(result, members, window);
    }
}

void tell_record_values(report& result, const trox::record& record, const shown_samples& shown)
{
    const auto window = shown.window.value_or(trox::sample_window());
    const auto members = members_of(record);
    if (!members.empty()) {
        tell_samples(result, members, window);
    } else if (const auto image = record.image()) {
        tell_pixels(result, *image, window);
    } else if (const auto list = record.values()) {
        tell_named_values(result, *list);
    } else if (const auto slow = record.slow()) {
        result.fields({"slow"}, slow_fields(*slow));
    } else if (const auto control = record.control()) {
        result.fields({"control"}, control_fields(*control));
    } else {
        tell_bytes(result, record);
    }
}

} // namespace trox_cli
