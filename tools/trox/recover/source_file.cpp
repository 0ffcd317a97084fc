#include "source_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace trox::recovery
{

// A pipe without a writer must not keep the program waiting.
source_file::source_file(const std::string& path)
    : path_(path), fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
{
    if (fd_ < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    struct stat status {
    };
    const bool failed = ::fstat(fd_, &status) != 0;
    if (failed || !S_ISREG(status.st_mode)) {
        const int error = failed ? errno : EINVAL;
        ::close(fd_);
        throw std::system_error(error, std::generic_category(), path + ": is no regular file");
    }
    length_ = static_cast<std::uint64_t>(status.st_size);
}

source_file::~source_file()
{
    ::close(fd_);
}

bool source_file::is_same_file(const struct stat& other) const noexcept
{
    struct stat own {
    };
    return ::fstat(fd_, &own) == 0 && own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

bool source_file::read_through(std::uint64_t position, unsigned char* destination, std::size_t size) const
{
    while (size > 0) {
        const auto count = ::pread(fd_, destination, size, static_cast<off_t>(position));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false; // unreadable, or cut since its length was taken
        }
        position += static_cast<std::uint64_t>(count);
        destination += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

const source_file::window* source_file::load(std::uint64_t number)
{
    window& place = windows_[number % window_count];
    if (place.number == number) {
        return &place;
    }
    const std::uint64_t position = number * window_size;
    place.bytes.resize(window_size);
    place.size = static_cast<std::size_t>(std::min<std::uint64_t>(window_size, rest(position)));
    place.number = number;
    if (!read_through(position, place.bytes.data(), place.size)) {
        place.number = ~std::uint64_t{0};
        return nullptr;
    }
    return &place;
}

bool source_file::read(std::uint64_t position, void* destination, std::size_t size)
{
    if (size > rest(position)) {
        return false;
    }
    auto* to = static_cast<unsigned char*>(destination);
    if (size > window_size) {
        return read_through(position, to, size);
    }
    while (size > 0) {
        const window* from = load(position / window_size);
        if (from == nullptr) {
            return read_through(position, to, size); // only a part of the window may be unreadable
        }
        const auto offset = static_cast<std::size_t>(position % window_size);
        const auto count = std::min(size, from->size - offset);
        std::memcpy(to, from->bytes.data() + offset, count);
        position += count;
        to += count;
        size -= count;
    }
    return true;
}

byte_stream::byte_stream(source_file& file, std::uint64_t begin, std::uint64_t end)
    : file_(file), next_(begin), end_(std::min(end, file.length())), position_(begin)
{
}

const std::vector<unsigned char>& byte_stream::next()
{
    constexpr std::uint64_t piece = std::uint64_t{256} << 10;
    position_ = next_;
    bytes_.resize(next_ < end_ ? static_cast<std::size_t>(std::min(piece, end_ - next_)) : 0);
    if (!bytes_.empty() && !file_.read(next_, bytes_.data(), bytes_.size())) {
        std::fill(bytes_.begin(), bytes_.end(), static_cast<unsigned char>(0));
    }
    next_ += bytes_.size();
    return bytes_;
}

} // namespace trox::recovery
