// docs/reading-rules.md against the code: status codes with their texts, environment variables, request types.
#include "markdown.h"
#include "scan.h"
#include "trox_daq_reader_2010.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
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

/// Value by name of the enumerators in event.h whose name begins so.
std::map<std::string, long> enumerators(const std::string& prefix)
{
    const auto found = trox_test::enumerators_in(trox_test::read_text(root + "/include/event.h"), prefix);
    return {found.begin(), found.end()};
}

TEST(reading_rules_page, lists_every_status_of_the_header)
{
    std::map<std::string, long> documented;
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
    std::map<std::string, long> documented;
    for (const markdown_row& row : page().table("Requests").rows) {
        documented[trox_test::code_spans(row.at(0)).at(0)] = std::stoi(row.at(1));
    }
    EXPECT_EQ(documented.size(), 5U);
    EXPECT_EQ(documented, enumerators("TROX_DAQ_READ_CHAN_EVENT_"));
}

/// The names of environment variables that stand as texts in the libraries' sources.
std::set<std::string> variables_in_sources()
{
    const auto is_variable = [](const std::string& text) {
        const bool is_upper =
            std::all_of(text.begin(), text.end(), [](char c) { return c == '_' || (c >= 'A' && c <= 'Z'); });
        return is_upper && (text.starts_with("TROX_") || text.starts_with("DAQ_"));
    };
    std::set<std::string> found;
    for (const char* folder : {"/src", "/platform"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root + folder)) {
            if (!entry.is_regular_file()) {
                continue;
            }
            for (const std::string& line : trox_test::lines_of(trox_test::read_text(entry.path()))) {
                const auto texts = trox_test::pieces_between(line, "\"", "\"");
                std::copy_if(texts.begin(), texts.end(), std::inserter(found, found.end()), is_variable);
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
