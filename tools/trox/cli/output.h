// Where results go: standard output, or a file that appears as a whole.
#ifndef TROX_CLI_OUTPUT_H
#define TROX_CLI_OUTPUT_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace trox_cli
{

/// A file that is written under another name in the same directory, and takes its own name when it is done. Without
/// `commit` nothing stays behind, also when a signal ends the program.
class atomic_file
{
public:
    /// Makes the temporary file, with the permissions of a new file. Throws failure.
    explicit atomic_file(const std::string& path);
    ~atomic_file();
    atomic_file(const atomic_file&) = delete;
    atomic_file& operator=(const atomic_file&) = delete;

    /// Under which name, or through which descriptor (owned by this object), the file is to be written.
    const std::string& temporary_path() const noexcept
    {
        return temporary_;
    }
    int descriptor() const noexcept
    {
        return descriptor_;
    }
    /// Puts the file in place, once it is on the disk. Throws failure.
    void commit();

private:
    std::string path_;
    std::string temporary_;
    int descriptor_ = -1;
};

/// Lets SIGINT, SIGTERM and SIGHUP remove what atomic files have not put in place before they end the program, and
/// SIGPIPE and SIGXFSZ do nothing, so that writing fails in place of the program.
void install_signal_handlers();

/// A stream of bytes. One thread at a time.
class output
{
public:
    /// Standard output for an empty path, else the file. Throws failure.
    explicit output(const std::string& path);
    ~output();
    output(const output&) = delete;
    output& operator=(const output&) = delete;

    /// Throws failure when the operating system refuses the bytes, pipe_closed when nobody reads them.
    void write(std::string_view bytes);
    /// Hands on what is buffered.
    void flush();
    /// Flushes, and puts a file in place. To be called once everything is written.
    void finish();

    bool is_terminal() const noexcept
    {
        return is_terminal_;
    }
    /// Columns of the terminal; 0 when it is none.
    std::size_t width() const noexcept;

private:
    void write_out(std::string_view bytes);

    std::string name_; ///< for errors
    std::unique_ptr<atomic_file> file_;
    int owned_descriptor_ = -1; ///< of a device or pipe that is written as it is
    int descriptor_ = -1;
    bool is_terminal_ = false;
    std::string buffer_;
};

} // namespace trox_cli

#endif
