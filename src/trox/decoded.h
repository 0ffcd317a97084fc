// Decoded records, and the memory that they lie in.
#ifndef TROX_TROX_DECODED_H
#define TROX_TROX_DECODED_H

#include "trox/basics.h"
#include "trox/error.h"
#include "trox/memory_pool.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trox::detail
{

/// One record as it was decoded. Everything it points at lies in the arena of its batch.
struct decoded_record {
    const void* block = nullptr; ///< sub-head in the layout of `format`, and the payload, in host order
    generation format = generation::v2010;
    std::uint64_t number = 0;
    time_point time{};
    int event_type = 0;
    std::string_view server{};
    std::uint32_t server_status = 0;
    std::string_view file{};
    std::uint64_t offset = 0; ///< of the sub-head in the file
};

/// Why a record is not there. Holds no memory: it is also made when there is none.
struct record_failure {
    enum class cause {
        none,
        damaged,    ///< the record contradicts itself or the tables
        unreadable, ///< its bytes cannot be had
        no_memory,  ///< the system gave none
        no_room     ///< does not fit the budget
    };

    cause what = cause::none;
    const char* text = ""; ///< a constant
    int error_number = 0;  ///< whose words belong to the text; 0 for none
    std::size_t bytes = 0; ///< that the text speaks of; 0 for none
    bool may_pass = false; ///< the same call may succeed once the program holds less

    explicit operator bool() const noexcept
    {
        return what != cause::none;
    }
    fault why() const noexcept;
    std::string reason() const;
};

/// Memory of decoded records, taken piece by piece and released as a whole. One thread at a time.
class batch_arena
{
public:
    struct mark {
        std::size_t blocks = 0;
        std::size_t used = 0;
        std::size_t bytes = 0;
        std::size_t asked = 0;
    };
    /// Whether blocks have room for what may follow, and may be larger pieces that are there, or are as large as they
    /// must be: then what they amount to depends on the records alone.
    enum class blocks { roomy, exact };

    /// Gives no more than `limit` bytes; from the heap when there is no pool.
    explicit batch_arena(std::size_t limit, std::shared_ptr<memory_pool> pool = nullptr,
                         blocks kind = blocks::roomy) noexcept
        : limit_(limit), kind_(kind), pool_(std::move(pool))
    {
    }
    /// `size` bytes at a multiple of 8; null when there is no memory, or the limit would be passed.
    void* allocate(std::size_t size) noexcept;
    /// A block for use while a record is decoded, which counts for the limit until it is taken back; null as above.
    memory_block lend(std::size_t size) noexcept;
    void take_back(memory_block block) noexcept;
    /// Bytes of the largest block that was lent, or refused.
    std::size_t largest_lent() const noexcept
    {
        return largest_lent_;
    }
    mark position() const noexcept
    {
        return {blocks_.size(), used_, bytes_, asked_};
    }
    void rewind(mark to) noexcept;
    /// Gives up all memory.
    void release() noexcept
    {
        rewind({});
    }
    /// Bytes of all blocks; of exact ones without what is left of their last page.
    std::size_t bytes() const noexcept
    {
        return bytes_;
    }
    /// Whether a request was refused since it would have passed the limit.
    bool is_exhausted() const noexcept
    {
        return refused_ != 0;
    }
    /// Bytes that there would have been at least with the refused request.
    std::size_t refused() const noexcept
    {
        return refused_;
    }

private:
    bool has_room(std::size_t size) noexcept;
    std::size_t largest_for(std::size_t size) const noexcept;

    std::vector<memory_block> blocks_; // the last one is in use
    std::size_t used_ = 0;             // bytes of it
    std::size_t bytes_ = 0;
    std::size_t asked_ = 0; // bytes that were given away
    std::size_t limit_;
    blocks kind_;
    std::shared_ptr<memory_pool> pool_; // blocks that came from it keep it as well
    std::size_t lent_ = 0;
    std::size_t largest_lent_ = 0;
    std::size_t refused_ = 0;
};

/// Bytes that all batches of a reader occupy.
struct memory_account {
    std::atomic<std::size_t> bytes{0};
};

} // namespace trox::detail

#endif
