// A small, strict XML reader for the platform libraries: text in, a tree of elements with attributes out.
//
// Internal to the platform libraries, not installed, hidden. Wraps the expat parser. Character data between
// the elements is passed over: nothing in the DAQ's XML carries a value there.
#ifndef TROX_PLATFORM_XML_DOCUMENT_H
#define TROX_PLATFORM_XML_DOCUMENT_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trox_platform
{

/// One element: its name, its attributes with references resolved, its child elements in document order.
struct xml_element {
    std::string name;
    std::map<std::string, std::string, std::less<>> attributes;
    std::vector<xml_element> children;

    /// The attribute's value, or empty text when the element lacks it. Valid as long as the element.
    std::string_view attribute(std::string_view key) const noexcept;

    /// True when the element has the attribute, also an empty one.
    bool has_attribute(std::string_view key) const noexcept;
};

/// Elements nested deeper than this are refused: the DAQ's documents need four levels, and a tree of bounded
/// depth can be walked and destroyed recursively.
inline constexpr std::size_t xml_depth_limit = 64;

/// Parses a whole document and gives its root element, or nothing and the reason in `error` (may be null):
/// text that is not well-formed, elements nested too deeply, or a document type declaration. The latter is
/// refused as a whole, since entities, default attributes and external references all hang on it; so the
/// tree is never larger than a small multiple of the text.
///
/// Throws std::bad_alloc only. Safe to call from any thread.
std::optional<xml_element> parse_xml(std::string_view text, std::string* error);

} // namespace trox_platform

#endif
