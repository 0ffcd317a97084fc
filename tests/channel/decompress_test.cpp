// The two decompressors: good streams, and everything that can be wrong with one.
#include "captured_output.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_writer.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>
#include <zlib.h>

using trox_test::capture;

namespace
{

using bytes = std::vector<unsigned char>;

/// What a decompressor gives for `in` and `room` bytes of output.
struct decompressed {
    int result = -1;
    int length = -1;
    bytes out;
    std::string printed;
};

constexpr unsigned char untouched = 0xA5;

decompressed unzip(bytes in, int room)
{
    decompressed got;
    got.out.assign(static_cast<std::size_t>(room) + 1, untouched);
    got.length = room;
    got.printed = capture([&] {
                      got.result = make_zlib(in.data(), static_cast<int>(in.size()), got.out.data(), &got.length);
                  }).out;
    return got;
}

decompressed unlzo(bytes in, int room)
{
    decompressed got;
    unsigned char work[1]{};
    got.out.assign(static_cast<std::size_t>(room) + 1, untouched);
    got.length = room;
    got.printed = capture([&] {
                      got.result = make_lzo(in.data(), static_cast<int>(in.size()), got.out.data(), &got.length, work);
                  }).out;
    return got;
}

std::string text_of(const decompressed& got)
{
    return std::string(got.out.begin(), got.out.begin() + got.length);
}

/// "TROX TROX TROX" in a stored zlib block, typed by hand: header, block head, length, its complement, text, Adler-32.
bytes stored_stream()
{
    bytes stream{0x78, 0x01, 0x01, 14, 0, 0xF1, 0xFF};
    for (const char c : std::string_view("TROX TROX TROX")) {
        stream.push_back(static_cast<unsigned char>(c));
    }
    const bytes checksum{0x1F, 0x25, 0x04, 0x28}; // 1064 is 1 and the sum of the letters
    stream.insert(stream.end(), checksum.begin(), checksum.end());
    return stream;
}

bytes some_data(std::size_t size)
{
    bytes data(size);
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<unsigned char>((i * i / 50) & 0x3F);
    }
    return data;
}

bytes zipped(const bytes& data)
{
    uLongf length = compressBound(data.size());
    bytes stream(length);
    compress(stream.data(), &length, data.data(), data.size());
    stream.resize(length);
    return stream;
}

/// "TROX" sixteen times as LZO1X, typed by hand: a literal run of 4, then one match of length 60 at distance 4.
bytes lzo_stream()
{
    return {17 + 4, 'T', 'R', 'O', 'X', 0x20, 60 - 2 - 31, (4 - 1) << 2, 0, 17, 0, 0};
}

} // namespace

TEST(zlib_records, of_a_stream_typed_by_hand_decompress)
{
    const decompressed got = unzip(stored_stream(), 14);
    ASSERT_EQ(got.result, 0) << got.printed;
    EXPECT_EQ(got.length, 14);
    EXPECT_EQ(text_of(got), "TROX TROX TROX");
    EXPECT_EQ(got.printed, "");
}

TEST(zlib_records, give_the_length_that_they_have_in_a_larger_room)
{
    const decompressed got = unzip(stored_stream(), 100);
    ASSERT_EQ(got.result, 0);
    EXPECT_EQ(got.length, 14);
    EXPECT_EQ(got.out[14], untouched);
}

TEST(zlib_records, of_every_compression_level_decompress)
{
    const bytes data = some_data(70000);
    for (int level = 0; level <= 9; ++level) {
        uLongf length = compressBound(data.size());
        bytes stream(length);
        ASSERT_EQ(compress2(stream.data(), &length, data.data(), data.size(), level), Z_OK);
        stream.resize(length);
        decompressed got = unzip(stream, static_cast<int>(data.size()));
        ASSERT_EQ(got.result, 0) << "level " << level;
        got.out.resize(data.size());
        EXPECT_EQ(got.out, data);
    }
}

TEST(zlib_records, with_bytes_behind_the_stream_decompress)
{
    bytes stream = stored_stream();
    stream.insert(stream.end(), {1, 2, 3, 4, 5, 6, 7, 8, 9});
    const decompressed got = unzip(stream, 14);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(text_of(got), "TROX TROX TROX");
}

TEST(zlib_records, that_end_early_fail)
{
    const bytes whole = zipped(some_data(5000));
    for (std::size_t length = 1; length < whole.size(); length += length < 40 ? 1 : 37) {
        const decompressed got = unzip(bytes(whole.begin(), whole.begin() + static_cast<long>(length)), 5000);
        EXPECT_EQ(got.result, 1);
        EXPECT_EQ(got.printed, "make_zlib() -  !!!! inflate() returnd -5 !!!!") << "cut to " << length;
        EXPECT_EQ(got.length, 5000) << "unchanged";
    }
}

TEST(zlib_records, with_a_wrong_checksum_fail)
{
    bytes stream = stored_stream();
    stream.back() ^= 1;
    const decompressed got = unzip(stream, 14);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.printed, "make_zlib() -  !!!! inflate() returnd -3 !!!!");
}

TEST(zlib_records, that_need_more_room_fail_and_stay_inside_it)
{
    for (const int room : {1, 13}) {
        const decompressed got = unzip(stored_stream(), room);
        EXPECT_EQ(got.result, 1);
        EXPECT_EQ(got.printed, "make_zlib() -  !!!! inflate() returnd -5 !!!!");
        EXPECT_EQ(got.out[static_cast<std::size_t>(room)], untouched);
    }
}

TEST(zlib_records, that_want_a_dictionary_or_are_no_stream_fail)
{
    EXPECT_EQ(unzip({0x78, 0xBB, 0, 0, 0, 1, 3, 0, 0, 0, 0, 1}, 14).printed,
              "make_zlib() -  !!!! inflate() returnd 2 !!!!");
    EXPECT_EQ(unzip({'n', 'o', 't', ' ', 'z', 'l', 'i', 'b'}, 14).printed,
              "make_zlib() -  !!!! inflate() returnd -3 !!!!");
}

TEST(zlib_records, refuse_parameters_that_cannot_be)
{
    unsigned char in[4]{};
    unsigned char out[4]{};
    int room = 4;
    int none = 0;
    int negative = -4;
    const auto refused = [](auto call) {
        int result = 0;
        const std::string printed = capture([&] { result = call(); }).out;
        return result == 1 && printed == "make_zlib() invalid parameter(s)\n";
    };
    EXPECT_TRUE(refused([&] { return make_zlib(nullptr, 4, out, &room); }));
    EXPECT_TRUE(refused([&] { return make_zlib(in, 0, out, &room); }));
    EXPECT_TRUE(refused([&] { return make_zlib(in, -1, out, &room); }));
    EXPECT_TRUE(refused([&] { return make_zlib(in, 4, nullptr, &room); }));
    EXPECT_TRUE(refused([&] { return make_zlib(in, 4, out, nullptr); }));
    EXPECT_TRUE(refused([&] { return make_zlib(in, 4, out, &none); }));
    EXPECT_TRUE(refused([&] { return make_zlib(in, 4, out, &negative); }));
}

TEST(zlib_records, with_any_byte_changed_fail_or_end_inside_the_room)
{
    const bytes data = some_data(600);
    const bytes whole = zipped(data);
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        bytes stream = whole;
        stream[random() % stream.size()] ^= static_cast<unsigned char>(1U << random() % 8);
        if (round % 3 == 0) {
            stream[random() % stream.size()] = static_cast<unsigned char>(random());
        }
        const decompressed got = unzip(stream, 600);
        ASSERT_TRUE(got.result == 1 || (got.length >= 0 && got.length <= 600));
        ASSERT_EQ(got.out[600], untouched);
        if (got.result == 0) {
            EXPECT_TRUE(std::equal(data.begin(), data.begin() + got.length, got.out.begin()))
                << "the checksum lets nothing else pass";
        }
    }
}

TEST(lzo_records, of_a_stream_typed_by_hand_decompress)
{
    if (!trox::writer::has_lzo()) {
        GTEST_SKIP() << "built without LZO";
    }
    const decompressed got = unlzo(lzo_stream(), 100);
    ASSERT_EQ(got.result, 0) << got.printed;
    EXPECT_EQ(got.length, 64);
    EXPECT_EQ(text_of(got), "TROXTROXTROXTROXTROXTROXTROXTROXTROXTROXTROXTROXTROXTROXTROXTROX");
    EXPECT_EQ(got.printed, "");
}

TEST(lzo_records, that_are_cut_or_need_more_room_fail_and_stay_inside_it)
{
    if (!trox::writer::has_lzo()) {
        GTEST_SKIP() << "built without LZO";
    }
    const bytes whole = lzo_stream();
    for (std::size_t length = 1; length < whole.size(); ++length) {
        const decompressed got = unlzo(bytes(whole.begin(), whole.begin() + static_cast<long>(length)), 64);
        EXPECT_EQ(got.result, 1) << "cut to " << length;
        EXPECT_THAT(got.printed,
                    ::testing::MatchesRegex("make_lzo - internal error - decompression failed: -[0-9]+\n"));
        EXPECT_EQ(got.out[64], untouched);
    }
    const decompressed small = unlzo(whole, 63);
    EXPECT_EQ(small.result, 1);
    EXPECT_EQ(small.printed, "make_lzo - internal error - decompression failed: -5\n");
    EXPECT_EQ(small.out[63], untouched);
}

TEST(lzo_records, with_any_bytes_changed_never_leave_the_room)
{
    if (!trox::writer::has_lzo()) {
        GTEST_SKIP() << "built without LZO";
    }
    bytes whole = lzo_stream();
    // A longer stream: literals and matches of several kinds in front of the same end.
    whole.insert(whole.begin() + 1 + 4, {0x20 + 5, 3 << 2, 0, 0x40 + (2 << 2) + 1, 0, 'A'});
    std::mt19937 random(2010);
    for (int round = 0; round < 6000; ++round) {
        bytes stream = round % 2 == 0 ? lzo_stream() : whole;
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes) {
            stream[random() % stream.size()] ^= static_cast<unsigned char>(1 + random() % 255);
        }
        const decompressed got = unlzo(stream, 64);
        ASSERT_TRUE(got.result == 1 || (got.length >= 0 && got.length <= 64));
        ASSERT_EQ(got.out[64], untouched);
    }
}

TEST(lzo_records, refuse_parameters_that_cannot_be)
{
    unsigned char in[4]{};
    unsigned char out[4]{};
    unsigned char work[4]{};
    int room = 4;
    int none = 0;
    const auto refused = [](auto call) {
        int result = 0;
        const std::string printed = capture([&] { result = call(); }).out;
        return result == 1 && printed == "make_lzo() invalid parameter(s)\n";
    };
    EXPECT_TRUE(refused([&] { return make_lzo(nullptr, 4, out, &room, work); }));
    EXPECT_TRUE(refused([&] { return make_lzo(in, 0, out, &room, work); }));
    EXPECT_TRUE(refused([&] { return make_lzo(in, 4, nullptr, &room, work); }));
    EXPECT_TRUE(refused([&] { return make_lzo(in, 4, out, nullptr, work); }));
    EXPECT_TRUE(refused([&] { return make_lzo(in, 4, out, &none, work); }));
    EXPECT_TRUE(refused([&] { return make_lzo(in, 4, out, &room, nullptr); }));
}

TEST(lzo_records, fail_in_a_build_without_lzo)
{
    if (trox::writer::has_lzo()) {
        GTEST_SKIP() << "built with LZO";
    }
    EXPECT_EQ(unlzo(lzo_stream(), 64).result, 1);
}
