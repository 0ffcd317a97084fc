// Writes what was found into a new file, and checks that file.
#ifndef TROX_RECOVER_WRITE_H
#define TROX_RECOVER_WRITE_H

#include "found.h"

#include <string>
#include <vector>

namespace trox::recovery
{

/// What was written, in the order of the new file.
struct written_file {
    std::vector<std::uint32_t> channels{};           ///< of the new dictionary: index of the channel found
    std::vector<std::uint32_t> keys{};               ///< theirs
    std::vector<std::uint32_t> events{};             ///< index of the event found
    std::vector<std::vector<std::size_t>> records{}; ///< per new channel, by row: index of the record found
};

/// Writes the file `path`. What the writer refuses is marked as lost in `file`. Throws writer::error for what the
/// operating system refuses.
written_file write_file(found& file, const std::string& path);

/// Reads the file `path` again, through the table loader and the decompressors of the reader library, and compares it
/// with what was found. Returns what differs; empty when nothing does.
std::string verify_file(found& file, const written_file& written, const std::string& path);

} // namespace trox::recovery

#endif
