// SVG by hand: words stay words, so that they can be searched, read aloud and changed.
#include "canvas.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace trox_plot
{
namespace
{

std::string number(double value)
{
    constexpr double hundredths = 100;
    const double rounded = std::round(value * hundredths) / hundredths + 0.0; // no -0
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), rounded);
    return {text.data(), end.ptr};
}

std::string hex(color ink)
{
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "#%02x%02x%02x", ink.red, ink.green, ink.blue);
    return text.data();
}

/// Control characters have no place in XML.
std::string escaped(const std::string& words)
{
    std::string result;
    for (const char c : words) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += static_cast<unsigned char>(c) < 0x20U ? ' ' : c;
        }
    }
    return result;
}

std::string dashes(const stroke& how)
{
    std::string lengths;
    for (const double length : how.dashes) {
        lengths += (lengths.empty() ? "" : " ") + number(length);
    }
    return lengths.empty() ? "" : " stroke-dasharray=\"" + lengths + "\"";
}

std::string base64(const std::string& bytes)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t word = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            word = word << 8U | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += i + k > bytes.size() ? '=' : digits[word >> (18 - 6 * k) & 63U];
        }
    }
    return text;
}

std::string coordinates(const std::vector<point>& points)
{
    std::string text;
    for (const point& next : points) {
        text += (text.empty() ? "" : " ") + number(next.x) + "," + number(next.y);
    }
    return text;
}

class svg_canvas final : public canvas
{
public:
    svg_canvas(const extent& size, const std::string& title)
    {
        text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
                "xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"" +
                number(size.width) + "\" height=\"" + number(size.height) + "\" viewBox=\"0 0 " + number(size.width) +
                " " + number(size.height) + "\" font-family=\"DejaVu Sans, Verdana, sans-serif\">\n<title>" +
                escaped(title) + "</title>\n";
    }
    void rectangle(const box& place, color fill) override
    {
        text_ += "<rect " + placed(place) + " fill=\"" + hex(fill) + "\"/>\n";
    }
    void line(const std::vector<point>& points, const stroke& how) override
    {
        text_ += std::string("<polyline class=\"") + how.kind + "\" fill=\"none\" stroke=\"" + hex(how.ink) +
                 "\" stroke-width=\"" + number(how.width) + "\" stroke-linejoin=\"round\"" + dashes(how) +
                 " points=\"" + coordinates(points) + "\"/>\n";
    }
    void dots(const std::vector<point>& points, const stroke& how) override
    {
        text_ += std::string("<g class=\"") + how.kind + "\" fill=\"" + hex(how.ink) + "\">\n";
        for (const point& next : points) {
            text_ += "<circle cx=\"" + number(next.x) + "\" cy=\"" + number(next.y) + "\" r=\"" + number(how.width) +
                     "\"/>\n";
        }
        text_ += "</g>\n";
    }
    void text(point place, const std::string& words, double size, anchor where) override
    {
        const char* side = where == anchor::begin ? "start" : where == anchor::end ? "end" : "middle";
        const std::string at = number(place.x) + "\" y=\"" + number(place.y);
        text_ += "<text x=\"" + at + "\" font-size=\"" + number(size) + "\" text-anchor=\"" + side + "\"";
        if (where == anchor::upwards) {
            text_ += " transform=\"rotate(-90 " + number(place.x) + " " + number(place.y) + ")\"";
        }
        text_ += ">" + escaped(words) + "</text>\n";
    }
    void image(const box& place, const colored_image& what) override
    {
        text_ += "<image " + placed(place) +
                 " preserveAspectRatio=\"none\" image-rendering=\"pixelated\" xlink:href=\"data:image/png;base64," +
                 base64(png_bytes(what)) + "\"/>\n";
    }
    std::string finish() override
    {
        return text_ + "</svg>\n";
    }

private:
    static std::string placed(const box& place)
    {
        return "x=\"" + number(place.x) + "\" y=\"" + number(place.y) + "\" width=\"" + number(place.width) +
               "\" height=\"" + number(place.height) + "\"";
    }

    std::string text_;
};

} // namespace

std::unique_ptr<canvas> make_svg_canvas(const extent& size, const std::string& title)
{
    return std::make_unique<svg_canvas>(size, title);
}

} // namespace trox_plot
