#include "trox/decoded.h"

#include <algorithm>
#include <new>
#include <utility>

namespace trox::detail
{

void* batch_arena::allocate(std::size_t size) noexcept
try {
    constexpr std::size_t alignment = 8;
    constexpr std::size_t usual_block = std::size_t{32} << 10;
    const std::size_t rounded = (size + alignment - 1) / alignment * alignment;
    if (blocks_.empty() || blocks_.back().get_deleter().size - used_ < rounded) {
        // Small blocks first: a batch may consist of one small record.
        if (rounded > limit_ || bytes_ > limit_ - rounded) {
            exhausted_ = true;
            return nullptr;
        }
        const std::size_t usual = std::min(usual_block, std::max<std::size_t>(bytes_, 1024));
        const std::size_t wanted = std::max(rounded, std::min(usual, limit_ - bytes_));
        memory_block added = take_block(pool_, wanted, limit_ - bytes_);
        if (added == nullptr) {
            return nullptr;
        }
        blocks_.push_back(std::move(added));
        bytes_ += blocks_.back().get_deleter().size;
        used_ = 0;
    }
    unsigned char* at = blocks_.back().get() + used_;
    used_ += rounded;
    return at;
} catch (const std::bad_alloc&) {
    return nullptr;
}

void batch_arena::rewind(mark to) noexcept
{
    blocks_.resize(to.blocks);
    used_ = to.used;
    bytes_ = to.bytes;
}

} // namespace trox::detail
