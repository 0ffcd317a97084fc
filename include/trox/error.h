// What goes wrong while reading, as one exception type.
#ifndef TROX_TROX_ERROR_H
#define TROX_TROX_ERROR_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#pragma GCC visibility push(default)

namespace trox
{

/// Why something could not be done.
enum class fault {
    wrong_use,       ///< an argument that makes no sense: an unknown pattern syntax, a negative tolerance
    not_found,       ///< no such file, run, channel or event
    bad_file,        ///< no data file of any generation, or one whose tables are damaged
    damaged_record,  ///< a record that cannot be decoded
    missing_channel, ///< a channel has no record in an event, and the selection does not allow for that
    out_of_budget,   ///< one event, with what the program holds, needs more memory than the budget allows
    input_output     ///< the operating system said no; the text has its words
};

/// Where something went wrong; what does not apply is empty.
struct place {
    std::string file{};                    ///< path
    std::string channel{};                 ///< name
    std::optional<std::uint64_t> event{};  ///< event number
    std::optional<std::uint64_t> offset{}; ///< position in the file, in bytes
};

/// The one exception of this library. The text names the place and the reason. After it the object that threw is as
/// before the call.
class error : public std::runtime_error
{
public:
    error(fault why, const std::string& reason, place where = {});
    fault why() const noexcept
    {
        return why_;
    }
    const place& where() const noexcept
    {
        return where_;
    }
    /// The reason without the place.
    const std::string& reason() const noexcept
    {
        return reason_;
    }

private:
    fault why_;
    place where_;
    std::string reason_;
};

} // namespace trox

#pragma GCC visibility pop

#endif
