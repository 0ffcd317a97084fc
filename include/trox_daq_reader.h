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
/// of 95 ms, which only a request changes.
class trox_daq_reader : public trox_detail::basic_reader<trox_detail::generation_legacy>
{
public:
    using basic_reader::basic_reader;
};

#pragma GCC visibility pop

#endif
