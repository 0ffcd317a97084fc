// Fields as readable lines on standard output: "name: value".
#ifndef TROX_EVUTL_PRINT_FIELDS_H
#define TROX_EVUTL_PRINT_FIELDS_H

#include "event.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace trox_evutl
{

/// Prints the fields of one record. A record inside another one gets a printer of its own, whose names begin with
/// the place: "entries[3].key: 7". Never allocates.
class field_printer
{
public:
    field_printer() noexcept = default;

    /// The printer for the record at `index` of the array `name`.
    field_printer element(std::string_view name, std::size_t index) const noexcept;

    void number(std::string_view name, std::int64_t value) const noexcept;
    void number(std::string_view name, std::uint64_t value) const noexcept;
    void number(std::string_view name, std::int32_t value) const noexcept
    {
        number(name, std::int64_t{value});
    }
    void number(std::string_view name, std::uint32_t value) const noexcept
    {
        number(name, std::uint64_t{value});
    }
    void mask(std::string_view name, std::uint64_t value) const noexcept;
    void mask(std::string_view name, std::uint32_t value) const noexcept
    {
        mask(name, std::uint64_t{value});
    }
    void mask(std::string_view name, std::int32_t value) const noexcept
    {
        mask(name, std::uint64_t{static_cast<std::uint32_t>(value)});
    }
    void real(std::string_view name, float value) const noexcept;
    void time(std::string_view name, time_stamp value) const noexcept;

    /// ASCII; bytes that are no printable character become '?'.
    void text(std::string_view name, std::string_view value) const noexcept;
    template <std::size_t Size> void text(std::string_view name, const char (&field)[Size]) const noexcept
    {
        text(name, std::string_view{field, strnlen(field, Size)});
    }

    /// One line with all values; `values` may lie at any address.
    void reals(std::string_view name, const void* values, std::size_t count) const noexcept;
    void integers(std::string_view name, const void* values, std::size_t count) const noexcept;

private:
    void begin(std::string_view name) const noexcept;

    std::array<char, 96> prefix_{};
    std::size_t prefix_size_ = 0;
};

} // namespace trox_evutl

#endif
