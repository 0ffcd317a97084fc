// What the library prints on standard output, for tests of its texts.
#ifndef TROX_TEST_CAPTURED_STDOUT_H
#define TROX_TEST_CAPTURED_STDOUT_H

#include <cstdio>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace trox_test
{

/// Takes standard output over as long as it lives.
class captured_stdout
{
public:
    captured_stdout() : file_(::memfd_create("trox-test-stdout", MFD_CLOEXEC)), kept_(::dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        if (file_ < 0 || kept_ < 0 || ::dup2(file_, STDOUT_FILENO) < 0) {
            throw std::runtime_error("cannot capture standard output");
        }
    }
    captured_stdout(const captured_stdout&) = delete;
    captured_stdout& operator=(const captured_stdout&) = delete;
    ~captured_stdout()
    {
        std::fflush(stdout);
        ::dup2(kept_, STDOUT_FILENO);
        ::close(kept_);
        ::close(file_);
    }

    /// Everything printed since the capture began.
    std::string text() const
    {
        std::fflush(stdout);
        std::string all(static_cast<std::size_t>(::lseek(file_, 0, SEEK_END)), '\0');
        const ssize_t got = ::pread(file_, all.data(), all.size(), 0);
        all.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return all;
    }

private:
    int file_;
    int kept_;
};

/// What `call` prints.
template <class Call> std::string printed_by(Call call)
{
    const captured_stdout capture;
    call();
    return capture.text();
}

} // namespace trox_test

#endif
