// Environment variables for the time of a test.
#ifndef TROX_GOLDEN_ENVIRONMENT_H
#define TROX_GOLDEN_ENVIRONMENT_H

#include <cstdlib>
#include <optional>
#include <string>

namespace trox_golden
{

/// Sets a variable, or removes it, and puts the earlier state back at the end.
class environment_variable
{
public:
    environment_variable(const char* name, const std::optional<std::string>& value) : name_(name)
    {
        if (const char* const before = std::getenv(name)) {
            before_ = before;
        }
        set(value);
    }
    environment_variable(const environment_variable&) = delete;
    environment_variable& operator=(const environment_variable&) = delete;
    ~environment_variable()
    {
        set(before_);
    }

private:
    void set(const std::optional<std::string>& value) const
    {
        if (value) {
            ::setenv(name_, value->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

    const char* name_;
    std::optional<std::string> before_;
};

} // namespace trox_golden

#endif
