// Events as text, so that tests compare whole events and a failure shows what differs.
#ifndef TROX_TESTS_LAYER_EVENT_TEXTS_H
#define TROX_TESTS_LAYER_EVENT_TEXTS_H

#include "trox/trox.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace layer_test
{

/// FNV-1a of some bytes: two payloads of a test are told apart by it.
inline std::string sum_of(const void* data, std::size_t size)
{
    std::uint64_t sum = 0xCBF29CE484222325U;
    for (const char byte : std::string_view(static_cast<const char*>(data), size)) {
        sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
    }
    return std::to_string(sum % 1000000007U);
}

inline std::string time_text(std::uint64_t seconds, std::uint64_t us)
{
    return std::to_string(seconds * 1000000 + us);
}

/// One record in its event: both readers of a test give this form.
struct record_text {
    std::string channel;
    std::uint64_t number = 0;
    std::string time;
    bool updated = false;
    int block_type = 0;
    std::uint32_t error = 0;
    std::string sum;

    std::string text() const
    {
        return " | " + channel + " " + std::to_string(number) + " @" + time + (updated ? " new" : " kept") + " type " +
               std::to_string(block_type) + " error " + std::to_string(error) + " sum " + sum;
    }
};

inline std::string text_of(const trox::record& record, const std::string& channel)
{
    const auto payload = record.payload();
    return record_text{channel,
                       record.event_number(),
                       std::to_string(record.time().time_since_epoch().count()),
                       record.is_updated(),
                       record.block_type(),
                       record.errors(),
                       sum_of(payload.data(), payload.size())}
        .text();
}

/// Number, time and all records of an event.
inline std::string text_of(const trox::event& event, const trox::event_reader& reader)
{
    std::string text = std::to_string(event.number()) + " @" + std::to_string(event.time().time_since_epoch().count());
    for (std::size_t i = 0; i < event.records().size(); ++i) {
        if (event[i]) {
            text += text_of(event[i], reader.data().channels()[reader.channels()[i]].name);
        }
    }
    return text;
}

/// All events, forward.
inline std::vector<std::string> texts_of(trox::event_reader& reader)
{
    std::vector<std::string> texts;
    for (const trox::event& event : reader) {
        texts.push_back(text_of(event, reader));
    }
    return texts;
}

/// Exact names, in order.
inline std::vector<trox::channel_pattern> named(const std::vector<std::string>& names)
{
    std::vector<trox::channel_pattern> patterns;
    for (const std::string& name : names) {
        patterns.push_back({name, trox::channel_pattern::syntax::name});
    }
    return patterns;
}

/// Where two lists begin to differ; empty when they are equal.
inline std::string first_difference(const std::vector<std::string>& expected, const std::vector<std::string>& found)
{
    for (std::size_t i = 0; i < expected.size() || i < found.size(); ++i) {
        const std::string a = i < expected.size() ? expected[i] : "nothing";
        const std::string b = i < found.size() ? found[i] : "nothing";
        if (a != b) {
            return "line " + std::to_string(i) + " of " + std::to_string(expected.size()) + " (found " +
                   std::to_string(found.size()) + ")\n  expected " + a + "\n  found    " + b;
        }
    }
    return {};
}

} // namespace layer_test

#endif
