// Where the records of a channel lie in a file whose basket head, or whose first row, is damaged.
#ifndef TROX_GENERIC_CHANNEL_EXTENT_INL
#define TROX_GENERIC_CHANNEL_EXTENT_INL

#include "detail/big_endian.h"
#include "event_util.h"
#include "generic/host_order.h"
#include "generic/loaded_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace trox_detail
{

/// File positions [begin, end).
struct file_span {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

/// Bytes of a pattern word as they stand in a file.
template <class G> std::string basket_mark()
{
    constexpr std::size_t word = channel_traits<G>::basket_word;
    std::array<char, sizeof(std::uint64_t)> bytes{};
    store_big_endian(bytes.data(), channel_traits<G>::channel_basket_pattern);
    return std::string(bytes.end() - word, bytes.end());
}

/// Positions in `span` at which a channel basket seems to begin: the first and the last; `none` for none.
template <class G> class basket_search
{
public:
    static constexpr std::uint64_t none = std::numeric_limits<std::uint64_t>::max();

    basket_search(int fd, file_span span)
    {
        const std::string mark = basket_mark<G>();
        std::string block;
        for (std::uint64_t at = span.begin; at < span.end; at += block_size) {
            block.resize(std::min<std::uint64_t>(block_size, span.end - at) + mark.size() - 1);
            const ssize_t got = ::pread(fd, block.data(), block.size(), static_cast<off_t>(at));
            const std::string_view bytes(block.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
            for (std::size_t found = bytes.find(mark); found != std::string_view::npos;
                 found = bytes.find(mark, found + 1)) {
                first = std::min(first, at + found);
                last = at + found;
            }
        }
    }

    std::uint64_t first = none;
    std::uint64_t last = none;

private:
    static constexpr std::uint64_t block_size = std::uint64_t{1} << 16;
};

/// Gathers a channel's records from its rows and their sub-heads, believing only sub-heads that carry the channel's
/// name, and lengths that do not run into other records, tables or baskets.
template <class G> class channel_extent
{
public:
    using row = typename G::chan_ptr_entry;

    /// Sub-heads carry a channel's name without its sub-channel.
    channel_extent(const loaded_file<G>& file, const std::string& channel)
        : file_(file), name_(channel.substr(0, std::min(channel.find(':'), sizeof(subhead::chname) - 1)))
    {
    }

    void add(const row& pointers);

    /// Behind the last byte that a record or value claims, believable or not.
    std::uint64_t reaches() const;
    /// The bytes of all records; with those of the basket that a head announces (empty: none) when that is the
    /// channel's. Empty when there is nothing.
    file_span enclosing(file_span announced);

private:
    using subhead = typename G::subhead;

    struct head_bytes {
        subhead head;
        trox_zip_header zip;
    };
    bool read(std::uint64_t position, head_bytes& bytes) const;
    std::uint64_t record_end(std::uint64_t position, const head_bytes& bytes) const;
    /// The nearest known thing not above `span`, and not below it.
    file_span surroundings(file_span span) const;
    bool runs_into_a_record(file_span record) const;

    const loaded_file<G>& file_;
    std::string name_;
    std::vector<std::uint64_t> heads_; // positions of sub-heads
    std::vector<file_span> records_;   // sub-head to end
    std::vector<file_span> values_;    // data of slow values, which may lie anywhere in the basket
};

template <class G> bool channel_extent<G>::read(std::uint64_t position, head_bytes& bytes) const
{
    std::array<unsigned char, sizeof(subhead) + sizeof(trox_zip_header)> raw{};
    if (position == 0 || !range_fits(position, sizeof(subhead), 0, static_cast<std::uint64_t>(file_.length)) ||
        ::pread(file_.fd, raw.data(), raw.size(), static_cast<off_t>(position)) <
            static_cast<ssize_t>(sizeof(subhead))) {
        return false;
    }
    channel_traits<G>::load(raw.data(), bytes.head);
    load_words(raw.data() + sizeof(subhead), bytes.zip);
    return std::string_view(bytes.head.chname, text_length(bytes.head.chname)) == name_;
}

template <class G> std::uint64_t channel_extent<G>::record_end(std::uint64_t position, const head_bytes& bytes) const
{
    const auto length = static_cast<std::uint64_t>(std::max<std::int64_t>(bytes.head.ldata, sizeof(subhead)));
    const bool is_zipped = (static_cast<unsigned>(bytes.head.error) & TROX_CHAN_ZIP_FLAG) != 0;
    const std::uint64_t zipped = sizeof(subhead) + sizeof(trox_zip_header) + std::uint64_t{bytes.zip.zipp_length};
    // Of two lengths that contradict each other one is damaged: neither is believed.
    return position + (is_zipped && length != zipped ? sizeof(subhead) : length);
}

template <class G> void channel_extent<G>::add(const row& pointers)
{
    const auto position = static_cast<std::uint64_t>(pointers.chhd);
    head_bytes bytes;
    if (!read(position, bytes)) {
        return;
    }
    heads_.push_back(position);
    const int type = bytes.head.dtype & 0xFFFF;
    if (channel_traits<G>::is_update_type(type) || type == TROX_ENV_BLOCK) {
        const std::size_t size =
            type == TROX_ENV_BLOCK ? sizeof(trox_env_data_block) : sizeof(typename G::update_block);
        const auto data = static_cast<std::uint64_t>(pointers.data);
        if (data != 0 && range_fits(data, size, 0, static_cast<std::uint64_t>(file_.length))) {
            values_.push_back({data, data + size});
        }
    } else {
        records_.push_back({position, record_end(position, bytes)});
    }
}

template <class G> std::uint64_t channel_extent<G>::reaches() const
{
    std::uint64_t end = 0;
    for (const auto* spans : {&records_, &values_}) {
        for (const file_span& span : *spans) {
            end = std::max(end, span.end);
        }
    }
    return end;
}

template <class G> file_span channel_extent<G>::surroundings(file_span span) const
{
    const auto& table = *file_.ref_tbl;
    file_span around{0, static_cast<std::uint64_t>(file_.length)};
    for (const auto reference : {table.cdt_ref, table.eit_pos_ref, table.ecp_ref, table.eidt_ref, table.xcd_ref,
                                 table.evhdb_ref, table.srvbb_ref}) {
        const auto position = static_cast<std::uint64_t>(reference);
        if (position <= span.begin) {
            around.begin = std::max(around.begin, position);
        } else if (position >= span.end) {
            around.end = std::min(around.end, position);
        }
    }
    return around;
}

template <class G> bool channel_extent<G>::runs_into_a_record(file_span record) const
{
    const auto next = std::upper_bound(heads_.begin(), heads_.end(), record.begin);
    return next != heads_.end() && *next < record.end;
}

template <class G> file_span channel_extent<G>::enclosing(file_span announced)
{
    if (heads_.empty()) {
        return announced;
    }
    std::sort(heads_.begin(), heads_.end());
    file_span span{heads_.front(), heads_.back() + sizeof(subhead)};
    constexpr std::size_t basket_head = 2 * channel_traits<G>::basket_word;
    if (std::binary_search(heads_.begin(), heads_.end(), announced.begin + basket_head)) {
        span = {std::min(span.begin, announced.begin), std::max(span.end, announced.end)};
    }
    const file_span around = surroundings(span);
    std::vector<std::uint64_t> below;
    std::vector<std::uint64_t> above;
    for (const file_span& record : records_) {
        if (record.end > span.end && record.end <= around.end && !runs_into_a_record(record)) {
            above.push_back(record.end);
        }
    }
    for (const file_span& value : values_) {
        if (value.begin < span.begin && value.begin > around.begin) {
            below.push_back(value.begin);
        }
        if (value.end > span.end && value.end <= around.end) {
            above.push_back(value.end);
        }
    }
    // The farthest that can be reached without passing another basket.
    const auto farthest_above = std::max_element(above.begin(), above.end());
    if (farthest_above != above.end()) {
        const std::uint64_t bound = basket_search<G>(file_.fd, {span.end, *farthest_above}).first;
        for (const std::uint64_t end : above) {
            span.end = end <= bound ? std::max(span.end, end) : span.end;
        }
    }
    const auto farthest_below = std::min_element(below.begin(), below.end());
    if (farthest_below != below.end()) {
        const std::uint64_t bound = basket_search<G>(file_.fd, {*farthest_below, span.begin}).last;
        for (const std::uint64_t begin : below) {
            span.begin = bound == basket_search<G>::none || begin > bound ? std::min(span.begin, begin) : span.begin;
        }
    }
    return span;
}

} // namespace trox_detail

#endif
