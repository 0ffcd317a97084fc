#include "trox/error.h"

namespace trox
{

namespace
{

std::string with_place(const std::string& reason, const place& where)
{
    std::string text = where.file;
    const auto add = [&text](const std::string& part) { text += text.empty() ? part : ", " + part; };
    if (!where.channel.empty()) {
        add("channel " + where.channel);
    }
    if (where.event) {
        add("event " + std::to_string(*where.event));
    }
    if (where.offset) {
        add("offset " + std::to_string(*where.offset));
    }
    return text.empty() ? reason : text + ": " + reason;
}

} // namespace

error::error(fault why, const std::string& reason, place where)
    : std::runtime_error(with_place(reason, where)), why_(why), where_(std::move(where)), reason_(reason)
{
}

} // namespace trox
