// Which files are read, and in which order.
#include "run_trox.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::SizeIs;
using trox_test::run_trox;

/// A run of 12 files, whose names a shell puts into another order than that of their events.
class many_files : public testing::Test
{
protected:
    many_files()
    {
        run_trox({"make", directory_.file("run"), "--events", "36", "--files", "12"});
        for (const auto& entry : fs::directory_iterator(directory_.file("run"))) {
            if (entry.path().extension() == ".raw") {
                by_name_.push_back(entry.path().string());
            }
        }
        std::sort(by_name_.begin(), by_name_.end());
    }
    std::string number(int file) const
    {
        const std::string mark = "_file" + std::to_string(file) + "_";
        return *std::find_if(by_name_.begin(), by_name_.end(),
                             [&](const auto& path) { return path.find(mark) != std::string::npos; });
    }
    std::vector<std::string> in_order(int first, int last) const
    {
        std::vector<std::string> files;
        for (int file = first; file <= last; ++file) {
            files.push_back(number(file));
        }
        return files;
    }
    static std::vector<std::string> listed(std::vector<std::string> files)
    {
        files.insert(files.begin(), {"list", "files", "--json"});
        std::vector<std::string> paths;
        const auto document = run_trox(files).json();
        for (const auto& row : document.at("files")) {
            paths.push_back(row.at("path"));
        }
        return paths;
    }

    trox_test::temp_directory directory_;
    std::vector<std::string> by_name_;
};

TEST_F(many_files, named_one_by_one_are_read_in_the_order_of_their_events)
{
    ASSERT_THAT(by_name_, SizeIs(12));
    ASSERT_NE(by_name_.front(), number(1)); // "file10" sorts before "file1_"
    EXPECT_THAT(listed(by_name_), ElementsAreArray(in_order(1, 12)));
    std::vector<std::string> reversed(by_name_.rbegin(), by_name_.rend());
    EXPECT_THAT(listed(reversed), ElementsAreArray(in_order(1, 12)));
}

TEST_F(many_files, give_the_same_results_as_their_directory)
{
    const std::vector<std::vector<std::string>> uses{
        {"show"},
        {"show", "--last"},
        {"show", "--time", "2025-03-10T09:30:02"},
        {"show", "LINAC.DIAG/TOROID/2.BC1/CHARGE", "--time", "2025-03-10T09:30:02"},
        {"cover", "--findings"},
        {"sync"},
        {"sync", "--by-time"},
        {"info"}};
    for (auto use : uses) {
        use.emplace_back("--json");
        auto whole = use;
        whole.push_back(directory_.file("run"));
        auto single = use;
        single.insert(single.end(), by_name_.begin(), by_name_.end());
        const auto expected = run_trox(whole);
        const auto found = run_trox(single);
        EXPECT_EQ(expected.code, 0) << expected.err;
        EXPECT_EQ(found.out, expected.out) << use.at(0);
    }
}

TEST_F(many_files, of_two_directories_are_read_in_the_order_of_their_events)
{
    const std::string early = directory_.file("z");
    const std::string late = directory_.file("a");
    fs::create_directory(early);
    fs::create_directory(late);
    for (int file = 1; file <= 12; ++file) {
        fs::rename(number(file), (file <= 5 ? early : late) / fs::path(number(file)).filename());
    }
    const auto forward = listed({early, late});
    EXPECT_THAT(forward, SizeIs(12));
    EXPECT_THAT(forward.front(), HasSubstr("_file1_"));
    EXPECT_THAT(forward.back(), HasSubstr("_file12_"));
    EXPECT_EQ(listed({late, early}), forward);
}

TEST_F(many_files, whose_names_tell_no_time_are_read_in_the_order_of_their_events)
{
    fs::rename(number(1), directory_.file("run/z.raw"));
    fs::rename(number(2), directory_.file("run/y.raw"));
    fs::rename(number(3), directory_.file("run/x.raw"));
    const auto paths = listed({directory_.file("run")});
    ASSERT_THAT(paths, SizeIs(12));
    EXPECT_EQ(paths[0], directory_.file("run/z.raw"));
    EXPECT_EQ(paths[1], directory_.file("run/y.raw"));
    EXPECT_EQ(paths[2], directory_.file("run/x.raw"));
}

TEST(files_of_several_generations, are_read_in_the_order_of_their_events)
{
    const auto document =
        run_trox({"list", "files", "data_2024", "data_legacy", "data_2010", "--json"}).json().at("files");
    std::vector<std::string> generations;
    for (const auto& row : document) {
        generations.push_back(row.at("generation"));
    }
    EXPECT_THAT(generations,
                testing::ElementsAre("legacy", "legacy", "legacy", "2010", "2010", "2010", "2024", "2024", "2024"));
}

TEST_F(many_files, that_links_lead_to_in_vain_are_told_of)
{
    fs::create_directory(directory_.file("links"));
    fs::create_symlink(number(1), directory_.file("links/1.raw"));
    fs::create_symlink(directory_.file("gone.raw"), directory_.file("links/2.raw"));
    const auto result = run_trox({"list", "files", directory_.file("links"), "--json"});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, HasSubstr("links/2.raw: passed over: No such file or directory"));
    EXPECT_THAT(result.json().at("files"), SizeIs(1));
}

} // namespace
