// CSV as RFC 4180 has it: fields with commas, quotes or line ends are quoted, lines end with CR LF.
#include "cell_text.h"
#include "output.h"
#include "report.h"

namespace trox_cli
{
namespace
{

std::string csv_field(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char character : text) {
        quoted += character;
        if (character == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

void write_line(output& out, const std::vector<std::string>& texts)
{
    std::string line;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        line += i == 0 ? "" : ",";
        line += csv_field(texts[i]);
    }
    out.write(line + "\r\n");
}

class csv_table_renderer final : public renderer
{
public:
    csv_table_renderer(output& out, const report_setting& setting) : out_(out), times_(setting.times) {}

    /// A set of values is a table of one row.
    void fields(const section& head, const std::vector<field>& values) override
    {
        std::vector<column> columns;
        std::vector<cell> cells;
        for (const field& value : values) {
            columns.push_back(value.what);
            cells.push_back(value.value);
        }
        begin_table(head, columns);
        row(cells);
    }
    void begin_table(const section&, const std::vector<column>& columns) override
    {
        std::vector<std::string> names;
        for (const column& what : columns) {
            names.push_back(what.name);
        }
        write_line(out_, names);
    }
    void row(const std::vector<cell>& cells) override
    {
        std::vector<std::string> texts;
        for (const cell& value : cells) {
            texts.push_back(exact_text(value, times_));
        }
        write_line(out_, texts);
    }
    void end_table() override {}
    void finish() override {}

private:
    output& out_;
    time_display times_;
};

class csv_values_renderer final : public renderer
{
public:
    csv_values_renderer(output& out, const report_setting& setting) : out_(out), times_(setting.times)
    {
        write_line(out_, {"section", "row", "field", "value"});
    }
    void fields(const section& head, const std::vector<field>& values) override
    {
        for (const field& value : values) {
            write_line(out_, {head.name, "", value.what.name, exact_text(value.value, times_)});
        }
    }
    void begin_table(const section& head, const std::vector<column>& columns) override
    {
        name_ = head.name;
        columns_ = columns;
        rows_ = 0;
    }
    void row(const std::vector<cell>& cells) override
    {
        ++rows_;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            write_line(out_, {name_, std::to_string(rows_), columns_[i].name, exact_text(cells[i], times_)});
        }
    }
    void end_table() override {}
    void finish() override {}

private:
    output& out_;
    time_display times_;
    std::string name_;
    std::vector<column> columns_;
    std::uint64_t rows_ = 0;
};

} // namespace

std::unique_ptr<renderer> make_csv_table_renderer(output& out, const report_setting& setting)
{
    return std::make_unique<csv_table_renderer>(out, setting);
}

std::unique_ptr<renderer> make_csv_values_renderer(output& out, const report_setting& setting)
{
    return std::make_unique<csv_values_renderer>(out, setting);
}

} // namespace trox_cli
