#include "recover.h"

#include "base/target_file.h"
#include "baskets.h"
#include "events.h"
#include "found.h"
#include "keys.h"
#include "match.h"
#include "names.h"
#include "patterns.h"
#include "record_check.h"
#include "result.h"
#include "rows.h"
#include "tables.h"
#include "trox_writer.h"
#include "write.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace trox::recovery
{
namespace
{

/// A name beside the output, under which the file is written and checked; removed unless it is put in place.
class output_file
{
public:
    explicit output_file(const std::string& target) : target_(target), name_(target + ".XXXXXX")
    {
        const int fd = ::mkstemp(name_.data());
        if (fd < 0) {
            throw std::system_error(errno, std::generic_category(), target);
        }
        ::close(fd);
    }
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;
    ~output_file()
    {
        if (!name_.empty()) {
            ::unlink(name_.c_str());
        }
    }
    const std::string& name() const noexcept
    {
        return name_;
    }
    void put_in_place(bool replace)
    {
        const bool done =
            replace ? trox_base::put_in_place(name_, target_) : trox_base::put_in_new_place(name_, target_);
        if (!done) {
            throw std::system_error(errno, std::generic_category(), target_);
        }
        name_.clear();
    }

private:
    std::string target_;
    std::string name_;
};

std::string refuse_output(const source_file& input, const std::string& output, bool replace)
{
    struct stat status {
    };
    if (::stat(output.c_str(), &status) == 0 && input.is_same_file(status)) {
        return output + ": is the damaged file itself";
    }
    if (::lstat(output.c_str(), &status) != 0) {
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        return output + ": is no regular file, and is not replaced";
    }
    return replace ? std::string() : output + ": a file of that name exists";
}

void find_records(found& file, patterns& scanned)
{
    find_tables(file, scanned);
    find_events(file, scanned);
    find_blocks(file);
    record_checker checker(file);
    channel_names names(file, checker);
    follow_rows(file, names, checker);
    settle_events(file);
    judge_faults(file);
    doubt_rows(file, checker);
    if (needs_walk(file)) {
        walk_baskets(file, scanned, names, checker);
        judge_faults(file);
    }
    account(file);
    match_orphans(file, checker);
    settle_keys(file, checker);
}

// What is lost of the tables beside the records that they lead to.
void note_lost_tables(found& file)
{
    for (const auto what : {item::environment, item::descriptions}) {
        if (file.table(what).how != means::lost) {
            continue;
        }
        const auto text = std::string(name_of(what)) + ": not found";
        if (file.references.is_there()) {
            file.lose(text); // the file has one
        } else {
            file.result.remarks.push_back(text + "; the file may have none");
        }
    }
    if (file.table(item::event_index).how == means::lost) {
        file.result.remarks.push_back("event index: not found; the event headers tell what the new one says");
    }
    const auto& dictionary = file.table(item::dictionary);
    if (!dictionary.is_there() || dictionary.cut) {
        file.lose("channel dictionary: not found whole; channels are those of the descriptions and of the records");
    }
}

// People know the file by its own name.
std::string with_name_of(const std::string& made, const std::string& output, std::string text)
{
    const auto at = text.find(made);
    return at == std::string::npos ? text : text.replace(at, made.size(), output);
}

void make_file(found& file, output_file& made)
{
    const auto written = write_file(file, made.name());
    const auto wrong = verify_file(file, written, made.name());
    if (!wrong.empty()) {
        file.result.failure = "the new file was read again, and differs: " + wrong;
        return;
    }
    made.put_in_place(file.options.replace_existing);
    complete_report(file, written);
}

void recover_into(found& file, const std::string& output)
{
    output_file made(output);
    const auto name = made.name();
    try {
        make_file(file, made);
    } catch (const std::system_error& error) {
        file.result.failure = with_name_of(name, output, error.what());
    } catch (const writer::error& error) {
        file.result.failure = with_name_of(name, output, error.what());
    }
}

void recover(source_file& input, const std::string& output, const recover_options& options, report& result)
{
    const auto generation = options.generation ? options.generation : find_generation(input);
    if (!generation) {
        result.failure = input.path() + ": nothing tells of which generation it is";
        return;
    }
    result.generation = generation;
    const auto& layout = layout_of(*generation);
    found file(input, layout, result);
    file.options = options;
    patterns scanned(input, layout);
    find_records(file, scanned);
    note_lost_tables(file);
    if (file.events.empty() && file.channels.empty() && !file.references.is_there()) {
        result.failure = input.path() + ": no events and no channels were found";
    } else {
        recover_into(file, output);
    }
}

} // namespace

const char* text_of(means how) noexcept
{
    switch (how) {
    case means::reference:
        return "by reference";
    case means::pattern:
        return "by its pattern";
    case means::absent:
        return "the file has none";
    case means::lost:
        return "not found";
    }
    return "";
}

report recover_file(const std::string& input, const std::string& output, const recover_options& options)
{
    report result;
    try {
        source_file file(input);
        result.failure = refuse_output(file, output, options.replace_existing);
        if (result.failure.empty()) {
            recover(file, output, options, result);
        }
    } catch (const std::system_error& error) {
        result.failure = error.what();
    } catch (const writer::error& error) {
        result.failure = error.what();
    }
    if (!result.failure.empty()) {
        result.end = outcome::nothing;
    }
    return result;
}

} // namespace trox::recovery
