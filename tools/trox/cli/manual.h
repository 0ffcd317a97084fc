// The manual, made of what verbs declare: help, man pages, completion.
#ifndef TROX_CLI_MANUAL_H
#define TROX_CLI_MANUAL_H

#include "../verb.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <vector>

namespace trox_cli
{

/// An option or a positional argument.
struct argument_doc {
    std::vector<std::string> names{}; ///< "-o", "--output"; none for a positional argument
    std::string value{};              ///< "FILE", "table|json"; empty without one
    bool is_value_optional = false;   ///< "--by-time[=TOLERANCE]"
    bool is_required = false;
    bool is_repeated = false;
    std::string group{};
    std::string description{};

    /// "-o, --output FILE".
    std::string heading() const;
    /// The words that the value may be; empty when it may be anything.
    std::vector<std::string> words() const;
};

struct verb_doc {
    const verb_entry* entry = nullptr;
    std::string usage{}; ///< "trox list [OPTION]... [FILE]..."
    std::vector<argument_doc> positionals{};
    std::vector<argument_doc> options{};

    /// The groups of the options, each once, as they come.
    std::vector<std::string> groups() const;
};
verb_doc document(const verb_entry& entry);

/// Exit codes and their meaning, environment variables and their effect.
struct meaning {
    const char* word;
    const char* text;
};
const std::vector<meaning>& exit_code_meanings();
const std::vector<meaning>& environment_meanings();

/// Help in lines of at most `width` columns: of the program, and of a verb.
std::string help_text(std::size_t width);
std::string help_text(const verb_entry& entry, std::size_t width);
/// Pages for man(1): trox(1), and trox-VERB(1).
std::string man_page();
std::string man_page(const verb_entry& entry);
/// A script for bash.
std::string bash_completion();

} // namespace trox_cli

#endif
