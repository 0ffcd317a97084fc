// One run catalogue file: reading it whole or not at all.
#ifndef TROX_PLATFORM_XML_CATALOGUE_FILE_H
#define TROX_PLATFORM_XML_CATALOGUE_FILE_H

#include "catalogue_name.h"

#include <optional>
#include <string>
#include <vector>

namespace trox_xml
{

/// One data file of a run.
struct run_file {
    std::string name;   ///< base name
    std::string format; ///< raw, raw64, root, or a word that no lookup asks for
    time_span span;
};

/// What a catalogue file holds; files in order of their start.
struct run_record {
    time_span span;
    std::vector<run_file> files;
};

/// Reads the catalogue file at `path`, whose name told `name`. Nothing, and the reason in `reason`, when it
/// cannot be read, is not well-formed, lacks something, or belongs to another run than its name says. Throws
/// std::bad_alloc only.
std::optional<run_record> read_catalogue_file(const std::string& path, const catalogue_name& name, std::string& reason);

} // namespace trox_xml

#endif
