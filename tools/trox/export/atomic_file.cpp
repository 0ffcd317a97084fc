#include "atomic_file.h"

#include "base/target_file.h"
#include "trox/error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace trox_export
{
namespace fs = std::filesystem;
namespace
{

/// Makes a name with `make`, which answers 0 for success, that nobody has.
template <class Make> std::string unused_name(const std::string& target, const Make& make)
{
    constexpr std::size_t room = 32; // for the ending
    const std::string beginning = trox_base::hidden_name(target, room) + ".part-" + std::to_string(::getpid()) + "-";
    constexpr int most_tries = 1000;
    for (int i = 0; i < most_tries; ++i) {
        const std::string name = beginning + std::to_string(i);
        if (make(name.c_str()) == 0) {
            return name;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    throw_system_error("cannot be written", target);
}

int make_file(const char* name)
{
    constexpr mode_t read_and_write = 0666;
    const int descriptor = ::open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, read_and_write);
    return descriptor < 0 ? -1 : ::close(descriptor);
}

int make_directory(const char* name)
{
    constexpr mode_t owner_only = 0700;
    return ::mkdir(name, owner_only);
}

[[noreturn]] void refuse(const std::string& reason, const std::string& file)
{
    throw trox::error(trox::fault::input_output, "cannot be written: " + reason, {file, {}, {}, {}});
}

} // namespace

std::string replaceable(const std::string& target)
{
    std::string place = trox_base::resolve_links(target);
    std::error_code ignored;
    if (fs::is_directory(place, ignored)) {
        refuse(std::generic_category().message(EISDIR), target);
    }
    if (trox_base::takes_bytes_as_they_come(place)) {
        refuse("it is a device or a pipe, in whose place no file is put", target);
    }
    return place;
}

void throw_system_error(const std::string& what, const std::string& file)
{
    const int number = errno;
    throw trox::error(trox::fault::input_output, what + ": " + std::generic_category().message(number),
                      {file, {}, {}, {}});
}

atomic_file::atomic_file(std::string target)
    : target_(replaceable(std::move(target))), temporary_(unused_name(target_, make_file))
{
    ::chmod(temporary_.c_str(), trox_base::permissions_while_made(target_));
}

atomic_file::~atomic_file()
{
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

void atomic_file::commit()
{
    const int descriptor = ::open(temporary_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw_system_error("cannot be opened", temporary_);
    }
    const bool is_stored = ::fsync(descriptor) == 0;
    const int number = errno;
    ::close(descriptor);
    errno = number;
    if (!is_stored || !trox_base::put_in_place(temporary_, target_)) {
        throw_system_error("cannot be put in place", target_);
    }
    temporary_.clear();
}

temporary_directory::temporary_directory(const std::string& target) : path_(unused_name(target, make_directory)) {}

temporary_directory::~temporary_directory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

file_handle open_file(const std::string& path, const char* mode)
{
    file_handle file(std::fopen(path.c_str(), mode));
    if (!file) {
        throw_system_error("cannot be opened", path);
    }
    return file;
}

void write_bytes(std::FILE* file, const void* data, std::size_t size, const std::string& path)
{
    if (size != 0 && std::fwrite(data, 1, size, file) != size) {
        throw_system_error("cannot be written", path);
    }
}

void close_file(file_handle file, const std::string& path)
{
    if (std::fclose(file.release()) != 0) {
        throw_system_error("cannot be written", path);
    }
}

} // namespace trox_export
