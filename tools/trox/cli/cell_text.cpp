#include "cell_text.h"

#include "text.h"

#include <algorithm>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

struct scalar_to_text {
    const time_display& times;

    std::string operator()(std::monostate) const
    {
        return {};
    }
    std::string operator()(bool value) const
    {
        return value ? "true" : "false";
    }
    std::string operator()(std::int64_t value) const
    {
        return std::to_string(value);
    }
    std::string operator()(std::uint64_t value) const
    {
        return std::to_string(value);
    }
    std::string operator()(float value) const
    {
        return real_text(value);
    }
    std::string operator()(double value) const
    {
        return real_text(value);
    }
    std::string operator()(const std::string& value) const
    {
        return valid_utf8(value);
    }
    std::string operator()(trox::time_point value) const
    {
        return times.show(value);
    }
};

struct scalar_for_people {
    const column& what;
    const time_display& times;

    std::string operator()(std::monostate) const
    {
        return "-";
    }
    std::string operator()(bool value) const
    {
        return value ? "yes" : "no";
    }
    std::string operator()(std::int64_t value) const
    {
        if (what.type == column_type::duration) {
            return duration_text(std::chrono::microseconds(value));
        }
        return what.type == column_type::bytes && value >= 0 ? bytes_text(static_cast<std::uint64_t>(value))
                                                             : std::to_string(value);
    }
    std::string operator()(std::uint64_t value) const
    {
        return what.type == column_type::bytes ? bytes_text(value) : std::to_string(value);
    }
    std::string operator()(float value) const
    {
        return what.digits ? (*this)(static_cast<double>(value)) : real_text(value);
    }
    std::string operator()(double value) const
    {
        return what.digits ? fmt::format("{:.{}g}", value, *what.digits) : real_text(value);
    }
    std::string operator()(const std::string& value) const
    {
        return printable(value);
    }
    std::string operator()(trox::time_point value) const
    {
        return times.show(value);
    }
};

} // namespace

std::string shown_text(const cell& value, const column& what, const time_display& times)
{
    const scalar_for_people show{what, times};
    if (value.elements() == nullptr) {
        return std::visit(show, value.value());
    }
    constexpr std::size_t most = 8;
    std::vector<std::string> words;
    for (std::size_t i = 0; i < std::min(value.elements()->size(), most); ++i) {
        words.push_back(std::visit(show, (*value.elements())[i]));
    }
    if (value.elements()->size() > most) {
        words.push_back(fmt::format("… ({})", value.elements()->size()));
    }
    return words.empty() ? "-" : join(words, ", ");
}

std::string exact_text(const cell& value, const time_display& times)
{
    const scalar_to_text show{times};
    if (value.elements() == nullptr) {
        return std::visit(show, value.value());
    }
    std::vector<std::string> words;
    for (const scalar& element : *value.elements()) {
        words.push_back(std::visit(show, element));
    }
    return join(words, " ");
}

} // namespace trox_cli
