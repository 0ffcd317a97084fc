#include "spool.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace trox::writer
{
namespace
{

// The file has no name any more when this returns: however the program ends, nothing is left of it.
descriptor create_nameless(const std::string& directory)
{
    std::string path;
    auto file = create_temporary(directory, path);
    ::unlink(path.c_str());
    return file;
}

} // namespace

spool::spool(const std::string& directory, std::string name, std::size_t arena_bytes)
    : name_(std::move(name)), fd_(create_nameless(directory)), out_(fd_.get(), name_), arena_bytes_(arena_bytes)
{
}

std::size_t spool::add_stream()
{
    streams_.emplace_back();
    return streams_.size() - 1;
}

void spool::append(std::size_t number, const void* data, std::size_t size)
{
    if (size > arena_bytes_ - std::min(arena_bytes_, arena_.size())) {
        flush();
    }
    auto& to = streams_[number];
    if (size > arena_bytes_) {
        const auto position = out_.position();
        out_.write(data, size);
        to.size += size;
        add_extent(to, position, size);
        return;
    }
    if (arena_.capacity() == 0) {
        arena_.reserve(arena_bytes_);
    }
    const auto* first = static_cast<const unsigned char*>(data);
    if (!pieces_.empty() && pieces_.back().stream == number) {
        pieces_.back().size += size;
    } else {
        pieces_.push_back({number, arena_.size(), size});
    }
    arena_.insert(arena_.end(), first, first + size);
    to.size += size;
}

void spool::add_extent(stream_data& to, std::uint64_t position, std::uint64_t size)
{
    const auto offset = to.extents.empty() ? 0 : to.extents.back().offset + to.extents.back().size;
    if (!to.extents.empty() && to.extents.back().position + to.extents.back().size == position) {
        to.extents.back().size += size;
    } else {
        to.extents.push_back({offset, position, size});
    }
}

void spool::flush()
{
    std::stable_sort(pieces_.begin(), pieces_.end(),
                     [](const piece& a, const piece& b) { return a.stream < b.stream; });
    for (const auto& part : pieces_) {
        add_extent(streams_[part.stream], out_.position(), part.size);
        out_.write(arena_.data() + part.offset, part.size);
    }
    pieces_.clear();
    arena_.clear();
    out_.flush();
}

template <class Use>
void spool::for_each_extent(std::size_t number, std::uint64_t offset, std::uint64_t size, Use use) const
{
    const auto& extents = streams_[number].extents;
    auto at = std::upper_bound(extents.begin(), extents.end(), offset,
                               [](std::uint64_t value, const extent& e) { return value < e.offset; });
    while (size > 0) {
        const auto& from = *std::prev(at);
        const auto skipped = offset - from.offset;
        const auto part = std::min(size, from.size - skipped);
        use(from.position + skipped, part);
        offset += part;
        size -= part;
        ++at;
    }
}

void spool::read(std::size_t number, std::uint64_t offset, void* destination, std::size_t size) const
{
    auto* to = static_cast<unsigned char*>(destination);
    for_each_extent(number, offset, size, [&](std::uint64_t position, std::uint64_t part) {
        read_exactly(fd_.get(), position, to, static_cast<std::size_t>(part), name_);
        to += part;
    });
}

void spool::copy(std::size_t number, std::uint64_t offset, std::uint64_t size, buffered_output& to) const
{
    for_each_extent(number, offset, size, [&](std::uint64_t position, std::uint64_t part) {
        to.copy_from(fd_.get(), position, part, name_);
    });
}

} // namespace trox::writer
