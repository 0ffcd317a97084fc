// Bodies for one data file, generic over the generation; included by the source of each.
#ifndef TROX_TROX_DATA_FILE_INL
#define TROX_TROX_DATA_FILE_INL

#include "trox/file_rows.inl"

namespace trox::detail
{

template <class G>
std::shared_ptr<const file_rows> typed_file<G>::rows(const std::string& path, const file_identity& identity,
                                                     const std::vector<std::string>& channels)
{
    return std::make_shared<typed_rows<G>>(path, identity, channels);
}

} // namespace trox::detail

#endif
