#include "xml_text.h"

#include "trox_writer.h"

#include <cstdint>

namespace trox::writer
{
namespace
{

[[noreturn]] void refuse(std::string_view name, const char* why)
{
    throw error(fault::bad_value, "attribute " + std::string(name) + ": " + why);
}

// One character of UTF-8 text, which is shortened by it.
std::uint32_t take_character(std::string_view& text, std::string_view name)
{
    const auto first = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (first < 0x80) {
        return first;
    }
    const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    static constexpr std::uint32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    if (first < 0xC0 || first >= 0xF8 || text.size() < static_cast<std::size_t>(more)) {
        refuse(name, "the text is not UTF-8");
    }
    std::uint32_t code = first & (0x3FU >> more);
    for (int i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(text.front());
        if ((next & 0xC0U) != 0x80U) {
            refuse(name, "the text is not UTF-8");
        }
        code = code << 6 | (next & 0x3FU);
        text.remove_prefix(1);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest[more] || code > 0x10FFFF || surrogate) {
        refuse(name, "the text is not UTF-8");
    }
    return code;
}

void put_character(std::string& xml, std::uint32_t code, std::string_view name)
{
    const bool line_or_tab = code == '\t' || code == '\n' || code == '\r';
    if ((code < ' ' && !line_or_tab) || code == 0xFFFE || code == 0xFFFF) {
        refuse(name, "a character that XML does not allow");
    }
    switch (code) {
    case '&':
        xml += "&amp;";
        return;
    case '<':
        xml += "&lt;";
        return;
    case '>':
        xml += "&gt;";
        return;
    case '"':
        xml += "&quot;";
        return;
    default:
        break;
    }
    // Line ends and tabs too: as they are, a parser turns them into blanks.
    if (line_or_tab || code > 0x7E) {
        xml += "&#" + std::to_string(code) + ";";
    } else {
        xml += static_cast<char>(code);
    }
}

} // namespace

void put_attribute(std::string& xml, std::string_view name, std::string_view value)
{
    xml += ' ';
    xml += name;
    xml += "=\"";
    while (!value.empty()) {
        put_character(xml, take_character(value, name), name);
    }
    xml += '"';
}

void put_attribute(std::string& xml, std::string_view name, long long value)
{
    put_attribute(xml, name, std::string_view(std::to_string(value)));
}

} // namespace trox::writer
