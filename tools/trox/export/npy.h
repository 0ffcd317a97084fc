// NumPy's array files (format version 1.0): a head, then the elements.
#ifndef TROX_EXPORT_NPY_H
#define TROX_EXPORT_NPY_H

#include "rows.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace trox_export
{

/// An array of rows: [rows], [rows, elements] or [rows, lines, elements].
struct npy_array {
    element type = element::f32;
    layout form = layout::scalar;
    std::uint64_t rows = 0;
    std::array<std::size_t, 2> shape{1, 1};
    std::size_t text_size = 0; ///< bytes of a text, filled up with zeros
};

std::size_t element_size(const npy_array& array) noexcept;
std::size_t row_size(const npy_array& array) noexcept;
std::string npy_head(const npy_array& array);
/// Reads a head with `read(place, size)`, which throws when there are fewer bytes. Throws difference for a head of
/// another type or number of dimensions than the array's, whose sizes it sets.
void load_npy_head(const std::function<void(void*, std::size_t)>& read, npy_array& array);

} // namespace trox_export

#endif
