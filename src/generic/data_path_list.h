// The directories that data files are searched in when the environment names none.
#ifndef TROX_GENERIC_DATA_PATH_LIST_H
#define TROX_GENERIC_DATA_PATH_LIST_H

#include <string>
#include <string_view>

namespace trox_detail
{

/// Directories, separated by ":", for a host that is not known.
std::string built_in_data_path_list();

/// Directories for a host, by its facility's name; the built-in list for any other host.
std::string data_path_list_of_host(std::string_view host);

/// The same for this computer; the built-in list when it does not tell its name.
std::string data_path_list_of_this_host();

/// The environment's TROX_DAQ_DATA_PATH_LIST, else the list that `make_default` gives.
std::string data_path_list_or(std::string (*make_default)());

} // namespace trox_detail

#endif
