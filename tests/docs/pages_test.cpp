// README and the other pages against the tree: links, paths, the program shown, packages, build options, headers.
#include "markdown.h"
#include "scan.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace
{

using trox_test::markdown_page;
using trox_test::markdown_row;

const std::filesystem::path root = TROX_SOURCE_DIR;

std::vector<std::filesystem::path> pages()
{
    std::vector<std::filesystem::path> found;
    for (const auto& folder : {root, root / "docs"}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".md") {
                found.push_back(entry.path());
            }
        }
    }
    return found;
}

const markdown_page& readme()
{
    static const markdown_page page = trox_test::read_markdown(root / "README.md");
    return page;
}

/// The anchors that a page's headings make.
std::set<std::string> anchors_of(const std::filesystem::path& path)
{
    std::set<std::string> anchors;
    for (const std::string& line : trox_test::read_markdown(path).lines) {
        if (!line.starts_with('#')) {
            continue;
        }
        std::string anchor;
        for (const char c : line.substr(line.find(' ') + 1)) {
            if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_') {
                anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            } else if (c == ' ') {
                anchor += '-';
            }
        }
        anchors.insert(anchor);
    }
    return anchors;
}

TEST(pages, link_to_files_and_headings_that_are_there)
{
    std::size_t checked = 0;
    for (const auto& page : pages()) {
        for (const std::string& link : trox_test::pieces_between(trox_test::read_text(page), "](", ")")) {
            if (link.find(':') != std::string::npos) {
                continue; // elsewhere
            }
            const std::size_t mark = std::min(link.find('#'), link.size());
            const auto target = mark == 0 ? page : page.parent_path() / link.substr(0, mark);
            EXPECT_TRUE(std::filesystem::exists(target)) << page << " links to " << link;
            if (mark != link.size() && std::filesystem::exists(target)) {
                EXPECT_TRUE(anchors_of(target).contains(link.substr(mark + 1))) << page << " links to " << link;
            }
            ++checked;
        }
    }
    EXPECT_GT(checked, 40U);
}

/// Whether a piece of code on a page is meant as a path of the tree.
bool is_path(const std::string& text)
{
    const std::set<std::string> folders{"include", "src",  "platform", "writer", "tools",
                                        "tests",   "docs", "examples", "bench",  "packaging"};
    const bool is_plain = std::all_of(text.begin(), text.end(),
                                      [](char c) { return trox_test::is_word_character(c) || c == '.' || c == '/'; });
    const std::size_t slash = text.find('/');
    return is_plain && slash != std::string::npos && folders.contains(text.substr(0, slash));
}

TEST(pages, name_paths_that_are_there)
{
    std::size_t checked = 0;
    for (const auto& page : pages()) {
        for (const std::string& line : trox_test::read_markdown(page).lines) {
            for (const std::string& piece : trox_test::code_spans(line)) {
                if (is_path(piece)) {
                    EXPECT_TRUE(std::filesystem::exists(root / piece)) << page << " names " << piece;
                    ++checked;
                }
            }
        }
    }
    EXPECT_GT(checked, 30U);
}

TEST(readme, shows_pieces_of_the_examples_as_they_are)
{
    std::string rest = trox_test::read_text(root / "README.md");
    for (const char* example :
         {"examples/read_any_generation.cpp", "examples/read_events.cpp", "examples/read_run.cpp"}) {
        const std::string shown = trox_test::piece_between(rest, "```cpp\n", "```\n");
        const auto lines = trox_test::lines_of(shown);
        std::string indented;
        for (const std::string& line : lines) {
            indented += (line.empty() ? "" : "    ") + line + '\n';
        }
        EXPECT_GT(lines.size(), 10U);
        EXPECT_NE(trox_test::read_text(root / example).find(indented), std::string::npos) << indented;
        rest.erase(0, rest.find(shown) + shown.size());
        rest.erase(0, rest.find("```\n") + 4);
    }
    EXPECT_EQ(rest.find("```cpp"), std::string::npos) << "a piece that no example is compared with";
}

/// First cells, without backticks, of README's table with this first column.
std::set<std::string> first_cells(const std::string& column)
{
    std::set<std::string> cells;
    for (const auto& table : readme().tables) {
        if (table.header.at(0) == column) {
            for (const markdown_row& row : table.rows) {
                for (const std::string& cell : trox_test::code_spans(row.at(0))) {
                    cells.insert(cell);
                }
            }
        }
    }
    return cells;
}

TEST(readme, lists_the_packages_that_the_dev_script_installs)
{
    const std::string list = trox_test::piece_between(trox_test::read_text(root / "dev"), "build_packages=(\n", "\n)");
    std::set<std::string> packages;
    for (const std::string& line : trox_test::lines_of(list)) {
        std::istringstream words(line);
        std::string package;
        words >> package;
        packages.insert(package);
    }
    EXPECT_GT(packages.size(), 10U);
    EXPECT_EQ(first_cells("package"), packages);
}

TEST(readme, lists_the_options_of_the_build)
{
    std::set<std::string> options;
    for (const char* file : {"CMakeLists.txt", "packaging/CMakeLists.txt"}) {
        for (const std::string& line : trox_test::lines_of(trox_test::read_text(root / file))) {
            const bool is_option = line.starts_with("option(TROX_");
            const bool is_variable = line.starts_with("set(TROX_") && line.find(" CACHE ") != std::string::npos;
            if (is_option || is_variable) {
                options.insert(trox_test::leading_word(std::string_view(line).substr(line.find('(') + 1)));
            }
        }
    }
    EXPECT_GT(options.size(), 7U);
    EXPECT_EQ(first_cells("option"), options);
}

TEST(readme, lists_the_public_headers)
{
    std::set<std::string> headers;
    for (const char* folder : {"include", "include/trox"}) {
        for (const auto& entry : std::filesystem::directory_iterator(root / folder)) {
            if (entry.is_regular_file()) {
                headers.insert(std::filesystem::relative(entry.path(), root / "include"));
            }
        }
    }
    EXPECT_EQ(first_cells("header"), headers);
}

} // namespace
