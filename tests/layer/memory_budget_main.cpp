// trox_layer_memory DIRECTORY: writes a file of 2.5 GiB of decoded data (small when compressed), one of large records
// that are not compressed, and 100 small files, reads them with a budget of 256 MiB, and fails when the memory that
// this program occupies, mapped files aside, passes the budget. Exit code 0 when it does not, 1 when it does or when
// data are wrong, 2 on wrong use.
#include "trox/trox.h"
#include "trox_writer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace
{

namespace tw = trox::writer;

constexpr std::size_t kib = 1024;
constexpr std::size_t mib = 1024 * kib;
constexpr std::size_t budget = 256 * mib;
constexpr int large_events = 320;
constexpr std::size_t image_bytes = 4 * mib;
constexpr int traces = 8;
constexpr std::size_t trace_bytes = 512 * kib;
constexpr int small_files = 100;
constexpr int small_events = 20;
constexpr std::size_t small_bytes = 64 * kib;
static_assert(large_events * (image_bytes + traces * trace_bytes) == 2560 * mib);

constexpr int plain_events = 32;
constexpr std::size_t plain_bytes = 16 * mib;
constexpr unsigned plain_threads = 16;

constexpr auto format = tw::generation::v2024;

// --- writing --------------------------------------------------------------------------------------------

/// A trace of so many bytes that is compressed once and stored again and again.
class compressed_trace
{
public:
    explicit compressed_trace(std::size_t bytes)
    {
        const auto whole =
            tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(bytes / sizeof(float), 1.5F));
        // In file order: every word with its bytes reversed.
        std::vector<unsigned char> stored(whole.bytes);
        for (std::size_t at = 0; at + 4 <= stored.size(); at += 4) {
            std::reverse(stored.begin() + static_cast<std::ptrdiff_t>(at),
                         stored.begin() + static_cast<std::ptrdiff_t>(at + 4));
        }
        size_ = static_cast<std::uint32_t>(stored.size());
        uLongf length = ::compressBound(stored.size());
        zipped_.resize(length);
        ::compress(zipped_.data(), &length, stored.data(), stored.size());
        zipped_.resize(length);
    }
    tw::stored_record record() const
    {
        return {TROX_BLOCK_1CHAN_2010, zipped_, 0, tw::stored_record::zip_head{trox_zip_zlib, size_, {}}, {}};
    }

private:
    std::vector<unsigned char> zipped_;
    std::uint32_t size_ = 0;
};

time_stamp time_of(int event)
{
    return {1'339'666'200U + static_cast<std::uint32_t>(event / 10), static_cast<std::uint32_t>(event % 10) * 100000};
}

std::string small_path(const std::string& directory, int file)
{
    return directory + "/small" + std::to_string(file) + ".raw";
}

void write_files(const std::string& directory)
{
    tw::file_options options;
    options.replace_existing = true;
    tw::file_writer large(directory + "/large.raw", format, options);
    const auto image = large.add_channel("T/IMAGE");
    std::vector<tw::channel_id> channels;
    for (int i = 0; i < traces; ++i) {
        channels.push_back(large.add_channel("T/TRACE." + std::to_string(i)));
    }
    const compressed_trace image_trace(image_bytes);
    const compressed_trace trace(trace_bytes);
    for (int event = 0; event < large_events; ++event) {
        large.begin_event({static_cast<std::uint64_t>(event + 1), time_of(event)});
        large.begin_server_block({"SVR"});
        large.add_record(image, image_trace.record());
        for (const tw::channel_id channel : channels) {
            large.add_record(channel, trace.record());
        }
        large.end_event();
    }
    large.finish();
    tw::file_writer plain(directory + "/plain.raw", format, options);
    const auto plain_channel = plain.add_channel("T/PLAIN");
    const auto payload =
        tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(plain_bytes / sizeof(float), 1.5F));
    for (int event = 0; event < plain_events; ++event) {
        plain.begin_event({static_cast<std::uint64_t>(event + 1), time_of(event)});
        plain.begin_server_block({"SVR"});
        plain.add_record(plain_channel, payload);
        plain.end_event();
    }
    plain.finish();
    const compressed_trace small_trace(small_bytes);
    for (int file = 0; file < small_files; ++file) {
        tw::file_writer small(small_path(directory, file), format, options);
        const auto channel = small.add_channel("T/TRACE");
        for (int event = file * small_events; event < (file + 1) * small_events; ++event) {
            small.begin_event({static_cast<std::uint64_t>(event + 1), time_of(event)});
            small.begin_server_block({"SVR"});
            small.add_record(channel, small_trace.record());
            small.end_event();
        }
        small.finish();
    }
}

/// In a process of its own, whose memory does not count.
bool write_elsewhere(const std::string& directory)
{
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            write_files(directory);
            ::_exit(0);
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s\n", failure.what());
            ::_exit(1);
        }
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// --- memory ---------------------------------------------------------------------------------------------

/// A line of /proc/self/status, in bytes; 0 when there is none.
std::size_t status_bytes(const char* name)
{
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(name, 0) == 0 && line[std::strlen(name)] == ':') {
            return std::stoull(line.substr(std::strlen(name) + 1)) * kib;
        }
    }
    return 0;
}

/// Samples the memory of the process, pages of files aside, in a thread.
class memory_watch
{
public:
    memory_watch() : thread_([this] { watch(); }) {}
    memory_watch(const memory_watch&) = delete;
    memory_watch& operator=(const memory_watch&) = delete;
    ~memory_watch()
    {
        stop_ = true;
        thread_.join();
    }
    std::size_t most() const
    {
        return most_;
    }

private:
    void watch()
    {
        while (!stop_) {
            const std::size_t files = status_bytes("RssFile") + status_bytes("RssShmem");
            const std::size_t all = status_bytes("VmRSS");
            most_ = std::max<std::size_t>(most_, all > files ? all - files : 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::atomic<bool> stop_{false};
    std::atomic<std::size_t> most_{0};
    std::thread thread_;
};

// --- reading --------------------------------------------------------------------------------------------

/// Decoded bytes of all events; every record must hold the written samples.
std::size_t read_all(const std::vector<std::string>& paths, unsigned threads)
{
    trox::event_reader reader(trox::data_set::open_files(paths), {}, {budget, threads, false});
    std::size_t bytes = 0;
    for (const trox::event& event : reader) {
        for (const trox::record& record : event.records()) {
            const auto trace = record ? record.trace() : std::nullopt;
            if (!trace || trace->samples[0] != 1.5F || trace->samples[trace->samples.size() - 1] != 1.5F) {
                throw std::runtime_error("event " + std::to_string(event.number()) + " has wrong data");
            }
            bytes += trace->samples.size() * sizeof(float);
        }
    }
    return bytes;
}

bool is_within_budget(const char* what, const std::vector<std::string>& paths, std::size_t expected,
                      unsigned threads = 0)
{
    const memory_watch watch;
    const std::size_t bytes = read_all(paths, threads);
    const std::size_t most = watch.most();
    const std::size_t high_water = status_bytes("VmHWM") - status_bytes("RssFile") - status_bytes("RssShmem");
    std::printf("%s: %zu MiB decoded; most memory seen %zu MiB, high-water mark less files %zu MiB, budget %zu MiB\n",
                what, bytes / mib, most / mib, high_water / mib, budget / mib);
    return bytes == expected && most > 0 && most <= budget && high_water <= budget;
}

bool read_within_budget(const std::string& directory)
{
    std::vector<std::string> small;
    for (int file = 0; file < small_files; ++file) {
        small.push_back(small_path(directory, file));
    }
    const bool many = is_within_budget("100 small files", small, small_files * small_events * small_bytes);
    const bool one = is_within_budget("one file of 2.5 GiB", {directory + "/large.raw"}, 2560 * mib);
    const bool plain = is_within_budget("records of 16 MiB, not compressed, 16 threads", {directory + "/plain.raw"},
                                        plain_events * plain_bytes, plain_threads);
    std::remove((directory + "/plain.raw").c_str());
    return many && one && plain;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    try {
        return write_elsewhere(argv[1]) && read_within_budget(argv[1]) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
