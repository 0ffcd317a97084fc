// What writer and reader of HDF5 files agree upon.
#ifndef TROX_EXPORT_HDF5_NAMES_H
#define TROX_EXPORT_HDF5_NAMES_H

#include "consumer.h"

#include <string>
#include <vector>

namespace trox_export
{

inline constexpr const char* hdf5_format_name = "events of a data-acquisition system";
inline constexpr int hdf5_format_version = 1;

/// Paths of the channels' groups, each another one, and none below another's: there are that one's datasets. A channel
/// whose own name cannot be used has "channel_<position>".
std::vector<std::string> hdf5_group_paths(const std::vector<channel_head>& channels);

} // namespace trox_export

#endif
