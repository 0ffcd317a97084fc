#include "trox/event_reader.h"

#include "trox/event_source.h"

namespace trox
{

event_reader::event_reader(const data_set& data, const selection& what, const reading_options& options)
    : source_(std::make_unique<detail::event_source>(data, what, options))
{
}

event_reader::~event_reader() = default;
event_reader::event_reader(event_reader&&) noexcept = default;
event_reader& event_reader::operator=(event_reader&&) noexcept = default;

const std::vector<std::size_t>& event_reader::channels() const noexcept
{
    return source_->channels();
}

const data_set& event_reader::data() const noexcept
{
    return source_->data();
}

std::optional<event> event_reader::first()
{
    return source_->forward_from(0);
}

std::optional<event> event_reader::last()
{
    const std::size_t events = source_->count();
    return events == 0 ? std::nullopt : source_->backward_from(events - 1);
}

std::optional<event> event_reader::next()
{
    const auto present = source_->position();
    return source_->forward_from(present ? *present + 1 : 0);
}

std::optional<event> event_reader::previous()
{
    const auto present = source_->position();
    if (!present) {
        return last();
    }
    return *present == 0 ? std::nullopt : source_->backward_from(*present - 1);
}

std::optional<event> event_reader::at_number(std::uint64_t number)
{
    const auto found = source_->find_number(number);
    return found ? source_->at(*found) : std::nullopt;
}

std::optional<event> event_reader::at_time(time_point time)
{
    const auto found = source_->find_time(time);
    return found ? source_->forward_from(*found) : std::nullopt;
}

std::optional<event> event_reader::current()
{
    const auto present = source_->position();
    return present ? source_->at(*present) : std::nullopt;
}

void event_reader::rewind() noexcept
{
    source_->rewind();
}

std::uint64_t event_reader::count()
{
    return source_->count();
}

const reading_report& event_reader::report() const
{
    return source_->report();
}

} // namespace trox
