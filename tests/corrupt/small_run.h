// A small data file, what is in it, and which records a byte of it belongs to.
#ifndef TROX_TESTS_CORRUPT_SMALL_RUN_H
#define TROX_TESTS_CORRUPT_SMALL_RUN_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace corrupt
{

/// Index of a channel, and event number.
using record_id = std::pair<int, std::uint32_t>;
/// Payload bytes of records.
using records = std::map<record_id, std::string>;

/// A file of four channels (zlib, LZO where it is built, plain, slow values) and three events.
class small_run
{
public:
    small_run();
    ~small_run();
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

    /// Replaces the file's content, and reads it event by event, passing over what is damaged. Fails the test when
    /// the events do not end.
    records read(const std::vector<unsigned char>& content) const;

private:
    struct range {
        std::uint64_t position;
        std::uint64_t length;
        bool holds(std::size_t byte) const
        {
            return byte >= position && byte - position < length;
        }
    };

    void write();
    void find_ranges();

    std::string directory_;
    std::string path_;
    std::vector<unsigned char> bytes_;
    std::vector<std::string> channels_;
    records written_;
    std::vector<std::pair<range, record_id>> of_record_;
    std::vector<range> vital_;
};

} // namespace corrupt

#endif
