// Making the library's system calls fail one by one. For programs that are built on the library's objects.
#ifndef TROX_TEST_FAILING_CALLS_H
#define TROX_TEST_FAILING_CALLS_H

#include "generic/os_calls.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <sys/mman.h>

namespace trox_test
{

/// Which calls of one kind fail: those from number `first` (1 is the next) on, `count` of them.
struct call_failures {
    std::atomic<int> made{0};
    std::atomic<int> first{0};
    std::atomic<int> count{0};

    void reset()
    {
        made = 0;
        first = 0;
        count = 0;
    }
    void fail(int number, int how_many = 1)
    {
        made = 0;
        first = number;
        count = how_many;
    }
    void fail_all()
    {
        fail(1, std::numeric_limits<int>::max());
    }
    bool next_fails()
    {
        const int number = ++made;
        return first != 0 && number >= first && number - first < count;
    }
};

/// Stands between the library and the system as long as it lives. One at a time, while no reader is at work.
class failing_calls
{
public:
    failing_calls() : kept_(trox_detail::os())
    {
        opens.reset();
        maps.reset();
        allocations.reset();
        threads.reset();
        listings.reset();
        auto& calls = trox_detail::os();
        system() = kept_;
        calls.open = [](const char* path, int flags) {
            if (opens.next_fails()) {
                errno = EMFILE;
                return -1;
            }
            return system().open(path, flags);
        };
        calls.mmap = [](void* address, std::size_t length, int protection, int flags, int fd, off_t offset) -> void* {
            if (maps.next_fails()) {
                errno = ENOMEM;
                return MAP_FAILED;
            }
            return system().mmap(address, length, protection, flags, fd, offset);
        };
        calls.malloc = [](std::size_t size) -> void* {
            if (allocations.next_fails()) {
                errno = ENOMEM;
                return nullptr;
            }
            return system().malloc(size);
        };
        calls.take_pages = [](std::size_t& size) -> void* {
            return allocations.next_fails() ? nullptr : system().take_pages(size);
        };
        calls.pthread_create = [](pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                  void* argument) {
            return threads.next_fails() ? EAGAIN : system().pthread_create(thread, attributes, entry, argument);
        };
        calls.readdir = [](DIR* directory) -> dirent* {
            if (listings.next_fails()) {
                errno = EIO;
                return nullptr;
            }
            return system().readdir(directory);
        };
    }
    failing_calls(const failing_calls&) = delete;
    failing_calls& operator=(const failing_calls&) = delete;
    ~failing_calls()
    {
        trox_detail::os() = kept_;
    }

    static inline call_failures opens;
    static inline call_failures maps;
    static inline call_failures allocations;
    static inline call_failures threads;
    static inline call_failures listings;

private:
    static trox_detail::os_calls& system()
    {
        static trox_detail::os_calls calls;
        return calls;
    }
    trox_detail::os_calls kept_;
};

/// Number of descriptors that this process has open.
inline std::size_t open_descriptors()
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

/// Number of mappings of a file in this process.
inline std::size_t mappings_of(const std::string& path)
{
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find(path) != std::string::npos ? 1 : 0;
    }
    return count;
}

} // namespace trox_test

#endif
