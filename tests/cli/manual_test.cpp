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
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <utility>

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

TEST(man, has_each_heading_once)
{
    for (const auto& verb : verbs()) {
        std::istringstream lines(run_trox({"man", verb}).out);
        std::vector<std::string> headings;
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with(".SS ") || line.starts_with(".SH ")) {
                EXPECT_EQ(std::count(headings.begin(), headings.end(), line), 0) << verb << ": " << line;
                headings.push_back(line);
            }
        }
    }
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

/// Names of fields by schema and section.
using fields_of_sections = std::map<std::pair<std::string, std::string>, std::set<std::string>>;

/// What the page tells: rows "| `section` | ... `field` ... |" below headings "## `schema`".
fields_of_sections told_fields()
{
    std::ifstream page(TROX_SOURCE_DIR "/docs/json-schema.md");
    const std::regex heading("## `(trox\\.[a-z]+/[0-9]+)`");
    const std::regex row(R"(\| `([a-z_]+)` \|(.*))");
    const std::regex word("`([a-z_]+)`");
    fields_of_sections told;
    std::string schema;
    for (std::string line; std::getline(page, line);) {
        std::smatch found;
        if (std::regex_match(line, found, heading)) {
            schema = found[1];
        } else if (std::regex_match(line, found, row)) {
            auto& fields = told[{schema, found[1]}];
            const std::string text = found[2];
            for (std::sregex_iterator at(text.begin(), text.end(), word), end; at != end; ++at) {
                fields.insert((*at)[1]);
            }
            fields.erase("null");
        }
    }
    return told;
}

/// What some uses write. Sections whose lists are empty in all of them have no fields.
fields_of_sections written_fields(const std::vector<std::vector<std::string>>& uses)
{
    fields_of_sections written;
    for (auto use : uses) {
        use.emplace_back("--json");
        const auto document = run_trox(use).json();
        for (const auto& [section, contents] : document.items()) {
            if (section == "schema") {
                continue;
            }
            auto& fields = written[{document.at("schema"), section}];
            const auto add = [&](const nlohmann::json& object) {
                for (const auto& [field, value] : object.items()) {
                    fields.insert(field);
                }
            };
            if (contents.is_array()) {
                std::for_each(contents.begin(), contents.end(), add);
            } else {
                add(contents);
            }
        }
    }
    return written;
}

/// A sample file in which a record, padding and the trailer are damaged.
std::string damaged_sample(const trox_test::temp_directory& directory)
{
    const std::string path = directory.file("damaged.raw");
    std::ifstream in(TROX_TEST_DATA_DIR "/data_2010/linac_main_run1042_file3_20120614T093008.raw", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    for (const std::size_t at : {std::size_t{0x2522d}, std::size_t{0x60}, bytes.size() - 1}) {
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
    }
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

TEST(schema_page, tells_all_fields_that_verbs_write_and_no_others)
{
    const trox_test::temp_directory directory;
    const std::string file = "data_2010/linac_main_run1042_file1_20120614T093000.raw";
    const std::string damaged = damaged_sample(directory);
    const auto written = written_fields({
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
        {"show", "data_2010", "LINAC.MAG/QUAD/Q5.BC2/I.RBV"},
        {"stat", "data_2010"},
        {"cover", "data_2010", "--findings"},
        {"sync", "data_2010"},
        {"dump", file, "--item", "trailer"},
        {"dump", file, "--items"},
        {"dump", file, "--hex", "--item", "trailer"},
        {"doctor", damaged},
        {"make", directory.file("run"), "--events", "3"},
        {"recover", damaged, directory.file("recovered.raw")},
    });
    const auto told = told_fields();
    for (const auto& [section, fields] : written) {
        const std::string name = section.first + ": " + section.second;
        ASSERT_TRUE(told.count(section) == 1) << name;
        for (const auto& field : fields) {
            EXPECT_THAT(told.at(section), Contains(field)) << name;
        }
    }
    // The sample files have no block of a kind without a layout, and that damage loses no event.
    const std::set<std::pair<std::string, std::string>> not_met{
        {"trox.show/1", "payload"}, {"trox.recover/1", "lost_events"}, {"trox.recover/1", "remarks"}};
    for (const auto& [section, fields] : told) {
        const std::string name = section.first + ": " + section.second;
        if (not_met.count(section) == 1) {
            continue;
        }
        ASSERT_TRUE(written.count(section) == 1) << name;
        for (const auto& field : fields) {
            EXPECT_THAT(written.at(section), Contains(field)) << name;
        }
    }
}

} // namespace
