// Pages that many takers share. Every test has a pool of its own.
#include "generic/page_pool.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr std::size_t page = 4096;
constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t kept_at_most = std::size_t{256} << 20;

/// What was taken; the test gives it back.
struct piece {
    unsigned char* data = nullptr;
    std::size_t size = 0;

    std::uintptr_t begin() const
    {
        return reinterpret_cast<std::uintptr_t>(data);
    }
    std::uintptr_t end() const
    {
        return begin() + size;
    }
    std::uintptr_t block() const
    {
        return begin() / huge_page;
    }
};

class pool_of_pages : public ::testing::Test
{
protected:
    piece take(std::size_t size)
    {
        piece taken{nullptr, size};
        taken.data = static_cast<unsigned char*>(pool_.take(taken.size));
        return taken;
    }
    void give(const piece& taken)
    {
        pool_.give(taken.data, taken.size);
    }
    void give(const std::vector<piece>& pieces)
    {
        for (const piece& taken : pieces) {
            give(taken);
        }
    }

    trox_detail::page_pool pool_;
};

bool overlap(std::vector<piece> pieces)
{
    std::sort(pieces.begin(), pieces.end(), [](const piece& a, const piece& b) { return a.data < b.data; });
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        if (pieces[i].begin() < pieces[i - 1].end()) {
            return true;
        }
    }
    return false;
}

/// How many bytes of a range are mapped.
std::size_t mapped_bytes(std::uintptr_t begin, std::uintptr_t end)
{
    std::ifstream maps("/proc/self/maps");
    std::size_t mapped = 0;
    for (std::string line; std::getline(maps, line);) {
        unsigned long first = 0;
        unsigned long last = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx", &first, &last) == 2) {
            const std::uintptr_t from = std::max<std::uintptr_t>(first, begin);
            const std::uintptr_t to = std::min<std::uintptr_t>(last, end);
            mapped += to > from ? to - from : 0;
        }
    }
    return mapped;
}

std::size_t mapped_bytes(const std::vector<piece>& pieces)
{
    std::size_t mapped = 0;
    for (const piece& taken : pieces) {
        mapped += mapped_bytes(taken.begin(), taken.end());
    }
    return mapped;
}

} // namespace

TEST_F(pool_of_pages, gives_whole_pages_up_to_a_huge_one_and_whole_huge_pages_above)
{
    const struct {
        std::size_t asked;
        std::size_t usable;
    } sizes[] = {
        {0, page},
        {1, page},
        {page - 1, page},
        {page, page},
        {page + 1, 2 * page},
        {huge_page - 1, huge_page},
        {huge_page, huge_page},
        {huge_page + 1, 2 * huge_page},
    };
    for (const auto& size : sizes) {
        const piece taken = take(size.asked);
        ASSERT_NE(taken.data, nullptr) << size.asked;
        EXPECT_EQ(taken.begin() % page, 0U) << size.asked;
        EXPECT_EQ(taken.size, size.usable) << size.asked;
        std::memset(taken.data, 0x5A, taken.size);
        give(taken);
    }
}

TEST_F(pool_of_pages, begins_pieces_of_a_huge_page_and_more_at_a_huge_page)
{
    for (const std::size_t size : {huge_page, huge_page + 1, 5 * huge_page}) {
        const piece taken = take(size);
        ASSERT_NE(taken.data, nullptr) << size;
        EXPECT_EQ(taken.begin() % huge_page, 0U) << size;
        give(taken);
    }
}

TEST_F(pool_of_pages, has_no_memory_for_sizes_near_the_largest)
{
    constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();
    for (const std::size_t size : {largest, largest - page, largest - huge_page, largest - huge_page + 1,
                                   largest - 2 * huge_page, largest - 4 * huge_page, largest / 2, largest / 4}) {
        EXPECT_EQ(take(size).data, nullptr) << size;
    }
    const piece taken = take(page);
    EXPECT_NE(taken.data, nullptr) << "the pool serves on";
    give(taken);
}

TEST_F(pool_of_pages, never_hands_out_a_page_twice)
{
    std::vector<piece> pieces;
    // Sizes that leave gaps of all kinds: every third piece goes back, then more are taken.
    for (std::size_t i = 0; i < 600; ++i) {
        pieces.push_back(take(1 + i * 7919 % (40 * page)));
    }
    for (std::size_t i = 0; i < pieces.size(); i += 3) {
        give(pieces[i]);
        pieces[i] = {};
    }
    pieces.erase(std::remove_if(pieces.begin(), pieces.end(), [](const piece& it) { return it.data == nullptr; }),
                 pieces.end());
    for (std::size_t i = 0; i < 300; ++i) {
        pieces.push_back(take(1 + i * 104729 % (60 * page)));
    }
    for (std::size_t i = 0; i < 4; ++i) {
        pieces.push_back(take(huge_page + i * huge_page));
    }
    EXPECT_FALSE(overlap(pieces));
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        ASSERT_NE(pieces[i].data, nullptr);
        std::memset(pieces[i].data, static_cast<int>(i % 251), pieces[i].size);
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const auto is_own = [&](unsigned char byte) { return byte == i % 251; };
        EXPECT_TRUE(std::all_of(pieces[i].data, pieces[i].data + pieces[i].size, is_own)) << i;
    }
    give(pieces);
}

TEST_F(pool_of_pages, puts_small_pieces_side_by_side_into_one_huge_page)
{
    std::vector<piece> pieces;
    for (std::size_t i = 0; i < huge_page / page; ++i) {
        pieces.push_back(take(page));
    }
    EXPECT_FALSE(overlap(pieces));
    std::set<std::uintptr_t> blocks;
    for (const piece& taken : pieces) {
        blocks.insert(taken.block());
    }
    EXPECT_EQ(blocks.size(), 1U) << "a huge page's pages, and no other piece is in use";
    const piece next = take(page);
    EXPECT_EQ(blocks.count(next.block()), 0U) << "which is full now";
    give(next);
    give(pieces);
}

TEST_F(pool_of_pages, hands_out_again_what_was_given_back)
{
    const piece holds_the_block = take(page);
    const piece small = take(3 * page);
    give(small);
    std::vector<piece> pieces; // takes go on behind the last one and come round
    while (pieces.empty() || pieces.back().block() == holds_the_block.block()) {
        pieces.push_back(take(3 * page));
    }
    EXPECT_TRUE(std::any_of(pieces.begin(), pieces.end(), [&](const piece& it) { return it.data == small.data; }));
    give(pieces);
    give(holds_the_block);

    const piece large = take(9 * huge_page);
    give(large);
    const piece again = take(9 * huge_page);
    EXPECT_EQ(again.data, large.data);
    give(again);
}

TEST_F(pool_of_pages, joins_neighbours_that_were_given_back)
{
    std::vector<piece> pieces;
    for (std::size_t i = 0; i < huge_page / page; ++i) {
        pieces.push_back(take(page));
    }
    std::sort(pieces.begin(), pieces.end(), [](const piece& a, const piece& b) { return a.data < b.data; });
    for (std::size_t i = 100; i < 110; ++i) {
        give(pieces[i]);
    }
    const piece ten = take(10 * page);
    EXPECT_EQ(ten.data, pieces[100].data);
    give(ten);
    pieces.erase(pieces.begin() + 100, pieces.begin() + 110);
    give(pieces);
}

TEST_F(pool_of_pages, lends_a_kept_piece_to_a_smaller_wish_but_not_to_one_below_half)
{
    const piece kept = take(30 * huge_page);
    ASSERT_NE(kept.data, nullptr);
    give(kept);
    const piece small = take(14 * huge_page);
    EXPECT_NE(small.data, kept.data);
    const piece half = take(15 * huge_page);
    EXPECT_EQ(half.data, kept.data);
    EXPECT_EQ(half.size, kept.size) << "all of it is usable";
    half.data[half.size - 1] = 1;
    give(half);
    give(small);
}

TEST_F(pool_of_pages, keeps_a_bounded_part_of_what_is_given_back)
{
    constexpr std::size_t size = 8 * huge_page;
    std::vector<piece> pieces;
    for (std::size_t taken = 0; taken < 2 * kept_at_most; taken += size) {
        pieces.push_back(take(size)); // never touched: takes addresses only
        ASSERT_NE(pieces.back().data, nullptr);
    }
    EXPECT_GE(mapped_bytes(pieces), pieces.size() * size);
    give(pieces);
    EXPECT_EQ(mapped_bytes(pieces), kept_at_most);

    const piece beyond = take(kept_at_most + huge_page);
    ASSERT_NE(beyond.data, nullptr);
    give(beyond);
    EXPECT_EQ(mapped_bytes(beyond.begin(), beyond.end()), 0U) << "more than may be kept at all";
}

TEST(pool_of_all_readers, gives_pages_and_takes_them_back)
{
    std::size_t size = 1;
    void* const pages = trox_detail::take_pages(size);
    ASSERT_NE(pages, nullptr);
    EXPECT_EQ(size, page);
    std::memset(pages, 0x5A, size);
    trox_detail::give_pages(pages, size);
}

TEST_F(pool_of_pages, serves_threads_at_once)
{
    constexpr int rounds = 400;
    const auto work = [this](unsigned char mark, int* damaged) {
        std::vector<piece> pieces;
        for (std::size_t i = 0; i < rounds; ++i) {
            const std::size_t size = i % 50 == 49 ? huge_page + 1 : 1 + i * 7919 % (30 * page);
            pieces.push_back(take(size));
            std::memset(pieces.back().data, mark, 64);
            pieces.back().data[pieces.back().size - 1] = mark;
            if (i % 3 == 2) { // gives back one from the middle
                const std::size_t gone = pieces.size() / 2;
                *damaged += pieces[gone].data[0] != mark || pieces[gone].data[pieces[gone].size - 1] != mark ? 1 : 0;
                give(pieces[gone]);
                pieces[gone] = pieces.back();
                pieces.pop_back();
            }
        }
        for (const piece& taken : pieces) {
            *damaged += taken.data[0] != mark || taken.data[taken.size - 1] != mark ? 1 : 0;
            give(taken);
        }
    };
    int damaged[2] = {0, 0};
    std::thread other(work, static_cast<unsigned char>(0xA1), &damaged[0]);
    work(0x3C, &damaged[1]);
    other.join();
    EXPECT_EQ(damaged[0], 0);
    EXPECT_EQ(damaged[1], 0);
}
