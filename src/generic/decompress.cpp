#include "generic/decompress.h"
#include "generation/messages_channel.h"
#include "generic/print.h"

#include <memory>
#include <zlib.h>

#ifdef TROX_WITH_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef TROX_WITH_LZO
#include <lzo/lzo1x.h>
#endif

namespace trox_detail
{

bool has_lzo() noexcept
{
#ifdef TROX_WITH_LZO
    return true;
#else
    return false;
#endif
}

bool can_expand_to(std::uint64_t zipped, std::uint64_t original, bool lzo) noexcept
{
    constexpr std::uint64_t zlib_ratio = 1032;
    constexpr std::uint64_t lzo_ratio = 256;
    constexpr std::uint64_t allowance = 64;
    return original <= zipped * (lzo ? lzo_ratio : zlib_ratio) + allowance; // both are 32-bit counts
}

namespace
{

/// Decompresses with libdeflate; false leaves the verdict to zlib.
bool try_libdeflate([[maybe_unused]] const unsigned char* in, [[maybe_unused]] int length,
                    [[maybe_unused]] unsigned char* out, [[maybe_unused]] int* out_length)
{
#ifdef TROX_WITH_LIBDEFLATE
    struct release {
        void operator()(libdeflate_decompressor* decompressor) const
        {
            libdeflate_free_decompressor(decompressor);
        }
    };
    // One per thread: making one costs more than decompressing a small record.
    thread_local const std::unique_ptr<libdeflate_decompressor, release> decompressor(libdeflate_alloc_decompressor());
    std::size_t produced = 0;
    if (decompressor == nullptr ||
        libdeflate_zlib_decompress(decompressor.get(), in, static_cast<std::size_t>(length), out,
                                   static_cast<std::size_t>(*out_length), &produced) != LIBDEFLATE_SUCCESS) {
        return false;
    }
    *out_length = static_cast<int>(produced);
    return true;
#else
    return false;
#endif
}

} // namespace

} // namespace trox_detail

using trox_detail::common_channel_message;
using trox_detail::common_channel_texts;
using trox_detail::print;

int make_zlib(unsigned char* in, int length, unsigned char* out, int* out_length)
{
    if (in == nullptr || out == nullptr || out_length == nullptr || length <= 0 || *out_length <= 0) {
        print<common_channel_texts, common_channel_message::zlib_invalid_parameter>();
        return 1;
    }
    if (trox_detail::try_libdeflate(in, length, out, out_length)) {
        return 0;
    }
    z_stream stream{};
    stream.next_in = in;
    stream.avail_in = static_cast<uInt>(length);
    stream.next_out = out;
    stream.avail_out = static_cast<uInt>(*out_length);
    if (const int error = inflateInit(&stream); error != Z_OK) {
        print<common_channel_texts, common_channel_message::zlib_init_failed>(error);
        return 1;
    }
    const int result = inflate(&stream, Z_FINISH);
    const auto produced = static_cast<int>(stream.total_out);
    inflateEnd(&stream);
    if (result != Z_STREAM_END) {
        print<common_channel_texts, common_channel_message::zlib_failed>(result);
        return 1;
    }
    *out_length = produced;
    return 0;
}

int make_lzo([[maybe_unused]] unsigned char* in, [[maybe_unused]] int length, [[maybe_unused]] unsigned char* out,
             int* out_length, unsigned char* work)
{
    if (in == nullptr || out == nullptr || out_length == nullptr || work == nullptr || length <= 0 ||
        *out_length <= 0) {
        print<common_channel_texts, common_channel_message::lzo_invalid_parameter>();
        return 1;
    }
#ifdef TROX_WITH_LZO
    static const int init_error = lzo_init();
    if (init_error != LZO_E_OK) {
        print<common_channel_texts, common_channel_message::lzo_init_failed>();
        print<common_channel_texts, common_channel_message::lzo_init_hint>();
        return 1;
    }
    auto produced = static_cast<lzo_uint>(*out_length);
    // The checking decompressor: damage must not write past the output.
    const int error =
        lzo1x_decompress_safe(in, static_cast<lzo_uint>(length), out, &produced, static_cast<lzo_voidp>(work));
    if (error != LZO_E_OK) {
        print<common_channel_texts, common_channel_message::lzo_failed>(error);
        return 1;
    }
    *out_length = static_cast<int>(produced);
    return 0;
#else
    return 1;
#endif
}
