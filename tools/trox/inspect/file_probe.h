// Which generation is a file of, and where is its file reference table? Also told of files whose trailer is damaged.
#ifndef TROX_INSPECT_FILE_PROBE_H
#define TROX_INSPECT_FILE_PROBE_H

#include "file_format.h"
#include "input_file.h"

#include <cstdint>
#include <optional>

namespace trox::inspect
{

struct file_probe {
    std::optional<generation> format{}; ///< nothing: no data file, or nothing left to tell by
    bool has_file_head = false;         ///< the first bytes are a file head of that generation
};

/// Told by the trailer's pattern or, where that is damaged, by the table that the trailer leads to; else by the first
/// bytes. Legacy trailers have no pattern: there the table decides at once.
file_probe probe(const input_file& file);

/// The position that the trailer gives, unless the file is too short for a trailer.
template <class Generation> std::optional<std::uint64_t> trailer_position(const input_file& file)
{
    const auto size = sizeof(typename file_format<Generation>::trailer);
    return file.size() < size ? std::nullopt : std::optional(file.size() - size);
}

/// True when a file reference table of the generation begins at `position`: its pattern, and room for all of it.
template <class Generation> bool is_references(const input_file& file, std::uint64_t position)
{
    using table = typename Generation::file_reference_table;
    const auto found = position == 0 ? std::nullopt : file.load<table>(position);
    return found && found->pattern == file_format<Generation>::references_pattern;
}

/// The last file reference table of the file, searched from the end by its pattern and length.
template <class Generation> std::optional<std::uint64_t> search_references(const input_file& file);

extern template std::optional<std::uint64_t> search_references<generation_legacy>(const input_file&);
extern template std::optional<std::uint64_t> search_references<generation_2010>(const input_file&);
extern template std::optional<std::uint64_t> search_references<generation_2024>(const input_file&);

/// Calls `what.operator()<Generation>()` for the generation that a value names.
template <class What> auto with_generation(generation format, What what)
{
    switch (format) {
    case generation::legacy:
        return what.template operator()<generation_legacy>();
    case generation::v2010:
        return what.template operator()<generation_2010>();
    case generation::v2024:
        break;
    }
    return what.template operator()<generation_2024>();
}

} // namespace trox::inspect

#endif
