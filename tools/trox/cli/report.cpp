#include "report.h"

#include <stdexcept>
#include <utility>

namespace trox_cli
{
namespace
{

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::logic_error(what);
    }
}

} // namespace

report::report(std::unique_ptr<renderer> how) : how_(std::move(how)) {}

void report::fields(const section& head, const std::vector<field>& values)
{
    require(!is_in_table_, "a section within a table");
    how_->fields(head, values);
}

void report::begin_table(const section& head, std::vector<column> columns)
{
    require(!is_in_table_, "a table within a table");
    is_in_table_ = true;
    columns_ = columns.size();
    how_->begin_table(head, columns);
}

void report::row(const std::vector<cell>& cells)
{
    require(is_in_table_ && cells.size() == columns_, "a row that fits no table");
    how_->row(cells);
}

void report::end_table()
{
    require(is_in_table_, "the end of no table");
    is_in_table_ = false;
    how_->end_table();
}

void report::finish()
{
    require(!is_in_table_, "a report that ends within a table");
    how_->finish();
}

} // namespace trox_cli
