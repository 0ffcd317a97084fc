// A small data file, what is in it, and which records a byte of it belongs to.
#ifndef TROX_TESTS_CORRUPT_SMALL_RUN_H
#define TROX_TESTS_CORRUPT_SMALL_RUN_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace corrupt
{

/// Index of a channel, and event number.
using record_id = std::pair<int, std::uint64_t>;
/// Payload bytes of records.
using records = std::map<record_id, std::string>;

/// A file of four channels (zlib, LZO where it is built, plain, slow values) and three events, in one of the
/// generations, with one way to read it.
class small_run
{
public:
    small_run();
    virtual ~small_run();
    small_run(const small_run&) = delete;
    small_run& operator=(const small_run&) = delete;

    const std::vector<unsigned char>& bytes() const
    {
        return bytes_;
    }
    const std::vector<std::string>& channels() const
    {
        return channels_;
    }
    /// What the undamaged file holds, from what was written.
    const records& written() const
    {
        return written_;
    }
    /// The records that a byte belongs to: to their heads, payload, row of the pointers table, or dictionary entry.
    std::set<record_id> touched(std::size_t byte) const;
    /// True when all of the file hangs on a byte: trailer, references, heads of tables, lengths in the index.
    bool is_vital(std::size_t byte) const;

    /// Replaces the file's content, and reads it, passing over what is damaged. Fails the test when the reading does
    /// not end.
    records read(const std::vector<unsigned char>& content) const;

protected:
    struct range {
        std::uint64_t position;
        std::uint64_t length;
        bool holds(std::size_t byte) const
        {
            return byte >= position && byte - position < length;
        }
    };

    virtual records read_file() const = 0;

    std::string directory_;
    std::string path_;
    std::vector<unsigned char> bytes_;
    std::vector<std::string> channels_;
    records written_;
    std::vector<std::pair<range, record_id>> of_record_;
    std::vector<range> vital_;
};

/// How a run is written and read.
struct way_to_read {
    const char* name;
    std::unique_ptr<small_run> (*make)();
};

/// Event by event, with the reader of a generation; or channel by channel, with its channel readers.
std::vector<way_to_read> ways_to_read();

} // namespace corrupt

#endif
