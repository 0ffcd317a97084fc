// A data file as the tests of recovery compare it: by the tests' own parser of files, record by record.
#ifndef TROX_TESTS_RECOVER_RECOVERED_FILE_H
#define TROX_TESTS_RECOVER_RECOVERED_FILE_H

#include "file_checker.h"
#include "recover.h"
#include "scenario.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace recover_test
{

namespace tw = trox::writer;
namespace tr = trox::recovery;
using bytes = std::vector<unsigned char>;

/// Channel, event number, event type: what names a record.
using record_name = std::tuple<std::string, std::uint64_t, std::uint32_t>;

/// All that a reader sees of a record; positions in the file are for the tests only.
struct full_record {
    writer_test::checked_record record;
    writer_test::checked_event event;
    writer_test::checked_block block;
};

struct full_file {
    std::map<record_name, full_record> records;
    writer_test::checked_file file;
};

full_file parse(const std::string& path);

/// What of a recovered file has to be equal to the original beside the records.
struct comparison {
    bool event_fields = true; ///< trigger mask and status
    bool blocks = true;       ///< server block heads
    bool keys = true;
};

/// Every record in `recovered` is one of `original`, and equal to it: what differs, a line each.
std::vector<std::string> find_differences(const full_file& original, const full_file& recovered,
                                          const comparison& what = {});

/// Names of the original's records that are not in the recovered file.
std::vector<record_name> missing_records(const full_file& original, const full_file& recovered);

/// Records that a report counts as lost.
std::uint64_t lost_count(const tr::report& report);

void write_bytes(const std::string& path, const bytes& content);

/// A file of the scenario in one of the generations, its bytes, and recoveries of what tests make of them.
class damaged_scenario
{
public:
    explicit damaged_scenario(tw::generation format, const tw::layout_options& layout = {});
    /// Of any other file.
    explicit damaged_scenario(const std::string& path);

    const full_file& original() const
    {
        return original_;
    }
    const tw::file_map& map() const
    {
        return map_;
    }
    bytes content; ///< for tests to damage
    /// Overwrites a piece of `content`.
    void destroy(std::uint64_t position, std::uint64_t length, unsigned char with = 0x5A);
    std::size_t word() const
    {
        return format_ == tw::generation::v2024 ? 8 : 4;
    }
    tr::report recover(const tr::recover_options& options = {});
    /// What the last recovery wrote.
    full_file recovered() const;
    std::string input() const;
    std::string output() const;
    const writer_test::scratch_directory& directory() const
    {
        return directory_;
    }

private:
    writer_test::scratch_directory directory_;
    tw::generation format_ = tw::generation::legacy;
    tw::file_map map_;
    full_file original_;
};

inline const tw::generation generations[] = {tw::generation::legacy, tw::generation::v2010, tw::generation::v2024};

inline std::string generation_name(tw::generation format)
{
    return "g" + std::to_string(static_cast<std::uint32_t>(format));
}

} // namespace recover_test

#endif
