// Picks names, values and texts out of source text. By hand: regular expressions cost minutes of compile time.
#ifndef TROX_TEST_SCAN_H
#define TROX_TEST_SCAN_H

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trox_test
{

inline std::string read_text(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::vector<std::string> lines_of(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline bool is_word_character(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

/// The identifier at the beginning of a text; empty without one.
inline std::string leading_word(std::string_view text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), is_word_character);
    return {text.begin(), end};
}

/// The pieces between `open` and `close`, in order.
inline std::vector<std::string> pieces_between(std::string_view text, std::string_view open, std::string_view close)
{
    std::vector<std::string> pieces;
    for (std::size_t begin = text.find(open); begin != std::string_view::npos; begin = text.find(open, begin)) {
        begin += open.size();
        const std::size_t end = text.find(close, begin);
        if (end == std::string_view::npos) {
            break;
        }
        pieces.emplace_back(text.substr(begin, end - begin));
        begin = end + close.size();
    }
    return pieces;
}

/// The first piece between `open` and `close`; throws when there is none.
inline std::string piece_between(std::string_view text, std::string_view open, std::string_view close)
{
    const auto pieces = pieces_between(text, open, close);
    if (pieces.empty()) {
        throw std::runtime_error("nothing between " + std::string(open) + " and " + std::string(close));
    }
    return pieces.front();
}

/// Name and value of every enumerator `NAME = VALUE` at the beginning of a line whose name begins so.
inline std::vector<std::pair<std::string, long>> enumerators_in(const std::string& text, std::string_view prefix)
{
    std::vector<std::pair<std::string, long>> found;
    for (const std::string& line : lines_of(text)) {
        const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
        const std::string name = leading_word(std::string_view(line).substr(begin));
        const std::string sign = " = ";
        if (!name.empty() && name.starts_with(prefix) && line.compare(begin + name.size(), sign.size(), sign) == 0) {
            found.emplace_back(name, std::stol(line.substr(begin + name.size() + sign.size()), nullptr, 0));
        }
    }
    return found;
}

} // namespace trox_test

#endif
