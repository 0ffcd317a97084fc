// Steps of the file check: the channels' baskets and, in threads, their records.
#ifndef TROX_INSPECT_CHECK_CHANNELS_INL
#define TROX_INSPECT_CHECK_CHANNELS_INL

#include "check_records.inl"
#include "file_check.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <system_error>
#include <thread>
#include <tuple>

namespace trox::inspect
{

template <class G> void file_check<G>::check_channels()
{
    std::uint64_t first_basket = 0;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        check_channel(i);
        if (first_basket == 0) {
            first_basket = report_.channels.back().position;
        }
    }
    const std::uint64_t named = references_.chanb_ref;
    const bool has_records =
        std::any_of(channels_.begin(), channels_.end(), [](const auto& one) { return one.used != 0; });
    if (has_rows_ && named != first_basket && (first_basket != 0 || !has_records) && !channels_.empty()) {
        add(finding_code::reference_channel, {.item = item_kind::references, .offset = references_position_},
            hex(named), hex(first_basket));
    }
}

template <class G> void file_check<G>::check_channel(std::size_t index)
{
    const channel_state& channel = channels_[index];
    channel_report& report = report_.channels.emplace_back();
    report.name = channel.name;
    report.announced = static_cast<std::uint64_t>(std::max<std::int64_t>(0, channel.count));
    std::vector<row_task> rows = take_rows(index);
    if (rows.empty()) {
        return;
    }
    basket where = find_basket(index, rows);
    take_name_of_records(index, where, rows);
    std::vector<outcome> outcomes = check_rows_of(where, rows);
    settle_outcomes(rows, outcomes);
    check_record_overlaps(where, rows, outcomes);
    tell_longer_payloads(index, rows, outcomes);
    channels_[index].events_seen = check_masks(channel, rows, outcomes);
    for (const outcome& one : outcomes) {
        report.good += one.verdict == record_verdict::good;
        report.damaged += one.verdict == record_verdict::damaged;
        report.unchecked += one.verdict == record_verdict::unchecked;
    }
    report.checked = outcomes.size();
    report_progress(where.length);
}

// ---------------------------------------------------------------------------------------------------
// Rows
// ---------------------------------------------------------------------------------------------------

template <class G> auto file_check<G>::take_rows(std::size_t index) -> std::vector<row_task>
{
    const channel_state& channel = channels_[index];
    std::vector<row_task> rows;
    struct sharing {
        std::uint32_t rows = 0;
        std::uint32_t first = 0;
    };
    std::unordered_map<std::uint64_t, sharing> sharers;
    std::vector<std::pair<std::uint32_t, std::uint64_t>> events;
    for (std::uint64_t i = 0; i < rows_; ++i) {
        const auto pointers = window_.load<row>(row_position(index, i));
        const finding_place here{
            .item = item_kind::pointers, .channel = channel.name, .record = i, .offset = row_position(index, i)};
        const bool is_used = pointers && is_row_in_use(*pointers, i, channel);
        if (!is_used && i < channel.used) {
            add(finding_code::row_empty, here, "zero", "a record");
            ++lost_rows_;
        } else if (!is_used && pointers && !is_zero_row(*pointers)) {
            add(finding_code::row_unused, here, "positions", "zero");
        }
        if (!is_used) {
            continue;
        }
        row_task task{.index = i,
                      .subhead = static_cast<std::uint64_t>(pointers->chhd),
                      .data = static_cast<std::uint64_t>(pointers->data)};
        place_row(task, *pointers, channel);
        sharing& shared = sharers[task.subhead];
        task.is_repeat = shared.rows++ != 0;
        if (!task.is_repeat) {
            shared.first = static_cast<std::uint32_t>(rows.size());
        }
        if (task.event != no_event) {
            events.emplace_back(task.event, i);
        }
        rows.push_back(task);
    }
    if (channel.count > static_cast<std::int64_t>(channel.used)) {
        lost_rows_ += static_cast<std::uint64_t>(channel.count) - channel.used; // told as a wrong count
    }
    for (row_task& task : rows) {
        task.sharers = sharers[task.subhead].rows;
        task.first = sharers[task.subhead].first;
    }
    std::sort(events.begin(), events.end());
    for (std::size_t i = 1; i < events.size(); ++i) {
        if (events[i].first == events[i - 1].first) {
            ++lost_rows_; // one of the two may belong to another event, whose block misses it
            add(finding_code::row_repeated,
                {.item = item_kind::pointers,
                 .channel = channel.name,
                 .event = events_[events[i].first].number,
                 .record = events[i].second,
                 .offset = row_position(index, events[i].second)},
                "a second record of the event", "one");
        }
    }
    return rows;
}

/// Finds the row's event and server block; the two must belong together.
template <class G> void file_check<G>::place_row(row_task& task, const row& pointers, const channel_state& channel)
{
    const auto evhd = static_cast<std::uint64_t>(pointers.evhd);
    const auto sbhd = static_cast<std::uint64_t>(pointers.sbhd);
    const std::size_t index = static_cast<std::size_t>(&channel - channels_.data());
    finding_place here{.item = item_kind::pointers,
                       .channel = channel.name,
                       .record = task.index,
                       .offset = row_position(index, task.index)};
    task.event = find_event(evhd);
    const auto known = block_at_.find(sbhd);
    task.block = known == block_at_.end() || !blocks_[known->second].is_there ? nullptr : &blocks_[known->second];
    if (task.event == no_event) {
        add(finding_code::row_event, here, hex(evhd), "the position of an event header");
    } else {
        here.event = events_[task.event].number;
    }
    if (task.block == nullptr) {
        add(finding_code::row_block, here, hex(sbhd), "the position of a server block head");
    } else if (task.event != no_event && task.block->event != no_event && task.block->event != task.event) {
        const event_state& of_block = events_[task.block->event];
        add(finding_code::row_block, here,
            hex(sbhd) + ", a block of event " + std::to_string(of_block.number) + " of type " +
                std::to_string(of_block.type),
            "a block of the row's event");
        --task.block->rows;
        ++lost_rows_;
        task.block = nullptr;
    }
}

// ---------------------------------------------------------------------------------------------------
// Basket
// ---------------------------------------------------------------------------------------------------

template <class G> auto file_check<G>::find_basket(std::size_t index, std::vector<row_task>& rows) -> basket
{
    const channel_state& channel = channels_[index];
    channel_report& report = report_.channels.back();
    basket where{.channel = index, .begin = 0, .length = file_.size()};
    where.name = channel.name.substr(0, channel.name.find(':')).substr(0, sizeof(G::subhead::chname) - 1);

    const std::uint64_t first = rows.front().subhead;
    const auto head_at = [&](std::uint64_t position) { return file_.load<table_head<word>>(position); };
    const auto fits = [&](const table_head<word>& head, std::uint64_t position) {
        return head.length >= head_size<G> && head.length <= format::longest_table &&
               head.length <= file_.size() - position;
    };
    std::uint64_t position = rows.front().index == 0 && first >= head_size<G> ? first - head_size<G> : 0;
    auto head = position != 0 ? head_at(position) : std::nullopt;
    if (!head || head->pattern != channel_pattern) {
        // Row 0 or the basket's head is damaged. Another basket that holds the other records decides.
        if (const std::uint64_t other = search_basket(rows); other != 0 || !head || !fits(*head, position)) {
            position = other;
            head = position != 0 ? head_at(position) : std::nullopt;
        }
    }
    const finding_place here{.item = item_kind::channel, .channel = channel.name, .offset = position};
    if (!head) {
        add(finding_code::basket_position,
            {.item = item_kind::pointers, .channel = channel.name, .record = 0, .offset = row_position(index, 0)},
            "no basket in front of " + hex(first), "the channel's basket");
        return where;
    }
    if (head->pattern != channel_pattern) {
        add(finding_code::basket_pattern, here, hex(head->pattern), hex(channel_pattern));
    }
    where.position = position;
    where.begin = position + head_size<G>;
    where.length = 0;
    report.position = position;
    report.length = head_size<G>;
    if (fits(*head, position)) {
        where.length = head->length - head_size<G>;
        report.length = head->length;
    }
    const std::uint64_t needed = end_of_records(where, rows) - position;
    if (!fits(*head, position) || needed > head->length) {
        add(finding_code::basket_length, here, bytes_text(head->length),
            std::to_string(needed) + " to " + bytes_text(room_for_item(position)));
        where.length = room_for_item(position) - head_size<G>;
    }
    report_.items.push_back({item_kind::channel, channel.name, position, report.length});
    return where;
}

/// The end of the last of the channel's sub-heads that lie behind the basket's end as it is known, else that end.
template <class G>
std::uint64_t file_check<G>::end_of_records(const basket& where, const std::vector<row_task>& rows) const
{
    std::uint64_t end = where.begin + where.length;
    for (const row_task& one : rows) {
        if (one.subhead > end) {
            const auto head = file_.load<typename G::subhead>(one.subhead);
            end = head && text_of(head->chname) == where.name ? one.subhead + sizeof *head : end;
        }
    }
    return end;
}

/// Several records that agree about another name outweigh the dictionary.
template <class G>
void file_check<G>::take_name_of_records(std::size_t index, basket& where, const std::vector<row_task>& rows)
{
    channel_state& channel = channels_[index];
    std::string name;
    for (const std::size_t i : {std::size_t{0}, rows.size() / 2, rows.size() - 1}) {
        const auto head = file_.load<typename G::subhead>(rows[i].subhead);
        const std::string one = head ? text_of(head->chname) : std::string();
        if (one.empty() || one == where.name || !is_printable(one) || (i != 0 && one != name)) {
            return;
        }
        name = one;
    }
    if (rows.size() < 2 || rows.front().subhead == rows.back().subhead) {
        return;
    }
    const bool is_told = channel.name.empty() || !is_printable(channel.name);
    if (!is_told) {
        add(finding_code::dictionary_name,
            {.item = item_kind::dictionary, .channel = channel.name, .record = index, .offset = channel.offset},
            channel.name, name + ", which its records carry");
    }
    channel.name_of_records = name;
    where.name = name;
}

/// Row 0 leads nowhere: the basket is looked for in front of the other records. 0 when it is not found.
template <class G> std::uint64_t file_check<G>::search_basket(const std::vector<row_task>& rows)
{
    constexpr std::uint64_t reach = std::uint64_t{1} << 20;
    std::uint64_t least = file_.size();
    std::uint64_t most = 0;
    for (std::size_t i = rows.front().index == 0 ? 1 : 0; i < rows.size(); ++i) {
        if (rows[i].subhead < file_.size()) {
            least = std::min(least, rows[i].subhead);
            most = std::max(most, rows[i].subhead);
        }
    }
    if (most == 0) {
        return 0;
    }
    const std::uint64_t begin = least > reach ? least - reach : 0;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(least - begin));
    if (!file_.read(begin, bytes.data(), bytes.size())) {
        return 0;
    }
    unsigned char wanted[sizeof(word)];
    trox_detail::store_big_endian(wanted, static_cast<word>(channel_pattern));
    const auto found = std::find_end(bytes.begin(), bytes.end(), std::begin(wanted), std::end(wanted));
    if (found == bytes.end()) {
        return 0;
    }
    const std::uint64_t position = begin + static_cast<std::uint64_t>(found - bytes.begin());
    const auto head = file_.load<table_head<word>>(position);
    return head && trox_detail::range_fits(most, sizeof(typename G::subhead), position, head->length) ? position : 0;
}

// ---------------------------------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------------------------------

template <class G>
auto file_check<G>::check_rows_of(const basket& where, const std::vector<row_task>& rows) -> std::vector<outcome>
{
    constexpr std::uint64_t worth_a_thread = std::uint64_t{1} << 20; // bytes
    constexpr std::size_t at_once = 8;
    constexpr std::uint64_t most_threads = 64;
    std::vector<outcome> outcomes(rows.size());
    std::atomic<std::size_t> next{0};
    std::atomic<std::uint64_t> bytes{0};
    const auto work = [&](record_check& checker) {
        for (std::size_t begin = next.fetch_add(at_once); begin < rows.size(); begin = next.fetch_add(at_once)) {
            for (std::size_t i = begin; i < std::min(begin + at_once, rows.size()); ++i) {
                outcomes[i] = checker.check(where, rows[i]);
                bytes += outcomes[i].whole.length;
            }
            if (&checker == checkers_.front().get()) { // this thread's
                tell_progress(std::min(done_ + bytes.load(), done_ + where.length));
            }
        }
    };
    const std::uint64_t wanted = options_.threads != 0 ? options_.threads : std::thread::hardware_concurrency();
    const std::uint64_t useful = std::min<std::uint64_t>(where.length / worth_a_thread, rows.size() / at_once);
    const std::uint64_t threads = std::clamp<std::uint64_t>(std::min(wanted, useful), 1, most_threads);
    while (checkers_.size() < threads) {
        checkers_.push_back(std::make_unique<record_check>(*this));
    }
    std::vector<std::jthread> workers; // joined at the end
    try {
        for (std::size_t i = 1; i < threads; ++i) {
            workers.emplace_back([&, i] { work(*checkers_[i]); });
        }
    } catch (const std::system_error&) { // the system has no more threads: those that there are do the work
    }
    work(*checkers_.front());
    workers.clear();
    return outcomes;
}

/// Gives records that several rows share what was seen of them, and adds the records' bytes to their server blocks.
template <class G>
void file_check<G>::settle_outcomes(const std::vector<row_task>& rows, std::vector<outcome>& outcomes)
{
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const row_task& task = rows[i];
        outcome& one = outcomes[i];
        if (one.is_repeat) {
            const outcome& first = outcomes[task.first];
            one.verdict = first.verdict;
            one.whole = first.whole;
            one.stored = first.stored;
        }
        if (task.block != nullptr && one.stored != 0) {
            task.block->stored += one.stored;
        } else if (task.block != nullptr) {
            task.block->is_sound = false;
        }
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!outcomes[i].has_subhead || (has_rows_ && (rows[i].block == nullptr || rows[i].event == no_event))) {
            outcomes[i].verdict = record_verdict::damaged; // readers need all of the row
        }
    }
}

/// Bytes behind what a payload's heads announce, unless they are those of another record.
template <class G>
void file_check<G>::tell_longer_payloads(std::size_t index, const std::vector<row_task>& rows,
                                         const std::vector<outcome>& outcomes)
{
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (outcomes[i].longer == 0 || outcomes[i].is_overlapped) {
            continue;
        }
        finding_place here{.item = item_kind::channel,
                           .channel = channels_[index].name,
                           .record = rows[i].index,
                           .offset = rows[i].subhead};
        if (rows[i].event != no_event) {
            here.event = events_[rows[i].event].number;
        }
        add(finding_code::record_longer, here, bytes_text(outcomes[i].longer) + " more", "those announced");
    }
}

/// Pieces of a basket that several records claim. Sub-heads of slow records may be shared, and count once.
template <class G>
void file_check<G>::check_record_overlaps(const basket& where, const std::vector<row_task>& rows,
                                          std::vector<outcome>& outcomes)
{
    struct piece {
        extent bytes;
        std::size_t row;
        bool is_shareable;
    };
    std::vector<piece> pieces;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const outcome& one = outcomes[i];
        if (!one.has_subhead) {
            continue;
        }
        pieces.push_back({one.whole, i, one.value.length != 0});
        if (one.value.length != 0) {
            pieces.push_back({one.value, i, false});
        }
    }
    std::sort(pieces.begin(), pieces.end(), [](const piece& a, const piece& b) {
        return std::tie(a.bytes.begin, a.row) < std::tie(b.bytes.begin, b.row);
    });
    const piece* before = nullptr;
    for (const piece& one : pieces) {
        const bool is_shared =
            before != nullptr && one.is_shareable && before->is_shareable && one.bytes.begin == before->bytes.begin;
        if (is_shared) {
            continue;
        }
        if (before != nullptr && one.bytes.begin - before->bytes.begin < before->bytes.length) {
            finding_place here{.item = item_kind::channel,
                               .channel = channels_[where.channel].name,
                               .record = rows[one.row].index,
                               .offset = one.bytes.begin};
            if (rows[one.row].event != no_event) {
                here.event = events_[rows[one.row].event].number;
            }
            for (const piece* doubtful : {&one, before}) {
                outcomes[doubtful->row].is_overlapped = true;
                if (rows[doubtful->row].block != nullptr) {
                    rows[doubtful->row].block->is_sound = false;
                }
            }
            add(finding_code::record_overlap, here,
                "shares bytes with record " + std::to_string(rows[before->row].index), "bytes of its own");
        }
        if (before == nullptr || one.bytes.begin + one.bytes.length > before->bytes.begin + before->bytes.length) {
            before = &one;
        }
    }
}

/// Gives the event types of the undamaged records.
template <class G>
std::uint32_t file_check<G>::check_masks(const channel_state& channel, const std::vector<row_task>& rows,
                                         const std::vector<outcome>& outcomes)
{
    constexpr unsigned mask_bits = 31;
    std::uint32_t events = 0;
    std::uint32_t types = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (outcomes[i].verdict == record_verdict::damaged) {
            continue;
        }
        types |= 1U << (static_cast<std::uint32_t>(outcomes[i].dtype) & mask_bits);
        events |= 1U << (static_cast<std::uint32_t>(events_[rows[i].event].type) & mask_bits);
    }
    const finding_place here{.item = item_kind::dictionary, .channel = channel.name, .offset = channel.offset};
    if ((events & ~channel.event_mask) != 0) {
        add(finding_code::dictionary_event_mask, here, hex(channel.event_mask), hex(events | channel.event_mask));
    }
    if ((types & ~channel.type_mask) != 0) {
        add(finding_code::dictionary_type_mask, here, hex(channel.type_mask), hex(types | channel.type_mask));
    }
    return events;
}

template <class G> void file_check<G>::tell_progress(std::uint64_t done)
{
    told_ = std::clamp(done, told_, file_.size());
    if (options_.progress) {
        options_.progress(told_, file_.size());
    }
}

template <class G> void file_check<G>::report_progress(std::uint64_t bytes)
{
    done_ += bytes;
    tell_progress(done_);
}

} // namespace trox::inspect

#endif
