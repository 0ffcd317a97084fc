// NumPy's archives of arrays: a ZIP file of .npy members.
#ifndef TROX_EXPORT_NPZ_H
#define TROX_EXPORT_NPZ_H

#include "table.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace trox_export
{

struct npz_setting {
    std::string path{};           ///< of the archive
    std::string scratch{};        ///< directory for the rows of each column, until all are there
    int compression = 0;          ///< 0 to 9
    std::size_t budget = 1 << 20; ///< bytes of rows not yet written, all columns together
    /// Called often while the archive is put together; what it throws comes out of `finish`.
    std::function<void()> check{};
};

std::unique_ptr<table_target> make_npz_target(std::vector<channel_head> channels, npz_setting setting);
std::unique_ptr<table_source> make_npz_source(std::vector<channel_head> channels, const std::string& path);

} // namespace trox_export

#endif
