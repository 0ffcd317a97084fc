#include "generic/basket_copy.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <sys/types.h>
#include <unistd.h>

namespace trox_detail
{

namespace
{

constexpr std::uint64_t stripe_size = std::uint64_t{256} << 10;

} // namespace

std::uint64_t basket_copy::stripes() const noexcept
{
    return (range_.length + stripe_size - 1) / stripe_size;
}

std::uint64_t basket_copy::base_size() const noexcept
{
    return kind_ == basket_kind::mapped ? mapping_.base_size()
                                        : length() + position() % static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

basket_status basket_copy::open(int fd, std::uint64_t file_length, std::uint64_t position, const basket_shape& shape)
{
    std::uint64_t length = 0;
    const basket_status status = read_basket_head(fd, file_length, position, shape, length);
    if (status != basket_status::loaded) {
        return status;
    }
    return open_range(fd, file_length, position, length) ? basket_status::loaded : basket_status::body_failed;
}

bool basket_copy::open_range(int fd, std::uint64_t file_length, std::uint64_t position, std::uint64_t length)
{
    if (length == 0 || !range_fits(position, length, 0, file_length)) {
        errno = EINVAL;
        return false;
    }
    if (!is_still_there(fd, position, length)) {
        return false;
    }
    if (kind_ == basket_kind::mapped) {
        const bool is_mapped = mapping_.map_range(fd, position, length);
        range_ = mapping_.range();
        return is_mapped;
    }
    fd_ = fd;
    memory_ = memory_chunk::take(length);
    if (memory_.data() == nullptr) {
        errno = ENOMEM;
        return false;
    }
    range_ = {memory_.data(), position, length};
    states_.reset(new (std::nothrow) std::atomic<stripe_state>[stripes()]());
    // The ends are read now: the head of the basket is there for who asks for it, and a file that cannot be read
    // is found out before anybody waits for its records.
    return states_ != nullptr && fill(0) && fill(stripes() - 1);
}

const unsigned char* basket_copy::fetch(std::uint64_t at, std::uint64_t size) noexcept
{
    const unsigned char* bytes = range_.find(at, size);
    if (bytes == nullptr || size == 0 || kind_ == basket_kind::mapped) {
        return bytes;
    }
    const std::uint64_t begin = at - range_.position;
    for (std::uint64_t stripe = begin / stripe_size; stripe <= (begin + size - 1) / stripe_size; ++stripe) {
        if (!fill(stripe)) {
            return nullptr;
        }
    }
    return bytes;
}

bool basket_copy::fetch_all() noexcept
{
    bool all = true;
    for (std::uint64_t stripe = 0; kind_ == basket_kind::copied && stripe < stripes(); ++stripe) {
        all = fill(stripe) && all;
    }
    return all;
}

/// Fills a stripe, or waits for the thread that does; meanwhile it fills one of the next, which will be wanted.
bool basket_copy::fill(std::uint64_t stripe) noexcept
{
    constexpr std::uint64_t ahead = 8;
    if (try_fill(stripe) == stripe_state::filling) {
        const std::uint64_t end = std::min(stripe + 1 + ahead, stripes());
        for (std::uint64_t next = stripe + 1; next < end; ++next) {
            if (states_[next].load(std::memory_order_relaxed) == stripe_state::empty) {
                try_fill(next);
                break;
            }
        }
    }
    std::atomic<stripe_state>& state = states_[stripe];
    stripe_state seen = state.load(std::memory_order_acquire);
    while (seen == stripe_state::filling) {
        state.wait(stripe_state::filling, std::memory_order_acquire);
        seen = state.load(std::memory_order_acquire);
    }
    return seen == stripe_state::filled;
}

/// Fills a stripe that nobody has begun; its state.
basket_copy::stripe_state basket_copy::try_fill(std::uint64_t stripe) noexcept
{
    std::atomic<stripe_state>& state = states_[stripe];
    stripe_state seen = state.load(std::memory_order_acquire);
    if (seen == stripe_state::empty && state.compare_exchange_strong(seen, stripe_state::filling)) {
        seen = read_stripe(stripe) ? stripe_state::filled : stripe_state::unreadable;
        state.store(seen, std::memory_order_release);
        state.notify_all();
    }
    return seen;
}

bool basket_copy::read_stripe(std::uint64_t stripe) noexcept
{
    std::uint64_t done = stripe * stripe_size;
    const std::uint64_t end = std::min(done + stripe_size, range_.length);
    while (done < end) {
        const ssize_t got = ::pread(fd_, memory_.data() + done, end - done, static_cast<off_t>(range_.position + done));
        if (got > 0) {
            done += static_cast<std::uint64_t>(got);
        } else if (got == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace trox_detail
