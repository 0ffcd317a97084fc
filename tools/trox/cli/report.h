// Results, written as a table for people, JSON, NDJSON or CSV.
//
// A report is a sequence of sections, each a set of named values or a table. A verb says what is in it, once; the
// renderer of the chosen format does the rest. Rows are written as they come, so that a report may be of any length.
//
//     report result = context.open_report();
//     result.fields({"file", "File"}, {{{"path"}, path}, {{"size", column_type::bytes}, size}});
//     result.begin_table({"channels", "Channels"}, {{"name"}, {"records", column_type::integer}});
//     result.row({name, records});
//     result.end_table();
//     result.finish();
#ifndef TROX_CLI_REPORT_H
#define TROX_CLI_REPORT_H

#include "cells.h"
#include "times.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace trox_cli
{

class output;

/// A section: its name is the field of the JSON document that holds it. Without a title, tables have no heading line.
struct section {
    std::string name;
    std::string title{};
};

/// What a report knows of where it goes.
struct report_setting {
    std::string schema; ///< "trox.list/1"
    time_display times{};
    bool has_colors = false;
    column_view detail = column_view::everywhere; ///< exact: tables for people have all columns
    std::size_t width = 0;                        ///< of the terminal; 0: no limit
    bool is_terminal = false;                     ///< nothing may move its cursor
};

/// Writes sections in one format. The calls come in the order that `report` makes sure of.
class renderer
{
public:
    virtual ~renderer() = default;
    virtual void fields(const section& head, const std::vector<field>& values) = 0;
    virtual void begin_table(const section& head, const std::vector<column>& columns) = 0;
    virtual void row(const std::vector<cell>& cells) = 0;
    virtual void end_table() = 0;
    virtual void finish() = 0;
};

std::unique_ptr<renderer> make_table_renderer(output& out, const report_setting& setting);
std::unique_ptr<renderer> make_json_renderer(output& out, const report_setting& setting);
std::unique_ptr<renderer> make_ndjson_renderer(output& out, const report_setting& setting);
/// For a report of one table: its columns, a line per row.
std::unique_ptr<renderer> make_csv_table_renderer(output& out, const report_setting& setting);
/// For a report of several sections: columns section, row, field and value, a line per value.
std::unique_ptr<renderer> make_csv_values_renderer(output& out, const report_setting& setting);

/// Any call may throw what `output::write` throws; std::logic_error when sections, columns and rows do not fit.
class report
{
public:
    explicit report(std::unique_ptr<renderer> how);

    void fields(const section& head, const std::vector<field>& values);
    void begin_table(const section& head, std::vector<column> columns);
    /// As many cells as there are columns.
    void row(const std::vector<cell>& cells);
    void end_table();
    /// Ends the report; the output has yet to be finished.
    void finish();

private:
    std::unique_ptr<renderer> how_;
    std::size_t columns_ = 0;
    bool is_in_table_ = false;
};

} // namespace trox_cli

#endif
