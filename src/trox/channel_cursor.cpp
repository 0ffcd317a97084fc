#include "trox/channel_cursor.h"

#include "event_util.h"
#include "generic/record_scan.h"

#include <limits>
#include <utility>

namespace trox::detail
{

namespace
{

/// The time so much later; the last one that there is when that is beyond.
time_stamp later(const time_stamp& time, microseconds distance)
{
    constexpr std::uint32_t last_second = std::numeric_limits<std::uint32_t>::max();
    const std::uint64_t sum = trox_detail::microseconds(time) + static_cast<std::uint64_t>(distance.count());
    if (sum / trox_detail::us_per_second > last_second) {
        return {last_second, static_cast<std::uint32_t>(trox_detail::us_per_second - 1)};
    }
    return {static_cast<std::uint32_t>(sum / trox_detail::us_per_second),
            static_cast<std::uint32_t>(sum % trox_detail::us_per_second)};
}

} // namespace

channel_cursor::channel_cursor(std::size_t channel, const synchronisation& match) : channel_(channel), match_(match) {}

void channel_cursor::leave()
{
    unmatched_ += column_.records.size() - taken_count_;
    alive_ = false;
    waiting_ = false;
    order_.reset();
    index_.reset();
    column_ = {};
    taken_.clear();
    taken_count_ = 0;
    present_ = -1;
}

bool channel_cursor::go_on(std::size_t files, const column_source& columns)
{
    leave();
    while (!alive_) {
        if (begun_ && stretch_ + 1 < stretches_.size()) {
            ++stretch_;
        } else {
            file_ += begun_ ? 1 : 0;
            begun_ = true;
            stretch_ = 0;
            stretches_.clear();
            if (file_ >= files) {
                return false;
            }
            stretches_ = columns.stretches(file_, channel_);
        }
        alive_ = stretch_ < stretches_.size() && !stretches_[stretch_].records.empty();
    }
    column_ = std::move(stretches_[stretch_]);
    waiting_ = stretch_ > 0;
    taken_.assign(column_.records.size(), false);
    index_.emplace(column_.records.data(), static_cast<int>(column_.records.size()), std::nullopt);
    rewind();
    return true;
}

void channel_cursor::go_to_first()
{
    const bool has_number = !is_by_time() && column_.first.event_number != 0;
    last_found_ = -1;
    select(static_cast<int>(has_number ? column_.lowest_at : column_.first_at));
}

const indexed_record& channel_cursor::rewind()
{
    go_to_first();
    confirm();
    return *present();
}

/// Goes to the record that a look-up of the present record's number finds: of several with one number always the same.
/// It is another event where numbers have begun anew between them.
void channel_cursor::confirm()
{
    const int before = present_;
    const std::uint64_t number = present()->event_id.event_number;
    if (number == 0) {
        return;
    }
    const answer found = find_number(number, TROX_DAQ_READ_CHAN_EVENT_CUR);
    if (found != answer::record || is_of_other_stretch(before)) {
        select(before);
    }
}

/// Whether numbers begin anew between a record and the present one.
bool channel_cursor::is_of_other_stretch(int record) const
{
    return column_.has_restart_between(static_cast<std::size_t>(record), static_cast<std::size_t>(present_));
}

bool channel_cursor::take()
{
    const auto at = static_cast<std::size_t>(present_);
    const bool is_new = !taken_[at];
    taken_[at] = true;
    taken_count_ += is_new ? 1 : 0;
    return is_new;
}

channel_cursor::answer channel_cursor::select(int found)
{
    present_ = found;
    if (found < 0) {
        present_number_ = 0;
        return answer::none;
    }
    present_number_ = column_.records[static_cast<std::size_t>(found)].event_id.event_number;
    return answer::record;
}

channel_cursor::answer channel_cursor::find_number(std::uint64_t number, int type)
{
    if (!index_->numbers_ascend() && !order_) {
        order_.emplace(column_.records.data(), column_.records.size());
    }
    const int found = order_ ? order_->find(number, type) : index_->find_number(number, type, last_found_);
    last_found_ = found;
    return select(found);
}

channel_cursor::answer channel_cursor::find_time(const time_stamp& time, int type)
{
    const auto tolerance = static_cast<double>(match_.tolerance.count());
    const int found = index_->knows_times()
                          ? index_->find_time(time, type, tolerance)
                          : trox_detail::scan_by_time(column_.records.data(), static_cast<int>(column_.records.size()),
                                                      time, type, tolerance);
    return found < 0 ? answer::none : select(found); // a search by time that finds nothing leaves the present record
}

bool channel_cursor::is_within(const time_stamp& a, const time_stamp& b, int& sign) const
{
    return trox_time_stamp_eq(&a, &b, static_cast<double>(match_.tolerance.count()), &sign, nullptr);
}

channel_cursor::answer channel_cursor::at(const trox_time_id_2024& target)
{
    constexpr int type = TROX_DAQ_READ_CHAN_EVENT_CUR;
    if (target.event_number != 0) {
        if (target.event_number < column_.lowest_number || target.event_number > column_.highest_number) {
            return answer::out_of_window;
        }
        return find_number(target.event_number, type);
    }
    int sign = 0;
    if ((!is_within(target.time, column_.first.time, sign) && sign < 0) ||
        (!is_within(column_.last.time, target.time, sign) && sign < 0)) {
        return answer::out_of_window;
    }
    return find_time(target.time, type);
}

channel_cursor::answer channel_cursor::behind(const trox_time_id_2024& target, bool checks_numbers)
{
    constexpr int type = TROX_DAQ_READ_CHAN_EVENT_NEXT;
    if (target.event_number != 0 || (!is_by_time() && column_.begins_with_zero)) {
        const std::uint64_t next = target.event_number + match_.number_step;
        if (next < match_.number_step || next > column_.highest_number) {
            return answer::out_of_window;
        }
        return find_number(next, type);
    }
    const time_stamp next = later(target.time, match_.time_step);
    int sign = 0;
    if (!is_within(column_.last.time, next, sign) && sign < 0) {
        return answer::out_of_window;
    }
    const std::uint64_t before = present_number_;
    const answer found = find_time(next, type);
    return found == answer::record && checks_numbers ? neighbour_by_number(before) : found;
}

/// A neighbour by time that skips numbers gives way to the neighbour by number, unless that lies behind it: then
/// numbers and times contradict each other, and it is times that events are matched by.
channel_cursor::answer channel_cursor::neighbour_by_number(std::uint64_t before)
{
    const trox_time_id_2024 by_time = present()->event_id;
    if (by_time.event_number <= before || by_time.event_number - before < 2) {
        return answer::record;
    }
    const std::uint64_t number = before + match_.number_step;
    if (number < match_.number_step || number > column_.highest_number) {
        return answer::out_of_window;
    }
    const int neighbour = present_;
    if (find_number(number, TROX_DAQ_READ_CHAN_EVENT_NEXT) != answer::record || is_of_other_stretch(neighbour) ||
        trox_detail::microseconds(present()->event_id.time) > trox_detail::microseconds(by_time.time)) {
        select(neighbour);
    }
    return answer::record;
}

const indexed_record* channel_cursor::present() const
{
    return present_ < 0 ? nullptr : &column_.records[static_cast<std::size_t>(present_)];
}

} // namespace trox::detail
