#include "ndjson.h"

#include "columns.h"
#include "text.h"

#include "base/utf8.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>

namespace trox_export
{
namespace
{

using nlohmann::json;

void append_list(std::string& text, const row& from, std::size_t first, std::size_t count)
{
    text += '[';
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 0) {
            text += ',';
        }
        append_json_element(text, from, first + i);
    }
    text += ']';
}

void append_row(std::string& text, const row& from)
{
    if (from.form == layout::scalar) {
        append_json_element(text, from, 0);
    } else if (from.form == layout::vector) {
        append_list(text, from, 0, from.count());
    } else {
        text += '[';
        for (std::size_t line = 0; line < from.shape[0]; ++line) {
            text += line == 0 ? "" : ",";
            append_list(text, from, line * from.shape[1], from.shape[1]);
        }
        text += ']';
    }
}

/// Names as keys: those of a channel's rows must differ.
class row_names
{
public:
    explicit row_names(std::size_t channels) : columns_(channels) {}
    const std::string& of(std::size_t channel, const row& what)
    {
        return columns_.all()[columns_.find(channel, what, [](const column&) {})].name;
    }

private:
    column_list columns_;
};

class ndjson_writer final : public event_consumer
{
public:
    ndjson_writer(std::vector<channel_head> channels, text_output output)
        : channels_(std::move(channels)), names_(channels_.size()), output_(std::move(output))
    {
    }
    void begin_event(const event_head& event) override
    {
        line_ = "{\"event\":" + std::to_string(event.number) + ",\"time\":\"" + trox::to_text(event.time) +
                "\",\"channels\":{";
    }
    void take(std::size_t channel, const trox::record& record, const std::vector<row>& rows) override
    {
        line_ += channel == 0 ? "" : ",";
        append_json_string(line_, channels_[channel].name);
        line_ += ':';
        if (!record) {
            line_ += "null";
            return;
        }
        char before = '{';
        for (const row& row : rows) {
            line_ += before;
            before = ',';
            append_json_string(line_, names_.of(channel, row));
            line_ += ':';
            append_row(line_, row);
        }
        line_ += '}';
    }
    void end_event() override
    {
        line_ += "}}\n";
        output_.write(line_);
    }
    void finish() override
    {
        output_.finish();
    }

private:
    std::vector<channel_head> channels_;
    row_names names_;
    text_output output_;
    std::string line_;
};

bool is_equal_real(const json& value, double expected, bool is_float)
{
    if (value.is_string()) {
        const auto& word = value.get_ref<const std::string&>();
        return std::isnan(expected) ? word == "NaN"
                                    : std::isinf(expected) && word == (expected > 0 ? "Infinity" : "-Infinity");
    }
    if (!value.is_number() || !std::isfinite(expected)) {
        return false;
    }
    const double number = value.get<double>();
    const double read = is_float ? static_cast<double>(static_cast<float>(number)) : number;
    return std::memcmp(&read, &expected, sizeof read) == 0;
}

bool is_equal_element(const json& value, const row& from, std::size_t i)
{
    switch (from.type) {
    case element::u8:
        return value.is_number_integer() && value.get<std::int64_t>() == element_at<std::uint8_t>(from, i);
    case element::u16:
        return value.is_number_integer() && value.get<std::int64_t>() == element_at<std::uint16_t>(from, i);
    case element::u32:
        return value.is_number_integer() && value.get<std::int64_t>() == element_at<std::uint32_t>(from, i);
    case element::u64:
        return value.is_number_unsigned() && value.get<std::uint64_t>() == element_at<std::uint64_t>(from, i);
    case element::i32:
        return value.is_number_integer() && value.get<std::int64_t>() == element_at<std::int32_t>(from, i);
    case element::f32:
        return is_equal_real(value, static_cast<double>(element_at<float>(from, i)), true);
    case element::f64:
        return is_equal_real(value, element_at<double>(from, i), false);
    case element::time:
        return value.is_string() && trox::time_from_text(value.get<std::string>()).time_since_epoch().count() ==
                                        element_at<std::int64_t>(from, i);
    case element::text:
        return value.is_string() && value.get<std::string>() == trox_base::valid_utf8(from.texts[i]);
    }
    return false;
}

bool is_equal_list(const json& value, const row& from, std::size_t first, std::size_t count)
{
    if (!value.is_array() || value.size() != count) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_equal_element(value[i], from, first + i)) {
            return false;
        }
    }
    return true;
}

bool is_equal_row(const json& value, const row& from)
{
    if (from.form == layout::scalar) {
        return is_equal_element(value, from, 0);
    }
    if (from.form == layout::vector) {
        return is_equal_list(value, from, 0, from.count());
    }
    if (!value.is_array() || value.size() != from.shape[0]) {
        return false;
    }
    for (std::size_t line = 0; line < from.shape[0]; ++line) {
        if (!is_equal_list(value[line], from, line * from.shape[1], from.shape[1])) {
            return false;
        }
    }
    return true;
}

class ndjson_checker final : public event_consumer
{
public:
    ndjson_checker(std::vector<channel_head> channels, const std::string& path)
        : channels_(std::move(channels)), names_(channels_.size()), input_(path)
    {
    }
    void begin_event(const event_head& event) override
    {
        number_ = event.number;
        std::string_view line;
        if (!input_.next(line)) {
            throw difference("event " + std::to_string(event.number) + " is missing");
        }
        line_ = json::parse(line, nullptr, false);
        if (!line_.is_object() || line_.value("event", json()) != event.number ||
            line_.value("time", json()) != trox::to_text(event.time) || !line_.value("channels", json()).is_object()) {
            throw difference("the line of event " + std::to_string(event.number) + " is another one");
        }
    }
    void take(std::size_t channel, const trox::record& record, const std::vector<row>& rows) override
    {
        const json& values = line_["channels"];
        const auto found = values.find(trox_base::valid_utf8(channels_[channel].name));
        if (found == values.end() || found->is_null() != !record || (record && found->size() != rows.size())) {
            throw difference(place(channel) + " is not as it was read");
        }
        if (!record) {
            return;
        }
        for (const row& row : rows) {
            const auto value = found->find(trox_base::valid_utf8(names_.of(channel, row)));
            if (value == found->end() || !is_equal_row(*value, row)) {
                throw difference(place(channel) + ", " + std::string(row.name) + ", is not as it was read");
            }
        }
    }
    void end_event() override
    {
        if (line_["channels"].size() != channels_.size()) {
            throw difference("event " + std::to_string(number_) + " has other channels");
        }
    }
    void finish() override
    {
        std::string_view line;
        if (input_.next(line)) {
            throw difference("there are more lines than events");
        }
    }

private:
    std::string place(std::size_t channel) const
    {
        return "event " + std::to_string(number_) + ", " + channels_[channel].name;
    }

    std::vector<channel_head> channels_;
    row_names names_;
    line_input input_;
    json line_;
    std::uint64_t number_ = 0;
};

} // namespace

std::unique_ptr<event_consumer> make_ndjson_writer(std::vector<channel_head> channels, text_output output)
{
    return std::make_unique<ndjson_writer>(std::move(channels), std::move(output));
}

std::unique_ptr<event_consumer> make_ndjson_checker(std::vector<channel_head> channels, const std::string& path)
{
    return std::make_unique<ndjson_checker>(std::move(channels), path);
}

} // namespace trox_export
