// Byte order of records: whole words, the two mixed-width heads of the 2024 generation, and payloads by block
// type.
#include "block_types.h"
#include "byte_swap.h"
#include "detail/big_endian.h"
#include "event_util.h"

#include <algorithm>
#include <cstring>

namespace trox_evutl
{

namespace
{

/// A conversion under way: walks a record from its begin, converting into the destination what it is told to.
/// In place, what is kept costs nothing.
class converter
{
public:
    converter(const void* source, void* destination, std::size_t size) noexcept
        : source_(static_cast<const unsigned char*>(source)), destination_(static_cast<unsigned char*>(destination)),
          left_(size)
    {
    }

    std::size_t left() const noexcept
    {
        return left_;
    }

    void words(std::size_t count) noexcept
    {
        swap_words_4(source_, destination_, count);
        advance(count * sizeof(std::uint32_t));
    }

    void long_words(std::size_t count) noexcept
    {
        swap_words_8(source_, destination_, count);
        advance(count * sizeof(std::uint64_t));
    }

    void keep(std::size_t size) noexcept
    {
        if (source_ != destination_) {
            std::memcpy(destination_, source_, size);
        }
        advance(size);
    }

    /// The next word in host order; does not move on.
    std::int32_t peek() const noexcept
    {
        return trox_detail::load_big_endian<std::int32_t>(source_);
    }

private:
    void advance(std::size_t size) noexcept
    {
        source_ += size;
        destination_ += size;
        left_ -= size;
    }

    const unsigned char* source_;
    unsigned char* destination_;
    std::size_t left_;
};

constexpr std::size_t word_size = sizeof(std::uint32_t);

std::size_t count_from(std::int32_t value) noexcept
{
    return value < 0 ? 0 : static_cast<std::size_t>(value);
}

template <class Record> void convert_update(converter& payload) noexcept
{
    payload.keep(sizeof(Record::upd_prop));
    payload.words((sizeof(Record) - sizeof(Record::upd_prop)) / word_size);
}

void convert_image_head(converter& payload) noexcept
{
    payload.words(offsetof(trox_image_frame_head, padding) / word_size);
    payload.keep(sizeof(trox_image_frame_head::padding));
    payload.long_words(1);
    payload.words(1);
}

void convert_name_values(converter& payload) noexcept
{
    payload.words(1);
    payload.keep(sizeof(trox_name_value_block::comment));
    std::size_t count = count_from(payload.peek());
    payload.words(1);
    for (; count > 0 && payload.left() >= sizeof(trox_name_value_channel); --count) {
        payload.keep(sizeof(trox_name_value_channel::name));
        payload.words(1);
    }
}

/// Types without elements of words: their bytes are kept.
bool holds_bytes(std::int32_t type) noexcept
{
    return type == DATA_STRING || type == DATA_IMAGE;
}

void convert_equipment_data(converter& payload) noexcept
{
    const bool of_bytes = holds_bytes(payload.peek());
    payload.words(offsetof(trox_eqdata_head, length) / word_size);
    const std::size_t elements = count_from(payload.peek());
    payload.words(1);
    if (!of_bytes) {
        payload.words(std::min(elements, payload.left() / word_size));
    }
}

void convert_payload(payload_layout layout, converter& payload) noexcept
{
    switch (layout) {
    case payload_layout::update:
        convert_update<trox_upd_data_block>(payload);
        break;
    case payload_layout::update_2010:
        convert_update<trox_upd_data_block_2010>(payload);
        break;
    case payload_layout::environment:
        payload.words(sizeof(trox_env_data_block) / word_size);
        break;
    case payload_layout::image:
        convert_image_head(payload);
        break;
    case payload_layout::image_extended:
        payload.words(sizeof(trox_image_ext_frame_head) / word_size);
        break;
    case payload_layout::name_value:
        convert_name_values(payload);
        break;
    case payload_layout::equipment:
        convert_equipment_data(payload);
        break;
    case payload_layout::spectrum:
    case payload_layout::spectrum_of_region:
    case payload_layout::words:
        payload.words(payload.left() / word_size);
        break;
    case payload_layout::unassigned:
        break;
    }
    payload.keep(payload.left());
}

} // namespace

} // namespace trox_evutl

void trox_swap4(int* source, int* destination, int nwords)
{
    if (source != nullptr && destination != nullptr && nwords > 0) {
        trox_evutl::swap_words_4(source, destination, static_cast<std::size_t>(nwords));
    }
}

void swap8bytes(const void* source, void* destination, int n)
{
    if (source != nullptr && destination != nullptr && n > 0) {
        trox_evutl::swap_words_8(source, destination, static_cast<std::size_t>(n));
    }
}

void trox_convert_event_head(const void* source, void* destination)
{
    using head = trox_eventheader_2024;
    if (source == nullptr || destination == nullptr) {
        return;
    }
    trox_evutl::converter record(source, destination, sizeof(head));
    record.words(offsetof(head, event_length) / sizeof(std::uint32_t));
    record.long_words((offsetof(head, event_time) - offsetof(head, event_length)) / sizeof(std::uint64_t));
    record.words((sizeof(head) - offsetof(head, event_time)) / sizeof(std::uint32_t));
}

void trox_convert_event_serv_block_head(const void* source, void* destination)
{
    using head = trox_serv_block_head_2024;
    if (source == nullptr || destination == nullptr) {
        return;
    }
    trox_evutl::converter record(source, destination, sizeof(head));
    record.long_words(offsetof(head, time) / sizeof(std::uint64_t));
    record.words((offsetof(head, server) - offsetof(head, time)) / sizeof(std::uint32_t));
    record.keep(sizeof(head::server));
    record.words((sizeof(head) - offsetof(head, tmask)) / sizeof(std::uint32_t));
}

int trox_convert_data(void* source, void* destination, int dtype, int len)
{
    using namespace trox_evutl;
    const payload_layout layout = layout_of(dtype);
    if (source == nullptr || destination == nullptr || len < 0 || layout == payload_layout::unassigned) {
        return TROX_EVUTL_INV_PARAM;
    }
    if (len == 0) {
        return TROX_EVUTL_OK;
    }
    const auto size = static_cast<std::size_t>(len);
    if (size < fixed_head_size(layout)) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    converter payload(source, destination, size);
    convert_payload(layout, payload);
    return TROX_EVUTL_OK;
}
