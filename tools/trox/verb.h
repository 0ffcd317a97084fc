// A verb of the command line: what it is called, what it takes, what it does.
//
// To add one: write verbs/<name>.cpp with a class derived from `verb` and a `const verb_entry <name>_entry`, and name
// the entry in verbs.h and verbs.cpp. Help, man page and completion follow from the entry and from what `declare`
// declares.
#ifndef TROX_CLI_VERB_H
#define TROX_CLI_VERB_H

#include "cli/context.h"
#include "cli/options.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

namespace trox_cli
{

/// One run of a verb: its options, and the work.
class verb
{
public:
    virtual ~verb() = default;
    /// Declares options and positional arguments. `common` lives as long as this object.
    virtual void declare(CLI::App& app, common_options& common) = 0;
    /// Does the work, after the command line was read. Answers exit_code::done where nothing went wrong that the
    /// context has not been told of. Throws failure, trox::error, or any std::exception.
    virtual exit_code run(context& context) = 0;
};

struct example {
    const char* command;
    const char* effect;
};

struct verb_entry {
    const char* name;
    const char* summary;     ///< one line without a full stop
    const char* description; ///< paragraphs, an empty line between them
    std::vector<example> examples;
    std::unique_ptr<verb> (*make)();
};

} // namespace trox_cli

#endif
