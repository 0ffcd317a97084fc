// Rows sorted into the columns of a file: which column a row belongs to, whatever a channel's records hold.
#ifndef TROX_EXPORT_COLUMNS_H
#define TROX_EXPORT_COLUMNS_H

#include "rows.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace trox_export
{

/// A column of a channel.
struct column {
    std::size_t channel = 0;
    std::string name{};     ///< unique in the channel
    std::string row_name{}; ///< of the rows that it takes
    element type = element::f32;
    layout form = layout::scalar;
    role use = role::side;
};

/// Columns in the order in which they were met. A row whose name was met with another type or layout gets a column of
/// its own, with the type in its name: "image.u16".
class column_list
{
public:
    explicit column_list(std::size_t channels) : of_channel_(channels) {}
    /// Index of the row's column. `made` is called with a new one, and may throw: the column is not there then.
    std::size_t find(std::size_t channel, const row& what, const std::function<void(const column&)>& made);
    const std::vector<column>& all() const noexcept
    {
        return columns_;
    }

private:
    column make(std::size_t channel, const row& what) const;

    std::vector<column> columns_;
    std::vector<std::vector<std::size_t>> of_channel_;
};

} // namespace trox_export

#endif
