// Files that appear whole, or not at all.
#ifndef TROX_EXPORT_ATOMIC_FILE_H
#define TROX_EXPORT_ATOMIC_FILE_H

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace trox_export
{

/// Throws error (input_output) with the words of errno.
[[noreturn]] void throw_system_error(const std::string& what, const std::string& file);

/// Where a file of that name is to be put: links stay, and lead to it. Throws error (input_output) for a directory, and
/// for devices and pipes.
std::string replaceable(const std::string& target);

/// The name of an empty file beside the target, which replaces the target when it is whole. Removed when it does not.
class atomic_file
{
public:
    /// Throws error (input_output).
    explicit atomic_file(std::string target);
    ~atomic_file();
    atomic_file(const atomic_file&) = delete;
    atomic_file& operator=(const atomic_file&) = delete;

    const std::string& temporary() const noexcept
    {
        return temporary_;
    }
    const std::string& target() const noexcept
    {
        return target_;
    }
    /// Whoever writes it has closed it. Throws error (input_output); the target is as before then.
    void commit();

private:
    std::string target_;
    std::string temporary_;
};

/// A directory beside a target, removed with all that is in it.
class temporary_directory
{
public:
    /// Throws error (input_output).
    explicit temporary_directory(const std::string& target);
    ~temporary_directory();
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;

    const std::filesystem::path& path() const noexcept
    {
        return path_;
    }

private:
    std::filesystem::path path_;
};

struct file_closer {
    void operator()(std::FILE* file) const noexcept
    {
        static_cast<void>(std::fclose(file));
    }
};
using file_handle = std::unique_ptr<std::FILE, file_closer>;
/// Throws error (input_output).
file_handle open_file(const std::string& path, const char* mode);
void write_bytes(std::FILE* file, const void* data, std::size_t size, const std::string& path);
/// Closes it, and makes sure that everything was written.
void close_file(file_handle file, const std::string& path);

} // namespace trox_export

#endif
