#include "csv.h"

#include "base/utf8.h"
#include "csv_input.h"
#include "text.h"

#include "trox/error.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace trox_export
{
namespace
{

const row* find_row(const std::vector<row>& rows, std::string_view name)
{
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const row& row) { return row.use == role::side && row.name == name; });
    return found == rows.end() ? nullptr : &*found;
}

/// Elements of a row that become one field.
struct csv_values {
    const row* from = nullptr; ///< null: no values
    std::size_t first = 0;
    std::size_t count = 0;
};

trox::time_point time_at(const row& from)
{
    return trox::time_point(trox::microseconds(element_at<std::int64_t>(from, 0)));
}

std::string text_of(const csv_values& values)
{
    std::string text;
    for (std::size_t i = 0; i < values.count; ++i) {
        text += i == 0 ? "" : " ";
        append_element(text, *values.from, values.first + i);
    }
    return text;
}

bool is_equal_number(std::string_view text, const row& from, std::size_t i)
{
    std::byte place[8];
    if (!parse_element(text, from.type, place)) {
        return false;
    }
    const std::size_t size = size_of(from.type);
    const row read{{}, from.type, layout::scalar, role::value, {1, 1}, place, nullptr};
    if (from.type == element::f32 && element_at<float>(from, i) != element_at<float>(from, i)) {
        return element_at<float>(read, 0) != element_at<float>(read, 0); // any NaN is one
    }
    return std::memcmp(place, from.data + i * size, size) == 0;
}

/// Whether the field's numbers are the values.
bool is_equal_field(std::string_view field, const csv_values& values)
{
    if (values.from != nullptr && values.from->type == element::text) {
        return field == text_of(values);
    }
    for (std::size_t i = 0; i < values.count; ++i) {
        const std::size_t end = std::min(field.find(' '), field.size());
        if (!is_equal_number(field.substr(0, end), *values.from, values.first + i)) {
            return false;
        }
        const bool has_more = i + 1 < values.count;
        if (has_more == (end == field.size())) {
            return false;
        }
        field.remove_prefix(std::min(end + 1, field.size()));
    }
    return field.empty();
}

std::string shape_text(const row& values, const row* axis)
{
    constexpr std::size_t groups_in_axis = 3;
    const auto groups =
        axis == nullptr ? std::size_t{1} : static_cast<std::size_t>(element_at<double>(*axis, groups_in_axis));
    if (values.form == layout::matrix) {
        return std::to_string(values.shape[0]) + "x" + std::to_string(values.shape[1]);
    }
    return groups > 1 ? std::to_string(groups) + "x" + std::to_string(values.count() / groups)
                      : std::to_string(values.count());
}

/// Makes the lines of a record: all fields but the last as text, and the values of that.
template <class Line> class csv_lines
{
public:
    csv_lines(const event_head& event, const channel_head& channel, const std::vector<row>& rows, const time_text& show,
              const Line& line)
        : rows_(rows), line_(line),
          axis_(find_row(rows, "axis")), fields_{std::to_string(event.number), show(event.time), channel.name, "",
                                                 channel.unit}
    {
        for (const char* name : {"present", "record_time", "errors"}) {
            const row* const found = find_row(rows, name);
            fields_.push_back(found == nullptr               ? ""
                              : found->type == element::time ? show(time_at(*found))
                                                             : text_of({found, 0, 1}));
        }
        fields_.emplace_back(); // shape
        for (std::size_t i = 0; i < 3; ++i) {
            fields_.push_back(axis_ == nullptr ? "" : text_of({axis_, i, 1}));
        }
    }

    void make()
    {
        const row* const names = find_row(rows_, "name");
        bool has_line = false;
        for (const row& row : rows_) {
            if (row.use != role::value) {
                continue;
            }
            if (names != nullptr) {
                for (std::size_t i = 0; i < row.count(); ++i) {
                    add(names->texts[i], "1", {&row, i, 1});
                }
                has_line = row.count() != 0;
            } else {
                add(row.name, shape_text(row, axis_), {&row, 0, row.count()});
                has_line = true;
            }
        }
        if (!has_line) {
            add("", "0", {});
        }
    }

private:
    void add(std::string_view member, std::string shape, const csv_values& values)
    {
        constexpr std::size_t member_field = 3;
        constexpr std::size_t shape_field = 8;
        fields_[member_field] = trox_base::valid_utf8(member);
        fields_[shape_field] = std::move(shape);
        line_(fields_, values);
    }

    const std::vector<row>& rows_;
    const Line& line_;
    const row* axis_;
    std::vector<std::string> fields_;
};

class csv_writer final : public event_consumer
{
public:
    csv_writer(std::vector<channel_head> channels, time_text show, text_output output)
        : channels_(std::move(channels)), show_(std::move(show)), output_(std::move(output))
    {
        for (const char* name : csv_row_fields) {
            text_ += (text_.empty() ? "" : ",") + std::string(name);
        }
        text_ += '\n';
        output_.write(text_);
    }
    void begin_event(const event_head& event) override
    {
        event_ = event;
        text_.clear();
    }
    void take(std::size_t channel, const trox::record&, const std::vector<row>& rows) override
    {
        const auto write = [this](const std::vector<std::string>& fields, const csv_values& values) {
            for (const std::string& field : fields) {
                append_csv_field(text_, field);
                text_ += ',';
            }
            append_csv_field(text_, text_of(values));
            text_ += '\n';
        };
        csv_lines(event_, channels_[channel], rows, show_, write).make();
    }
    void end_event() override
    {
        output_.write(text_);
    }
    void finish() override
    {
        output_.finish();
    }

private:
    std::vector<channel_head> channels_;
    time_text show_;
    text_output output_;
    event_head event_;
    std::string text_;
};

[[noreturn]] void throw_difference(const event_head& event, const std::string& channel)
{
    throw difference("event " + std::to_string(event.number) + ", " + channel + ", is not as it was read");
}

class csv_checker final : public event_consumer
{
public:
    csv_checker(std::vector<channel_head> channels, time_text show, const std::string& path)
        : channels_(std::move(channels)), show_(std::move(show)), input_(path)
    {
        if (!input_.next(read_) ||
            !std::equal(read_.begin(), read_.end(), std::begin(csv_row_fields), std::end(csv_row_fields))) {
            throw difference("the heading is another one");
        }
    }
    void begin_event(const event_head& event) override
    {
        event_ = event;
    }
    void take(std::size_t channel, const trox::record&, const std::vector<row>& rows) override
    {
        const auto compare = [&](const std::vector<std::string>& fields, const csv_values& values) {
            if (!input_.next(read_) || read_.size() != fields.size() + 1 ||
                !std::equal(fields.begin(), fields.end(), read_.begin()) || !is_equal_field(read_.back(), values)) {
                throw_difference(event_, channels_[channel].name);
            }
        };
        csv_lines(event_, channels_[channel], rows, show_, compare).make();
    }
    void end_event() override {}
    void finish() override
    {
        if (input_.next(read_)) {
            throw difference("there are more lines than values");
        }
    }

private:
    std::vector<channel_head> channels_;
    time_text show_;
    csv_input input_;
    event_head event_;
    std::vector<std::string> read_;
};

// --- wide ---------------------------------------------------------------------------------------------

std::string name_of_field(const channel_head& channel, const wide_field& field)
{
    return field.member.empty() ? channel.name : channel.name + ":" + trox_base::valid_utf8(field.member);
}

/// Fields of a wide table by channel.
class wide_table
{
public:
    wide_table(std::vector<channel_head> channels, std::vector<wide_field> fields, time_text show)
        : channels_(std::move(channels)), fields_(std::move(fields)), show_(std::move(show))
    {
    }
    std::string show(trox::time_point time) const
    {
        return show_(time);
    }
    std::vector<std::string> heading() const
    {
        std::vector<std::string> names{"event", "time"};
        for (const wide_field& field : fields_) {
            names.push_back(name_of_field(channels_[field.channel], field));
        }
        return names;
    }
    const std::string& channel_name(std::size_t channel) const
    {
        return channels_[channel].name;
    }
    /// The values of the channel's fields: calls use(index of the field, values).
    template <class Use> void for_fields(std::size_t channel, const std::vector<row>& rows, const Use& use) const
    {
        std::size_t used = 0;
        std::size_t present = 0;
        for (const row& row : rows) {
            present += row.use == role::value ? 1 : 0;
        }
        for (std::size_t i = 0; i < fields_.size(); ++i) {
            if (fields_[i].channel != channel) {
                continue;
            }
            const row* const found = value_of(fields_[i], rows);
            if (found != nullptr && (found->count() != 1 || (fields_[i].member.empty() && present > 1))) {
                refuse(channel, "holds more or less than one value");
            }
            used += found == nullptr ? 0 : 1;
            use(i, found == nullptr ? csv_values{} : csv_values{found, 0, 1});
        }
        if (used < present) {
            refuse(channel, "has members that its first record has not");
        }
    }

private:
    static const row* value_of(const wide_field& field, const std::vector<row>& rows)
    {
        const auto found = std::find_if(rows.begin(), rows.end(), [&](const row& row) {
            return row.use == role::value && (field.member.empty() || row.name == field.member);
        });
        return found == rows.end() ? nullptr : &*found;
    }
    [[noreturn]] void refuse(std::size_t channel, const std::string& reason) const
    {
        throw trox::error(trox::fault::wrong_use,
                          reason + ", and a wide table has one field for it; a table of rows holds it",
                          {{}, channels_[channel].name, {}, {}});
    }

    std::vector<channel_head> channels_;
    std::vector<wide_field> fields_;
    time_text show_;
};

class wide_csv_writer final : public event_consumer
{
public:
    wide_csv_writer(wide_table table, text_output output) : table_(std::move(table)), output_(std::move(output))
    {
        for (const std::string& name : table_.heading()) {
            line_ += line_.empty() ? "" : ",";
            append_csv_field(line_, name);
        }
        line_ += '\n';
        output_.write(line_);
    }
    void begin_event(const event_head& event) override
    {
        line_ = std::to_string(event.number) + ",";
        append_csv_field(line_, table_.show(event.time));
    }
    void take(std::size_t channel, const trox::record&, const std::vector<row>& rows) override
    {
        table_.for_fields(channel, rows, [this](std::size_t, const csv_values& values) {
            line_ += ',';
            append_csv_field(line_, text_of(values));
        });
    }
    void end_event() override
    {
        line_ += '\n';
        output_.write(line_);
    }
    void finish() override
    {
        output_.finish();
    }

private:
    wide_table table_;
    text_output output_;
    std::string line_;
};

class wide_csv_checker final : public event_consumer
{
public:
    wide_csv_checker(wide_table table, const std::string& path) : table_(std::move(table)), input_(path)
    {
        if (!input_.next(read_) || read_ != table_.heading()) {
            throw difference("the heading is another one");
        }
    }
    void begin_event(const event_head& event) override
    {
        event_ = event;
        if (!input_.next(read_) || read_.size() != table_.heading().size() ||
            read_[0] != std::to_string(event.number) || read_[1] != table_.show(event.time)) {
            throw difference("the line of event " + std::to_string(event.number) + " is another one");
        }
    }
    void take(std::size_t channel, const trox::record&, const std::vector<row>& rows) override
    {
        table_.for_fields(channel, rows, [&](std::size_t field, const csv_values& values) {
            constexpr std::size_t heads = 2;
            if (!is_equal_field(read_[field + heads], values)) {
                throw_difference(event_, table_.channel_name(channel));
            }
        });
    }
    void end_event() override {}
    void finish() override
    {
        if (input_.next(read_)) {
            throw difference("there are more lines than events");
        }
    }

private:
    wide_table table_;
    csv_input input_;
    event_head event_;
    std::vector<std::string> read_;
};

} // namespace

std::unique_ptr<event_consumer> make_csv_writer(std::vector<channel_head> channels, time_text show, text_output output)
{
    return std::make_unique<csv_writer>(std::move(channels), std::move(show), std::move(output));
}

std::unique_ptr<event_consumer> make_csv_checker(std::vector<channel_head> channels, time_text show,
                                                 const std::string& path)
{
    return std::make_unique<csv_checker>(std::move(channels), std::move(show), path);
}

std::unique_ptr<event_consumer> make_wide_csv_writer(std::vector<channel_head> channels, std::vector<wide_field> fields,
                                                     time_text show, text_output output)
{
    return std::make_unique<wide_csv_writer>(wide_table(std::move(channels), std::move(fields), std::move(show)),
                                             std::move(output));
}

std::unique_ptr<event_consumer> make_wide_csv_checker(std::vector<channel_head> channels,
                                                      std::vector<wide_field> fields, time_text show,
                                                      const std::string& path)
{
    return std::make_unique<wide_csv_checker>(wide_table(std::move(channels), std::move(fields), std::move(show)),
                                              path);
}

} // namespace trox_export
