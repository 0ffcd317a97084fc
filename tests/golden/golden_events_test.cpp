// The sample runs, read event by event with every channel list.
#include "list_cases.h"

namespace
{

using namespace trox_golden;

class golden_events_legacy : public testing::TestWithParam<list_case>
{
};
class golden_events_2010 : public testing::TestWithParam<list_case>
{
};
class golden_events_2024 : public testing::TestWithParam<list_case>
{
};

TEST_P(golden_events_legacy, events_and_records_are_those_of_the_sample_run)
{
    expect_equal<golden_legacy>(GetParam());
}
TEST_P(golden_events_2010, events_and_records_are_those_of_the_sample_run)
{
    expect_equal<golden_2010>(GetParam());
}
TEST_P(golden_events_2024, events_and_records_are_those_of_the_sample_run)
{
    expect_equal<golden_2024>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(lists, golden_events_legacy, testing::ValuesIn(list_cases<golden_legacy>()), case_name);
INSTANTIATE_TEST_SUITE_P(lists, golden_events_2010, testing::ValuesIn(list_cases<golden_2010>()), case_name);
INSTANTIATE_TEST_SUITE_P(lists, golden_events_2024, testing::ValuesIn(list_cases<golden_2024>()), case_name);

TEST(golden_events, every_list_of_the_sample_runs_is_there)
{
    EXPECT_EQ(list_names<golden_legacy>().size(), 15U);
    EXPECT_EQ(list_names<golden_2010>().size(), 14U);
    EXPECT_EQ(list_names<golden_2024>().size(), 14U);
}

} // namespace
