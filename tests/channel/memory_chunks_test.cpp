// Memory for decoded records: pieces, and the arena that hands out parts of them.
#include "generic/memory_chunks.h"

#include "failing_calls.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

using namespace trox_test;
using trox_detail::memory_chunk;
using trox_detail::record_arena;

namespace
{

constexpr std::size_t page = 4096;
constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();

struct part {
    unsigned char* data;
    std::size_t size;
};

part allocate(record_arena& arena, std::size_t size)
{
    return {static_cast<unsigned char*>(arena.allocate(size)), size};
}

/// Fills each part with a value of its own, then looks whether all still hold theirs.
bool are_apart(const std::vector<part>& parts)
{
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::memset(parts[i].data, static_cast<int>(i % 251), parts[i].size);
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        for (std::size_t at = 0; at < parts[i].size; ++at) {
            if (parts[i].data[at] != i % 251) {
                return false;
            }
        }
    }
    return true;
}

/// How many pieces of memory were asked for.
int pieces_asked_for()
{
    return failing_calls::allocations.made;
}

/// Whether every part is a block of its own, so that AddressSanitizer sees its bounds.
bool are_separate_blocks()
{
    const failing_calls calls;
    record_arena arena;
    arena.allocate(8);
    arena.allocate(8);
    return pieces_asked_for() > 1;
}

} // namespace

TEST(memory_chunk, holds_at_least_what_was_asked_for)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, page, page + 1, huge_page, huge_page + 1}) {
        const memory_chunk chunk = memory_chunk::take(size);
        ASSERT_NE(chunk.data(), nullptr) << size;
        ASSERT_GE(chunk.size(), size);
        std::memset(chunk.data(), 1, chunk.size());
    }
}

TEST(memory_chunk, is_empty_without_memory)
{
    failing_calls calls;
    calls.allocations.fail_all();
    const memory_chunk chunk = memory_chunk::take(100);
    EXPECT_EQ(chunk.data(), nullptr);
    EXPECT_EQ(chunk.size(), 0U);
}

TEST(memory_chunk, changes_hands_without_being_given_back)
{
    memory_chunk first = memory_chunk::take(page);
    unsigned char* const data = first.data();
    std::memset(data, 7, page);
    memory_chunk second = std::move(first);
    EXPECT_EQ(first.data(), nullptr);
    EXPECT_EQ(first.size(), 0U);
    memory_chunk third = memory_chunk::take(page);
    third = std::move(second);
    EXPECT_EQ(third.data(), data);
    EXPECT_GE(third.size(), page);
    EXPECT_EQ(third.data()[page - 1], 7);
}

TEST(memory_chunk, is_empty_for_sizes_near_the_largest)
{
    if (are_separate_blocks()) {
        GTEST_SKIP() << "AddressSanitizer ends a program that asks for so much";
    }
    for (const std::size_t size : {largest, largest - huge_page, largest / 2}) {
        const memory_chunk chunk = memory_chunk::take(size);
        EXPECT_EQ(chunk.data(), nullptr) << size;
        EXPECT_EQ(chunk.size(), 0U) << size;
    }
}

TEST(record_arena, has_no_room_for_a_record_near_the_largest_size)
{
    if (are_separate_blocks()) {
        GTEST_SKIP() << "AddressSanitizer ends a program that asks for so much";
    }
    record_arena arena;
    ASSERT_NE(arena.allocate(16), nullptr);
    const record_arena::mark before = arena.position();
    for (std::size_t less = 0; less < 10; ++less) {
        EXPECT_EQ(arena.allocate(largest - less), nullptr) << less;
    }
    EXPECT_EQ(arena.allocate(largest - huge_page), nullptr);
    EXPECT_EQ(arena.position().chunks, before.chunks);
    EXPECT_EQ(arena.position().used, before.used);
}

TEST(record_arena, aligns_parts_of_any_size_and_keeps_them_apart)
{
    record_arena arena;
    std::vector<part> parts;
    for (std::size_t size = 0; size < 300; ++size) {
        parts.push_back(allocate(arena, size));
        ASSERT_NE(parts.back().data, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(parts.back().data) % 8, 0U) << size;
    }
    EXPECT_TRUE(are_apart(parts));
}

TEST(record_arena, goes_on_in_further_chunks)
{
    record_arena arena;
    std::vector<part> parts;
    std::size_t total = 0;
    for (std::size_t i = 0; total < 8 * huge_page; ++i) {
        parts.push_back(allocate(arena, 1000 + i * 7919 % 100000));
        ASSERT_NE(parts.back().data, nullptr);
        total += parts.back().size;
    }
    EXPECT_GE(arena.position().chunks, 4U) << "the usual chunk is a huge page";
    EXPECT_TRUE(are_apart(parts));
}

TEST(record_arena, takes_records_larger_than_a_chunk)
{
    record_arena arena;
    std::vector<part> parts;
    for (const std::size_t size : {std::size_t{8}, huge_page + 1, std::size_t{24}, 5 * huge_page, 40 * huge_page}) {
        parts.push_back(allocate(arena, size));
        ASSERT_NE(parts.back().data, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(parts.back().data) % 8, 0U);
    }
    EXPECT_TRUE(are_apart(parts));
}

TEST(record_arena, rewinds_over_chunks_and_keeps_what_lay_before)
{
    record_arena arena;
    std::vector<part> before{allocate(arena, 40), allocate(arena, 16)};
    const record_arena::mark mark = arena.position();
    for (int i = 0; i < 50; ++i) {
        ASSERT_NE(arena.allocate(100000), nullptr);
    }
    EXPECT_GT(arena.position().chunks, mark.chunks);
    arena.rewind(mark);
    EXPECT_EQ(arena.position().chunks, mark.chunks);
    EXPECT_EQ(arena.position().used, mark.used);
    std::vector<part> all = before;
    for (int i = 0; i < 50; ++i) {
        all.push_back(allocate(arena, 100000));
        ASSERT_NE(all.back().data, nullptr);
    }
    EXPECT_TRUE(are_apart(all)) << "what comes after the rewind lies beside what came before the mark";
}

TEST(record_arena, rewinds_to_nothing)
{
    record_arena arena;
    const record_arena::mark empty = arena.position();
    ASSERT_NE(arena.allocate(huge_page), nullptr);
    arena.rewind(empty);
    EXPECT_EQ(arena.position().chunks, 0U);
    EXPECT_EQ(arena.position().used, 0U);
    EXPECT_NE(arena.allocate(8), nullptr);
}

TEST(record_arena, stays_as_it_was_when_there_is_no_memory)
{
    record_arena arena;
    const part kept = allocate(arena, 16);
    std::memset(kept.data, 9, kept.size);
    const record_arena::mark before = arena.position();
    {
        failing_calls calls;
        calls.allocations.fail_all();
        EXPECT_EQ(arena.allocate(huge_page), nullptr);
        EXPECT_EQ(pieces_asked_for(), 1);
    }
    EXPECT_EQ(arena.position().chunks, before.chunks);
    EXPECT_EQ(arena.position().used, before.used);
    EXPECT_EQ(kept.data[15], 9);
    EXPECT_NE(arena.allocate(huge_page), nullptr);
}

TEST(record_arena, serves_each_thread_from_an_arena_of_its_own)
{
    const auto work = [](bool* apart) {
        *apart = true;
        for (int round = 0; round < 3; ++round) {
            record_arena arena;
            std::vector<part> parts;
            for (std::size_t i = 0; i < 200; ++i) {
                parts.push_back(allocate(arena, 8 + i * 7919 % 40000));
            }
            *apart = *apart && are_apart(parts);
        }
    };
    bool apart[2] = {false, false};
    std::thread other(work, &apart[0]);
    work(&apart[1]);
    other.join();
    EXPECT_TRUE(apart[0]);
    EXPECT_TRUE(apart[1]);
}
