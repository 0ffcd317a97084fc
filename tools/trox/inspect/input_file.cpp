#include "input_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace trox::inspect
{

// A pipe that nobody writes to would make open wait for ever; it is refused below.
input_file::input_file(const std::string& path)
    : path_(path), descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
{
    struct stat status {
    };
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
        const int error = errno;
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        throw std::system_error(error, std::generic_category(), "cannot open " + path);
    }
    if (!S_ISREG(status.st_mode)) {
        ::close(descriptor_);
        const int error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        throw std::system_error(error, std::generic_category(), path + " is no regular file");
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
}

input_file::~input_file()
{
    ::close(descriptor_);
}

bool input_file::read(std::uint64_t position, void* destination, std::size_t count) const noexcept
{
    if (!trox_detail::range_fits(position, count, 0, size_)) {
        return false;
    }
    auto* out = static_cast<unsigned char*>(destination);
    while (count > 0) {
        const ::ssize_t got = ::pread(descriptor_, out, count, static_cast<::off_t>(position));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) { // 0: the file was cut meanwhile
            failed_.store(true, std::memory_order_relaxed);
            return false;
        }
        out += got;
        position += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

const unsigned char* file_window::at(std::uint64_t position, std::size_t count) noexcept
{
    if (trox_detail::range_fits(position, count, begin_, filled_)) {
        return bytes_.data() + (position - begin_);
    }
    if (count > capacity || !trox_detail::range_fits(position, count, 0, file_.size())) {
        return nullptr;
    }
    filled_ = 0;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(capacity, file_.size() - position));
    if (!file_.read(position, bytes_.data(), wanted)) {
        return nullptr;
    }
    begin_ = position;
    filled_ = wanted;
    return bytes_.data();
}

} // namespace trox::inspect
