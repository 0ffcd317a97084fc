// Completion for bash: verbs, their options, and the words and files that options take.
#include "../verbs.h"
#include "manual.h"
#include "text.h"

namespace trox_cli
{
namespace
{

constexpr const char* head = R"(# bash completion for trox                                 -*- shell-script -*-

_trox()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} verb=${COMP_WORDS[1]-}
    local options='' words='' files=''
    COMPREPLY=()
    # "=" is a word of its own to bash.
    if [[ $cur == '=' ]]; then
        cur=''
    elif [[ $prev == '=' ]]; then
        prev=${COMP_WORDS[COMP_CWORD-2]}
    fi
    if ((COMP_CWORD == 1)); then
)";

constexpr const char* tail = R"(    esac
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    case $files in
    file)
        compopt -o filenames 2> /dev/null
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$cur")
        ;;
    directory)
        compopt -o filenames 2> /dev/null
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$cur")
        ;;
    esac
}

complete -F _trox trox
)";

/// What sets the script's variables for a value of this argument.
std::string completion_of(const argument_doc& argument)
{
    std::string result;
    const auto words = argument.words();
    if (!words.empty()) {
        result += "words='" + join(words, " ") + "' ";
    }
    if (argument.value.find(directory_value) != std::string::npos) {
        result += "files='directory' ";
    } else if (argument.value.find(file_value) != std::string::npos) {
        result += "files='file' ";
    }
    if (!result.empty()) {
        result.pop_back();
    }
    return result;
}

std::string verb_names()
{
    std::vector<std::string> names;
    for (const verb_entry* const entry : all_verbs()) {
        names.emplace_back(entry->name);
    }
    return join(names, " ");
}

std::string verb_case(const verb_doc& doc)
{
    std::vector<std::string> names;
    std::string values;
    for (const auto& option : doc.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
        if (!option.value.empty()) {
            const std::string completion = completion_of(option);
            values += "        " + join(option.names, " | ") + ") " + (completion.empty() ? ":" : completion) + " ;;\n";
        }
    }
    std::string otherwise;
    for (const auto& positional : doc.positionals) {
        const bool is_verb = positional.value == "VERB";
        otherwise += " " + (is_verb ? "words='" + verb_names() + "'" : completion_of(positional));
    }
    return std::string("    ") + doc.entry->name + ")\n        options='" + join(names, " ") + "'\n" +
           "        case $prev in\n" + values + "        *)" + (otherwise.empty() ? " :" : otherwise) +
           " ;;\n        esac\n        ;;\n";
}

} // namespace

std::string bash_completion()
{
    std::string script = head;
    script += "        mapfile -t COMPREPLY < <(compgen -W '" + verb_names() + " --help --version' -- \"$cur\")\n";
    script += "        return\n    fi\n    case $verb in\n";
    for (const verb_entry* const entry : all_verbs()) {
        script += verb_case(document(*entry));
    }
    return script + tail;
}

} // namespace trox_cli
