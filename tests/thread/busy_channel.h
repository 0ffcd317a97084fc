// A file whose channel keeps its workers busy for a while.
#ifndef TROX_TEST_BUSY_CHANNEL_H
#define TROX_TEST_BUSY_CHANNEL_H

#include "channel_scenario.h"
#include "channel_types.h"

#include <string>
#include <vector>

namespace trox_test
{

/// Many zlib records of 16 KiB, written once; number 101 and on, every 200 ms.
template <class T> class busy_file
{
public:
    static constexpr int records = 240;
    static constexpr const char* channel = "BUSY";

    busy_file() : path_(directory_.file("busy.raw"))
    {
        tw::file_writer file(path_, T::format);
        const auto id = file.add_channel(channel, tw::storage::zlib);
        for (int i = 0; i < records; ++i) {
            file.begin_event({event_number_of(i), event_time_of(i)});
            file.begin_server_block({"TEST.SVR"});
            file.add_record(id, tw::spectrum_payload(T::format, T::trace_type, values_of(i)));
            file.end_event();
        }
        file.finish();
    }
    const std::string& path() const
    {
        return path_;
    }
    static std::vector<float> values_of(int i)
    {
        constexpr int samples = 4096;
        std::vector<float> values;
        values.reserve(samples);
        for (int s = 0; s < samples; ++s) {
            values.push_back(static_cast<float>((s * s + i * 7) % 1009));
        }
        return values;
    }

private:
    temp_directory directory_;
    std::string path_;
};

} // namespace trox_test

#endif
