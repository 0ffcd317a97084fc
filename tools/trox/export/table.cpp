#include "table.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace trox_export
{
namespace
{

template <class T> const std::byte* bytes_of(const T& value)
{
    return reinterpret_cast<const std::byte*>(&value);
}

/// Number and time of an event as rows.
class event_rows
{
public:
    const std::array<row, 2>& of(const event_head& event)
    {
        number_ = event.number;
        time_ = event.time.time_since_epoch().count();
        return rows_;
    }

private:
    std::uint64_t number_ = 0;
    std::int64_t time_ = 0;
    std::array<row, 2> rows_{
        row{"event_number", element::u64, layout::scalar, role::side, {1, 1}, bytes_of(number_), nullptr},
        row{"event_time", element::time, layout::scalar, role::side, {1, 1}, bytes_of(time_), nullptr}};
};

class table_writer final : public event_consumer
{
public:
    table_writer(std::size_t channels, std::unique_ptr<table_target> target)
        : channels_(channels), columns_(channels + 1), target_(std::move(target))
    {
        for (const row& row : event_rows_.of({})) { // there without an event, too
            static_cast<void>(index_of(channels_, row));
        }
    }
    void begin_event(const event_head& event) override
    {
        for (const row& row : event_rows_.of(event)) {
            put(channels_, row);
        }
    }
    void take(std::size_t channel, const trox::record&, const std::vector<row>& rows) override
    {
        for (const row& row : rows) {
            put(channel, row);
        }
    }
    void end_event() override
    {
        ++events_;
    }
    void finish() override
    {
        target_->finish(events_);
    }

private:
    std::size_t index_of(std::size_t channel, const row& row)
    {
        return columns_.find(channel, row,
                             [this](const column& fresh) { sinks_.push_back(target_->make_column(fresh)); });
    }
    void put(std::size_t channel, const row& row)
    {
        sinks_[index_of(channel, row)]->put(events_, row);
    }

    std::size_t channels_;
    column_list columns_;
    std::unique_ptr<table_target> target_;
    std::vector<std::unique_ptr<column_sink>> sinks_;
    event_rows event_rows_;
    std::uint64_t events_ = 0;
};

bool is_fill(const std::byte* data, std::size_t count, element type)
{
    const std::size_t size = size_of(type);
    for (std::size_t i = 0; i < count; ++i) {
        if (std::memcmp(data + i * size, fill_of(type), size) != 0) {
            return false;
        }
    }
    return true;
}

/// Whether a stored row holds the elements of a row and fill behind them.
bool is_equal_row(const column_source& stored, const row& what)
{
    const auto [lines, elements] = stored.shape();
    if (what.shape[0] > lines || what.shape[1] > elements) {
        return false;
    }
    const std::size_t size = size_of(what.type);
    for (std::size_t line = 0; line < lines; ++line) {
        const std::size_t held = line < what.shape[0] ? what.shape[1] : 0;
        if (what.type == element::text) {
            for (std::size_t i = 0; i < elements; ++i) {
                const std::string_view expected = i < held ? what.texts[line * held + i] : std::string_view();
                if (stored.texts()[line * elements + i] != expected) {
                    return false;
                }
            }
            continue;
        }
        const std::byte* const data = stored.data() + line * elements * size;
        if ((held != 0 && std::memcmp(data, what.data + line * held * size, held * size) != 0) ||
            !is_fill(data + held * size, elements - held, what.type)) {
            return false;
        }
    }
    return true;
}

class table_checker final : public event_consumer
{
public:
    table_checker(std::vector<channel_head> channels, std::unique_ptr<table_source> source)
        : channels_(std::move(channels)), columns_(channels_.size() + 1), source_(std::move(source))
    {
        for (const row& row : event_rows_.of({})) {
            static_cast<void>(index_of(channels_.size(), row));
        }
    }
    void begin_event(const event_head& event) override
    {
        event_ = event;
        for (const row& row : event_rows_.of(event)) {
            compare(channels_.size(), row);
        }
    }
    void take(std::size_t channel, const trox::record&, const std::vector<row>& rows) override
    {
        for (const row& row : rows) {
            compare(channel, row);
        }
    }
    void end_event() override
    {
        for (std::size_t i = 0; i < columns_.all().size(); ++i) {
            if (rows_read_[i] <= events_) {
                compare_missing(i);
            }
        }
        ++events_;
    }
    void finish() override
    {
        for (std::size_t i = 0; i < sources_.size(); ++i) {
            if (sources_[i]->next()) {
                throw difference(name_of_column(columns_.all()[i]) + " has more rows than there are events");
            }
        }
        if (source_->columns() != sources_.size()) {
            throw difference("there are other columns than channels have");
        }
    }

private:
    std::string name_of_column(const column& what) const
    {
        return what.channel == channels_.size() ? what.name : channels_[what.channel].name + "/" + what.name;
    }
    [[noreturn]] void throw_difference(std::size_t index) const
    {
        throw difference("event " + std::to_string(event_.number) + ", " + name_of_column(columns_.all()[index]) +
                         ", is not as it was read");
    }
    void advance(std::size_t index)
    {
        if (!sources_[index]->next()) {
            throw_difference(index);
        }
        ++rows_read_[index];
    }
    std::size_t index_of(std::size_t channel, const row& row)
    {
        return columns_.find(channel, row, [this](const column& fresh) {
            sources_.push_back(source_->open_column(fresh));
            rows_read_.push_back(0);
        });
    }
    void compare(std::size_t channel, const row& row)
    {
        const std::size_t index = index_of(channel, row);
        while (rows_read_[index] < events_) {
            compare_missing(index);
        }
        advance(index);
        if (!is_equal_row(*sources_[index], row)) {
            throw_difference(index);
        }
    }
    void compare_missing(std::size_t index)
    {
        advance(index);
        const column& what = columns_.all()[index];
        const row nothing{what.row_name, what.type, what.form, what.use, {0, 0}, nullptr, nullptr};
        if (!is_equal_row(*sources_[index], nothing)) {
            throw_difference(index);
        }
    }

    std::vector<channel_head> channels_;
    column_list columns_;
    std::unique_ptr<table_source> source_;
    std::vector<std::unique_ptr<column_source>> sources_;
    std::vector<std::uint64_t> rows_read_;
    event_rows event_rows_;
    event_head event_;
    std::uint64_t events_ = 0;
};

} // namespace

const std::byte* fill_of(element type) noexcept
{
    static const float no_float = std::numeric_limits<float>::quiet_NaN();
    static const double no_double = std::numeric_limits<double>::quiet_NaN();
    static const std::int64_t no_time = std::numeric_limits<std::int64_t>::min();
    static const std::uint64_t zero = 0;
    switch (type) {
    case element::f32:
        return bytes_of(no_float);
    case element::f64:
        return bytes_of(no_double);
    case element::time:
        return bytes_of(no_time);
    case element::u8:
    case element::u16:
    case element::u32:
    case element::u64:
    case element::i32:
    case element::text:
        return bytes_of(zero);
    }
    return bytes_of(zero);
}

std::size_t column_budget(std::size_t budget, std::size_t channels) noexcept
{
    constexpr std::size_t columns_of_channel = 8;
    constexpr std::size_t least = 1024;
    constexpr std::size_t most = 256 * 1024;
    return std::clamp(budget / (columns_of_channel * (channels + 1)), least, most);
}

std::unique_ptr<event_consumer> make_table_writer(std::size_t channels, std::unique_ptr<table_target> target)
{
    return std::make_unique<table_writer>(channels, std::move(target));
}

std::unique_ptr<event_consumer> make_table_checker(std::vector<channel_head> channels,
                                                   std::unique_ptr<table_source> source)
{
    return std::make_unique<table_checker>(std::move(channels), std::move(source));
}

} // namespace trox_export
