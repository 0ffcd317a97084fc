#include "patterns.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <cstring>
#include <vector>
#include <zlib.h>

namespace trox::recovery
{
namespace
{

constexpr std::size_t hit_limit = std::size_t{1} << 20; // hostile bytes must not fill the memory
constexpr std::array generations = {writer::generation::v2024, writer::generation::v2010, writer::generation::legacy};

// Calls `use(pattern, position)` for every 32-bit word, at any byte, that could be a pattern.
template <class Use> void for_each_candidate(source_file& file, Use use)
{
    constexpr std::uint32_t last_of_items = 0xF3;
    constexpr std::uint32_t event_begin = 0xFFEEFF;
    constexpr std::uint32_t references_begin = 0xFAEFAE;
    byte_stream stream(file, 0, file.length());
    std::uint32_t word = 0;
    for (const auto* piece = &stream.next(); !piece->empty(); piece = &stream.next()) {
        std::uint64_t position = stream.position();
        for (const unsigned char byte : *piece) {
            word = word << 8U | byte;
            const auto begin = word >> 8U;
            if (byte == last_of_items || begin == event_begin || begin == references_begin) {
                if (position >= 3) {
                    use(word, position - 3);
                }
            }
            ++position;
        }
    }
}

// Patterns that are stored in a word of 64 bits begin with four zeros.
bool begins_wide(source_file& file, std::uint64_t position)
{
    constexpr std::size_t half = 4;
    unsigned char zeros[half];
    return position >= half && file.read(position - half, zeros, half) &&
           std::all_of(zeros, zeros + half, [](unsigned char byte) { return byte == 0; });
}

std::optional<writer::generation> generation_of_head(source_file& file)
{
    unsigned char head[16];
    constexpr char text[8] = "TROXDAQ";
    if (!file.read(0, head, sizeof head) || std::memcmp(head, text, sizeof text) != 0) {
        return std::nullopt;
    }
    const auto number = trox_detail::load_big_endian<std::uint32_t>(head + sizeof text);
    for (const auto generation : generations) {
        if (number == static_cast<std::uint32_t>(generation)) {
            return generation;
        }
    }
    return std::nullopt;
}

std::optional<writer::generation> generation_of_patterns(source_file& file)
{
    std::array<std::uint64_t, generations.size()> references{};
    std::array<std::uint64_t, generations.size()> events{};
    for_each_candidate(file, [&](std::uint32_t word, std::uint64_t) {
        for (std::size_t i = 0; i < generations.size(); ++i) {
            const auto& sizes = layout_of(generations[i]).sizes();
            references[i] += word == sizes.references_pattern ? 1 : 0;
            events[i] += word == sizes.event_pattern ? 1 : 0;
        }
    });
    for (const auto& votes : {references, events}) {
        const auto most = std::max_element(votes.begin(), votes.end());
        if (*most > 0 && std::count(votes.begin(), votes.end(), *most) == 1) {
            return generations[static_cast<std::size_t>(most - votes.begin())];
        }
    }
    return std::nullopt;
}

} // namespace

bool read_trailer(source_file& file, const file_layout& layout, std::uint64_t& position)
{
    const auto& sizes = layout.sizes();
    std::vector<unsigned char> trailer(sizes.trailer);
    std::vector<unsigned char> table(sizes.references);
    if (file.length() < sizes.trailer || !file.read(file.length() - sizes.trailer, trailer.data(), trailer.size())) {
        return false;
    }
    position = layout.word(trailer.data());
    if (position == 0 || position > file.length() - sizes.trailer || !file.read(position, table.data(), table.size())) {
        return false;
    }
    const auto references = layout.references(table.data());
    if (references.pattern != sizes.references_pattern || references.length != sizes.references) {
        return false;
    }
    const auto checksum = crc32(crc32(0, nullptr, 0), table.data(), static_cast<uInt>(table.size()));
    return sizes.trailer_pattern == 0 || (layout.word(trailer.data() + sizes.word) == checksum &&
                                          layout.word(trailer.data() + 2 * sizes.word) == sizes.trailer_pattern);
}

pattern_scan scan_patterns(source_file& file, const file_layout& layout)
{
    pattern_scan result;
    const auto& sizes = layout.sizes();
    const bool is_wide = sizes.word == sizeof(std::uint64_t);
    const auto keep = [&](auto& list, auto hit) {
        if (list.size() < hit_limit) {
            list.push_back(hit);
        } else {
            result.is_whole = false;
        }
    };
    for_each_candidate(file, [&](std::uint32_t word, std::uint64_t position) {
        if (word == sizes.event_pattern) {
            keep(result.events, position);
            return;
        }
        if (is_wide && !begins_wide(file, position)) {
            return;
        }
        const auto begin = is_wide ? position - sizeof word : position;
        if (word == sizes.references_pattern) {
            keep(result.references, begin);
            return;
        }
        for (std::size_t i = 0; i < item_count; ++i) {
            if (word == pattern_of(static_cast<item>(i))) {
                keep(result.items, pattern_hit{begin, static_cast<item>(i)});
            }
        }
    });
    return result;
}

std::optional<writer::generation> find_generation(source_file& file)
{
    for (const auto generation : generations) {
        std::uint64_t position = 0;
        if (read_trailer(file, layout_of(generation), position)) {
            return generation;
        }
    }
    if (const auto generation = generation_of_head(file)) {
        return generation;
    }
    return generation_of_patterns(file);
}

} // namespace trox::recovery
