// A folder of files whose tables a slicer loads ahead.
#ifndef TROX_TEST_TABLES_FIXTURE_H
#define TROX_TEST_TABLES_FIXTURE_H

#include "slicer_files.h"

namespace slicer_test
{

template <class T> class slicer_tables : public slicer_files<T>
{
protected:
    /// Files named 0, 1, ..., each with three events of channel A.
    void add_files(int count)
    {
        for (int i = 0; i < count; ++i) {
            const auto begin = static_cast<std::uint32_t>(3 * i + 1);
            this->add_file(std::to_string(i), {{"A", events(begin, begin + 2)}});
        }
    }
    const channel_list<T> channels{"A"};
};

} // namespace slicer_test

#endif
