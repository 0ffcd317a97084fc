#include "placement.h"

#include <map>

namespace trox::writer
{
namespace
{

/// Records placed one behind the other: one, or several that share the sub-head of the first.
using unit = std::vector<std::size_t>;

class channel_placer
{
public:
    channel_placer(const contents& file, std::size_t channel_index, std::uint64_t start)
        : file_(file), layout_(file.options.layout), channel_(file.channels[channel_index]),
          subhead_(file.sizes().subhead), random_(layout_.seed ^ (0x5851F42D4C957F2DU * (channel_index + 1)))
    {
        result_.rows.resize(channel_.rows.size());
        result_.end = start + file.sizes().table_head;
    }

    placement run()
    {
        if (is_one_piece()) {
            place_in_order();
            return std::move(result_);
        }
        find_sources();
        auto units = make_units();
        arrange(units.begin() + 1, units.end(), layout_.records, random_);
        for (const auto& records : units) {
            place_unit(records);
        }
        place_data_away();
        std::sort(result_.fragments.begin(), result_.fragments.end(),
                  [](const fragment& a, const fragment& b) { return a.position < b.position; });
        return std::move(result_);
    }

private:
    bool is_one_piece() const
    {
        const bool updates_in_place = layout_.updates == update_layout::own || !channel_.has_slow_rows;
        return layout_.records == arrangement::tidy && layout_.max_gap == 0 && !layout_.odd_positions &&
               updates_in_place;
    }

    void place_in_order()
    {
        for (std::size_t i = 0; i < channel_.rows.size(); ++i) {
            result_.rows[i] = {result_.end, result_.end + subhead_};
            result_.end += channel_.rows[i].length;
        }
    }

    void find_sources()
    {
        sources_.reserve(channel_.rows.size());
        std::uint64_t source = 0;
        for (const auto& row : channel_.rows) {
            sources_.push_back(source);
            source += row.length;
        }
    }

    // Records that share a sub-head must agree in all of it: block type and error.
    std::pair<std::uint32_t, std::uint32_t> type_and_error(std::size_t row) const
    {
        std::array<unsigned char, 2 * sizeof(std::uint32_t)> bytes;
        file_.data.read(channel_.stream, sources_[row] + file_.sizes().subhead_width, bytes.data(), bytes.size());
        return {trox_detail::load_big_endian<std::uint32_t>(bytes.data()),
                trox_detail::load_big_endian<std::uint32_t>(bytes.data() + sizeof(std::uint32_t))};
    }

    std::vector<unit> make_units() const
    {
        std::vector<unit> units;
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::size_t> shared;
        for (std::size_t i = 0; i < channel_.rows.size(); ++i) {
            if (layout_.updates == update_layout::shared && channel_.rows[i].slow) {
                const auto [known, is_new] = shared.try_emplace(type_and_error(i), units.size());
                if (!is_new) {
                    units[known->second].push_back(i);
                    continue;
                }
            }
            units.push_back({i});
        }
        return units;
    }

    // The first record follows the basket's head directly.
    std::uint64_t next_position()
    {
        if (result_.fragments.empty()) {
            return result_.end;
        }
        return next_place(result_.end, layout_, random_);
    }

    void add(std::uint64_t position, std::uint64_t source, std::uint64_t length, std::int32_t ldata)
    {
        result_.fragments.push_back({position, source, length, ldata});
        result_.end = position + length;
    }

    void place_unit(const unit& records)
    {
        const auto first = records.front();
        const auto& row = channel_.rows[first];
        const auto position = next_position();
        if (row.slow && layout_.updates == update_layout::away) {
            result_.rows[first].first = position;
            away_.push_back(first);
            add(position, sources_[first], subhead_, -1);
            return;
        }
        result_.rows[first] = {position, position + subhead_};
        add(position, sources_[first], row.length, shared_ldata(records));
        for (auto i = records.begin() + 1; i != records.end(); ++i) {
            result_.rows[*i] = {position, result_.end};
            add(result_.end, sources_[*i] + subhead_, channel_.rows[*i].length - subhead_, -1);
        }
    }

    std::int32_t shared_ldata(const unit& records) const
    {
        const auto one = channel_.rows[records.front()].length;
        const auto all = one + (records.size() - 1) * (one - subhead_);
        const bool counts_one = layout_.shared == shared_length::one_record || all > max_record_length;
        return records.size() == 1 || counts_one ? -1 : static_cast<std::int32_t>(all);
    }

    void place_data_away()
    {
        arrange(away_.begin(), away_.end(), layout_.records, random_);
        for (const auto row : away_) {
            const auto position = next_position();
            result_.rows[row].second = position;
            add(position, sources_[row] + subhead_, channel_.rows[row].length - subhead_, -1);
        }
    }

    const contents& file_;
    const layout_options& layout_;
    const channel& channel_;
    std::size_t subhead_;
    random_numbers random_;
    std::vector<std::uint64_t> sources_;
    std::vector<std::size_t> away_;
    placement result_;
};

} // namespace

std::uint64_t next_place(std::uint64_t position, const layout_options& layout, random_numbers& random)
{
    if (layout.max_gap > 0) {
        position += random.below(std::uint64_t{layout.max_gap} + 1);
    }
    if (layout.odd_positions && position % 2 == 0) {
        ++position;
    }
    return position;
}

placement place_channel(const contents& file, std::size_t channel_index, std::uint64_t start)
{
    return channel_placer(file, channel_index, start).run();
}

} // namespace trox::writer
