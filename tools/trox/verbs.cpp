#include "verbs.h"

#include "cli/errors.h"
#include "cli/text.h"

#include <algorithm>

namespace trox_cli
{

const std::vector<const verb_entry*>& all_verbs()
{
    // One a line, so that additions do not meet.
    // clang-format off
    static const std::vector<const verb_entry*> verbs{
        &info_entry,
        &list_entry,
        &find_entry,
        &show_entry,
        &stat_entry,
        &cover_entry,
        &sync_entry,
        &dump_entry,
        &doctor_entry,
        &recover_entry,
        &plot_entry,
        &export_entry,
        &make_entry,
        &help_entry,
        &man_entry,
        &completion_entry,
    };
    // clang-format on
    return verbs;
}

const verb_entry* find_verb(std::string_view name)
{
    const auto& verbs = all_verbs();
    const auto found = std::find_if(verbs.begin(), verbs.end(), [&](const auto* entry) { return name == entry->name; });
    return found == verbs.end() ? nullptr : *found;
}

const verb_entry& require_verb(const std::string& name)
{
    if (const verb_entry* const entry = find_verb(name)) {
        return *entry;
    }
    std::vector<std::string> names;
    for (const verb_entry* const entry : all_verbs()) {
        names.emplace_back(entry->name);
    }
    const std::string meant = did_you_mean(similar_words(name, names));
    throw wrong_use("there is no verb \"" + name + "\"", meant.empty() ? "\"trox help\" lists them" : meant);
}

} // namespace trox_cli
