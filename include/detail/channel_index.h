// Where a reader's channels stand in its list, by their full names.
#ifndef TROX_DETAIL_CHANNEL_INDEX_H
#define TROX_DETAIL_CHANNEL_INDEX_H

#include <map>
#include <string>

namespace trox_detail
{

/// For the generations whose readers keep no such index.
struct no_channel_index {
    template <class Result> void add(Result& /*result*/, int /*index*/) {}
    template <class Result> void remove(const Result& /*result*/) {}
    void clear() {}
};

/// Index of each channel by its full name: `name`, or `name:sub-channel`. Ordered as strcmp orders texts. One thread at
/// a time.
class channel_name_index
{
public:
    using map = std::map<std::string, int>;

    /// Forms the full name of a new channel's result.
    template <class Result> void add(Result& result, int index)
    {
        result.full_chan_name = result.chan.name;
        if (result.chan.subchan != -1) {
            result.full_chan_name += ':' + std::to_string(result.chan.subchan);
        }
        map_[result.full_chan_name] = index;
    }
    /// Those behind it move up.
    template <class Result> void remove(const Result& result)
    {
        const auto found = map_.find(result.full_chan_name);
        if (found == map_.end()) {
            return;
        }
        const int index = found->second;
        map_.erase(found);
        for (auto& [name, other] : map_) {
            other -= other > index ? 1 : 0;
        }
    }
    void clear()
    {
        map_.clear();
    }
    const map& names() const
    {
        return map_;
    }

private:
    map map_;
};

} // namespace trox_detail

#endif
