// XML that is written: attributes, escaped and in ASCII.
#ifndef TROX_WRITER_XML_TEXT_H
#define TROX_WRITER_XML_TEXT_H

#include <string>
#include <string_view>

namespace trox::writer
{

/// Appends ` name="value"`, with everything that is not plain ASCII as character references. Throws
/// error(bad_value) for text that is not UTF-8, or has characters that XML does not allow.
void put_attribute(std::string& xml, std::string_view name, std::string_view value);
void put_attribute(std::string& xml, std::string_view name, long long value);

} // namespace trox::writer

#endif
