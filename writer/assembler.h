// Puts a file together from its spooled records and tables.
#ifndef TROX_WRITER_ASSEMBLER_H
#define TROX_WRITER_ASSEMBLER_H

#include "contents.h"

namespace trox::writer
{

/// Lengths of tables, in bytes.
std::uint64_t event_index_length(const contents& file);
std::uint64_t pointers_length(const contents& file);

/// Writes the file and puts it in place. Throws error(too_large) when the layout passes the generation's limits.
file_map assemble(contents& file);

} // namespace trox::writer

#endif
