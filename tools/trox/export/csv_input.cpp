#include "csv_input.h"

namespace trox_export
{

bool csv_input::next(std::vector<std::string>& fields)
{
    fields.clear();
    std::string_view line;
    if (!input_.next(line)) {
        return false;
    }
    std::string field;
    bool is_quoted = false;
    while (true) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char c = line[i];
            if (is_quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
                field += c;
                ++i;
            } else if (c == '"') {
                is_quoted = !is_quoted;
            } else if (c == ',' && !is_quoted) {
                fields.push_back(std::move(field));
                field.clear();
            } else {
                field += c;
            }
        }
        if (!is_quoted || !input_.next(line)) {
            break;
        }
        field += '\n';
    }
    fields.push_back(std::move(field));
    return true;
}

} // namespace trox_export
