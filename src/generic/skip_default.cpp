#include "generic/skip_default.h"

#include <cstdlib>

namespace trox_detail
{

bool skip_bad_records_by_default() noexcept
{
    return std::getenv("TROX_DAQ_READER_SKIP_BAD_RECORDS") != nullptr;
}

} // namespace trox_detail
