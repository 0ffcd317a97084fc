#include "xml_document.h"

#include <climits>
#include <expat.h>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace trox_platform
{

std::string_view xml_element::attribute(std::string_view key) const noexcept
{
    const auto found = attributes.find(key);
    return found == attributes.end() ? std::string_view{} : std::string_view{found->second};
}

bool xml_element::has_attribute(std::string_view key) const noexcept
{
    return attributes.find(key) != attributes.end();
}

namespace
{

using parser_handle = std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)>;

/// What the handlers share. Exceptions must not cross expat's frames: a handler notes the trouble and stops
/// the parser.
struct builder {
    XML_Parser parser;
    std::optional<xml_element> root;
    std::vector<xml_element*> open; // from the root to the element being filled
    const char* refusal = nullptr;
    bool out_of_memory = false;

    void refuse(const char* reason) noexcept
    {
        refusal = reason;
        XML_StopParser(parser, XML_FALSE);
    }

    void begin_element(const XML_Char* name, const XML_Char** attributes)
    {
        if (open.size() >= xml_depth_limit) {
            refuse("elements are nested too deeply");
            return;
        }
        xml_element* element = nullptr;
        if (open.empty()) {
            element = &root.emplace();
        } else {
            element = &open.back()->children.emplace_back();
        }
        element->name = name;
        for (; *attributes != nullptr; attributes += 2) {
            element->attributes.emplace(attributes[0], attributes[1]);
        }
        open.push_back(element);
    }
};

void on_start(void* data, const XML_Char* name, const XML_Char** attributes)
{
    auto& state = *static_cast<builder*>(data);
    try {
        state.begin_element(name, attributes);
    } catch (...) {
        state.out_of_memory = true;
        XML_StopParser(state.parser, XML_FALSE);
    }
}

void on_end(void* data, const XML_Char*)
{
    auto& state = *static_cast<builder*>(data);
    if (!state.open.empty()) {
        state.open.pop_back();
    }
}

void on_document_type(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int)
{
    static_cast<builder*>(data)->refuse("document type declarations are not accepted");
}

/// expat takes an int as length, so a large text goes in pieces.
bool feed(XML_Parser parser, std::string_view text)
{
    constexpr std::size_t piece_limit = INT_MAX / 2;
    do {
        const std::string_view piece = text.substr(0, piece_limit);
        text.remove_prefix(piece.size());
        const int is_final = text.empty() ? 1 : 0;
        if (XML_Parse(parser, piece.data(), static_cast<int>(piece.size()), is_final) != XML_STATUS_OK) {
            return false;
        }
    } while (!text.empty());
    return true;
}

std::string describe(const builder& state)
{
    const char* reason = state.refusal;
    if (reason == nullptr) {
        reason = XML_ErrorString(XML_GetErrorCode(state.parser));
    }
    return "line " + std::to_string(XML_GetCurrentLineNumber(state.parser)) + ", column " +
           std::to_string(XML_GetCurrentColumnNumber(state.parser)) + ": " + reason;
}

} // namespace

std::optional<xml_element> parse_xml(std::string_view text, std::string* error)
{
    const parser_handle parser(XML_ParserCreate(nullptr), &XML_ParserFree);
    if (!parser) {
        throw std::bad_alloc();
    }
    builder state{parser.get(), std::nullopt, {}};
    XML_SetUserData(parser.get(), &state);
    XML_SetElementHandler(parser.get(), on_start, on_end);
    XML_SetStartDoctypeDeclHandler(parser.get(), on_document_type);
    if (!feed(parser.get(), text)) {
        if (state.out_of_memory || XML_GetErrorCode(parser.get()) == XML_ERROR_NO_MEMORY) {
            throw std::bad_alloc();
        }
        if (error != nullptr) {
            *error = describe(state);
        }
        return std::nullopt;
    }
    return std::move(state.root);
}

} // namespace trox_platform
