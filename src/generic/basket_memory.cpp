#include "generic/basket_memory.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "generic/os_calls.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sys/mman.h>
#include <sys/stat.h>

namespace trox_detail
{

namespace
{

std::uint64_t load_word(const unsigned char* source, std::size_t word)
{
    return word == sizeof(std::uint64_t) ? load_big_endian<std::uint64_t>(source)
                                         : load_big_endian<std::uint32_t>(source);
}

/// A mapping of [position, position + length) of a file, widened to whole pages in front.
struct page_mapping {
    unsigned char* start = nullptr;
    std::size_t size = 0;
    std::size_t delta = 0; // of `position` behind `start`
};

bool map_pages(int fd, std::uint64_t file_length, std::uint64_t position, std::uint64_t length, page_mapping& mapping)
{
    long delta = 0;
    const long page = trox_get_page_offset(static_cast<long>(file_length), static_cast<long>(position), &delta);
    if (page < 0) {
        errno = EINVAL;
        return false;
    }
    mapping.delta = static_cast<std::size_t>(delta);
    mapping.size = mapping.delta + length;
    void* start = os().mmap(nullptr, mapping.size, PROT_READ, MAP_SHARED, fd, page);
    if (start == MAP_FAILED) {
        return false;
    }
    mapping.start = static_cast<unsigned char*>(start);
    return true;
}

} // namespace

bool is_still_there(int fd, std::uint64_t position, std::uint64_t length) noexcept
{
    struct stat now {
    };
    if (::fstat(fd, &now) != 0) {
        return false;
    }
    errno = EIO;
    return range_fits(position, length, 0, static_cast<std::uint64_t>(now.st_size));
}

basket_status read_basket_head(int fd, std::uint64_t file_length, std::uint64_t position, const basket_shape& shape,
                               std::uint64_t& length)
{
    const std::size_t head = 2 * shape.word;
    if (position == 0 || !range_fits(position, head, 0, file_length)) {
        errno = EINVAL;
        return basket_status::head_failed;
    }
    if (!is_still_there(fd, position, head)) {
        return basket_status::head_failed;
    }
    // The mapping may reach over the file's end, where only its whole pages would fault: read the head alone.
    page_mapping probe;
    if (!map_pages(fd, file_length, position, shape.fixed, probe)) {
        return basket_status::head_failed;
    }
    const std::uint64_t pattern = load_word(probe.start + probe.delta, shape.word);
    length = load_word(probe.start + probe.delta + shape.word, shape.word);
    ::munmap(probe.start, probe.size);
    if (pattern != shape.pattern) {
        errno = EBADMSG;
        return basket_status::head_failed;
    }
    const std::uint64_t longest = std::numeric_limits<std::int64_t>::max() >> (64 - 8 * shape.word);
    if (length < head || length > longest || !range_fits(position, length, 0, file_length)) {
        errno = EINVAL;
        return basket_status::body_failed;
    }
    return basket_status::loaded;
}

basket_memory::~basket_memory()
{
    release();
}

void basket_memory::release() noexcept
{
    if (copied_) {
        std::free(data_);
    } else if (data_ != nullptr) {
        ::munmap(base_, base_size_);
    }
    base_ = nullptr;
    base_size_ = 0;
    data_ = nullptr;
    position_ = 0;
    length_ = 0;
    copied_ = false;
}

bool basket_memory::map_range(int fd, std::uint64_t position, std::uint64_t length)
{
    release();
    page_mapping mapping;
    if (!map_pages(fd, position + length, position, length, mapping)) {
        return false;
    }
    base_ = mapping.start;
    base_size_ = mapping.size;
    data_ = base_ + mapping.delta;
    position_ = position;
    length_ = length;
    return true;
}

bool basket_memory::copy_from_mapping()
{
    auto* copy = static_cast<unsigned char*>(os().malloc(length_));
    if (copy != nullptr) {
        std::memcpy(copy, data_, length_);
    }
    ::munmap(base_, base_size_);
    data_ = copy;
    copied_ = copy != nullptr;
    return copied_;
}

basket_status basket_memory::load_mapped(int fd, std::uint64_t file_length, std::uint64_t position,
                                         const basket_shape& shape)
{
    release();
    std::uint64_t length = 0;
    const basket_status status = read_basket_head(fd, file_length, position, shape, length);
    if (status == basket_status::loaded && !map_range(fd, position, length)) {
        return basket_status::body_failed;
    }
    return status;
}

basket_status basket_memory::load_copy(int fd, std::uint64_t file_length, std::uint64_t position,
                                       const basket_shape& shape)
{
    const basket_status status = load_mapped(fd, file_length, position, shape);
    if (status == basket_status::loaded && !copy_from_mapping()) {
        return basket_status::body_failed;
    }
    return status;
}

} // namespace trox_detail
