// Man pages, in roff.
#include "../verbs.h"
#include "manual.h"
#include "text.h"

#include <algorithm>

namespace trox_cli
{
namespace
{

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

/// Text as roff takes it: no line that looks like a request, dashes that can be searched for and copied.
std::string roff(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        if (character == '\\') {
            result += "\\e";
        } else if (character == '-') {
            result += "\\-";
        } else {
            result += character;
        }
    }
    return !result.empty() && (result.front() == '.' || result.front() == '\'') ? "\\&" + result : result;
}

std::string bold(const std::string& text)
{
    return "\\fB" + roff(text) + "\\fR";
}

std::string title(const std::string& name)
{
    return ".TH " + upper(roff(name)) + " 1 \"\" \"trox " TROX_VERSION "\" \"User Commands\"\n";
}

void add_paragraphs(std::string& page, std::string_view paragraphs)
{
    while (!paragraphs.empty()) {
        const std::size_t end = std::min(paragraphs.find("\n\n"), paragraphs.size());
        std::string paragraph(paragraphs.substr(0, end));
        std::replace(paragraph.begin(), paragraph.end(), '\n', ' ');
        page += ".PP\n" + roff(paragraph) + "\n";
        paragraphs.remove_prefix(std::min(end + 2, paragraphs.size()));
    }
}

void add_entry(std::string& page, const std::string& term, const std::string& text)
{
    page += ".TP\n" + term + "\n" + roff(text) + "\n";
}

void add_meanings(std::string& page, const std::string& heading, const std::vector<meaning>& meanings)
{
    page += ".SH " + heading + "\n";
    for (const auto& [word, text] : meanings) {
        add_entry(page, bold(word), text);
    }
}

/// Pages belong together: the one of the program names all verbs, each verb's the program.
void add_end(std::string& page, const std::string& see_also)
{
    add_meanings(page, "EXIT STATUS", exit_code_meanings());
    add_meanings(page, "ENVIRONMENT", environment_meanings());
    page += ".SH SEE ALSO\n" + see_also + "\n";
}

void add_options(std::string& page, const verb_doc& doc)
{
    for (const auto& group : doc.groups()) {
        page += ".SS " + roff(group) + "\n";
        for (const auto& option : doc.options) {
            if (option.group == group) {
                add_entry(page, bold(option.heading()), option.description);
            }
        }
    }
}

} // namespace

std::string man_page()
{
    std::string page = title("trox");
    page += ".SH NAME\ntrox \\- look into the raw data files of a DAQ system\n";
    page += ".SH SYNOPSIS\n" + bold("trox") + " VERB [OPTION]... [ARGUMENT]...\n.SH DESCRIPTION\n";
    add_paragraphs(page, "Reads files of any generation, runs and periods. Results go to standard output, or to the "
                         "file of -o; diagnostics to standard error.");
    page += ".SH VERBS\n";
    std::string see_also;
    for (const verb_entry* const entry : all_verbs()) {
        add_entry(page, bold(entry->name), entry->summary);
        see_also += (see_also.empty() ? "" : ",\n") + bold(std::string("trox-") + entry->name) + "(1)";
    }
    add_end(page, see_also);
    return page;
}

std::string man_page(const verb_entry& entry)
{
    const verb_doc doc = document(entry);
    const std::string name = std::string("trox-") + entry.name;
    std::string page = title(name);
    page += ".SH NAME\n" + roff(name) + " \\- " + roff(entry.summary) + "\n";
    page += ".SH SYNOPSIS\n" + roff(doc.usage) + "\n.SH DESCRIPTION\n";
    add_paragraphs(page, entry.description);
    if (!doc.positionals.empty()) {
        page += ".SH ARGUMENTS\n";
        for (const auto& positional : doc.positionals) {
            add_entry(page, bold(positional.heading()), positional.description);
        }
    }
    page += ".SH OPTIONS\n";
    add_options(page, doc);
    if (!entry.examples.empty()) {
        page += ".SH EXAMPLES\n";
        for (const auto& [command, effect] : entry.examples) {
            add_entry(page, bold(command), effect);
        }
    }
    add_end(page, bold("trox") + "(1)");
    return page;
}

} // namespace trox_cli
