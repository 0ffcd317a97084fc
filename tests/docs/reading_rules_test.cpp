// docs/reading-rules.md against the code: status codes with their texts, environment variables, request types.
#include "markdown.h"
#include "trox_daq_reader_2010.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>

namespace
{

using trox_test::markdown_row;

const std::string root = TROX_SOURCE_DIR;

const trox_test::markdown_page& page()
{
    static const trox_test::markdown_page page = trox_test::read_markdown(root + "/docs/reading-rules.md");
    return page;
}

std::string text_of(const std::filesystem::path& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Value by name of the enumerators whose name begins so, in event.h.
std::map<std::string, int> enumerators(const std::string& prefix)
{
    const std::string text = text_of(root + "/include/event.h");
    const std::regex pattern("\\b(" + prefix + "\\w+) = (-?\\d+)");
    std::map<std::string, int> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
        found[(*match)[1]] = std::stoi((*match)[2]);
    }
    return found;
}

TEST(reading_rules_page, lists_every_status_of_the_header)
{
    std::map<std::string, int> documented;
    for (const markdown_row& row : page().table("Status codes").rows) {
        documented[trox_test::code_spans(row.at(1)).at(0)] = std::stoi(row.at(0));
    }
    EXPECT_EQ(documented.size(), 11U);
    EXPECT_EQ(documented, enumerators("TROX_DAQ_READER_"));
}

TEST(reading_rules_page, gives_the_texts_of_the_reader)
{
    const trox_daq_reader_2010 reader;
    for (const markdown_row& row : page().table("Status codes").rows) {
        EXPECT_EQ(row.at(2), reader.error_i2a(std::stoi(row.at(0))));
    }
}

TEST(reading_rules_page, gives_the_values_of_the_request_types)
{
    std::map<std::string, int> documented;
    for (const markdown_row& row : page().table("Requests").rows) {
        documented[trox_test::code_spans(row.at(0)).at(0)] = std::stoi(row.at(1));
    }
    EXPECT_EQ(documented.size(), 5U);
    EXPECT_EQ(documented, enumerators("TROX_DAQ_READ_CHAN_EVENT_"));
}

/// The names of environment variables that stand as texts in the libraries' sources.
std::set<std::string> variables_in_sources()
{
    const std::regex name("\"((?:TROX|DAQ)_[A-Z_]+)\"");
    std::set<std::string> found;
    for (const char* folder : {"/src", "/platform"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root + folder)) {
            const std::string text = entry.is_regular_file() ? text_of(entry.path()) : "";
            for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match) {
                found.insert((*match)[1]);
            }
        }
    }
    return found;
}

TEST(reading_rules_page, lists_the_environment_variables_that_the_libraries_read)
{
    std::set<std::string> documented;
    for (const markdown_row& row : page().table("Environment variables").rows) {
        documented.insert(trox_test::code_spans(row.at(0)).at(0));
    }
    EXPECT_EQ(documented, variables_in_sources());
}

} // namespace
