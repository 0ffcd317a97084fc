// The machine that is demonstrated, and the run that is written of it.
#ifndef TROX_DEMO_LINAC_H
#define TROX_DEMO_LINAC_H

#include "machine/write_run.h"

#include <cstdint>

namespace trox_demo
{

using namespace trox_machine;

inline constexpr int file_count = 3;

inline const machine& linac()
{
    static const machine simulated;
    return simulated;
}

inline const tw::run_identity& run()
{
    static const tw::run_identity identity{"demo", "main", 1};
    return identity;
}

/// Event numbers of the 2010 generation have 32 bits.
inline std::uint32_t event_number(int event)
{
    return static_cast<std::uint32_t>(linac().event_number(event));
}

} // namespace trox_demo

#endif
