// A directory for the files of one test.
#ifndef TROX_TEST_TEMP_DIRECTORY_H
#define TROX_TEST_TEMP_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace trox_test
{

/// Removed with everything in it at the end.
class temp_directory
{
public:
    temp_directory()
    {
        std::string name = (std::filesystem::temp_directory_path() / "trox-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a directory for the test");
        }
        path_ = name;
    }
    temp_directory(const temp_directory&) = delete;
    temp_directory& operator=(const temp_directory&) = delete;
    ~temp_directory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string file(const std::string& name) const
    {
        return (path_ / name).string();
    }

private:
    std::filesystem::path path_;
};

} // namespace trox_test

#endif
