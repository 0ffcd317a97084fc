// The sample runs read forward with every channel list: events, records, carried slow values and payloads are those
// that the lists name.
#include "golden/list_cases.h"
#include "trox/trox.h"

#include <cstdlib>
#include <optional>

namespace
{

using namespace trox_golden;

trox::time_point time_of(const json& seconds, const json& us)
{
    return trox::time_point(std::chrono::seconds(seconds.get<std::int64_t>()) +
                            trox::microseconds(us.get<std::int64_t>()));
}

/// A machine clock, "SECONDS:EVENT:HZ".
struct machine_clock {
    explicit machine_clock(const std::string& text)
    {
        char* end = nullptr;
        seconds = std::strtoull(text.c_str(), &end, 10);
        event = std::strtoull(end + 1, &end, 10);
        rate = std::strtoull(end + 1, nullptr, 10);
    }
    std::uint64_t number_at(std::uint64_t whole, std::uint64_t us) const
    {
        return event + ((whole - seconds) * 1000000 + us) * rate / 1000000;
    }
    std::uint64_t seconds = 0;
    std::uint64_t event = 0;
    std::uint64_t rate = 0;
};

/// A list's start and stop, both included there; a range ends one behind.
trox::event_range range_of(const json& settings)
{
    trox::event_range range;
    std::optional<machine_clock> clock;
    if (!settings.at("clock").is_null()) {
        clock.emplace(settings.at("clock").get<std::string>());
    }
    const auto number = [&](const json& point) {
        return clock ? clock->number_at(point.at(1), point.at(2)) : point.at(0).get<std::uint64_t>();
    };
    const json& start = settings.at("start");
    const json& stop = settings.at("stop");
    if (number(start) != 0) {
        range.first_number = number(start);
    } else if (start.at(1) != 0) {
        range.begin = time_of(start.at(1), start.at(2));
    }
    if (number(stop) != 0) {
        range.end_number = number(stop) + 1;
    } else if (stop.at(1) != 0) {
        range.end = time_of(stop.at(1), stop.at(2)) + trox::microseconds(1);
    }
    return range;
}

trox::selection selection_of(const json& expected, const std::vector<std::string>& channels)
{
    const json& settings = expected.at("settings");
    trox::selection what;
    for (const std::string& name : channels) {
        what.channels.push_back({name, trox::channel_pattern::syntax::name});
    }
    what.range = range_of(settings);
    what.match.how =
        settings.at("mode") == "time" ? trox::synchronisation::mode::by_time : trox::synchronisation::mode::by_number;
    what.match.tolerance = time_of(settings.at("time_diff").at(0), settings.at("time_diff").at(1)).time_since_epoch();
    what.match.number_step = settings.at("period").at(0);
    what.match.time_step = time_of(settings.at("period").at(1), settings.at("period").at(2)).time_since_epoch();
    return what;
}

template <class G> trox::data_set open_sample(const json& expected)
{
    std::vector<std::string> paths;
    for (const auto& file : expected.at("files")) {
        paths.push_back(data_root + "/" + G::data_folder + "/" + file.get<std::string>());
    }
    return trox::data_set::open_files(paths);
}

/// Names that the sample files know; a list may ask for others, too.
std::vector<std::string> known_channels(const json& expected, const trox::data_set& data)
{
    std::vector<std::string> names;
    for (const auto& channel : expected.at("channels")) {
        const auto name = channel.at("name").get<std::string>();
        if (data.find(name)) {
            names.push_back(name);
        }
    }
    return names;
}

/// Compares one run with its list, record by record.
template <class G> class list_comparison
{
public:
    explicit list_comparison(const json& expected)
        : expected_(expected), positions_(data_root, expected.at("files").get<std::vector<std::string>>()),
          data_(open_sample<G>(expected)), names_(known_channels(expected, data_)),
          reader_(data_, selection_of(expected, names_))
    {
    }

    void run()
    {
        std::size_t at = 0;
        const json& events = expected_.at("events");
        for (const trox::event& event : reader_) {
            ASSERT_LT(at, events.size());
            const json found = event_json(event);
            ASSERT_EQ(found, expected_event(events.at(at))) << "event " << at;
            ++at;
        }
        EXPECT_EQ(at, events.size());
        EXPECT_EQ(reader_.report().events, events.size());
        EXPECT_TRUE(reader_.report().skipped_records.empty());
        EXPECT_EQ(reader_.count(), events.size());
    }

private:
    /// [number, seconds, microseconds, records], a record being [name, updated, and the line that the list has of it].
    json expected_event(const json& line) const
    {
        json records = json::array();
        for (const auto& entry : line.at(3)) {
            const json& channel = expected_.at("channels").at(entry.at(0).get<std::size_t>());
            records.push_back(
                {channel.at("name"), entry.at(2), channel.at("records").at(entry.at(1).get<std::size_t>())});
        }
        return {line.at(0), line.at(1), line.at(2), records};
    }

    json event_json(const trox::event& event) const
    {
        json records = json::array();
        for (std::size_t i = 0; i < names_.size(); ++i) {
            if (const trox::record& record = event[i]) {
                EXPECT_EQ(record.channel(), i);
                records.push_back({names_[i], record.is_updated() ? 1 : 0, record_json(record, names_[i])});
            }
        }
        return {event.number(), seconds_of(event.time()), us_of(event.time()), records};
    }

    json record_json(const trox::record& record, const std::string& name) const
    {
        const time_stamp time{seconds_of(record.time()), us_of(record.time())};
        json line = positions_.find(name, record.event_number(), time);
        const auto files = expected_.at("files");
        EXPECT_TRUE(std::string(record.file()).ends_with(files.at(line.at(0).get<std::size_t>()).get<std::string>()));
        const auto payload = record.payload();
        const json rest{record.event_number(),
                        time.timeup,
                        time.timelow,
                        record.block_type(),
                        record.errors(),
                        payload.size() + sizeof(typename G::subhead),
                        short_sha(payload.data(), payload.size())};
        line.insert(line.end(), rest.begin(), rest.end());
        return line;
    }

    static std::uint32_t seconds_of(trox::time_point time)
    {
        return static_cast<std::uint32_t>(time.time_since_epoch().count() / 1000000);
    }
    static std::uint32_t us_of(trox::time_point time)
    {
        return static_cast<std::uint32_t>(time.time_since_epoch().count() % 1000000);
    }

    const json& expected_;
    record_positions positions_;
    trox::data_set data_;
    std::vector<std::string> names_;
    trox::event_reader reader_;
};

/// The layer delivers whole records; members are told apart by who reads the values.
bool asks_for_members(const json& expected)
{
    const auto& channels = expected.at("channels");
    return std::any_of(channels.begin(), channels.end(),
                       [](const json& channel) { return channel.at("subchan").get<int>() >= 0; });
}

template <class G> std::vector<std::string> whole_lists()
{
    std::vector<std::string> names = list_names<G>();
    names.erase(std::remove_if(names.begin(), names.end(),
                               [](const std::string& name) { return asks_for_members(expected_list<G>(name)); }),
                names.end());
    return names;
}

class sample_lists_legacy : public testing::TestWithParam<std::string>
{
};
class sample_lists_2010 : public testing::TestWithParam<std::string>
{
};
class sample_lists_2024 : public testing::TestWithParam<std::string>
{
};

template <class G> void expect_list(const std::string& name)
{
    const json expected = expected_list<G>(name);
    list_comparison<G>(expected).run();
}

TEST_P(sample_lists_legacy, forward_events_and_records_are_those_of_the_list)
{
    expect_list<golden_legacy>(GetParam());
}
TEST_P(sample_lists_2010, forward_events_and_records_are_those_of_the_list)
{
    expect_list<golden_2010>(GetParam());
}
TEST_P(sample_lists_2024, forward_events_and_records_are_those_of_the_list)
{
    expect_list<golden_2024>(GetParam());
}

const auto plain_name = [](const testing::TestParamInfo<std::string>& info) { return info.param; };
INSTANTIATE_TEST_SUITE_P(lists, sample_lists_legacy, testing::ValuesIn(whole_lists<golden_legacy>()), plain_name);
INSTANTIATE_TEST_SUITE_P(lists, sample_lists_2010, testing::ValuesIn(whole_lists<golden_2010>()), plain_name);
INSTANTIATE_TEST_SUITE_P(lists, sample_lists_2024, testing::ValuesIn(whole_lists<golden_2024>()), plain_name);

TEST(sample_lists, only_the_list_of_members_is_left_out)
{
    EXPECT_EQ(whole_lists<golden_legacy>().size(), 14U);
    EXPECT_EQ(whole_lists<golden_2010>().size(), 13U);
    EXPECT_EQ(whole_lists<golden_2024>().size(), 13U);
}

TEST(sample_lists, a_run_of_the_catalogue_is_read_like_its_files)
{
    const json expected = expected_list<golden_2010>("evid_all");
    const trox::run_place place{data_root + "/catalogue", {data_root + "/data_2010"}, "linac", "main"};
    const trox::data_set run = trox::data_set::open_run(place, golden_2010::run);
    ASSERT_EQ(run.files().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(run.files()[i].path, data_root + "/data_2010/" + expected.at("files").at(i).get<std::string>());
    }
    trox::event_reader reader(run, {});
    EXPECT_EQ(reader.count(), expected.at("events").size());
}

} // namespace
