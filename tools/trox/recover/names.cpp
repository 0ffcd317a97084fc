#include "names.h"

#include "detail/big_endian.h"
#include "tables.h"

#include <algorithm>
#include <set>
#include <utility>

namespace trox::recovery
{

bool looks_like_subhead(const subhead_values& head) noexcept
{
    const auto type = block_type(head.dtype);
    return head.name.is_printable && head.name.is_padded && head.ldata >= 0 && type > 0 && type < TROX_BLOCK_MAX_2010;
}

namespace
{

constexpr std::size_t most_looked_at = 16; // rows, to tell what a column's records have in common

} // namespace

channel_names::channel_names(found& file, record_checker& checker) : file_(file), checker_(checker)
{
    for (std::uint32_t i = 0; i < file_.channels.size(); ++i) {
        if (!file_.channels[i].name.empty()) {
            by_subhead_[file_.channels[i].subhead].push_back(i);
        }
    }
}

std::optional<channel_names::carried_names> channel_names::read_names(std::uint64_t subhead, std::uint64_t data)
{
    subhead_values head;
    if (!checker_.read_subhead(subhead, head) || !looks_like_subhead(head)) {
        return std::nullopt;
    }
    carried_names result;
    result.subhead = head.name.text;
    if (!file_.layout.is_update_type(head.dtype)) {
        return result;
    }
    std::vector<unsigned char> bytes(file_.layout.sizes().update);
    // Where the data lie elsewhere, the next sub-head follows, and begins like data.
    subhead_values next;
    const bool is_data = head.is_zipped() || !checker_.read_subhead(data, next) || !looks_like_subhead(next) ||
                         !checker_.is_slow(next) ||
                         static_cast<std::uint64_t>(next.ldata) < file_.layout.sizes().subhead + bytes.size();
    if (is_data && checker_.read_value(head, subhead, data, bytes.data(), bytes.size())) {
        result.value = file_.layout.update(bytes.data()).name;
        const bool fits = result.value.is_printable && subhead_name(file_.layout, result.value.text) == result.subhead;
        result.full = fits ? result.value.text : std::string();
    }
    return result;
}

std::uint32_t channel_names::find(std::uint64_t subhead, std::uint64_t data)
{
    const auto carried = read_names(subhead, data);
    if (!carried) {
        return no_index;
    }
    const auto& short_name = carried->subhead;
    const auto& full_name = carried->full;
    auto& known = by_subhead_[short_name];
    for (const auto index : known) {
        if (file_.channels[index].name == full_name) {
            return index;
        }
    }
    if (full_name.empty() && known.size() == 1) {
        return known.front();
    }
    // The name in an update's sub-head may lack the sub-channel, which its data tell.
    subhead_values head;
    const bool is_update = checker_.read_subhead(subhead, head) && file_.layout.is_update_type(head.dtype);
    if (file_.is_dictionary_whole || (full_name.empty() && (is_update || !known.empty()))) {
        return no_index;
    }
    channel added;
    added.name = full_name.empty() ? short_name : full_name;
    added.subhead = short_name;
    added.is_listed = false;
    file_.lose("channel " + added.name + ": known by its records only");
    known.push_back(static_cast<std::uint32_t>(file_.channels.size()));
    file_.channels.push_back(std::move(added));
    return known.back();
}

void channel_names::correct_index(std::uint32_t listed, const std::vector<row_values>& rows)
{
    auto& target = file_.channels[listed];
    std::set<std::int32_t> carried;
    std::size_t looked_at = 0;
    for (const auto& row : rows) {
        subhead_values head;
        unsigned char index[sizeof(std::int32_t)];
        if (looked_at == most_looked_at || !target.environment_index) {
            break;
        }
        if (!row.is_empty() && checker_.read_subhead(row.chhd, head) && head.name.text == target.subhead &&
            block_type(head.dtype) == TROX_ENV_BLOCK &&
            checker_.read_value(head, row.chhd, row.data, index, sizeof index)) {
            carried.insert(trox_detail::load_big_endian<std::int32_t>(index));
            ++looked_at;
        }
    }
    if (carried.size() != 1 || *carried.begin() == *target.environment_index) {
        return;
    }
    file_.lose("channel " + target.name + ": its environment index is damaged; its records tell that it is " +
               std::to_string(*carried.begin()));
    target.environment_index = *carried.begin();
    for (auto& [key, index] : file_.environment) {
        index = key == target.key ? *carried.begin() : index;
    }
}

void channel_names::correct(std::uint32_t listed, const std::vector<row_values>& rows)
{
    correct_index(listed, rows);
    auto& target = file_.channels[listed];
    std::set<std::pair<std::string, std::string>> carried;
    std::size_t looked_at = 0;
    for (const auto& row : rows) {
        const auto names = row.is_empty() ? std::nullopt : read_names(row.chhd, row.data);
        if (!names) {
            continue;
        }
        const bool is_told = names->subhead == target.subhead && (names->full.empty() || names->full == target.name);
        if (is_told || names->value.text == target.name) {
            return;
        }
        carried.emplace(names->subhead, names->full);
        if (++looked_at == most_looked_at) {
            break;
        }
    }
    if (looked_at == 0) {
        return;
    }
    const auto [short_name, full_name] = *carried.begin();
    const auto described = carried.size() == 1 ? find_described(short_name, full_name) : no_index;
    // One record may be what is damaged; two are hardly so in the same way.
    constexpr std::size_t enough = 2;
    const bool is_doubtful = looked_at < enough && full_name.empty() && described == no_index;
    if (is_doubtful || (target.is_described && described == no_index)) {
        return;
    }
    target.count = -1; // what contradicts its records may be damaged in all it says
    if (carried.size() == 1) {
        rename(listed, short_name, full_name, described);
    }
}

// The channel of a name that is described, but not in the dictionary.
std::uint32_t channel_names::find_described(const std::string& short_name, const std::string& full_name) const
{
    std::uint32_t described = no_index;
    const auto known = by_subhead_.find(short_name);
    for (std::size_t i = 0; known != by_subhead_.end() && i < known->second.size(); ++i) {
        const auto& one = file_.channels[known->second[i]];
        if (!one.is_listed && (full_name.empty() || one.name == full_name)) {
            if (described != no_index) {
                return no_index;
            }
            described = known->second[i];
        }
    }
    return described;
}

void channel_names::rename(std::uint32_t listed, const std::string& short_name, const std::string& full_name,
                           std::uint32_t described)
{
    auto& target = file_.channels[listed];
    const auto colon = target.name.find(':');
    const auto name = !full_name.empty()           ? full_name
                      : colon == std::string::npos ? short_name
                                                   : short_name + target.name.substr(colon);
    for (const auto index : by_subhead_[short_name]) {
        const auto& other = file_.channels[index];
        const bool has_name = full_name.empty() || other.name == name;
        if (index != listed && index != described && has_name) {
            return; // the records are another channel's
        }
    }
    file_.lose("channel " + target.name + ": its records tell that its name is " +
               (described == no_index ? name : file_.channels[described].name));
    auto& old = by_subhead_[target.subhead];
    old.erase(std::remove(old.begin(), old.end(), listed), old.end());
    if (described != no_index) {
        take_over(listed, described);
        return;
    }
    target.is_entry_damaged = true;
    target.name = name;
    target.subhead = short_name;
    by_subhead_[short_name].push_back(listed);
}

// A channel that is described under its name stands in the dictionary under a damaged one.
void channel_names::take_over(std::uint32_t listed, std::uint32_t described)
{
    auto& target = file_.channels[listed];
    auto& other = file_.channels[described];
    target.name = other.name;
    target.subhead = other.subhead;
    target.server = other.server;
    target.described_key = other.described_key;
    target.is_entry_damaged = true;
    target.is_described = true;
    other.lost = "is in the dictionary, under a damaged entry";
    auto& known = by_subhead_[target.subhead];
    std::replace(known.begin(), known.end(), described, listed);
}

bool channel_names::name_channel(std::uint32_t nameless, std::uint64_t subhead, std::uint64_t data)
{
    const auto carried = read_names(subhead, data);
    if (!carried) {
        return false;
    }
    const auto& short_name = carried->subhead;
    const auto& full_name = carried->full;
    auto& known = by_subhead_[short_name];
    for (const auto index : known) {
        const auto& other = file_.channels[index];
        if (other.is_listed || !(full_name.empty() ? known.size() == 1 : other.name == full_name)) {
            continue;
        }
        // Described under this name, and not in the dictionary under another.
        take_over(nameless, index);
        return true;
    }
    if (!known.empty() && full_name.empty()) {
        return false;
    }
    auto& target = file_.channels[nameless];
    target.name = full_name.empty() ? short_name : full_name;
    target.subhead = short_name;
    known.push_back(nameless);
    return true;
}

} // namespace trox::recovery
