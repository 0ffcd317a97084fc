#include "compressor.h"

#include <zlib.h>
#if TROX_WITH_LZO
#include <lzo/lzo1x.h>
#endif

namespace trox::writer
{

struct compressor::zlib_stream {
    zlib_stream()
    {
        if (deflateInit(&z, Z_DEFAULT_COMPRESSION) != Z_OK) {
            throw error(fault::input_output, "zlib cannot be initialised");
        }
    }
    zlib_stream(const zlib_stream&) = delete;
    zlib_stream& operator=(const zlib_stream&) = delete;
    ~zlib_stream()
    {
        deflateEnd(&z);
    }
    z_stream z{};
};

bool has_lzo() noexcept
{
#if TROX_WITH_LZO
    return true;
#else
    return false;
#endif
}

compressor::compressor() = default;
compressor::~compressor() = default;

std::uint32_t compressor::compress(storage how, const unsigned char* from, std::size_t size,
                                   std::vector<unsigned char>& to)
{
    if (how == storage::lzo) {
        compress_lzo(from, size, to);
        return trox_zip_lzo;
    }
    deflate(from, size, to);
    return trox_zip_zlib;
}

void compressor::deflate(const unsigned char* from, std::size_t size, std::vector<unsigned char>& to)
{
    if (!zlib_) {
        zlib_ = std::make_unique<zlib_stream>();
    }
    auto& z = zlib_->z;
    deflateReset(&z);
    to.resize(deflateBound(&z, size));
    z.next_in = const_cast<Bytef*>(from); // zlib's interface is older than const; it only reads
    z.avail_in = static_cast<uInt>(size);
    z.next_out = to.data();
    z.avail_out = static_cast<uInt>(to.size());
    if (::deflate(&z, Z_FINISH) != Z_STREAM_END) {
        throw error(fault::input_output, "zlib cannot compress a record");
    }
    to.resize(z.total_out);
}

#if TROX_WITH_LZO
void compressor::compress_lzo(const unsigned char* from, std::size_t size, std::vector<unsigned char>& to)
{
    if (lzo_work_.empty()) {
        if (lzo_init() != LZO_E_OK) {
            throw error(fault::input_output, "LZO cannot be initialised");
        }
        lzo_work_.resize(LZO1X_1_MEM_COMPRESS);
    }
    constexpr std::size_t worst_fixed_growth = 64 + 3;
    constexpr std::size_t worst_relative_growth = 16;
    to.resize(size + size / worst_relative_growth + worst_fixed_growth);
    lzo_uint length = to.size();
    if (lzo1x_1_compress(from, size, to.data(), &length, lzo_work_.data()) != LZO_E_OK) {
        throw error(fault::input_output, "LZO cannot compress a record");
    }
    to.resize(length);
}
#else
void compressor::compress_lzo(const unsigned char*, std::size_t, std::vector<unsigned char>&)
{
    throw error(fault::unsupported, "this build writes no LZO records");
}
#endif

} // namespace trox::writer
