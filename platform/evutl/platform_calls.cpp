#include "platform_calls.h"

#include <unistd.h>

namespace trox_evutl
{

platform_calls& calls() noexcept
{
    static platform_calls current{&std::malloc, &::pread};
    return current;
}

} // namespace trox_evutl
