// Formats that hold a column per array: the events of an export column by column, written and compared.
#ifndef TROX_EXPORT_TABLE_H
#define TROX_EXPORT_TABLE_H

#include "columns.h"
#include "consumer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace trox_export
{

/// What stands where a row has no element: NaN, 0, "", and the smallest number for times (which NumPy reads as NaT).
/// `size_of(type)` bytes.
const std::byte* fill_of(element type) noexcept;

/// Takes the rows of a column that is being written.
class column_sink
{
public:
    virtual ~column_sink() = default;
    /// `event`: which one, counted from 0; ascending. Events that are left out have no row.
    virtual void put(std::uint64_t event, const row& what) = 0;
};

/// A file that is being written. Columns live shorter.
class table_target
{
public:
    virtual ~table_target() = default;
    /// A channel number equal to the number of channels stands for columns of the events themselves.
    virtual std::unique_ptr<column_sink> make_column(const column& what) = 0;
    /// All columns have a row for each of so many events then.
    virtual void finish(std::uint64_t events) = 0;
};

/// Reads the rows of a written column one by one.
class column_source
{
public:
    virtual ~column_source() = default;
    /// Moves to the next row; false behind the last.
    virtual bool next() = 0;
    /// Lines and elements of every row.
    virtual std::array<std::size_t, 2> shape() const = 0;
    /// The present row; `texts` for text.
    virtual const std::byte* data() const = 0;
    virtual const std::string_view* texts() const = 0;
};

class table_source
{
public:
    virtual ~table_source() = default;
    /// Throws difference when there is no such column, or one of another type.
    virtual std::unique_ptr<column_source> open_column(const column& what) = 0;
    /// Number of columns in the file.
    virtual std::size_t columns() = 0;
};

std::unique_ptr<event_consumer> make_table_writer(std::size_t channels, std::unique_ptr<table_target> target);
std::unique_ptr<event_consumer> make_table_checker(std::vector<channel_head> channels,
                                                   std::unique_ptr<table_source> source);

/// Bytes that one column may hold before it writes them, when a table of so many channels may hold `budget` bytes.
std::size_t column_budget(std::size_t budget, std::size_t channels) noexcept;

} // namespace trox_export

#endif
