// Loading big-endian heads of 32-bit words, some of which hold text.
#ifndef TROX_GENERIC_HOST_ORDER_H
#define TROX_GENERIC_HOST_ORDER_H

#include "detail/big_endian.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace trox_detail
{

inline void swap_words(unsigned char* words, std::size_t bytes) noexcept
{
    for (std::size_t at = 0; at + sizeof(std::uint32_t) <= bytes; at += sizeof(std::uint32_t)) {
        store_big_endian(words + at, load_record<std::uint32_t>(words + at));
    }
}

/// Loads a head that consists of 32-bit words.
template <class Head> void load_words(const void* source, Head& head) noexcept
{
    std::memcpy(&head, source, sizeof head);
    swap_words(reinterpret_cast<unsigned char*>(&head), sizeof head);
}

/// Loads a head of 32-bit words around one text, a member of the head, which stays as it is.
template <class Head, std::size_t N> void load_words_but_text(const void* source, Head& head, char (&text)[N]) noexcept
{
    static_assert(N % sizeof(std::uint32_t) == 0);
    std::memcpy(&head, source, sizeof head);
    auto* begin = reinterpret_cast<unsigned char*>(&head);
    auto* text_begin = reinterpret_cast<unsigned char*>(text);
    swap_words(begin, static_cast<std::size_t>(text_begin - begin));
    swap_words(text_begin + N, sizeof head - N - static_cast<std::size_t>(text_begin - begin));
}

/// The text of a fixed-width field, which ends at its NUL or with the field.
template <std::size_t N> std::size_t text_length(const char (&field)[N]) noexcept
{
    return strnlen(field, N);
}

} // namespace trox_detail

#endif
