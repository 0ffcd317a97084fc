// The sample runs, read event by event with one, two and ten workers for each channel.
#include "list_cases.h"

#include <atomic>

namespace
{

std::atomic<int> workers{0};
std::atomic<int> choices{0};

} // namespace

// The linker puts this function in the place of trox_detail::preferred_thread_count(unsigned, unsigned).
extern "C" int chosen_by_test(std::uint32_t /*dtype_mask*/, std::uint32_t /*ev_mask*/) noexcept
    __asm__("__wrap__ZN11trox_detail22preferred_thread_countEjj");
extern "C" int chosen_by_test(std::uint32_t /*dtype_mask*/, std::uint32_t /*ev_mask*/) noexcept
{
    ++choices;
    return workers;
}

namespace
{

using namespace trox_golden;

template <class G> class golden_workers : public testing::Test
{
protected:
    static void expect_all_equal(int count)
    {
        workers = count;
        choices = 0;
        for (const auto& list : list_cases<G>()) {
            SCOPED_TRACE(testing::PrintToString(list));
            expect_equal<G>(list);
        }
        EXPECT_GT(choices, 0) << "the readers must have asked";
    }
};
using generations = testing::Types<golden_legacy, golden_2010, golden_2024>;
TYPED_TEST_SUITE(golden_workers, generations, );

TYPED_TEST(golden_workers, one_worker_a_channel_gives_the_same_events)
{
    this->expect_all_equal(1);
}

TYPED_TEST(golden_workers, two_workers_a_channel_give_the_same_events)
{
    this->expect_all_equal(2);
}

TYPED_TEST(golden_workers, ten_workers_a_channel_give_the_same_events)
{
    this->expect_all_equal(10);
}

} // namespace
