// The values of a record as rows of named columns: what every file format is written from, and compared with.
//
// A channel has the same columns in all formats:
//
//   present          0: no record in the event, 1: recorded in it, 2: a slow value that an earlier event brought
//   record_time      time of the record itself (cameras answer later than the machine event)
//   errors           error bits of the record
//   length           elements of the value columns' rows (of each of them; rows of other lengths are filled up)
//   MEMBER           samples of a trace's member, group by group; the member's name in capitals as the channel has it
//   MEMBER.statistics  values that the front end computed; NaN for those that it did not
//   axis             start, increment and group increment of the samples, and the number of groups
//   region           x, y, width and height of a region of interest in its image
//   image            pixels; frame: its number; origin: place of its first pixel on the chip
//   shape            rows and columns of the image
//   name, value      name/value lists; with id and comment
//   value            of a slow channel; with status and set_time
//   floats, integers, text   of a control value, whichever it has; with type, status and set_time
//   payload          bytes of a record whose layout is not known, or that holds no values
#ifndef TROX_EXPORT_ROWS_H
#define TROX_EXPORT_ROWS_H

#include "trox/event_reader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace trox_export
{

/// Type of a column's elements; `time` counts microseconds since 1970 in UTC as a signed 64-bit number.
enum class element { u8, u16, u32, u64, i32, f32, f64, time, text };
/// Bytes of an element; 0 for text.
std::size_t size_of(element type) noexcept;
/// "u8", "f32" and so on.
const char* name_of(element type) noexcept;

/// Whether a row is one element, a list of them, or lines of them.
enum class layout { scalar, vector, matrix };

/// What a column is for: the values themselves, or what goes with them.
enum class role { value, side };

/// One record's row of a column. Borrows everything.
struct row {
    std::string_view name{};
    element type = element::f32;
    layout form = layout::scalar;
    role use = role::side;
    std::array<std::size_t, 2> shape{1, 1}; ///< lines and elements of each; a scalar has one of both, a vector one line
    const std::byte* data = nullptr;        ///< elements in host order, at any address; null for text
    const std::string_view* texts = nullptr; ///< in UTF-8; names are as the data have them

    std::size_t count() const noexcept
    {
        return shape[0] * shape[1];
    }
    std::size_t bytes() const noexcept
    {
        return count() * size_of(type);
    }
};

/// The row's elements, whose type must have the right size.
template <class T> T element_at(const row& from, std::size_t i)
{
    T value{};
    __builtin_memcpy(&value, from.data + i * sizeof(T), sizeof(T));
    return value;
}

enum class presence : std::uint8_t { missing = 0, recorded = 1, carried = 2 };
presence presence_of(const trox::record& record) noexcept;

/// Makes rows of records. One thread at a time.
class row_maker
{
public:
    /// Rows of the record; only `present` for an empty one. They stay valid until the next call, as long as the record
    /// lives.
    const std::vector<row>& rows_of(const trox::record& record);

private:
    template <class T> void add_scalar(std::string_view name, element type, const T& value, role use = role::side);
    template <class T> void add_list(std::string_view name, element type, const T* values, std::size_t count);
    template <class T, std::size_t N>
    void add_array(std::string_view name, element type, const std::array<T, N>& values);
    template <class T> const std::byte* pixels_as(const trox::image_view& image);
    void add_members(const trox::record& record);
    void add_statistics(const trox::trace_view& view);
    void add_image(const trox::image_view& image);
    void add_values(const trox::name_value_list& list);
    void add_control(const trox::record& record, const trox::control_value& control);
    void add_payload(const trox::record& record);
    void add_kind(const trox::record& record);
    std::byte* keep(std::size_t bytes);
    std::string_view valid(std::string_view text);

    std::vector<row> rows_;
    std::deque<std::vector<std::byte>> kept_; // what rows point at and the record does not hold
    std::size_t kept_count_ = 0;
    std::vector<std::string_view> texts_;
    std::string_view comment_;
    std::string_view text_;
    std::deque<std::string> names_; // of statistics, and texts that were no UTF-8
    std::size_t name_count_ = 0;
};

} // namespace trox_export

#endif
