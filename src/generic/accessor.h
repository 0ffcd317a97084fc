// What the parts of the event record accessor share.
#ifndef TROX_GENERIC_ACCESSOR_H
#define TROX_GENERIC_ACCESSOR_H

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

class trox_daq_getdata;

namespace trox_detail::accessor
{

// Status of an accessor that has selected a channel, and answers.
inline constexpr int ready = 1;
inline constexpr int failed = -1;
inline constexpr int no_payload = -2;

// Kinds of values.
inline constexpr int single_values = 2;
inline constexpr int spectrum = 3;
inline constexpr int image = 4;
inline constexpr int control_system_value = 5;

// Classes of channels.
inline constexpr int fast = 1;
inline constexpr int slow = 2;

/// Tells a failure, in a line on standard error.
inline int tell(const char* text)
{
    std::fprintf(stderr, "trox_daq_getdata::%s\n", text);
    return failed;
}

template <class Value> void put(Value* destination, Value value)
{
    if (destination != nullptr) {
        *destination = value;
    }
}

/// Text of a field that ends at its NUL or with the field.
template <std::size_t Size> std::string_view text_of(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

/// The name of the selected channel, under which `SetProp` finds it; ends with its field, if it has no NUL.
std::string_view name_of(const trox_daq_getdata& event);

/// Pixels of an image in memory.
struct pixel_rows {
    const unsigned char* bytes = nullptr;
    std::size_t size = 0; ///< bytes that are there
    int nx = 0;
    int ny = 0;
    int bpp = 0; ///< bytes per pixel, big-endian
};

/// Adds the pixels to `values` (null: only looks whether they are there), row by row. False, with a line on standard
/// error, for a pixel that is not there or has no place in `values`.
bool add_pixels(const pixel_rows& rows, float* values, std::size_t size);

} // namespace trox_detail::accessor

#endif
