// A run catalogue in a folder of its own, and lookups that own what they are given.
#ifndef TROX_TESTS_XML_CATALOGUE_FIXTURE_H
#define TROX_TESTS_XML_CATALOGUE_FIXTURE_H

#include "trox_xml.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <vector>

namespace trox_test
{

/// What one lookup answered; strings start with the texts that the lookup is called with.
struct lookup {
    int status = -1;
    std::string xml_name = "before";
    std::string key;
    std::vector<trox_root_xml_files*> lists;

    lookup() = default;
    lookup(lookup&& other) noexcept
        : status(other.status), xml_name(std::move(other.xml_name)), key(std::move(other.key)),
          lists(std::move(other.lists))
    {
        other.lists.clear();
    }
    lookup& operator=(lookup&&) = delete;
    ~lookup()
    {
        for (auto* list : lists) {
            delete list;
        }
    }

    /// The data files of all entries, those of one entry in one inner list.
    std::vector<std::vector<std::string>> files() const
    {
        std::vector<std::vector<std::string>> all;
        for (const auto* list : lists) {
            auto& names = all.emplace_back();
            for (const auto* name : list->rfiles) {
                names.push_back(*name);
            }
        }
        return all;
    }
};

inline lookup runs_of(const std::string& cdir, const std::vector<int>& runs, std::string key = "",
                      int format = TROX_DAQ_DATA_RAW_FORMAT)
{
    lookup result;
    result.key = std::move(key);
    result.status = get_files_for_runs(runs, &result.lists, &result.xml_name, &result.key, cdir.c_str(), format);
    return result;
}

inline lookup period_of(const std::string& cdir, long start, long stop, std::string key = "",
                        int format = TROX_DAQ_DATA_RAW_FORMAT)
{
    lookup result;
    result.key = std::move(key);
    result.status =
        get_files_for_period(start, stop, &result.lists, &result.xml_name, &result.key, cdir.c_str(), format);
    return result;
}

/// A catalogue folder that goes with the test.
class catalogue_test : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "trox_catalogue_XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    const std::string& folder() const
    {
        return folder_;
    }
    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder_ + "/" + name, std::ios::binary) << text;
    }

private:
    std::string folder_;
};

} // namespace trox_test

#endif
