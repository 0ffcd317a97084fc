// Bodies of the record decoder; included by the source of each generation.
#ifndef TROX_GENERIC_RECORD_DECODER_INL
#define TROX_GENERIC_RECORD_DECODER_INL

#include "detail/big_endian.h"
#include "event_util.h"
#include "generation/messages_channel.h"
#include "generic/decompress.h"
#include "generic/host_order.h"
#include "generic/os_calls.h"
#include "generic/print.h"
#include "generic/record_decoder.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <pthread.h>

namespace trox_detail
{

inline unsigned long this_thread() noexcept
{
    return static_cast<unsigned long>(::pthread_self());
}

template <class T> std::uint64_t address_of(T* pointer) noexcept
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

/// Block type without the mark of a cut block.
constexpr int block_type(int dtype) noexcept
{
    constexpr int type_mask = 0xFFFF;
    return dtype & type_mask;
}

template <class G, class S, class A> struct record_decoder<G, S, A>::stored {
    const unsigned char* event_header = nullptr;
    const unsigned char* server_block = nullptr;
    const unsigned char* subhead_bytes = nullptr;
    std::uint64_t subhead_position = 0;
    std::uint64_t data_position = 0;
    subhead head;

    bool is_zipped() const
    {
        return (static_cast<unsigned>(head.error) & TROX_CHAN_ZIP_FLAG) != 0;
    }
};

template <class G, class S, class A>
record_decoder<G, S, A>::record_decoder(const S& source, A& arena) : source_(source), arena_(arena)
{
}

template <class G, class S, class A> bool record_decoder<G, S, A>::locate(const row& pointers, stored& record) const
{
    record.event_header =
        source_.event_headers.find(static_cast<std::uint64_t>(pointers.evhd), sizeof(typename G::event_header));
    record.server_block =
        source_.server_blocks.find(static_cast<std::uint64_t>(pointers.sbhd), sizeof(typename G::server_block_head));
    record.subhead_position = static_cast<std::uint64_t>(pointers.chhd);
    record.subhead_bytes = source_.channel->fetch(record.subhead_position, sizeof(subhead));
    record.data_position = static_cast<std::uint64_t>(pointers.data);
    if (record.event_header == nullptr || record.server_block == nullptr || record.subhead_bytes == nullptr) {
        return false;
    }
    channel_traits<G>::load(record.subhead_bytes, record.head);
    return true;
}

template <class G, class S, class A> template <class T> T* record_decoder<G, S, A>::allocate(std::size_t size)
{
    return static_cast<T*>(arena_.allocate(size));
}

template <class G, class S, class A> decode_outcome record_decoder<G, S, A>::decode(const row* pointers, entry& out)
{
    stored record;
    failure_ = decode_failure::none;
    if (pointers == nullptr || !locate(*pointers, record)) {
        print<common_channel_texts, common_channel_message::no_pointer_entry>(this_thread());
        failure_ = decode_failure::outside;
        return decode_outcome::failed_hard;
    }
    const typename A::mark begin = arena_.position();
    const decode_outcome outcome = decode_located(record, out);
    if (outcome == decode_outcome::failed || outcome == decode_outcome::failed_hard) {
        arena_.rewind(begin);
    }
    return outcome;
}

template <class G, class S, class A>
decode_outcome record_decoder<G, S, A>::decode_located(const stored& record, entry& out)
{
    auto* event_header = allocate<typename G::event_header>(sizeof(typename G::event_header));
    if (event_header == nullptr) {
        print<common_channel_texts, common_channel_message::no_event_header_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return decode_outcome::failed_hard;
    }
    channel_traits<G>::load(record.event_header, *event_header);
    // A damaged pattern would have programs take the heads and the payload for those of another generation.
    channel_traits<G>::mark_layout(*event_header);
    auto* server_block = allocate<typename G::server_block_head>(sizeof(typename G::server_block_head));
    if (server_block == nullptr) {
        print<common_channel_texts, common_channel_message::no_server_block_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return decode_outcome::failed_hard;
    }
    channel_traits<G>::load(record.server_block, *server_block);

    const typename A::mark before_block = arena_.position();
    subhead* block = nullptr;
    const decode_outcome outcome = decode_block(record, block);
    if (outcome == decode_outcome::failed || outcome == decode_outcome::failed_hard) {
        return outcome;
    }
    if (block == nullptr) {
        arena_.rewind(before_block); // a payload that did not convert
    }
    if (block != nullptr && !cut_to_subchannel(record.is_zipped(), before_block, block)) {
        return decode_outcome::failed_hard;
    }
    out.event_id.event_number = event_header->event_number;
    out.event_id.time = event_header->event_time;
    auto& addresses = out.sbchdata[0];
    addresses.evhd = address_of(event_header);
    addresses.sbhd = address_of(server_block);
    addresses.chhd = address_of(block);
    addresses.data = block == nullptr ? 0 : address_of(block + 1);
    return outcome;
}

template <class G, class S, class A>
decode_outcome record_decoder<G, S, A>::decode_block(const stored& record, subhead*& result)
{
    const int type = block_type(record.head.dtype);
    const bool stands_alone = channel_traits<G>::is_update_type(type) || type == TROX_ENV_BLOCK;
    // Records of slow channels may share a sub-head, whose length then speaks of another record.
    if (record.head.ldata < 0 || (!stands_alone && static_cast<std::uint64_t>(record.head.ldata) >
                                                       source_.channel->range().rest(record.subhead_position))) {
        print<common_channel_texts, common_channel_message::conversion_failed>(this_thread());
        failure_ = decode_failure::length;
        return decode_outcome::failed_hard;
    }
    if (record.is_zipped()) {
        return unzip(record, result);
    }
    if (channel_traits<G>::is_update_type(type)) {
        return convert_update(record, result);
    }
    return type == TROX_ENV_BLOCK ? convert_environment(record, result) : convert_plain(record, result);
}

template <class G, class S, class A>
decode_outcome record_decoder<G, S, A>::unzip(const stored& record, subhead*& result)
{
    const std::uint64_t head_position = record.subhead_position + sizeof(subhead);
    const unsigned char* head_bytes = source_.channel->fetch(head_position, sizeof(trox_zip_header));
    trox_zip_header head{};
    if (head_bytes != nullptr) {
        load_words(head_bytes, head);
    }
    const bool zlib = (head.zip_flags & trox_zip_zlib) != 0;
    const bool lzo = !zlib && (head.zip_flags & trox_zip_lzo) != 0 && has_lzo();
    if (head_bytes != nullptr && !zlib && !lzo) {
        print<common_channel_texts, common_channel_message::unknown_unzipper>(head.zip_flags, this_thread());
        failure_ = decode_failure::unknown_compressor;
        if (!messages_are_silenced()) {
            print_trox_zip_header(&head);
        }
        return decode_outcome::failed_hard;
    }
    constexpr std::uint32_t longest = std::numeric_limits<std::int32_t>::max() - sizeof(subhead);
    const unsigned char* zipped =
        head_bytes == nullptr ? nullptr : source_.channel->fetch(head_position + sizeof head, head.zipp_length);
    if (zipped == nullptr || head.orig_length > longest || head.zipp_length > longest ||
        !can_expand_to(head.zipp_length, head.orig_length, lzo)) {
        print<common_channel_texts, common_channel_message::uncompress_failed>(this_thread());
        failure_ = decode_failure::announced_sizes;
        return decode_outcome::failed;
    }

    const std::size_t size = sizeof(subhead) + head.orig_length;
    if (scratch_size_ < size) {
        scratch_.reset(static_cast<unsigned char*>(os().malloc(size)));
        scratch_size_ = scratch_ == nullptr ? 0 : size;
        if (scratch_ == nullptr) {
            print<common_channel_texts, common_channel_message::no_additional_memory>(this_thread());
            failure_ = decode_failure::no_memory;
            return decode_outcome::failed_hard;
        }
    }
    auto* unzipped = allocate<subhead>(size);
    if (unzipped == nullptr) {
        print<common_channel_texts, common_channel_message::no_working_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return decode_outcome::failed_hard;
    }
    auto* payload = reinterpret_cast<unsigned char*>(unzipped + 1);
    auto produced = static_cast<int>(head.orig_length);
    auto* in = const_cast<unsigned char*>(zipped); // only read
    const auto in_length = static_cast<int>(head.zipp_length);
    if ((zlib ? make_zlib(in, in_length, payload, &produced)
              : make_lzo(in, in_length, payload, &produced, scratch_.get())) != 0) {
        print<common_channel_texts, common_channel_message::uncompress_failed>(this_thread());
        failure_ = decode_failure::damaged_stream;
        return decode_outcome::failed;
    }
    const auto expected = static_cast<int>(head.orig_length);
    if (produced != expected) {
        print<common_channel_texts, common_channel_message::size_differs>(expected, produced, this_thread());
        failure_ = decode_failure::stream_size;
        return decode_outcome::failed_hard;
    }
    *unzipped = record.head;
    unzipped->error = static_cast<std::int32_t>(static_cast<unsigned>(record.head.error) & ~TROX_CHAN_ZIP_FLAG);
    unzipped->ldata = static_cast<std::int32_t>(size);
    if (trox_convert_data(payload, payload, record.head.dtype, expected) != 0) {
        failure_ = decode_failure::payload;
        return decode_outcome::record_without_block;
    }
    result = unzipped;
    return decode_outcome::record;
}

template <class G, class S, class A>
decode_outcome record_decoder<G, S, A>::convert_update(const stored& record, subhead*& result)
{
    constexpr std::size_t size = sizeof(subhead) + sizeof(typename G::update_block);
    result = allocate<subhead>(size);
    if (result == nullptr) {
        print<common_channel_texts, common_channel_message::no_update_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return decode_outcome::failed_hard;
    }
    *result = record.head;
    result->ldata = size;
    result->dtype = channel_traits<G>::published_update_type;
    const unsigned char* data = source_.channel->fetch(record.data_position, sizeof(typename G::update_block));
    if (data == nullptr ||
        trox_convert_data(data, result + 1, record.head.dtype, sizeof(typename G::update_block)) != 0) {
        print<common_channel_texts, common_channel_message::conversion_failed>(this_thread());
        failure_ = decode_failure::payload;
        return decode_outcome::failed_hard;
    }
    return decode_outcome::record;
}

/// An environment value is published as an update of its channel.
template <class G, class S, class A>
decode_outcome record_decoder<G, S, A>::convert_environment(const stored& record, subhead*& result)
{
    trox_env_data_block value{};
    const unsigned char* data = source_.channel->fetch(record.data_position, sizeof value);
    if (data == nullptr || trox_convert_data(data, &value, record.head.dtype, sizeof value) != 0) {
        print<common_channel_texts, common_channel_message::environment_conversion_failed>(this_thread());
        failure_ = decode_failure::payload;
        return decode_outcome::failed_hard;
    }
    constexpr std::size_t size = sizeof(subhead) + sizeof(typename G::update_block);
    result = allocate<subhead>(size);
    if (result == nullptr) {
        print<common_channel_texts, common_channel_message::no_update_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return decode_outcome::failed_hard;
    }
    *result = record.head;
    result->ldata = size;
    result->dtype = channel_traits<G>::published_update_type;
    typename G::update_block update{};
    std::snprintf(update.upd_prop, sizeof update.upd_prop, "%s", source_.name);
    update.upd_ch_status = value.env_ch_status;
    update.upd_ch_time = value.env_ch_time;
    update.upd_ch_data = value.env_ch_data;
    std::memcpy(result + 1, &update, sizeof update);
    return decode_outcome::record;
}

/// The bytes of a payload: in memory, or read into the room of the converted ones by a source that offers it.
template <class Channel>
const unsigned char* fetch_payload(Channel& channel, std::uint64_t position, std::uint64_t size, unsigned char* room)
{
    if constexpr (requires { channel.fetch_into(position, size, room); }) {
        return channel.fetch_into(position, size, room);
    } else {
        return channel.fetch(position, size);
    }
}

template <class G, class S, class A>
decode_outcome record_decoder<G, S, A>::convert_plain(const stored& record, subhead*& result)
{
    const auto size = static_cast<std::size_t>(record.head.ldata);
    const std::size_t payload = size > sizeof(subhead) ? size - sizeof(subhead) : 0;
    result = allocate<subhead>(sizeof(subhead) + payload);
    if (result == nullptr) {
        print<common_channel_texts, common_channel_message::no_plain_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return decode_outcome::failed_hard;
    }
    *result = record.head;
    auto* room = reinterpret_cast<unsigned char*>(result + 1);
    const unsigned char* data =
        fetch_payload(*source_.channel, record.subhead_position + sizeof(subhead), payload, room);
    if (payload != 0 &&
        (data == nullptr || trox_convert_data(data, room, record.head.dtype, static_cast<int>(payload)) != 0)) {
        print<common_channel_texts, common_channel_message::conversion_failed>(this_thread());
        failure_ = decode_failure::payload;
        return decode_outcome::failed_hard;
    }
    return decode_outcome::record;
}

/// Replaces a block of several members, which lies in the arena from `whole` on, by the requested one. A plain
/// block of one member is not cut, a decompressed one is: programs know the two apart by it. False when there is
/// no memory.
template <class G, class S, class A>
bool record_decoder<G, S, A>::cut_to_subchannel(bool was_zipped, typename A::mark whole, subhead*& result)
{
    const int type = block_type(result->dtype);
    const int members = get_channel_number(result->dtype, result);
    const bool several = (type == TROX_BLOCK_GENERIC_SPECT || members > 1) && source_.subchan >= 0;
    if (!several && !(was_zipped && members == 1 && source_.subchan == 0)) {
        return true;
    }
    subhead* made = nullptr;
    int size = 0;
    if (channel_traits<G>::cut_to_one_channel(result, source_.subchan, nullptr, &size, &made) != 0) {
        print<channel_texts<G>, channel_message::cut_failed>(source_.name, source_.subchan);
        return true;
    }
    if (made == nullptr) {
        return true;
    }
    const malloc_ptr<subhead> cut(made);
    constexpr unsigned half = 16;
    cut->dtype = static_cast<std::int32_t>(static_cast<unsigned>(cut->dtype) | static_cast<unsigned>(type) << half);
    arena_.rewind(whole);
    result = allocate<subhead>(static_cast<std::size_t>(size));
    if (result == nullptr) {
        print<common_channel_texts, common_channel_message::no_working_memory>(this_thread());
        failure_ = decode_failure::no_memory;
        return false;
    }
    std::memcpy(static_cast<void*>(result), cut.get(), static_cast<std::size_t>(size));
    return true;
}

} // namespace trox_detail

#endif
