// Going forward through the layer delivers what the reader classes deliver for requests of the next event: over random
// runs, by number and by time, with several steps and tolerances.
#include "both_readers.h"
#include "random_run.h"
#include "small_file.h"
#include "temp_directory.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace
{

using namespace layer_test;
using mode = trox::synchronisation::mode;
using trox::microseconds;

constexpr std::uint32_t seeds = 30;

const std::vector<trox::synchronisation>& by_number()
{
    static const std::vector<trox::synchronisation> list{
        {mode::by_number, microseconds(50000), 1, microseconds(100000)},
        {mode::by_number, microseconds(50000), 3, microseconds(100000)}};
    return list;
}
const std::vector<trox::synchronisation>& by_time()
{
    static const std::vector<trox::synchronisation> list{{mode::by_time, microseconds(50000), 1, microseconds(100000)},
                                                         {mode::by_time, microseconds(10000), 1, microseconds(100000)},
                                                         {mode::by_time, microseconds(2000), 1, microseconds(100000)},
                                                         {mode::by_time, microseconds(95000), 1, microseconds(200000)},
                                                         {mode::by_time, microseconds(10000), 1, microseconds(20000)}};
    return list;
}

template <class G> class random_runs : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        ::setenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    }

    /// Compares all seeds; tells how many events were compared.
    std::size_t compare(disorder kind, const std::vector<trox::synchronisation>& matches)
    {
        std::size_t compared = 0;
        for (std::uint32_t seed = 1; seed <= seeds; ++seed) {
            const trox_test::temp_directory directory;
            const random_run run = write_random_run(directory.file("."), G::format, seed, kind);
            for (const trox::synchronisation& match : matches) {
                SCOPED_TRACE("seed " + std::to_string(seed) + ", tolerance " + std::to_string(match.tolerance.count()) +
                             ", steps " + std::to_string(match.number_step) + ", " +
                             std::to_string(match.time_step.count()));
                compared += compare_one(run, match);
            }
        }
        return compared;
    }

    std::size_t compare_one(const random_run& run, const trox::synchronisation& match)
    {
        const std::size_t bound = 20 * run.events + 100;
        const delivered expected = class_reading<G>(run.files, run.channels, match).read(bound);
        const auto data = trox::data_set::open_files(run.files);
        trox::event_reader reader(data, {named(run.channels), {}, match, trox::on_missing::keep}, {1 << 20, 1, true});
        const auto found = texts_of(reader);
        EXPECT_EQ(expected.end_status, ended);
        EXPECT_EQ(first_difference(expected.events, found), "");
        return expected.events.size();
    }
};

using generations = testing::Types<legacy, v2010, v2024>;
struct generation_names {
    template <class G> static std::string GetName(int /*index*/)
    {
        return G::name;
    }
};
TYPED_TEST_SUITE(random_runs, generations, generation_names);

TYPED_TEST(random_runs, are_read_alike_by_number)
{
    EXPECT_GT(this->compare(disorder::none, by_number()), 500U);
}

TYPED_TEST(random_runs, are_read_alike_by_time)
{
    EXPECT_GT(this->compare(disorder::none, by_time()), 1000U);
}

TYPED_TEST(random_runs, with_repeated_numbers_are_read_alike_by_number)
{
    EXPECT_GT(this->compare(disorder::repeated_numbers, by_number()), 500U);
}

TYPED_TEST(random_runs, with_repeated_numbers_are_read_alike_by_time)
{
    EXPECT_GT(this->compare(disorder::repeated_numbers, by_time()), 1000U);
}

TYPED_TEST(random_runs, recorded_out_of_order_are_read_alike_by_number)
{
    EXPECT_GT(this->compare(disorder::unordered, by_number()), 500U);
}

TYPED_TEST(random_runs, recorded_out_of_order_are_read_alike_by_time)
{
    EXPECT_GT(this->compare(disorder::unordered, by_time()), 1000U);
}

/// A channel in every event, and one in some, at a rate that the defaults do not suit.
template <class G> random_run write_rate(const std::string& directory, std::int64_t period_us, std::uint64_t every)
{
    random_run run;
    run.files = {directory + "/" + trox::writer::data_file_name({"linac", "main", 7}, 1, {small_file_second, 0})};
    run.channels = {"T/SOME", "T/ALL"};
    run.events = 60;
    small_file file(run.files.front(), G::format);
    file.channel("T/SOME").channel("T/ALL");
    for (std::uint64_t i = 0; i < run.events; ++i) {
        std::vector<std::pair<std::string, float>> values{{"T/ALL", 1.0F}};
        if (i % every == 1 % every) {
            values.emplace_back("T/SOME", 2.0F);
        }
        file.machine(1 + i, tenth(0) + microseconds(period_us) * static_cast<std::int64_t>(i), values);
    }
    file.finish();
    return run;
}

TYPED_TEST(random_runs, of_any_rate_are_read_alike)
{
    std::size_t compared = 0;
    for (const std::int64_t period : {10000, 20000, 25000, 50000, 60000}) {
        for (const std::uint64_t every : {1U, 2U, 3U, 5U}) {
            SCOPED_TRACE("period " + std::to_string(period) + ", every " + std::to_string(every));
            const trox_test::temp_directory directory;
            const random_run run = write_rate<TypeParam>(directory.file("."), period, every);
            compared += this->compare_one(run, by_number().front());
            compared += this->compare_one(run, by_time().front());
        }
    }
    EXPECT_GT(compared, 1500U);
}

} // namespace
