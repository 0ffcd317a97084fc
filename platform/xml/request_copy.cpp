#include "trox_xml.h"

#include <exception>

namespace
{

template <class Request> bool copy_request(const Request* source, Request* destination) noexcept
{
    if (source == nullptr || destination == nullptr) {
        return true;
    }
    try {
        *destination = *source;
    } catch (const std::exception&) { // no memory for the directories
        return true;
    }
    return false;
}

} // namespace

bool trox_copy_daq_request(const trox_daq_request* source, trox_daq_request* destination)
{
    return copy_request(source, destination);
}

bool trox_copy_daq_request_2024(const trox_daq_request_2024* source, trox_daq_request_2024* destination)
{
    return copy_request(source, destination);
}
