// Each defect on its own gives its finding, at its place, and no other.
#include "defects.h"

#include <algorithm>
#include <set>

namespace inspect_test
{

namespace
{

template <class T> class doctor_defects : public testing::Test
{
protected:
    static tw::layout_options layout()
    {
        tw::layout_options layout;
        layout.spare_rows = 1; // a row to be damaged behind those in use
        return layout;
    }

    static void compare(const ti::check_report& report, const std::vector<expected_finding>& expected)
    {
        std::string codes;
        std::vector<expected_finding> ordered = expected;
        std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.code < b.code; });
        for (const expected_finding& one : ordered) {
            codes += std::string(codes.empty() ? "" : ", ") + ti::info_of(one.code).name +
                     (one.count == 1 ? "" : " x" + std::to_string(one.count));
        }
        ASSERT_EQ(codes_of(report), codes);
        for (const expected_finding& one : ordered) {
            const auto found = std::find_if(report.findings.begin(), report.findings.end(),
                                            [&](const ti::finding& f) { return f.code == one.code; });
            ASSERT_NE(found, report.findings.end());
            EXPECT_TRUE(!one.offset || one.offset == found->where.offset)
                << ti::hex(found->where.offset.value_or(0)) << ", expected " << ti::hex(one.offset.value_or(0));
            EXPECT_TRUE(one.channel.empty() || one.channel == found->where.channel) << found->where.channel;
            EXPECT_TRUE(!one.event || one.event == found->where.event) << found->where.event.value_or(0);
            EXPECT_TRUE(!one.record || one.record == found->where.record) << found->where.record.value_or(0);
            EXPECT_NE(found->found, "");
            EXPECT_NE(found->expected, "");
        }
    }
};

using generations = testing::Types<trox_test::channel_legacy, trox_test::channel_2010, trox_test::channel_2024>;
TYPED_TEST_SUITE(doctor_defects, generations);

TYPED_TEST(doctor_defects, give_their_finding_and_no_other)
{
    const trox_test::temp_directory directory;
    const auto whole = make_file<TypeParam>(directory.file("a.raw"), this->layout());
    ASSERT_EQ(codes_of(ti::check_file(directory.file("a.raw"))), "");
    for (const auto& one : defect_table<TypeParam>().all()) {
        SCOPED_TRACE(one.name);
        auto damaged = whole;
        one.damage(damaged);
        ASSERT_NE(damaged.bytes(), trox_test::data_file<TypeParam>(whole).bytes());
        damaged.write(directory.file("a.raw"));
        const auto report = ti::check_file(directory.file("a.raw"));
        this->compare(report, one.found(whole));
        std::uint64_t bad = 0;
        for (const ti::channel_report& channel : report.channels) {
            bad += channel.damaged;
            EXPECT_EQ(channel.checked, channel.good + channel.damaged + channel.unchecked);
        }
        if (one.damaged != 0) {
            EXPECT_EQ(bad, one.damaged);
        }
    }
}

/// Codes that the table does not make; the tests of doctor_fates_test.cpp do.
const std::set<finding_code> made_elsewhere{finding_code::read_error,
                                            finding_code::not_a_data_file,
                                            finding_code::dictionary_name_length,
                                            finding_code::record_payload,
                                            finding_code::record_unchecked,
                                            finding_code::environment_repeated,
                                            finding_code::descriptions_unchecked};

TEST(doctor_codes, are_all_made_by_a_defect)
{
    const trox_test::temp_directory directory;
    std::set<finding_code> made = made_elsewhere;
    const auto collect = [&]<class T>() {
        const auto whole = make_file<T>(directory.file("a.raw"));
        for (const auto& one : defect_table<T>().all()) {
            for (const expected_finding& finding : one.found(whole)) {
                made.insert(finding.code);
            }
        }
    };
    collect.operator()<trox_test::channel_legacy>();
    collect.operator()<trox_test::channel_2010>();
    collect.operator()<trox_test::channel_2024>();
    for (std::size_t i = 0; i < ti::finding_code_count; ++i) {
        const auto code = static_cast<finding_code>(i);
        EXPECT_EQ(made.count(code), 1U) << ti::info_of(code).name;
    }
}

} // namespace

} // namespace inspect_test
