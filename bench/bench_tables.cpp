#include "bench_files.h"
#include "benchmarks.h"
#include "measure.h"

#include "trox_daq_read_chan_2010.h"

#include <cstdint>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace bench
{

namespace
{

struct piece {
    std::uint64_t position;
    std::size_t length;
};

/// What opening the file for the first `columns` of the listed channels needs at least.
std::vector<piece> needed_pieces(const trox_file_get_tables_2010& tables, const std::vector<std::size_t>& columns)
{
    const auto& ref = *tables.get_ref_tbl();
    const auto rows = static_cast<std::uint64_t>(tables.get_ecp_table()->maxev);
    const auto* index = tables.get_eit_table();
    std::vector<piece> pieces{
        {ref.cdt_ref, static_cast<std::size_t>(tables.get_cdt_table()->length)},
        {ref.eit_pos_ref, 8U + static_cast<std::size_t>(index->entries[0].head.length)},
        {static_cast<std::uint64_t>(tables.get_file_len()) - sizeof ref - 12, sizeof ref + 12},
    };
    for (const std::size_t column : columns) {
        const std::uint64_t column_bytes = rows * sizeof(trox_event_chan_ptr_entry);
        pieces.push_back({ref.ecp_ref + 12 + column * column_bytes, column_bytes});
    }
    return pieces;
}

void read_pieces(const std::string& path, const std::vector<piece>& pieces)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    for (const piece& one : pieces) {
        std::vector<unsigned char> bytes(one.length);
        if (::pread(fd, bytes.data(), bytes.size(), static_cast<off_t>(one.position)) !=
            static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("the wide file does not read");
        }
        keep(bytes[0]);
    }
    ::close(fd);
}

} // namespace

void open_wide_file(int rounds)
{
    constexpr std::size_t channels = 20'000;
    constexpr std::size_t events = 5'000;
    constexpr std::size_t wanted = 10;
    const scratch_directory directory;
    const std::string path = directory.file("wide.raw");
    write_wide_file(path, channels, events);

    std::vector<std::size_t> columns;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < wanted; ++i) {
        columns.push_back(i * (channels / wanted));
        names.push_back(channel_name(columns.back()));
    }
    trox_file_get_tables_2010 tables(0);
    if (tables.get_all_tables(path, 0, &names) != 0) {
        throw std::runtime_error("the wide file does not load");
    }
    const auto pieces = needed_pieces(tables, columns);
    double bytes = 0;
    for (const piece& one : pieces) {
        bytes += static_cast<double>(one.length);
    }
    print_heading("Opening a file of 20,000 channels and 5,000 events for 10 channels");
    const auto times = interleaved_medians(
        {
            {"table loader", [&] { tables.clean_up(); }, [&] { tables.get_all_tables(path, 0, &names); }},
            {"plain read of the bytes needed", {}, [&] { read_pieces(path, pieces); }},
        },
        rounds);
    print_time("table loader", times[0], bytes);
    print_time("plain read of the bytes needed", times[1], bytes);
    print_ratio("time / plain read", times[0] / times[1]);
}

} // namespace bench
