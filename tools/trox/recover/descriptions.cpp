#include "descriptions.h"

#include "event_util.h"
#include "tables.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>

namespace trox::recovery
{

std::optional<std::vector<described_channel>> described_channels(const std::string& text)
{
    constexpr auto head_size = offsetof(trox_xml_chan_descr_header, xml);
    const auto size = head_size + text.size();
    // The loader takes a table as it was read; the legacy head does for the text of any generation.
    const auto words = size / sizeof(std::uint64_t) + 1;
    const auto memory = std::make_unique<std::uint64_t[]>(words);
    auto* table = reinterpret_cast<trox_xml_chan_descr_header*>(memory.get());
    table->pattern = pattern_of(item::descriptions);
    table->length = static_cast<std::int32_t>(size);
    std::memcpy(reinterpret_cast<unsigned char*>(memory.get()) + head_size, text.data(), text.size());
    std::vector<chan_descr_2010*> loaded;
    if (trox_load_chan_descr(table, &loaded) != TROX_EVUTL_OK) {
        return std::nullopt;
    }
    std::vector<described_channel> result;
    for (const auto* one : loaded) {
        result.push_back({one->daq_name, static_cast<std::uint32_t>(one->db_key), one->ev_type, one->sb_name});
    }
    std::for_each(loaded.begin(), loaded.end(), [](const auto* one) { delete one; });
    return result;
}

void apply_descriptions(found& file, const std::vector<described_channel>& described)
{
    std::unordered_map<std::string, std::size_t> names;
    std::set<std::string> subheads;
    std::set<std::uint32_t> keys;
    for (std::size_t i = 0; i < file.channels.size(); ++i) {
        names.emplace(file.channels[i].name, i);
        subheads.insert(file.channels[i].subhead);
        if (file.channels[i].key) {
            keys.insert(*file.channels[i].key);
        }
    }
    for (const auto& one : described) {
        const auto known = names.find(one.name);
        if (known != names.end()) {
            file.channels[known->second].server = one.server;
            file.channels[known->second].described_key = one.key;
            file.channels[known->second].is_described = true;
            continue;
        }
        // One that the dictionary lacks may stand there under a damaged name.
        if (file.is_dictionary_whole && subheads.count(subhead_name(file.layout, one.name)) > 0) {
            continue;
        }
        channel added;
        added.name = one.name;
        added.subhead = subhead_name(file.layout, one.name);
        added.event_mask = one.event_mask;
        added.server = one.server;
        added.is_listed = false;
        added.is_described = true;
        added.described_key = one.key;
        if (one.key != 0 && keys.insert(one.key).second) {
            added.key = one.key;
        }
        names.emplace(one.name, file.channels.size());
        file.channels.push_back(std::move(added));
    }
}

} // namespace trox::recovery
