// Steps of the file check where no file reference table leads to anything: the channels' baskets by their patterns.
#ifndef TROX_INSPECT_CHECK_BASKETS_INL
#define TROX_INSPECT_CHECK_BASKETS_INL

#include "check_records.inl"
#include "file_check.h"

#include <algorithm>
#include <cstring>

namespace trox::inspect
{

/// Where the pattern of channel baskets stands, ascending, at most so many places.
template <class G> std::vector<std::uint64_t> file_check<G>::find_channel_patterns()
{
    constexpr std::size_t most = std::size_t{1} << 20; // bytes of ill will must not fill the memory
    unsigned char wanted[sizeof(word)];
    trox_detail::store_big_endian(wanted, static_cast<word>(channel_pattern));
    std::vector<std::uint64_t> places;
    std::vector<unsigned char> bytes(file_window::capacity);
    for (std::uint64_t begin = 0; begin < file_.size() && places.size() < most;) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), file_.size() - begin));
        if (!file_.read(begin, bytes.data(), count)) {
            break;
        }
        const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(count);
        for (auto at = bytes.begin(); places.size() < most; ++at) {
            at = std::search(at, end, std::begin(wanted), std::end(wanted));
            if (at == end) {
                break;
            }
            places.push_back(begin + static_cast<std::uint64_t>(at - bytes.begin()));
        }
        if (begin + count == file_.size()) {
            break;
        }
        begin += count - (sizeof wanted - 1); // a pattern across the border is whole in the next piece
    }
    return places;
}

/// The next sub-head of the channel from a position on, looked for by its name; the end when there is none.
template <class G>
std::uint64_t file_check<G>::next_subhead(std::uint64_t position, std::uint64_t end, const std::string& name)
{
    using subhead = typename G::subhead;
    constexpr std::uint64_t piece = std::uint64_t{4} << 10; // most often the next one follows at once
    const std::string wanted = name + '\0';
    while (position < end && end - position >= sizeof(subhead)) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(piece, end - position));
        const unsigned char* const bytes = window_.at(position, count);
        if (bytes == nullptr) {
            return end;
        }
        const unsigned char* const found = std::search(bytes, bytes + count, wanted.begin(), wanted.end());
        const std::uint64_t at = position + static_cast<std::uint64_t>(found - bytes);
        if (found == bytes + count) {
            position += count > wanted.size() ? count - wanted.size() + 1 : count;
            continue;
        }
        const auto head = file_.load<subhead>(at);
        if (head && at <= end - sizeof(subhead) && is_possible_subhead(*head)) {
            return at;
        }
        position = at + 1;
    }
    return end;
}

/// Bytes of a record as its own heads tell them; behind them the next one is looked for.
template <class G> std::uint64_t file_check<G>::told_record_length(std::uint64_t position) const
{
    using subhead = typename G::subhead;
    const auto head = file_.load<subhead>(position);
    const auto next = file_.load<subhead>(position + sizeof(subhead));
    std::uint64_t length = sizeof(subhead);
    if (head && next && text_of(head->chname) == text_of(next->chname) && is_possible_subhead(*next)) {
        return length; // slow records, whose values lie elsewhere
    }
    if (head && (static_cast<std::uint32_t>(head->error) & TROX_CHAN_ZIP_FLAG) != 0) {
        const auto zip = file_.load<trox_zip_header>(position + sizeof(subhead));
        length += zip ? sizeof *zip + zip->zipp_length : 0;
    } else if (head) {
        length = std::max<std::uint64_t>(length, static_cast<std::uint64_t>(std::max(head->ldata, 0)));
    }
    return trox_detail::range_fits(position, length, 0, file_.size()) ? length : sizeof(subhead);
}

/// Other bytes may look like a pattern; a basket has a record, too.
template <class G> bool file_check<G>::is_basket_with_record(std::uint64_t position) const
{
    const auto first = file_.load<typename G::subhead>(position + head_size<G>);
    return first && is_possible_subhead(*first);
}

/// Checks the records of a basket, one behind the other. `next`: where the next one begins.
template <class G> void file_check<G>::check_lone_basket(std::uint64_t position, std::uint64_t next)
{
    using subhead = typename G::subhead;
    const auto head = file_.load<table_head<word>>(position);
    const auto first = file_.load<subhead>(position + head_size<G>);
    if (!head || !first) {
        return;
    }
    const std::uint64_t begin = position + head_size<G>;
    const bool has_end = head->length > head_size<G> && head->length <= next - position;
    const std::uint64_t end = has_end ? position + head->length : next;
    channel_state channel;
    channel.name = text_of(first->chname);
    channel.name_of_records = channel.name; // the dictionary's name may be longer
    channels_.push_back(channel);
    basket where{.channel = channels_.size() - 1, .begin = begin, .length = end - begin};
    where.name = channel.name;
    std::vector<row_task> rows;
    std::uint64_t records_end = begin;
    for (std::uint64_t at = begin; at < end; at = next_subhead(records_end, end, channel.name)) {
        row_task task{.index = rows.size(), .subhead = at, .data = at + sizeof(subhead)};
        task.first = static_cast<std::uint32_t>(rows.size());
        rows.push_back(task);
        records_end = at + told_record_length(at);
    }
    std::vector<outcome> outcomes = check_rows_of(where, rows);
    settle_outcomes(rows, outcomes);
    channel_report& report = report_.channels.emplace_back();
    report.name = channel.name;
    report.position = position;
    report.length = end - position;
    report.checked = outcomes.size();
    for (const outcome& one : outcomes) {
        report.good += one.verdict == record_verdict::good;
        report.damaged += one.verdict == record_verdict::damaged;
        report.unchecked += one.verdict == record_verdict::unchecked;
    }
    report_.items.push_back({item_kind::channel, channel.name, position, end - position});
    report_progress(end - position);
}

template <class G> void file_check<G>::check_lone_baskets()
{
    std::vector<std::uint64_t> places = find_channel_patterns();
    std::erase_if(places, [this](std::uint64_t place) { return !is_basket_with_record(place); });
    for (std::size_t i = 0; i < places.size(); ++i) {
        check_lone_basket(places[i], i + 1 < places.size() ? places[i + 1] : file_.size());
    }
}

} // namespace trox::inspect

#endif
