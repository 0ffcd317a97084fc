// Texts of the reader's status codes.
#ifndef TROX_GENERIC_READER_STATUS_H
#define TROX_GENERIC_READER_STATUS_H

namespace trox_detail
{

/// Static text of a trox_daq_reader_status; "Unknown error" for any other number.
const char* reader_status_text(int code) noexcept;

} // namespace trox_detail

#endif
