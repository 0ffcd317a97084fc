// docs/doctor.md lists every code as the program knows it.
#include "doctor.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>

namespace
{

namespace ti = trox::inspect;

std::string trimmed(const std::string& text)
{
    const auto begin = text.find_first_not_of(' ');
    const auto end = text.find_last_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

TEST(doctor_page, lists_every_code_with_its_meaning)
{
    std::ifstream page(TROX_DOCS_DIR "/doctor.md");
    ASSERT_TRUE(page);
    std::map<std::string, std::tuple<std::string, std::string, std::string>> rows;
    for (std::string line; std::getline(page, line);) {
        std::istringstream cells(line);
        std::string code;
        std::string level;
        std::string what;
        std::string readable;
        std::getline(cells, code, '|');
        std::getline(cells, code, '|');
        std::getline(cells, level, '|');
        std::getline(cells, what, '|');
        std::getline(cells, readable, '|');
        code = trimmed(code);
        level = trimmed(level);
        if (code.size() > 2 && code.front() == '`' && (level == "error" || level == "warning" || level == "note")) {
            rows[code.substr(1, code.size() - 2)] = {level, trimmed(what), trimmed(readable)};
        }
    }
    for (std::size_t i = 0; i < ti::finding_code_count; ++i) {
        const ti::code_info& info = ti::info_of(static_cast<ti::finding_code>(i));
        ASSERT_EQ(rows.count(info.name), 1U) << info.name;
        EXPECT_EQ(rows[info.name],
                  std::tuple(std::string(ti::name_of(info.level)), std::string(info.what), std::string(info.readable)));
    }
    EXPECT_EQ(rows.size(), ti::finding_code_count);
}

TEST(doctor_page, codes_are_unique)
{
    std::set<std::string> names;
    for (std::size_t i = 0; i < ti::finding_code_count; ++i) {
        EXPECT_TRUE(names.insert(ti::info_of(static_cast<ti::finding_code>(i)).name).second);
    }
}

TEST(items, are_found_by_the_names_that_they_have)
{
    for (int i = 0; i <= static_cast<int>(ti::item_kind::unused); ++i) {
        const auto kind = static_cast<ti::item_kind>(i);
        EXPECT_EQ(ti::item_from_name(ti::name_of(kind)), kind);
    }
    EXPECT_FALSE(ti::item_from_name("basket"));
}

} // namespace
