// Whether records and files that cannot be read are passed over unless a program says otherwise.
#ifndef TROX_GENERIC_SKIP_DEFAULT_H
#define TROX_GENERIC_SKIP_DEFAULT_H

namespace trox_detail
{

/// True when the environment variable TROX_DAQ_READER_SKIP_BAD_RECORDS is set.
bool skip_bad_records_by_default() noexcept;

} // namespace trox_detail

#endif
