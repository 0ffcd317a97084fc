// Tells whether one stored record can be decoded.
#ifndef TROX_RECOVER_RECORD_CHECK_H
#define TROX_RECOVER_RECORD_CHECK_H

#include "../inspect/payload_check.h"
#include "found.h"

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace trox::recovery
{

/// What was found at a sub-head.
struct checked_record {
    subhead_values head{};
    trox_zip_header zip{};
    std::uint64_t data = 0;   ///< position of the payload, or of the compressed bytes
    std::uint32_t stored = 0; ///< their number
    std::uint64_t length = 0; ///< of the record, sub-head included, as blocks count it; 0 when it is not known
    bool is_slow = false;     ///< its data may lie away from the sub-head
    std::string damage{};     ///< empty: the record decodes
    std::string fault{};      ///< it decodes, and its payload is not as its heads say
};

/// Looks at single records; keeps its work memory from record to record. One thread at a time.
class record_checker
{
public:
    explicit record_checker(found& file);
    ~record_checker();
    record_checker(const record_checker&) = delete;
    record_checker& operator=(const record_checker&) = delete;

    /// Reads the sub-head at a position, with the mark of compression when what follows proves that it is missing;
    /// false when it is outside the file.
    bool read_subhead(std::uint64_t position, subhead_values& head);

    /// Checks the record of `of` whose sub-head is at `subhead`, and the data of a slow one at `data`. Nothing of it
    /// may lie behind `end`.
    checked_record check(const channel& of, std::uint64_t subhead, std::uint64_t data, std::uint64_t end);

    /// True when a slow record with plain data has this sub-head.
    bool is_slow(const subhead_values& head) const noexcept;
    /// Bytes of its data.
    std::size_t slow_size(const subhead_values& head) const noexcept;
    /// Why `size` bytes at a position are no data of a slow record of `of`; empty when they are.
    std::string check_slow(const channel& of, const subhead_values& head, std::uint64_t data);

    /// The time that a slow record's data carry; false when they cannot be read.
    bool slow_time(const subhead_values& head, std::uint64_t data, time_stamp& time);

    /// Copies the first `size` bytes of the payload of a record that decodes, decompressed when it is compressed;
    /// false when it has fewer, or they cannot be had.
    bool read_payload(const record& one, const subhead_values& head, unsigned char* out, std::size_t size);
    /// The same of the value of a slow record, compressed or not, at `data`, where a row or its sub-head has it.
    bool read_value(const subhead_values& head, std::uint64_t subhead, std::uint64_t data, unsigned char* out,
                    std::size_t size);
    /// True for the types of slow records, compressed ones too.
    bool has_value(const subhead_values& head) const noexcept;

private:
    bool proves_mark(std::uint64_t position, const subhead_values& head);
    bool read_zip_header(std::uint64_t position, trox_zip_header& zip);
    void check_zipped(const channel& of, checked_record& record, std::uint64_t room);
    void unpack(checked_record& record);
    void check_plain(checked_record& record);
    void check_type(checked_record& record, std::uint64_t payload) const;
    void check_payload(checked_record& record, std::uint64_t payload) const;
    std::string check_value(const channel& of, const subhead_values& head, const unsigned char* value) const;
    std::string unpack_zlib(const checked_record& record);
    std::string unpack_lzo(const checked_record& record);
    bool inflate_begin(const record& one, unsigned char* out, std::size_t size);
    bool expand_lzo(std::uint64_t data, std::uint32_t stored, std::uint32_t original,
                    std::vector<unsigned char>& memory);

    struct stream;
    found& found_;
    std::vector<unsigned char> bytes_;
    std::unique_ptr<stream> stream_;
    trox::inspect::payload_head begin_{};              ///< of the payload that was looked at last
    std::unordered_set<std::uint64_t> proven_plain_{}; ///< sub-heads without mark that look as if they had lost it
    std::uint64_t budget_; ///< compressed bytes still to be looked at: hostile records overlap
};

} // namespace trox::recovery

#endif
