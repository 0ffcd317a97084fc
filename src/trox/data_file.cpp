#include "trox/data_file.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "trox/typed_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace trox::detail
{

namespace
{

class descriptor
{
public:
    explicit descriptor(int fd) noexcept : fd_(fd) {}
    ~descriptor()
    {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    int get() const noexcept
    {
        return fd_;
    }

private:
    int fd_;
};

/// The trailer's pattern tells; files of the oldest generation have none, and their reference table's pattern is
/// looked at when it is read.
generation generation_by_trailer(const std::string& path)
{
    constexpr std::uint32_t trailer_2010 = 0x7A11F010;
    constexpr std::uint64_t trailer_2024 = 0x7A11F024;
    const descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {
    };
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
        throw_unopened(errno, path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw error(fault::bad_file, S_ISDIR(status.st_mode) ? "is a directory" : "is no regular file", {path});
    }
    std::array<unsigned char, sizeof(std::uint64_t)> end{};
    constexpr auto size = static_cast<off_t>(end.size());
    if (status.st_size < size || ::pread(file.get(), end.data(), end.size(), status.st_size - size) != size) {
        throw error(fault::bad_file, "is too short for a data file", {path});
    }
    if (trox_detail::load_big_endian<std::uint64_t>(end.data()) == trailer_2024) {
        return generation::v2024;
    }
    const bool is_2010 =
        trox_detail::load_big_endian<std::uint32_t>(end.data() + sizeof(std::uint32_t)) == trailer_2010;
    return is_2010 ? generation::v2010 : generation::legacy;
}

/// Calls the operation of a generation.
template <class Call> auto with_generation(generation format, Call call)
{
    switch (format) {
    case generation::legacy:
        return call(typed_file<trox_detail::generation_legacy>());
    case generation::v2010:
        return call(typed_file<trox_detail::generation_2010>());
    case generation::v2024:
        return call(typed_file<trox_detail::generation_2024>());
    }
    throw error(fault::wrong_use, "unknown generation");
}

} // namespace

void throw_unopened(int error_number, const std::string& path)
{
    const char* const words = std::strerror(error_number);
    if (error_number == EMFILE || error_number == ENFILE || error_number == ENOMEM) {
        throw out_of_resources(fault::input_output, words, {path});
    }
    throw error(error_number == ENOENT ? fault::not_found : fault::input_output, words, {path});
}

bool has_slow_events_only(std::uint32_t event_types)
{
    bool slow = event_types != 0;
    for (int type = 0; type < TROX_EV_EVMAX; ++type) {
        slow = slow && ((event_types >> type & 1U) == 0 || is_slow_event(type));
    }
    return slow;
}

file_identity identity_of(int fd, const std::string& path)
{
    struct stat status {
    };
    if (::fstat(fd, &status) != 0) {
        throw error(fault::input_output, std::strerror(errno), {path});
    }
    return {static_cast<std::uint64_t>(status.st_ino), static_cast<std::int64_t>(status.st_size),
            static_cast<std::int64_t>(status.st_mtim.tv_sec), static_cast<std::int64_t>(status.st_mtim.tv_nsec)};
}

file_contents read_contents(const std::string& path)
{
    return with_generation(generation_by_trailer(path), [&](auto file) { return file.contents(path); });
}

std::shared_ptr<const file_rows> load_rows(const std::string& path, generation format, const file_identity& identity,
                                           const std::vector<std::string>& channels)
{
    return with_generation(format, [&](auto file) { return file.rows(path, identity, channels); });
}

} // namespace trox::detail
