// What a data file's name tells: its time and its number in the run.
#ifndef TROX_EVUTL_FILE_NAMES_H
#define TROX_EVUTL_FILE_NAMES_H

#include "event.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace trox_evutl
{

/// The time in a path's or base name's last word, or nothing.
std::optional<time_stamp> time_from_name(std::string_view path) noexcept;

/// The number in a name's word `file<N>` before the time; 0 when it has none.
std::uint64_t file_number_from_name(std::string_view path) noexcept;

} // namespace trox_evutl

#endif
