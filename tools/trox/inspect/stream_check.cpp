#include "stream_check.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <zlib.h>

#ifdef TROX_WITH_LZO
#include <lzo/lzo1x.h>
#endif

namespace trox::inspect
{

namespace
{

constexpr std::size_t window = std::size_t{256} << 10;

void keep_head(const std::vector<unsigned char>& out, std::uint64_t before, std::size_t produced, payload_head& head)
{
    if (before < head.size()) {
        const auto count = std::min<std::size_t>(head.size() - static_cast<std::size_t>(before), produced);
        std::memcpy(head.data() + before, out.data(), count);
    }
}

stream_verdict compare(std::uint64_t produced, std::uint64_t announced)
{
    if (produced == announced) {
        return stream_verdict::good;
    }
    return produced < announced ? stream_verdict::too_short : stream_verdict::too_long;
}

/// Room in a buffer, without the growth that std::vector would add.
void make_room(std::vector<unsigned char>& buffer, std::size_t size)
{
    if (buffer.size() < size) {
        std::vector<unsigned char>(size).swap(buffer);
    }
}

} // namespace

/// A zlib state that is used again and again.
struct stream_checker::inflater {
    z_stream stream{};
    bool is_good = false;

    inflater() : is_good(inflateInit(&stream) == Z_OK) {}
    inflater(const inflater&) = delete;
    inflater& operator=(const inflater&) = delete;
    ~inflater()
    {
        inflateEnd(&stream);
    }
};

stream_checker::stream_checker(const input_file& file, std::uint64_t largest) : file_(file), largest_(largest) {}

stream_checker::~stream_checker() = default;

stream_verdict stream_checker::check_zlib(const zipped_payload& payload, payload_head& head)
{
    if (inflater_ == nullptr) {
        inflater_ = std::make_unique<inflater>();
    }
    make_room(in_, window);
    make_room(out_, window);
    z_stream& stream = inflater_->stream;
    if (!inflater_->is_good || inflateReset(&stream) != Z_OK) {
        return stream_verdict::unchecked;
    }
    stream.avail_in = 0;
    std::uint64_t read = 0;
    std::uint64_t produced = 0;
    while (true) {
        if (stream.avail_in == 0 && read < payload.zipped) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(window, payload.zipped - read));
            if (!file_.read(payload.position + read, in_.data(), count)) {
                return stream_verdict::broken;
            }
            stream.next_in = in_.data();
            stream.avail_in = static_cast<uInt>(count);
            read += count;
        }
        stream.next_out = out_.data();
        stream.avail_out = static_cast<uInt>(window);
        const int result = inflate(&stream, Z_NO_FLUSH);
        const std::size_t count = window - stream.avail_out;
        keep_head(out_, produced, count, head);
        produced += count;
        if (produced > payload.original) {
            return stream_verdict::too_long; // however much more there is
        }
        if (result == Z_STREAM_END) {
            return compare(produced, payload.original);
        }
        if (result != Z_OK) { // damage, or no progress: the bytes are used up before the stream ends
            return stream_verdict::broken;
        }
    }
}

stream_verdict stream_checker::check_lzo([[maybe_unused]] const zipped_payload& payload,
                                         [[maybe_unused]] payload_head& head)
{
#ifdef TROX_WITH_LZO
    static const bool is_ready = lzo_init() == LZO_E_OK;
    if (!is_ready || payload.original > largest_ || payload.zipped > largest_) {
        return stream_verdict::unchecked;
    }
    try {
        make_room(in_, payload.zipped);
        make_room(out_, payload.original);
    } catch (const std::bad_alloc&) {
        return stream_verdict::unchecked;
    }
    if (!file_.read(payload.position, in_.data(), payload.zipped)) {
        return stream_verdict::broken;
    }
    lzo_uint produced = payload.original;
    const int result = lzo1x_decompress_safe(in_.data(), payload.zipped, out_.data(), &produced, nullptr);
    if (result == LZO_E_OUTPUT_OVERRUN) {
        return stream_verdict::too_long;
    }
    keep_head(out_, 0, produced, head);
    return result == LZO_E_OK ? compare(produced, payload.original) : stream_verdict::broken;
#else
    return stream_verdict::unchecked;
#endif
}

} // namespace trox::inspect
