// What the channel descriptions of a file tell about its channels.
#ifndef TROX_RECOVER_DESCRIPTIONS_H
#define TROX_RECOVER_DESCRIPTIONS_H

#include "found.h"

#include <optional>
#include <string>
#include <vector>

namespace trox::recovery
{

struct described_channel {
    std::string name{};
    std::uint32_t key = 0; ///< 0: none
    std::uint32_t event_mask = 0;
    std::string server{};
};

/// The channels of a text of descriptions; nothing when it cannot be read.
std::optional<std::vector<described_channel>> described_channels(const std::string& text);

/// Servers and keys for the channels that the dictionary has, and channels that it lacks.
void apply_descriptions(found& file, const std::vector<described_channel>& described);

} // namespace trox::recovery

#endif
