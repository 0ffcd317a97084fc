// What is shown of a run's events.
#ifndef TROX_DEMO_EVENT_TABLES_H
#define TROX_DEMO_EVENT_TABLES_H

#include "check.h"
#include "text.h"
#include "values.h"

namespace trox_demo
{

/// Two tables with a line per event, and the first trace and the first image as pictures; collected while the run is
/// read.
class event_tables
{
public:
    event_tables();
    void add(const event_records& read);
    void print() const;

private:
    table beam_;
    table rest_;
    trace_samples trace_;
    picture image_;
    std::uint32_t trace_event_ = 0;
    std::uint32_t image_event_ = 0;
};

} // namespace trox_demo

#endif
