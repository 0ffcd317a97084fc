#include "run_trox.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace trox_test
{
namespace
{

struct pipe_ends {
    int read = -1;
    int write = -1;
};

pipe_ends make_pipe()
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    return {ends[0], ends[1]};
}

[[noreturn]] void become_trox(const std::vector<std::string>& arguments, const run_options& options)
{
    for (const auto& [name, value] : options.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    if (options.largest_file != 0) {
        const rlimit limit{options.largest_file, options.largest_file};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    std::string program = TROX_PROGRAM;
    std::vector<std::string> words = arguments;
    std::vector<char*> pointers{program.data()};
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    if (!options.out_file.empty()) {
        ::dup2(::open(options.out_file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDOUT_FILENO);
    }
    constexpr unsigned seconds = 120;
    ::alarm(seconds);
    for (const int descriptor : options.closed) {
        ::close(descriptor);
    }
    const bool is_ready = ::chdir(options.directory.c_str()) == 0 && (options.user == 0 || ::setuid(options.user) == 0);
    if (is_ready) {
        ::execv(program.c_str(), pointers.data());
    }
    ::_exit(127);
}

int exit_code_of(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Reads what is there; false at the end.
bool read_some(int descriptor, std::string& text)
{
    std::array<char, 65536> buffer{};
    const ssize_t length = ::read(descriptor, buffer.data(), buffer.size());
    if (length > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(length));
    }
    return length > 0; // a terminal whose program has ended answers an error
}

void read_both(int out, int err, program_result& result)
{
    std::array<pollfd, 2> waiting{{{out, POLLIN, 0}, {err, POLLIN, 0}}};
    while (waiting[0].fd >= 0 || waiting[1].fd >= 0) {
        ::poll(waiting.data(), waiting.size(), -1);
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].revents != 0 && !read_some(waiting[i].fd, i == 0 ? result.out : result.err)) {
                waiting[i].fd = -1;
            }
        }
    }
}

} // namespace

program_result run_trox(const std::vector<std::string>& arguments, const run_options& options)
{
    const pipe_ends out = make_pipe();
    const pipe_ends err = make_pipe();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(out.write, STDOUT_FILENO);
        ::dup2(err.write, STDERR_FILENO);
        for (const int end : {out.read, out.write, err.read, err.write}) {
            ::close(end);
        }
        become_trox(arguments, options);
    }
    ::close(out.write);
    ::close(err.write);
    program_result result;
    read_both(out.read, err.read, result);
    ::close(out.read);
    ::close(err.read);
    result.code = exit_code_of(child);
    return result;
}

program_result run_trox_on_terminal(const std::vector<std::string>& arguments, unsigned short columns,
                                    const run_options& options)
{
    int terminal = -1;
    winsize size{};
    size.ws_col = columns;
    size.ws_row = 24;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        become_trox(arguments, options);
    }
    program_result result;
    while (read_some(terminal, result.out)) {
    }
    ::close(terminal);
    result.code = exit_code_of(child);
    return result;
}

program_result run_trox_into_closing_pipe(const std::vector<std::string>& arguments, std::size_t bytes,
                                          const run_options& options)
{
    const pipe_ends out = make_pipe();
    const pipe_ends err = make_pipe();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(out.write, STDOUT_FILENO);
        ::dup2(err.write, STDERR_FILENO);
        for (const int end : {out.read, out.write, err.read, err.write}) {
            ::close(end);
        }
        become_trox(arguments, options);
    }
    ::close(out.write);
    ::close(err.write);
    program_result result;
    std::string one(1, '\0');
    while (result.out.size() < bytes && ::read(out.read, one.data(), 1) == 1) {
        result.out += one;
    }
    ::close(out.read);
    while (read_some(err.read, result.err)) {
    }
    ::close(err.read);
    result.code = exit_code_of(child);
    return result;
}

int signal_that_ended_trox_before_a_full_pipe(const std::vector<std::string>& arguments, int signal)
{
    const pipe_ends out = make_pipe();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(out.write, STDOUT_FILENO);
        ::close(out.read);
        ::close(out.write);
        become_trox(arguments, {});
    }
    // A pipe that takes nothing more makes the child wait.
    pollfd writable{out.write, POLLOUT, 0};
    int status = 0;
    pid_t ended = 0;
    while (::poll(&writable, 1, 0) == 1 && (ended = ::waitpid(child, &status, WNOHANG)) == 0) {
        ::usleep(1000);
    }
    ::usleep(50000); // in the writing that does not end
    if (ended == 0) {
        ::kill(child, signal);
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    ::close(out.read);
    ::close(out.write);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

} // namespace trox_test
