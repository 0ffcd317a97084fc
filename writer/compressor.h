// The compressors of records, with their work memory kept from record to record.
#ifndef TROX_WRITER_COMPRESSOR_H
#define TROX_WRITER_COMPRESSOR_H

#include "trox_writer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace trox::writer
{

class compressor
{
public:
    compressor();
    ~compressor();

    /// Compresses `size` bytes (more than 0) into `to`, which is resized to fit; returns the zip flags. Throws
    /// error(unsupported) without LZO. Not for storage::plain.
    std::uint32_t compress(storage how, const unsigned char* from, std::size_t size, std::vector<unsigned char>& to);

private:
    void deflate(const unsigned char* from, std::size_t size, std::vector<unsigned char>& to);
    void compress_lzo(const unsigned char* from, std::size_t size, std::vector<unsigned char>& to);

    struct zlib_stream;
    std::unique_ptr<zlib_stream> zlib_;
    std::vector<unsigned char> lzo_work_;
};

} // namespace trox::writer

#endif
