// Files that a verb reads, and that -o must not replace.
#include "run_trox.h"
#include "temp_directory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>

namespace
{

using testing::HasSubstr;
using trox_test::run_trox;

const std::string first_file = "data_2010/linac_main_run1042_file1_20120614T093000.raw";

std::string contents_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct reading_verb {
    const char* name;
    std::vector<std::string> arguments; ///< "INPUT" stands for a directory with a data file, "DATA" for the file
    const char* target = "link.raw";    ///< in that directory
};

class reading : public testing::TestWithParam<reading_verb>
{
};

TEST_P(reading, refuses_to_replace_what_it_reads)
{
    const trox_test::temp_directory directory;
    const std::string data = directory.file("a.raw");
    std::filesystem::copy_file(TROX_TEST_DATA_DIR "/" + first_file, data);
    std::filesystem::create_symlink("a.raw", directory.file("link.raw"));
    std::filesystem::create_hard_link(data, directory.file("second_name"));
    const std::string catalogue = "linac_main_run1042_20120614T093000_20120614T093013.xml";
    std::filesystem::copy_file(TROX_TEST_DATA_DIR "/catalogue/" + catalogue, directory.file(catalogue));
    std::filesystem::copy_file(data, directory.file("linac_main_run1042_file1_20120614T093000.raw"));
    const auto before = contents_of(directory.file(GetParam().target));
    std::vector<std::string> arguments = GetParam().arguments;
    for (std::string& word : arguments) {
        word = word == "INPUT" ? directory.file("") : word == "DATA" ? data : word;
    }
    arguments.insert(arguments.end(), {"-o", directory.file(GetParam().target)});
    const auto result = run_trox(arguments);
    EXPECT_EQ(result.code, 2) << result.err;
    EXPECT_THAT(result.err, HasSubstr(", which this command works on\n"));
    EXPECT_EQ(contents_of(directory.file(GetParam().target)), before);
    EXPECT_FALSE(before.empty());
    EXPECT_TRUE(std::filesystem::is_symlink(directory.file("link.raw")));
}

const std::string read_channel = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
constexpr const char* catalogue_of_run = "linac_main_run1042_20120614T093000_20120614T093013.xml";
const reading_verb reading_verbs[]{
    {"info", {"info", "DATA"}},
    {"list", {"list", "DATA"}},
    {"list_of_directory", {"list", "INPUT"}},
    {"list_of_second_name", {"list", "DATA"}, "second_name"},
    {"list_runs", {"list", "runs", "--catalogue", "INPUT"}, catalogue_of_run},
    {"list_files",
     {"list", "files", "--catalogue", "INPUT", "--run", "1042"},
     "linac_main_run1042_file1_20120614T093000.raw"},
    {"find", {"find", "1042", "--catalogue", "INPUT"}, "linac_main_run1042_file1_20120614T093000.raw"},
    {"show", {"show", "DATA", read_channel}},
    {"dump", {"dump", "DATA"}},
    {"stat", {"stat", "DATA"}},
    {"cover", {"cover", "DATA"}},
    {"sync", {"sync", "DATA"}},
    {"doctor", {"doctor", "DATA"}},
    {"plot", {"plot", "DATA", read_channel, "--format", "svg"}},
    {"export_csv", {"export", "DATA", "--format", "csv"}},
    {"export_npz", {"export", "DATA", "--format", "npz"}},
    {"export_hdf5", {"export", "DATA", "--format", "hdf5"}},
    {"export_of_run", {"export", "--catalogue", "INPUT", "--run", "1042", "--format", "hdf5"}, catalogue_of_run},
};

INSTANTIATE_TEST_SUITE_P(all, reading, testing::ValuesIn(reading_verbs),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(replacing, keeps_the_permissions_of_what_is_replaced)
{
    const trox_test::temp_directory directory;
    const std::string data = TROX_TEST_DATA_DIR "/" + first_file;
    const std::string target = directory.file("target");
    const auto permissions =
        std::filesystem::perms::owner_read | std::filesystem::perms::owner_write | std::filesystem::perms::group_read;
    const std::vector<std::string> commands[]{{"info", data, "-o", target},
                                              {"plot", data, read_channel, "--format", "svg", "-o", target},
                                              {"export", data, "--format", "csv", "-o", target},
                                              {"export", data, "--format", "hdf5", "-o", target},
                                              {"recover", data, target, "--replace"}};
    for (const auto& command : commands) {
        std::ofstream(target) << "mine";
        std::filesystem::permissions(target, permissions);
        EXPECT_EQ(run_trox(command).code, 0) << command[0];
        EXPECT_EQ(std::filesystem::status(target).permissions(), permissions) << command[0];
        EXPECT_NE(contents_of(target), "mine") << command[0];
    }
}

TEST(recovering, refuses_to_replace_the_damaged_and_the_new_file_by_its_report)
{
    const trox_test::temp_directory directory;
    std::filesystem::copy_file(TROX_TEST_DATA_DIR "/" + first_file, directory.file("a.raw"));
    std::filesystem::create_symlink("b.raw", directory.file("link"));
    for (const char* target : {"a.raw", "b.raw", "./b.raw", "link"}) {
        const auto result =
            run_trox({"recover", directory.file("a.raw"), directory.file("b.raw"), "-o", directory.file(target)});
        EXPECT_EQ(result.code, 2);
        EXPECT_THAT(result.err, HasSubstr(", which this command works on\n"));
    }
    EXPECT_EQ(contents_of(directory.file("a.raw")), contents_of(TROX_TEST_DATA_DIR "/" + first_file));
    EXPECT_FALSE(std::filesystem::exists(directory.file("b.raw")));
}

TEST(making, refuses_to_replace_a_new_file_by_its_report)
{
    const trox_test::temp_directory directory;
    const std::string first = directory.file("run/linac_main_run1_file1_20250310T093000.raw");
    const auto result = run_trox({"make", directory.file("run"), "-o", first});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr(", which this command works on\n"));
    EXPECT_EQ(run_trox({"doctor", first}).code, 0);
}

TEST(names, of_255_bytes_can_be_written)
{
    const trox_test::temp_directory directory;
    for (const auto& command : {std::vector<std::string>{"export", "data_2010", read_channel, "--format", "csv"},
                                {"export", "data_2010", read_channel, "--format", "hdf5"},
                                {"info", "data_2010"}}) {
        const std::string target = directory.file(std::string(255, 'n'));
        auto words = command;
        words.insert(words.end(), {"-o", target});
        const auto result = run_trox(words);
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_TRUE(std::filesystem::remove(target));
    }
}

TEST(links, in_a_loop_stay_and_nothing_is_written)
{
    const trox_test::temp_directory directory;
    const std::string loop = directory.file("loop.csv");
    std::filesystem::create_symlink("loop.csv", loop);
    for (const auto& command : {std::vector<std::string>{"export", "data_2010", read_channel}, {"info", "data_2010"}}) {
        auto words = command;
        words.insert(words.end(), {"-o", loop});
        const auto result = run_trox(words);
        EXPECT_EQ(result.code, 1) << words[0];
        EXPECT_THAT(result.err, HasSubstr("Too many levels of symbolic links")) << words[0];
        EXPECT_TRUE(std::filesystem::is_symlink(loop));
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.file("")), {}), 1);
}

} // namespace
