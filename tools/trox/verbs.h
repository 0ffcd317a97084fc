// All verbs.
#ifndef TROX_CLI_VERBS_H
#define TROX_CLI_VERBS_H

#include "verb.h"

#include <string_view>
#include <vector>

namespace trox_cli
{

extern const verb_entry completion_entry;
extern const verb_entry cover_entry;
extern const verb_entry doctor_entry;
extern const verb_entry dump_entry;
extern const verb_entry export_entry;
extern const verb_entry find_entry;
extern const verb_entry help_entry;
extern const verb_entry info_entry;
extern const verb_entry list_entry;
extern const verb_entry make_entry;
extern const verb_entry man_entry;
extern const verb_entry recover_entry;
extern const verb_entry plot_entry;
extern const verb_entry show_entry;
extern const verb_entry stat_entry;
extern const verb_entry sync_entry;

/// In the order in which help lists them.
const std::vector<const verb_entry*>& all_verbs();
/// Null for a name that no verb has.
const verb_entry* find_verb(std::string_view name);
/// Throws wrong_use with the verbs that may have been meant.
const verb_entry& require_verb(const std::string& name);

} // namespace trox_cli

#endif
