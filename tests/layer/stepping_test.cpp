// Stepping from anywhere to anywhere leads to the events that going forward delivers.
#include "event_texts.h"
#include "random_run.h"
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <random>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using trox::microseconds;
using mode = trox::synchronisation::mode;

struct listed_event {
    std::uint64_t number = 0;
    trox::time_point time{};
    std::string text;
};

std::vector<listed_event> list_of(trox::event_reader& reader)
{
    std::vector<listed_event> list;
    for (const trox::event& event : reader) {
        list.push_back({event.number(), event.time(), text_of(event, reader)});
    }
    return list;
}

/// A reader, and a model of it that only knows the list of events.
class walker
{
public:
    walker(const trox::data_set& data, const trox::selection& what, std::uint32_t seed)
        : list_([&] {
              trox::event_reader forward(data, what);
              return list_of(forward);
          }()),
          reader_(data, what, {std::size_t{1} << 20, 1 + seed % 3, true}), random_(seed)
    {
    }

    std::size_t size() const
    {
        return list_.size();
    }

    void walk(int steps)
    {
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
            step();
        }
    }

private:
    std::uint64_t below(std::uint64_t limit)
    {
        return random_() % limit;
    }

    void step()
    {
        switch (below(9)) {
        case 0:
            return expect("first", 0, reader_.first());
        case 1:
            return expect("last", list_.size() - 1, reader_.last());
        case 2:
        case 3:
            return expect("next", present_ ? *present_ + 1 : 0, reader_.next());
        case 4:
        case 5:
            return expect("previous", present_ ? *present_ - 1 : list_.size() - 1, reader_.previous());
        case 6:
            return step_to_number();
        case 7:
            return step_to_time();
        default:
            return stay();
        }
    }

    void step_to_number()
    {
        // Every number around the run, also such that no event has.
        const std::uint64_t number = list_.front().number - 2 + below(list_.back().number - list_.front().number + 5);
        const auto at =
            std::find_if(list_.begin(), list_.end(), [&](const listed_event& event) { return event.number == number; });
        expect("number " + std::to_string(number), index_of(at), reader_.at_number(number));
    }

    void step_to_time()
    {
        const auto span = (list_.back().time - list_.front().time).count();
        const auto offset = microseconds(static_cast<std::int64_t>(below(static_cast<std::uint64_t>(span + 400000))));
        const std::size_t exact = below(list_.size());
        const trox::time_point time = below(2) == 0 ? list_.front().time - microseconds(200000) + offset
                                                    : list_[exact].time + microseconds(below(3)) - microseconds(1);
        const auto at =
            std::find_if(list_.begin(), list_.end(), [&](const listed_event& event) { return event.time >= time; });
        expect("time " + trox::to_text(time), index_of(at), reader_.at_time(time));
    }

    void stay()
    {
        if (below(4) == 0) {
            reader_.rewind();
            present_.reset();
        }
        expect("current", present_ ? *present_ : list_.size(), reader_.current());
    }

    std::size_t index_of(std::vector<listed_event>::const_iterator at) const
    {
        return static_cast<std::size_t>(at - list_.begin());
    }

    /// Event `index` is delivered; none, and no step, when there is no such event.
    void expect(const std::string& what, std::size_t index, const std::optional<trox::event>& found)
    {
        const bool exists = index < list_.size();
        ASSERT_EQ(found.has_value(), exists) << what << " to " << index;
        if (exists) {
            ASSERT_EQ(text_of(*found, reader_), list_[index].text) << what << " to " << index;
            present_ = index;
        }
    }

    std::vector<listed_event> list_;
    trox::event_reader reader_;
    std::mt19937 random_;
    std::optional<std::size_t> present_;
};

/// Walks through the runs of some seeds with selections of a kind.
template <class Select> void walk_runs(disorder kind, Select select)
{
    std::size_t events = 0;
    for (std::uint32_t seed = 100; seed < 112; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const trox_test::temp_directory directory;
        const random_run run = write_random_run(directory.file("."), all_formats[seed % 3], seed, kind);
        const auto data = trox::data_set::open_files(run.files);
        walker walk(data, select(run), seed);
        if (walk.size() > 0) {
            walk.walk(200);
        }
        events += walk.size();
    }
    EXPECT_GT(events, 50U); // there was something to walk through
}

TEST(stepping, by_number_leads_to_the_events_of_the_forward_list)
{
    walk_runs(disorder::none, [](const random_run& run) { return trox::selection{named(run.channels), {}, {}, {}}; });
}

TEST(stepping, by_time_leads_to_the_events_of_the_forward_list)
{
    walk_runs(disorder::none, [](const random_run& run) {
        return trox::selection{named(run.channels), {}, {mode::by_time, microseconds(10000)}, {}};
    });
}

TEST(stepping, in_disorder_leads_to_the_events_of_the_forward_list)
{
    walk_runs(disorder::repeated_numbers, [](const random_run& run) {
        return trox::selection{named(run.channels), {}, {}, {}};
    });
    walk_runs(disorder::unordered, [](const random_run& run) {
        return trox::selection{named(run.channels), {}, {mode::by_time, microseconds(10000)}, {}};
    });
}

TEST(stepping, stays_within_a_range)
{
    walk_runs(disorder::none, [](const random_run& run) {
        trox::selection what{named(run.channels), {}, {}, {}};
        what.range.first_number = run.first_number + 5;
        what.range.end_number = run.first_number + 22;
        return what;
    });
    walk_runs(disorder::none, [](const random_run& run) {
        const trox::time_point start{std::chrono::seconds(run.first_second)};
        trox::selection what{named(run.channels), {}, {mode::by_time, microseconds(10000)}, {}};
        what.range.begin = start + microseconds(600000);
        what.range.end = start + microseconds(2800000);
        return what;
    });
}

TEST(stepping, passes_over_dropped_events_in_both_directions)
{
    walk_runs(disorder::none, [](const random_run& run) {
        std::vector<std::string> channels = run.channels;
        channels.resize(std::min<std::size_t>(channels.size(), 2)); // of more, few events have all
        return trox::selection{named(channels), {}, {}, trox::on_missing::drop};
    });
}

// --- known answers --------------------------------------------------------------------------------------

class known_steps : public testing::Test
{
protected:
    trox_test::temp_directory directory_;
};

TEST_F(known_steps, at_edges_of_files_and_runs_and_in_gaps)
{
    const auto data =
        trox::data_set::open_files({write_numbers(directory_.file("a.raw"), tw::generation::v2010, {10, 11, 12}),
                                    write_numbers(directory_.file("b.raw"), tw::generation::v2010, {20, 21})});
    trox::event_reader reader(data, {});
    EXPECT_EQ(number_of(reader.current()), std::nullopt);
    EXPECT_EQ(number_of(reader.previous()), 21U);
    EXPECT_EQ(number_of(reader.next()), std::nullopt);
    EXPECT_EQ(number_of(reader.current()), 21U);
    EXPECT_EQ(number_of(reader.previous()), 20U);
    EXPECT_EQ(number_of(reader.previous()), 12U);
    EXPECT_EQ(number_of(reader.next()), 20U);
    EXPECT_EQ(number_of(reader.first()), 10U);
    EXPECT_EQ(number_of(reader.previous()), std::nullopt);
    EXPECT_EQ(number_of(reader.current()), 10U);
    EXPECT_EQ(number_of(reader.at_number(15)), std::nullopt);
    EXPECT_EQ(number_of(reader.at_number(12)), 12U);
    EXPECT_EQ(number_of(reader.at_time(tenth(12))), 12U);
    EXPECT_EQ(number_of(reader.at_time(tenth(12) + microseconds(1))), 20U);
    EXPECT_EQ(number_of(reader.at_time(tenth(15))), 20U);
    EXPECT_EQ(number_of(reader.at_time(tenth(21) + microseconds(1))), std::nullopt);
    EXPECT_EQ(number_of(reader.at_time(trox::time_point{})), 10U);
    EXPECT_EQ(number_of(reader.last()), 21U);
    reader.rewind();
    EXPECT_EQ(number_of(reader.current()), std::nullopt);
    EXPECT_EQ(number_of(reader.next()), 10U);
}

TEST_F(known_steps, through_numbers_that_begin_anew_bring_all_events)
{
    const auto data =
        trox::data_set::open_files({write_numbers(directory_.file("a.raw"), tw::generation::v2010, {100, 101, 102}),
                                    write_numbers(directory_.file("b.raw"), tw::generation::v2010, {1, 2, 3}, 200),
                                    write_numbers(directory_.file("c.raw"), tw::generation::v2010, {1, 2}, 300)});
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (std::vector<std::uint64_t>{100, 101, 102, 1, 2, 3, 1, 2}));
}

// What follows number 3 is 4: as in the reader classes, numbers that a file repeats in part are those events again.
TEST_F(known_steps, through_files_that_overlap_bring_each_number_once)
{
    const auto data =
        trox::data_set::open_files({write_numbers(directory_.file("a.raw"), tw::generation::v2010, {1, 2, 3}),
                                    write_numbers(directory_.file("b.raw"), tw::generation::v2010, {2, 3, 4, 5}, 100)});
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (std::vector<std::uint64_t>{1, 2, 3, 4, 5}));
}

TEST_F(known_steps, through_repeated_numbers_lead_to_the_first_of_them)
{
    const auto data =
        trox::data_set::open_files({write_numbers(directory_.file("a.raw"), tw::generation::v2010, {5, 6, 7}),
                                    write_numbers(directory_.file("b.raw"), tw::generation::v2010, {1, 2, 6}, 200)});
    trox::event_reader reader(data, {});
    EXPECT_EQ(numbers_of(reader), (std::vector<std::uint64_t>{5, 6, 7, 1, 2, 6}));
    const auto found = reader.at_number(6);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->time(), tenth(6));
    EXPECT_EQ(number_of(reader.next()), 7U);
    EXPECT_EQ(number_of(reader.next()), 1U);
}

TEST_F(known_steps, through_generations_in_one_data_set)
{
    const auto data =
        trox::data_set::open_files({write_numbers(directory_.file("a.raw"), tw::generation::legacy, {1, 2}),
                                    write_numbers(directory_.file("b.raw"), tw::generation::v2010, {3, 4}),
                                    write_numbers(directory_.file("c.raw"), tw::generation::v2024, {5, 6})});
    for (const auto how : {mode::by_number, mode::by_time}) {
        trox::event_reader reader(data, {{}, {}, {how, microseconds(50000)}, {}});
        EXPECT_EQ(numbers_of(reader), (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6}));
        std::vector<trox::generation> formats;
        for (auto event = reader.last(); event; event = reader.previous()) {
            formats.push_back((*event)[0].format());
        }
        using trox::generation;
        EXPECT_EQ(formats, (std::vector<generation>{generation::v2024, generation::v2024, generation::v2010,
                                                    generation::v2010, generation::legacy, generation::legacy}));
    }
}

TEST_F(known_steps, of_numbers_above_32_bits)
{
    const std::uint64_t big = std::uint64_t{1} << 40;
    tw::file_writer file(directory_.file("a.raw"), tw::generation::v2024);
    const auto channel = file.add_channel("T/A");
    for (const std::uint64_t number : {big, big + 1, big + 2}) {
        file.begin_event({number, {small_file_second, static_cast<std::uint32_t>((number - big) * 100000)}});
        file.begin_server_block({"SVR"});
        file.add_record(channel, tw::spectrum_payload(tw::generation::v2024, TROX_BLOCK_1CHAN_2010, {1.0F}));
        file.end_event();
    }
    file.finish();
    trox::event_reader reader(trox::data_set::open_files({directory_.file("a.raw")}), {});
    EXPECT_EQ(number_of(reader.at_number(big + 1)), big + 1);
    EXPECT_EQ(number_of(reader.at_number(1)), std::nullopt); // the low 32 bits alone
    EXPECT_EQ(number_of(reader.next()), big + 2);
}

TEST_F(known_steps, that_progress_ends_pass_its_exception_on)
{
    std::vector<std::string> paths;
    for (std::uint64_t number = 1; number <= 5; ++number) {
        paths.push_back(directory_.file("p" + std::to_string(number) + ".raw"));
        write_numbers(paths.back(), tw::generation::v2010, {number});
    }
    struct stopped {
    };
    trox::reading_options options;
    options.progress = [](std::size_t file, std::size_t) {
        if (file == 4) {
            throw stopped();
        }
    };
    trox::event_reader reader(trox::data_set::open_files(paths), {}, options);
    EXPECT_THROW(reader.first(), stopped);
    EXPECT_FALSE(reader.current());
    EXPECT_EQ(numbers_of(reader), (std::vector<std::uint64_t>{1, 2, 3, 4, 5})); // told of once
}

TEST_F(known_steps, of_a_reader_without_events_in_its_range)
{
    const auto data =
        trox::data_set::open_files({write_numbers(directory_.file("a.raw"), tw::generation::v2010, {10, 11, 12})});
    trox::selection what;
    what.range.first_number = 13;
    trox::event_reader reader(data, what);
    EXPECT_EQ(reader.count(), 0U);
    EXPECT_FALSE(reader.first());
    EXPECT_FALSE(reader.last());
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.previous());
    EXPECT_FALSE(reader.at_number(11));
    EXPECT_FALSE(reader.at_time(tenth(0)));
    EXPECT_FALSE(reader.current());
    EXPECT_TRUE(reader.begin() == reader.end());
}

} // namespace
