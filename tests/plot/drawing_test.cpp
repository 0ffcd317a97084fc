// Drawings of data files as SVG and PNG, taken apart again.
#include "plot/color.h"
#include "plot/draw.h"
#include "plot/plot.h"
#include "sample_files.h"
#include "temp_directory.h"
#include "trox/error.h"
#include "written_data.h"

#include <algorithm>
#include <cstring>
#include <expat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <png.h>
#include <sstream>

namespace tp = trox_plot;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using trox_test::temp_directory;
using trox_test::trace;
using trox_test::written_data;

namespace
{

using attributes = std::map<std::string, std::string>;

struct svg_text {
    double x = 0;
    double y = 0;
    std::string anchor;
    std::string words;
};

/// What is in an SVG file, as an XML parser sees it.
struct svg_parts {
    std::vector<svg_text> texts;
    std::vector<std::vector<tp::point>> curves;
    std::vector<tp::point> dots;
    std::size_t images = 0;
    bool is_in_text = false;
    bool is_in_curve_dots = false;

    std::vector<std::string> words() const
    {
        std::vector<std::string> result;
        for (const auto& text : texts) {
            result.push_back(text.words);
        }
        return result;
    }
};

void begin_element(void* user, const char* name, const char** list)
{
    auto& parts = *static_cast<svg_parts*>(user);
    attributes given;
    for (; *list != nullptr; list += 2) {
        given[list[0]] = list[1];
    }
    const std::string element = name;
    if (element == "text") {
        parts.texts.push_back({std::stod(given["x"]), std::stod(given["y"]), given["text-anchor"], ""});
        parts.is_in_text = true;
    } else if (element == "polyline" && given["class"] == "curve") {
        std::vector<tp::point> points;
        std::istringstream stream(given["points"]);
        char comma = 0;
        for (tp::point next; stream >> next.x >> comma >> next.y;) {
            points.push_back(next);
        }
        parts.curves.push_back(points);
    } else if (element == "g") {
        parts.is_in_curve_dots = given["class"] == "curve";
    } else if (element == "circle" && parts.is_in_curve_dots) {
        parts.dots.push_back({std::stod(given["cx"]), std::stod(given["cy"])});
    } else if (element == "image") {
        EXPECT_EQ(given["xlink:href"].rfind("data:image/png;base64,iVBORw0KGgo", 0), 0U);
        ++parts.images;
    }
}

void end_element(void* user, const char*)
{
    static_cast<svg_parts*>(user)->is_in_text = false;
}

void take_text(void* user, const char* text, int size)
{
    auto& parts = *static_cast<svg_parts*>(user);
    if (parts.is_in_text) {
        parts.texts.back().words.append(text, static_cast<std::size_t>(size));
    }
}

svg_parts parse(const std::string& svg)
{
    svg_parts parts;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &parts);
    XML_SetElementHandler(parser, begin_element, end_element);
    XML_SetCharacterDataHandler(parser, take_text);
    EXPECT_EQ(XML_Parse(parser, svg.data(), static_cast<int>(svg.size()), 1), XML_STATUS_OK)
        << XML_ErrorString(XML_GetErrorCode(parser));
    XML_ParserFree(parser);
    return parts;
}

/// Values of places, by what stands at the marks of the axis of values.
class y_axis
{
public:
    explicit y_axis(const svg_parts& parts)
    {
        std::vector<svg_text> labels;
        for (const auto& text : parts.texts) {
            if (text.anchor == "end") {
                labels.push_back(text);
            }
        }
        if (labels.size() < 2) {
            throw std::runtime_error("the axis has no two labels");
        }
        const svg_text& a = labels.front();
        const svg_text& b = labels.back();
        slope_ = (std::stod(b.words) - std::stod(a.words)) / (b.y - a.y);
        constexpr double baseline = 0.36 * 12; // below the mark
        origin_ = std::stod(a.words) - slope_ * (a.y - baseline);
    }
    double value(double y) const
    {
        return origin_ + slope_ * y;
    }

private:
    double slope_ = 0;
    double origin_ = 0;
};

trox::data_set sample_run(trox_test::sample_generation generation)
{
    std::vector<std::string> files;
    for (const auto& name : trox_test::sample_names(generation)) {
        files.push_back(trox_test::sample_directory(generation) + name);
    }
    return trox::data_set::open_files(files);
}

trox::selection channel(const std::string& name)
{
    trox::selection what;
    what.channels = {trox::pattern_from_text(name)};
    return what;
}

svg_parts drawn(const tp::plotted& made)
{
    return parse(tp::draw(made.what, tp::file_kind::svg));
}

struct decoded_png {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<tp::color> pixels;

    tp::color at(std::size_t x, std::size_t y) const
    {
        return pixels[y * width + x];
    }
};

decoded_png decode(const std::string& bytes)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    decoded_png result;
    if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
        ADD_FAILURE() << image.message;
        return result;
    }
    image.format = PNG_FORMAT_RGB;
    static_assert(sizeof(tp::color) == 3);
    result.width = image.width;
    result.height = image.height;
    result.pixels.resize(std::size_t{image.width} * image.height);
    EXPECT_NE(png_image_finish_read(&image, nullptr, result.pixels.data(), 0, nullptr), 0) << image.message;
    return result;
}

bool is_same(tp::color a, tp::color b)
{
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

} // namespace

TEST(DrawingOfATrace, HasItsSamplesAtTheirValues)
{
    const auto made =
        tp::make_drawing(sample_run(trox_test::sample_generation::g2010), channel("LINAC.DIAG/TOROID/3.UNDU/CHARGE"));
    EXPECT_EQ(made.event, 388120040U);
    const svg_parts parts = drawn(made);
    // The first record of the channel, as the independent writer left it.
    const auto dump = trox_test::read_dump(trox_test::sample_names(trox_test::sample_generation::g2010)[0]);
    const auto values = dump["channels"][0]["records"][0]["v"]["memb"][0].get<std::vector<double>>();
    ASSERT_EQ(dump["channels"][0]["name"], "LINAC.DIAG/TOROID/3.UNDU/CHARGE");
    ASSERT_EQ(values.size(), 8U);
    ASSERT_EQ(parts.curves.size(), 1U);
    ASSERT_EQ(parts.curves[0].size(), values.size());
    ASSERT_EQ(parts.dots.size(), values.size());
    const y_axis axis(parts);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(axis.value(parts.curves[0][i].y), values[i], 0.01);
        EXPECT_NEAR(parts.curves[0][i].x - parts.curves[0][0].x, // evenly spaced
                    static_cast<double>(i) * (parts.curves[0][7].x - parts.curves[0][0].x) / 7, 0.02);
    }
    EXPECT_THAT(parts.words(),
                IsSupersetOf({"LINAC.DIAG/TOROID/3.UNDU/CHARGE, event 388120040, 2012-06-14T09:30:00.249944Z", "sample",
                              "0", "7"}));
}

TEST(DrawingOfATrace, HasAPointPerSampleOfAWindow)
{
    tp::request how;
    how.window = {100, 200, 1};
    const auto made = tp::make_drawing(sample_run(trox_test::sample_generation::g2024),
                                       channel("LINAC.RF/ADC/A07.M1/TRACE.Z"), {}, how);
    EXPECT_EQ(made.points, 200U);
    const svg_parts parts = drawn(made);
    ASSERT_EQ(parts.curves.size(), 1U);
    EXPECT_EQ(parts.curves[0].size(), 200U);
    // The axis begins at 500 and grows by 0.25: samples 100 to 299 stand at 525 to 574.75.
    EXPECT_THAT(parts.words(), IsSupersetOf({"530", "570"}));
    EXPECT_THAT(parts.words(), testing::Not(Contains("580")));
}

TEST(DrawingOfATrace, KeepsASinglePeakOfAHundredThousandSamples)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    std::vector<float> values(100000, 1);
    values[54321] = 1000;
    values[54322] = -500;
    file.add({{"T", trace(values)}});
    const auto made = tp::make_drawing(file.open(), {});
    EXPECT_EQ(made.points, 100000U);
    const svg_parts parts = drawn(made);
    ASSERT_EQ(parts.curves.size(), 1U);
    EXPECT_LE(parts.curves[0].size(), 4U * 900U);
    const auto [highest, lowest] = std::minmax_element(parts.curves[0].begin(), parts.curves[0].end(),
                                                       [](tp::point a, tp::point b) { return a.y < b.y; });
    const y_axis axis(parts);
    EXPECT_NEAR(axis.value(highest->y), 1000, 1);
    EXPECT_NEAR(axis.value(lowest->y), -500, 1);
}

TEST(DrawingOfATrace, SeparatesGroupsAndDrawsChosenMembersOnly)
{
    tp::request how;
    how.members = {"CH1"};
    const auto made =
        tp::make_drawing(sample_run(trox_test::sample_generation::g2010), channel("LINAC.DIAG/DUMP/2.EN/GEN"), {}, how);
    // One of two members: 3 groups of 10 samples, 1000 apart.
    const svg_parts parts = drawn(made);
    ASSERT_EQ(parts.curves.size(), 3U);
    EXPECT_GT(parts.curves[1].front().x - parts.curves[0].back().x, 100);
    how.members = {"CH7"};
    EXPECT_THROW(
        tp::make_drawing(sample_run(trox_test::sample_generation::g2010), channel("LINAC.DIAG/DUMP/2.EN/GEN"), {}, how),
        trox::error);
}

TEST(DrawingOfAHistory, HasAPointPerUpdateAndTimesInUtc)
{
    const auto generation = trox_test::sample_generation::g2010;
    std::vector<double> values;
    for (const auto& name : trox_test::sample_names(generation)) {
        const auto dump = trox_test::read_dump(name);
        for (const auto& entry : dump["channels"]) {
            if (entry["name"] == "LINAC.MAG/QUAD/Q5.BC2/I.RBV") {
                for (const auto& record : entry["records"]) {
                    values.push_back(record["v"]["value"].get<double>());
                }
            }
        }
    }
    ASSERT_GT(values.size(), 5U);
    trox::selection what = channel("LINAC.MAG/QUAD/Q5.BC2/I.RBV");
    what.channels.push_back(trox::pattern_from_text("LINAC.ENV/TEMP/RACK.17"));
    const auto made = tp::make_drawing(sample_run(generation), channel("LINAC.MAG/QUAD/Q5.BC2/I.RBV"));
    const svg_parts parts = drawn(made);
    ASSERT_EQ(parts.dots.size(), values.size());
    EXPECT_EQ(made.points, values.size());
    const y_axis axis(parts);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(axis.value(parts.dots[i].y), values[i], 0.1);
    }
    EXPECT_THAT(parts.words(), IsSupersetOf({"LINAC.MAG/QUAD/Q5.BC2/I.RBV", "time (2012-06-14 UTC)", "09:30:02",
                                             "LINAC.MAG/QUAD/Q5.BC2/I.RBV [A]"}));
    // Another unit: a panel of its own.
    EXPECT_EQ(std::get<tp::figure>(tp::make_drawing(sample_run(generation), what).what).panels.size(), 2U);
}

TEST(DrawingOfAHistory, RefusesTracesAndNamesTheChannel)
{
    tp::request how;
    how.what = tp::subject::history;
    try {
        tp::make_drawing(sample_run(trox_test::sample_generation::legacy), channel("LINAC.RF/ADC/A07.M1/TRACE.Z"), {},
                         how);
        FAIL() << "a trace has no single value";
    } catch (const trox::error& reason) {
        EXPECT_EQ(reason.why(), trox::fault::wrong_use);
        EXPECT_EQ(reason.where().channel, "LINAC.RF/ADC/A07.M1/TRACE.Z");
    }
}

TEST(DrawingOfAnImage, HasTheColoursOfItsPixels)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"CAM", trox_test::image(2, 2, 2)}});      // 0 1
    const auto made = tp::make_drawing(file.open(), {}); // 2 3
    EXPECT_EQ(drawn(made).images, 2U);                   // with the bar of colours
    const decoded_png png = decode(tp::draw(made.what, tp::file_kind::png, {600, 400}));
    ASSERT_EQ(png.width, 600U);
    ASSERT_EQ(png.height, 400U);
    EXPECT_TRUE(is_same(png.at(0, 0), tp::white));
    std::vector<double> found;
    for (std::size_t x = 0; x < 400; ++x) { // through the lower half of the image
        for (const double value : {0.0, 1.0 / 3, 2.0 / 3, 1.0}) {
            if (is_same(png.at(x, 280), tp::value_color(value)) && (found.empty() || found.back() != value)) {
                found.push_back(value);
            }
        }
    }
    EXPECT_THAT(found, ElementsAre(2.0 / 3, 1.0));
}

TEST(DrawingAsPng, HasTheColourOfTheCurve)
{
    const auto made =
        tp::make_drawing(sample_run(trox_test::sample_generation::g2010), channel("LINAC.DIAG/TOROID/3.UNDU/CHARGE"));
    const decoded_png png = decode(tp::draw(made.what, tp::file_kind::png));
    EXPECT_EQ(png.width, 900U);
    EXPECT_EQ(png.height, 540U);
    const auto ink = std::count_if(png.pixels.begin(), png.pixels.end(),
                                   [](tp::color pixel) { return is_same(pixel, tp::curve_color(0)); });
    EXPECT_GT(ink, 50);
}

TEST(DrawingAsSvg, NamesCurvesOutsideTheFrameAndDashesThemWhenColoursRepeat)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    std::vector<written_data::channel_record> records;
    for (int i = 0; i < 10; ++i) {
        records.push_back({"LONG/NAME/OF/CHANNEL/" + std::to_string(i), trace({0, 5, static_cast<float>(i)})});
    }
    file.add(records);
    const std::string svg = tp::draw(tp::make_drawing(file.open(), {}).what, tp::file_kind::svg);
    const svg_parts parts = parse(svg);
    double highest = 1e9; // of the curves
    for (const auto& curve : parts.curves) {
        for (const tp::point& corner : curve) {
            highest = std::min(highest, corner.y);
        }
    }
    std::size_t named = 0;
    for (const auto& text : parts.texts) {
        if (text.words.starts_with("LONG/NAME/")) {
            ++named;
            EXPECT_LT(text.y, highest);
        }
    }
    EXPECT_EQ(named, 10U);
    std::size_t dashed = 0;
    for (std::size_t at = svg.find("stroke-dasharray"); at != std::string::npos;
         at = svg.find("stroke-dasharray", at + 1)) {
        ++dashed;
    }
    EXPECT_EQ(dashed, 4U); // two curves and their names
}

TEST(DrawingAsSvg, ShortensLongNamesAndKeepsTheirLettersReadable)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    const std::string name = "BEGIN/" + std::string(200, 'X') + "/END";
    file.add({{name, trace({1, 2, 3})}});
    const std::string svg = tp::draw(tp::make_drawing(file.open(), {}).what, tp::file_kind::svg);
    std::size_t shortened = 0;
    for (const auto& text : parse(svg).texts) {
        if (text.words.starts_with("BEGIN/")) {
            ++shortened;
            EXPECT_THAT(text.words, testing::HasSubstr("…"));
            EXPECT_TRUE(text.words.ends_with("/END") || text.words.ends_with("/END, event 1000, "
                                                                             "2020-01-01T00:00:00.000000Z"))
                << text.words;
        }
    }
    EXPECT_EQ(shortened, 2U); // title and axis
    for (std::size_t at = svg.find("font-size=\""); at != std::string::npos; at = svg.find("font-size=\"", at + 1)) {
        EXPECT_GE(std::stod(svg.substr(at + 11)), 10);
    }
}

TEST(DrawingOfAHistory, DrawsSlowValuesAsStepsAndOthersAsLines)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    for (int i = 0; i < 3; ++i) {
        file.add({{"FAST", trace({static_cast<float>(i)})}});
        file.add({{"SLOW", trox_test::tw::update_payload(trox_test::tw::generation::v2010, "SLOW",
                                                         static_cast<float>(i), file.time())}},
                 TROX_EV_UPD);
    }
    const auto made = tp::make_drawing(file.open(), {});
    const auto& curves = std::get<tp::figure>(made.what).panels.at(0).curves;
    ASSERT_EQ(curves.size(), 2U);
    for (const auto& curve : curves) {
        EXPECT_EQ(curve.form, curve.label == "SLOW" ? tp::curve_form::steps : tp::curve_form::lines) << curve.label;
    }
}

TEST(Drawing, HasNoControlCharactersInItsWords)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A1[31m2", trace({1, 2})}});
    file.finish();
    trox_test::replace_bytes(directory.file("a.raw"), "A1[31m2", "A\x1b[31m\x07");
    const auto made = tp::make_drawing(trox::data_set::open_files({directory.file("a.raw")}), {});
    EXPECT_EQ(std::get<tp::figure>(made.what).title, "A\xEF\xBF\xBD[31m\xEF\xBF\xBD");
    EXPECT_EQ(std::get<tp::figure>(made.what).panels.at(0).label, "A\xEF\xBF\xBD[31m\xEF\xBF\xBD");
}

TEST(Drawing, CountsValuesThatAreNoFiniteNumbers)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A", trace({1, std::numeric_limits<float>::quiet_NaN(), 2, std::numeric_limits<float>::infinity()})}});
    const auto made = tp::make_drawing(file.open(), {});
    EXPECT_EQ(made.left_out, 2U);
    EXPECT_EQ(made.points, 2U);
}

TEST(DrawingAsSvg, EscapesNames)
{
    const temp_directory directory;
    written_data file(directory.file("a.raw"));
    file.add({{"A<B>&\"C\"", trace({1, 2, 3})}});
    EXPECT_THAT(drawn(tp::make_drawing(file.open(), {})).words(),
                Contains("A<B>&\"C\", event 1000, 2020-01-01T00:00:00.000000Z"));
}

TEST(Drawing, RefusesSizesThatMakeNoSense)
{
    EXPECT_THROW(tp::draw(tp::figure(), tp::file_kind::svg, {10, 10}), trox::error);
    EXPECT_THROW(tp::draw(tp::figure(), tp::file_kind::png, {1e9, 1e9}), trox::error);
    EXPECT_NO_THROW(tp::draw(tp::figure(), tp::file_kind::svg)); // nothing to draw
}
