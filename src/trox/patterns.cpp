// Choosing channels by name, glob and regular expression.
#include "trox/event_reader.h"

#include <regex>
#include <unordered_set>

namespace trox
{

namespace
{

/// The regular expression of a glob.
std::string expression_of(std::string_view glob)
{
    constexpr std::string_view special = R"(\^$.|+(){}])";
    std::string expression;
    for (std::size_t i = 0; i < glob.size(); ++i) {
        const char c = glob[i];
        if (c == '*') {
            expression += "[\\s\\S]*";
        } else if (c == '?') {
            expression += "[\\s\\S]";
        } else if (c == '[') {
            std::size_t begin = i + 1;
            const bool negated = begin < glob.size() && (glob[begin] == '!' || glob[begin] == '^');
            begin += negated ? 1 : 0;
            const std::size_t end = glob.find(']', begin + 1); // a "]" that stands first belongs to the set
            if (end == std::string_view::npos) {
                throw error(fault::wrong_use, "\"" + std::string(glob) + "\" has a \"[\" without a \"]\"");
            }
            expression += negated ? "[^" : "[";
            for (const char member : glob.substr(begin, end - begin)) {
                expression += member == '\\' || member == '[' || member == ']' || member == '^' ? "\\" : "";
                expression += member;
            }
            expression += ']';
            i = end;
        } else {
            expression += special.find(c) != std::string_view::npos ? "\\" : "";
            expression += c;
        }
    }
    return expression;
}

std::regex compiled(const channel_pattern& pattern)
{
    try {
        return std::regex(pattern.kind == channel_pattern::syntax::glob ? expression_of(pattern.text) : pattern.text,
                          std::regex::ECMAScript | std::regex::optimize);
    } catch (const std::regex_error& reason) {
        throw error(fault::wrong_use, "\"" + pattern.text + "\" is no pattern: " + reason.what());
    }
}

/// Whether a whole name fits. An expression that would search for too long counts as malformed.
bool fits(const std::string& name, const std::regex& expression, const channel_pattern& pattern)
{
    try {
        return std::regex_match(name, expression);
    } catch (const std::regex_error&) {
        throw error(fault::wrong_use, "\"" + pattern.text + "\" is too complex a pattern");
    }
}

} // namespace

channel_pattern pattern_from_text(std::string_view text)
{
    constexpr std::string_view regex_mark = "re:";
    if (text.substr(0, regex_mark.size()) == regex_mark) {
        return {std::string(text.substr(regex_mark.size())), channel_pattern::syntax::regex};
    }
    const bool is_glob = text.find_first_of("*?[") != std::string_view::npos;
    return {std::string(text), is_glob ? channel_pattern::syntax::glob : channel_pattern::syntax::name};
}

std::vector<std::size_t> match_channels(const data_set& data, const std::vector<channel_pattern>& patterns)
{
    std::vector<std::size_t> matched;
    std::unordered_set<std::size_t> known;
    const auto add = [&](std::size_t channel) {
        if (known.insert(channel).second) {
            matched.push_back(channel);
        }
    };
    for (const channel_pattern& pattern : patterns) {
        if (pattern.kind == channel_pattern::syntax::name) {
            const auto found = data.find(pattern.text);
            if (!found) {
                std::string hint;
                for (const std::string& name : data.similar_names(pattern.text, 1)) {
                    hint = "; did you mean " + name + "?";
                }
                throw error(fault::not_found, "no such channel" + hint, {{}, pattern.text, {}, {}});
            }
            add(*found);
            continue;
        }
        const std::regex expression = compiled(pattern);
        for (std::size_t i = 0; i < data.channels().size(); ++i) {
            if (fits(data.channels()[i].name, expression, pattern)) {
                add(i);
            }
        }
    }
    return matched;
}

} // namespace trox
