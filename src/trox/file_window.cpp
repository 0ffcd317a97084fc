#include "trox/file_window.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <unistd.h>
#include <utility>

namespace trox::detail
{

namespace
{

/// Larger pieces are not kept: there is a window per thread, and it is not counted.
constexpr std::uint64_t most_kept = std::uint64_t{256} << 10;

} // namespace

void file_window::look_at(std::uint64_t file, int fd, std::uint64_t begin, std::uint64_t end, std::size_t bytes,
                          reach also) noexcept
{
    held_ = file == file_ ? held_ : 0;
    file_ = file;
    fd_ = fd;
    begin_ = begin;
    end_ = std::max(begin, end);
    bytes_ = bytes;
    also_ = also;
}

const unsigned char* file_window::fetch(std::uint64_t at, std::uint64_t size) noexcept
{
    if (!trox_detail::range_fits(at, size, begin_, end_ - begin_)) {
        return nullptr;
    }
    if (!trox_detail::range_fits(at, size, at_, held_) && !load(at, size)) {
        return nullptr;
    }
    return data_ + (at - at_);
}

const unsigned char* file_window::fetch_into(std::uint64_t at, std::uint64_t size, unsigned char* room) noexcept
{
    if (size <= most_kept) {
        return fetch(at, size);
    }
    if (!trox_detail::range_fits(at, size, begin_, end_ - begin_)) {
        return nullptr;
    }
    return read(at, size, size, room) < size ? nullptr : room;
}

void file_window::borrow_from(batch_arena* lender) noexcept
{
    give_back();
    lender_ = lender;
}

void file_window::give_back() noexcept
{
    if (borrowed_ == nullptr) {
        return;
    }
    held_ = 0;
    if (lender_ != nullptr) {
        lender_->take_back(std::move(borrowed_));
    }
    borrowed_.reset();
}

bool file_window::load(std::uint64_t at, std::uint64_t size) noexcept
{
    const std::uint64_t wanted = std::max<std::uint64_t>({size, bytes_, 1});
    std::uint64_t lead = 0;
    std::uint64_t tail = wanted;
    if (also_ == reach::before) {
        tail = size + (wanted - size) / 8; // a record's head is asked for before the rest of it
        lead = std::min(wanted - tail, at - begin_);
    }
    tail = std::min(tail, std::max(size, end_ - at));
    give_back();
    held_ = 0;
    unsigned char* const room = room_for(lead + tail);
    if (room == nullptr) {
        failure_ = ENOMEM;
        return false;
    }
    const int earlier = failure_;
    if (fill(at - lead, lead + size, lead + tail, room)) {
        return true;
    }
    if (lead == 0) {
        return false;
    }
    failure_ = earlier; // what stands before it may be what cannot be read
    return fill(at, size, tail, room);
}

/// Has up to `most` bytes from `at` on be what is there; false when there are fewer than `least`.
bool file_window::fill(std::uint64_t at, std::uint64_t least, std::uint64_t most, unsigned char* to) noexcept
{
    data_ = to;
    at_ = at;
    held_ = read(at, least, most, to);
    return held_ >= least;
}

unsigned char* file_window::room_for(std::uint64_t size) noexcept
{
    if (size > most_kept) {
        borrowed_ = lender_ != nullptr ? lender_->lend(size) : take_block(nullptr, size, size);
        return borrowed_.get();
    }
    if (size > capacity_ || buffer_ == nullptr) {
        buffer_.reset(new (std::nothrow) unsigned char[size]);
        capacity_ = buffer_ == nullptr ? 0 : size;
    }
    return buffer_.get();
}

/// Bytes that were read, up to `most`; fewer than `least` are a failure.
std::size_t file_window::read(std::uint64_t at, std::uint64_t least, std::uint64_t most, unsigned char* to) noexcept
{
    std::size_t done = 0;
    int reason = 0;
    while (done < most && reason == 0) {
        const ssize_t got = ::pread(fd_, to + done, most - done, static_cast<off_t>(at + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0) {
            reason = cut;
        } else if (errno != EINTR) {
            reason = errno;
        }
    }
    failure_ = done < least ? reason : failure_;
    return done;
}

} // namespace trox::detail
