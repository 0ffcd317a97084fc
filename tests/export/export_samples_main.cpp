// Writes the events of data files into a file of another format, verified: what check_export.py looks at.
//
//     export_samples TARGET rows|wide CHANNELS FILE...        CHANNELS: patterns with commas between them, or "*"
#include "export/exporter.h"

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace
{

std::vector<trox::channel_pattern> patterns_of(std::string list)
{
    std::vector<trox::channel_pattern> patterns;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        patterns.push_back(trox::pattern_from_text(list.substr(0, end)));
        list.erase(0, end + 1);
    }
    return patterns;
}

int write_export(const std::vector<std::string>& arguments)
{
    trox_export::options how;
    how.target = arguments[0];
    how.format = trox_export::format_of_name(how.target).value();
    how.csv = arguments[1] == "wide" ? trox_export::csv_layout::wide : trox_export::csv_layout::rows;
    how.verify = true;
    const auto data = trox::data_set::open_files({arguments.begin() + 3, arguments.end()});
    trox::selection what;
    what.channels = patterns_of(arguments[2]);
    const auto done = trox_export::export_events(data, what, {}, how);
    if (done.difference) {
        std::fprintf(stderr, "verification: %s\n", done.difference->c_str());
        return 1;
    }
    std::printf("%llu\n", static_cast<unsigned long long>(done.events));
    return done.is_verified ? 0 : 1;
}

} // namespace

int main(int count, char** words)
{
    constexpr int least = 5;
    if (count < least) {
        std::fputs("usage: export_samples TARGET rows|wide CHANNELS FILE...\n", stderr);
        return 2;
    }
    try {
        return write_export({words + 1, words + count});
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "%s\n", reason.what());
        return 1;
    }
}
