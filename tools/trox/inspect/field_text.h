// Fields of records as text: bytes, values, and what the values mean.
#ifndef TROX_INSPECT_FIELD_TEXT_H
#define TROX_INSPECT_FIELD_TEXT_H

#include "event.h"
#include "fields.h"

#include <cstdint>
#include <string>

namespace trox::inspect
{

/// "faef aef2", cut with "..." behind 16 bytes.
std::string hex_bytes(const unsigned char* bytes, std::size_t count);

/// One element of a field, whose bytes lie as in the file.
std::string value_text(const field& one, const unsigned char* bytes);

/// An integer field as a number; 0 for others.
std::uint64_t value_of(const field& one, const unsigned char* bytes) noexcept;

/// "TROX_BLOCK_BPM", or "unassigned".
std::string block_type_text(int dtype);
/// "TROX_FE_ADC_OVERLOAD, TROX_CHAN_ZIP_FLAG"; empty for no bit.
std::string error_bits_text(std::uint32_t bits);
/// "UPD, ENV" for a mask of event types.
std::string event_mask_text(std::uint32_t mask);
/// "2012-06-14T09:30:08.249833Z".
std::string time_text(time_stamp time);

} // namespace trox::inspect

#endif
