#include "write_run.h"

#include <cstdio>

namespace trox_machine
{
namespace
{

/// One event with the records of those channels that belong to its type and have data; none when there are none.
void write_event(tw::run_writer& writer, const machine& source, const std::vector<tw::channel_id>& ids,
                 std::int32_t type, int event)
{
    std::string server;
    bool is_open = false;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const instance which = source.channels()[i];
        const channel_facts& fact = facts(which.of);
        if (fact.event_type != type || !source.has_record(which, event)) {
            continue;
        }
        if (!is_open) {
            writer.begin_event({source.event_number(event), source.event_time(type, event), type});
            is_open = true;
        }
        if (server != fact.server) {
            server = fact.server;
            writer.begin_server_block({server});
        }
        const tw::payload payload = source.written(which, event);
        tw::record record;
        record.dtype = payload.dtype;
        record.data = payload.bytes;
        record.stored = source.storage(which, event);
        writer.add_record(ids[i], record);
    }
    if (is_open) {
        writer.end_event();
    }
}

/// Takes back the files of a run that did not come to its end.
class files_in_the_making
{
public:
    explicit files_in_the_making(const tw::run_writer& writer) : writer_(writer) {}
    files_in_the_making(const files_in_the_making&) = delete;
    files_in_the_making& operator=(const files_in_the_making&) = delete;
    ~files_in_the_making()
    {
        if (!is_done_) {
            for (const auto& path : writer_.files()) {
                std::remove(path.c_str());
            }
        }
    }
    void keep()
    {
        is_done_ = true;
    }

private:
    const tw::run_writer& writer_;
    bool is_done_ = false;
};

/// When files and the run end.
class length_counter
{
public:
    length_counter(const tw::run_writer& writer, const run_length& length) : writer_(writer), length_(length) {}

    /// Events or bytes so far.
    std::uint64_t done(int events) const
    {
        return length_.bytes ? closed_bytes_ + writer_.projected_size() : static_cast<std::uint64_t>(events);
    }
    bool is_run_done(int events) const
    {
        return done(events) >= total() && events >= length_.files;
    }
    bool is_file_done(int events) const
    {
        const auto files = static_cast<std::uint64_t>(length_.files);
        return closed_files_ + 1 < files && done(events) * files >= (closed_files_ + 1) * total();
    }
    void close_file()
    {
        closed_bytes_ += writer_.projected_size();
        ++closed_files_;
    }

private:
    std::uint64_t total() const
    {
        return length_.bytes.value_or(static_cast<std::uint64_t>(length_.events));
    }

    const tw::run_writer& writer_;
    const run_length& length_;
    std::uint64_t closed_bytes_ = 0;
    std::uint64_t closed_files_ = 0;
};

} // namespace

written_run write_run(const machine& source, const tw::run_identity& run, const std::string& directory,
                      const run_length& length, const std::function<void(std::uint64_t)>& seen)
{
    tw::run_settings settings;
    settings.data_directory = directory;
    settings.catalogue_directory = directory;
    settings.run = run;
    settings.format = source.settings().format;
    tw::run_writer writer(settings);
    files_in_the_making made(writer);
    std::vector<tw::channel_id> ids;
    for (const instance which : source.channels()) {
        ids.push_back(writer.add_channel(source.entry(which)));
    }
    length_counter counter(writer, length);
    int events = 0;
    while (!counter.is_run_done(events)) {
        for (const std::int32_t type : {TROX_EV_NORMAL, TROX_EV_IMAGE, TROX_EV_UPD, TROX_EV_ENV}) {
            write_event(writer, source, ids, type, events);
        }
        ++events;
        if (seen) {
            seen(counter.done(events));
        }
        if (counter.is_file_done(events) && !counter.is_run_done(events)) {
            counter.close_file();
            writer.next_file();
        }
    }
    writer.finish();
    made.keep();
    return {writer.files(), writer.catalogue(), events};
}

} // namespace trox_machine
