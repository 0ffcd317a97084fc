#include "hdf5_names.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace trox_export
{
namespace
{

/// The path as the library takes it: without empty parts, and ".", which mean nothing. Empty for what is no path.
std::string normal_path(std::string_view name)
{
    std::string path;
    while (!name.empty()) {
        const std::string_view part = name.substr(0, name.find('/'));
        if (!part.empty() && part != ".") {
            path += (path.empty() ? "" : "/") + std::string(part);
        }
        name.remove_prefix(std::min(part.size() + 1, name.size()));
    }
    return path;
}

/// Whether a path lies below one of those.
bool is_below_any(const std::string& path, const std::set<std::string>& paths)
{
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
        if (paths.count(path.substr(0, end)) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace

std::vector<std::string> hdf5_group_paths(const std::vector<channel_head>& channels)
{
    const std::set<std::string> datasets{"event_number", "event_time"};
    std::vector<std::string> paths;
    std::set<std::string> wanted = datasets;
    std::set<std::string> taken = datasets;
    for (const channel_head& channel : channels) {
        paths.push_back(normal_path(channel.name));
        wanted.insert(paths.back());
        taken.insert(paths.back().substr(0, paths.back().find('/')));
    }
    std::set<std::string> used = datasets;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (!paths[i].empty() && !is_below_any(paths[i], wanted) && used.insert(paths[i]).second) {
            continue;
        }
        paths[i] = "channel_" + std::to_string(i);
        while (!taken.insert(paths[i]).second) {
            paths[i] += '_';
        }
    }
    return paths;
}

} // namespace trox_export
