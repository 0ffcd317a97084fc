// The XML channel descriptions of a file.
#include "contents.h"
#include "xml_text.h"

namespace trox::writer
{
namespace
{

void put_bit(std::string& xml, const bit_description& bit)
{
    xml += "    <bit";
    put_attribute(xml, "n", bit.bit);
    put_attribute(xml, "name", bit.name);
    put_attribute(xml, "desc", bit.text);
    xml += "/>\n";
}

template <class Description> void put_quantity(std::string& xml, std::int32_t number, const Description& description)
{
    put_attribute(xml, "n", number);
    put_attribute(xml, "name", description.name);
    put_attribute(xml, "desc", description.text);
    put_attribute(xml, "units", description.units);
}

void put_dimension(std::string& xml, const dimension_description& dimension)
{
    xml += "    <dim";
    put_quantity(xml, dimension.dim, dimension);
    if (dimension.stats.empty()) {
        xml += "/>\n";
        return;
    }
    xml += ">\n";
    for (const auto& stat : dimension.stats) {
        xml += "      <stat";
        put_quantity(xml, stat.stat, stat);
        xml += "/>\n";
    }
    xml += "    </dim>\n";
}

void put_channel(std::string& xml, const channel& channel, const channel_description& description)
{
    xml += "  <channel";
    put_attribute(xml, "daq_name", channel.name);
    put_attribute(xml, "prop_name", description.property);
    put_attribute(xml, "desc", description.text);
    put_attribute(xml, "units", description.units);
    put_attribute(xml, "stream", description.stream);
    put_attribute(xml, "ev_type", description.event_types.value_or(channel.event_mask));
    put_attribute(xml, "count", description.count.value_or(static_cast<std::int32_t>(channel.rows.size())));
    put_attribute(xml, "dtype", description.data_type);
    put_attribute(xml, "db_key", description.key.value_or(static_cast<std::int32_t>(channel.key)));
    put_attribute(xml, "max_size", description.max_size.value_or(static_cast<std::int32_t>(channel.largest_payload)));
    put_attribute(xml, "sb_name", description.server);
    put_attribute(xml, "set_point", description.set_point);
    put_attribute(xml, "subsystem", description.subsystem);
    if (description.bits.empty() && description.dimensions.empty()) {
        xml += "/>\n";
        return;
    }
    xml += ">\n";
    for (const auto& bit : description.bits) {
        put_bit(xml, bit);
    }
    for (const auto& dimension : description.dimensions) {
        put_dimension(xml, dimension);
    }
    xml += "  </channel>\n";
}

} // namespace

std::string description_text(const channel& channel)
{
    std::string xml;
    put_channel(xml, channel, *channel.description);
    return xml;
}

std::string descriptions_text(const contents& file)
{
    if (!file.options.descriptions_xml.empty()) {
        return file.options.descriptions_xml;
    }
    std::string xml;
    for (const auto& channel : file.channels) {
        if (channel.description) {
            xml += description_text(channel);
        }
    }
    return xml.empty() ? xml : "<channels>\n" + xml + "</channels>\n";
}

} // namespace trox::writer
