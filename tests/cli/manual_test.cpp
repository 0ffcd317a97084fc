// Help, man pages and completion, which are made from what verbs declare.
#include "run_trox.h"
#include "temp_directory.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <regex>
#include <sstream>

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;
using trox_test::run_trox;

std::vector<std::string> verbs()
{
    const std::string help = run_trox({"help"}).out;
    std::istringstream lines(help.substr(help.find("Verbs:\n") + 7));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line) && line.size() > 2;) {
        if (line[2] != ' ') {
            names.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return names;
}

/// What bash offers for the last word of a command line.
std::vector<std::string> completions(const trox_test::temp_directory& directory, const std::vector<std::string>& words)
{
    const std::string script = directory.file("trox.bash");
    std::ofstream(script) << run_trox({"completion", "bash"}).out;
    const std::string driver = directory.file("complete.bash");
    std::ofstream(driver)
        << "source " << script
        << "\nCOMP_WORDS=(\"$@\")\nCOMP_CWORD=$(($# - 1))\n_trox\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    std::string command = "bash " + driver;
    for (const auto& word : words) {
        command += " '" + word + "'";
    }
    std::unique_ptr<FILE, int (*)(FILE*)> answer(::popen(command.c_str(), "r"), &::pclose);
    std::vector<std::string> offered;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), answer.get()) != nullptr) {
        offered.emplace_back(line.data());
        offered.back().pop_back();
    }
    std::sort(offered.begin(), offered.end());
    return offered;
}

TEST(help, lists_the_verbs)
{
    EXPECT_THAT(verbs(), IsSupersetOf({"info", "list", "find", "show", "make", "help", "man", "completion"}));
    EXPECT_EQ(run_trox({"--help"}).out, run_trox({"help"}).out);
    EXPECT_EQ(run_trox({"--version"}).out.substr(0, 5), "trox ");
}

TEST(help, of_every_verb_has_usage_and_options_in_lines_that_read_well)
{
    for (const auto& verb : verbs()) {
        const auto result = run_trox({"help", verb});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_THAT(result.out, StartsWith("usage: trox " + verb));
        EXPECT_THAT(result.out, HasSubstr("-h, --help"));
        EXPECT_EQ(run_trox({verb, "--help"}).out, result.out);
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 120U) << line;
        }
    }
}

TEST(man, has_a_page_for_the_program_and_every_verb)
{
    EXPECT_THAT(run_trox({"man"}).out, StartsWith(".TH TROX 1"));
    for (const auto& verb : verbs()) {
        const auto result = run_trox({"man", verb});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_THAT(result.out, HasSubstr("\n.SH NAME\ntrox\\-" + verb + " \\- "));
        // Every line is a request that man(7) knows, or text that is none.
        const std::regex request(R"(\.(TH|SH|SS|PP|TP)( .*)?)");
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(line.empty() || (line[0] != '.' && line[0] != '\'') || std::regex_match(line, request)) << line;
        }
        for (const std::string option : {"\\-\\-help"}) {
            EXPECT_THAT(result.out, HasSubstr(option));
        }
    }
    EXPECT_EQ(run_trox({"man", "nothing"}).code, 2);
}

TEST(completion, offers_verbs_options_words_and_files)
{
    const trox_test::temp_directory directory;
    EXPECT_THAT(completions(directory, {"trox", "l"}), ElementsAre("list"));
    EXPECT_THAT(completions(directory, {"trox", "list", "--fo"}), ElementsAre("--format"));
    EXPECT_THAT(completions(directory, {"trox", "list", "--format", ""}),
                ElementsAre("csv", "json", "ndjson", "table"));
    EXPECT_THAT(completions(directory, {"trox", "list", "--format", "=", "n"}), ElementsAre("ndjson"));
    EXPECT_THAT(completions(directory, {"trox", "list", "--kind", "sl"}), ElementsAre("slow"));
    EXPECT_THAT(completions(directory, {"trox", "make", "--generation", "2"}), ElementsAre("2010", "2024"));
    EXPECT_THAT(completions(directory, {"trox", "help", "in"}), ElementsAre("info"));
    std::ofstream(directory.file("some.raw")) << "x";
    EXPECT_THAT(completions(directory, {"trox", "info", directory.file("so")}),
                ElementsAre(directory.file("some.raw")));
    EXPECT_THAT(completions(directory, {"trox", "list", "-o", directory.file("so")}),
                ElementsAre(directory.file("some.raw")));
    EXPECT_THAT(completions(directory, {"trox", "list", "ru"}), Contains("runs"));
}

TEST(schema_page, tells_every_field_that_verbs_write)
{
    std::ifstream page(TROX_SOURCE_DIR "/docs/json-schema.md");
    ASSERT_TRUE(page);
    std::ostringstream text;
    text << page.rdbuf();
    const std::string written = text.str();
    const std::vector<std::vector<std::string>> uses{
        {"info", "data_2010"},
        {"list", "data_2010"},
        {"list", "runs", "--catalogue", "catalogue"},
        {"list", "files", "data_2010"},
        {"find", "1042", "--catalogue", "catalogue", "--data", "data_2010"},
        {"show", "data_2010"},
        {"show", "data_2010", "LINAC.DIAG/DUMP/2.EN/GEN"},
        {"show", "data_2010", "LINAC.DIAG/CAM/SCR.4/IMG", "--slice", "0:1"},
        {"show", "data_2010", "LINAC.DIAG/CAM/SCR.4/ROI1"},
        {"show", "data_2010", "LINAC.CTRL/FB/ORBIT/SETTINGS"},
        {"show", "data_2010", "LINAC.LASER/*"},
        {"show", "data_2010", "LINAC.MAG/QUAD/Q5.BC2/I.RBV"}};
    for (auto use : uses) {
        use.emplace_back("--json");
        const auto document = run_trox(use).json();
        const std::string heading = "## `" + document.at("schema").get<std::string>() + "`";
        const auto begin = written.find(heading);
        ASSERT_NE(begin, std::string::npos) << heading;
        const std::string part = written.substr(begin, written.find("\n## ", begin + 1) - begin);
        for (const auto& [section, contents] : document.items()) {
            if (section == "schema") {
                continue;
            }
            const auto row = part.find("\n| `" + section + "` |");
            ASSERT_NE(row, std::string::npos) << heading << ": " << section;
            const std::string fields = part.substr(row + 1, part.find('\n', row + 1) - row);
            const auto& object = contents.is_array() ? contents.at(0) : contents;
            for (const auto& [field, value] : object.items()) {
                EXPECT_THAT(fields, HasSubstr("`" + field + "`")) << heading << ": " << section;
            }
        }
    }
}

} // namespace
