#include "columns.h"

#include "base/utf8.h"

#include <algorithm>

namespace trox_export
{

std::size_t column_list::find(std::size_t channel, const row& what, const std::function<void(const column&)>& made)
{
    for (const std::size_t index : of_channel_[channel]) {
        const column& present = columns_[index];
        if (present.type == what.type && present.form == what.form && present.row_name == what.name) {
            return index;
        }
    }
    column fresh = make(channel, what);
    made(fresh);
    of_channel_[channel].push_back(columns_.size());
    columns_.push_back(std::move(fresh));
    return columns_.size() - 1;
}

column column_list::make(std::size_t channel, const row& what) const
{
    const auto& present = of_channel_[channel];
    const auto is_taken = [&](const std::string& name) {
        return std::any_of(present.begin(), present.end(),
                           [&](std::size_t index) { return columns_[index].name == name; });
    };
    // A member without a name still has values; "." would be a path that leads nowhere.
    std::string name = what.name.empty() || what.name == "." ? "VALUE" : trox_base::valid_utf8(what.name);
    std::replace(name.begin(), name.end(), '/', ':'); // would be a level of its own
    while (is_taken(name)) {
        name += std::string(".") + name_of(what.type);
    }
    return {channel, std::move(name), std::string(what.name), what.type, what.form, what.use};
}

} // namespace trox_export
