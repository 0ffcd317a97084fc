// The calls into the operating system that the library's failure paths hang on, in one replaceable place.
//
// Internal. Tests put failing functions here to see what an exhausted memory or a broken disk does; the
// library itself never changes it. Not synchronised: replace them before other threads call the library.
#ifndef TROX_EVUTL_PLATFORM_CALLS_H
#define TROX_EVUTL_PLATFORM_CALLS_H

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <sys/types.h>

namespace trox_evutl
{

struct platform_calls {
    void* (*allocate)(std::size_t size);
    ssize_t (*read_at)(int descriptor, void* destination, std::size_t size, off_t position);
};

/// The calls in use; the C library's at first.
platform_calls& calls() noexcept;

struct free_deleter {
    void operator()(void* block) const noexcept
    {
        std::free(block);
    }
};

/// Owns a block that is handed out as the caller's, to be released with free.
template <class Record> using malloc_ptr = std::unique_ptr<Record, free_deleter>;

} // namespace trox_evutl

#endif
