// One record of a channel: its sub-head, zip header, stream and payload. One checker per thread.
#ifndef TROX_INSPECT_CHECK_RECORDS_INL
#define TROX_INSPECT_CHECK_RECORDS_INL

#include "file_check.h"
#include "payload_check.h"
#include "stream_check.h"

#include <limits>

namespace trox::inspect
{

/// A row in use, as positions; what is known of its event and server block.
template <class G> struct file_check<G>::row_task {
    std::uint64_t index = 0;
    std::uint64_t subhead = 0;
    std::uint64_t data = 0;
    std::uint32_t event = no_event;
    block_state* block = nullptr; ///< null: none that is there
    std::uint32_t sharers = 1;    ///< rows with this sub-head
    std::uint32_t first = 0;      ///< of them, in the list of rows
    bool is_repeat = false;       ///< it is another one
};

/// Where a channel's records may lie.
template <class G> struct file_check<G>::basket {
    std::size_t channel = 0;
    std::uint64_t position = 0; ///< 0 when there is none
    std::uint64_t begin = 0;    ///< of the records
    std::uint64_t length = 0;   ///< of the records
    std::string name{};         ///< that sub-heads must carry
};

/// A piece of a basket.
struct extent {
    std::uint64_t begin = 0;
    std::uint64_t length = 0;
};

/// True for what a writer would put down as a sub-head.
template <class Head> bool is_possible_subhead(const Head& head)
{
    constexpr std::uint32_t unassigned_bits = 0xB8000000;
    constexpr std::uint32_t type_mask = 0xFFFF;
    const std::string name = text_of(head.chname);
    return !name.empty() && is_printable(name) && is_padded(head.chname) && head.ldata >= 0 &&
           (static_cast<std::uint32_t>(head.dtype) & ~type_mask) == 0 &&
           (static_cast<std::uint32_t>(head.error) & unassigned_bits) == 0 &&
           family_of(head.dtype) != payload_family::unassigned;
}

enum class record_verdict { good, damaged, unchecked };

template <class G> struct file_check<G>::outcome {
    record_verdict verdict = record_verdict::damaged;
    bool has_subhead = false;
    std::int32_t dtype = 0;
    extent whole{};             ///< the record, or its sub-head alone
    extent value{};             ///< of a slow record, when it is a piece of its own
    std::uint64_t stored = 0;   ///< bytes of the record that its server block counts; 0: not known
    bool is_repeat = false;     ///< the same compressed record as that of an earlier row, and not decompressed again
    bool is_overlapped = false; ///< shares bytes with another record
    std::uint64_t longer = 0;   ///< bytes of the payload behind what its heads announce
};

template <class G> class file_check<G>::record_check
{
public:
    record_check(file_check& file) : owner_(file), streams_(file.file_, file.options_.largest_record) {}

    outcome check(const basket& where, const row_task& row);

private:
    using subhead = typename G::subhead;

    void add(finding_code code, std::uint64_t offset, std::string found, std::string expected);
    bool take_subhead();
    void check_marks();
    void check_zipped();
    bool take_zip_header(trox_zip_header& header);
    void check_stream(const trox_zip_header& header, const zipped_payload& payload);
    void check_slow();
    void check_slow_length(std::uint64_t size);
    void check_value(const payload_head& bytes);
    bool is_value_here(const payload_head& bytes) const;
    void check_plain();
    void settle_payload(const payload_head& head, std::uint64_t size);
    bool lies_inside(std::uint64_t position, std::uint64_t size) const noexcept
    {
        return trox_detail::range_fits(position, size, where_->begin, where_->length);
    }
    std::uint64_t rest() const noexcept ///< bytes from the sub-head to the end of the basket
    {
        return where_->length - (row_->subhead - where_->begin);
    }
    bool is_assigned() const noexcept
    {
        return family_of(head_.dtype) != payload_family::unassigned;
    }

    file_check& owner_;
    stream_checker streams_;
    const basket* where_ = nullptr;
    const row_task* row_ = nullptr;
    subhead head_{};
    outcome result_;
};

template <class G>
typename file_check<G>::outcome file_check<G>::record_check::check(const basket& where, const row_task& row)
{
    where_ = &where;
    row_ = &row;
    result_ = {};
    result_.verdict = record_verdict::good;
    if (take_subhead()) {
        result_.has_subhead = true;
        result_.dtype = head_.dtype;
        result_.whole = {row.subhead, sizeof(subhead)};
        check_marks();
        constexpr int type_mask = 0xFFFF;
        if ((static_cast<std::uint32_t>(head_.error) & TROX_CHAN_ZIP_FLAG) != 0) {
            check_zipped();
        } else if (may_lie_apart<G>(head_.dtype & type_mask)) {
            check_slow();
        } else {
            check_plain();
        }
    }
    return result_;
}

/// Reports a finding; an error spoils the record.
template <class G>
void file_check<G>::record_check::add(finding_code code, std::uint64_t offset, std::string found, std::string expected)
{
    finding_place place{.item = item_kind::channel,
                        .channel = owner_.channels_[where_->channel].name,
                        .record = row_->index,
                        .offset = offset};
    if (row_->event != no_event) {
        place.event = owner_.events_[row_->event].number;
    }
    if (info_of(code).level == severity::error) {
        result_.verdict = record_verdict::damaged;
    }
    owner_.add(code, std::move(place), std::move(found), std::move(expected));
}

/// False when the row leads to no sub-head: outside the basket, or to bytes that look like something else.
template <class G> bool file_check<G>::record_check::take_subhead()
{
    const std::uint64_t at = row_->subhead;
    const std::uint64_t entry = owner_.row_position(where_->channel, row_->index);
    const bool is_first = row_->index == 0 && where_->position != 0;
    if (!lies_inside(at, sizeof(subhead)) || (is_first && at != where_->begin)) {
        add(finding_code::row_subhead, entry, hex(at),
            is_first ? hex(where_->begin) + ", behind the basket's head"
                     : "a position in the basket at " + hex(where_->begin));
        return false;
    }
    const auto head = owner_.file_.template load<subhead>(at);
    if (!head) {
        return false;
    }
    head_ = *head;
    const std::string name = text_of(head_.chname);
    const bool has_length = head_.ldata >= 0;
    if (name != where_->name && (!is_assigned() || !has_length)) {
        add(finding_code::row_subhead, entry, "no sub-head at " + hex(at), "a sub-head of the channel");
        return false;
    }
    if (name != where_->name) {
        add(finding_code::record_name, at, is_printable(name) ? name : "other characters", where_->name);
    } else if (!is_padded(head_.chname)) {
        add(finding_code::padding, at, "bytes behind the name", "NULs");
    }
    return true;
}

template <class G> void file_check<G>::record_check::check_marks()
{
    constexpr std::uint32_t unassigned_bits = 0xB8000000;
    const auto error = static_cast<std::uint32_t>(head_.error);
    const auto dtype = static_cast<std::uint32_t>(head_.dtype);
    constexpr std::uint32_t type_mask = 0xFFFF;
    if (!is_assigned()) {
        add(finding_code::record_type, row_->subhead, std::to_string(dtype & type_mask), "an assigned block type");
    }
    if ((dtype & ~type_mask) != 0) {
        add(finding_code::record_mark, row_->subhead, hex(dtype), hex(dtype & type_mask));
    }
    if ((error & unassigned_bits) != 0) {
        add(finding_code::record_error_bits, row_->subhead, hex(error), hex(error & ~unassigned_bits));
    }
}

// ---------------------------------------------------------------------------------------------------
// Compressed records
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::record_check::check_zipped()
{
    trox_zip_header header{};
    if (!take_zip_header(header)) {
        return;
    }
    if (row_->is_repeat) {
        result_.is_repeat = true;
        return;
    }
    const std::uint64_t length = sizeof(subhead) + sizeof header + header.zipp_length;
    const std::uint64_t told = static_cast<std::uint32_t>(head_.ldata);
    result_.whole.length = std::min(length, std::max(told, std::uint64_t{sizeof(subhead)}));
    result_.stored = told == length ? length : 0; // one of the two is wrong
    if (head_.ldata < 0 || told > rest()) {
        add(finding_code::record_length, row_->subhead, bytes_text(told), std::to_string(length));
    } else if (told != length) {
        add(finding_code::record_length_inexact, row_->subhead, bytes_text(told), std::to_string(length));
    }
    if (row_->data != row_->subhead + sizeof(subhead)) {
        add(finding_code::row_data_offset, owner_.row_position(where_->channel, row_->index), hex(row_->data),
            hex(row_->subhead + sizeof(subhead)));
    }
    check_stream(header, {row_->subhead + sizeof(subhead) + sizeof header, header.zipp_length, header.orig_length});
}

template <class G> bool file_check<G>::record_check::take_zip_header(trox_zip_header& header)
{
    constexpr std::uint32_t longest = std::numeric_limits<std::int32_t>::max() - sizeof(subhead);
    constexpr std::uint64_t zlib_ratio = 1032;
    constexpr std::uint64_t lzo_ratio = 256;
    constexpr std::uint64_t allowance = 64;
    const std::uint64_t at = row_->subhead + sizeof(subhead);
    const auto loaded = lies_inside(at, sizeof header) ? owner_.file_.template load<trox_zip_header>(at) : std::nullopt;
    if (!loaded) {
        add(finding_code::record_zip, at, "no room for a zip header", "one in the basket");
        return false;
    }
    header = *loaded;
    const bool is_zlib = (header.zip_flags & trox_zip_zlib) != 0;
    if (!is_zlib && (header.zip_flags & trox_zip_lzo) == 0) {
        add(finding_code::record_zip, at, "zip_flags " + hex(header.zip_flags), "1 or 2");
        return false;
    }
    if (header.zip_flags != trox_zip_zlib && header.zip_flags != trox_zip_lzo) {
        add(finding_code::record_zip_flags, at, "zip_flags " + hex(header.zip_flags), is_zlib ? "1" : "2");
    }
    if (header.zipp_length > longest || !lies_inside(at + sizeof header, header.zipp_length)) {
        add(finding_code::record_zip, at, "zipp_length " + std::to_string(header.zipp_length),
            "at most " + std::to_string(rest() - sizeof(subhead) - sizeof header));
        return false;
    }
    const std::uint64_t most = header.zipp_length * (is_zlib ? zlib_ratio : lzo_ratio) + allowance;
    if (header.orig_length > longest || header.orig_length > most) {
        add(finding_code::record_zip, at, "orig_length " + std::to_string(header.orig_length),
            "at most " + std::to_string(most));
        return false;
    }
    return true;
}

template <class G>
void file_check<G>::record_check::check_stream(const trox_zip_header& header, const zipped_payload& payload)
{
    payload_head head{};
    const bool is_zlib = (header.zip_flags & trox_zip_zlib) != 0;
    const char* const kind = is_zlib ? "zlib" : "LZO1X";
    const std::uint64_t seen = owner_.decompressed_ += payload.zipped;
    const bool is_too_much = seen > owner_.options_.most_passes * owner_.file_.size();
    switch (is_too_much ? stream_verdict::unchecked
            : is_zlib   ? streams_.check_zlib(payload, head)
                        : streams_.check_lzo(payload, head)) {
    case stream_verdict::good:
        settle_payload(head, header.orig_length);
        return;
    case stream_verdict::broken:
        add(finding_code::record_stream, payload.position, std::string("a broken ") + kind + " stream",
            bytes_text(header.orig_length));
        return;
    case stream_verdict::too_short:
        add(finding_code::record_stream_length, payload.position, "fewer bytes", bytes_text(header.orig_length));
        return;
    case stream_verdict::too_long:
        add(finding_code::record_stream_length, payload.position, "more bytes", bytes_text(header.orig_length));
        return;
    case stream_verdict::unchecked:
        add(finding_code::record_unchecked, payload.position,
            std::string(kind) + " stream of " + bytes_text(header.orig_length),
            "a stream that this build decompresses");
        result_.verdict = result_.verdict == record_verdict::good ? record_verdict::unchecked : result_.verdict;
    }
}

template <class G> void file_check<G>::record_check::settle_payload(const payload_head& head, std::uint64_t size)
{
    for (const payload_fault& fault : check_payload<typename format::spectrum_head>(head_.dtype, head, size)) {
        if (fault.code == finding_code::record_longer) {
            result_.longer = fault.more; // told when no overlap explains it
            continue;
        }
        add(fault.code, row_->subhead, fault.found, fault.expected);
    }
    constexpr int type_mask = 0xFFFF;
    const int type = head_.dtype & type_mask;
    if (may_lie_apart<G>(type) && size >= slow_value_size<G>(type)) { // a compressed one
        check_value(head);
    }
}

// ---------------------------------------------------------------------------------------------------
// Slow values, which may lie away from their sub-head and share it
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::record_check::check_slow()
{
    constexpr int type_mask = 0xFFFF;
    const std::uint64_t size = slow_value_size<G>(head_.dtype & type_mask);
    const std::uint64_t behind = row_->subhead + sizeof(subhead);
    if (!lies_inside(row_->data, size)) {
        add(finding_code::row_data, owner_.row_position(where_->channel, row_->index), hex(row_->data),
            "a position in the basket, with " + bytes_text(size));
        return;
    }
    result_.stored = sizeof(subhead) + size;
    const bool is_alone = row_->sharers == 1 && row_->data == behind;
    if (head_.ldata < 0) {
        add(finding_code::record_length, row_->subhead, std::to_string(head_.ldata), "no negative length");
    } else if (is_alone && static_cast<std::uint64_t>(head_.ldata) >= result_.stored) {
        if (static_cast<std::uint64_t>(head_.ldata) > rest()) {
            add(finding_code::record_length_inexact, row_->subhead, std::to_string(head_.ldata) + " bytes",
                std::to_string(result_.stored));
        } else {
            result_.stored = static_cast<std::uint64_t>(head_.ldata); // bytes behind the value belong to the record
        }
    } else {
        check_slow_length(size);
    }
    if (is_alone) {
        result_.whole.length = result_.stored;
    } else {
        result_.value = {row_->data, size};
    }
    payload_head bytes{};
    static_assert(sizeof(typename G::update_block) <= sizeof bytes);
    if (owner_.file_.read(row_->data, bytes.data(), static_cast<std::size_t>(size))) {
        if (owner_.has_references_ || is_value_here(bytes)) {
            check_value(bytes);
        } else {
            result_.verdict = record_verdict::unchecked; // no row tells where its value lies
        }
    }
}

/// Without rows: do the bytes behind a slow record's sub-head look like its value?
template <class G> bool file_check<G>::record_check::is_value_here(const payload_head& bytes) const
{
    constexpr int type_mask = 0xFFFF;
    const auto next = owner_.file_.template load<subhead>(row_->data);
    if (next && text_of(next->chname) == where_->name && is_possible_subhead(*next)) {
        return false;
    }
    if ((head_.dtype & type_mask) != TROX_ENV_BLOCK) {
        const auto value = load_fields<typename G::update_block>(bytes.data());
        return text_of(value.upd_prop).starts_with(where_->name);
    }
    const auto time = load_fields<trox_env_data_block>(bytes.data()).env_ch_time;
    return time.timeup != 0 && time.timelow <= most_microseconds;
}

/// `ldata` counts the data that follow the sub-head directly, or one record.
template <class G> void file_check<G>::record_check::check_slow_length(std::uint64_t size)
{
    const auto length = static_cast<std::uint64_t>(head_.ldata);
    const bool is_whole = length >= sizeof(subhead) && (length - sizeof(subhead)) % size == 0;
    const bool is_own_too_short = row_->sharers == 1 && row_->data == row_->subhead + sizeof(subhead);
    if (!is_whole || is_own_too_short || (length - sizeof(subhead)) / size > row_->sharers) {
        add(finding_code::record_length_inexact, row_->subhead, bytes_text(length),
            std::to_string(sizeof(subhead)) + " and a multiple of " + std::to_string(size));
    }
}

template <class G> void file_check<G>::record_check::check_value(const payload_head& bytes)
{
    const channel_state& channel = owner_.channels_[where_->channel];
    const auto place = [&] {
        return finding_place{
            .item = item_kind::channel, .channel = channel.name, .record = row_->index, .offset = row_->data};
    };
    constexpr int type_mask = 0xFFFF;
    if ((head_.dtype & type_mask) != TROX_ENV_BLOCK) {
        if (!channel.name_of_records.empty()) {
            return; // the full name is not known
        }
        const auto value = load_fields<typename G::update_block>(bytes.data());
        const std::string name = text_of(value.upd_prop);
        if (name != channel.name) {
            add(finding_code::record_value_name, row_->data, is_printable(name) ? name : "other characters",
                channel.name);
        } else if (!is_padded(value.upd_prop)) {
            add(finding_code::padding, row_->data, "bytes behind the name", "NULs");
        }
        owner_.check_time(value.upd_ch_time, place());
        return;
    }
    const auto value = load_fields<trox_env_data_block>(bytes.data());
    owner_.check_time(value.env_ch_time, place());
    if (!owner_.knows_environment_) {
        return;
    }
    const auto index = owner_.environment_.find(channel.key);
    if (index == owner_.environment_.end() || index->second != value.env_ch_idx) {
        add(finding_code::record_value_index, row_->data, std::to_string(value.env_ch_idx),
            index == owner_.environment_.end() ? "an entry of the environment dictionary"
                                               : std::to_string(index->second));
    }
}

// ---------------------------------------------------------------------------------------------------
// Plain records
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::record_check::check_plain()
{
    const std::uint64_t behind = row_->subhead + sizeof(subhead);
    if (row_->data != behind) {
        add(finding_code::row_data_offset, owner_.row_position(where_->channel, row_->index), hex(row_->data),
            hex(behind));
    }
    if (head_.ldata < 0 || static_cast<std::uint64_t>(head_.ldata) > rest()) {
        add(finding_code::record_length, row_->subhead, std::to_string(head_.ldata) + " bytes",
            "at most " + std::to_string(rest()));
        return;
    }
    const auto length = static_cast<std::uint64_t>(head_.ldata);
    const std::uint64_t size = length > sizeof(subhead) ? length - sizeof(subhead) : 0;
    result_.stored = sizeof(subhead) + size;
    result_.whole.length = result_.stored;
    payload_head head{};
    if (owner_.file_.read(behind, head.data(), static_cast<std::size_t>(std::min<std::uint64_t>(size, head.size())))) {
        settle_payload(head, size);
    }
}

} // namespace trox::inspect

#endif
