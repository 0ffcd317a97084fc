// Byte reversal of arrays of words at memory speed.
#ifndef TROX_EVUTL_BYTE_SWAP_H
#define TROX_EVUTL_BYTE_SWAP_H

#include <cstddef>

namespace trox_evutl
{

/// Copies `count` 32-bit words from `source` to `destination`, each with its bytes reversed. Any alignment;
/// the two may be equal but must not overlap otherwise. The widest vector unit of the machine does the work,
/// chosen once at run time.
void swap_words_4(const void* source, void* destination, std::size_t count) noexcept;

/// The same for 64-bit words.
void swap_words_8(const void* source, void* destination, std::size_t count) noexcept;

/// The loops that `swap_words_*` choose from. Each reverses the words of the leading whole vectors of `size`
/// bytes and tells how many bytes that were; the caller does the rest word by word.
struct swap_kernels {
    const char* name;
    std::size_t (*swap_4)(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept;
    std::size_t (*swap_8)(const unsigned char* source, unsigned char* destination, std::size_t size) noexcept;
};

/// The kernels that this machine can run, slowest first, for tests and measurements; ends with a null name.
const swap_kernels* available_swap_kernels() noexcept;

} // namespace trox_evutl

#endif
