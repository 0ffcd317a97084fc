#include "target_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace trox_base
{
namespace
{

constexpr mode_t all_permissions = 0777;

bool is_regular_file(const std::string& path, struct stat& status)
{
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

std::string resolve_links(const std::string& path)
{
    constexpr int most_links = 40; // as the kernel has it
    std::filesystem::path place = path;
    for (int i = 0; i < most_links; ++i) {
        std::error_code failed;
        const auto next = std::filesystem::read_symlink(place, failed);
        if (failed) {
            return place.string();
        }
        place = place.parent_path() / next;
    }
    return path;
}

bool takes_bytes_as_they_come(const std::string& path)
{
    struct stat status {
    };
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

bool is_same_file(const std::string& a, const std::string& b)
{
    struct stat first {
    };
    struct stat second {
    };
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool is_same_place(const std::string& a, const std::string& b)
{
    if (is_same_file(a, b)) {
        return true;
    }
    const std::filesystem::path first = resolve_links(a);
    const std::filesystem::path second = resolve_links(b);
    const auto directory = [](const std::filesystem::path& path) {
        return path.has_parent_path() ? path.parent_path().string() : std::string(".");
    };
    return first.filename() == second.filename() && is_same_file(directory(first), directory(second));
}

std::string hidden_name(const std::string& target, std::size_t room)
{
    const std::filesystem::path path(target);
    std::string name = "." + path.filename().string();
    name.resize(std::min(name.size(), NAME_MAX - room));
    return (path.parent_path() / name).string();
}

mode_t permissions_while_made(const std::string& target)
{
    constexpr mode_t owner = 0600;
    constexpr mode_t usual = 0666;
    struct stat replaced {
    };
    if (is_regular_file(target, replaced)) {
        return (replaced.st_mode & all_permissions) | owner;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return (usual & ~mask) | owner;
}

bool put_in_place(const std::string& made, const std::string& target)
{
    struct stat replaced {
    };
    if (::lstat(target.c_str(), &replaced) == 0 && S_ISLNK(replaced.st_mode)) {
        errno = ELOOP;
        return false;
    }
    if (is_regular_file(target, replaced) && ::chmod(made.c_str(), replaced.st_mode & all_permissions) != 0) {
        return false;
    }
    return std::rename(made.c_str(), target.c_str()) == 0;
}

bool put_in_new_place(const std::string& made, const std::string& target)
{
    if (::renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    // File systems without this get a hard link, which never replaces either.
    if ((errno != EINVAL && errno != ENOSYS) || ::link(made.c_str(), target.c_str()) != 0) {
        return false;
    }
    ::unlink(made.c_str());
    return true;
}

} // namespace trox_base
