#include "write_run.h"

namespace trox_demo
{
namespace
{

/// One event with the records of those channels that belong to its type and have data; none when there are none.
void write_event(tw::run_writer& writer, const std::vector<tw::channel_id>& ids, std::int32_t type, int event)
{
    std::string server;
    bool is_open = false;
    for (const channel of : all_channels) {
        if (facts(of).event_type != type || !has_record(of, event)) {
            continue;
        }
        if (!is_open) {
            writer.begin_event({event_number(event), event_time(type, event), type});
            is_open = true;
        }
        if (server != facts(of).server) {
            server = facts(of).server;
            writer.begin_server_block({server});
        }
        const tw::payload payload = written(of, event);
        tw::record record;
        record.dtype = payload.dtype;
        record.data = payload.bytes;
        record.stored = storage(of, event);
        writer.add_record(ids[index_of(of)], record);
    }
    if (is_open) {
        writer.end_event();
    }
}

} // namespace

const tw::run_identity& run()
{
    static const tw::run_identity identity{"demo", "main", 1};
    return identity;
}

written_run write_run(const std::string& directory, int events)
{
    tw::run_settings settings;
    settings.data_directory = directory;
    settings.catalogue_directory = directory;
    settings.run = run();
    tw::run_writer writer(settings);
    std::vector<tw::channel_id> ids;
    for (const channel of : all_channels) {
        ids.push_back(writer.add_channel(trox_demo::settings(of)));
    }
    int files_begun = 1;
    for (int event = 0; event < events; ++event) {
        if (static_cast<std::int64_t>(event) * file_count >= static_cast<std::int64_t>(files_begun) * events) {
            writer.next_file();
            ++files_begun;
        }
        for (const std::int32_t type : {TROX_EV_NORMAL, TROX_EV_IMAGE, TROX_EV_UPD, TROX_EV_ENV}) {
            write_event(writer, ids, type, event);
        }
    }
    writer.finish();
    return {writer.files(), writer.catalogue()};
}

} // namespace trox_demo
