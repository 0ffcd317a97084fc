// The verbs that read data, over files that are damaged: they end, say what is lost, and what they write can be read.
#include "run_trox.h"
#include "temp_directory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>

namespace
{

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::HasSubstr;
using trox_test::program_result;
using trox_test::run_trox;

struct sample {
    const char* name;
    const char* directory;
    const char* file; ///< its last one
    const char* run;
};

class damaged_run : public testing::TestWithParam<sample>
{
protected:
    damaged_run()
    {
        fs::copy(std::string(TROX_TEST_DATA_DIR "/") + GetParam().directory, directory_.file("run"));
        std::ifstream in(damaged_, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(in), {});
    }
    void write() const
    {
        fs::permissions(damaged_, fs::perms::owner_all);
        std::ofstream(damaged_, std::ios::binary | std::ios::trunc) << bytes_;
    }
    /// All verbs that read data, in `files` (a file or a directory).
    std::vector<std::vector<std::string>> uses(const std::string& files) const
    {
        return {{"info", files},
                {"list", files},
                {"list", "files", files},
                {"show", files, "--last"},
                {"stat", files},
                {"cover", files, "--findings"},
                {"sync", files},
                {"sync", files, "--by-time"},
                {"find", GetParam().run, "--catalogue", "catalogue", "--data", directory_.file("run")}};
    }
    /// The program is ended by a signal, which is no exit code, when it takes too long.
    static program_result expect_sane(std::vector<std::string> use, const std::string& damage)
    {
        use.emplace_back("--json");
        auto result = run_trox(use);
        EXPECT_THAT(result.code, AnyOf(0, 1, 3)) << use.at(0) << ": " << damage << ": " << result.err;
        EXPECT_EQ(result.err.empty(), result.code == 0) << use.at(0) << ": " << damage << ": " << result.err;
        if (result.code == 1) {
            EXPECT_EQ(result.out, "") << use.at(0) << ": " << damage;
        } else {
            EXPECT_TRUE(nlohmann::json::accept(result.out)) << use.at(0) << ": " << damage << "\n" << result.out;
        }
        return result;
    }
    void expect_all_sane(const std::string& damage) const
    {
        write();
        for (const auto& files : {directory_.file("run"), damaged_}) {
            for (const auto& use : uses(files)) {
                expect_sane(use, damage);
            }
        }
    }

    const trox_test::temp_directory directory_;
    const std::string damaged_ = directory_.file(std::string("run/") + GetParam().file);
    std::string bytes_;
};

TEST_P(damaged_run, that_is_cut_is_read_without_the_cut_file)
{
    const std::string whole = bytes_;
    for (const std::size_t part : {0U, 1U, 7U, 13U, 15U}) {
        bytes_ = whole.substr(0, whole.size() * part / 16);
        write();
        for (const auto& use : uses(directory_.file("run"))) {
            const auto result = expect_sane(use, "cut");
            EXPECT_EQ(result.code, 3) << use.at(0);
            EXPECT_THAT(result.err, HasSubstr(damaged_)) << use.at(0);
        }
        EXPECT_EQ(expect_sane({"info", damaged_}, "cut").code, 1);
    }
}

TEST_P(damaged_run, that_is_zeroed_somewhere_is_read_as_far_as_it_goes)
{
    const std::string whole = bytes_;
    for (const std::size_t part : {0U, 3U, 9U, 14U, 15U}) {
        bytes_ = whole;
        const std::size_t begin = whole.size() * part / 16;
        bytes_.replace(begin, whole.size() / 16, whole.size() / 16, '\0');
        expect_all_sane("zeroed from " + std::to_string(begin));
    }
}

TEST_P(damaged_run, that_has_wrong_bytes_is_read_as_far_as_it_goes)
{
    const std::string whole = bytes_;
    for (const std::size_t first : {11U, 1009U, 5003U, 9001U}) {
        bytes_ = whole;
        for (std::size_t at = first; at < bytes_.size(); at += 9973) {
            bytes_[at] = static_cast<char>(bytes_[at] ^ 0x55);
        }
        expect_all_sane("flipped from " + std::to_string(first));
    }
}

TEST_P(damaged_run, whose_descriptions_are_damaged_is_read_with_a_loss)
{
    const auto at = bytes_.find("<channels");
    ASSERT_NE(at, std::string::npos);
    bytes_[at] = '?';
    write();
    for (const auto& use : uses(damaged_)) {
        const auto result = expect_sane(use, "descriptions");
        EXPECT_EQ(result.code, 3) << use.at(0);
        EXPECT_THAT(result.err, HasSubstr(damaged_ + ": the text of the channel descriptions is damaged")) << use.at(0);
    }
    const auto none = run_trox({"list", damaged_, "--unit", "nC", "--json"});
    EXPECT_EQ(none.code, 3);
    EXPECT_TRUE(none.json().at("channels").empty());
}

INSTANTIATE_TEST_SUITE_P(
    of_every_generation, damaged_run,
    testing::Values(sample{"legacy", "data_legacy", "linac_main_run977_file3_20091103T221518.raw", "977"},
                    sample{"of_2010", "data_2010", "linac_main_run1042_file3_20120614T093008.raw", "1042"},
                    sample{"of_2024", "data_2024", "linac_main_run2210_file3_20240305T040002.250.raw", "2210"}),
    [](const auto& which) { return which.param.name; });

TEST(damaged_record, is_told_of_by_each_verb_that_decodes_it)
{
    const trox_test::temp_directory directory;
    const std::string path = directory.file("a.raw");
    fs::copy(TROX_TEST_DATA_DIR "/data_2010/linac_main_run1042_file3_20120614T093008.raw", path);
    fs::permissions(path, fs::perms::owner_all);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    constexpr std::streamoff in_stream = 0x2522d; // of record 1 of a channel
    file.seekp(in_stream);
    file.put('\x55');
    file.close();
    const std::string charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
    for (const auto& use :
         {std::vector<std::string>{"stat", path}, {"sync", path}, {"show", path, "--event", "388120121"}}) {
        const auto result = run_trox(use);
        EXPECT_EQ(result.code, 3) << use.at(0);
        EXPECT_THAT(result.err, HasSubstr(charge)) << use.at(0);
        EXPECT_THAT(result.err, HasSubstr("its compressed data are damaged")) << use.at(0);
    }
    EXPECT_EQ(run_trox({"show", path, "--event", "388120122"}).code, 0);
    EXPECT_EQ(run_trox({"cover", path}).code, 0); // tables alone
    // Nothing is left to be shown of it.
    for (const auto& use : {std::vector<std::string>{"show", path, charge, "--event", "388120121"},
                            {"plot", path, charge, "--as", "trace", "--event", "388120121"}}) {
        const auto result = run_trox(use);
        EXPECT_EQ(result.code, 1) << use.at(0);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("its compressed data are damaged")) << use.at(0);
        EXPECT_THAT(result.err, HasSubstr("the records of event 388120121 cannot be read\n")) << use.at(0);
    }
}

} // namespace
