// trox help, trox man, trox completion: the manual.
#include "../cli/manual.h"
#include "../verbs.h"

#include <algorithm>

namespace trox_cli
{
namespace
{

/// Terminals may be wider than lines read well.
std::size_t help_width(const output& out)
{
    constexpr std::size_t usual = 100;
    return out.width() == 0 ? usual : std::min(usual, out.width());
}

class help_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        app.add_option("verb", name_, "Verb to tell about; without one, all verbs are listed")->type_name("VERB");
        common.declare_output(app);
    }
    exit_code run(context& context) override
    {
        const std::size_t width = help_width(context.out());
        context.out().write(name_.empty() ? help_text(width) : help_text(require_verb(name_), width));
        context.out().finish();
        return exit_code::done;
    }

private:
    std::string name_;
};

class man_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        app.add_option("verb", name_, "Verb whose page is written; without one, the page of the program")
            ->type_name("VERB");
        common.declare_output(app);
    }
    exit_code run(context& context) override
    {
        context.out().write(name_.empty() ? man_page() : man_page(require_verb(name_)));
        context.out().finish();
        return exit_code::done;
    }

private:
    std::string name_;
};

enum class shell { bash };

class completion_verb final : public verb
{
public:
    void declare(CLI::App& app, common_options& common) override
    {
        add_choice<shell>(app, "shell", shell_, {{"bash", shell::bash}}, "Shell whose script is written")->required();
        common.declare_output(app);
    }
    exit_code run(context& context) override
    {
        switch (shell_) {
        case shell::bash:
            context.out().write(bash_completion());
            break;
        }
        context.out().finish();
        return exit_code::done;
    }

private:
    shell shell_ = shell::bash;
};

} // namespace

const verb_entry help_entry{"help",
                            "tell about the program, or about a verb",
                            "Shows the verbs and what they do, or the options of one verb with examples.",
                            {{"trox help list", "Tells about the verb list; \"trox list --help\" does the same."}},
                            []() -> std::unique_ptr<verb> { return std::make_unique<help_verb>(); }};

const verb_entry man_entry{
    "man",
    "write a manual page",
    "Writes the manual page of the program, or of a verb, as man(1) reads it. An installation brings all of them.",
    {{"trox man list | man -l -", "Shows the page of the verb list."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<man_verb>(); }};

const verb_entry completion_entry{
    "completion",
    "write a script that completes command lines",
    "Writes a script with which a shell completes verbs, options, and words and files behind them. An installation "
    "puts it where bash finds it.",
    {{"source <(trox completion bash)", "Completes command lines in this shell."}},
    []() -> std::unique_ptr<verb> { return std::make_unique<completion_verb>(); }};

} // namespace trox_cli
