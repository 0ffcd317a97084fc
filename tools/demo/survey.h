// How the channels of some data files are stored, from the files' own tables and records.
#ifndef TROX_DEMO_SURVEY_H
#define TROX_DEMO_SURVEY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace trox_demo
{

/// One channel over all files.
struct stored_channel {
    std::string unit;
    std::int32_t dtype = 0;
    std::size_t records = 0;
    std::size_t payload_bytes = 0; ///< decompressed
    std::size_t stored_bytes = 0;  ///< as in the files
    std::size_t plain = 0;         ///< records of each kind
    std::size_t zlib = 0;
    std::size_t lzo = 0;
};

struct survey {
    std::vector<std::string> names; ///< in dictionary order
    std::map<std::string, stored_channel> channels;
    std::size_t file_bytes = 0;
};

/// Looks into all files. Throws std::runtime_error when one cannot be read.
survey survey_files(const std::vector<std::string>& paths);

/// "zlib 3.4 : 1", "plain", "mixed 1.9 : 1".
std::string compression_text(const stored_channel& channel);

} // namespace trox_demo

#endif
