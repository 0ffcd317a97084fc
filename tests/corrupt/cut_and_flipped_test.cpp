// Damage: a small file cut at every byte, and with every byte flipped, is read to an end, and what the damage does
// not touch is delivered unchanged; event by event and channel by channel, in all generations. Everything is asked
// about every record that comes, through the record accessor.
#include "small_run.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace corrupt
{

namespace
{

/// A whole file in slices, which run beside each other.
class every_byte : public testing::TestWithParam<std::tuple<way_to_read, std::size_t>>
{
public:
    static constexpr std::size_t slices = 8;

    static void SetUpTestSuite()
    {
        ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    }

protected:
    /// Calls `look(byte)`, which answers what is wrong or nothing, for every byte of this slice; without what the
    /// library prints.
    template <class Look> void for_each_byte(Look look)
    {
        std::string wrong;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        for (std::size_t byte = std::get<1>(GetParam()); byte < run_.bytes().size() && wrong.empty(); byte += slices) {
            wrong = look(byte);
            if (!wrong.empty()) {
                wrong = "byte " + std::to_string(byte) + ": " + wrong;
            }
        }
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(wrong, "");
    }

    /// What of the records that a byte does not touch is missing or changed.
    std::string check_untouched(const records& found, std::size_t byte) const
    {
        const std::set<record_id> touched = run_.touched(byte);
        for (const auto& [id, payload] : run_.written()) {
            const auto at = found.find(id);
            if (touched.count(id) == 0 && (at == found.end() || at->second != payload)) {
                return run_.channels()[static_cast<std::size_t>(id.first)] + " of event " + std::to_string(id.second) +
                       (at == found.end() ? " is lost" : " is changed");
            }
        }
        return {};
    }

    const std::unique_ptr<small_run> made_ = std::get<0>(GetParam()).make();
    const small_run& run_ = *made_;
};

TEST_P(every_byte, flipped_is_read_to_an_end_with_all_that_it_does_not_touch)
{
    for_each_byte([&](std::size_t byte) {
        std::vector<unsigned char> damaged = run_.bytes();
        damaged[byte] ^= 0xFFU;
        const records found = run_.read(damaged);
        return run_.is_vital(byte) ? std::string() : check_untouched(found, byte);
    });
}

TEST_P(every_byte, with_its_lowest_bit_flipped_is_read_to_an_end)
{
    for_each_byte([&](std::size_t byte) {
        std::vector<unsigned char> damaged = run_.bytes();
        damaged[byte] ^= 1U;
        run_.read(damaged);
        return std::string();
    });
}

TEST_P(every_byte, cut_off_behind_leaves_nothing_to_read_without_a_trailer)
{
    for_each_byte([&](std::size_t byte) {
        const auto end = run_.bytes().begin() + static_cast<std::ptrdiff_t>(byte);
        return run_.read({run_.bytes().begin(), end}).empty() ? std::string() : std::string("something was read");
    });
}

INSTANTIATE_TEST_SUITE_P(slice, every_byte,
                         testing::Combine(testing::ValuesIn(ways_to_read()),
                                          testing::Range(std::size_t{0}, every_byte::slices)),
                         [](const auto& parameters) {
                             return std::get<0>(parameters.param).name +
                                    ("_" + std::to_string(std::get<1>(parameters.param)));
                         });

TEST(damaged_patterns, of_event_headers_mislead_nobody)
{
    ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    for (const way_to_read& way : ways_to_read()) {
        SCOPED_TRACE(way.name);
        const auto run = way.make();
        const std::vector<unsigned char> upper_bytes{0xFF, 0xEE, 0xFF};
        int patterns = 0;
        for (auto at = run->bytes().begin();;) {
            at = std::search(at, run->bytes().end(), upper_bytes.begin(), upper_bytes.end());
            if (at == run->bytes().end()) {
                break;
            }
            at += static_cast<std::ptrdiff_t>(upper_bytes.size());
            for (const int last : {0xEE, 0x10, 0x24, 0}) {
                std::vector<unsigned char> damaged = run->bytes();
                damaged[static_cast<std::size_t>(at - run->bytes().begin())] = static_cast<unsigned char>(last);
                EXPECT_EQ(run->read(damaged), run->written()) << "pattern " << patterns << " ends with " << last;
            }
            ++patterns;
        }
        EXPECT_EQ(patterns, 6) << "machine events and updates";
    }
}

TEST(undamaged, delivers_what_was_written)
{
    ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    for (const way_to_read& way : ways_to_read()) {
        const auto run = way.make();
        EXPECT_EQ(run->read(run->bytes()), run->written()) << way.name;
        EXPECT_EQ(run->written().size(), 12U);
    }
}

} // namespace

} // namespace corrupt
