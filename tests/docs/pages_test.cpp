// README and the other pages against the tree: links, paths, the program shown, packages, build options, headers.
#include "markdown.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace
{

using trox_test::markdown_page;
using trox_test::markdown_row;

const std::filesystem::path root = TROX_SOURCE_DIR;

std::string text_of(const std::filesystem::path& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

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

std::vector<std::smatch> matches(const std::string& text, const std::regex& pattern)
{
    return {std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()};
}

TEST(pages, link_to_files_and_headings_that_are_there)
{
    const std::regex link("\\]\\(([^)#:]*)(#[^)]*)?\\)");
    std::size_t checked = 0;
    for (const auto& page : pages()) {
        const std::string text = text_of(page);
        for (const std::smatch& match : matches(text, link)) {
            const std::string file = match[1];
            const auto target = file.empty() ? page : page.parent_path() / file;
            EXPECT_TRUE(std::filesystem::exists(target)) << page << " links to " << file;
            const std::string anchor = match[2];
            if (!anchor.empty() && std::filesystem::exists(target)) {
                EXPECT_TRUE(anchors_of(target).contains(anchor.substr(1))) << page << " links to " << file << anchor;
            }
            ++checked;
        }
    }
    EXPECT_GT(checked, 40U);
}

TEST(pages, name_paths_that_are_there)
{
    const std::regex path("`((?:include|src|platform|writer|tools|tests|docs|examples|bench|packaging)/[\\w./]*)`");
    std::size_t checked = 0;
    for (const auto& page : pages()) {
        const std::string text = text_of(page);
        for (const std::smatch& match : matches(text, path)) {
            EXPECT_TRUE(std::filesystem::exists(root / match[1].str())) << page << " names " << match[1];
            ++checked;
        }
    }
    EXPECT_GT(checked, 30U);
}

TEST(readme, shows_a_piece_of_the_example_as_it_is)
{
    const std::string text = text_of(root / "README.md");
    const std::string fence = "```cpp\n";
    const std::size_t begin = text.find(fence) + fence.size();
    std::istringstream shown(text.substr(begin, text.find("```\n", begin) - begin));
    std::string indented;
    std::size_t lines = 0;
    for (std::string line; std::getline(shown, line); ++lines) {
        indented += (line.empty() ? "" : "    ") + line + '\n';
    }
    EXPECT_GT(lines, 10U);
    EXPECT_NE(text_of(root / "examples/read_events.cpp").find(indented), std::string::npos) << indented;
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
    const std::string script = text_of(root / "dev");
    const std::size_t begin = script.find("build_packages=(");
    ASSERT_NE(begin, std::string::npos);
    const std::string list = script.substr(begin, script.find("\n)", begin) - begin);
    std::set<std::string> packages;
    for (const std::smatch& match : matches(list, std::regex("\n +([\\w.+-]+)"))) {
        packages.insert(match[1]);
    }
    EXPECT_GT(packages.size(), 10U);
    EXPECT_EQ(first_cells("package"), packages);
}

TEST(readme, lists_the_options_of_the_build)
{
    const std::string text = text_of(root / "CMakeLists.txt") + text_of(root / "packaging/CMakeLists.txt");
    const std::regex option("\n(?:option\\((TROX_\\w+)|set\\((TROX_\\w+) [^\n]* CACHE )");
    std::set<std::string> options;
    for (const std::smatch& match : matches(text, option)) {
        options.insert(match[1].matched ? match[1] : match[2]);
    }
    EXPECT_GT(options.size(), 7U);
    EXPECT_EQ(first_cells("option"), options);
}

TEST(readme, lists_the_public_headers)
{
    std::set<std::string> headers;
    for (const auto& entry : std::filesystem::directory_iterator(root / "include")) {
        if (entry.is_regular_file()) {
            headers.insert(entry.path().filename());
        }
    }
    EXPECT_EQ(first_cells("header"), headers);
}

} // namespace
