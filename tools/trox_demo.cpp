// trox_demo: writes a small run of a simulated linac, reads it back event by event, and shows both. Exit code 0 when
// everything that was written was read, 1 when not or when something failed, 2 on wrong use.
#include "demo/check.h"
#include "demo/event_tables.h"
#include "demo/linac.h"
#include "demo/survey.h"
#include "demo/text.h"
#include "trox_daq_reader_2010.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <getopt.h>
#include <stdexcept>

namespace
{

using namespace trox_demo;
using std::chrono::steady_clock;

double seconds_since(steady_clock::time_point begin)
{
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
}

// --- options ----------------------------------------------------------------------------------------------

struct options {
    std::string directory; ///< empty: a temporary one
    int events = 30;
    bool keep = false;
    bool help = false;
};

constexpr const char* usage = R"(usage: trox_demo [--dir DIR] [--events N] [--keep]

Writes a run of a simulated linac in three data files of the 2010 generation, with its run catalogue, reads
it back event by event and shows channels and events.

  --dir DIR    write into DIR, which is made when needed, and leave the files there; an earlier run of this
               program in DIR is removed
  --events N   number of machine events, 3 to 1000000 (30)
  --keep       leave the files in the temporary directory
  --help       this text
)";

int parse_events(const char* word)
{
    constexpr int most = 1000000;
    int value = 0;
    const char* const end = word + std::strlen(word);
    const auto [stop, failure] = std::from_chars(word, end, value);
    if (failure != std::errc() || stop != end || value < file_count || value > most) {
        throw std::invalid_argument(text("--events takes a number from %d to %d, not \"%s\"", file_count, most, word));
    }
    return value;
}

options parse(int argc, char** argv)
{
    static const ::option long_options[] = {{"dir", required_argument, nullptr, 'd'},
                                            {"events", required_argument, nullptr, 'e'},
                                            {"keep", no_argument, nullptr, 'k'},
                                            {"help", no_argument, nullptr, 'h'},
                                            {}};
    options chosen;
    for (int key = 0; (key = ::getopt_long(argc, argv, "h", long_options, nullptr)) != -1;) {
        switch (key) {
        case 'd':
            chosen.directory = optarg;
            break;
        case 'e':
            chosen.events = parse_events(optarg);
            break;
        case 'k':
            chosen.keep = true;
            break;
        case 'h':
            chosen.help = true;
            break;
        default:
            throw std::invalid_argument("see --help");
        }
    }
    if (optind != argc) {
        throw std::invalid_argument(text("what is \"%s\"? see --help", argv[optind]));
    }
    return chosen;
}

/// Removes the files of an earlier demonstration: another catalogue entry of the same run would be read as well.
void remove_earlier_run(const std::filesystem::path& directory)
{
    std::vector<std::filesystem::path> earlier;
    for (const auto& file : std::filesystem::directory_iterator(directory)) {
        if (file.path().filename().string().starts_with("demo_main_run1_")) {
            earlier.push_back(file.path());
        }
    }
    for (const auto& file : earlier) {
        std::filesystem::remove(file);
    }
}

/// Where the run lies; a temporary directory goes away at the end unless it is to be kept.
class run_directory
{
public:
    explicit run_directory(const options& chosen) : path_(chosen.directory)
    {
        if (path_.empty()) {
            std::string name = (std::filesystem::temp_directory_path() / "trox-demo-XXXXXX").string();
            if (::mkdtemp(name.data()) == nullptr) {
                throw std::runtime_error(name + ": " + std::strerror(errno));
            }
            path_ = name;
            is_removed_ = !chosen.keep;
        }
        std::filesystem::create_directories(path_);
        remove_earlier_run(path_);
    }
    run_directory(const run_directory&) = delete;
    run_directory& operator=(const run_directory&) = delete;
    ~run_directory()
    {
        std::error_code ignored;
        if (is_removed_) {
            std::filesystem::remove_all(path_, ignored);
        }
    }

    std::string path() const
    {
        return path_.string();
    }
    bool is_removed() const
    {
        return is_removed_;
    }

private:
    std::filesystem::path path_;
    bool is_removed_ = false;
};

// --- files and channels -----------------------------------------------------------------------------------

void print_files(const written_run& written)
{
    std::printf("A run of a simulated linac, written to %s\n\n",
                std::filesystem::path(written.catalogue).parent_path().c_str());
    for (const auto& path : written.files) {
        std::printf("  %-55s %s\n", std::filesystem::path(path).filename().c_str(),
                    bytes_text(std::filesystem::file_size(path)).c_str());
    }
    std::printf("  %-55s run catalogue\n", std::filesystem::path(written.catalogue).filename().c_str());
}

void print_channels(const survey& found)
{
    using enum table::align;
    table channels({{"#", "", 2},
                    {"channel", "", 36, left},
                    {"type", "", 15, left},
                    {"unit", "", 6, left},
                    {"records", "", 7},
                    {"bytes", "a record", 8},
                    {"compression", "", 14, left}},
                   2);
    int number = 0;
    for (const auto& name : found.names) {
        const stored_channel& channel = found.channels.at(name);
        const std::size_t mean = channel.records == 0 ? 0 : channel.payload_bytes / channel.records;
        channels.add({text("%d", ++number), name, type_text(channel.dtype), channel.unit, text("%zu", channel.records),
                      text("%zu", mean), compression_text(channel)});
    }
    std::puts("\nCHANNELS\n");
    channels.print();
}

// --- reading ----------------------------------------------------------------------------------------------

/// Throws with the reader's own words when an operation did not succeed.
void require(int status, const char* what, const trox_daq_reader_2010& reader)
{
    if (status != 0) {
        throw std::runtime_error(text("%s: %s (%d)", what, reader.get_last_error(), status));
    }
}

/// Finds the run in its catalogue and prepares the reader to deliver all channels by event number.
void open_run(trox_daq_reader_2010& reader, const std::string& directory)
{
    trox_daq_request request;
    request.run_first = run().number;
    run().experiment.copy(request.exp_name, sizeof request.exp_name - 1);
    run().stream.copy(request.stream_name, sizeof request.stream_name - 1);
    request.cdir = directory;
    request.ddir = directory;
    request.period = {1, {0, 100000}};
    request.time_diff = {0, 50000};
    request.synch_mode = TROX_DAQ_SLICER_SYNCH_MODE_EVID;
    std::vector<std::string> names;
    for (const channel of : all_channels) {
        names.push_back(linac().name(of));
    }
    std::vector<daq_channel_entry> entries;
    for (const auto& name : names) {
        entries.push_back({name.c_str(), {}});
    }
    std::vector<daq_channel_entry*> channels;
    for (auto& entry : entries) {
        channels.push_back(&entry);
    }
    reader.set_skip_bad_records(true);
    require(reader.init(&request, &channels), "the run cannot be opened", reader);
    require(reader.start(), "the run cannot be started", reader);
}

struct read_run {
    event_tables shown;
    checker checked;
    int events = 0;
    double seconds = 0; ///< in the reader only
};

void read_events(read_run& run_read, trox_daq_reader_2010& reader, int expected)
{
    std::vector<trox_channel_entry_long*> result;
    for (;;) {
        const auto begin = steady_clock::now();
        const int status = reader.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT);
        run_read.seconds += seconds_since(begin);
        if (status == TROX_DAQ_READER_OUT_OF_WINDOW) {
            return;
        }
        require(status, "reading ends", reader);
        if (run_read.events == expected) {
            throw std::runtime_error("more events are read than were written");
        }
        const event_records read = sort_records(result);
        run_read.shown.add(read);
        run_read.checked.check(run_read.events, read);
        ++run_read.events;
    }
}

read_run read_back(const std::string& directory, int events)
{
    read_run run_read;
    trox_daq_reader_2010 reader;
    const auto begin = steady_clock::now();
    open_run(reader, directory);
    run_read.seconds = seconds_since(begin);
    read_events(run_read, reader, events);
    if (run_read.events != events) {
        run_read.checked.fail(text("%d events are read, %d were written", run_read.events, events));
    }
    if (reader.get_number_of_bad_records() != 0 || reader.get_number_of_bad_files() != 0) {
        run_read.checked.fail(text("%d records and %d files cannot be read", reader.get_number_of_bad_records(),
                                   reader.get_number_of_bad_files()));
    }
    reader.clean_up();
    return run_read;
}

/// Answers whether everything that was written was read.
bool print_summary(double write_seconds, const survey& found, const read_run& read)
{
    std::size_t records = 0;
    for (const auto& [name, channel] : found.channels) {
        records += channel.records;
    }
    auto differences = read.checked.differences();
    if (read.checked.records() != records) {
        differences.push_back(text("%zu records are read, the files hold %zu", read.checked.records(), records));
    }
    const double rate = static_cast<double>(read.checked.payload_bytes()) / 1e6 / read.seconds;
    std::printf("\nSUMMARY\n\n  %d events, %zu channels, %zu records in %d files of %s\n", read.events,
                found.channels.size(), read.checked.records(), file_count, bytes_text(found.file_bytes).c_str());
    std::printf("  written in %.0f ms; read in %.0f ms: %s delivered, %.0f MB/s\n", 1e3 * write_seconds,
                1e3 * read.seconds, bytes_text(read.checked.payload_bytes()).c_str(), rate);
    if (differences.empty()) {
        std::puts("  every record that was read is what was written");
        return true;
    }
    constexpr std::size_t most = 10;
    std::printf("  %zu DIFFERENCES between what was written and what was read:\n", differences.size());
    for (std::size_t i = 0; i < std::min(differences.size(), most); ++i) {
        std::printf("    %s\n", differences[i].c_str());
    }
    return false;
}

bool run_demo(const options& chosen)
{
    // The files are younger than the 30 s after which a reader takes a file for closed; no other clock is wanted.
    ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    ::unsetenv("TROX_EVENT_CLOCK");
    const run_directory directory(chosen);
    const auto begin = steady_clock::now();
    const written_run written = write_run(linac(), run(), directory.path(), {chosen.events, {}, file_count});
    const double write_seconds = seconds_since(begin);
    print_files(written);
    const survey found = survey_files(written.files);
    print_channels(found);
    const read_run read = read_back(directory.path(), chosen.events);
    read.shown.print();
    const bool is_equal = print_summary(write_seconds, found, read);
    std::printf("  the files %s %s\n", directory.is_removed() ? "are removed from" : "stay in",
                directory.path().c_str());
    return is_equal;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const options chosen = parse(argc, argv);
        if (chosen.help) {
            std::fputs(usage, stdout);
            return EXIT_SUCCESS;
        }
        return run_demo(chosen) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::invalid_argument& wrong_use) {
        std::fprintf(stderr, "trox_demo: %s\n", wrong_use.what());
        return 2;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "trox_demo: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
