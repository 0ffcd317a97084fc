// Files written through a buffer, and files that appear under their name only whole.
#ifndef TROX_WRITER_FILE_IO_H
#define TROX_WRITER_FILE_IO_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trox::writer
{

/// Throws error(input_output) with `what` and the text of errno.
[[noreturn]] void throw_system_error(const std::string& what);

/// Directory part of a path ("." without one), and its last component.
std::string directory_of(const std::string& path);
std::string base_name_of(const std::string& path);

/// Owns a file descriptor.
class descriptor
{
public:
    descriptor() = default;
    explicit descriptor(int fd) noexcept : fd_(fd) {}
    descriptor(descriptor&& other) noexcept;
    descriptor& operator=(descriptor&& other) noexcept;
    ~descriptor();
    int get() const noexcept
    {
        return fd_;
    }
    void close() noexcept;

private:
    int fd_ = -1;
};

/// A new file in `directory` with a name of its own, open for reading and writing; `path` receives its name.
descriptor create_temporary(const std::string& directory, std::string& path);

/// Reads exactly `size` bytes at `position`.
void read_exactly(int fd, std::uint64_t position, void* destination, std::size_t size, const std::string& name);

/// Sequential writing through a buffer. Throws error(input_output).
class buffered_output
{
public:
    buffered_output(int fd, std::string name);
    void write(const void* data, std::size_t size);
    void fill(unsigned char byte, std::uint64_t count);
    /// Copies `size` bytes at `position` of another file.
    void copy_from(int source, std::uint64_t position, std::uint64_t size, const std::string& source_name);
    void flush();
    std::uint64_t position() const noexcept
    {
        return position_;
    }

private:
    void write_through(const unsigned char* data, std::size_t size);

    int fd_;
    std::string name_;
    std::vector<unsigned char> buffer_;
    std::size_t used_ = 0;
    std::uint64_t position_ = 0;
};

/// A file that is written under another name in the target's directory and renamed by `commit`; without it,
/// nothing is left.
class atomic_file
{
public:
    explicit atomic_file(std::string target);
    atomic_file(const atomic_file&) = delete;
    atomic_file& operator=(const atomic_file&) = delete;
    ~atomic_file();
    buffered_output& out() noexcept
    {
        return out_;
    }
    /// Puts the file under its name; without `replace` an existing file of that name is an error(bad_name).
    void commit(bool replace, bool sync);

private:
    std::string target_;
    std::string temporary_;
    descriptor fd_;
    buffered_output out_;
    bool committed_ = false;
};

} // namespace trox::writer

#endif
