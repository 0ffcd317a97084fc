#include "json_text.h"

#include "text.h"

#include <cmath>
#include <fmt/format.h>

namespace trox_cli
{
namespace
{

template <class Real> std::string json_real(Real value)
{
    if (!std::isfinite(value)) {
        return "null";
    }
    const std::string text = real_text(value);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

struct scalar_to_json {
    std::string operator()(std::monostate) const
    {
        return "null";
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
        return json_real(value);
    }
    std::string operator()(double value) const
    {
        return json_real(value);
    }
    std::string operator()(const std::string& value) const
    {
        return json_string(value);
    }
    std::string operator()(trox::time_point value) const
    {
        return json_string(trox::to_text(value));
    }
};

std::string escape_of(char32_t code_point)
{
    switch (code_point) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return fmt::format("\\u{:04x}", static_cast<unsigned>(code_point));
    }
}

} // namespace

std::string json_string(std::string_view text)
{
    std::string result = "\"";
    while (!text.empty()) {
        const char32_t code_point = take_code_point(text);
        if (code_point == '"' || code_point == '\\' || code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0)) {
            result += escape_of(code_point);
        } else {
            append_utf8(result, code_point);
        }
    }
    return result + "\"";
}

std::string json_value(const cell& value)
{
    if (value.elements() == nullptr) {
        return std::visit(scalar_to_json(), value.value());
    }
    std::string result = "[";
    for (const scalar& element : *value.elements()) {
        result += result.size() == 1 ? "" : ", ";
        result += std::visit(scalar_to_json(), element);
    }
    return result + "]";
}

} // namespace trox_cli
