// Names that cannot stand in a file as they are, and rows whose shapes surprise.
#include "export/exporter.h"
#include "export/hdf5_names.h"
#include "export/png_codec.h"
#include "exported_files.h"
#include "temp_directory.h"
#include "written_data.h"

#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <numeric>
#include <stdexcept>

namespace te = trox_export;
using testing::ElementsAre;
using testing::HasSubstr;
using trox_test::contents_of;
using trox_test::temp_directory;
using trox_test::trace;
using trox_test::verified;
using trox_test::written_data;
using trox_test::tw::control_payload;
using trox_test::tw::name_value_payload;
using trox_test::tw::update_payload;

namespace
{

std::vector<std::string> paths_of(const std::vector<std::string>& names)
{
    std::vector<te::channel_head> heads;
    for (const auto& name : names) {
        heads.emplace_back().name = name;
    }
    return te::hdf5_group_paths(heads);
}

std::vector<float> ramp(std::size_t count)
{
    std::vector<float> values(count);
    std::iota(values.begin(), values.end(), 0.5F);
    return values;
}

/// Memory of the process without pages of files.
std::size_t memory_in_kib()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "RssAnon:") {
            std::size_t size = 0;
            status >> size;
            return size;
        }
    }
    throw std::runtime_error("the kernel does not tell of memory");
}

} // namespace

TEST(GroupsOfHdf5, AreNamedAsChannelsUnlessOneLiesBelowAnother)
{
    EXPECT_THAT(paths_of({"A/B", "A/C", "D"}), ElementsAre("A/B", "A/C", "D"));
    EXPECT_THAT(paths_of({"A/B", "A/B/value", "A/B/c/d"}), ElementsAre("A/B", "channel_1", "channel_2"));
    EXPECT_THAT(paths_of({"A/B/value", "A/B"}), ElementsAre("channel_0", "A/B"));
    EXPECT_THAT(paths_of({"/A/./B", "A//B", "", "."}), ElementsAre("A/B", "channel_1", "channel_2", "channel_3"));
    EXPECT_THAT(paths_of({"event_time", "event_number/X"}), ElementsAre("channel_0", "channel_1"));
    EXPECT_THAT(paths_of({"channel_1", "channel_1/A"}), ElementsAre("channel_1", "channel_1_"));
}

class NamesInAnyFormat : public testing::TestWithParam<te::file_format>
{
};
INSTANTIATE_TEST_SUITE_P(, NamesInAnyFormat,
                         testing::Values(te::file_format::csv, te::file_format::ndjson, te::file_format::npz,
                                         te::file_format::hdf5));

TEST_P(NamesInAnyFormat, MayBeThatOfAColumnThatComesLater)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    // The first event makes the group of "A/B/value"; the second one wants a dataset of that name.
    file.add({{"A/B/value", trace({1})}});
    file.add({{"A/B", update_payload(trox_test::tw::generation::v2010, "A/B", 12.5F, file.time())}}, TROX_EV_UPD);
    const auto done = te::export_events(file.open(), {}, {}, verified(GetParam(), directory.file("b")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.records, 2U);
}

TEST_P(NamesInAnyFormat, NeedNotBeUtf8)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"bad1", trace({1})},
              {"bad2", trace({2})},
              {"LIST", name_value_payload(7, "gr1", {{"k2se", 0.5F}})},
              {"TEXT", control_payload(std::string("m3ll"), file.time())}});
    file.finish();
    for (const auto& [plain, other] : {std::pair{"bad1", "bad\xFF"},
                                       {"bad2", "bad\xFE"},
                                       {"gr1", "gr\xFC"},
                                       {"k2se", "k\xE4se"},
                                       {"m3ll", "m\xFCll"}}) {
        trox_test::replace_bytes(directory.file("a.raw"), plain, other);
    }
    const auto done = te::export_events(trox::data_set::open_files({directory.file("a.raw")}), {}, {},
                                        verified(GetParam(), directory.file("b")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.records, 4U);
    const std::string written = contents_of(directory.file("b"));
    if (GetParam() != te::file_format::npz && GetParam() != te::file_format::hdf5) {
        EXPECT_THAT(written, HasSubstr("bad\xEF\xBF\xBD"));
        EXPECT_THAT(written, HasSubstr("bad\xEF\xBF\xBD (2)"));
        EXPECT_THAT(written, HasSubstr("k\xEF\xBF\xBDse"));
        EXPECT_EQ(written.find('\xFF'), std::string::npos);
        EXPECT_EQ(written.find('\xE4'), std::string::npos);
    }
}

TEST_P(NamesInAnyFormat, AreThereWithoutAnEvent)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A", trace({1})}});
    trox::selection nothing;
    nothing.range.first_number = 5;
    nothing.range.end_number = 5;
    const auto done = te::export_events(file.open(), nothing, {}, verified(GetParam(), directory.file("b")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.events, 0U);
    EXPECT_EQ(done.files.size(), 1U);
    const std::string written = contents_of(directory.file("b"));
    switch (GetParam()) {
    case te::file_format::csv:
        EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1);
        break;
    case te::file_format::ndjson:
        EXPECT_EQ(written, "");
        break;
    case te::file_format::npz:
    case te::file_format::hdf5:
        EXPECT_THAT(written, HasSubstr("event_number"));
        EXPECT_THAT(written, HasSubstr("event_time"));
        break;
    case te::file_format::png:
        break;
    }
}

TEST(ExportToHdf5, KeepsRowsThatGrowManyTimes)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    const std::size_t sizes[]{1, 1, 3, 1, 40, 5000, 2, 100000, 300000, 1};
    for (const std::size_t size : sizes) {
        std::vector<std::pair<std::string, float>> list;
        for (std::size_t i = 0; i < std::min<std::size_t>(size, 60); ++i) {
            list.emplace_back("entry " + std::to_string(i), static_cast<float>(i));
        }
        file.add({{"T", trace(ramp(size))},
                  {"LIST", name_value_payload(7, "none", list)},
                  {"CAM", trox_test::image(static_cast<std::int32_t>(1 + size / 1000), 4, 2)}});
    }
    const auto done = te::export_events(file.open(), {}, {}, verified(te::file_format::hdf5, directory.file("b.h5")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.records, 30U);
}

TEST(ExportToHdf5, StaysInItsMemoryAfterATinyFirstRecord)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"T", trace({1})}});
    const auto large = ramp(200000);
    constexpr int events = 150; // 120 MB of samples
    for (int i = 0; i < events; ++i) {
        file.add({{"T", trace(large)}});
    }
    file.finish();
    trox::reading_options reading;
    reading.memory_budget = std::size_t{8} << 20U;
    reading.threads = 1;
    te::options how;
    how.format = te::file_format::hdf5;
    how.target = directory.file("b.h5");
    how.compression = 1;
    const std::size_t before = memory_in_kib();
    std::size_t most = before;
    how.progress = [&](std::uint64_t) { most = std::max(most, memory_in_kib()); };
    const auto done = te::export_events(trox::data_set::open_files({directory.file("a.raw")}), {}, reading, how);
    EXPECT_EQ(done.events, std::uint64_t{events} + 1);
    EXPECT_LT(most - before, std::size_t{32} << 10U);
}

TEST(ExportToCsv, ShowsTimesAsTheyAreWanted)
{
    const temp_directory directory;
    for (const auto layout : {te::csv_layout::rows, te::csv_layout::wide}) {
        written_data file(directory.file("a.raw"));
        file.add({{"A", trace({1})}});
        te::options how = verified(te::file_format::csv, directory.file("b.csv"));
        how.csv = layout;
        how.show_time = [](trox::time_point time) { return "at, " + std::to_string(time.time_since_epoch().count()); };
        const auto done = te::export_events(file.open(), {}, {}, how);
        EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
        EXPECT_THAT(contents_of(directory.file("b.csv")), HasSubstr("\n1000,\"at, 1577836800000000\","));
        std::remove(directory.file("a.raw").c_str());
    }
}

TEST(ExportToPng, TellsChannelsApartWhoseNamesLookTheSameInFileNames)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A/B", trox_test::image(2, 2, 1)}, {"A.B", trox_test::image(3, 3, 1)}});
    const auto done =
        te::export_events(file.open(), {}, {}, verified(te::file_format::png, directory.file("beam.png")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_THAT(done.files, ElementsAre(directory.file("beam-A.B-1000.png"), directory.file("beam-A.B_2-1000.png")));
    EXPECT_EQ(te::read_png(directory.file("beam-A.B-1000.png")).width, 2U);
    EXPECT_THAT(contents_of(directory.file("beam-A.B-1000.png")), HasSubstr(std::string("Title\0A/B", 9)));
    EXPECT_THAT(contents_of(directory.file("beam-A.B_2-1000.png")), HasSubstr(std::string("Title\0A.B", 9)));
}
