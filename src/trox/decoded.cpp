#include "trox/decoded.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace trox::detail
{

fault record_failure::why() const noexcept
{
    switch (what) {
    case cause::none:
    case cause::damaged:
        return fault::damaged_record;
    case cause::unreadable:
    case cause::no_memory:
        return fault::input_output;
    case cause::no_room:
        return fault::out_of_budget;
    }
    return fault::damaged_record;
}

std::string record_failure::reason() const
{
    std::string words = text;
    if (error_number != 0) {
        words += std::string(": ") + std::strerror(error_number);
    }
    if (bytes != 0) {
        words += " of " + std::to_string(bytes) + " bytes";
    }
    return words;
}

bool batch_arena::has_room(std::size_t size) noexcept
{
    const std::size_t taken = bytes_ + lent_;
    if (size <= limit_ && taken <= limit_ - size) {
        return true;
    }
    const std::size_t needed = kind_ == blocks::exact ? taken : asked_;
    refused_ = size <= std::numeric_limits<std::size_t>::max() - needed ? needed + size : size;
    return false;
}

/// How large a block may be that is to have `size` bytes.
std::size_t batch_arena::largest_for(std::size_t size) const noexcept
{
    return kind_ == blocks::exact ? size + memory_pool::page - 1 : limit_ - bytes_ - lent_;
}

memory_block batch_arena::lend(std::size_t size) noexcept
{
    largest_lent_ = std::max(largest_lent_, size);
    memory_block block =
        has_room(size) ? take_block(pool_, size, std::min(largest_for(size), limit_ - bytes_ - lent_)) : memory_block();
    lent_ += block == nullptr ? 0 : block.get_deleter().size;
    return block;
}

void batch_arena::take_back(memory_block block) noexcept
{
    lent_ -= block == nullptr ? 0 : block.get_deleter().size;
}

void* batch_arena::allocate(std::size_t size) noexcept
try {
    constexpr std::size_t alignment = 8;
    constexpr std::size_t usual_block = std::size_t{32} << 10;
    const std::size_t rounded = (size + alignment - 1) / alignment * alignment;
    if (blocks_.empty() || blocks_.back().get_deleter().size - used_ < rounded) {
        // Small blocks first: a batch may consist of one small record.
        if (!has_room(rounded)) {
            return nullptr;
        }
        const bool is_exact = kind_ == blocks::exact;
        const std::size_t free = limit_ - bytes_ - lent_;
        const std::size_t usual = is_exact ? 0 : std::min(usual_block, std::max<std::size_t>(bytes_, 1024));
        const std::size_t wanted = std::max(rounded, std::min(usual, free));
        memory_block added = take_block(pool_, wanted, largest_for(wanted));
        if (added == nullptr) {
            return nullptr;
        }
        blocks_.push_back(std::move(added));
        bytes_ += is_exact ? wanted : blocks_.back().get_deleter().size;
        used_ = 0;
    }
    unsigned char* at = blocks_.back().get() + used_;
    used_ += rounded;
    asked_ += rounded;
    return at;
} catch (const std::bad_alloc&) {
    return nullptr;
}

void batch_arena::rewind(mark to) noexcept
{
    blocks_.resize(to.blocks);
    used_ = to.used;
    bytes_ = to.bytes;
    asked_ = to.asked;
}

} // namespace trox::detail
