#include "program.h"

#include "../verbs.h"
#include "context.h"
#include "errors.h"
#include "manual.h"
#include "text.h"
#include "trox/error.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <new>

namespace trox_cli
{
namespace
{

/// The first argument that must be given and is not, as help names it.
std::string missing_argument(const CLI::App& app)
{
    for (const CLI::Option* const option : app.get_options()) {
        if (option->get_required() && option->count() == 0) {
            return option->get_positional() ? option->get_type_name() + " (" + option->get_description() + ")"
                                            : option->get_name();
        }
    }
    return "an argument";
}

/// "--option=" would count as the option without a value.
void refuse_empty_values(const std::vector<std::string>& arguments, const std::string& hint)
{
    for (const std::string& argument : arguments) {
        if (argument == "--") {
            return;
        }
        if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) {
            throw wrong_use(argument.substr(0, argument.size() - 1) + ": a value is missing", hint);
        }
    }
}

/// Reads the verb's options. Throws wrong_use; CLI::CallForHelp when help is wanted.
void parse(CLI::App& app, const verb_entry& entry, const std::vector<std::string>& arguments)
{
    const std::string see = std::string("\"trox help ") + entry.name + "\" lists arguments and options";
    refuse_empty_values(arguments, see);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // it takes them from the back
    } catch (const CLI::CallForHelp&) {
        throw;
    } catch (const CLI::ExtrasError&) {
        std::vector<std::string> names;
        for (const auto& option : document(entry).options) {
            names.insert(names.end(), option.names.begin(), option.names.end());
        }
        const auto unknown = app.remaining();
        const std::string first = unknown.empty() ? "" : unknown.front();
        if (first.starts_with("-")) {
            const std::string meant = did_you_mean(similar_words(first, names));
            throw wrong_use("there is no option " + first, meant.empty() ? see : meant);
        }
        throw wrong_use("\"" + first + "\" is one argument too many", see);
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string text = error.what(); // "--kind: 1 required ... missing", "--tz: At Most 1 required ..."
        const bool is_twice = text.find("At Most") != std::string::npos || text.find("received 2") != std::string::npos;
        throw wrong_use(text.substr(0, text.find(':')) + (is_twice ? ": given twice" : ": a value is missing"), see);
    } catch (const CLI::RequiredError&) {
        throw wrong_use(missing_argument(app) + " is missing", see);
    } catch (const CLI::ParseError& error) {
        throw wrong_use(error.what(), see);
    }
}

exit_code run_verb(const verb_entry& entry, const std::vector<std::string>& arguments)
{
    common_options common;
    const auto made = entry.make();
    CLI::App app;
    app.set_help_flag("-h,--help", "Show this help");
    made->declare(app, common);
    try {
        parse(app, entry, arguments);
    } catch (const CLI::CallForHelp&) {
        return run_verb(help_entry, {entry.name});
    }
    context context(entry.name, common);
    context.times(); // a wrong --tz or --time-format shows before any work is done
    const auto with_losses = [&context](exit_code code) {
        return code == exit_code::done && context.has_lost_data() ? exit_code::data_lost : code;
    };
    try {
        return with_losses(made->run(context));
    } catch (const pipe_closed&) {
        return with_losses(exit_code::done);
    }
}

exit_code report_failure(const std::string& verb, const failure& error)
{
    write_diagnostic(verb, error.what());
    if (!error.hint().empty()) {
        write_diagnostic(verb, "hint: " + error.hint());
    }
    return error.code();
}

exit_code code_of(trox::fault why)
{
    return why == trox::fault::wrong_use ? exit_code::wrong_use : exit_code::failed;
}

/// The first argument is a verb, or an option of the program.
exit_code run(std::string& verb, const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        throw wrong_use("a verb is missing", "\"trox help\" lists them");
    }
    const std::string& first = arguments.front();
    if (first == "-h" || first == "--help") {
        return run_verb(help_entry, {});
    }
    if (first == "--version") {
        output out("");
        out.write("trox " TROX_VERSION "\n");
        out.finish();
        return exit_code::done;
    }
    if (first.starts_with("-")) {
        throw wrong_use("there is no option " + first + " before the verb", "options go behind the verb");
    }
    const verb_entry& entry = require_verb(first);
    verb = entry.name;
    return run_verb(entry, {arguments.begin() + 1, arguments.end()});
}

exit_code run_guarded(const std::vector<std::string>& arguments)
{
    std::string verb;
    try {
        return run(verb, arguments);
    } catch (const failure& error) {
        return report_failure(verb, error);
    } catch (const trox::error& error) {
        write_diagnostic(verb, error.what());
        return code_of(error.why());
    } catch (const pipe_closed&) {
        return exit_code::done;
    } catch (const std::bad_alloc&) {
        write_diagnostic(verb, "there is not enough memory");
        return exit_code::failed;
    } catch (const std::exception& error) {
        write_diagnostic(verb, error.what());
        return exit_code::failed;
    }
}

} // namespace

int run_program(const std::vector<std::string>& arguments) noexcept
{
    return static_cast<int>(run_guarded(arguments));
}

} // namespace trox_cli
