// The comparison itself must find what differs.
#include "json_compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace trox_golden;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(json_compare, equal_trees_have_no_differences)
{
    const json tree = json::parse(R"({"a": [1, "x", null, {"b": -0.0}], "c": 18446744073709551615})");
    EXPECT_THAT(differences(tree, tree), IsEmpty());
}

TEST(json_compare, a_changed_leaf_is_told_with_its_path)
{
    const json expected = json::parse(R"({"a": [{"b": 1}, {"b": 2}]})");
    const json read = json::parse(R"({"a": [{"b": 1}, {"b": 3}]})");
    EXPECT_THAT(differences(expected, read), ElementsAre("a/1/b: expected 2, read 3"));
}

TEST(json_compare, missing_and_additional_members_and_elements_differ)
{
    EXPECT_THAT(differences(json::parse(R"({"a": 1})"), json::parse(R"({"b": 2})")),
                ElementsAre("a: expected 1, read nothing", "b: expected nothing, read 2"));
    EXPECT_THAT(differences(json::parse("[1, 2]"), json::parse("[1]")), ElementsAre(": expected 2 elements, read 1"));
}

TEST(json_compare, floats_are_compared_as_32_bit_floats_with_their_sign)
{
    EXPECT_THAT(differences(json::parse("[0.1, 3, 1e-09]"), json(std::vector<float>{0.1F, 3.0F, 1e-9F})), IsEmpty());
    EXPECT_THAT(differences(json::parse("[0.1000001]"), json(std::vector<float>{0.1F})), testing::SizeIs(1));
    EXPECT_THAT(differences(json::parse("[-0.0]"), json(std::vector<float>{0.0F})), testing::SizeIs(1));
}

TEST(json_compare, an_integer_is_no_float)
{
    EXPECT_THAT(differences(json::parse("[2.5]"), json::parse("[2]")), testing::SizeIs(1));
}

TEST(json_compare, sums_are_those_of_the_standard)
{
    EXPECT_EQ(sha256_start("abc", 3, 64), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(short_sha("abc", 3), "ba7816bf8f01");
}

} // namespace
