// CSV as RFC 4180 has it: fields with commas, quotes or line ends are quoted, lines end with CR LF.
#include "cell_text.h"
#include "output.h"
#include "report.h"
#include "text.h"

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

/// Writes lines of fields. On a terminal, nothing in them moves its cursor.
class csv_lines
{
public:
    csv_lines(output& out, const report_setting& setting)
        : out_(out), times_(setting.times), is_terminal_(setting.is_terminal)
    {
    }

    std::string text_of(const cell& value) const
    {
        return exact_text(value, times_);
    }
    void write(const std::vector<std::string>& texts)
    {
        std::string line;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            line += i == 0 ? "" : ",";
            line += csv_field(is_terminal_ ? printable(texts[i]) : texts[i]);
        }
        out_.write(line + "\r\n");
    }

private:
    output& out_;
    time_display times_;
    bool is_terminal_;
};

class csv_table_renderer final : public renderer
{
public:
    csv_table_renderer(output& out, const report_setting& setting) : lines_(out, setting) {}

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
        lines_.write(names);
    }
    void row(const std::vector<cell>& cells) override
    {
        std::vector<std::string> texts;
        for (const cell& value : cells) {
            texts.push_back(lines_.text_of(value));
        }
        lines_.write(texts);
    }
    void end_table() override {}
    void finish() override {}

private:
    csv_lines lines_;
};

class csv_values_renderer final : public renderer
{
public:
    csv_values_renderer(output& out, const report_setting& setting) : lines_(out, setting)
    {
        lines_.write({"section", "row", "field", "value"});
    }
    void fields(const section& head, const std::vector<field>& values) override
    {
        for (const field& value : values) {
            lines_.write({head.name, "", value.what.name, lines_.text_of(value.value)});
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
            lines_.write({name_, std::to_string(rows_), columns_[i].name, lines_.text_of(cells[i])});
        }
    }
    void end_table() override {}
    void finish() override {}

private:
    csv_lines lines_;
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
