#include "trox/file_window.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <unistd.h>

namespace trox::detail
{

void file_window::look_at(std::uint64_t file, int fd, std::uint64_t begin, std::uint64_t end,
                          std::size_t ahead) noexcept
{
    held_ = file == file_ ? held_ : 0;
    file_ = file;
    fd_ = fd;
    begin_ = begin;
    end_ = std::max(begin, end);
    ahead_ = ahead;
}

const unsigned char* file_window::fetch(std::uint64_t at, std::uint64_t size) noexcept
{
    if (!trox_detail::range_fits(at, size, begin_, end_ - begin_)) {
        return nullptr;
    }
    if (!trox_detail::range_fits(at, size, at_, held_) && !load(at, size)) {
        return nullptr;
    }
    return buffer_.get() + (at - at_);
}

bool file_window::load(std::uint64_t at, std::uint64_t size) noexcept
{
    const std::uint64_t wanted = std::min(std::max<std::uint64_t>({size, ahead_, 1}), std::max(size, end_ - at));
    if (wanted > capacity_ || buffer_ == nullptr) {
        held_ = 0;
        buffer_.reset(new (std::nothrow) unsigned char[wanted]);
        capacity_ = buffer_ == nullptr ? 0 : wanted;
        if (buffer_ == nullptr) {
            return false;
        }
    }
    at_ = at;
    held_ = 0;
    while (held_ < wanted) {
        const ssize_t got = ::pread(fd_, buffer_.get() + held_, wanted - held_, static_cast<off_t>(at + held_));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        held_ += static_cast<std::size_t>(got);
    }
    return held_ >= size;
}

} // namespace trox::detail
