// Which channels a pattern chooses, and what is refused.
#include "event_texts.h"
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>

namespace
{

using namespace layer_test;
using trox::fault;
using syntax = trox::channel_pattern::syntax;
using names = std::vector<std::string>;
using testing::HasSubstr;

class channel_selection : public testing::Test
{
protected:
    channel_selection()
    {
        small_file file(directory_.file("a.raw"));
        std::vector<std::pair<std::string, float>> values;
        for (const char* name : {"LINAC.RF/ADC/A1/TRACE", "LINAC.RF/ADC/A2/TRACE", "LINAC.RF/ADC/B1/TRACE",
                                 "LINAC.DIAG/TOROID/3/CHARGE", "LINAC.DIAG/TOROID/3/CHARGE+", "odd [name]*?.(x)|{}"}) {
            values.emplace_back(name, 1.0F);
        }
        file.machine(1, tenth(1), values);
        data_ = trox::data_set::open_files({file.finish()});
    }

    names matched(const std::vector<trox::channel_pattern>& patterns) const
    {
        names found;
        for (const std::size_t channel : trox::match_channels(*data_, patterns)) {
            found.push_back(data_->channels()[channel].name);
        }
        return found;
    }
    names matched(const std::string& text) const
    {
        return matched({trox::pattern_from_text(text)});
    }

    trox_test::temp_directory directory_;
    std::optional<trox::data_set> data_;
};

static_assert(std::random_access_iterator<trox::sample_view::iterator>);

TEST(sample_views, are_gone_through_in_both_directions_and_by_leaps)
{
    const float samples[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const trox::sample_view every_third(samples, 4, 3);
    EXPECT_EQ((std::vector<float>(every_third.begin(), every_third.end())), (std::vector<float>{0, 3, 6, 9}));
    auto it = every_third.end();
    EXPECT_EQ(*--it, 9.0F);
    EXPECT_EQ(*it--, 9.0F);
    EXPECT_EQ(*it, 6.0F);
    EXPECT_EQ(*(it - 2), 0.0F);
    EXPECT_EQ(*(1 + it), 9.0F);
    EXPECT_EQ((it -= 1)[2], 9.0F);
    EXPECT_EQ(every_third.end() - it, 3);
    EXPECT_TRUE(it > every_third.begin() && it >= every_third.begin() && it <= it && every_third.begin() < it);
    EXPECT_EQ(std::lower_bound(every_third.begin(), every_third.end(), 5.0F) - every_third.begin(), 2);
    std::vector<float> descending(std::make_reverse_iterator(every_third.end()),
                                  std::make_reverse_iterator(every_third.begin()));
    EXPECT_EQ(descending, (std::vector<float>{9, 6, 3, 0}));
}

TEST_F(channel_selection, tells_names_globs_and_expressions_by_their_text)
{
    EXPECT_EQ(trox::pattern_from_text("A/B.C").kind, syntax::name);
    EXPECT_EQ(trox::pattern_from_text("A/*").kind, syntax::glob);
    EXPECT_EQ(trox::pattern_from_text("A/?").kind, syntax::glob);
    EXPECT_EQ(trox::pattern_from_text("A/[12]").kind, syntax::glob);
    EXPECT_EQ(trox::pattern_from_text("re:A/.*").kind, syntax::regex);
    EXPECT_EQ(trox::pattern_from_text("re:A/.*").text, "A/.*");
}

TEST_F(channel_selection, by_name_is_exact)
{
    EXPECT_EQ(matched("LINAC.DIAG/TOROID/3/CHARGE"), (names{"LINAC.DIAG/TOROID/3/CHARGE"}));
    EXPECT_EQ(matched({{"odd [name]*?.(x)|{}", syntax::name}}), (names{"odd [name]*?.(x)|{}"}));
    EXPECT_EQ(error_of([&] { matched("LINAC.DIAG/TOROID/3"); }).why(), fault::not_found);
    EXPECT_EQ(error_of([&] { matched(""); }).why(), fault::not_found);
}

TEST_F(channel_selection, of_an_unknown_name_suggests_a_similar_one)
{
    const trox::error failure = error_of([&] { matched("LINAC.RF/ADC/A1/TRACER"); });
    EXPECT_EQ(failure.why(), fault::not_found);
    EXPECT_EQ(failure.where().channel, "LINAC.RF/ADC/A1/TRACER");
    EXPECT_THAT(failure.what(), HasSubstr("did you mean LINAC.RF/ADC/A1/TRACE?"));
    EXPECT_THAT(error_of([&] { matched("linac.diag/toroid/3/charge"); }).what(),
                HasSubstr("did you mean LINAC.DIAG/TOROID/3/CHARGE?"));
    EXPECT_THAT(error_of([&] { matched("QQQQ"); }).what(), testing::Not(HasSubstr("did you mean")));
    EXPECT_EQ(data_->similar_names("TOROID", 5), (names{"LINAC.DIAG/TOROID/3/CHARGE", "LINAC.DIAG/TOROID/3/CHARGE+"}));
    EXPECT_EQ(data_->similar_names("LINAC.RF/ADC/1A/TRACE", 1), (names{"LINAC.RF/ADC/A1/TRACE"}));
    EXPECT_TRUE(data_->similar_names("TOROID", 0).empty());
}

TEST_F(channel_selection, by_glob_matches_the_whole_name)
{
    EXPECT_EQ(matched("LINAC.RF/ADC/A*"), (names{"LINAC.RF/ADC/A1/TRACE", "LINAC.RF/ADC/A2/TRACE"}));
    EXPECT_EQ(matched("LINAC.RF/ADC/?1/TRACE"), (names{"LINAC.RF/ADC/A1/TRACE", "LINAC.RF/ADC/B1/TRACE"}));
    EXPECT_EQ(matched("*/[A-Z]1/*"), (names{"LINAC.RF/ADC/A1/TRACE", "LINAC.RF/ADC/B1/TRACE"}));
    EXPECT_EQ(matched("*/[!A]1/*"), (names{"LINAC.RF/ADC/B1/TRACE"}));
    EXPECT_EQ(matched("*CHARGE"), (names{"LINAC.DIAG/TOROID/3/CHARGE"}));
    EXPECT_EQ(matched("*CHARGE?"), (names{"LINAC.DIAG/TOROID/3/CHARGE+"})); // no operator of an expression
    EXPECT_EQ(matched("*+"), (names{"LINAC.DIAG/TOROID/3/CHARGE+"}));
    EXPECT_EQ(matched("odd []a[]name]*.(x)|{}"), (names{"odd [name]*?.(x)|{}"})); // a set of "]", "a" and "["
    EXPECT_EQ(matched("odd [[]name[]][*][?].(x)|{}"), (names{"odd [name]*?.(x)|{}"}));
    EXPECT_EQ(matched("*").size(), 6U);
    EXPECT_EQ(matched({{"", syntax::glob}}), names{});
    EXPECT_EQ(matched("LINAC*ADC"), names{});
}

TEST_F(channel_selection, by_glob_goes_back_to_its_last_star)
{
    small_file file(directory_.file("b.raw"));
    file.machine(1, tenth(1), {{"aab", 1.0F}, {"abab", 1.0F}, {"ababa", 1.0F}, {"a-b", 1.0F}});
    data_ = trox::data_set::open_files({file.finish()});
    EXPECT_EQ(matched("*ab"), (names{"aab", "abab"}));
    EXPECT_EQ(matched("*ab*a"), (names{"ababa"}));
    EXPECT_EQ(matched("**a*b**"), (names{"aab", "abab", "ababa", "a-b"}));
    EXPECT_EQ(matched("a[a-]b"), (names{"aab", "a-b"})); // a "-" at the end is no range
    EXPECT_EQ(matched("a[^b]b"), (names{"aab", "a-b"}));
    EXPECT_EQ(matched("*b?"), (names{"ababa"}));
}

TEST_F(channel_selection, by_a_name_with_the_characters_of_a_glob_goes_before_what_the_glob_matches)
{
    small_file file(directory_.file("b.raw"));
    file.machine(1, tenth(1), {{"T/A1", 1.0F}, {"T/A[1]", 1.0F}, {"T/A[", 1.0F}});
    data_ = trox::data_set::open_files({file.finish()});
    EXPECT_EQ(matched("T/A[1]"), (names{"T/A[1]"}));
    EXPECT_EQ(matched("T/A["), (names{"T/A["}));
    EXPECT_EQ(matched("T/A[12]"), (names{"T/A1"}));
}

TEST_F(channel_selection, by_any_pattern_comes_to_an_end)
{
    small_file file(directory_.file("b.raw"));
    file.machine(1, tenth(1), {{std::string(200, 'a'), 1.0F}});
    data_ = trox::data_set::open_files({file.finish()});
    std::string stars;
    for (int i = 0; i < 50; ++i) {
        stars += "*a";
    }
    EXPECT_EQ(matched(stars + "*b"), names{});
    EXPECT_EQ(matched("re:(a*)*(a*)*b"), names{});
    EXPECT_EQ(matched("re:(a|aa|a*)+c"), names{});
    EXPECT_EQ(matched("re:(.*)*(.*)*(.*)*$.").size(), 0U);
    EXPECT_EQ(matched("re:(a*)*(a*)*").size(), 1U);
    EXPECT_EQ(error_of([&] { matched("re:(a?){16000}"); }).why(), fault::wrong_use);
    EXPECT_EQ(error_of([&] { matched("re:(a)\\1"); }).why(), fault::wrong_use); // back-references need trying
    EXPECT_EQ(error_of([&] { matched("re:" + std::string(1001, 'a')); }).why(), fault::wrong_use);
    EXPECT_THAT(error_of([&] { matched("re:(a)\\1"); }).what(), HasSubstr("is no pattern"));
}

TEST_F(channel_selection, by_expression_matches_the_whole_name)
{
    EXPECT_EQ(matched("re:LINAC\\.RF/ADC/[AB]1/.*"), (names{"LINAC.RF/ADC/A1/TRACE", "LINAC.RF/ADC/B1/TRACE"}));
    EXPECT_EQ(matched("re:.*/(A2|B1)/TRACE"), (names{"LINAC.RF/ADC/A2/TRACE", "LINAC.RF/ADC/B1/TRACE"}));
    EXPECT_EQ(matched("re:TOROID"), names{});
    EXPECT_EQ(matched("re:.*TOROID.*\\+"), (names{"LINAC.DIAG/TOROID/3/CHARGE+"}));
}

TEST_F(channel_selection, refuses_malformed_patterns)
{
    for (const char* text : {"re:(", "re:[a", "re:a{2", "re:*", "re:\\", "A[bc", "A[", "A[]", "A[z-a]"}) {
        const trox::error failure = error_of([&] { matched(text); });
        EXPECT_EQ(failure.why(), fault::wrong_use) << text;
        EXPECT_THAT(failure.what(), testing::Not(HasSubstr("nothing was thrown"))) << text;
    }
}

TEST_F(channel_selection, keeps_the_order_of_patterns_and_takes_each_channel_once)
{
    EXPECT_EQ(matched({trox::pattern_from_text("*B1*"), trox::pattern_from_text("*/A?/*"),
                       trox::pattern_from_text("LINAC.RF/ADC/A2/TRACE")}),
              (names{"LINAC.RF/ADC/B1/TRACE", "LINAC.RF/ADC/A1/TRACE", "LINAC.RF/ADC/A2/TRACE"}));
    trox::event_reader reader(*data_, {{trox::pattern_from_text("*B1*"), trox::pattern_from_text("*A1*")}, {}, {}, {}});
    EXPECT_EQ(reader.channels(), (std::vector<std::size_t>{2, 0}));
    const auto event = reader.first();
    ASSERT_TRUE(event);
    EXPECT_EQ((*event)[0].stored_name(), "LINAC.RF/ADC/B1/TRACE");
    EXPECT_EQ((*event)[1].stored_name(), "LINAC.RF/ADC/A1/TRACE");
}

TEST_F(channel_selection, of_nothing_means_all_and_of_no_match_is_refused)
{
    EXPECT_EQ(trox::event_reader(*data_, {}).channels().size(), 6U);
    EXPECT_EQ(error_of([&] {
                  trox::event_reader(*data_, {{trox::pattern_from_text("X*")}, {}, {}, {}});
              }).why(),
              fault::not_found);
}

TEST_F(channel_selection, refuses_steps_tolerances_and_budgets_that_make_no_sense)
{
    using mode = trox::synchronisation::mode;
    using trox::microseconds;
    const auto refused = [&](const trox::synchronisation& match) {
        const trox::error failure = error_of([&] { trox::event_reader(*data_, {{}, {}, match, {}}); });
        return failure.why() == fault::wrong_use && failure.reason() != "nothing was thrown";
    };
    EXPECT_TRUE(refused({mode::by_number, microseconds(0), 0, microseconds(100)}));
    EXPECT_TRUE(refused({mode::by_time, microseconds(0), 1, microseconds(0)}));
    EXPECT_TRUE(refused({mode::by_time, microseconds(-1), 1, microseconds(100)}));
    EXPECT_TRUE(refused({mode::by_time, microseconds(100), 1, microseconds(100)}));
    EXPECT_FALSE(refused({mode::by_time, microseconds(99), 1, microseconds(100)}));
    EXPECT_FALSE(refused({mode::by_number, microseconds(100), 1, microseconds(100)}));
    const trox::error failure = error_of([&] { trox::event_reader(*data_, {}, {0, 1, true}); });
    EXPECT_EQ(failure.why(), fault::wrong_use);
    EXPECT_NE(failure.reason(), "nothing was thrown");
}

TEST(steps_in_time, reach_as_far_as_times_do)
{
    const trox_test::temp_directory directory;
    const auto data =
        trox::data_set::open_files({write_numbers(directory.file("a.raw"), trox::writer::generation::v2010, {1, 2})});
    trox::selection what;
    what.match.how = trox::synchronisation::mode::by_time;
    what.match.time_step = std::chrono::seconds(std::numeric_limits<std::uint32_t>::max());
    trox::event_reader reader(data, what);
    EXPECT_EQ(reader.count(), 1U); // the sum with a time is behind all events, none of them again
    what.match.time_step += trox::microseconds(1);
    const trox::error failure = error_of([&] { trox::event_reader(data, what); });
    EXPECT_EQ(failure.why(), trox::fault::wrong_use);
    EXPECT_EQ(failure.reason(), "the distance of events in time is longer than times reach");
}

} // namespace
