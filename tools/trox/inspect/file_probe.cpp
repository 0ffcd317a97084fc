#include "file_probe.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace trox::inspect
{

namespace
{

constexpr std::string_view file_text{"TROXDAQ\0", 8};

template <class G> bool has_trailer_pattern(const input_file& file)
{
    using format = file_format<G>;
    const auto position = trailer_position<G>(file);
    if (!format::has_trailer_checks || !position) {
        return false;
    }
    const auto trailer = file.load<checked_trailer<typename format::word>>(*position);
    return trailer && trailer->pattern == format::trailer_pattern;
}

template <class G> bool trailer_leads_to_table(const input_file& file)
{
    const auto position = trailer_position<G>(file);
    const auto trailer = position ? file.load<typename file_format<G>::trailer>(*position) : std::nullopt;
    return trailer && is_references<G>(file, trailer->references);
}

std::optional<generation> by_file_head(const input_file& file)
{
    const auto head = file.load<file_head>(0);
    if (head && std::string_view(head->text, sizeof head->text) == file_text) {
        for (const auto format : {generation::legacy, generation::v2010, generation::v2024}) {
            if (head->generation == static_cast<std::uint32_t>(format)) {
                return format;
            }
        }
    }
    return std::nullopt;
}

std::optional<generation> by_trailer(const input_file& file)
{
    if (has_trailer_pattern<generation_2024>(file)) {
        return generation::v2024;
    }
    if (has_trailer_pattern<generation_2010>(file)) {
        return generation::v2010;
    }
    if (trailer_leads_to_table<generation_legacy>(file)) {
        return generation::legacy;
    }
    if (trailer_leads_to_table<generation_2010>(file)) {
        return generation::v2010;
    }
    if (trailer_leads_to_table<generation_2024>(file)) {
        return generation::v2024;
    }
    return std::nullopt;
}

} // namespace

file_probe probe(const input_file& file)
{
    const auto head = by_file_head(file);
    const auto trailer = by_trailer(file);
    return {trailer ? trailer : head, head && (!trailer || *trailer == *head)};
}

template <class G> std::optional<std::uint64_t> search_references(const input_file& file)
{
    using table = typename G::file_reference_table;
    using word = typename file_format<G>::word;
    constexpr std::uint64_t piece = std::uint64_t{1} << 20;
    unsigned char wanted[2 * sizeof(word)];
    trox_detail::store_big_endian(wanted, static_cast<word>(file_format<G>::references_pattern));
    trox_detail::store_big_endian(wanted + sizeof(word), word{sizeof(table)});
    std::vector<unsigned char> bytes;
    for (std::uint64_t end = file.size(); end >= sizeof(table);) {
        const std::uint64_t begin = end > piece ? end - piece : 0;
        bytes.resize(static_cast<std::size_t>(end - begin));
        if (!file.read(begin, bytes.data(), bytes.size())) {
            return std::nullopt;
        }
        const auto last = bytes.end() - static_cast<std::ptrdiff_t>(sizeof(table) - sizeof wanted);
        const auto found = std::find_end(bytes.begin(), last, std::begin(wanted), std::end(wanted));
        if (found != last) {
            return begin + static_cast<std::uint64_t>(found - bytes.begin());
        }
        if (begin == 0) {
            break;
        }
        end = begin + sizeof(table) - 1; // a table across the border is whole in the next piece
    }
    return std::nullopt;
}

template std::optional<std::uint64_t> search_references<generation_legacy>(const input_file&);
template std::optional<std::uint64_t> search_references<generation_2010>(const input_file&);
template std::optional<std::uint64_t> search_references<generation_2024>(const input_file&);

} // namespace trox::inspect
