// Where a memory mapping of a file has to begin.
#include "event_util.h"

#include <unistd.h>

long trox_get_page_offset(long len, long pos, long* delta)
{
    if (pos < 0 || pos >= len) {
        return -1;
    }
    static const long page = ::sysconf(_SC_PAGESIZE);
    const long rest = pos % page;
    if (delta != nullptr) {
        *delta = rest;
    }
    return pos - rest;
}
