// Reading data files of the legacy generation: the reader.
#ifndef TROX_DAQ_READER_H
#define TROX_DAQ_READER_H

#include "detail/basic_reader.h"
#include "detail/generation_legacy.h"

#pragma GCC visibility push(default)

extern template class trox_detail::basic_reader<trox_detail::generation_legacy>;

/// Reader of the legacy generation; see basic_reader.
///
/// Defaults: no data directory (files are searched along the data path list), period of 1 event and 200 ms, tolerance
/// of 95 ms, which only a request changes: of the environment, TROX_DAQ_DATA_PATH_LIST and
/// TROX_DAQ_READER_SKIP_BAD_RECORDS count. The built-in data path list is the same on all hosts. Of the files that the
/// run catalogue names, too, `start` drops those whose name's time lies outside the range. Channel names and nicknames
/// have at most 79 characters.
class trox_daq_reader : public trox_detail::basic_reader<trox_detail::generation_legacy>
{
public:
    using basic_reader::basic_reader;
};

#pragma GCC visibility pop

#endif
