// The patterns of event headers by which the legacy and the 2010 generation, whose headers are alike, are told apart.
#ifndef TROX_GENERATION_EVENT_PATTERNS_H
#define TROX_GENERATION_EVENT_PATTERNS_H

#include <cstdint>

namespace trox_detail
{

inline constexpr std::uint32_t legacy_event_pattern = 0xFFEEFFEE;
/// Any other pattern means the 2010 generation too.
inline constexpr std::uint32_t event_pattern_2010 = 0xFFEEFF10;

} // namespace trox_detail

#endif
