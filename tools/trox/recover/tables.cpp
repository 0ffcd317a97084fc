#include "tables.h"

#include "descriptions.h"
#include "detail/big_endian.h"
#include "pointers.h"

#include <algorithm>
#include <set>

namespace trox::recovery
{
namespace
{

constexpr std::size_t environment_entry = 8;
constexpr std::uint64_t longest_descriptions = std::uint64_t{256} << 20;

bool is_index_head(const layout_sizes& sizes, const index_head_values& head) noexcept
{
    return head.type >= 0 && head.type < trox_event_type_count && head.length >= sizes.index_head &&
           (head.length - sizes.index_head) % sizes.index_info == 0;
}

// Looks at one place that may be a table: how much of it can be used, 0 when it is none.
class table_gauge
{
public:
    explicit table_gauge(found& file) : file_(file.file), layout_(file.layout), sizes_(file.layout.sizes()) {}

    located look(item what, std::uint64_t position, bool needs_pattern)
    {
        located result;
        std::vector<unsigned char> head(sizes_.pointers_head);
        const auto rest = file_.rest(position);
        if (position == 0 || rest < sizes_.table_head ||
            !file_.read(position, head.data(), std::min<std::uint64_t>(head.size(), rest))) {
            return result;
        }
        if (needs_pattern && layout_.word(head.data()) != pattern_of(what)) {
            return result;
        }
        const auto second = layout_.word(head.data() + sizes_.word);
        const bool fits = second >= sizes_.table_head && second <= rest;
        result.position = position;
        result.cut = what != item::event_index && !fits;
        result.usable = what == item::event_index || fits ? std::min(second, rest) : rest;
        if (!measure(what, second, needs_pattern, result) || (!needs_pattern && !is_convincing(what, result))) {
            return {};
        }
        result.how = means::reference;
        return result;
    }

private:
    // Corrects what can be used; false when the content is not what it should be.
    bool measure(item what, std::uint64_t second, bool has_pattern, located& at)
    {
        switch (what) {
        case item::event_index:
            return measure_index(second, has_pattern, at);
        case item::dictionary:
            return measure_dictionary(at);
        case item::pointers:
            return measure_pointers(has_pattern, at);
        case item::environment:
            return !at.cut && (at.usable - sizes_.table_head) % environment_entry == 0;
        case item::descriptions:
            return measure_descriptions(at);
        case item::event_headers:
            return begins_with_event(at);
        case item::server_blocks:
            return begins_with_block(at);
        case item::channel:
            return true;
        }
        return false;
    }

public:
    // Where the pattern is not there, or chance, nothing else may be wrong; a basket's first record must look like one
    // in all it has.
    bool is_convincing(item what, const located& at)
    {
        const auto first = at.position + sizes_.table_head;
        if (what == item::event_headers) {
            std::vector<unsigned char> bytes(sizes_.event_header);
            return file_.read(first, bytes.data(), bytes.size()) &&
                   is_certain_event(layout_, layout_.event(bytes.data()));
        }
        if (what == item::server_blocks) {
            std::vector<unsigned char> bytes(sizes_.server_head);
            return file_.read(first, bytes.data(), bytes.size()) &&
                   is_certain_block(layout_, layout_.block(bytes.data()));
        }
        return !at.cut;
    }

private:
    bool measure_index(std::uint64_t types, bool has_pattern, located& at)
    {
        auto end = at.position + sizes_.table_head;
        std::vector<unsigned char> head(sizes_.index_head);
        std::uint64_t entries = 0;
        for (; entries < types && types <= trox_event_type_count; ++entries) {
            if (!file_.read(end, head.data(), head.size())) {
                break;
            }
            const auto values = layout_.index_head(head.data());
            if (!is_index_head(sizes_, values)) {
                break;
            }
            const auto usable = std::min(values.length, file_.rest(end));
            end += usable;
            at.cut = at.cut || usable < values.length;
        }
        at.usable = end - at.position;
        at.cut = at.cut || entries < types;
        return (types == 0 && has_pattern) || entries > 0;
    }

    bool measure_dictionary(located& at)
    {
        std::vector<unsigned char> bytes(sizes_.dictionary_entry);
        const auto room = (at.usable - sizes_.table_head) / bytes.size();
        const bool is_sound = !at.cut && (at.usable - sizes_.table_head) % bytes.size() == 0;
        std::uint64_t good = 0;
        std::uint64_t looked = 0;
        for (; looked < room; ++looked) {
            const auto position = at.position + sizes_.table_head + looked * bytes.size();
            const bool is_good =
                file_.read(position, bytes.data(), bytes.size()) && layout_.dictionary(bytes.data()).name.is_printable;
            if (!is_good && !is_sound) {
                break;
            }
            good += is_good ? 1 : 0;
        }
        if (!is_sound) {
            at.cut = true;
            at.usable = sizes_.table_head + looked * bytes.size();
        }
        return good > 0 || (is_sound && room == 0);
    }

    bool is_entry(const unsigned char* bytes) const
    {
        const auto entry = layout_.dictionary(bytes);
        return entry.name.is_printable && entry.name.is_padded && entry.count >= 0;
    }

    // What its head says of its shape may be damaged: behind its pattern any may be, see find_shape_of_pointers().
    bool measure_pointers(bool has_pattern, const located& at)
    {
        if (at.usable < sizes_.pointers_head || has_pattern) {
            return at.usable >= sizes_.pointers_head;
        }
        std::vector<unsigned char> head(sizes_.pointers_head);
        file_.read(at.position, head.data(), head.size());
        const auto rows = layout_.word(head.data() + 2 * sizes_.word);
        const auto body = at.usable - sizes_.pointers_head;
        if (rows == 0 || rows > file_.length() / sizes_.row) {
            return rows == 0 && body == 0;
        }
        return at.cut || body % (rows * sizes_.row) == 0;
    }

    bool measure_descriptions(const located& at)
    {
        const auto length = at.usable - sizes_.table_head;
        if (at.cut || length > longest_descriptions) {
            return false;
        }
        std::string text(static_cast<std::size_t>(length), '\0');
        return length == 0 || (file_.read(at.position + sizes_.table_head, text.data(), text.size()) &&
                               described_channels(text).has_value());
    }

    // A basket whose length is damaged must begin with a good record.
    bool begins_with_event(const located& at)
    {
        std::vector<unsigned char> bytes(sizes_.event_header);
        return !at.cut || (file_.read(at.position + sizes_.table_head, bytes.data(), bytes.size()) &&
                           is_plausible_event(layout_, layout_.event(bytes.data())));
    }

    bool begins_with_block(const located& at)
    {
        std::vector<unsigned char> bytes(sizes_.server_head);
        return !at.cut || (file_.read(at.position + sizes_.table_head, bytes.data(), bytes.size()) &&
                           is_plausible_block(layout_, layout_.block(bytes.data())));
    }

    source_file& file_;
    const file_layout& layout_;
    const layout_sizes& sizes_;
};

// How many references of a table lead to the pattern of what they name.
int count_good_references(found& file, const reference_values& references)
{
    std::vector<unsigned char> word(file.layout.sizes().word);
    int good = 0;
    for (std::size_t i = 0; i < item_count; ++i) {
        if (references.items[i] != 0 && file.file.read(references.items[i], word.data(), word.size()) &&
            file.layout.word(word.data()) == pattern_of(static_cast<item>(i))) {
            ++good;
        }
    }
    return good;
}

void find_references(found& file, patterns& scanned)
{
    const auto& sizes = file.layout.sizes();
    std::vector<unsigned char> bytes(sizes.references);
    std::uint64_t position = 0;
    if (read_trailer(file.file, file.layout, position)) {
        file.file.read(position, bytes.data(), bytes.size());
        file.reference_table = file.layout.references(bytes.data());
        file.references = {means::reference, position, bytes.size(), false};
        return;
    }
    int best = 0;
    for (const auto hit : scanned.get().references) {
        if (!file.file.read(hit, bytes.data(), bytes.size())) {
            continue;
        }
        const auto references = file.layout.references(bytes.data());
        const int good = references.length == bytes.size() ? count_good_references(file, references) : 0;
        if (good > 0 && good >= best) {
            best = good;
            file.reference_table = references;
            file.references = {means::pattern, hit, bytes.size(), false};
        }
    }
}

// The only place that a pattern marks as the item. Where the table is wanted whole there may be others that are not.
located find_by_pattern(found& file, patterns& scanned, item what)
{
    table_gauge gauge(file);
    std::vector<located> whole;
    std::vector<located> cut;
    for (const auto& hit : scanned.get().items) {
        if (hit.what != what) {
            continue;
        }
        const auto place = gauge.look(what, hit.position, true);
        if (place.is_there()) {
            (place.cut ? cut : whole).push_back(place);
        }
    }
    auto& places = whole.empty() ? cut : whole;
    if (places.size() > 1) {
        places.erase(std::remove_if(places.begin(), places.end(),
                                    [&](const located& place) { return !gauge.is_convincing(what, place); }),
                     places.end());
    }
    if (places.size() != 1) {
        if (places.size() > 1) {
            file.result.remarks.push_back(std::string(name_of(what)) + ": several places may be it, none is taken");
        }
        return {};
    }
    places.front().how = means::pattern;
    return places.front();
}

void find_table(found& file, patterns& scanned, item what)
{
    auto& place = file.tables[static_cast<std::size_t>(what)];
    table_gauge gauge(file);
    const auto reference = file.reference_table.items[static_cast<std::size_t>(what)];
    if (file.references.is_there()) {
        if (reference == 0 && (what == item::environment || what == item::descriptions)) {
            place.how = means::absent;
            return;
        }
        place = gauge.look(what, reference, true);
        if (place.is_there() && !place.cut) {
            return;
        }
    }
    const auto by_pattern = find_by_pattern(file, scanned, what);
    if (by_pattern.is_there() && (!place.is_there() || !by_pattern.cut)) {
        place = by_pattern;
    }
    if (!place.is_there() && file.references.is_there()) {
        place = gauge.look(what, reference, false); // only its pattern may be damaged
    }
}

// An entry ends where its length says, but not behind the begin of another.
std::uint64_t entry_end(const found& file, std::uint64_t begin, std::uint64_t length)
{
    auto end = begin + length;
    if (file.references.is_there()) {
        for (const auto other : file.reference_table.event_entries) {
            end = other > begin ? std::min(end, other) : end;
        }
    }
    return end;
}

void read_index(found& file)
{
    const auto& place = file.table(item::event_index);
    const auto& sizes = file.layout.sizes();
    if (!place.is_there()) {
        return;
    }
    std::vector<unsigned char> bytes(sizes.index_head);
    auto at = place.position + sizes.table_head;
    while (at < place.end() && file.file.read(at, bytes.data(), sizes.index_head)) {
        const auto head = file.layout.index_head(bytes.data());
        if (!is_index_head(sizes, head)) {
            break;
        }
        const auto end = entry_end(file, at, std::min(head.length, place.end() - at));
        for (auto info = at + sizes.index_head; info < end && sizes.index_info <= end - info;
             info += sizes.index_info) {
            if (file.file.read(info, bytes.data(), sizes.index_info)) {
                auto values = file.layout.index_info(bytes.data());
                values.offset = file.shifts.find(values.offset);
                file.index.push_back({values, static_cast<std::int32_t>(head.type), at});
            }
        }
        at = end;
    }
}

void read_dictionary(found& file)
{
    const auto& place = file.table(item::dictionary);
    const auto& sizes = file.layout.sizes();
    if (!place.is_there()) {
        return;
    }
    std::vector<unsigned char> bytes(sizes.dictionary_entry);
    std::set<std::string> names;
    std::set<std::uint32_t> keys;
    const auto count = (place.usable - sizes.table_head) / bytes.size();
    for (std::uint64_t i = 0; i < count; ++i) {
        channel added;
        added.entry = place.position + sizes.table_head + i * bytes.size();
        if (file.file.read(added.entry, bytes.data(), bytes.size())) {
            const auto entry = file.layout.dictionary(bytes.data());
            // With its name, all of an entry may be destroyed.
            added.is_entry_damaged = !entry.name.is_printable;
            added.event_mask = added.is_entry_damaged ? 0 : entry.event_mask;
            added.dtype_mask = added.is_entry_damaged ? 0 : entry.dtype_mask;
            added.count = added.is_entry_damaged ? -1 : entry.count;
            if (entry.name.is_printable && names.insert(entry.name.text).second) {
                added.name = entry.name.text;
                added.subhead = subhead_name(file.layout, added.name);
            }
            const bool is_lost = added.is_entry_damaged && entry.key == 0;
            if (!is_lost && keys.insert(entry.key).second) {
                added.key = entry.key;
            }
        }
        file.channels.push_back(std::move(added));
    }
    file.listed = file.channels.size();
    file.is_dictionary_whole = !place.cut && std::none_of(file.channels.begin(), file.channels.end(),
                                                          [](const channel& one) { return one.name.empty(); });
}

void read_environment(found& file)
{
    const auto& place = file.table(item::environment);
    if (!place.is_there()) {
        return;
    }
    std::set<std::uint32_t> keys;
    for (auto at = place.position + file.layout.sizes().table_head; at < place.end(); at += environment_entry) {
        unsigned char bytes[environment_entry];
        if (!file.file.read(at, bytes, sizeof bytes)) {
            continue;
        }
        const auto key = trox_detail::load_big_endian<std::uint32_t>(bytes);
        const auto index = trox_detail::load_big_endian<std::int32_t>(bytes + sizeof key);
        if (!keys.insert(key).second) {
            file.lose("environment dictionary: a second entry of key " + std::to_string(key) + " is left out");
            continue;
        }
        file.environment.emplace_back(key, index);
    }
}

void apply_environment(found& file)
{
    std::unordered_map<std::uint32_t, std::int32_t> indices(file.environment.begin(), file.environment.end());
    for (auto& known : file.channels) {
        const auto index = known.key ? indices.find(*known.key) : indices.end();
        if (index != indices.end()) {
            known.environment_index = index->second;
        }
    }
}

// Names, keys and servers from the descriptions, where the dictionary has none.
void use_descriptions(found& file)
{
    const auto& place = file.table(item::descriptions);
    const auto head = file.layout.sizes().table_head;
    if (!place.is_there() || place.usable == head) {
        return;
    }
    file.descriptions.resize(static_cast<std::size_t>(place.usable - head));
    if (!file.file.read(place.position + head, file.descriptions.data(), file.descriptions.size())) {
        file.descriptions.clear();
        return;
    }
    const auto described = described_channels(file.descriptions);
    if (!described) {
        file.descriptions.clear();
        return;
    }
    apply_descriptions(file, *described);
}

void add_part(found& file, const char* name, const located& place)
{
    file.result.parts.push_back({name, place.how, place.position, place.cut});
}

} // namespace

std::string subhead_name(const file_layout& layout, const std::string& channel)
{
    return channel.substr(0, channel.find(':')).substr(0, layout.sizes().subhead_width - 1);
}

bool is_plausible_block(const file_layout& layout, const block_values& head) noexcept
{
    return head.has_pattern && is_time(head.time) && head.nchan >= 0 &&
           head.ltotal >= static_cast<std::int64_t>(layout.sizes().server_head) &&
           (head.server.is_printable || head.server.text.empty());
}

bool is_certain_block(const file_layout& layout, const block_values& head) noexcept
{
    return is_plausible_block(layout, head) && head.server.is_printable && head.server.is_padded &&
           (head.nchan > 0) == (head.ltotal > static_cast<std::int64_t>(layout.sizes().server_head));
}

bool is_plausible_event(const file_layout& layout, const event_values& head) noexcept
{
    return head.type >= 0 && head.type < trox_event_type_count && is_time(head.time) && head.blocks >= 0 &&
           head.length >= layout.sizes().event_header;
}

bool is_certain_event(const file_layout& layout, const event_values& head) noexcept
{
    return is_plausible_event(layout, head) && head.pattern == layout.sizes().event_pattern &&
           (head.blocks > 0) == (head.length > layout.sizes().event_header);
}

void find_tables(found& file, patterns& scanned)
{
    find_references(file, scanned);
    add_part(file, "file reference table", file.references);
    for (std::size_t i = 0; i < table_count; ++i) {
        find_table(file, scanned, static_cast<item>(i));
        add_part(file, name_of(static_cast<item>(i)), file.tables[i]);
    }
    read_dictionary(file);
    read_environment(file);
    find_shape_of_pointers(file);
    find_shifts(file);
    read_index(file);
    use_descriptions(file);
    apply_environment(file);
}

} // namespace trox::recovery
