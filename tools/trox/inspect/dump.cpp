#include "dump.h"

#include "dump_items.inl"
#include "file_probe.h"
#include "input_file.h"

namespace trox::inspect
{

namespace
{

file_items no_data_file(const input_file& file)
{
    file_items items;
    items.file_size = file.size();
    items.remarks.push_back("neither a file head nor a trailer: no data file");
    sort_and_fill(items.items, file.size());
    return items;
}

} // namespace

file_items list_items(const std::string& path)
{
    const input_file file(path);
    const file_probe probed = probe(file);
    if (!probed.format) {
        return no_data_file(file);
    }
    return with_generation(*probed.format, [&]<class Generation>() { return file_layout<Generation>(file).summary(); });
}

file_items dump_fields(const std::string& path, const dump_options& options, const dump_sink& out)
{
    const input_file file(path);
    const file_probe probed = probe(file);
    if (!probed.format) {
        return no_data_file(file);
    }
    return with_generation(*probed.format,
                           [&]<class Generation>() { return file_dump<Generation>(file, options, out).run(); });
}

bool has_event(const std::string& path, std::uint64_t number)
{
    const input_file file(path);
    const file_probe probed = probe(file);
    dump_options options;
    options.event = number;
    const dump_sink none = [](const dump_row&) {};
    return probed.format && with_generation(*probed.format, [&]<class Generation>() {
               return file_dump<Generation>(file, options, none).has_event();
           });
}

std::uint64_t dump_bytes(const std::string& path, std::uint64_t position, std::uint64_t length,
                         const std::function<void(const hex_row&)>& out)
{
    constexpr std::uint64_t width = 16;
    const input_file file(path);
    file_window window(file);
    const std::uint64_t room = position < file.size() ? file.size() - position : 0;
    const std::uint64_t end = position + std::min(length, room);
    for (std::uint64_t at = position; at < end; at += width) {
        const auto count = static_cast<std::size_t>(std::min(width, end - at));
        const unsigned char* bytes = window.at(at, count);
        if (bytes == nullptr) {
            return at - position;
        }
        hex_row row{at, hex_bytes(bytes, count), {}};
        for (std::size_t i = 0; i < count; ++i) {
            row.text += bytes[i] >= ' ' && bytes[i] <= '~' ? static_cast<char>(bytes[i]) : '.';
        }
        out(row);
    }
    return end - position;
}

} // namespace trox::inspect
