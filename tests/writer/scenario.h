// One set of logical events for all generations: written through the library, and what the file must hold.
#ifndef TROX_TESTS_WRITER_SCENARIO_H
#define TROX_TESTS_WRITER_SCENARIO_H

#include "trox_writer.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace writer_test
{

namespace tw = trox::writer;

/// A new directory, removed with everything in it at the end.
class scratch_directory
{
public:
    scratch_directory();
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;
    ~scratch_directory();
    std::string path(const std::string& name = {}) const;
    /// Names of everything in it, sorted.
    std::vector<std::string> entries() const;

private:
    std::filesystem::path path_;
};

/// What a record must hold, payload in file order.
struct expected_record {
    std::string channel;
    std::uint64_t event = 0;
    std::uint32_t event_type = 0;
    std::string server;
    std::int32_t dtype = 0;
    std::uint32_t error = 0;
    std::vector<unsigned char> payload;
};

inline constexpr int scenario_events = 40;

/// First event number: above 2^32 for 2024.
std::uint64_t first_number(tw::generation format);

/// Writes traces (plain, zlib, LZO where built, in turn), a multi-member block, an image, an extended image,
/// named values, control-system values, updates, begin of run and environment values, a channel without
/// records, an event without server blocks and a server block without records.
tw::file_map write_scenario(const std::string& path, tw::generation format, const tw::file_options& options);

/// The records that write_scenario writes, channel by channel in dictionary order.
std::vector<expected_record> scenario_records(tw::generation format);

/// Names of the scenario's channels in dictionary order.
std::vector<std::string> scenario_channels();

} // namespace writer_test

#endif
