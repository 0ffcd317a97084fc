#include "byte_swap.h"

#include "detail/big_endian.h"

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace trox_evutl
{

namespace
{

template <class Word> void swap_plain_in_place(unsigned char* words, std::size_t size) noexcept
{
    for (std::size_t at = 0; at < size; at += sizeof(Word)) {
        const Word word = trox_detail::byte_swapped(trox_detail::load_record<Word>(words + at));
        std::memcpy(words + at, &word, sizeof word);
    }
}

template <class Word>
void swap_plain_copy(const unsigned char* __restrict source, unsigned char* __restrict destination,
                     std::size_t size) noexcept
{
    for (std::size_t at = 0; at < size; at += sizeof(Word)) {
        const Word word = trox_detail::byte_swapped(trox_detail::load_record<Word>(source + at));
        std::memcpy(destination + at, &word, sizeof word);
    }
}

/// Two loops, since a compiler vectorises each of them only when it knows which of the two cases it is.
template <class Word>
std::size_t swap_plain(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept
{
    if (source == destination) {
        swap_plain_in_place<Word>(destination, size);
    } else {
        swap_plain_copy<Word>(source, destination, size);
    }
    return size;
}

constexpr swap_kernels plain_kernels{"plain", &swap_plain<std::uint32_t>, &swap_plain<std::uint64_t>};

#if defined(__x86_64__)

// Where each byte of a 16-byte lane comes from when its 4- or 8-byte words are reversed.
alignas(16) constexpr std::array<std::uint8_t, 16> reverse_4{3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12};
alignas(16) constexpr std::array<std::uint8_t, 16> reverse_8{7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8};

// Every vector is loaded before it is stored, so that one loop serves both copying and in place. Explicit
// unrolling keeps four loads in flight, which the copying case needs to reach the speed of memcpy.

[[gnu::target("ssse3")]] std::size_t swap_ssse3(const unsigned char* source, unsigned char* destination,
                                                std::size_t size, const std::array<std::uint8_t, 16>& order) noexcept
{
    const __m128i mask = _mm_load_si128(reinterpret_cast<const __m128i*>(order.data()));
    constexpr std::size_t width = sizeof(__m128i);
    std::size_t at = 0;
    for (; size - at >= 4 * width; at += 4 * width) {
        const auto* from = reinterpret_cast<const __m128i_u*>(source + at);
        auto* to = reinterpret_cast<__m128i_u*>(destination + at);
        const __m128i a = _mm_shuffle_epi8(_mm_loadu_si128(from), mask);
        const __m128i b = _mm_shuffle_epi8(_mm_loadu_si128(from + 1), mask);
        const __m128i c = _mm_shuffle_epi8(_mm_loadu_si128(from + 2), mask);
        const __m128i d = _mm_shuffle_epi8(_mm_loadu_si128(from + 3), mask);
        _mm_storeu_si128(to, a);
        _mm_storeu_si128(to + 1, b);
        _mm_storeu_si128(to + 2, c);
        _mm_storeu_si128(to + 3, d);
    }
    for (; size - at >= width; at += width) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(source + at));
        _mm_storeu_si128(reinterpret_cast<__m128i_u*>(destination + at), _mm_shuffle_epi8(a, mask));
    }
    return at;
}

[[gnu::target("avx2")]] std::size_t swap_avx2(const unsigned char* source, unsigned char* destination, std::size_t size,
                                              const std::array<std::uint8_t, 16>& order) noexcept
{
    const __m256i mask = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(order.data())));
    constexpr std::size_t width = sizeof(__m256i);
    std::size_t at = 0;
    for (; size - at >= 4 * width; at += 4 * width) {
        const auto* from = reinterpret_cast<const __m256i_u*>(source + at);
        auto* to = reinterpret_cast<__m256i_u*>(destination + at);
        const __m256i a = _mm256_shuffle_epi8(_mm256_loadu_si256(from), mask);
        const __m256i b = _mm256_shuffle_epi8(_mm256_loadu_si256(from + 1), mask);
        const __m256i c = _mm256_shuffle_epi8(_mm256_loadu_si256(from + 2), mask);
        const __m256i d = _mm256_shuffle_epi8(_mm256_loadu_si256(from + 3), mask);
        _mm256_storeu_si256(to, a);
        _mm256_storeu_si256(to + 1, b);
        _mm256_storeu_si256(to + 2, c);
        _mm256_storeu_si256(to + 3, d);
    }
    for (; size - at >= width; at += width) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(source + at));
        _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(destination + at), _mm256_shuffle_epi8(a, mask));
    }
    return at;
}

std::size_t swap_4_ssse3(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept
{
    return swap_ssse3(source, destination, size, reverse_4);
}

std::size_t swap_8_ssse3(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept
{
    return swap_ssse3(source, destination, size, reverse_8);
}

std::size_t swap_4_avx2(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept
{
    return swap_avx2(source, destination, size, reverse_4);
}

std::size_t swap_8_avx2(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept
{
    return swap_avx2(source, destination, size, reverse_8);
}

#endif

struct kernel_list {
    std::array<swap_kernels, 4> kernels{};
    std::size_t count = 0;

    void add(const swap_kernels& kernel) noexcept
    {
        kernels[count++] = kernel;
    }
};

kernel_list find_kernels() noexcept
{
    kernel_list list;
    list.add(plain_kernels);
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("ssse3")) {
        list.add({"ssse3", &swap_4_ssse3, &swap_8_ssse3});
    }
    if (__builtin_cpu_supports("avx2")) {
        list.add({"avx2", &swap_4_avx2, &swap_8_avx2});
    }
#endif
    return list;
}

const kernel_list& known_kernels() noexcept
{
    static const kernel_list list = find_kernels();
    return list;
}

const swap_kernels& best_kernels() noexcept
{
    const kernel_list& list = known_kernels();
    return list.kernels[list.count - 1];
}

/// Below this size the choice of a loop costs more than the loop.
constexpr std::size_t vector_threshold = 64;

} // namespace

const swap_kernels* available_swap_kernels() noexcept
{
    return known_kernels().kernels.data();
}

void swap_words_4(const void* source, void* destination, std::size_t count) noexcept
{
    const auto* from = static_cast<const unsigned char*>(source);
    auto* to = static_cast<unsigned char*>(destination);
    const std::size_t size = count * sizeof(std::uint32_t);
    const std::size_t done = size < vector_threshold ? 0 : best_kernels().swap_4(from, to, size);
    swap_plain<std::uint32_t>(from + done, to + done, size - done);
}

void swap_words_8(const void* source, void* destination, std::size_t count) noexcept
{
    const auto* from = static_cast<const unsigned char*>(source);
    auto* to = static_cast<unsigned char*>(destination);
    const std::size_t size = count * sizeof(std::uint64_t);
    const std::size_t done = size < vector_threshold ? 0 : best_kernels().swap_8(from, to, size);
    swap_plain<std::uint64_t>(from + done, to + done, size - done);
}

} // namespace trox_evutl
