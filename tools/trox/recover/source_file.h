// The damaged file: reads at positions through a small cache, never past the end.
#ifndef TROX_RECOVER_SOURCE_FILE_H
#define TROX_RECOVER_SOURCE_FILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace trox::recovery
{

/// A regular file, open for reading. Memory does not grow with the file. One thread at a time.
class source_file
{
public:
    /// Throws std::system_error when the file cannot be opened, or is none.
    explicit source_file(const std::string& path);
    source_file(const source_file&) = delete;
    source_file& operator=(const source_file&) = delete;
    ~source_file();

    const std::string& path() const noexcept
    {
        return path_;
    }
    std::uint64_t length() const noexcept
    {
        return length_;
    }
    /// Bytes from a position to the end; 0 behind it.
    std::uint64_t rest(std::uint64_t position) const noexcept
    {
        return position < length_ ? length_ - position : 0;
    }
    /// True when `other` is this very file.
    bool is_same_file(const struct stat& other) const noexcept;

    /// Copies [position, position + size) to `destination`; false when some of it is outside the file or unreadable.
    bool read(std::uint64_t position, void* destination, std::size_t size);

private:
    static constexpr std::size_t window_size = std::size_t{64} << 10;
    static constexpr std::size_t window_count = 64;
    struct window {
        std::uint64_t number = ~std::uint64_t{0};
        std::size_t size = 0;
        std::vector<unsigned char> bytes{};
    };

    const window* load(std::uint64_t number);
    bool read_through(std::uint64_t position, unsigned char* destination, std::size_t size) const;

    std::string path_;
    int fd_ = -1;
    std::uint64_t length_ = 0;
    std::array<window, window_count> windows_{};
};

/// Walks over the bytes of a range, one window at a time.
class byte_stream
{
public:
    byte_stream(source_file& file, std::uint64_t begin, std::uint64_t end);
    /// The next piece; empty at the end. Pieces that cannot be read come as zeros.
    const std::vector<unsigned char>& next();
    /// File position of the piece that `next` gave last.
    std::uint64_t position() const noexcept
    {
        return position_;
    }

private:
    source_file& file_;
    std::uint64_t next_;
    std::uint64_t end_;
    std::uint64_t position_;
    std::vector<unsigned char> bytes_;
};

} // namespace trox::recovery

#endif
