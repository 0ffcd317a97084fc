// JSON: one document, or one object a line.
#include "json_text.h"
#include "output.h"
#include "report.h"

namespace trox_cli
{
namespace
{

void add_member(std::string& object, const std::string& name, const std::string& value)
{
    object += object.size() == 1 ? "" : ", ";
    object += json_string(name) + ": " + value;
}

/// {"schema": ..., "<section>": {...}, "<section>": [{...}, ...]}, a line per section of values and per row.
class json_renderer final : public renderer
{
public:
    json_renderer(output& out, const report_setting& setting) : out_(out)
    {
        out_.write("{\n  \"schema\": " + json_string(setting.schema));
    }

    void fields(const section& head, const std::vector<field>& values) override
    {
        std::string object = "{";
        for (const field& value : values) {
            object += object.size() == 1 ? "\n    " : ",\n    ";
            object += json_string(value.what.name) + ": " + json_value(value.value);
        }
        out_.write(",\n  " + json_string(head.name) + ": " + object + "\n  }");
    }
    void begin_table(const section& head, const std::vector<column>& columns) override
    {
        columns_ = columns;
        rows_ = 0;
        out_.write(",\n  " + json_string(head.name) + ": [");
    }
    void row(const std::vector<cell>& cells) override
    {
        std::string object = "{";
        for (std::size_t i = 0; i < cells.size(); ++i) {
            add_member(object, columns_[i].name, json_value(cells[i]));
        }
        out_.write((rows_++ == 0 ? "\n    " : ",\n    ") + object + "}");
    }
    void end_table() override
    {
        out_.write(rows_ == 0 ? "]" : "\n  ]");
    }
    void finish() override
    {
        out_.write("\n}\n");
    }

private:
    output& out_;
    std::vector<column> columns_;
    std::uint64_t rows_ = 0;
};

/// {"schema": ..., "section": ..., ...} a line; a section of values is one line.
class ndjson_renderer final : public renderer
{
public:
    ndjson_renderer(output& out, const report_setting& setting) : out_(out), schema_(json_string(setting.schema)) {}

    void fields(const section& head, const std::vector<field>& values) override
    {
        std::string object = begin_object(head);
        for (const field& value : values) {
            add_member(object, value.what.name, json_value(value.value));
        }
        out_.write(object + "}\n");
    }
    void begin_table(const section& head, const std::vector<column>& columns) override
    {
        head_ = head;
        columns_ = columns;
    }
    void row(const std::vector<cell>& cells) override
    {
        std::string object = begin_object(head_);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            add_member(object, columns_[i].name, json_value(cells[i]));
        }
        out_.write(object + "}\n");
    }
    void end_table() override {}
    void finish() override {}

private:
    std::string begin_object(const section& head) const
    {
        std::string object = "{";
        add_member(object, "schema", schema_);
        add_member(object, "section", json_string(head.name));
        return object;
    }

    output& out_;
    std::string schema_;
    section head_;
    std::vector<column> columns_;
};

} // namespace

std::unique_ptr<renderer> make_json_renderer(output& out, const report_setting& setting)
{
    return std::make_unique<json_renderer>(out, setting);
}

std::unique_ptr<renderer> make_ndjson_renderer(output& out, const report_setting& setting)
{
    return std::make_unique<ndjson_renderer>(out, setting);
}

} // namespace trox_cli
