// The layouts of the on-disk records as the compiler sees them.
#ifndef TROX_TEST_RECORD_FIELDS_H
#define TROX_TEST_RECORD_FIELDS_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace trox_test
{

struct field_layout {
    std::string name;
    std::size_t offset;
    std::size_t size;
    std::string type;
    bool is_tail; ///< a sequence that runs on behind the record's head
};

struct record_layout {
    std::string name;
    std::size_t size; ///< with one element of its tail, if it has one
    std::size_t alignment;
    std::vector<field_layout> fields;
};

inline std::ostream& operator<<(std::ostream& out, const record_layout& record)
{
    return out << record.name;
}

/// Every record of the file, in the order of event.h.
std::vector<record_layout> on_disk_records();

} // namespace trox_test

#endif
