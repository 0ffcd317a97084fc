#include "basket_walk.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace trox::recovery
{
namespace
{

// Looks for places where a name field holds a name. What was read is kept, so that a walk reads every byte once.
class name_finder
{
public:
    name_finder(source_file& file, const std::string& name, std::uint64_t end)
        : file_(file), needle_(name + '\0'), end_(std::min(end, file.length()))
    {
    }

    // The first place at or behind `begin`, which never goes back; the end when there is none.
    std::uint64_t find(std::uint64_t begin)
    {
        constexpr std::uint64_t piece = std::uint64_t{128} << 10;
        if (begin < begin_ || begin - begin_ > kept_.size()) {
            begin_ = begin;
            kept_.clear();
        }
        for (;;) {
            const auto at = kept_.find(needle_, static_cast<std::size_t>(begin - begin_));
            if (at != std::string::npos) {
                return begin_ + at;
            }
            const auto next = begin_ + kept_.size();
            if (next >= end_) {
                return end_;
            }
            const auto drop = kept_.size() - std::min(kept_.size(), needle_.size() - 1);
            kept_.erase(0, drop);
            begin_ += drop;
            begin = std::max(begin, begin_);
            const auto old = kept_.size();
            kept_.resize(old + static_cast<std::size_t>(std::min(piece, end_ - next)));
            if (!file_.read(next, kept_.data() + old, kept_.size() - old)) {
                std::fill(kept_.begin() + static_cast<std::ptrdiff_t>(old), kept_.end(), '\0');
            }
        }
    }

private:
    source_file& file_;
    std::string needle_;
    std::uint64_t end_;
    std::uint64_t begin_ = 0; // of what is kept
    std::string kept_;
};

// The records of one basket.
class basket_walker
{
public:
    basket_walker(found& file, record_checker& checker, const std::unordered_set<std::uint64_t>& claimed,
                  std::uint32_t owner, std::uint64_t begin, std::vector<std::uint64_t> ends)
        : file_(file), checker_(checker), claimed_(claimed), owner_(owner), ends_(std::move(ends)), end_(ends_.front()),
          position_(begin + file.layout.sizes().table_head),
          names_(file.file, file.channels[owner].subhead, ends_.back())
    {
    }

    // Returns where the last record ends.
    std::uint64_t run()
    {
        const auto size = file_.layout.sizes().subhead;
        auto walked = position_;
        while (position_ <= end_ && size <= end_ - position_) {
            if (!take()) {
                leap();
                continue;
            }
            walked = position_;
        }
        pair_up();
        return walked;
    }

private:
    const channel& owner() const
    {
        return file_.channels[owner_];
    }

    bool is_subhead(const subhead_values& head) const
    {
        const auto type = block_type(head.dtype);
        return head.name.text == owner().subhead && head.ldata >= 0 && type > 0 &&
               (type < TROX_BLOCK_MAX_2010 || file_.options.keep_unknown_types || head.is_zipped());
    }

    // The record at the present position; false when there is none.
    bool take()
    {
        subhead_values head;
        if (!checker_.read_subhead(position_, head)) {
            return false;
        }
        if (!is_subhead(head) || (!lone_subheads_.empty() && !reads_as_record(position_))) {
            return take_lone_data() || (is_subhead(head) && take_record(head));
        }
        return take_record(head);
    }

    bool take_record(const subhead_values& head)
    {
        if (checker_.is_slow(head)) {
            take_slow(head);
            return true;
        }
        const auto size = file_.layout.sizes().subhead;
        auto checked = checker_.check(owner(), position_, position_ + size, end_);
        if (!checked.damage.empty() && end_ < ends_.back()) {
            checked = look_beyond(std::move(checked));
        }
        const auto announced = std::max<std::uint64_t>(static_cast<std::uint64_t>(head.ldata), size);
        const auto length =
            checked.length != 0 && (checked.damage.empty() || !head.is_zipped()) ? checked.length : announced;
        if (length > end_ - position_) {
            add(position_, position_ + size, checked);
            position_ += size;
            return true;
        }
        checked.length = length;
        add(position_, checked.data, checked);
        position_ += length;
        return true;
    }

    // What seems to begin another basket may be bytes of a record, which then decodes.
    checked_record look_beyond(checked_record checked)
    {
        auto beyond = checker_.check(owner(), position_, position_ + file_.layout.sizes().subhead, ends_.back());
        if (!beyond.damage.empty() || !beyond.fault.empty()) {
            return checked;
        }
        end_ = *std::lower_bound(ends_.begin(), ends_.end() - 1, position_ + beyond.length);
        return beyond;
    }

    void add(std::uint64_t subhead, std::uint64_t data, const checked_record& checked)
    {
        if (claimed_.count(checked.is_slow ? data : subhead) == 0) {
            file_.orphans.push_back({owner_, no_index, no_index, checked.stored, subhead, data, checked.length,
                                     checked.is_slow, true, false, checked.damage});
            file_.orphans.back().fault = checked.fault;
        }
    }

    // Data of slow records may look like a sub-head: both begin with the name.
    bool reads_as_record(std::uint64_t at)
    {
        subhead_values head;
        const auto size = file_.layout.sizes().subhead;
        if (size > end_ - at || !checker_.read_subhead(at, head) || !is_subhead(head)) {
            return false;
        }
        return checker_.is_slow(head) ? is_lone_subhead(at, head)
                                      : checker_.check(owner(), at, at + size, end_).damage.empty();
    }

    bool is_lone_subhead(std::uint64_t at, const subhead_values& like) const
    {
        subhead_values head;
        const auto size = file_.layout.sizes().subhead;
        if (size > end_ - at || !checker_.read_subhead(at, head) || !is_subhead(head) || !checker_.is_slow(head)) {
            return false;
        }
        const auto data = checker_.slow_size(like);
        const auto length = static_cast<std::uint64_t>(head.ldata);
        return length > size && (length - size) % data == 0;
    }

    bool has_data(std::uint64_t at, const subhead_values& head)
    {
        time_stamp time{};
        return at <= end_ && checker_.slow_size(head) <= end_ - at && !is_lone_subhead(at, head) &&
               !reads_as_record(at) && checker_.check_slow(owner(), head, at).empty() &&
               checker_.slow_time(head, at, time) && is_time(time) && has_index(at, head);
    }

    // Where the environment dictionary does not tell the index, all data of the channel must carry that of the first.
    bool has_index(std::uint64_t at, const subhead_values& head)
    {
        unsigned char bytes[sizeof(std::uint32_t)];
        if (file_.layout.is_update_type(head.dtype) || owner().environment_index) {
            return true;
        }
        if (!file_.file.read(at, bytes, sizeof bytes) ||
            std::memcmp(bytes, owner().subhead.c_str(), std::min(sizeof bytes, owner().subhead.size())) == 0) {
            return false; // the name: the begin of a sub-head that is cut
        }
        const auto index = trox_detail::load_big_endian<std::int32_t>(bytes);
        if (!index_) {
            index_ = index;
        }
        return index == *index_;
    }

    std::uint64_t announced(const subhead_values& head) const
    {
        const auto size = file_.layout.sizes().subhead;
        const auto length = static_cast<std::uint64_t>(head.ldata);
        const auto count = length > size ? (length - size) / checker_.slow_size(head) : 0;
        return std::max<std::uint64_t>(count, 1);
    }

    // How many data may follow a sub-head. A shared one may count one record only; then names tell the others, or the
    // index.
    bool may_follow(std::uint64_t taken, const subhead_values& head) const
    {
        return taken < announced(head) || file_.layout.is_update_type(head.dtype) ||
               owner().environment_index.has_value();
    }

    void take_slow(const subhead_values& head)
    {
        const auto subhead = position_;
        slow_ = head;
        position_ += file_.layout.sizes().subhead;
        std::uint64_t taken = 0;
        while (may_follow(taken, head) && has_data(position_, head)) {
            add_slow(subhead, position_);
            position_ += checker_.slow_size(head);
            ++taken;
        }
        ++slow_subheads_;
        slow_data_ += taken;
        is_any_shared_ = is_any_shared_ || taken > 1;
        are_alike_ = are_alike_ && (slow_subheads_ == 1 || is_equal(head, first_slow_));
        if (slow_subheads_ == 1) {
            first_slow_ = head;
        }
        // Data that belong to a sub-head before may follow this one.
        is_apart_ = is_apart_ || (!lone_subheads_.empty() && taken > announced(head)) ||
                    (lone_end_ != 0 && subhead - lone_end_ < checker_.slow_size(head));
        lone_end_ = 0;
        if (taken == 0) {
            lone_subheads_.push_back(subhead);
            lone_end_ = position_;
        }
    }

    static bool is_equal(const subhead_values& a, const subhead_values& b)
    {
        return a.dtype == b.dtype && a.error == b.error;
    }

    bool take_lone_data()
    {
        if (lone_subheads_.empty() || !has_data(position_, slow_)) {
            return false;
        }
        lone_data_.push_back(position_);
        position_ += checker_.slow_size(slow_);
        return true;
    }

    void add_slow(std::uint64_t subhead, std::uint64_t data)
    {
        time_stamp time{};
        checker_.slow_time(slow_, data, time);
        do_times_rise_ =
            do_times_rise_ && std::pair(time.timeup, time.timelow) >= std::pair(last_time_.timeup, last_time_.timelow);
        last_time_ = time;
        checked_record checked;
        checked.is_slow = true;
        checked.stored = static_cast<std::uint32_t>(checker_.slow_size(slow_));
        checked.length = file_.layout.sizes().subhead + checked.stored;
        add(subhead, data, checked);
    }

    // Sub-heads and data that lie apart: which belong together does not matter as long as all sub-heads are equal.
    void pair_up()
    {
        // Sub-heads that several data share gather what is alike, not what follows each other.
        file_.channels[owner_].is_ordered =
            lone_data_.empty() && (!is_any_shared_ || slow_subheads_ == 1) && do_times_rise_;
        const bool is_certain = are_alike_ && lone_subheads_.size() == lone_data_.size();
        if (!are_alike_ && !lone_subheads_.empty() && (is_apart_ || !lone_data_.empty())) {
            doubt_pairs();
        }
        for (std::size_t i = 0; i < lone_data_.size(); ++i) {
            if (is_certain) {
                add_slow(lone_subheads_[i], lone_data_[i]);
            } else if (claimed_.count(lone_data_[i]) == 0) {
                file_.orphans.push_back(
                    {owner_, no_index, no_index, 0, lone_data_[i], lone_data_[i], 0, true, true, false, apart});
            }
        }
        if (lone_subheads_.size() > lone_data_.size()) {
            ++file_.channels[owner_].holes;
            add_without_data();
        }
    }

    // Sub-heads for which there are no data, but for those of which rows know the data. Of those that are alike it does
    // not matter which they are.
    void add_without_data()
    {
        const auto data = slow_data_ + lone_data_.size();
        auto missing = slow_subheads_ > data ? slow_subheads_ - data : 0;
        for (auto at = lone_subheads_.rbegin(); at != lone_subheads_.rend() && missing > 0; ++at, --missing) {
            if (claimed_.count(*at) == 0) {
                file_.orphans.push_back(
                    {owner_, no_index, no_index, 0, *at, *at, 0, true, true, false, "its data cannot be found"});
            }
        }
    }

    // Data that follow a sub-head directly may be those of another as well.
    void doubt_pairs()
    {
        for (auto i = first_orphan_; i < file_.orphans.size(); ++i) {
            auto& one = file_.orphans[i];
            if (one.is_slow && one.damage.empty()) {
                one.length = 0;
                one.damage = apart;
            }
        }
    }

    // Where the file has lost or gained bytes, a plain record that no other follows may have done so.
    void doubt_last()
    {
        if (file_.orphans.size() > first_orphan_) {
            auto& one = file_.orphans.back();
            if (one.damage.empty() && one.data + one.stored == position_) {
                one.damage = "bytes are missing, or too many, in it or behind it";
            }
        }
    }

    // To the next place that carries the channel's name.
    void leap()
    {
        if (file_.shifts.is_uncertain(position_)) {
            doubt_last();
        }
        const auto next = std::max(position_ + 1, names_.find(position_ + 1));
        if (next - position_ >= file_.layout.sizes().subhead) {
            ++file_.channels[owner_].holes; // a record may have been here
        }
        position_ = next;
    }

    static constexpr auto apart = "its sub-head lies apart from its data, and cannot be told";

    found& file_;
    record_checker& checker_;
    const std::unordered_set<std::uint64_t>& claimed_;
    std::uint32_t owner_;
    std::size_t first_orphan_ = file_.orphans.size();
    std::vector<std::uint64_t> ends_; // where the basket may end, the last as it says itself
    std::uint64_t end_;
    std::uint64_t position_;
    name_finder names_;
    subhead_values slow_{};
    std::optional<std::int32_t> index_;
    subhead_values first_slow_{};
    bool are_alike_ = true;
    bool is_any_shared_ = false;
    bool is_apart_ = false; // data do not follow the sub-heads that they belong to
    std::uint64_t slow_subheads_ = 0;
    std::uint64_t slow_data_ = 0; // that follow them
    bool do_times_rise_ = true;
    time_stamp last_time_{};
    std::uint64_t lone_end_ = 0; // of a sub-head without data, directly before
    std::vector<std::uint64_t> lone_subheads_;
    std::vector<std::uint64_t> lone_data_;
};

} // namespace

std::uint64_t walk_basket(found& file, record_checker& checker, const std::unordered_set<std::uint64_t>& claimed,
                          std::uint32_t owner, std::uint64_t begin, std::vector<std::uint64_t> ends)
{
    return basket_walker(file, checker, claimed, owner, begin, std::move(ends)).run();
}

} // namespace trox::recovery
