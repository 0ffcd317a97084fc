// Reads what tests compare from a Markdown page: its tables, each with the heading above it, and its lines.
#ifndef TROX_TEST_MARKDOWN_H
#define TROX_TEST_MARKDOWN_H

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace trox_test
{

using markdown_row = std::vector<std::string>;

struct markdown_table {
    std::string heading; ///< the last heading above the table, without its number signs
    markdown_row header;
    std::vector<markdown_row> rows;
};

struct markdown_page {
    std::vector<std::string> lines;
    std::vector<markdown_table> tables;

    /// The only table with these column titles under this heading.
    const markdown_table& table(std::string_view heading) const
    {
        const markdown_table* found = nullptr;
        for (const markdown_table& table : tables) {
            if (table.heading == heading) {
                if (found != nullptr) {
                    throw std::runtime_error("several tables under " + std::string(heading));
                }
                found = &table;
            }
        }
        if (found == nullptr) {
            throw std::runtime_error("no table under " + std::string(heading));
        }
        return *found;
    }

    /// Tables with these column titles.
    std::vector<markdown_table> tables_of(const markdown_row& header) const
    {
        std::vector<markdown_table> found;
        for (const markdown_table& table : tables) {
            if (table.header == header) {
                found.push_back(table);
            }
        }
        return found;
    }
};

/// The text between backticks, piece by piece.
inline std::vector<std::string> code_spans(std::string_view text)
{
    std::vector<std::string> spans;
    for (std::size_t begin = text.find('`'); begin != std::string_view::npos; begin = text.find('`', begin)) {
        const std::size_t end = text.find('`', begin + 1);
        if (end == std::string_view::npos) {
            break;
        }
        spans.emplace_back(text.substr(begin + 1, end - begin - 1));
        begin = end + 1;
    }
    return spans;
}

inline markdown_row split_row(std::string_view line)
{
    markdown_row cells;
    for (std::size_t begin = 1; begin < line.size();) {
        const std::size_t end = line.find('|', begin);
        if (end == std::string_view::npos) {
            break;
        }
        std::string_view cell = line.substr(begin, end - begin);
        while (cell.starts_with(' ')) {
            cell.remove_prefix(1);
        }
        while (cell.ends_with(' ')) {
            cell.remove_suffix(1);
        }
        cells.emplace_back(cell);
        begin = end + 1;
    }
    return cells;
}

inline markdown_page read_markdown(const std::string& path)
{
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    markdown_page page;
    std::string heading;
    bool in_table = false;
    for (std::string line; std::getline(file, line);) {
        page.lines.push_back(line);
        if (line.starts_with('#')) {
            heading = line.substr(line.find(' ') + 1);
        }
        if (!line.starts_with('|')) {
            in_table = false;
        } else if (!in_table) {
            page.tables.push_back({heading, split_row(line), {}});
            in_table = true;
        } else if (!line.starts_with("|-") && !line.starts_with("|:")) {
            page.tables.back().rows.push_back(split_row(line));
        }
    }
    return page;
}

} // namespace trox_test

#endif
