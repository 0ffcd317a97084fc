// A data file as the inspecting tools see it: bytes at positions, read in windows and never as a whole.
#ifndef TROX_INSPECT_INPUT_FILE_H
#define TROX_INSPECT_INPUT_FILE_H

#include "fields.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox::inspect
{

/// An open file whose length is taken once: one that grows meanwhile is seen as it was. Any thread may read.
class input_file
{
public:
    /// Opens a regular file; std::system_error when that fails.
    explicit input_file(const std::string& path);
    ~input_file();
    input_file(const input_file&) = delete;
    input_file& operator=(const input_file&) = delete;

    const std::string& path() const noexcept
    {
        return path_;
    }
    std::uint64_t size() const noexcept
    {
        return size_;
    }

    /// Reads all of [position, position + count); false, with `destination` unspecified, when the range is not inside
    /// the file or the system cannot read it.
    bool read(std::uint64_t position, void* destination, std::size_t count) const noexcept;

    /// The record at a position, in host order; nothing where it does not lie inside the file.
    template <class Record> std::optional<Record> load(std::uint64_t position) const noexcept
    {
        unsigned char bytes[sizeof(Record)];
        if (!read(position, bytes, sizeof bytes)) {
            return std::nullopt;
        }
        return load_fields<Record>(bytes);
    }

    /// True when a range inside the file could not be read.
    bool has_failed() const noexcept
    {
        return failed_.load(std::memory_order_relaxed);
    }

private:
    std::string path_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
    mutable std::atomic<bool> failed_{false};
};

/// Looks at a file through a window that moves along: for reading tables from the front to the back. One thread.
class file_window
{
public:
    explicit file_window(const input_file& file)
        : file_(file), bytes_(static_cast<std::size_t>(std::min<std::uint64_t>(capacity, file.size())))
    {
    }

    /// `count` bytes (at most `capacity`) at a position, valid until the next call; null as for input_file::read.
    const unsigned char* at(std::uint64_t position, std::size_t count) noexcept;

    template <class Record> std::optional<Record> load(std::uint64_t position) noexcept
    {
        static_assert(sizeof(Record) <= capacity);
        const unsigned char* bytes = at(position, sizeof(Record));
        return bytes == nullptr ? std::nullopt : std::optional<Record>(load_fields<Record>(bytes));
    }

    static constexpr std::size_t capacity = std::size_t{256} << 10;

private:
    const input_file& file_;
    std::vector<unsigned char> bytes_;
    std::uint64_t begin_ = 0;
    std::size_t filled_ = 0;
};

} // namespace trox::inspect

#endif
