// Data files that the benchmarks read, made by the writer library.
#ifndef TROX_BENCH_FILES_H
#define TROX_BENCH_FILES_H

#include "trox_writer.h"

#include <cstddef>
#include <string>
#include <vector>

namespace bench
{

/// A directory that goes with its object.
class scratch_directory
{
public:
    scratch_directory();
    ~scratch_directory();
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;
    std::string file(const std::string& name) const;
    /// A path named as the DAQ names its files, which readers take the time from.
    std::string data_file(int number) const;

private:
    std::string path_;
};

/// What one file holds: `channels` channels named CH<i>, each with a record in every one of `events` events.
struct file_shape {
    std::size_t channels = 1;
    std::size_t events = 1;
    std::size_t payload = 0; ///< bytes, a multiple of 4
    trox::writer::storage stored = trox::writer::storage::plain;
    bool images = false; ///< pixels instead of float traces
};

/// Writes such a file of the 2010 generation.
void write_file(const std::string& path, const file_shape& shape);

/// Writes a file of `channels` channels with one record each, but for the first, which has one in each of `events`
/// events: so the pointers table has that many rows.
void write_wide_file(const std::string& path, std::size_t channels, std::size_t events);

std::string channel_name(std::size_t i);

} // namespace bench

#endif
