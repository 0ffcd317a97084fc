#include "generic/os_calls.h"

#include "generic/page_pool.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>

namespace trox_detail
{

namespace
{

int open_file(const char* path, int flags)
{
    return ::open(path, flags);
}

} // namespace

os_calls& os() noexcept
{
    static os_calls calls{open_file,    ::mmap,           std::malloc, take_pages,
                          std::realloc, ::pthread_create, ::readdir,   ::pthread_join};
    return calls;
}

} // namespace trox_detail
