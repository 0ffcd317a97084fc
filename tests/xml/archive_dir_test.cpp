// The archive directory of a data file.
#include "catalogue_fixture.h"

#include <cstring>

namespace
{

constexpr const char* variable = "TROX_DAQ_ARCHIVE_ROOT";
constexpr const char* data_file = "linac_main_run5_file1_20120630T235959.raw";

class ArchiveDir : public trox_test::catalogue_test
{
protected:
    void SetUp() override
    {
        catalogue_test::SetUp();
        std::filesystem::create_directories(folder() + "/linac/2012/06");
        setenv(variable, folder().c_str(), 1);
        std::strcpy(buffer_, "before");
    }
    void TearDown() override
    {
        unsetenv(variable);
        catalogue_test::TearDown();
    }
    bool ask(const char* experiment, const char* file)
    {
        return get_pnfs_dir(experiment, file, buffer_, &length_, nullptr);
    }

    char buffer_[1024]{};
    int length_ = sizeof buffer_;
};

TEST_F(ArchiveDir, IsNamedAfterExperimentYearAndMonth)
{
    EXPECT_FALSE(ask("linac", data_file));
    EXPECT_EQ(buffer_, folder() + "/linac/2012/06");
    EXPECT_EQ(length_, 1024) << "not changed";
    setenv(variable, (folder() + "/").c_str(), 1);
    EXPECT_FALSE(ask("linac", (std::string("/some/where/") + data_file).c_str()));
    EXPECT_EQ(buffer_, folder() + "/linac/2012/06") << "no second slash, and a path does as well";
}

TEST_F(ArchiveDir, AbsentAnswersLeaveTheBufferAlone)
{
    EXPECT_TRUE(ask("linac", "linac_main_run5_file1_20120701T000000.raw")) << "another month";
    EXPECT_TRUE(ask("gun", data_file));
    EXPECT_TRUE(ask("linac", "notes.txt"));
    EXPECT_TRUE(ask("", data_file));
    EXPECT_TRUE(ask("../linac", data_file)) << "outside the root";
    EXPECT_TRUE(ask("linac/2012/06/../..", data_file));
    std::filesystem::remove(folder() + "/linac/2012/06");
    std::ofstream(folder() + "/linac/2012/06") << "no directory";
    EXPECT_TRUE(ask("linac", data_file));
    unsetenv(variable);
    EXPECT_TRUE(ask("linac", data_file));
    setenv(variable, "", 1);
    EXPECT_TRUE(ask("linac", data_file));
    EXPECT_STREQ(buffer_, "before");
}

TEST_F(ArchiveDir, FitsTheBufferWithItsClosingNul)
{
    const int needed = static_cast<int>(folder().size() + std::strlen("/linac/2012/06") + 1);
    length_ = needed;
    EXPECT_FALSE(ask("linac", data_file));
    std::strcpy(buffer_, "before");
    for (const int too_short : {needed - 1, 1, 0, -1}) {
        length_ = too_short;
        EXPECT_TRUE(ask("linac", data_file)) << too_short;
        EXPECT_STREQ(buffer_, "before");
    }
}

TEST_F(ArchiveDir, NullArgumentsAreFailures)
{
    EXPECT_TRUE(ask(nullptr, data_file));
    EXPECT_TRUE(ask("linac", nullptr));
    EXPECT_TRUE(get_pnfs_dir("linac", data_file, nullptr, &length_, nullptr));
    EXPECT_TRUE(get_pnfs_dir("linac", data_file, buffer_, nullptr, nullptr));
}

} // namespace
