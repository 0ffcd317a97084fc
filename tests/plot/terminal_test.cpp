// Drawings in the terminal that can be told by counting.
#include "plot/terminal.h"

#include "base/utf8.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace tp = trox_plot;

namespace
{

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// y = x from 0 to 36, so that with 5 % of room the axis goes from -1.8 to 37.8.
tp::figure ramp()
{
    tp::figure figure;
    figure.title = "ramp";
    figure.label = "sample";
    figure.panels.emplace_back();
    figure.panels[0].label = "value [V]";
    figure.panels[0].curves.push_back({"ramp", tp::curve_form::lines, {}});
    for (int i = 0; i <= 36; ++i) {
        figure.panels[0].curves[0].points.push_back({static_cast<double>(i), static_cast<double>(i)});
    }
    return figure;
}

} // namespace

TEST(TerminalPlot, DrawsARampFromTheLowerLeftToTheUpperRight)
{
    // Labels need 2 characters, so that with a blank and the frame 37 columns are left: one a sample. Of 12 lines 7
    // are left for values: 39.6 / 6 = 6.6 a line, the lowest one up to -1.8 + 3.3 = 1.5.
    EXPECT_EQ(tp::draw_in_terminal(ramp(), {41, 12, tp::cell_style::ascii, false}),
              "                  ramp\n"
              "value [V]\n"
              "   |                                   **\n"
              "   |                            *******  \n"
              "   |                      ******         \n"
              " 20+               *******               \n"
              "   |         ******                      \n"
              "   |  *******                            \n"
              "  0+**                                   \n"
              "   ++-------------------+----------------\n"
              "    0                  20\n"
              "                 sample\n");
}

TEST(TerminalPlot, SetsTheDotsOfBrailleAndQuarters)
{
    tp::figure figure;
    figure.panels.emplace_back();
    // From corner to corner but for the room at the ends of the axis of values.
    figure.panels[0].curves.push_back({"a", tp::curve_form::lines, {{0, 0}, {1, 0}}});
    const auto braille = lines_of(tp::draw_in_terminal(figure, {30, 8, tp::cell_style::braille, false}));
    const auto blocks = lines_of(tp::draw_in_terminal(figure, {30, 8, tp::cell_style::blocks, false}));
    // 3 lines: 12 dots from -1 to 1, so that 0 is at dot 6 (from below): the second from above of the middle line.
    EXPECT_TRUE(braille[3].ends_with("⠒⠒⠒")) << braille[3];
    // 6 quarters: 0 is at 3 from below, the upper one of the middle line.
    EXPECT_TRUE(blocks[3].ends_with("▀▀▀")) << blocks[3];
}

TEST(TerminalPlot, ColoursCurvesAndNamesThem)
{
    tp::figure figure = ramp();
    figure.panels[0].curves.push_back({"other", tp::curve_form::lines, {{0, 3}, {36, 3}}});
    const std::string text = tp::draw_in_terminal(figure, {60, 12, tp::cell_style::braille, true});
    EXPECT_NE(text.find("\x1b[38;2;0;114;178mramp\x1b[0m"), std::string::npos);
    EXPECT_NE(text.find("\x1b[38;2;213;94;0mother\x1b[0m"), std::string::npos);
    EXPECT_EQ(tp::draw_in_terminal(figure, {60, 12, tp::cell_style::braille, false}).find('\x1b'), std::string::npos);
}

TEST(TerminalPlot, NamesCurvesBehindTheirSigns)
{
    tp::figure figure = ramp();
    figure.panels[0].curves.push_back({"other", tp::curve_form::lines, {{0, 3}, {36, 3}}});
    const auto lines = lines_of(tp::draw_in_terminal(figure, {41, 12, tp::cell_style::ascii, false}));
    EXPECT_EQ(lines[1], "value [V]  * ramp  + other");
    EXPECT_EQ(lines[2].back(), '*');
    EXPECT_EQ(lines[7].back(), '+') << lines[7];
    EXPECT_EQ(lines.size(), 12U);
}

TEST(TerminalPlot, GivesCurvesThatLookTheSamePanelsOfTheirOwn)
{
    tp::figure figure = ramp();
    figure.panels[0].label = "[V]";
    figure.panels[0].curves.push_back({"other", tp::curve_form::lines, {{0, 3}, {36, 3}}});
    const auto lines = lines_of(tp::draw_in_terminal(figure, {41, 24, tp::cell_style::braille, false}));
    EXPECT_EQ(lines[1], "ramp [V]");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "other [V]"), 1);
    EXPECT_LE(lines.size(), 24U);
    // There is no room for twelve: signs tell them apart, and names take as many lines as they need.
    for (int i = 0; i < 10; ++i) {
        figure.panels[0].curves.push_back({"curve " + std::to_string(i), tp::curve_form::lines, {{0, 3}, {36, 3}}});
    }
    const std::string text = tp::draw_in_terminal(figure, {41, 24, tp::cell_style::braille, false});
    for (const char* name : {"* ramp", "+ other", "x curve 0", "~ curve 7", "* curve 8"}) {
        EXPECT_NE(text.find(name), std::string::npos) << name;
    }
    for (const std::string& line : lines_of(text)) {
        EXPECT_LE(trox_base::character_count(line), 41U);
    }
}

TEST(TerminalPlot, ShortensTheNameAndNeverTheEvent)
{
    tp::figure figure = ramp();
    figure.title = "A/VERY/LONG/" + std::string(60, 'x') + "/NAME";
    figure.when = "event 123456789012, 2012-06-14T09:30:00Z";
    const auto lines = lines_of(tp::draw_in_terminal(figure, {41, 12, tp::cell_style::ascii, false}));
    EXPECT_EQ(lines[0], "A/VERY/LONG/xxxxxxxx~xxxxxxxxxxxxxxx/NAME");
    EXPECT_EQ(lines[1], figure.when);
    EXPECT_EQ(lines.size(), 12U);
}

TEST(TerminalPlot, HasTwoLabelsAtEveryAxisOfValues)
{
    tp::figure figure = ramp();
    figure.panels.push_back(figure.panels[0]);
    figure.panels.push_back(figure.panels[0]);
    figure.panels[1].curves[0].points = {{0, 0.31}, {36, 0.42}};
    figure.panels[2].curves[0].points = {{0, 7.7}, {36, 9.2}};
    std::size_t labels = 0;
    for (const auto& line : lines_of(tp::draw_in_terminal(figure, {60, 24, tp::cell_style::braille, false}))) {
        labels += line.find("┤") != std::string::npos ? 1 : 0;
    }
    EXPECT_GE(labels, 6U);
}

TEST(TerminalPlot, ShowsAnImageInShades)
{
    tp::picture picture;
    picture.title = "image";
    picture.width = 4;
    picture.height = 4;
    picture.values = {0, 0, 9, 9, 0, 0, 9, 9, 0, 5, 0, 0, 0, 0, 0, 0};
    // 6 of the 8 lines are left: 12 half lines, so that a pixel is 3 half lines high, and 3 columns wide.
    EXPECT_EQ(tp::draw_in_terminal(picture, {50, 8, tp::cell_style::ascii, false}),
              "                      image\n"
              "      @@@@@@\n"
              "      @@@@@@\n"
              "      @@@@@@\n"
              "   +++      \n"
              "   +++      \n"
              "            \n"
              "values: 0 (dark) to 9, 4 x 4 pixels\n");
}

TEST(TerminalPlot, ShowsTheOneBrightPixelOfALargeImage)
{
    tp::picture picture;
    picture.width = 1000;
    picture.height = 700;
    picture.values.assign(picture.width * picture.height, 0);
    picture.values[333 * 1000 + 777] = 1;
    const std::string text = tp::draw_in_terminal(picture, {80, 24, tp::cell_style::ascii, false});
    EXPECT_NE(text.find('@'), std::string::npos);
}

TEST(TerminalPlot, FitsIntoTheSmallestTerminal)
{
    tp::figure figure = ramp();
    figure.title = std::string(200, 'x');
    for (const std::string& line : lines_of(tp::draw_in_terminal(figure, {1, 1, tp::cell_style::ascii, false}))) {
        EXPECT_LE(line.size(), 30U);
    }
}
