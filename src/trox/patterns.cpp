// Choosing channels by name, glob and regular expression.
#include "trox/event_reader.h"

#include <bitset>
#include <limits>
// States of an expression, which the standard library's else has up to 100000 of: matching takes the square of it.
#define _GLIBCXX_REGEX_STATE_LIMIT 10000 // NOLINT(bugprone-reserved-identifier)
#include <regex>
#include <unordered_set>

namespace trox
{

namespace
{

/// A glob, taken to pieces. Matching takes no longer than the product of the lengths.
class glob
{
public:
    /// Throws error (wrong_use) for a set without an end, or with a range that runs backwards.
    explicit glob(const std::string& text);
    bool matches(std::string_view name) const noexcept;

private:
    using char_set = std::bitset<std::numeric_limits<unsigned char>::max() + 1>;
    struct piece {
        bool is_any_text = false;
        char_set allowed{}; ///< of one character otherwise
    };
    static char_set set_of(std::string_view members, const std::string& text);

    std::vector<piece> pieces_;
};

std::size_t code_of(char c)
{
    return static_cast<unsigned char>(c);
}

glob::glob(const std::string& text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        piece next;
        if (text[i] == '*') {
            next.is_any_text = true;
        } else if (text[i] == '?') {
            next.allowed.set();
        } else if (text[i] == '[') {
            std::size_t begin = i + 1;
            const bool negated = begin < text.size() && (text[begin] == '!' || text[begin] == '^');
            begin += negated ? 1 : 0;
            const std::size_t end = text.find(']', begin + 1); // a "]" that stands first belongs to the set
            if (end == std::string::npos) {
                throw error(fault::wrong_use, "\"" + text + "\" has a \"[\" without a \"]\"");
            }
            next.allowed = set_of(std::string_view(text).substr(begin, end - begin), text);
            next.allowed = negated ? ~next.allowed : next.allowed;
            i = end;
        } else {
            next.allowed.set(code_of(text[i]));
        }
        pieces_.push_back(next);
    }
}

glob::char_set glob::set_of(std::string_view members, const std::string& text)
{
    char_set result;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const std::size_t first = code_of(members[i]);
        const bool is_range = i + 2 < members.size() && members[i + 1] == '-';
        const std::size_t last = is_range ? code_of(members[i + 2]) : first;
        if (last < first) {
            throw error(fault::wrong_use, "\"" + text + "\" has a range that runs backwards");
        }
        for (std::size_t code = first; code <= last; ++code) {
            result.set(code);
        }
        i += is_range ? 2 : 0;
    }
    return result;
}

/// Whatever follows the last "*" can be tried one character later; what precedes it never needs to be tried again.
bool glob::matches(std::string_view name) const noexcept
{
    std::size_t at = 0;
    std::size_t in_name = 0;
    std::size_t behind_star = std::string_view::npos;
    std::size_t retry = 0;
    while (in_name < name.size()) {
        if (at < pieces_.size() && pieces_[at].is_any_text) {
            behind_star = ++at;
            retry = in_name;
        } else if (at < pieces_.size() && pieces_[at].allowed[code_of(name[in_name])]) {
            ++at;
            ++in_name;
        } else if (behind_star != std::string_view::npos) {
            at = behind_star;
            in_name = ++retry;
        } else {
            return false;
        }
    }
    while (at < pieces_.size() && pieces_[at].is_any_text) {
        ++at;
    }
    return at == pieces_.size();
}

std::regex compiled(const std::string& text)
{
    constexpr std::size_t longest = 1000;
    if (text.size() > longest) {
        throw error(fault::wrong_use,
                    "an expression of more than " + std::to_string(longest) + " characters is too long");
    }
    auto syntax = std::regex::ECMAScript | std::regex::optimize;
#ifdef __GLIBCXX__
    syntax |= std::regex_constants::__polynomial; // looks at all ways to match at once: none takes for ever
#endif
    try {
        return std::regex(text, syntax);
    } catch (const std::regex_error& reason) {
        throw error(fault::wrong_use, "\"" + text + "\" is no pattern: " + reason.what());
    }
}

bool fits(const std::string& name, const std::regex& expression, const std::string& text)
{
    try {
        return std::regex_match(name, expression);
    } catch (const std::regex_error& reason) {
        throw error(fault::wrong_use, "\"" + text + "\" cannot be matched: " + reason.what());
    }
}

std::size_t find_name(const data_set& data, const std::string& name)
{
    const auto found = data.find(name);
    if (!found) {
        std::string hint;
        for (const std::string& similar : data.similar_names(name, 1)) {
            hint = "; did you mean " + similar + "?";
        }
        throw error(fault::not_found, "no such channel" + hint, {{}, name, {}, {}});
    }
    return *found;
}

/// Calls `take` with the index of each channel that a pattern matches.
template <class Take> void match(const data_set& data, const channel_pattern& pattern, Take take)
{
    const auto take_those = [&](auto matches) {
        for (std::size_t i = 0; i < data.channels().size(); ++i) {
            if (matches(data.channels()[i].name)) {
                take(i);
            }
        }
    };
    switch (pattern.kind) {
    case channel_pattern::syntax::name:
        take(find_name(data, pattern.text));
        break;
    case channel_pattern::syntax::glob:
        if (const auto found = data.find(pattern.text)) {
            take(*found);
        } else {
            take_those(
                [&, expression = glob(pattern.text)](const std::string& name) { return expression.matches(name); });
        }
        break;
    case channel_pattern::syntax::regex:
        take_those([&, expression = compiled(pattern.text)](const std::string& name) {
            return fits(name, expression, pattern.text);
        });
        break;
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
    for (const channel_pattern& pattern : patterns) {
        match(data, pattern, [&](std::size_t channel) {
            if (known.insert(channel).second) {
                matched.push_back(channel);
            }
        });
    }
    return matched;
}

} // namespace trox
