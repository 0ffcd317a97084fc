#include "file_view.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "platform_calls.h"

#include <cerrno>
#include <limits>

namespace trox_evutl
{

int file_view::read(std::uint64_t position, void* destination, std::size_t size) const noexcept
{
    constexpr auto last_position = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
    if (!trox_detail::range_fits(position, size, 0, length) || position > last_position - size) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    auto* target = static_cast<unsigned char*>(destination);
    while (size > 0) {
        const ssize_t got = calls().read_at(descriptor, target, size, static_cast<off_t>(position));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            errno = got == 0 ? EIO : errno;
            return TROX_EVUTL_READ_ERROR;
        }
        const auto step = static_cast<std::size_t>(got);
        target += step;
        position += step;
        size -= step;
    }
    return TROX_EVUTL_OK;
}

} // namespace trox_evutl
