#include "manual.h"

#include "../verbs.h"
#include "text.h"

#include <algorithm>

namespace trox_cli
{
namespace
{

argument_doc describe(const CLI::Option& option)
{
    argument_doc doc;
    for (const auto& name : option.get_snames()) {
        doc.names.push_back("-" + name);
    }
    for (const auto& name : option.get_lnames()) {
        doc.names.push_back("--" + name);
    }
    const bool is_flag = option.get_items_expected_max() == 0;
    const std::string value = option.get_type_name();
    // A flag that takes a value only behind "=" has a type, other flags have none.
    doc.value = is_flag && value == "BOOLEAN" ? "" : value;
    doc.is_value_optional = is_flag && !doc.value.empty();
    doc.is_required = option.get_required();
    doc.is_repeated = option.get_expected_max() > 1;
    doc.group = option.get_group();
    doc.description = option.get_description();
    return doc;
}

std::string usage_of(const verb_doc& doc)
{
    std::string usage = std::string("trox ") + doc.entry->name;
    usage += doc.options.empty() ? "" : " [OPTION]...";
    for (const auto& positional : doc.positionals) {
        const std::string repeated = positional.is_repeated ? "..." : "";
        usage += positional.is_required ? " " + positional.value + repeated : " [" + positional.value + "]" + repeated;
    }
    return usage;
}

void add_wrapped(std::string& text, const std::string& paragraph, std::size_t indent, std::size_t width)
{
    for (const auto& line : wrap(paragraph, width > indent + 20 ? width - indent : 20)) {
        text += std::string(indent, ' ') + line + "\n";
    }
}

/// The text in lines of at most `width` columns, broken in front of a "|" where it must be.
std::string broken_at_bars(std::string text, std::size_t width)
{
    constexpr std::size_t indent = 6;
    std::string lines;
    while (display_width(text) > width) {
        const std::size_t bar = text.rfind('|', width);
        if (bar == std::string::npos || bar <= indent) {
            break;
        }
        lines += text.substr(0, bar) + "\n";
        text = std::string(indent, ' ') + text.substr(bar);
    }
    return lines + text;
}

/// Words on the left, their meaning on the right.
void add_entry(std::string& text, const std::string& left, const std::string& right, std::size_t column,
               std::size_t width)
{
    std::string meaning;
    add_wrapped(meaning, right, column, width);
    const std::string start = "  " + left;
    if (display_width(start) + 2 > column) {
        text += broken_at_bars(start, width) + "\n" + meaning;
    } else {
        text += start + std::string(column - display_width(start), ' ') + meaning.substr(column);
    }
}

void add_paragraphs(std::string& text, std::string_view paragraphs, std::size_t width)
{
    while (!paragraphs.empty()) {
        const std::size_t end = std::min(paragraphs.find("\n\n"), paragraphs.size());
        std::string paragraph(paragraphs.substr(0, end));
        std::replace(paragraph.begin(), paragraph.end(), '\n', ' ');
        add_wrapped(text, paragraph, 0, width);
        paragraphs.remove_prefix(std::min(end + 2, paragraphs.size()));
        text += paragraphs.empty() ? "" : "\n";
    }
}

constexpr std::size_t option_column = 28;

void add_options(std::string& text, const verb_doc& doc, std::size_t width)
{
    for (const auto& group : doc.groups()) {
        text += "\n" + group + ":\n";
        for (const auto& option : doc.options) {
            if (option.group == group) {
                add_entry(text, option.heading(), option.description, option_column, width);
            }
        }
    }
}

} // namespace

std::string argument_doc::heading() const
{
    std::string text = names.empty() || names.front().starts_with("--") ? "" : names.front();
    for (const auto& name : names) {
        text += name == text ? "" : (text.empty() ? "" : ", ") + name;
    }
    if (value.empty() || names.empty()) {
        return text + value;
    }
    return text + (is_value_optional ? "[=" + value + "]" : " " + value);
}

std::vector<std::string> verb_doc::groups() const
{
    std::vector<std::string> found;
    for (const auto& option : options) {
        if (std::find(found.begin(), found.end(), option.group) == found.end()) {
            found.push_back(option.group);
        }
    }
    return found;
}

std::vector<std::string> argument_doc::words() const
{
    std::vector<std::string> result;
    std::string word;
    for (const char character : value + "|") {
        if (character != '|') {
            word += character;
            continue;
        }
        // What stands for a value is written in capitals.
        if (std::any_of(word.begin(), word.end(),
                        [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); })) {
            result.push_back(word);
        }
        word.clear();
    }
    return result;
}

verb_doc document(const verb_entry& entry)
{
    common_options common;
    const auto described = entry.make();
    CLI::App app;
    app.set_help_flag("-h,--help", "Show this help");
    described->declare(app, common);
    verb_doc doc;
    doc.entry = &entry;
    for (const CLI::Option* const option : app.get_options()) {
        if (!option->get_group().empty()) {
            (option->get_positional() ? doc.positionals : doc.options).push_back(describe(*option));
        }
    }
    // Help is declared first, and less interesting than all the rest.
    std::rotate(doc.options.begin(), doc.options.begin() + 1, doc.options.end());
    doc.usage = usage_of(doc);
    return doc;
}

const std::vector<meaning>& exit_code_meanings()
{
    static const std::vector<meaning> meanings{
        {"0", "done"},
        {"1", "failed"},
        {"2", "wrong use: an unknown verb or option, a value that makes no sense"},
        {"3", "done, but data were lost: files, events or records that cannot be read were passed over"}};
    return meanings;
}

const std::vector<meaning>& environment_meanings()
{
    static const std::vector<meaning> meanings{{"NO_COLOR", "when it is set and not empty, --color auto means never"},
                                               {"TZ", "the time zone that --tz local means"}};
    return meanings;
}

std::string help_text(std::size_t width)
{
    constexpr std::size_t verb_column = 16;
    std::string text = "usage: trox VERB [OPTION]... [ARGUMENT]...\n\n";
    add_wrapped(text, "Looks into the raw data files of a DAQ system: files of any generation, runs, periods.", 0,
                width);
    text += "\nVerbs:\n";
    for (const verb_entry* const entry : all_verbs()) {
        add_entry(text, entry->name, entry->summary, verb_column, width);
    }
    text += "\nOptions:\n";
    add_entry(text, "-h, --help", "Show this help; behind a verb, the help of the verb", verb_column, width);
    add_entry(text, "--version", "Show the version", verb_column, width);
    text += "\nExit codes:\n";
    for (const auto& [word, explanation] : exit_code_meanings()) {
        add_entry(text, word, explanation, verb_column, width);
    }
    return text + "\n\"trox help VERB\" tells more of a verb.\n";
}

std::string help_text(const verb_entry& entry, std::size_t width)
{
    const verb_doc doc = document(entry);
    std::string text = "usage: " + doc.usage + "\n\n";
    add_paragraphs(text, entry.description, width);
    if (!doc.positionals.empty()) {
        text += "\nArguments:\n";
        for (const auto& positional : doc.positionals) {
            add_entry(text, positional.heading(), positional.description, option_column, width);
        }
    }
    add_options(text, doc, width);
    if (!entry.examples.empty()) {
        text += "\nExamples:\n";
        for (const auto& [command, effect] : entry.examples) {
            text += std::string("  ") + command + "\n";
            add_wrapped(text, effect, 6, width);
        }
    }
    return text;
}

} // namespace trox_cli
