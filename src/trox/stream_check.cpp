#include "trox/stream_check.h"

#include <algorithm>
#include <array>
#include <zlib.h>

namespace trox::detail
{

using trox_detail::decode_failure;

decode_failure check_zlib_stream(file_window& window, std::uint64_t at, std::uint64_t length,
                                 std::uint64_t announced) noexcept
{
    constexpr std::uint64_t piece = std::uint64_t{64} << 10;
    std::array<unsigned char, std::size_t{32} << 10> nowhere;
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) {
        return decode_failure::none;
    }
    const std::uint64_t end = at + length;
    std::uint64_t produced = 0;
    int result = Z_OK;
    while (result == Z_OK && produced <= announced) {
        if (stream.avail_in == 0 && at < end) {
            const std::uint64_t size = std::min(piece, end - at);
            const unsigned char* bytes = window.fetch(at, size);
            if (bytes == nullptr) {
                break;
            }
            stream.next_in = const_cast<unsigned char*>(bytes); // only read
            stream.avail_in = static_cast<uInt>(size);
            at += size;
        }
        stream.next_out = nowhere.data();
        stream.avail_out = static_cast<uInt>(nowhere.size());
        result = inflate(&stream, Z_NO_FLUSH); // Z_BUF_ERROR once there is nothing more to read
        produced += nowhere.size() - stream.avail_out;
    }
    inflateEnd(&stream);
    if (result == Z_STREAM_END || produced > announced) {
        return produced == announced ? decode_failure::none : decode_failure::stream_size;
    }
    return result == Z_DATA_ERROR || result == Z_NEED_DICT || result == Z_BUF_ERROR ? decode_failure::damaged_stream
                                                                                    : decode_failure::none;
}

} // namespace trox::detail
