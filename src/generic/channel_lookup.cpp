#include "generic/channel_lookup.h"

namespace trox_detail
{

void channel_lookup::add(const std::string& name, const std::string& key)
{
    const int index = static_cast<int>(channels_.size());
    const auto by_name = names_.try_emplace(name, index);
    const auto by_key = keys_.try_emplace(key, index);
    channels_.push_back({by_name.second ? &by_name.first->first : nullptr, //
                         by_key.second ? &by_key.first->first : nullptr});
}

} // namespace trox_detail
