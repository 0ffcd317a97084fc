// Loading while the system refuses a file, a mapping or memory.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "failing_calls.h"

using namespace trox_test;

namespace
{

template <class T> class load_under_faults : public ::testing::Test
{
protected:
    /// Loads with debugging on, expects the code, and that nothing of the file stays behind.
    void expect(int code, const std::string& system_text, const std::vector<std::string>* list)
    {
        const std::size_t descriptors = open_descriptors();
        typename T::loader loader(0);
        loader.set_debug(1);
        int got = 0;
        const captured_output printed = capture([&] { got = loader.get_all_tables(scenario_.path(), 1, list); });
        EXPECT_EQ(got, code);
        EXPECT_EQ(printed.err, system_text);
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(mappings_of(scenario_.path()), 0U);
        EXPECT_EQ(loader.get_file_descr(), -1);
    }

    scenario_file<T> scenario_;
    failing_calls calls_;
    const std::vector<std::string> fast_{"TEST/PLAIN"};
};
TYPED_TEST_SUITE(load_under_faults, channel_generations);

} // namespace

TYPED_TEST(load_under_faults, answers_minus_2_when_the_file_cannot_be_opened)
{
    this->calls_.opens.fail(1);
    this->expect(-2, "open: Too many open files\n", nullptr);
}

TYPED_TEST(load_under_faults, has_a_code_for_each_mapping_that_fails)
{
    const int codes[] = {-3, -4, -5, -6, -7};
    for (const std::vector<std::string>* list : {static_cast<const std::vector<std::string>*>(nullptr), &this->fast_}) {
        for (int i = 0; i < 5; ++i) {
            SCOPED_TRACE(i);
            this->calls_.maps.fail(i + 1);
            this->expect(codes[i], "mmap: Cannot allocate memory\n", list);
        }
    }
}

TYPED_TEST(load_under_faults, maps_five_times_and_no_more)
{
    typename TypeParam::loader loader(0);
    this->calls_.maps.fail(6);
    EXPECT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    EXPECT_EQ(this->calls_.maps.made, 5);
}

TYPED_TEST(load_under_faults, counts_a_basket_that_cannot_be_copied_as_one_that_cannot_be_mapped)
{
    if (!TypeParam::may_copy_baskets) {
        GTEST_SKIP() << "this generation always maps";
    }
    this->calls_.allocations.fail(1);
    this->expect(-5, "mmap: Cannot allocate memory\n", &this->fast_);
    this->calls_.allocations.fail(2);
    this->expect(-7, "mmap: Cannot allocate memory\n", &this->fast_);
}

TYPED_TEST(load_under_faults, keeps_one_mapping_a_basket_and_no_mapping_of_copies)
{
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    EXPECT_EQ(mappings_of(this->scenario_.path()), 2U);
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, &this->fast_), 0);
    EXPECT_EQ(mappings_of(this->scenario_.path()), TypeParam::may_copy_baskets ? 0U : 2U);
    loader.clean_up();
    EXPECT_EQ(mappings_of(this->scenario_.path()), 0U);
}
