// Exports of small files whose values are typed here.
#include "export/exporter.h"
#include "export/png_codec.h"
#include "exported_files.h"
#include "sample_files.h"
#include "temp_directory.h"
#include "trox/error.h"
#include "written_data.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <numeric>

namespace fs = std::filesystem;
namespace te = trox_export;
using testing::ElementsAre;
using testing::HasSubstr;
using trox_test::contents_of;
using trox_test::image;
using trox_test::names_in;
using trox_test::temp_directory;
using trox_test::trace;
using trox_test::verified;
using trox_test::written_data;
using trox_test::tw::control_payload;
using trox_test::tw::name_value_payload;
using trox_test::tw::update_payload;

namespace
{

constexpr auto format_2010 = trox_test::tw::generation::v2010;

std::string exported_text(const trox::data_set& data, te::file_format format,
                          te::csv_layout layout = te::csv_layout::rows)
{
    std::string text;
    te::options how;
    how.format = format;
    how.csv = layout;
    how.write = [&](std::string_view piece) { text += piece; };
    te::export_events(data, {}, {}, how);
    return text;
}

} // namespace

TEST(ExportToNdjson, WritesEveryColumnOfATraceWithFloatsThatReadAsTheSame)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    const float smallest = std::numeric_limits<float>::denorm_min();
    const float infinity = std::numeric_limits<float>::infinity();
    file.add({{"A/B", trace({0.1F, -0.0F, smallest, 1e20F, infinity, std::numeric_limits<float>::quiet_NaN()},
                            {1, 5, 0.25F, 2, 100})}});
    EXPECT_EQ(exported_text(file.open(), te::file_format::ndjson),
              "{\"event\":1000,\"time\":\"2020-01-01T00:00:00.000000Z\",\"channels\":{\"A/B\":{\"present\":1,"
              "\"record_time\":\"2020-01-01T00:00:00.000000Z\",\"errors\":0,\"length\":6,"
              "\"axis\":[5.0,0.25,100.0,2.0],\"VALUE\":[0.1,-0.0,1e-45,1e+20,\"Infinity\",\"NaN\"]}}}\n");
}

TEST(ExportToNdjson, WritesNullForAChannelWithoutARecord)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A", trace({1})}, {"B", trace({2})}});
    file.add({{"B", trace({3})}});
    EXPECT_THAT(exported_text(file.open(), te::file_format::ndjson), HasSubstr("\"A\":null,\"B\":{\"present\":1"));
}

TEST(ExportToNdjson, WritesPixelsLineByLine)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"CAM", image(3, 2, 2, 254)}}, TROX_EV_IMAGE);
    EXPECT_THAT(exported_text(file.open(), te::file_format::ndjson),
                HasSubstr("\"shape\":[2,3],\"image\":[[254,255,256],[257,258,259]]"));
}

TEST(ExportToCsv, HasALinePerMemberAndQuotesWhatItMust)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    trox_test::tw::spectrum_head head;
    head.members = 2;
    head.groups = 2;
    file.add({{"T", trox_test::tw::spectrum_payload(format_2010, TROX_BLOCK_2CHAN_2010, {1, 2, 3, 4}, head)},
              {"NV", name_value_payload(7, "none", {{"gain,\"p\"", 0.5F}, {"gain.i", -1}})},
              {"TEXT", control_payload(std::string("two\nlines, \"quoted\""), file.time())}});
    file.add({{"T", trox_test::tw::spectrum_payload(format_2010, TROX_BLOCK_2CHAN_2010, {1, 2, 3, 4}, head)}});

    const std::string heads = "1000,2020-01-01T00:00:00.000000Z,";
    const std::string state = ",,1,2020-01-01T00:00:00.000000Z,0,";
    const std::string second = "1001,2020-01-01T00:00:01.000000Z,";
    const std::string second_state = ",,1,2020-01-01T00:00:01.000000Z,0,";
    EXPECT_EQ(
        exported_text(file.open(), te::file_format::csv),
        "event,time,channel,member,unit,present,record_time,errors,shape,start,increment,group_increment,values\n" +
            heads + "T,CH0" + state + "2x1,0,1,0,1 2\n" + heads + "T,CH1" + state + "2x1,0,1,0,3 4\n" + heads +
            "NV,\"gain,\"\"p\"\"\"" + state + "1,,,,0.5\n" + heads + "NV,gain.i" + state + "1,,,,-1\n" + heads +
            "TEXT,text" + state + "1,,,,\"two\nlines, \"\"quoted\"\"\"\n" + second + "T,CH0" + second_state +
            "2x1,0,1,0,1 2\n" + second + "T,CH1" + second_state + "2x1,0,1,0,3 4\n" + second + "NV,,,0,,,0,,,,\n" +
            second + "TEXT,,,0,,,0,,,,\n");
}

TEST(ExportToWideCsv, HasAFieldPerScalarAndCarriesSlowValues)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"CHARGE", trace({0.25F})}});
    file.add({{"I.RBV", update_payload(format_2010, "I.RBV", 12.5F, file.time())}}, TROX_EV_UPD);
    file.add({{"CHARGE", trace({0.75F})}});
    EXPECT_EQ(exported_text(file.open(), te::file_format::csv, te::csv_layout::wide),
              "event,time,CHARGE,I.RBV\n"
              "1000,2020-01-01T00:00:00.000000Z,0.25,\n"
              "1001,2020-01-01T00:00:01.000000Z,,12.5\n"
              "1002,2020-01-01T00:00:02.000000Z,0.75,12.5\n");
}

TEST(ExportToWideCsv, RefusesATraceAndLeavesTheTargetAsItWas)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"T", trace({1, 2})}});
    std::ofstream(directory.file("b.csv")) << "before";
    te::options how = verified(te::file_format::csv, directory.file("b.csv"));
    how.csv = te::csv_layout::wide;
    try {
        te::export_events(file.open(), {}, {}, how);
        FAIL() << "a trace has no place in a wide table";
    } catch (const trox::error& reason) {
        EXPECT_EQ(reason.why(), trox::fault::wrong_use);
        EXPECT_EQ(reason.where().channel, "T");
    }
    EXPECT_EQ(contents_of(directory.file("b.csv")), "before");
    EXPECT_THAT(names_in(directory), ElementsAre("a.raw", "b.csv"));
}

// --- all formats that hold everything ---------------------------------------------------------------------

class ExportToAnyFormat : public testing::TestWithParam<te::file_format>
{
};
INSTANTIATE_TEST_SUITE_P(, ExportToAnyFormat,
                         testing::Values(te::file_format::csv, te::file_format::ndjson, te::file_format::npz,
                                         te::file_format::hdf5));

TEST_P(ExportToAnyFormat, KeepsShapesThatChangeAndTellsOfThem)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"T", trace({1, 2})}, {"CAM", image(2, 3, 1)}});
    file.add({{"T", trace({1, 2, 3, 4, 5})}, {"CAM", image(4, 1, 2)}});
    file.add({{"T", trace({1})}, {"CAM", image(5, 2, 2)}});
    const auto done = te::export_events(file.open(), {}, {}, verified(GetParam(), directory.file("b")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_FALSE(done.has_lost_data());
    ASSERT_EQ(done.changed_shapes.size(), 2U);
    EXPECT_EQ(done.changed_shapes[0].channel, "T");
    EXPECT_EQ(done.changed_shapes[0].fewest, 1U);
    EXPECT_EQ(done.changed_shapes[0].most, 5U);
    EXPECT_THAT(names_in(directory), ElementsAre("a.raw", "b"));
}

TEST_P(ExportToAnyFormat, HoldsChannelsWhoseNamesGetInEachOthersWay)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A/B", trace({1, 2})},
              {"A/B/VALUE", trace({3})},
              {"A", trace({4})},
              {"event_number", trace({5})},
              {"/A/./B", trace({6})},
              {"..", trace({7})},
              {"text with \"quotes\", commas", trace({8})}});
    const auto done = te::export_events(file.open(), {}, {}, verified(GetParam(), directory.file("b")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.records, 7U);
}

TEST_P(ExportToAnyFormat, PutsNothingInPlaceWhenTheFileIsNotWhatWasRead)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    std::vector<float> values(5000);
    for (int event = 0; event < 40; ++event) {
        std::iota(values.begin(), values.end(), static_cast<float>(event) + 0.5F);
        file.add({{"T", trace(values)}});
    }
    te::options how = verified(GetParam(), directory.file("b"));
    how.compression = 0;
    int calls = 0;
    how.progress = [&](std::uint64_t event) {
        if (++calls <= 40 || event != 1) {
            return;
        }
        // Written, and being read back: change values far behind those that were read.
        for (const auto& entry : fs::directory_iterator(directory.file(""))) {
            if (entry.path().filename().string().starts_with(".b.")) {
                std::fstream changed(entry.path(), std::ios::binary | std::ios::in | std::ios::out);
                changed.seekp(static_cast<std::streamoff>(fs::file_size(entry.path()) / 2));
                changed.write("\x31\x31\x31\x31\x31\x31\x31\x31", 8);
            }
        }
    };
    const auto done = te::export_events(file.open(), {}, {}, how);
    EXPECT_EQ(done.events, 40U);
    EXPECT_FALSE(done.is_verified);
    EXPECT_TRUE(done.difference.has_value());
    EXPECT_TRUE(done.files.empty());
    EXPECT_THAT(names_in(directory), ElementsAre("a.raw"));
}

TEST_P(ExportToAnyFormat, TellsOfRecordsThatCannotBeRead)
{
    const temp_directory directory;
    const std::string name = trox_test::sample_names(trox_test::sample_generation::g2010)[0];
    const std::string copy = directory.file("a.raw");
    const std::string original = trox_test::sample_directory(trox_test::sample_generation::g2010) + name;
    fs::copy_file(original, copy);
    std::uint64_t position = 0;
    const auto dump = trox_test::read_dump(name);
    for (const auto& channel : dump["channels"]) {
        if (channel["name"] == "LINAC.RF/ADC/A07.M1/TRACE.Z") {
            position = channel["records"][3]["pos"][3];
        }
    }
    ASSERT_NE(position, 0U);
    {
        std::fstream damaged(copy, std::ios::binary | std::ios::in | std::ios::out);
        damaged.seekp(static_cast<std::streamoff>(position + 40)); // inside the compressed bytes
        damaged.write("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8);
    }
    trox::selection what;
    what.channels = {trox::pattern_from_text("LINAC.RF/ADC/A07.M1/TRACE.Z"),
                     trox::pattern_from_text("LINAC.DIAG/TOROID/3.UNDU/CHARGE")};
    const auto done =
        te::export_events(trox::data_set::open_files({copy}), what, {}, verified(GetParam(), directory.file("b")));
    EXPECT_TRUE(done.has_lost_data());
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.events, 40U);
    EXPECT_EQ(done.report.channels[0].skipped, 1U);
    EXPECT_EQ(done.report.channels[0].missing, 1U);
    EXPECT_EQ(done.report.channels[1].missing, 0U);
}

TEST_P(ExportToAnyFormat, FailsForADirectoryThatIsNotThere)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"T", trace({1})}});
    try {
        te::export_events(file.open(), {}, {}, verified(GetParam(), directory.file("no/such/b")));
        FAIL() << "there is no such directory";
    } catch (const trox::error& reason) {
        EXPECT_EQ(reason.why(), trox::fault::input_output);
        EXPECT_THAT(reason.what(), HasSubstr("No such file or directory"));
    }
}

// --- pictures -----------------------------------------------------------------------------------------------

TEST(ExportToPng, NamesASinglePictureAsItWasAskedTo)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"CAM", image(3, 2, 2, 0x1FE)}});
    const auto done =
        te::export_events(file.open(), {}, {}, verified(te::file_format::png, directory.file("beam.png")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_THAT(done.files, ElementsAre(directory.file("beam.png")));
    const auto loaded = te::read_png(directory.file("beam.png"));
    EXPECT_EQ(loaded.width, 3U);
    EXPECT_EQ(loaded.height, 2U);
    EXPECT_EQ(loaded.bytes_per_pixel, 2U);
    const std::vector<std::uint8_t> expected{1, 0xFE, 1, 0xFF, 2, 0, 2, 1, 2, 2, 2, 3};
    ASSERT_EQ(loaded.pixels.size(), expected.size());
    EXPECT_EQ(std::memcmp(loaded.pixels.data(), expected.data(), expected.size()), 0);
}

TEST(ExportToPng, NamesPicturesOfSeveralChannelsAfterThemAndTheirEvents)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"X/CAM 1", image(3, 2, 2)}, {"X/CAM 2", image(1, 2, 1)}});
    file.add({{"X/CAM 1", image(3, 3, 2)}});
    const auto done =
        te::export_events(file.open(), {}, {}, verified(te::file_format::png, directory.file("beam.png")));
    EXPECT_TRUE(done.is_verified) << done.difference.value_or("");
    EXPECT_EQ(done.file_count, 3U);
    EXPECT_THAT(names_in(directory),
                ElementsAre("a.raw", "beam-X.CAM_1-1000.png", "beam-X.CAM_1-1001.png", "beam-X.CAM_2-1000.png"));
    EXPECT_EQ(te::read_png(directory.file("beam-X.CAM_2-1000.png")).bytes_per_pixel, 1U);
}

TEST(ExportToPng, RefusesWhatPngDoesNotHold)
{
    const temp_directory directory;
    written_data deep(directory.file("a.raw"));
    deep.add({{"CAM", image(2, 2, 3)}});
    EXPECT_THROW(te::export_events(deep.open(), {}, {}, verified(te::file_format::png, directory.file("b.png"))),
                 trox::error);
    written_data plain(directory.file("c.raw"));
    plain.add({{"T", trace({1, 2})}});
    EXPECT_THROW(te::export_events(plain.open(), {}, {}, verified(te::file_format::png, directory.file("b.png"))),
                 trox::error);
    EXPECT_THAT(names_in(directory), ElementsAre("a.raw", "c.raw"));
}

TEST(FormatOfName, IsToldByTheEnding)
{
    EXPECT_EQ(te::format_of_name("run.h5"), te::file_format::hdf5);
    EXPECT_EQ(te::format_of_name("/a.npz/run.jsonl"), te::file_format::ndjson);
    EXPECT_EQ(te::format_of_name("run.txt"), std::nullopt);
}
