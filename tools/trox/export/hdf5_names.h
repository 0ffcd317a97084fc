// What writer and reader of HDF5 files agree upon.
#ifndef TROX_EXPORT_HDF5_NAMES_H
#define TROX_EXPORT_HDF5_NAMES_H

#include <cstddef>
#include <string>

namespace trox_export
{

inline constexpr const char* hdf5_format_name = "events of a data-acquisition system";
inline constexpr int hdf5_format_version = 1;

/// Of a channel whose own name cannot be used.
inline std::string hdf5_spare_group_name(std::size_t channel)
{
    return "channel_" + std::to_string(channel);
}

} // namespace trox_export

#endif
