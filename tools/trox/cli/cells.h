// Typed values in named columns: what results are made of, whatever format they are written in.
#ifndef TROX_CLI_CELLS_H
#define TROX_CLI_CELLS_H

#include "trox/basics.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace trox_cli
{

enum class column_type {
    text,
    integer,
    real,
    time,
    boolean,
    list,    ///< of any of the above
    bytes,   ///< an integer; tables show "1.5 MiB"
    duration ///< an integer, microseconds (the name ends with "_us"); tables show "1.5 ms"
};

/// Where a column is written.
enum class column_view {
    everywhere,
    exact ///< not in tables for people, unless all is asked for
};

/// A column, or a named value. The name is the field's name in JSON: never renamed, never retyped.
struct column {
    std::string name;
    column_type type = column_type::text;
    column_view view = column_view::everywhere;
    std::string title{};         ///< heading in tables; empty: the name
    std::optional<int> digits{}; ///< significant digits of a real in tables; else as many as it needs
};

/// Single value. Null is what is not known or does not apply.
using scalar =
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, float, double, std::string, trox::time_point>;

/// How a cell stands out in a table with colours.
enum class tone { plain, good, warning, bad, dim };

/// A value of a row: null, a scalar or a list.
class cell
{
public:
    cell() = default;
    cell(std::nullopt_t) {}
    cell(bool value) : value_(value) {}
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>, int> = 0>
    cell(Integer value) : value_(as_integer(value))
    {
    }
    cell(float value) : value_(value) {}
    cell(double value) : value_(value) {}
    cell(const char* text) : value_(std::string(text)) {}
    cell(std::string text) : value_(std::move(text)) {}
    cell(std::string_view text) : value_(std::string(text)) {}
    cell(trox::time_point time) : value_(time) {}
    cell(trox::microseconds duration) : value_(std::int64_t{duration.count()}) {}
    cell(scalar value) : value_(std::move(value)) {}
    cell(std::vector<scalar> values) : list_(std::move(values)) {}
    template <class Value> cell(const std::optional<Value>& value) : cell(value ? cell(*value) : cell()) {}
    /// A list of what makes scalars.
    template <class Range> static cell list(const Range& range)
    {
        std::vector<scalar> values;
        for (const auto& value : range) {
            values.push_back(cell(value).value_);
        }
        return cell(std::move(values));
    }

    cell with(tone shade) const
    {
        cell copy = *this;
        copy.shade_ = shade;
        return copy;
    }

    const scalar& value() const noexcept
    {
        return value_;
    }
    /// Null unless this is a list.
    const std::vector<scalar>* elements() const noexcept
    {
        return list_ ? &*list_ : nullptr;
    }
    bool is_null() const noexcept
    {
        return !list_ && std::holds_alternative<std::monostate>(value_);
    }
    tone shade() const noexcept
    {
        return shade_;
    }

private:
    template <class Integer> static scalar as_integer(Integer value)
    {
        if constexpr (std::is_signed_v<Integer>) {
            return static_cast<std::int64_t>(value);
        } else {
            return static_cast<std::uint64_t>(value);
        }
    }

    scalar value_{};
    std::optional<std::vector<scalar>> list_{};
    tone shade_ = tone::plain;
};

/// A named value of a section.
struct field {
    column what;
    cell value;
};

} // namespace trox_cli

#endif
