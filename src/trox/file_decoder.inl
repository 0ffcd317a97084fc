// The decoder for records of one channel of one data file, generic over the generation.
#ifndef TROX_TROX_FILE_DECODER_INL
#define TROX_TROX_FILE_DECODER_INL

#include "generic/record_decoder.inl"
#include "trox/data_file.h"
#include "trox/file_tables.inl"
#include "trox/stream_check.h"
#include "trox/typed_file.h"

#include <cerrno>
#include <new>

namespace trox::detail
{

using trox_detail::byte_range;
using trox_detail::channel_traits;
using trox_detail::decode_failure;
using trox_detail::decode_outcome;
using trox_detail::file_span;

/// Where the decoder reads the bytes of a record: windows, by reference.
struct windowed_source {
    struct window_reference {
        file_window* window = nullptr;
        const unsigned char* find(std::uint64_t at, std::uint64_t size) const noexcept
        {
            return window->fetch(at, size);
        }
    };
    window_reference event_headers;
    window_reference server_blocks;
    file_window* channel = nullptr;
    const char* name = "";
    int subchan = -1; // whole records: members are told apart by who takes the values
};

inline const char* text_of(decode_failure failure)
{
    switch (failure) {
    case decode_failure::none:
        return "is sound";
    case decode_failure::outside:
        return "the pointers table points outside the file's baskets";
    case decode_failure::length:
        return "its length does not fit its basket";
    case decode_failure::unknown_compressor:
        return "it is compressed in an unknown way";
    case decode_failure::announced_sizes:
        return "the sizes in its zip header cannot be true";
    case decode_failure::damaged_stream:
        return "its compressed data are damaged";
    case decode_failure::stream_size:
        return "its compressed data give another size than announced";
    case decode_failure::payload:
        return "its payload is too short for its block type";
    case decode_failure::no_memory:
        return "there is no memory for it";
    }
    return "";
}

/// Why a record is not there, by what the decoder says, or by why a window could not read (0: it could).
inline record_failure failure_of(decode_failure failure, int reading)
{
    using cause = record_failure::cause;
    if (failure == decode_failure::none) {
        return {};
    }
    if (failure == decode_failure::no_memory || reading == ENOMEM) {
        return {cause::no_memory, text_of(decode_failure::no_memory)};
    }
    if (reading == file_window::cut) {
        return {cause::unreadable, "its file was cut while it was read"};
    }
    if (reading != 0) {
        return {cause::unreadable, "it cannot be read", reading};
    }
    return {cause::damaged, text_of(failure)};
}

/// A piece of a file as a window gives it, where lack of memory says nothing of the file. Throws std::bad_alloc.
inline const unsigned char* piece_of(file_window& window, std::uint64_t at, std::uint64_t size)
{
    const unsigned char* bytes = window.fetch(at, size);
    if (bytes == nullptr && window.failure() == ENOMEM) {
        throw std::bad_alloc();
    }
    return bytes;
}

/// Reads so much at once where records follow each other.
inline constexpr std::size_t heads_ahead = std::size_t{32} << 10;
inline constexpr std::size_t records_ahead = std::size_t{128} << 10;
inline constexpr std::size_t single_record_ahead = std::size_t{4} << 10;

template <class G> class typed_rows;

template <class G> class typed_decoder final : public channel_decoder
{
public:
    typed_decoder(const typed_rows<G>& rows, std::size_t channel, std::size_t bytes, file_window::reach also,
                  decode_workspace& workspace);
    bool decode(std::uint32_t row, batch_arena& arena, decoded_record& out) override;
    record_failure failure() const noexcept override
    {
        return failure_;
    }
    record_failure defect(std::uint32_t row) noexcept override;

private:
    int reading_failure() const noexcept;

    const typed_rows<G>& rows_;
    std::size_t channel_;
    windowed_source source_;
    record_failure failure_{};
};

template <class G>
typed_decoder<G>::typed_decoder(const typed_rows<G>& rows, std::size_t channel, std::size_t bytes,
                                file_window::reach also, decode_workspace& workspace)
    : rows_(rows), channel_(channel), source_{{&workspace.event_headers},
                                              {&workspace.server_blocks},
                                              &workspace.channel,
                                              rows.name(channel).c_str(),
                                              -1}
{
    const int fd = rows.file().fd;
    const file_span basket = rows.basket(channel);
    const std::uint64_t file = rows.identity();
    workspace.event_headers.look_at(file, fd, rows.event_headers().begin, rows.event_headers().end, heads_ahead, also);
    workspace.server_blocks.look_at(file, fd, rows.server_blocks().begin, rows.server_blocks().end, heads_ahead, also);
    workspace.channel.look_at(file, fd, basket.begin, basket.end, bytes, also);
}

template <class G> bool typed_decoder<G>::decode(std::uint32_t row, batch_arena& arena, decoded_record& out)
{
    if (row >= rows_.rows(channel_)) {
        failure_ = failure_of(decode_failure::outside, 0);
        return false;
    }
    for (file_window* window : {source_.event_headers.window, source_.server_blocks.window, source_.channel}) {
        window->forget_failure();
    }
    source_.channel->borrow_from(&arena);
    const trox_detail::message_silencer quiet;
    trox_detail::record_decoder<G, windowed_source, batch_arena> decoder(source_, arena);
    typename G::channel_entry entry{};
    const batch_arena::mark before = arena.position();
    const decode_outcome outcome = decoder.decode(&rows_.row_at(channel_, row), entry);
    source_.channel->borrow_from(nullptr);
    failure_ = failure_of(decoder.failure(), reading_failure());
    if (outcome != decode_outcome::record) {
        arena.rewind(before);
        return false;
    }
    const auto& addresses = entry.sbchdata[0];
    const auto& event = *reinterpret_cast<const typename G::event_header*>(addresses.evhd);
    const auto& server = *reinterpret_cast<const typename G::server_block_head*>(addresses.sbhd);
    out.block = reinterpret_cast<const void*>(addresses.chhd);
    out.format = typed_file<G>::format;
    out.number = event.event_number;
    out.time = time_of(event.event_time);
    out.event_type = event.event_type;
    out.server = {server.server, trox_detail::text_length(server.server)};
    out.server_status = static_cast<std::uint32_t>(server.status);
    out.file = *rows_.path();
    out.offset = rows_.offset(channel_, row);
    return true;
}

/// Why one of the windows could not read; 0 when all could.
template <class G> int typed_decoder<G>::reading_failure() const noexcept
{
    for (const file_window* window : {source_.event_headers.window, source_.server_blocks.window, source_.channel}) {
        if (window->failure() != 0) {
            return window->failure();
        }
    }
    return 0;
}

template <class G> record_failure typed_decoder<G>::defect(std::uint32_t row) noexcept
{
    const std::uint64_t position = rows_.offset(channel_, row);
    file_window& window = *source_.channel;
    window.forget_failure();
    typename G::subhead head{};
    trox_zip_header zip{};
    const unsigned char* bytes = window.fetch(position, sizeof head + sizeof zip);
    if (bytes == nullptr) {
        return {};
    }
    channel_traits<G>::load(bytes, head);
    trox_detail::load_words(bytes + sizeof head, zip);
    const bool is_zipped = (static_cast<unsigned>(head.error) & TROX_CHAN_ZIP_FLAG) != 0;
    if (!is_zipped || (zip.zip_flags & trox_zip_zlib) == 0) {
        return {};
    }
    const decode_failure found =
        check_zlib_stream(window, position + sizeof head + sizeof zip, zip.zipp_length, zip.orig_length);
    return failure_of(found, window.failure());
}

} // namespace trox::detail

#endif
