// Where records wait until the file is put together: many byte streams in one nameless file.
#ifndef TROX_WRITER_SPOOL_H
#define TROX_WRITER_SPOOL_H

#include "file_io.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trox::writer
{

/// Streams share one arena; when it is full, each stream's part goes to the file as one extent. So memory
/// and descriptors do not grow with the number of streams, and a stream is read back in long runs.
class spool
{
public:
    /// `name` stands in error texts.
    spool(const std::string& directory, std::string name, std::size_t arena_bytes);

    /// Adds a stream; its number is the count of streams before.
    std::size_t add_stream();

    /// Appends to a stream; all of it or, on an error, an unusable spool.
    void append(std::size_t stream, const void* data, std::size_t size);

    std::uint64_t size(std::size_t stream) const noexcept
    {
        return streams_[stream].size;
    }

    /// Writes out what is in memory; reading needs this first, appending may go on.
    void flush();

    void read(std::size_t stream, std::uint64_t offset, void* destination, std::size_t size) const;
    void copy(std::size_t stream, std::uint64_t offset, std::uint64_t size, buffered_output& to) const;

private:
    struct extent {
        std::uint64_t offset;   // in the stream
        std::uint64_t position; // in the file
        std::uint64_t size;
    };
    struct stream_data {
        std::uint64_t size = 0;
        std::vector<extent> extents;
    };
    struct piece {
        std::size_t stream;
        std::size_t offset; // in the arena
        std::size_t size;
    };

    void add_extent(stream_data& to, std::uint64_t position, std::uint64_t size);
    template <class Use>
    void for_each_extent(std::size_t stream, std::uint64_t offset, std::uint64_t size, Use use) const;

    std::string name_;
    descriptor fd_;
    buffered_output out_;
    std::size_t arena_bytes_;
    std::vector<unsigned char> arena_;
    std::vector<piece> pieces_;
    std::vector<stream_data> streams_;
};

} // namespace trox::writer

#endif
