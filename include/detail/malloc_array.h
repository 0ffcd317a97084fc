// Memory from malloc with an owner.
#ifndef TROX_DETAIL_MALLOC_ARRAY_H
#define TROX_DETAIL_MALLOC_ARRAY_H

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace trox_detail
{

/// Frees what malloc gave.
struct block_deleter {
    void operator()(void* block) const noexcept
    {
        std::free(block);
    }
};

/// A fixed number of elements in one malloc'd block; without a block until it adopts one.
template <class T> class malloc_array
{
public:
    malloc_array() = default;
    malloc_array(const malloc_array&) = delete;
    malloc_array& operator=(const malloc_array&) = delete;
    ~malloc_array()
    {
        clear();
    }

    /// Takes over a block with room for `count` elements, which are value-initialised there. Drops what was held.
    void adopt(void* block, std::size_t count) noexcept
    {
        clear();
        elements_ = static_cast<T*>(block);
        count_ = count;
        std::uninitialized_value_construct_n(elements_, count_);
    }
    /// Destroys the elements and frees the block.
    void clear() noexcept
    {
        std::destroy_n(elements_, count_);
        std::free(elements_);
        elements_ = nullptr;
        count_ = 0;
    }

    explicit operator bool() const noexcept
    {
        return elements_ != nullptr;
    }
    std::size_t size() const noexcept
    {
        return count_;
    }
    T& operator[](std::size_t i) const noexcept
    {
        return elements_[i];
    }
    T* begin() const noexcept
    {
        return elements_;
    }
    T* end() const noexcept
    {
        return elements_ + count_;
    }

private:
    T* elements_ = nullptr;
    std::size_t count_ = 0;
};

} // namespace trox_detail

#endif
