// What a piece of a test prints.
#ifndef TROX_TEST_CAPTURED_OUTPUT_H
#define TROX_TEST_CAPTURED_OUTPUT_H

#include <gtest/gtest.h>
#include <string>

namespace trox_test
{

struct captured_output {
    std::string out;
    std::string err;
};

/// Standard output and standard error of `work()`, which must wait for the threads that it starts.
template <class Work> captured_output capture(Work work)
{
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    work();
    captured_output printed;
    printed.out = ::testing::internal::GetCapturedStdout();
    printed.err = ::testing::internal::GetCapturedStderr();
    return printed;
}

} // namespace trox_test

#endif
