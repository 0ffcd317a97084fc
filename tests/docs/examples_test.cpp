// The example programs with records that hold nothing to print.
#include "scan.h"
#include "temp_directory.h"
#include "written_data.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace
{

using testing::Test;

/// What a program prints on standard output; a failure of the program is one of the test.
std::vector<std::string> lines_printed_by(const std::string& command)
{
    FILE* const pipe = ::popen(("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1 " + command).c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string text;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        text += static_cast<char>(c);
    }
    const int status = ::pclose(pipe);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
    return trox_test::lines_of(text);
}

/// A file with events of the channels TRACE/A and TRACE/B. B always has a sample; A has two, none, and two less one
/// that is announced and not there.
class examples_with_empty_records : public Test
{
protected:
    examples_with_empty_records()
    {
        trox_test::written_data data(path_);
        auto cut = trox_test::trace({5, 6});
        cut.bytes.resize(cut.bytes.size() - sizeof(float));
        data.add({{"TRACE/A", trox_test::trace({3, 4})}, {"TRACE/B", trox_test::trace({1})}});
        data.add({{"TRACE/A", trox_test::trace({})}, {"TRACE/B", trox_test::trace({1})}});
        data.add({{"TRACE/A", cut}, {"TRACE/B", trox_test::trace({1})}});
        data.finish();
    }

    trox_test::temp_directory directory_;
    std::string path_ = directory_.file("linac_main_run1_file1_20200101T000000.raw");
};

TEST_F(examples_with_empty_records, read_events_prints_samples_that_are_there)
{
    const auto lines = lines_printed_by(TROX_EXAMPLE_READ_EVENTS " TRACE/A " + path_);
    EXPECT_EQ(lines, (std::vector<std::string>{"1000  TRACE/A  3"}));
}

TEST_F(examples_with_empty_records, read_any_generation_prints_samples_that_are_there)
{
    const auto lines = lines_printed_by(TROX_EXAMPLE_READ_ANY_GENERATION " '*' " + path_);
    EXPECT_EQ(lines, (std::vector<std::string>{"1000  2020-01-01T00:00:00.000000Z  3  1",
                                               "1001  2020-01-01T00:00:01.000000Z  -  1",
                                               "1002  2020-01-01T00:00:02.000000Z  -  1"}));
}

TEST_F(examples_with_empty_records, read_properties_prints_samples_that_are_there)
{
    const std::string list = directory_.file("files.txt");
    std::ofstream(list) << path_ << '\n';
    const auto lines = lines_printed_by(TROX_EXAMPLE_READ_PROPERTIES " " + list + " TRACE/A TRACE/A");
    // The value of a trace is not looked for: it stays 0.
    EXPECT_EQ(lines, (std::vector<std::string>{"1000  peak 4 at 1  TRACE/A 0", "1001  TRACE/A 0", "1002  TRACE/A 0"}));
}

} // namespace
