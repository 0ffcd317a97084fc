#include "run_catalogue.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <memory>
#include <system_error>
#include <tuple>

namespace trox_xml
{
namespace
{

struct directory_closer {
    void operator()(DIR* directory) const noexcept
    {
        ::closedir(directory);
    }
};

/// `<experiment>` or `<experiment>/<stream>`; an empty part limits nothing.
class key_limit
{
public:
    explicit key_limit(std::string_view key)
        : experiment_(key.substr(0, key.find('/'))),
          stream_(key.find('/') == std::string_view::npos ? std::string_view{} : key.substr(key.find('/') + 1))
    {
    }
    bool fits(const catalogue_name& name) const
    {
        return (experiment_.empty() || experiment_ == name.experiment) && (stream_.empty() || stream_ == name.stream);
    }

private:
    std::string_view experiment_;
    std::string_view stream_;
};

/// Files of one run stand together, that of the closed run first.
bool in_lookup_order(const catalogue_name& a, const catalogue_name& b)
{
    const auto key = [](const catalogue_name& name) {
        return std::tuple(name.run, std::string_view{name.experiment}, std::string_view{name.stream},
                          name.span.stop == 0, -name.span.stop, name.span.start);
    };
    return key(a) < key(b);
}

} // namespace

run_catalogue::run_catalogue(const std::string& directory, std::string_view key) : directory_(directory)
{
    const std::unique_ptr<DIR, directory_closer> listing{::opendir(directory.c_str())};
    if (!listing) {
        throw lookup_error("cannot read the run catalogue \"" + directory +
                           "\": " + std::generic_category().message(errno));
    }
    if (directory_.back() != '/') {
        directory_ += '/';
    }
    const key_limit limit{key};
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        auto name = parse_catalogue_name(entry->d_name);
        if (name && limit.fits(*name)) {
            names_.push_back(std::move(*name));
        }
        errno = 0;
    }
    if (errno != 0) {
        throw lookup_error("cannot read the run catalogue \"" + directory +
                           "\": " + std::generic_category().message(errno));
    }
    std::sort(names_.begin(), names_.end(), in_lookup_order);
}

std::vector<found_run> run_catalogue::select(const std::function<bool(const catalogue_name&)>& wanted)
{
    std::vector<found_run> runs;
    const catalogue_name* settled = nullptr; // the last run that needs no second file
    for (const catalogue_name& name : names_) {
        if (settled != nullptr && name.same_run(*settled)) {
            continue;
        }
        if (!wanted(name)) {
            settled = &name;
            continue;
        }
        std::string reason;
        std::string path = directory_ + name.file;
        if (auto record = read_catalogue_file(path, name, reason)) {
            runs.push_back({std::move(path), std::move(*record)});
            settled = &name;
        } else if (damaged_count_++ == 0) {
            first_damage_ = "\"" + path + "\": " + reason;
        }
    }
    return runs;
}

void run_catalogue::fail(const std::string& reason) const
{
    if (damaged_count_ == 0) {
        throw lookup_error(reason);
    }
    throw lookup_error(reason + "; " + std::to_string(damaged_count_) +
                       " damaged catalogue file(s) passed over, the first is " + first_damage_);
}

} // namespace trox_xml
