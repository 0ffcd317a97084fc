// How a verb ends: exit codes, and the exceptions that lead to them.
#ifndef TROX_CLI_ERRORS_H
#define TROX_CLI_ERRORS_H

#include <stdexcept>
#include <string>

namespace trox_cli
{

enum class exit_code {
    done = 0,
    failed = 1,
    wrong_use = 2,
    data_lost = 3 ///< done, but files, events or records were passed over
};

/// Ends a verb: one line "trox: VERB: reason", and "trox: VERB: hint: ..." where there is a hint.
class failure : public std::runtime_error
{
public:
    explicit failure(const std::string& reason, std::string hint = {})
        : failure(exit_code::failed, reason, std::move(hint))
    {
    }
    exit_code code() const noexcept
    {
        return code_;
    }
    const std::string& hint() const noexcept
    {
        return hint_;
    }

protected:
    failure(exit_code code, const std::string& reason, std::string hint)
        : std::runtime_error(reason), code_(code), hint_(std::move(hint))
    {
    }

private:
    exit_code code_;
    std::string hint_;
};

/// The same for arguments that make no sense.
class wrong_use : public failure
{
public:
    explicit wrong_use(const std::string& reason, std::string hint = {})
        : failure(exit_code::wrong_use, reason, std::move(hint))
    {
    }
};

/// Whoever read standard output has gone; nothing more is wanted. No std::exception, so that nobody who handles
/// failures takes it for one.
struct pipe_closed {
};

} // namespace trox_cli

#endif
