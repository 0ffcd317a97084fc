#include "generic/print.h"

#include <utility>

namespace trox_detail
{

namespace
{

thread_local bool silenced = false;

} // namespace

bool messages_are_silenced() noexcept
{
    return silenced;
}

message_silencer::message_silencer() noexcept : before_(std::exchange(silenced, true)) {}

message_silencer::~message_silencer()
{
    silenced = before_;
}

} // namespace trox_detail
