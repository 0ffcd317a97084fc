// A file that lives in memory, for tests that need a descriptor of a few given bytes.
#ifndef TROX_TEST_MEMORY_FILE_H
#define TROX_TEST_MEMORY_FILE_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace trox_test
{

class memory_file
{
public:
    explicit memory_file(const std::vector<std::uint8_t>& bytes) : descriptor_(::memfd_create("trox-test", MFD_CLOEXEC))
    {
        if (descriptor_ < 0 ||
            ::pwrite(descriptor_, bytes.data(), bytes.size(), 0) != static_cast<long>(bytes.size())) {
            throw std::runtime_error("cannot make a file in memory");
        }
    }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;
    ~memory_file()
    {
        ::close(descriptor_);
    }

    /// Changes one byte of the file.
    void write(std::size_t position, std::uint8_t byte)
    {
        if (::pwrite(descriptor_, &byte, 1, static_cast<off_t>(position)) != 1) {
            throw std::runtime_error("cannot write to a file in memory");
        }
    }

    int descriptor() const
    {
        return descriptor_;
    }

private:
    int descriptor_;
};

} // namespace trox_test

#endif
