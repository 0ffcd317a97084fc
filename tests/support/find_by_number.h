// The look-up by event number, under the name that it has in each generation.
#ifndef TROX_TEST_FIND_BY_NUMBER_H
#define TROX_TEST_FIND_BY_NUMBER_H

namespace trox_test
{

/// Finds a record by number, whatever a generation's channel reader calls that.
template <class Reader>
typename Reader::entry* find_by_number(Reader& reader, typename Reader::event_number id, int type, int* status)
{
    if constexpr (requires { reader.find_entry_by_event_id_2024(id, type, status); }) {
        return reader.find_entry_by_event_id_2024(id, type, status);
    } else {
        return reader.find_entry_by_event_id(id, type, status);
    }
}

} // namespace trox_test

#endif
