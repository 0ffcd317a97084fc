// Defects, each made on its own, and what a check must find for it.
#ifndef TROX_TESTS_INSPECT_DEFECTS_H
#define TROX_TESTS_INSPECT_DEFECTS_H

#include "defects_of_records.h"
#include "defects_of_tables.h"

namespace inspect_test
{

template <class T> std::vector<defect<T>> all_defects()
{
    std::vector<defect<T>> all = defects_of_tables<T>().table();
    const std::vector<defect<T>> others = defects_of_records<T>().table();
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

} // namespace inspect_test

#endif
