// Records typed by hand: one event header, one server block head and one channel basket.
#ifndef TROX_TEST_DECODED_RECORD_H
#define TROX_TEST_DECODED_RECORD_H

#include "byte_builder.h"
#include "captured_output.h"
#include "channel_types.h"
#include "generation/traits_channel_2010.h"
#include "generation/traits_channel_2024.h"
#include "generation/traits_channel_legacy.h"
#include "generic/basket_copy.h"
#include "generic/record_decoder.inl"
#include "memory_file.h"
#include <cstring>
#include <stdexcept>
#include <string>

namespace trox_test
{

using trox_detail::decode_outcome;

// File positions of the three baskets, odd as they may be.
inline constexpr std::uint64_t headers_at = 1001;
inline constexpr std::uint64_t blocks_at = 2003;
inline constexpr std::uint64_t channel_at = 3005;

template <class T> class decoded_record : public ::testing::Test
{
protected:
    static constexpr std::size_t head_size = sizeof(typename T::subhead);
    static constexpr std::size_t basket_head = 2 * sizeof(typename T::word);
    static constexpr std::int32_t trace = T::trace_type;

    decoded_record()
    {
        headers_.fill(basket_head);
        T::append_event_header(headers_, 4711, {1339666200, 250001});
        blocks_.fill(basket_head);
        T::append_server_block(blocks_, 4711, {1339666201, 17}, "SVR.\x01\x02");
        empty_channel();
        row_ = {headers_at + basket_head, blocks_at + basket_head, channel_at + basket_head,
                channel_at + basket_head + head_size};
    }

    /// A sub-head; its payload is to follow.
    void add_subhead(int dtype, std::uint32_t error, std::size_t ldata)
    {
        channel_.text("TEST/CHANNEL", sizeof(T::subhead::chname)).word(static_cast<std::uint32_t>(dtype));
        channel_.word(error).word(static_cast<std::uint32_t>(ldata));
    }
    void empty_channel()
    {
        channel_ = byte_builder().fill(basket_head);
    }
    void add_zipped(int dtype, std::uint32_t flags, std::uint32_t original, const byte_builder& stream)
    {
        const auto length = static_cast<std::uint32_t>(stream.size());
        add_subhead(dtype, 0x40000021, head_size + 12 + length);
        channel_.word(flags).word(original).word(length);
        channel_.raw({reinterpret_cast<const char*>(stream.bytes().data()), stream.size()});
    }
    /// A zlib stream with one stored block; the checksum is computed as its definition says.
    static byte_builder stored_stream(const byte_builder& payload)
    {
        byte_builder stream;
        const auto length = static_cast<unsigned>(payload.size());
        const auto low = [](unsigned value) { return static_cast<std::uint8_t>(value); };
        stream.fill(1, 0x78).fill(1, 0x01).fill(1, 0x01).fill(1, low(length)).fill(1, low(length >> 8));
        stream.fill(1, low(~length)).fill(1, low(~length >> 8));
        stream.raw({reinterpret_cast<const char*>(payload.bytes().data()), payload.size()});
        std::uint32_t a = 1;
        std::uint32_t b = 0;
        for (const std::uint8_t byte : payload.bytes()) {
            a = (a + byte) % 65521;
            b = (b + a) % 65521;
        }
        return stream.word(b << 16 | a);
    }

    decode_outcome decode(int subchan = -1)
    {
        const memory_file file(file_bytes());
        trox_detail::basket_copy basket;
        if (!basket.open_range(file.descriptor(), channel_at + channel_.size(), channel_at, channel_.size())) {
            throw std::runtime_error("the typed basket cannot be read");
        }
        const auto range = [](const byte_builder& bytes, std::uint64_t position) {
            return trox_detail::byte_range{bytes.bytes().data(), position, bytes.size()};
        };
        const trox_detail::record_source<typename T::generation> source{
            range(headers_, headers_at), range(blocks_, blocks_at), &basket, name_.c_str(), subchan};
        trox_detail::record_decoder<typename T::generation> decoder(source, arena_);
        record_ = {};
        decode_outcome outcome{};
        printed_ = capture([&] { outcome = decoder.decode(has_row_ ? &row_ : nullptr, record_); }).out;
        return outcome;
    }
    /// Fails hard with this text behind which only the thread's id stands; the record owns nothing.
    void expect_failure(decode_outcome outcome, const std::string& text)
    {
        EXPECT_EQ(decode(), outcome);
        EXPECT_THAT(printed_, ::testing::MatchesRegex(text));
        EXPECT_EQ(record_.sbchdata[0].evhd, 0U);
        EXPECT_EQ(record_.sbchdata[0].chhd, 0U);
    }

    /// The channel's basket at its position, zeros before it.
    std::vector<std::uint8_t> file_bytes() const
    {
        std::vector<std::uint8_t> bytes(channel_at);
        bytes.insert(bytes.end(), channel_.bytes().begin(), channel_.bytes().end());
        return bytes;
    }

    const typename T::subhead* block() const
    {
        return reinterpret_cast<const typename T::subhead*>(record_.sbchdata[0].chhd);
    }
    template <class Value> Value payload_at(std::size_t offset) const
    {
        Value value;
        std::memcpy(&value, reinterpret_cast<const unsigned char*>(record_.sbchdata[0].data) + offset, sizeof value);
        return value;
    }

    byte_builder headers_;
    byte_builder blocks_;
    byte_builder channel_;
    typename T::pointers_entry row_{};
    bool has_row_ = true;
    std::string name_ = "TEST/CHANNEL";
    trox_detail::record_arena arena_; // of all records of a test
    typename T::entry record_{};
    std::string printed_;
};

// Texts of failed records, as regular expressions; behind each stands the thread's id.
inline constexpr const char* no_pointer = "Failed to obtain pointer to event data pointer [0-9]+\n";
inline constexpr const char* not_converted = "Failed to convert_data  [0-9]+ .. exiting\n";
inline constexpr const char* not_uncompressed = "Failed to uncompress PID [0-9]+!!!\n";

} // namespace trox_test

#endif
