// What each generation provides for reading one of its files.
#ifndef TROX_TROX_TYPED_FILE_H
#define TROX_TROX_TYPED_FILE_H

#include "trox/data_file.h"

#include <memory>
#include <string>
#include <vector>

namespace trox_detail
{
struct generation_legacy;
struct generation_2010;
struct generation_2024;
} // namespace trox_detail

namespace trox::detail
{

template <class Generation> struct format_of;
template <> struct format_of<trox_detail::generation_legacy> {
    static constexpr generation value = generation::legacy;
};
template <> struct format_of<trox_detail::generation_2010> {
    static constexpr generation value = generation::v2010;
};
template <> struct format_of<trox_detail::generation_2024> {
    static constexpr generation value = generation::v2024;
};

template <class Generation> struct typed_file {
    static constexpr generation format = format_of<Generation>::value;
    static file_contents contents(const std::string& path);
    static std::shared_ptr<const file_rows> rows(const std::string& path, const file_identity& identity,
                                                 const std::vector<std::string>& channels);
};

} // namespace trox::detail

#endif
