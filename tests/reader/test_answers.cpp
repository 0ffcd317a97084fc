// The reader over a slicer that answers as a test tells it: how long it goes on asking, and what it tells meanwhile.
#include "captured_output.h"
#include "scripted_slicer.h"

#include <cerrno>

namespace
{

using trox_test::printed_by;
using trox_test::record;

template <class T> class reader_answers : public trox_test::reader_with_script<T>
{
protected:
    /// Lets the slicer answer with events of these numbers, one a second.
    void answer_with(const std::vector<std::uint32_t>& numbers, std::uint32_t first_second, int step)
    {
        for (const std::uint32_t number : numbers) {
            auto& made = *records_.emplace_back(std::make_unique<record<T>>("A", number));
            (*made)->event_id.time = {first_second, 0};
            this->script_.answers.push_back({0, {*made}});
            first_second += static_cast<std::uint32_t>(step);
        }
    }
    /// Numbers 10000, 9999, ...
    static std::vector<std::uint32_t> falling(std::size_t count)
    {
        std::vector<std::uint32_t> numbers;
        for (std::uint32_t number = 10000; numbers.size() < count; --number) {
            numbers.push_back(number);
        }
        return numbers;
    }
    static std::vector<std::uint32_t> rising(std::size_t count)
    {
        std::vector<std::uint32_t> numbers = falling(count);
        std::reverse(numbers.begin(), numbers.end());
        return numbers;
    }

private:
    std::vector<std::unique_ptr<record<T>>> records_;
};
TYPED_TEST_SUITE(reader_answers, trox_test::reader_types, trox_test::reader_type_names);

// --- progress -----------------------------------------------------------------------------------------

constexpr std::size_t outside = 1500; // more than may come without progress

TYPED_TEST(reader_answers, falling_numbers_are_progress_by_time)
{
    typename TypeParam::time_id first{0, {5000 + outside, 0}};
    this->reader.set_start_point(&first);
    this->reader.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
    this->start({"A"});
    this->answer_with(this->falling(outside + 1), 5000, 1);
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->script_.asked, outside + 1);
    EXPECT_EQ(this->event.at(0)->event_id.time.timeup, 5000U + outside);
}

TYPED_TEST(reader_answers, rising_numbers_are_progress_backwards_by_time)
{
    typename TypeParam::time_id last{0, {9000 - outside, 0}};
    this->reader.set_stop_point(&last);
    this->reader.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
    this->start({"A"});
    this->answer_with(this->rising(outside + 1), 9000, -1);
    ASSERT_EQ(this->reader.get_data(nullptr, &this->event, TROX_DAQ_READ_CHAN_EVENT_PREV), 0);
    EXPECT_EQ(this->script_.asked, outside + 1);
}

TYPED_TEST(reader_answers, falling_numbers_are_no_progress_by_number)
{
    typename TypeParam::time_id first{20000, {0, 0}};
    this->reader.set_start_point(&first);
    this->start({"A"});
    this->answer_with(this->falling(outside + 1), 5000, 1);
    EXPECT_EQ(this->get(), -1);
    EXPECT_EQ(this->script_.asked, 1001U) << "the first is where progress begins";
}

TYPED_TEST(reader_answers, rising_numbers_are_no_progress_by_time_when_that_stands_still)
{
    typename TypeParam::time_id first{0, {6000, 0}};
    this->reader.set_start_point(&first);
    this->reader.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
    this->start({"A"});
    this->answer_with(this->rising(outside + 1), 5000, 0);
    EXPECT_EQ(this->get(), -1);
    EXPECT_EQ(this->script_.asked, 1001U);
}

// --- what is told -------------------------------------------------------------------------------------

TYPED_TEST(reader_answers, record_of_a_sub_channel_is_told_by_its_key)
{
    this->start({"A", "B:1", "C"});
    record<TypeParam> cut("B:1", 1);
    this->script_.answers = {{0, {*cut}}};
    this->reader.set_debug(2);
    EXPECT_EQ(printed_by([&] { ASSERT_EQ(this->get(), 0); }), "reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
                                                              "reader.get_data() BELONG: 1\n"
                                                              "reader.get_data() FOUND: 0\n"
                                                              "reader.get_data() FOUND: 1\n"
                                                              "UPDATED B:1\n");
}

TYPED_TEST(reader_answers, record_of_no_channel_is_compared_with_every_result)
{
    this->start({"A", "B:1", "C"});
    record<TypeParam> stranger("B", 1);
    this->script_.answers = {{0, {*stranger}}};
    this->reader.set_debug(2);
    EXPECT_EQ(printed_by([&] { ASSERT_EQ(this->get(), 0); }), "reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
                                                              "reader.get_data() BELONG: 1\n"
                                                              "reader.get_data() FOUND: 0\n"
                                                              "reader.get_data() FOUND: 0\n"
                                                              "reader.get_data() FOUND: 0\n");
    EXPECT_TRUE(this->event.empty());
}

TYPED_TEST(reader_answers, record_of_a_sub_channel_without_memory_is_told_by_its_key)
{
    this->start({"A", "B:1"});
    record<TypeParam> cut("B:1", 1, TypeParam::one_channel, std::string(1000, 'l'));
    this->script_.answers = {{0, {*cut}}};
    const trox_detail::os_calls before = trox_detail::os();
    trox_detail::os().realloc = [](void*, std::size_t) -> void* {
        errno = ENOMEM;
        return nullptr;
    };
    const auto printed = trox_test::capture([&] { EXPECT_EQ(this->get(), -6); });
    trox_detail::os() = before;
    EXPECT_EQ(printed.out,
              "Failed to realloc " + std::to_string(TypeParam::subhead_size + 1000) + " of data for B:1\n");
    EXPECT_EQ(printed.err, "realloc: Cannot allocate memory\n");
}

TYPED_TEST(reader_answers, quick_answer_is_not_told_with_negative_debug_levels)
{
    this->start({"A"});
    record<TypeParam> a("A", 5);
    this->script_.answers = {{0, {*a}}};
    this->reader.set_debug(-1);
    int quick_answers = 0;
    for (int i = 0; i < 1000 && quick_answers < 5; ++i) { // a busy machine has slow ones among them
        std::chrono::steady_clock::duration took{};
        const std::string text = printed_by([&] {
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_EQ(this->get(), 0);
            took = std::chrono::steady_clock::now() - begin;
        });
        if (took < std::chrono::milliseconds(1)) {
            ++quick_answers;
            EXPECT_EQ(text, "");
        }
    }
    EXPECT_EQ(quick_answers, 5);
}

} // namespace
