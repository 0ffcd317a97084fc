// A data file as the table readers see it: a length that nothing may pass, and reads at a position.
#ifndef TROX_EVUTL_FILE_VIEW_H
#define TROX_EVUTL_FILE_VIEW_H

#include <cstddef>
#include <cstdint>

namespace trox_evutl
{

/// Borrows an open descriptor; its own position is neither used nor moved.
struct file_view {
    std::uint64_t length;
    int descriptor;

    /// Reads exactly `size` bytes at `position`: a trox_evutl_status. A range that passes the file's length is
    /// TROX_EVUTL_DOES_NOT_FIT and reads nothing; a file that ends early is a read error with errno EIO.
    int read(std::uint64_t position, void* destination, std::size_t size) const noexcept;
};

} // namespace trox_evutl

#endif
