// SHA-256, for comparing decoded data with the sums that the sample runs' expectations carry.
#ifndef TROX_TEST_SHA256_H
#define TROX_TEST_SHA256_H

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace trox_test
{

namespace sha256_detail
{

/// The first 32 fractional bits of `root(prime)` for the first `Count` primes, as the algorithm defines its constants.
template <std::size_t Count> std::array<std::uint32_t, Count> prime_constants(long double (*root)(long double))
{
    std::array<std::uint32_t, Count> constants{};
    std::size_t found = 0;
    for (unsigned candidate = 2; found < Count; ++candidate) {
        bool is_prime = true;
        for (unsigned divisor = 2; divisor * divisor <= candidate; ++divisor) {
            is_prime = is_prime && candidate % divisor != 0;
        }
        if (is_prime) {
            const long double value = root(static_cast<long double>(candidate));
            const long double fraction = value - std::floor(value);
            constants[found++] = static_cast<std::uint32_t>(fraction * 4294967296.0L);
        }
    }
    return constants;
}

inline void add_block(std::array<std::uint32_t, 8>& state, const unsigned char* block)
{
    static const auto constants = prime_constants<64>([](long double x) { return std::cbrt(x); });
    std::array<std::uint32_t, 64> words{};
    for (std::size_t i = 0; i < 16; ++i) {
        std::uint32_t word = 0;
        std::memcpy(&word, block + 4 * i, sizeof word);
        words[i] = __builtin_bswap32(word);
    }
    for (std::size_t i = 16; i < 64; ++i) {
        const std::uint32_t a = words[i - 15];
        const std::uint32_t b = words[i - 2];
        const std::uint32_t low = std::rotr(a, 7) ^ std::rotr(a, 18) ^ (a >> 3);
        const std::uint32_t high = std::rotr(b, 17) ^ std::rotr(b, 19) ^ (b >> 10);
        words[i] = words[i - 16] + low + words[i - 7] + high;
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < 64; ++i) {
        const std::uint32_t sum_e = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const std::uint32_t first = h + sum_e + ((e & f) ^ (~e & g)) + constants[i] + words[i];
        const std::uint32_t sum_a = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
        const std::uint32_t second = sum_a + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const std::array<std::uint32_t, 8> sums{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < 8; ++i) {
        state[i] += sums[i];
    }
}

} // namespace sha256_detail

/// The SHA-256 of `size` bytes, in hexadecimal.
inline std::string sha256(const void* data, std::size_t size)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::vector<unsigned char> message(bytes, bytes + size);
    message.push_back(0x80);
    message.resize((message.size() + 8 + 63) / 64 * 64);
    for (std::size_t i = 0; i < 8; ++i) {
        message[message.size() - 1 - i] = static_cast<unsigned char>((std::uint64_t{size} * 8) >> (8 * i));
    }
    auto state = sha256_detail::prime_constants<8>([](long double x) { return std::sqrt(x); });
    for (std::size_t at = 0; at < message.size(); at += 64) {
        sha256_detail::add_block(state, message.data() + at);
    }
    std::string text;
    for (const std::uint32_t word : state) {
        for (int shift = 28; shift >= 0; shift -= 4) {
            text.push_back("0123456789abcdef"[(word >> shift) & 15U]);
        }
    }
    return text;
}

} // namespace trox_test

#endif
