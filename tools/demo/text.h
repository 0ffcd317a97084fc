// Tables and small pictures made of characters, at most 100 columns wide.
#ifndef TROX_DEMO_TEXT_H
#define TROX_DEMO_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

namespace trox_demo
{

/// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...);

/// A number of bytes with a unit that suits it.
std::string bytes_text(std::size_t bytes);

/// A table with two lines of headings.
class table
{
public:
    enum class align { left, right };
    struct column {
        std::string title;
        std::string subtitle;
        std::size_t width;
        align side = align::right;
    };

    table(std::vector<column> columns, std::size_t gap);
    /// Adds a row; a text wider than its column is cut.
    void add(std::vector<std::string> cells);
    void print() const;

private:
    void print_line(const std::vector<std::string>& cells) const;

    std::vector<column> columns_;
    std::size_t gap_;
    std::vector<std::vector<std::string>> rows_;
};

/// Draws samples as a curve: every column spans from the smallest to the largest sample that it covers.
void print_curve(const std::vector<float>& samples, float start, float inc, const std::string& x_unit,
                 const std::string& y_unit);

/// Draws an image, row by row from the top, `width` pixels a row, dark to bright.
void print_picture(const std::vector<double>& pixels, std::size_t width);

} // namespace trox_demo

#endif
