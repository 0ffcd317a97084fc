#include "target_file.h"

#include <filesystem>
#include <sys/stat.h>

namespace trox_base
{

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

} // namespace trox_base
