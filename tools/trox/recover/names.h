// Which channel a basket or a column belongs to, by the names that its records carry.
#ifndef TROX_RECOVER_NAMES_H
#define TROX_RECOVER_NAMES_H

#include "found.h"
#include "record_check.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace trox::recovery
{

/// True when bytes that could be anything can be a sub-head.
bool looks_like_subhead(const subhead_values& head) noexcept;

class channel_names
{
public:
    channel_names(found& file, record_checker& checker);

    /// The channel of the records that begin at a sub-head, with the data at `data`; `no_index` when there is none, or
    /// more than one that it can be. Where the dictionary is not whole, a channel may be added for it.
    std::uint32_t find(std::uint64_t subhead, std::uint64_t data);

    /// Gives a channel whose dictionary entry cannot be read the name that its records carry; false when they carry
    /// none, or that of another channel.
    bool name_channel(std::uint32_t nameless, std::uint64_t subhead, std::uint64_t data);

    /// Corrects the name of a dictionary entry when the first records of its column, two at least, all carry another,
    /// one that no channel of the dictionary has; of one record that is believed when the descriptions have its name.
    /// A name that is described is only given up for one that is, too. The environment index likewise, by what all
    /// records carry. The count of a corrected entry is not to be trusted.
    void correct(std::uint32_t listed, const std::vector<row_values>& rows);

private:
    void correct_index(std::uint32_t listed, const std::vector<row_values>& rows);
    void take_over(std::uint32_t listed, std::uint32_t described);
    struct carried_names {
        std::string subhead{};
        std::string full{}; ///< in the value of a slow record, when it fits the one in the sub-head
        text_field value{}; ///< whether it fits or not
    };
    std::optional<carried_names> read_names(std::uint64_t subhead, std::uint64_t data);
    std::uint32_t find_described(const std::string& short_name, const std::string& full_name) const;
    void rename(std::uint32_t listed, const std::string& short_name, const std::string& full_name,
                std::uint32_t described);

    found& file_;
    record_checker& checker_;
    std::unordered_map<std::string, std::vector<std::uint32_t>> by_subhead_;
};

} // namespace trox::recovery

#endif
