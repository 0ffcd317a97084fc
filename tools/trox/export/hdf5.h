// HDF5: a group per channel, named as the channel (whose "/" make levels), a dataset per column.
//
// Attributes of a channel's group: name, kind, unit, description, property, server, subsystem; of channels with samples
// axis_start, axis_increment, axis_group_increment and axis_groups as the first record has them (the dataset "axis" has
// them of every event). A name that is no path, that another channel has already, or that lies below another channel's
// (whose datasets are there) becomes "channel_<position in the selection>"; the attribute `name` has it all the same.
#ifndef TROX_EXPORT_HDF5_H
#define TROX_EXPORT_HDF5_H

#include "table.h"

#include <memory>
#include <string>
#include <vector>

namespace trox_export
{

struct hdf5_setting {
    std::string path{};
    int compression = 4;          ///< 0 to 9
    std::size_t budget = 1 << 20; ///< bytes of rows not yet written, all columns together
};

std::unique_ptr<table_target> make_hdf5_target(std::vector<channel_head> channels, hdf5_setting setting);
std::unique_ptr<table_source> make_hdf5_source(std::vector<channel_head> channels, const std::string& path);

} // namespace trox_export

#endif
