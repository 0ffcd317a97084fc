// Points in time as people want to see them. Inside, all times are UTC.
#ifndef TROX_CLI_TIMES_H
#define TROX_CLI_TIMES_H

#include "trox/basics.h"

#include <string>

namespace trox_cli
{

/// Shows times in a time zone and a format. Making one for a zone other than UTC sets the time zone of the process.
class time_display
{
public:
    /// ISO 8601 in UTC.
    time_display() = default;
    /// `zone`: "UTC", "local", or a name of the time zone database. `format`: "iso", "epoch" (seconds since 1970), or
    /// a pattern of strftime in which "%f" stands for microseconds. Throws wrong_use for any other.
    time_display(const std::string& zone, const std::string& format);

    std::string show(trox::time_point time) const;

private:
    bool is_utc_ = true;
    std::string pattern_{}; ///< of strftime; empty: ISO 8601
    bool is_epoch_ = false;
};

} // namespace trox_cli

#endif
