// Loads and stores of big-endian fields at any address, and checked ranges. Header-only.
#ifndef TROX_DETAIL_BIG_ENDIAN_H
#define TROX_DETAIL_BIG_ENDIAN_H

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace trox_detail
{

/// `value` with its bytes reversed.
template <class Integer> constexpr Integer byte_swapped(Integer value) noexcept
{
    static_assert(std::is_integral_v<Integer>);
    if constexpr (sizeof(Integer) == 8) {
        return static_cast<Integer>(__builtin_bswap64(static_cast<std::uint64_t>(value)));
    } else if constexpr (sizeof(Integer) == 4) {
        return static_cast<Integer>(__builtin_bswap32(static_cast<std::uint32_t>(value)));
    } else {
        static_assert(sizeof(Integer) == 2);
        return static_cast<Integer>(__builtin_bswap16(static_cast<std::uint16_t>(value)));
    }
}

/// Big-endian to host order, or back.
template <class Integer> constexpr Integer big_endian(Integer value) noexcept
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return byte_swapped(value);
#else
    return value;
#endif
}

/// A copy of the record at `source`, which may lie at any address. Bytes are not swapped.
template <class Record> Record load_record(const void* source) noexcept
{
    static_assert(std::is_trivially_copyable_v<Record>);
    Record record;
    std::memcpy(&record, source, sizeof record);
    return record;
}

/// The big-endian integer at `source`, in host order.
template <class Integer> Integer load_big_endian(const void* source) noexcept
{
    return big_endian(load_record<Integer>(source));
}

/// Writes an integer big-endian at `destination`.
template <class Integer> void store_big_endian(void* destination, Integer value) noexcept
{
    const Integer swapped = big_endian(value);
    std::memcpy(destination, &swapped, sizeof swapped);
}

/// True when [position, position + size) lies in [begin, begin + length), without overflow.
constexpr bool range_fits(std::uint64_t position, std::uint64_t size, std::uint64_t begin,
                          std::uint64_t length) noexcept
{
    return position >= begin && position - begin <= length && size <= length - (position - begin);
}

} // namespace trox_detail

#endif
