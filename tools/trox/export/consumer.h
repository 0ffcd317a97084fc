// What the events of an export go through: a writer of a file format, or a reader that compares.
#ifndef TROX_EXPORT_CONSUMER_H
#define TROX_EXPORT_CONSUMER_H

#include "rows.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace trox_export
{

/// A selected channel, as the dictionaries and descriptions tell of it; all in UTF-8.
struct channel_head {
    std::string name{}; ///< no other channel has it
    std::string kind{};
    std::string unit{};
    std::string description{};
    std::string property{};
    std::string server{};
    std::string subsystem{};
};

struct event_head {
    std::uint64_t number = 0;
    trox::time_point time{};
};

/// Takes the events of an export one by one: begin_event, `take` for every channel in order, end_event; `finish` once
/// behind the last. Any call may throw trox::error; one that compares throws `difference`. After that nothing is called
/// any more.
class event_consumer
{
public:
    virtual ~event_consumer() = default;
    virtual void begin_event(const event_head& event) = 0;
    /// The record may be empty. Rows are valid during the call.
    virtual void take(std::size_t channel, const trox::record& record, const std::vector<row>& rows) = 0;
    virtual void end_event() = 0;
    virtual void finish() = 0;
};

/// A file does not hold what was read from the data; the text says where.
class difference : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace trox_export

#endif
