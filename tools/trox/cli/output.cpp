#include "output.h"

#include "base/target_file.h"
#include "errors.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace trox_cli
{
namespace
{

constexpr std::size_t buffer_size = std::size_t{64} << 10U;

// --- files that a signal removes ----------------------------------------------------------------------------

/// Names of temporary files, where a signal handler can read them.
constexpr std::size_t most_pending = 16;
std::array<std::atomic<char*>, most_pending> pending_names;

void note_pending(const std::string& path)
{
    char* const copy = ::strdup(path.c_str());
    for (auto& slot : pending_names) {
        char* expected = nullptr;
        if (copy != nullptr && slot.compare_exchange_strong(expected, copy)) {
            return;
        }
    }
    std::free(copy); // more files than slots: a signal leaves this one
}

void forget_pending(const std::string& path)
{
    for (auto& slot : pending_names) {
        char* name = slot.load();
        if (name != nullptr && path == name && slot.compare_exchange_strong(name, nullptr)) {
            std::free(name);
            return;
        }
    }
}

extern "C" void remove_pending_files(int signal)
{
    for (auto& slot : pending_names) {
        if (const char* const name = slot.load()) {
            ::unlink(name);
        }
    }
    ::raise(signal); // the handler is gone by now: this ends the program
}

// --- files --------------------------------------------------------------------------------------------------

std::string words_of(int error)
{
    return std::strerror(error);
}

} // namespace

void install_signal_handlers()
{
    struct sigaction action {
    };
    action.sa_handler = &remove_pending_files;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present {
        };
        if (::sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // writing beyond the limit is an error then, as on a full disk
}

atomic_file::atomic_file(const std::string& path) : path_(trox_base::resolve_links(path))
{
    std::error_code ignored;
    if (path_.empty() || std::filesystem::is_directory(path_, ignored)) {
        throw failure(path + ": cannot be written: " + words_of(path_.empty() ? ENOENT : EISDIR));
    }
    const std::string ending = ".XXXXXX";
    temporary_ = trox_base::hidden_name(path_, ending.size()) + ending;
    descriptor_ = ::mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        throw failure(path + ": cannot be written: " + words_of(errno));
    }
    note_pending(temporary_);
    ::fchmod(descriptor_, trox_base::permissions_while_made(path_));
}

atomic_file::~atomic_file()
{
    if (descriptor_ >= 0) {
        ::unlink(temporary_.c_str());
        forget_pending(temporary_);
        ::close(descriptor_);
    }
}

void atomic_file::commit()
{
    if (::fsync(descriptor_) != 0 || !trox_base::put_in_place(temporary_, path_)) {
        throw failure(path_ + ": cannot be written: " + words_of(errno));
    }
    forget_pending(temporary_);
    ::close(descriptor_);
    descriptor_ = -1;
}

output::output(const std::string& path) : name_(path.empty() ? "standard output" : path)
{
    if (path.empty()) {
        descriptor_ = STDOUT_FILENO;
    } else if (trox_base::takes_bytes_as_they_come(path)) {
        owned_descriptor_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (owned_descriptor_ < 0) {
            throw failure(path + ": cannot be written: " + words_of(errno));
        }
        descriptor_ = owned_descriptor_;
    } else {
        file_ = std::make_unique<atomic_file>(path);
        descriptor_ = file_->descriptor();
    }
    is_terminal_ = ::isatty(descriptor_) == 1;
    buffer_.reserve(buffer_size);
}

output::~output()
{
    if (owned_descriptor_ >= 0) {
        ::close(owned_descriptor_);
    }
}

void output::write(std::string_view bytes)
{
    if (bytes.size() >= buffer_size) {
        flush();
        write_out(bytes);
        return;
    }
    buffer_ += bytes;
    if (buffer_.size() >= buffer_size) {
        flush();
    }
}

void output::flush()
{
    std::string taken;
    taken.swap(buffer_);
    write_out(taken);
    taken.clear();
    buffer_.swap(taken); // keeps the memory
}

void output::finish()
{
    flush();
    if (file_) {
        file_->commit();
    }
}

std::size_t output::width() const noexcept
{
    struct winsize size {
    };
    if (!is_terminal_ || ::ioctl(descriptor_, TIOCGWINSZ, &size) != 0) {
        return 0;
    }
    return size.ws_col;
}

void output::write_out(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw pipe_closed();
        } else if (errno != EINTR) {
            throw failure(name_ + ": cannot be written: " + words_of(errno));
        }
    }
}

} // namespace trox_cli
