// What a running verb has at hand: the common options, where results and diagnostics go, and how it ends.
#ifndef TROX_CLI_CONTEXT_H
#define TROX_CLI_CONTEXT_H

#include "errors.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "report.h"
#include "times.h"
#include "trox/event_reader.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace trox_cli
{

struct verb_entry;

class context
{
public:
    /// `verb`: its name. The options are borrowed.
    context(std::string verb, const common_options& options);

    const common_options& options() const noexcept
    {
        return options_;
    }
    const std::string& verb() const noexcept
    {
        return verb_;
    }
    const time_display& times();

    // --- results ----------------------------------------------------------------------------------------------

    /// Where results go: standard output, or the file of -o. Opened by the first call. Throws failure.
    output& out();
    /// The same for bytes that are no text. Throws wrong_use for a terminal.
    output& binary_out();
    /// Files that the verb reads, or writes by itself. Throws wrong_use when the file of -o is one of them, which
    /// would be replaced.
    void keep_inputs(const std::vector<std::string>& paths) const;
    /// Whether results on that output are to have colours.
    bool wants_colors();
    /// A report of one table, and one of any sections, in the format that was asked for. `schema_version` counts
    /// incompatible changes of the verb's JSON.
    report open_table(int schema_version = 1);
    report open_document(int schema_version = 1);
    /// Ends the report and puts the output in place.
    void finish(report& result);

    // --- diagnostics ------------------------------------------------------------------------------------------

    /// Writes "trox: VERB: text" on standard error.
    void note(const std::string& text);
    /// The same, and the verb ends with exit_code::data_lost unless it fails.
    void data_lost(const std::string& text);
    bool has_lost_data() const noexcept
    {
        return has_lost_data_;
    }
    bool wants_progress() const;
    /// A bar, where one is wanted. At most one at a time is shown.
    progress start_progress(const std::string& label, std::uint64_t total) const;
    /// The same for what tells of each file. The bar goes with the last one, or before something else is written.
    /// Borrows this.
    trox::file_progress follow_files(const std::string& label);

    // --- reading ----------------------------------------------------------------------------------------------

    /// --threads and --memory, damaged records passed over.
    trox::reading_options reading() const;
    /// Tells of files whose data can be read, but not all else; data are lost then.
    void tell_problems(const std::vector<trox::file_info>& files);
    /// Tells of what was passed over: a line for each file and each of the first records, a sum for the rest; data are
    /// lost then.
    void tell_losses(const std::vector<trox::skipped_file>& files);
    void tell_losses(const trox::reading_report& read);

private:
    report_setting setting(int schema_version);

    std::string verb_;
    const common_options& options_;
    std::optional<time_display> times_;
    std::unique_ptr<output> out_;
    std::unique_ptr<progress> file_bar_;
    bool has_lost_data_ = false;
};

/// Writes one line on standard error, whatever the text holds.
void write_diagnostic(const std::string& verb, const std::string& text);

} // namespace trox_cli

#endif
