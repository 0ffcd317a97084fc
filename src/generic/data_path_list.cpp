#include "generic/data_path_list.h"

#include <array>
#include <cstdlib>
#include <unistd.h>

namespace trox_detail
{

namespace
{

constexpr std::size_t host_name_size = 1024;

struct site {
    std::string_view host_part;
    std::string_view directories;
};

// USR1 stands twice at the first site on purpose: programs compare this list with their own.
constexpr std::array sites{
    site{"vorn", "/space/POOL:/daq_data/vorn/LINAC:/daq_data/vorn/LLRF:/daq_data/vorn/EXT:/daq_data/vorn/SIM:"
                 "/daq_data/vorn/USR1:/daq_data/vorn/USR1:/daq_data/vorn/LASER:/daq_data/vorn/SYNC1:"
                 "/daq_data/vorn/TEST1"},
    site{"kimb", "/space/POOL:/daq_data/kimb"},
    site{"dral", "/space/POOL:/daq_data/dral"},
};

} // namespace

std::string built_in_data_path_list()
{
    return "/space/POOL:/daq_data/vorn/LINAC:/daq_data/vorn/LLRF:/daq_data/vorn/EXT:/daq_data/vorn/SIM:"
           "/daq_data/vorn/USR1:/daq_data/vorn/LASER:/daq_data/vorn/SYNC1:/daq_data/vorn/TEST1:"
           "/daq_data/kimb/LINAC:/daq_data/kimb/EXT:/daq_data/kimb/USR1:"
           "/daq_data/dral/LINAC:/daq_data/dral/EXT:/daq_data/dral/USR1";
}

std::string data_path_list_of_host(std::string_view host)
{
    for (const site& known : sites) {
        if (host.find(known.host_part) != std::string_view::npos) {
            return std::string(known.directories);
        }
    }
    return built_in_data_path_list();
}

std::string data_path_list_of_this_host()
{
    std::array<char, host_name_size> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) {
        return built_in_data_path_list();
    }
    return data_path_list_of_host(name.data());
}

std::string data_path_list_or(std::string (*make_default)())
{
    const char* list = std::getenv("TROX_DAQ_DATA_PATH_LIST");
    return list != nullptr ? list : make_default();
}

} // namespace trox_detail
