// What becomes of targets when an export fails, and of what was there before.
#include "export/exporter.h"
#include "exported_files.h"
#include "temp_directory.h"
#include "trox/error.h"
#include "written_data.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
namespace te = trox_export;
using testing::ElementsAre;
using testing::HasSubstr;
using trox_test::contents_of;
using trox_test::into;
using trox_test::names_in;
using trox_test::temp_directory;
using trox_test::trace;
using trox_test::written_data;

namespace
{

struct stopped {
};

} // namespace

class TargetOfAnyFormat : public testing::TestWithParam<te::file_format>
{
};
INSTANTIATE_TEST_SUITE_P(, TargetOfAnyFormat,
                         testing::Values(te::file_format::csv, te::file_format::ndjson, te::file_format::npz,
                                         te::file_format::hdf5, te::file_format::png));

TEST_P(TargetOfAnyFormat, IsNoDeviceOrPipe)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"CAM", trox_test::image(2, 2, 1)}});
    ASSERT_EQ(::mkfifo(directory.file("pipe").c_str(), 0600), 0);
    EXPECT_THROW(te::export_events(file.open(), {}, {}, into(GetParam(), directory.file("pipe"))), trox::error);
    EXPECT_TRUE(fs::is_fifo(directory.file("pipe")));
    EXPECT_THAT(names_in(directory), ElementsAre("a.raw", "pipe"));
}

TEST_P(TargetOfAnyFormat, IsAsBeforeWhereverTheExportIsStopped)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    for (int i = 0; i < 3; ++i) {
        file.add({{"CAM", trox_test::image(200, 200, 1)}});
    }
    const auto data = file.open();
    trox::selection first;
    first.range.end_number = 1001; // a single picture keeps its name
    te::options how = into(GetParam(), directory.file("b"));
    int calls = 0;
    how.check = [&] { ++calls; };
    te::export_events(data, first, {}, how);
    ASSERT_GE(calls, 2); // behind the event, and before the file is put in place
    std::ofstream(directory.file("b")) << "before";
    for (int stop = 1; stop <= calls; ++stop) {
        int count = 0;
        how.check = [&] {
            if (++count == stop) {
                throw stopped();
            }
        };
        EXPECT_THROW(te::export_events(data, first, {}, how), stopped) << stop;
        EXPECT_EQ(contents_of(directory.file("b")), "before");
        EXPECT_THAT(names_in(directory), ElementsAre("a.raw", "b"));
    }
}

TEST(ExportToNpz, CanBeStoppedWhileTheArchiveIsPutTogether)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"T", trace(std::vector<float>(1000000, 1))}});
    te::options how = into(te::file_format::npz, directory.file("b.npz"));
    int calls = 0;
    how.check = [&] { ++calls; };
    te::export_events(file.open(), {}, {}, how);
    EXPECT_GT(calls, 10); // 4 MB in one event
}

// --- series of pictures -------------------------------------------------------------------------------------

class SeriesOfPictures : public testing::Test
{
protected:
    SeriesOfPictures()
    {
        for (int i = 0; i < 3; ++i) {
            file_.add({{"CAM", trox_test::image(2 + i, 2, 1)}});
        }
        file_.finish();
        std::ofstream(directory_.file("beam-1000.png")) << "before";
    }
    te::result write()
    {
        return te::export_events(trox::data_set::open_files({directory_.file("a.raw")}), {}, {},
                                 into(te::file_format::png, directory_.file("beam.png")));
    }

    temp_directory directory_;
    written_data file_{directory_.file("a.raw")};
};

TEST_F(SeriesOfPictures, ReplacesWhatWasThereBefore)
{
    EXPECT_EQ(write().file_count, 3U);
    EXPECT_THAT(contents_of(directory_.file("beam-1000.png")), HasSubstr("PNG"));
    EXPECT_THAT(names_in(directory_), ElementsAre("a.raw", "beam-1000.png", "beam-1001.png", "beam-1002.png"));
}

TEST_F(SeriesOfPictures, AppearsAsAWholeOrNotAtAll)
{
    fs::create_directory(directory_.file("beam-1002.png")); // the last one has no place
    try {
        write();
        FAIL() << "a picture has no place";
    } catch (const trox::error& reason) {
        EXPECT_EQ(reason.where().file, directory_.file("beam-1002.png"));
    }
    EXPECT_EQ(contents_of(directory_.file("beam-1000.png")), "before");
    EXPECT_THAT(names_in(directory_), ElementsAre("a.raw", "beam-1000.png", "beam-1002.png"));
}

TEST_F(SeriesOfPictures, LeavesAloneWhatALinkLeadsToOnAnotherFileSystem)
{
    const std::string shared = "/dev/shm";
    struct stat here {
    };
    struct stat there {
    };
    if (::stat(shared.c_str(), &there) != 0 || ::stat(directory_.file("").c_str(), &here) != 0 ||
        here.st_dev == there.st_dev || ::access(shared.c_str(), W_OK) != 0) {
        GTEST_SKIP() << "there is no second file system";
    }
    const std::string target = shared + "/trox-test-" + std::to_string(::getpid()) + ".png";
    std::ofstream(target) << "precious";
    fs::create_symlink(target, directory_.file("beam-1001.png"));
    try {
        write();
        ADD_FAILURE() << "a picture cannot be moved there";
    } catch (const trox::error& reason) {
        EXPECT_EQ(reason.where().file, target);
    }
    EXPECT_EQ(contents_of(target), "precious");
    EXPECT_EQ(contents_of(directory_.file("beam-1000.png")), "before");
    EXPECT_TRUE(fs::is_symlink(directory_.file("beam-1001.png")));
    fs::remove(target);
}

TEST_F(SeriesOfPictures, DoesNotReplaceTheDataThatItComesFrom)
{
    fs::create_symlink("a.raw", directory_.file("beam-1001.png"));
    const std::string before = contents_of(directory_.file("a.raw"));
    try {
        write();
        FAIL() << "the data would be replaced";
    } catch (const trox::error& reason) {
        EXPECT_EQ(reason.why(), trox::fault::wrong_use);
    }
    EXPECT_EQ(contents_of(directory_.file("a.raw")), before);
    EXPECT_EQ(contents_of(directory_.file("beam-1000.png")), "before");
    EXPECT_THAT(names_in(directory_), ElementsAre("a.raw", "beam-1000.png", "beam-1001.png"));
}
