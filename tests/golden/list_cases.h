// The channel lists that the sample runs are read with, as test cases.
#ifndef TROX_GOLDEN_LIST_CASES_H
#define TROX_GOLDEN_LIST_CASES_H

#include "expected_file.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <ostream>
#include <type_traits>

namespace trox_golden
{

inline const std::string data_root = TROX_TEST_DATA_DIR;

/// Names of a generation's lists: "<generation>_<list>.json".
template <class G> std::vector<std::string> list_names()
{
    const std::string prefix = std::string(G::name) + "_";
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(data_root + "/expected")) {
        const std::string name = file.path().filename().string();
        if (name.starts_with(prefix)) {
            names.push_back(name.substr(prefix.size(), name.size() - prefix.size() - std::string(".json").size()));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

template <class G> json expected_list(const std::string& name)
{
    return load_json(data_root + "/expected/" + G::name + "_" + name + ".json");
}

struct list_case {
    std::string name;
    file_source source;
};

inline void PrintTo(const list_case& list, std::ostream* out)
{
    *out << list.name << (list.source == file_source::list ? " from a list of files" : " from the run catalogue");
}

template <class G> std::vector<list_case> list_cases()
{
    std::vector<list_case> cases;
    for (const auto& name : list_names<G>()) {
        cases.push_back({name, file_source::list});
        cases.push_back({name, file_source::request});
    }
    return cases;
}

inline std::string case_name(const testing::TestParamInfo<list_case>& info)
{
    return info.param.name + (info.param.source == file_source::list ? "_by_files" : "_by_run");
}

/// A run's files found in the catalogue are all read; only files of a list are chosen by the time in their names. The
/// legacy reader looks at both.
template <class G> json expected_from(json expected, file_source source)
{
    if (source == file_source::request && !std::is_same_v<G, golden_legacy>) {
        expected["files_read"] = expected.at("files");
    }
    return expected;
}

template <class G> void expect_equal(const list_case& list)
{
    const json expected = expected_from<G>(expected_list<G>(list.name), list.source);
    const auto found = list_differences<G>(expected, {data_root, list.source, false});
    EXPECT_TRUE(found.empty()) << summary(found);
}

} // namespace trox_golden

#endif
