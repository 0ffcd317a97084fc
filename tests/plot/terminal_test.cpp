// Drawings in the terminal that can be told by counting.
#include "plot/terminal.h"

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
