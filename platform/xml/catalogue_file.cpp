#include "catalogue_file.h"

#include "xml_document.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace trox_xml
{
namespace
{

using trox_platform::xml_element;

/// Some 60000 data files in one run; far above any real catalogue, and it bounds what a parser may build.
constexpr std::size_t file_size_limit = std::size_t{8} << 20;

class descriptor
{
public:
    explicit descriptor(int fd) noexcept : fd_(fd) {}
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    ~descriptor()
    {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    int get() const noexcept
    {
        return fd_;
    }

private:
    int fd_;
};

std::string error_text(int error)
{
    return std::generic_category().message(error);
}

/// A whole regular file of bounded size.
std::optional<std::string> read_text(const std::string& path, std::string& reason)
{
    // Non-blocking, so that a pipe under a catalogue file's name cannot stop the caller.
    const descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    struct stat status {
    };
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
        reason = error_text(errno);
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        reason = "not a regular file";
        return std::nullopt;
    }
    std::string text;
    char piece[16384];
    for (;;) {
        const ssize_t got = ::read(file.get(), piece, sizeof piece);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            reason = error_text(errno);
            return std::nullopt;
        }
        if (got == 0) {
            return text;
        }
        text.append(piece, static_cast<std::size_t>(got));
        if (text.size() > file_size_limit) {
            reason = "larger than " + std::to_string(file_size_limit) + " bytes";
            return std::nullopt;
        }
    }
}

/// The `start` and `stop` of an element; nothing when one is missing, no number, or they are in wrong order.
std::optional<time_span> read_span(const xml_element& element)
{
    constexpr long limit = std::numeric_limits<long>::max();
    const auto start = parse_decimal(element.attribute("start"), limit);
    const auto stop = parse_decimal(element.attribute("stop"), limit);
    if (!start || !stop || (*stop != 0 && *stop < *start)) {
        return std::nullopt;
    }
    return time_span{*start, *stop};
}

bool is_base_name(std::string_view name)
{
    return !name.empty() && name.size() <= NAME_MAX && name != "." && name != ".." &&
           name.find('/') == std::string_view::npos;
}

/// A text of the file for a message; a hostile one may be of any length.
std::string quoted(std::string_view text)
{
    constexpr std::size_t shown = 80;
    return '"' + std::string{text.substr(0, shown)} + '"';
}

std::optional<run_file> read_file_element(const xml_element& element, std::string& reason)
{
    const std::string_view name = element.attribute("name");
    const std::string_view format = element.attribute("format");
    const auto span = read_span(element);
    if (!is_base_name(name) || format.empty() || !span) {
        reason = "bad file entry " + quoted(name);
        return std::nullopt;
    }
    return run_file{std::string{name}, std::string{format}, *span};
}

bool names_same_run(const xml_element& root, const catalogue_name& name)
{
    return parse_decimal(root.attribute("number"), std::numeric_limits<int>::max()) == name.run &&
           root.attribute("experiment") == name.experiment && root.attribute("stream") == name.stream;
}

std::optional<run_record> read_run(const xml_element& root, const catalogue_name& name, std::string& reason)
{
    if (root.name != "daq_run") {
        reason = "the root element is " + quoted(root.name) + ", not \"daq_run\"";
        return std::nullopt;
    }
    if (!names_same_run(root, name)) {
        reason = "it describes another run than its name says";
        return std::nullopt;
    }
    const auto span = read_span(root);
    if (!span) {
        reason = "bad start or stop of the run";
        return std::nullopt;
    }
    run_record run{*span, {}};
    for (const xml_element& child : root.children) {
        if (child.name != "file") {
            continue; // what a later catalogue adds
        }
        auto file = read_file_element(child, reason);
        if (!file) {
            return std::nullopt;
        }
        run.files.push_back(std::move(*file));
    }
    std::stable_sort(run.files.begin(), run.files.end(),
                     [](const run_file& a, const run_file& b) { return a.span.start < b.span.start; });
    return run;
}

} // namespace

std::optional<run_record> read_catalogue_file(const std::string& path, const catalogue_name& name, std::string& reason)
{
    const auto text = read_text(path, reason);
    if (!text) {
        return std::nullopt;
    }
    const auto root = trox_platform::parse_xml(*text, &reason);
    return root ? read_run(*root, name, reason) : std::nullopt;
}

} // namespace trox_xml
