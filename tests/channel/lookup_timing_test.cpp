// The trace of slow look-ups by number, on a clock that the test sets. Built on the library's objects, whose calls of
// the clock come here.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <atomic>
#include <sys/time.h>

using namespace trox_test;

namespace
{

/// Microseconds by which each look at the clock, also of a worker, moves it on.
std::atomic<long> step_us{0};

} // namespace

extern "C" int gettimeofday(timeval* now, void*) noexcept
{
    static std::atomic<long> clock_us{1'700'000'000'000'000};
    constexpr long second_us = 1'000'000;
    const long time_us = clock_us += step_us;
    *now = {time_us / second_us, time_us % second_us};
    return 0;
}

namespace
{

template <class T> class lookup_timing : public ::testing::Test
{
protected:
    ~lookup_timing() override
    {
        step_us = 0;
    }
    /// What a look-up prints that sees the clock move by `step` from one look to the next.
    std::string printed(int debug, long step, typename T::event_number id)
    {
        open_.loader.set_debug(debug);
        step_us = step;
        const std::string text =
            capture([&] { find_by_number(open_.reader, id, TROX_DAQ_READ_CHAN_EVENT_CUR, nullptr); }).out;
        step_us = 0;
        open_.loader.set_debug(0);
        return without_worker_lines(text);
    }
    /// Three looks at the clock: at the begin, to compare, and to tell.
    static std::string told(const std::string& twice_the_step, const std::string& id)
    {
        return T::has_lookup_timing ? "get_by_event_id()  " + twice_the_step + " msec event_id:" + id + "\n" : "";
    }

    scenario_file<T> scenario_;
    open_channel<T> open_{scenario_.path(), "TEST/PLAIN"};
};
TYPED_TEST_SUITE(lookup_timing, channel_generations);

} // namespace

TYPED_TEST(lookup_timing, is_told_of_look_ups_above_a_millisecond_when_timings_are_traced)
{
    EXPECT_EQ(this->printed(-1, 1001, 103), this->told("2.002000", "103"));
    EXPECT_EQ(this->printed(-2, 5000, 777), this->told("10.000000", "777")) << "found or not";
    EXPECT_EQ(this->printed(-1, 1000, 103), "") << "a millisecond is not slow";
    EXPECT_EQ(this->printed(-1, 0, 103), "");
}

TYPED_TEST(lookup_timing, is_not_told_otherwise)
{
    EXPECT_EQ(this->printed(0, 5000, 103), "");
    EXPECT_EQ(this->printed(1, 5000, 103), "");
    EXPECT_EQ(this->printed(-1, 5000, 0), "") << "of a look-up that is refused";
}

TYPED_TEST(lookup_timing, tells_numbers_as_signed_ones_of_their_width)
{
    EXPECT_EQ(this->printed(-1, 2000, TypeParam::undecoded - 1), this->told("4.000000", "-2"));
    if constexpr (sizeof(typename TypeParam::event_number) > sizeof(std::uint32_t)) {
        EXPECT_EQ(this->printed(-1, 2000, 81604378624000), this->told("4.000000", "81604378624000"));
    }
}
