#include "file_io.h"

#include "trox_writer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace trox::writer
{
namespace
{

constexpr std::size_t buffer_size = std::size_t{1} << 20;

[[noreturn]] void throw_exists(const std::string& target)
{
    throw error(fault::bad_name, target + ": a file of that name exists");
}

// Renames without replacing. File systems without RENAME_NOREPLACE get a hard link, which never replaces either.
void rename_to_new(const std::string& from, const std::string& target)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
        return;
    }
    if (errno == EINVAL || errno == ENOSYS) {
        if (::link(from.c_str(), target.c_str()) == 0) {
            ::unlink(from.c_str());
            return;
        }
    }
    if (errno == EEXIST) {
        throw_exists(target);
    }
    throw_system_error(target + ": cannot put the file in place");
}

void sync_directory(const std::string& path)
{
    const descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() < 0 || ::fsync(directory.get()) != 0) {
        throw_system_error(path + ": cannot synchronise the directory");
    }
}

} // namespace

void throw_system_error(const std::string& what)
{
    throw error(fault::input_output, what + ": " + std::generic_category().message(errno));
}

std::string directory_of(const std::string& path)
{
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string base_name_of(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

descriptor::descriptor(descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

descriptor& descriptor::operator=(descriptor&& other) noexcept
{
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

descriptor::~descriptor()
{
    close();
}

void descriptor::close() noexcept
{
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

descriptor create_temporary(const std::string& directory, std::string& path)
{
    static std::atomic<std::uint64_t> counter{0};
    constexpr mode_t readable_as_umask_says = 0666;
    for (;;) {
        path = directory + "/.trox-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp";
        descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, readable_as_umask_says));
        if (file.get() >= 0) {
            return file;
        }
        if (errno != EEXIST) {
            throw_system_error(path + ": cannot create the file");
        }
    }
}

void read_exactly(int fd, std::uint64_t position, void* destination, std::size_t size, const std::string& name)
{
    auto* to = static_cast<unsigned char*>(destination);
    while (size > 0) {
        const auto got = ::pread(fd, to, size, static_cast<off_t>(position));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw_system_error(name + ": cannot read");
        }
        if (got == 0) {
            throw error(fault::input_output, name + ": the file is shorter than what was written to it");
        }
        to += got;
        position += static_cast<std::uint64_t>(got);
        size -= static_cast<std::size_t>(got);
    }
}

buffered_output::buffered_output(int fd, std::string name) : fd_(fd), name_(std::move(name)), buffer_(buffer_size) {}

void buffered_output::write(const void* data, std::size_t size)
{
    const auto* from = static_cast<const unsigned char*>(data);
    position_ += size;
    if (size >= buffer_.size()) {
        flush();
        write_through(from, size);
        return;
    }
    while (size > 0) {
        const auto part = std::min(size, buffer_.size() - used_);
        std::memcpy(buffer_.data() + used_, from, part);
        used_ += part;
        from += part;
        size -= part;
        if (used_ == buffer_.size()) {
            flush();
        }
    }
}

void buffered_output::fill(unsigned char byte, std::uint64_t count)
{
    position_ += count;
    while (count > 0) {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(count, buffer_.size() - used_));
        std::memset(buffer_.data() + used_, byte, part);
        used_ += part;
        count -= part;
        if (used_ == buffer_.size()) {
            flush();
        }
    }
}

void buffered_output::copy_from(int source, std::uint64_t position, std::uint64_t size, const std::string& source_name)
{
    position_ += size;
    while (size > 0) {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(size, buffer_.size() - used_));
        read_exactly(source, position, buffer_.data() + used_, part, source_name);
        used_ += part;
        position += part;
        size -= part;
        if (used_ == buffer_.size()) {
            flush();
        }
    }
}

void buffered_output::flush()
{
    write_through(buffer_.data(), used_);
    used_ = 0;
}

void buffered_output::write_through(const unsigned char* data, std::size_t size)
{
    while (size > 0) {
        const auto done = ::write(fd_, data, size);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done < 0) {
            throw_system_error(name_ + ": cannot write");
        }
        data += done;
        size -= static_cast<std::size_t>(done);
    }
}

atomic_file::atomic_file(std::string target)
    : target_(std::move(target)), fd_(create_temporary(directory_of(target_), temporary_)), out_(fd_.get(), target_)
{
}

atomic_file::~atomic_file()
{
    if (!committed_) {
        ::unlink(temporary_.c_str());
    }
}

void atomic_file::commit(bool replace, bool sync)
{
    out_.flush();
    if (sync && ::fsync(fd_.get()) != 0) {
        throw_system_error(target_ + ": cannot synchronise the file");
    }
    if (!replace) {
        rename_to_new(temporary_, target_);
    } else if (std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        throw_system_error(target_ + ": cannot put the file in place");
    }
    committed_ = true;
    fd_.close();
    if (sync) {
        sync_directory(directory_of(target_));
    }
}

} // namespace trox::writer
