// Data files for tests, written event by event.
#ifndef TROX_TEST_WRITTEN_DATA_H
#define TROX_TEST_WRITTEN_DATA_H

#include "trox/data_set.h"
#include "trox_writer.h"

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace trox_test
{

namespace tw = trox::writer;

/// Writes a file of generation 2010 whose events, from number 1000 and 2020-01-01 00:00:00 on, are a second apart.
class written_data
{
public:
    explicit written_data(std::string path) : path_(std::move(path)), file_(path_, tw::generation::v2010) {}

    static constexpr std::uint32_t first_second = 1577836800;

    struct channel_record {
        std::string channel;
        tw::payload payload;
    };
    void add(const std::vector<channel_record>& records, std::int32_t type = TROX_EV_NORMAL)
    {
        file_.begin_event({1000 + events_, time(), type});
        file_.begin_server_block({"SERVER"});
        for (const auto& record : records) {
            if (!file_.find_channel(record.channel)) {
                file_.add_channel(record.channel);
            }
            file_.add_record(record.channel, record.payload);
        }
        file_.end_event();
        ++events_;
    }
    /// Of the event that is added next.
    time_stamp time() const
    {
        time_stamp stamp{};
        stamp.timeup = first_second + static_cast<std::uint32_t>(events_);
        return stamp;
    }
    tw::file_map finish()
    {
        return file_.finish();
    }
    trox::data_set open()
    {
        finish();
        return trox::data_set::open_files({path_});
    }

private:
    std::string path_;
    tw::file_writer file_;
    std::uint64_t events_ = 0;
};

/// Puts other bytes, as many, in place of all that are equal: what the writer refuses to write.
inline void replace_bytes(const std::string& path, const std::string& from, const std::string& to)
{
    std::stringstream read;
    read << std::ifstream(path, std::ios::binary).rdbuf();
    std::string bytes = read.str();
    for (std::size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at)) {
        bytes.replace(at, from.size(), to);
    }
    std::ofstream(path, std::ios::binary) << bytes;
}

inline tw::payload trace(const std::vector<float>& values, const tw::spectrum_head& head = {})
{
    return tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, values, head);
}

/// Pixels of 1 or 2 bytes, 0, 1, 2 and so on from `first`.
inline tw::payload image(std::int32_t width, std::int32_t height, std::int32_t bytes_per_pixel, unsigned first = 0)
{
    std::vector<std::uint8_t> pixels;
    for (unsigned i = 0; i < static_cast<unsigned>(width * height); ++i) {
        for (std::int32_t byte = bytes_per_pixel - 1; byte >= 0; --byte) {
            pixels.push_back(static_cast<std::uint8_t>((first + i) >> (8 * byte)));
        }
    }
    trox_image_frame_head head{};
    head.w = width;
    head.h = height;
    head.bpp = bytes_per_pixel;
    return tw::image_payload(head, {pixels.data(), pixels.size()});
}

} // namespace trox_test

#endif
