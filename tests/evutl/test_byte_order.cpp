// Byte order: word arrays of any length at any address, the 2024 heads, and payloads by block type.
#include "byte_builder.h"
#include "event_util.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace
{

using trox_test::byte_builder;
using bytes = std::vector<std::uint8_t>;

/// What the swapping functions must do, one byte at a time.
bytes reversed_words(const bytes& source, std::size_t begin, std::size_t count, std::size_t width)
{
    bytes result(count * width);
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = source[begin + i / width * width + (width - 1 - i % width)];
    }
    return result;
}

bytes counting(std::size_t size)
{
    bytes result(size);
    std::iota(result.begin(), result.end(), std::uint8_t{1});
    return result;
}

struct swap_case {
    const char* name;
    void (*swap)(const void* source, void* destination, int count);
    std::size_t width;
};

class swapping : public ::testing::TestWithParam<swap_case>
{
};

constexpr std::uint8_t guard = 0xA5;

TEST_P(swapping, copies_any_count_between_any_addresses)
{
    const auto& [name, swap, width] = GetParam();
    const bytes source = counting(101 * width + 8);
    for (std::size_t count = 0; count <= 100; ++count) {
        for (std::size_t from = 0; from < 8; ++from) {
            const std::size_t to = (from * 3 + count) % 8;
            bytes destination(to + count * width + 1, guard);
            swap(source.data() + from, destination.data() + to, static_cast<int>(count));
            const bytes result(destination.begin() + static_cast<long>(to), destination.end() - 1);
            ASSERT_EQ(result, reversed_words(source, from, count, width)) << count << " words at " << from;
            ASSERT_EQ(destination.back(), guard);
            ASSERT_TRUE(to == 0 || destination[to - 1] == guard);
        }
    }
}

TEST_P(swapping, works_in_place)
{
    const auto& [name, swap, width] = GetParam();
    const bytes source = counting(101 * width + 8);
    for (std::size_t count = 0; count <= 100; ++count) {
        for (std::size_t from = 0; from < 8; ++from) {
            bytes words = source;
            swap(words.data() + from, words.data() + from, static_cast<int>(count));
            bytes expected = source;
            const bytes swapped = reversed_words(source, from, count, width);
            std::copy(swapped.begin(), swapped.end(), expected.begin() + static_cast<long>(from));
            ASSERT_EQ(words, expected) << count << " words at " << from;
        }
    }
}

TEST_P(swapping, does_nothing_for_no_words_and_null)
{
    const auto& [name, swap, width] = GetParam();
    bytes words = counting(16);
    swap(words.data(), words.data(), 0);
    swap(words.data(), words.data(), -1);
    swap(nullptr, words.data(), 1);
    swap(words.data(), nullptr, 1);
    EXPECT_EQ(words, counting(16));
}

INSTANTIATE_TEST_SUITE_P(functions, swapping,
                         ::testing::Values(swap_case{"trox_swap4",
                                                     [](const void* source, void* destination, int count) {
                                                         trox_swap4(source, destination, count);
                                                     },
                                                     4},
                                           swap_case{"swap8bytes", &swap8bytes, 8}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(event_head_2024, comes_into_host_order)
{
    byte_builder stored;
    stored.word(0xFFEEFF24).word(5).integer(std::int64_t{1234567890123}).integer(std::uint64_t{81604378624001});
    stored.word(1709611194).word(250123).word(0x80000001).word(3).word(7).word(0);
    ASSERT_EQ(stored.size(), 48U);
    trox_eventheader_2024 head{};
    trox_convert_event_head(stored.bytes().data(), &head);
    EXPECT_EQ(head.pattern, 0xFFEEFF24U);
    EXPECT_EQ(head.event_type, 5);
    EXPECT_EQ(head.event_length, 1234567890123);
    EXPECT_EQ(head.event_number, 81604378624001U);
    EXPECT_EQ(head.event_time.timeup, 1709611194U);
    EXPECT_EQ(head.event_time.timelow, 250123U);
    EXPECT_EQ(head.tmask, static_cast<std::int32_t>(0x80000001));
    EXPECT_EQ(head.status, 3);
    EXPECT_EQ(head.num_svr_block, 7);
    bytes in_place = stored.bytes();
    trox_convert_event_head(in_place.data(), in_place.data());
    EXPECT_EQ(std::memcmp(in_place.data(), &head, sizeof head), 0);
}

TEST(server_block_head_2024, comes_into_host_order_and_keeps_its_text)
{
    byte_builder stored;
    stored.integer(std::uint64_t{0xFFBBFF24}).integer(std::int64_t{-5}).integer(std::int64_t{81604378624001});
    stored.word(1709611194).word(250123).text("RF.SVR3", 256).word(1).word(2).word(3).word(0);
    ASSERT_EQ(stored.size(), 304U);
    trox_serv_block_head_2024 head{};
    trox_convert_event_serv_block_head(stored.bytes().data(), &head);
    EXPECT_EQ(head.pattern, 0xFFBBFF24U);
    EXPECT_EQ(head.ltotal, -5);
    EXPECT_EQ(head.mpulse, 81604378624001);
    EXPECT_EQ(head.time.timeup, 1709611194U);
    EXPECT_EQ(head.time.timelow, 250123U);
    EXPECT_EQ(std::string(head.server, 8), std::string("RF.SVR3", 8));
    EXPECT_EQ(head.tmask, 1);
    EXPECT_EQ(head.status, 2);
    EXPECT_EQ(head.nchan, 3);
    bytes in_place = stored.bytes();
    trox_convert_event_serv_block_head(in_place.data(), in_place.data());
    EXPECT_EQ(std::memcmp(in_place.data(), &head, sizeof head), 0);
}

/// Converts a payload into another block and in place, at an odd address, which must agree.
bytes converted(const bytes& stored, int dtype)
{
    bytes source = stored;
    source.insert(source.begin(), guard);
    bytes destination(stored.size() + 2, guard);
    const int size = static_cast<int>(stored.size());
    EXPECT_EQ(trox_convert_data(source.data() + 1, destination.data() + 1, dtype, size), 0);
    EXPECT_EQ(destination.front(), guard);
    EXPECT_EQ(destination.back(), guard);
    const bytes result(destination.begin() + 1, destination.end() - 1);
    EXPECT_EQ(trox_convert_data(source.data() + 1, source.data() + 1, dtype, size), 0);
    EXPECT_EQ(bytes(source.begin() + 1, source.end()), result);
    return result;
}

/// The bytes of host-order words, for comparing.
template <class... Words> bytes host(Words... words)
{
    bytes result;
    const auto append = [&result](auto word) {
        const auto* at = reinterpret_cast<const std::uint8_t*>(&word);
        result.insert(result.end(), at, at + sizeof word);
    };
    (append(words), ...);
    return result;
}

bytes operator+(bytes left, const bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

bytes text(std::string_view value, std::size_t width)
{
    return byte_builder().text(value, width).bytes();
}

TEST(convert_data, keeps_the_name_of_an_update_and_swaps_its_words)
{
    for (const auto& [type, width] : {std::pair{1, 80}, {4, 80}, {5, 80}, {33, 256}, {36, 256}, {37, 256}}) {
        byte_builder stored;
        stored.text("LINAC.MAG", static_cast<std::size_t>(width)).word(3).word(1000).word(7).real(1.5F).raw("rest");
        EXPECT_EQ(converted(stored.bytes(), type),
                  text("LINAC.MAG", static_cast<std::size_t>(width)) + host(3, 1000, 7, 1.5F) + text("rest", 4))
            << type;
    }
}

TEST(convert_data, swaps_the_five_words_of_an_environment_value)
{
    for (const int type : {3, 35}) {
        byte_builder stored;
        stored.word(0xFFFFFFFF).word(2).word(1000).word(7).real(-2.25F).raw("tail");
        EXPECT_EQ(converted(stored.bytes(), type), host(-1, 2, 1000, 7, -2.25F) + text("tail", 4));
    }
}

TEST(convert_data, swaps_an_image_head_with_its_long_word_and_keeps_padding_and_pixels)
{
    byte_builder stored;
    stored.word(18).word(12).word(2).word(0).word(9).raw("padd").integer(std::uint64_t{0x0102030405060708});
    stored.word(5).raw("more").raw("pixel");
    EXPECT_EQ(converted(stored.bytes(), 13), host(18, 12, 2, 0, 9) + text("padd", 4) +
                                                 host(std::uint64_t{0x0102030405060708}, 5) + text("morepixel", 9));
}

TEST(convert_data, swaps_the_25_words_of_an_extended_image_head_and_keeps_the_pixels)
{
    byte_builder stored;
    bytes expected;
    for (std::uint32_t word = 0; word < 25; ++word) {
        stored.word(0x01020300 + word);
        expected = expected + host(0x01020300 + word);
    }
    stored.raw("pixels");
    EXPECT_EQ(converted(stored.bytes(), 27), expected + text("pixels", 6));
}

TEST(convert_data, swaps_the_numbers_of_a_name_value_list_and_keeps_its_texts)
{
    byte_builder stored;
    stored.word(4).text("comment", 80).word(2);
    stored.text("GAIN", 80).real(0.5F).text("PHASE", 80).real(-1.0F).raw("left");
    EXPECT_EQ(converted(stored.bytes(), 22), host(4) + text("comment", 80) + host(2) + text("GAIN", 80) + host(0.5F) +
                                                 text("PHASE", 80) + host(-1.0F) + text("left", 4));
}

TEST(convert_data, converts_of_an_overlong_name_value_list_what_lies_inside)
{
    for (const std::uint32_t announced : {3U, 0x7FFFFFFFU}) {
        byte_builder stored;
        stored.word(4).text("", 80).word(announced).text("A", 80).real(2.0F).text("B", 80).raw("123");
        EXPECT_EQ(converted(stored.bytes(), 22), host(4) + text("", 80) + host(announced) + text("A", 80) + host(2.0F) +
                                                     text("B", 80) + text("123", 3));
    }
    byte_builder negative;
    negative.word(4).text("", 80).word(0xFFFFFFFF).text("A", 80).real(2.0F);
    EXPECT_EQ(converted(negative.bytes(), 22),
              host(4) + text("", 80) + host(-1) + text("A", 80) + byte_builder().real(2.0F).bytes());
}

TEST(convert_data, swaps_the_elements_of_a_control_system_value)
{
    for (const int type : {DATA_INT, DATA_FLOAT, DATA_A_FLOAT, DATA_A_INT, DATA_SPECTRUM}) {
        byte_builder stored;
        stored.word(static_cast<std::uint32_t>(type)).word(1).word(1000).word(7).word(2);
        stored.word(0x01020304).word(0x05060708).raw("end");
        EXPECT_EQ(converted(stored.bytes(), 23), host(type, 1, 1000, 7, 2, 0x01020304, 0x05060708) + text("end", 3));
    }
}

TEST(convert_data, keeps_the_bytes_of_a_control_system_text_or_image)
{
    for (const int type : {DATA_STRING, DATA_IMAGE}) {
        byte_builder stored;
        stored.word(static_cast<std::uint32_t>(type)).word(1).word(1000).word(7).word(8).raw("abcdefgh");
        EXPECT_EQ(converted(stored.bytes(), 23), host(type, 1, 1000, 7, 8) + text("abcdefgh", 8));
    }
}

TEST(convert_data, converts_of_an_overlong_control_system_value_what_lies_inside)
{
    byte_builder stored;
    stored.word(DATA_A_INT).word(0).word(0).word(0).word(0x7FFFFFFF).word(0x01020304).raw("xy");
    EXPECT_EQ(converted(stored.bytes(), 23), host(105, 0, 0, 0, 0x7FFFFFFF, 0x01020304) + text("xy", 2));
    byte_builder negative;
    negative.word(DATA_A_INT).word(0).word(0).word(0).word(0x80000000).raw("abcd");
    EXPECT_EQ(converted(negative.bytes(), 23), host(105, 0, 0, 0, 0x80000000) + text("abcd", 4));
}

bool is_unassigned(int type)
{
    return type < 1 || type == 30 || type == 32 || (type >= 54 && type <= 59) || type >= 63;
}

/// Bytes that a type's payload has at least; the rest of the types are plain words.
int head_size(int type)
{
    switch (type) {
    case 1:
    case 4:
    case 5:
        return 96;
    case 33:
    case 36:
    case 37:
        return 272;
    case 3:
    case 35:
        return 20;
    case 13:
        return 40;
    case 27:
        return 100;
    case 22:
        return 88;
    case 23:
        return 20;
    default:
        return 0;
    }
}

TEST(convert_data, swaps_every_whole_word_of_all_other_types_and_copies_the_rest)
{
    int tried = 0;
    for (int type = 1; type < 63; ++type) {
        if (is_unassigned(type) || head_size(type) > 0) {
            continue;
        }
        ++tried;
        byte_builder stored;
        stored.word(0x01020304).word(0x05060708).word(0x090A0B0C).raw("xyz");
        EXPECT_EQ(converted(stored.bytes(), type), host(0x01020304, 0x05060708, 0x090A0B0C) + text("xyz", 3)) << type;
        EXPECT_EQ(converted(text("ab", 2), type), text("ab", 2)) << type;
    }
    EXPECT_EQ(tried, 62 - 8 - 12);
}

TEST(convert_data, looks_at_the_low_16_bits_of_the_type)
{
    EXPECT_EQ(converted(byte_builder().word(0x01020304).bytes(), 0x00290029), host(0x01020304));
    EXPECT_EQ(converted(byte_builder().word(0x01020304).bytes(), static_cast<int>(0xFFFF0029)), host(0x01020304));
}

TEST(convert_data, refuses_unassigned_types_and_writes_nothing)
{
    for (int type = -2; type < 200; ++type) {
        bytes source = counting(300);
        bytes destination(300, guard);
        const int status = trox_convert_data(source.data(), destination.data(), type, 300);
        EXPECT_EQ(status != 0, is_unassigned(type)) << type;
        EXPECT_EQ(destination == bytes(300, guard), is_unassigned(type)) << type;
    }
    for (const int type : {0, 30, 32, 54, 59, 63, 0x10000, 0x1001E, 0x7FFFFFFF, -1}) {
        EXPECT_NE(trox_convert_data("", nullptr, type, 0), 0) << type;
    }
}

TEST(convert_data, of_no_bytes_succeeds_for_assigned_types_only)
{
    for (int type = 0; type < 64; ++type) {
        std::uint8_t byte = guard;
        EXPECT_EQ(trox_convert_data(&byte, &byte, type, 0) != 0, is_unassigned(type)) << type;
        EXPECT_EQ(byte, guard);
    }
}

TEST(convert_data, refuses_null_pointers_and_negative_lengths)
{
    bytes block = counting(300);
    EXPECT_NE(trox_convert_data(nullptr, block.data(), 41, 8), 0);
    EXPECT_NE(trox_convert_data(block.data(), nullptr, 41, 8), 0);
    EXPECT_NE(trox_convert_data(nullptr, nullptr, 41, 0), 0);
    EXPECT_NE(trox_convert_data(block.data(), block.data(), 41, -1), 0);
    EXPECT_NE(trox_convert_data(block.data(), block.data(), 41, std::numeric_limits<int>::min()), 0);
    EXPECT_EQ(block, counting(300));
}

TEST(convert_data, refuses_a_payload_below_its_types_head_and_writes_nothing)
{
    for (int type = 1; type < 63; ++type) {
        const int size = head_size(type);
        if (is_unassigned(type) || size == 0) {
            continue;
        }
        bytes source(static_cast<std::size_t>(size), 0);
        bytes destination(static_cast<std::size_t>(size), guard);
        for (const int length : {1, size - 1}) {
            EXPECT_NE(trox_convert_data(source.data(), destination.data(), type, length), 0) << type;
            EXPECT_EQ(destination, bytes(static_cast<std::size_t>(size), guard)) << type;
        }
        EXPECT_EQ(trox_convert_data(source.data(), destination.data(), type, size), 0) << type;
        EXPECT_EQ(destination, source) << type;
    }
}

} // namespace
