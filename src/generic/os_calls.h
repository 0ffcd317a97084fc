// The system calls whose failure the library survives, behind one table so that tests can make them fail.
#ifndef TROX_GENERIC_OS_CALLS_H
#define TROX_GENERIC_OS_CALLS_H

#include <cstddef>
#include <dirent.h>
#include <pthread.h>
#include <sys/types.h>

namespace trox_detail
{

struct os_calls {
    int (*open)(const char* path, int flags);
    void* (*mmap)(void* address, std::size_t length, int protection, int flags, int fd, off_t offset);
    void* (*malloc)(std::size_t size);
    void* (*take_pages)(std::size_t& size);
    void* (*realloc)(void* block, std::size_t size);
    int (*pthread_create)(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument);
    dirent* (*readdir)(DIR* directory);
    int (*pthread_join)(pthread_t thread, void** result);
};

/// The calls in use. Only tests change them, while no reader is at work. Exported for this project's other libraries.
[[gnu::visibility("default")]] os_calls& os() noexcept;

} // namespace trox_detail

#endif
