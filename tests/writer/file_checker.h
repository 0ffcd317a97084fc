// A reader of data files for tests: parses every byte of the tables from the trailer on, with code of its own,
// and says what breaks the rules of the format.
#ifndef TROX_TESTS_WRITER_FILE_CHECKER_H
#define TROX_TESTS_WRITER_FILE_CHECKER_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace writer_test
{

struct checked_record {
    std::uint64_t event_position = 0, block_position = 0, head_position = 0, data_position = 0;
    std::uint64_t event_number = 0;
    std::uint32_t seconds = 0, microseconds = 0;
    std::uint32_t event_type = 0;
    std::string server;
    std::int32_t dtype = 0;
    std::uint32_t error = 0;
    std::int32_t ldata = 0;
    std::uint32_t zip_flags = 0;        ///< 0: plain
    std::vector<unsigned char> payload; ///< in file order, decompressed
};

struct checked_channel {
    std::string name;
    std::uint32_t key = 0, event_mask = 0, dtype_mask = 0;
    std::vector<checked_record> records;
    std::uint64_t basket = 0, basket_length = 0;
};

struct checked_event {
    std::uint64_t number = 0;
    std::uint32_t seconds = 0, microseconds = 0, type = 0;
    std::int32_t tmask = 0, status = 0;
    std::uint32_t blocks = 0;
    std::uint64_t length = 0;
};

struct checked_block {
    std::string server;
    std::uint32_t seconds = 0, microseconds = 0;
    std::int64_t mpulse = 0;
    std::int32_t tmask = 0, status = 0;
    std::uint32_t channels = 0;
    std::uint64_t ltotal = 0;
    std::uint64_t event_position = 0;
};

struct checked_range {
    std::string name;
    std::uint64_t position = 0, length = 0;
};

struct checked_file {
    std::uint32_t generation = 0;
    std::vector<std::string> problems;             ///< empty for a file that keeps the rules
    std::map<std::uint64_t, checked_event> events; ///< by position
    std::map<std::uint64_t, checked_block> blocks;
    std::vector<checked_channel> channels; ///< in dictionary order
    std::vector<std::pair<std::uint32_t, std::int32_t>> environment;
    std::string descriptions;
    std::uint64_t rows = 0;            ///< of the pointers table
    std::vector<checked_range> ranges; ///< all baskets and tables, the file head and the trailer, by position
};

std::vector<unsigned char> read_file(const std::string& path);

/// Parses and checks a whole file. Never throws for what the file holds.
checked_file check_file(const std::string& path);

} // namespace writer_test

#endif
