// Decoding of the XML channel descriptions inside a file.
#include "event_util.h"
#include "generation.h"
#include "table_block.h"
#include "xml_document.h"

#include <algorithm>
#include <charconv>
#include <memory>

namespace trox_evutl
{

namespace
{

using trox_platform::xml_element;

/// Takes values out of one element; what goes wrong on the way is remembered, so that one test at the end does.
class attribute_reader
{
public:
    explicit attribute_reader(const xml_element& element) noexcept : element_(element) {}

    bool is_good() const noexcept
    {
        return is_good_;
    }

    /// Copies text into a field, cut to leave room for a closing NUL.
    template <std::size_t Size> void text(std::string_view key, char (&field)[Size]) const noexcept
    {
        const std::string_view value = element_.attribute(key);
        std::copy_n(value.data(), std::min(value.size(), Size - 1), field);
    }

    /// Reads a number, decimal or with 0x hexadecimal; an absent or empty one leaves the field alone.
    template <class Integer> void number(std::string_view key, Integer& field) noexcept
    {
        std::string_view value = element_.attribute(key);
        if (value.empty()) {
            return;
        }
        const bool is_hexadecimal = value.starts_with("0x") || value.starts_with("0X");
        value.remove_prefix(is_hexadecimal ? 2 : 0);
        const char* const end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, field, is_hexadecimal ? 16 : 10);
        is_good_ = is_good_ && error == std::errc{} && stop == end;
    }

private:
    const xml_element& element_;
    bool is_good_ = true;
};

/// Appends the decoded children of one name to a list of owned records; false when one is malformed.
template <class Record, class Decode>
bool append_children(const xml_element& parent, std::string_view name, std::vector<Record*>& list, Decode decode)
{
    for (const xml_element& child : parent.children) {
        if (child.name != name) {
            continue;
        }
        auto record = std::make_unique<Record>();
        if (!decode(child, *record)) {
            return false;
        }
        list.push_back(record.get());
        static_cast<void>(record.release());
    }
    return true;
}

bool decode_bit(const xml_element& element, bit_descr& bit)
{
    attribute_reader attributes(element);
    attributes.number("n", bit.bit);
    attributes.text("name", bit.bit_name);
    attributes.text("desc", bit.bit_desc);
    return attributes.is_good();
}

bool decode_statistic(const xml_element& element, stat_descr& statistic)
{
    attribute_reader attributes(element);
    attributes.number("n", statistic.stat);
    attributes.text("name", statistic.stat_name);
    attributes.text("desc", statistic.stat_desc);
    attributes.text("units", statistic.units);
    return attributes.is_good();
}

bool decode_dimension(const xml_element& element, dim_descr& dimension)
{
    attribute_reader attributes(element);
    attributes.number("n", dimension.dim);
    attributes.text("name", dimension.dim_name);
    attributes.text("desc", dimension.dim_desc);
    attributes.text("units", dimension.units);
    if (!attributes.is_good() || !append_children(element, "stat", dimension.stats, decode_statistic)) {
        return false;
    }
    dimension.nstats = static_cast<std::int32_t>(dimension.stats.size());
    return true;
}

bool decode_channel(const xml_element& element, chan_descr_2010& channel)
{
    attribute_reader attributes(element);
    attributes.text("daq_name", channel.daq_name);
    attributes.text("prop_name", channel.prop_name);
    attributes.text("desc", channel.prop_desc);
    attributes.text("units", channel.units);
    attributes.number("stream", channel.stream);
    attributes.number("ev_type", channel.ev_type);
    attributes.number("count", channel.count);
    attributes.number("dtype", channel.dtype);
    attributes.number("db_key", channel.db_key);
    attributes.number("max_size", channel.max_size);
    attributes.text("sb_name", channel.sb_name);
    attributes.number("set_point", channel.set_point);
    attributes.text("subsystem", channel.subsystem);
    const bool has_name = channel.daq_name[0] != '\0';
    if (!has_name || !attributes.is_good() || !append_children(element, "bit", channel.bits, decode_bit) ||
        !append_children(element, "dim", channel.dims, decode_dimension)) {
        return false;
    }
    channel.nbits = static_cast<std::int32_t>(channel.bits.size());
    channel.ndims = static_cast<std::int32_t>(channel.dims.size());
    return true;
}

/// Records under construction: deleted unless they are handed over.
struct description_list {
    std::vector<chan_descr_2010*> records;

    description_list() = default;
    description_list(const description_list&) = delete;
    description_list& operator=(const description_list&) = delete;
    ~description_list()
    {
        for (auto* record : records) {
            delete record;
        }
    }

    void hand_over(std::vector<chan_descr_2010*>& list)
    {
        list.insert(list.end(), records.begin(), records.end());
        records.clear();
    }
};

/// Wrong XML counts as a wrong pattern: the table is there and whole, but not what it should be.
int load_descriptions(std::string_view text, std::vector<chan_descr_2010*>& list)
{
    const auto root = trox_platform::parse_xml(text, nullptr);
    if (!root || root->name != "channels") {
        return TROX_EVUTL_BAD_PATTERN;
    }
    description_list channels;
    if (!append_children(*root, "channel", channels.records, decode_channel)) {
        return TROX_EVUTL_BAD_PATTERN;
    }
    channels.hand_over(list);
    return TROX_EVUTL_OK;
}

template <class Generation>
int load_description_table(const typename Generation::description_table* table,
                           std::vector<chan_descr_2010*>* list) noexcept
{
    using table_type = typename Generation::description_table;
    constexpr std::uint64_t head_size = offsetof(table_type, xml);
    if (table == nullptr || list == nullptr) {
        return TROX_EVUTL_INV_PARAM;
    }
    const auto length = static_cast<typename Generation::word>(table->length);
    if (length < head_size || length > Generation::length_limit) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    if (length == head_size) {
        return TROX_EVUTL_OK;
    }
    const char* const text = reinterpret_cast<const char*>(table) + head_size;
    return without_exceptions([&] {
        return load_descriptions({text, static_cast<std::size_t>(length - head_size)}, *list);
    });
}

} // namespace

} // namespace trox_evutl

int trox_load_chan_descr(trox_xml_chan_descr_header* table, std::vector<chan_descr_2010*>* list)
{
    return trox_evutl::load_description_table<trox_evutl::generation_legacy>(table, list);
}

int trox_load_chan_descr(trox_xml_chan_descr_header_2010* table, std::vector<chan_descr_2010*>* list)
{
    return trox_evutl::load_description_table<trox_evutl::generation_2010>(table, list);
}

int trox_load_chan_descr(trox_xml_chan_descr_header_2024* table, std::vector<chan_descr_2010*>* list)
{
    return trox_evutl::load_description_table<trox_evutl::generation_2024>(table, list);
}
