// The reader when any one of its own allocations fails: every operation answers, none throws, and it can be repeated.
#include "allocations.h"
#include "events_fixture.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

namespace
{

using trox_test::channel_list;
using trox_test::failing_allocation;
using trox_test::next;
using trox_test::printed_by;
using trox_test::request_for_run;
using trox_test::trace_name;

/// What a call answered whose n-th allocation failed.
struct attempt {
    int status = 0;
    bool has_failed = false; ///< false when there were not so many
    std::string printed;
};

template <class Call> attempt with_failing_allocation(long n, Call call)
{
    attempt made;
    made.printed = printed_by([&] {
        const failing_allocation fails(n);
        EXPECT_NO_THROW(made.status = call()) << "allocation " << n;
        made.has_failed = fails.has_failed();
    });
    return made;
}

/// Calls `check(n)` for the first allocation, the second, ..., until it answers that there was none to fail. Their
/// number.
template <class Check> long fail_each_allocation(Check check)
{
    constexpr long bound = 5000;
    for (long n = 1; n < bound; ++n) {
        if (!check(n)) {
            return n - 1;
        }
    }
    ADD_FAILURE() << "no end";
    return bound;
}

constexpr int all_events = 30;
constexpr int no_memory = TROX_DAQ_READER_INTERN_ERROR;
/// What `init` answers when the tables of the first file found no memory.
constexpr int not_loaded = TROX_DAQ_READER_BAD_FILE_FORMAT;

template <class T> class reader_memory : public trox_test::reader_test<T>
{
protected:
    using reader_type = typename T::reader;

    void SetUp() override
    {
        run = this->write_run(this->dir);
    }
    /// Reads the run with a reader that was used before; the number of events.
    int events_of(reader_type& reader)
    {
        reader.clean_up();
        EXPECT_EQ(reader.init(run, channels.list()), 0);
        EXPECT_EQ(reader.start(), 0);
        int events = 0;
        typename trox_test::reader_test<T>::event records;
        while (reader.get_data(nullptr, &records, next) == 0) {
            ++events;
        }
        return events;
    }

    /// After an `init`: 0 with all files and channels, or, for lack of memory, one of these answers. Then it is
    /// repeated.
    void expect_whole_or(const attempt& made, const std::set<int>& answers, reader_type& reader, long n)
    {
        if (made.status == 0) { // sorting goes on without its buffer
            EXPECT_EQ(reader.get_number_of_files(), 3) << "allocation " << n;
            EXPECT_EQ(reader.get_number_of_channels(), 3) << "allocation " << n;
        } else {
            EXPECT_TRUE(made.has_failed) << "allocation " << n;
            EXPECT_EQ(answers.count(made.status), 1U) << "allocation " << n << ", answer " << made.status;
            EXPECT_STREQ(reader.get_last_error(), reader.error_i2a(made.status));
        }
        EXPECT_EQ(events_of(reader), all_events) << "allocation " << n;
    }

    std::vector<std::string> run;
    channel_list channels{trace_name, "LINAC.TEST/BPM/1/XY:1;second", "LINAC.TEST/MAG/1/CURRENT"};
};
TYPED_TEST_SUITE(reader_memory, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(reader_memory, init_with_files_answers_whichever_allocation_fails)
{
    std::vector<char*> pointers;
    for (std::string& file : this->run) {
        pointers.push_back(file.data());
    }
    const long number = fail_each_allocation([&](long n) {
        typename TypeParam::reader reader;
        const attempt made = with_failing_allocation(n, [&] { return reader.init(&pointers, this->channels.list()); });
        this->expect_whole_or(made, {no_memory, not_loaded}, reader, n);
        return made.has_failed;
    });
    EXPECT_GE(number, 10);
}

TYPED_TEST(reader_memory, init_with_a_request_answers_whichever_allocation_fails)
{
    trox_test::scratch_directory catalogue;
    trox_test::write_run_catalogue(catalogue.path());
    for (const std::string& cdir : {catalogue.path(), std::string("/no/such/catalogue/")}) {
        auto request = request_for_run<TypeParam>(cdir, this->dir);
        const long number = fail_each_allocation([&](long n) {
            typename TypeParam::reader reader;
            const attempt made =
                with_failing_allocation(n, [&] { return reader.init(&request, this->channels.list()); });
            // A request that cannot be copied is an invalid one; a catalogue that cannot be read serves like none.
            this->expect_whole_or(made, {no_memory, not_loaded, TROX_DAQ_READER_INV_PARAM}, reader, n);
            return made.has_failed;
        });
        EXPECT_GE(number, 10);
    }
}

TYPED_TEST(reader_memory, a_channel_is_added_wholly_or_not_at_all)
{
    const std::string name = "LINAC.TEST/A/LONG/NAME/OF/A/CHANNEL:1;with_a_nickname";
    const long number = fail_each_allocation([&](long n) {
        typename TypeParam::reader reader;
        daq_channel_entry first{trace_name, {}};
        daq_channel_entry second{name.c_str(), {}};
        EXPECT_EQ(reader.add_channel(&first), 0);
        const attempt made = with_failing_allocation(n, [&] { return reader.add_channel(&second); });
        EXPECT_EQ(made.status, made.has_failed ? no_memory : 0) << "allocation " << n;
        EXPECT_STREQ(reader.get_last_error(), made.has_failed ? "Intern error" : "OK");
        EXPECT_EQ(reader.get_number_of_channels(), made.has_failed ? 1 : 2);
        EXPECT_EQ(reader.get_channel_name(1, nullptr) == nullptr, made.has_failed) << "allocation " << n;
        if constexpr (requires { reader.get_chan_name_map(); }) {
            const std::string full = name.substr(0, name.find(';'));
            std::map<std::string, int> expected{{trace_name, 0}};
            if (!made.has_failed) {
                expected[full] = 1;
            }
            EXPECT_EQ(reader.get_chan_name_map(), expected) << "allocation " << n;
        }
        EXPECT_EQ(reader.add_channel(&second), 0);
        EXPECT_EQ(reader.get_number_of_channels(), 2);
        int subchan = 0;
        EXPECT_STREQ(reader.get_channel_name(1, &subchan), "LINAC.TEST/A/LONG/NAME/OF/A/CHANNEL");
        EXPECT_EQ(subchan, 1);
        EXPECT_EQ(reader.get_channel_name(2, &subchan), nullptr);
        if constexpr (requires { reader.get_chan_name_map(); }) {
            EXPECT_EQ(reader.get_chan_name_map().size(), 2U);
        }
        EXPECT_EQ(reader.rem_channel(trace_name), 0);
        EXPECT_EQ(this->events_of(reader), all_events);
        return made.has_failed;
    });
    EXPECT_GE(number, 3) << "the result, its place and its name";
}

TYPED_TEST(reader_memory, lists_of_channels_grow_seldom)
{
    typename TypeParam::reader reader;
    long most_for_one = 0;
    long fewest_for_one = std::numeric_limits<long>::max();
    constexpr int count = 1000;
    long all = 0;
    for (int i = 0; i < count; ++i) {
        const std::string name = "LINAC.TEST/A/LONG/NAME/OF/A/CHANNEL/" + std::to_string(100000 + i);
        daq_channel_entry channel{name.c_str(), {}};
        const long before = trox_test::allocations;
        ASSERT_EQ(reader.add_channel(&channel), 0);
        const long made = trox_test::allocations - before;
        most_for_one = std::max(most_for_one, made);
        fewest_for_one = std::min(fewest_for_one, made);
        all += made;
    }
    EXPECT_LE(most_for_one, fewest_for_one + 2) << "one for each list";
    EXPECT_LE(all, count * fewest_for_one + 2 * 11) << "1000 doublings of 1 end after 10";
}

TYPED_TEST(reader_memory, settings_and_files_stay_when_they_cannot_be_changed)
{
    const std::string text = "/a/directory/with/a/name/that/is/longer/than/any/default/";
    const std::string bare = "a_file_whose_name_is_long_20120614T093000.raw";
    const auto fail_each = [&](const std::string& data_dir, auto change, auto changed) {
        return fail_each_allocation([&](long n) {
            typename TypeParam::reader reader;
            EXPECT_EQ(reader.set_data_dir(data_dir.c_str()), 0);
            const attempt made = with_failing_allocation(n, [&] { return change(reader); });
            EXPECT_EQ(made.status, made.has_failed ? no_memory : 0) << "allocation " << n;
            EXPECT_EQ(changed(reader), !made.has_failed) << "allocation " << n;
            return made.has_failed;
        });
    };
    EXPECT_EQ(fail_each(
                  "", [&](auto& reader) { return reader.set_catalog_dir(text.c_str()); },
                  [&](auto& reader) { return reader.get_catalog_dir() == text; }),
              1);
    EXPECT_GE(fail_each(
                  "", [&](auto& reader) { return reader.set_data_dir(text.c_str()); },
                  [&](auto& reader) { return reader.get_data_dir() == text; }),
              1);
    for (const char* data_dir : {"", "/some/directory/for/data/", "/some/list/of:/many/directories/there:"}) {
        EXPECT_GE(fail_each(
                      data_dir, [&](auto& reader) { return reader.add_file(bare.c_str(), true); },
                      [&](auto& reader) { return reader.get_number_of_files() == 1; }),
                  1)
            << data_dir;
    }
    const std::string path = "/x/" + bare;
    EXPECT_GE(fail_each_allocation([&](long n) {
                  typename TypeParam::reader reader;
                  EXPECT_EQ(reader.add_file(path.c_str(), true), 0);
                  const attempt made = with_failing_allocation(n, [&] { return reader.remove_file(path.c_str()); });
                  EXPECT_EQ(made.status, made.has_failed ? no_memory : 0);
                  EXPECT_EQ(reader.get_number_of_files(), made.has_failed ? 1 : 0);
                  return made.has_failed;
              }),
              1);
}

TYPED_TEST(reader_memory, start_answers_whichever_allocation_fails)
{
    const long number = fail_each_allocation([&](long n) {
        typename TypeParam::reader reader;
        EXPECT_EQ(reader.init(this->run, this->channels.list()), 0);
        const attempt made = with_failing_allocation(n, [&] { return reader.start(); });
        // A channel whose reader found no memory is passed over, as one that no file has.
        EXPECT_TRUE(made.status == 0 || (made.has_failed && made.status == no_memory))
            << "allocation " << n << ", answer " << made.status;
        if (made.status != 0) {
            typename trox_test::reader_test<TypeParam>::event records;
            printed_by([&] { EXPECT_NE(reader.get_data(nullptr, &records, next), 0); });
            EXPECT_TRUE(records.empty());
        }
        EXPECT_EQ(this->events_of(reader), all_events) << "when it is repeated";
        return made.has_failed;
    });
    EXPECT_GE(number, 10);
}

TYPED_TEST(reader_memory, get_data_answers_whichever_allocation_fails)
{
    for (const int debug : {0, 2}) {
        const long number = fail_each_allocation([&](long n) {
            typename TypeParam::reader reader;
            EXPECT_EQ(reader.init(this->run, this->channels.list()), 0);
            EXPECT_EQ(reader.start(), 0);
            reader.set_debug(debug);
            int events = 0;
            int failures = 0;
            const attempt made = with_failing_allocation(n, [&] {
                typename trox_test::reader_test<TypeParam>::event records;
                int status = 0;
                while (status == 0 || status == no_memory) {
                    status = reader.get_data(nullptr, &records, next);
                    events += status == 0 ? 1 : 0;
                    failures += status == no_memory ? 1 : 0;
                }
                return status;
            });
            reader.set_debug(0);
            EXPECT_EQ(made.status, TROX_DAQ_READER_OUT_OF_WINDOW) << "allocation " << n;
            // A reader of the next file that found no memory is passed over, and its events with it.
            EXPECT_LE(failures, made.has_failed ? 1 : 0);
            EXPECT_LE(events, all_events);
            if (!made.has_failed) {
                EXPECT_EQ(events, all_events);
            }
            return made.has_failed;
        });
        EXPECT_GE(number, 3);
    }
}

TYPED_TEST(reader_memory, looking_into_a_file_leaves_the_list_of_files_as_it_was)
{
    using operation = int (*)(typename TypeParam::reader&, const std::string&);
    const operation operations[] = {
        [](auto& reader, const std::string& file) {
            int n = 0;
            return reader.get_number_of_channels(file.c_str(), &n, 1);
        },
        [](auto& reader, const std::string& file) { return reader.print_all_channels(file.c_str()); },
        [](auto& reader, const std::string& file) {
            std::vector<chan_descr_2010*> list;
            return reader.fill_chan_descr(file.c_str(), &list);
        },
        [](auto& reader, const std::string& file) { return reader.print_event_index_table(file.c_str(), -1); }};
    for (const operation look : operations) {
        const long number = fail_each_allocation([&](long n) {
            typename TypeParam::reader reader;
            EXPECT_EQ(reader.add_file(this->run[1].c_str(), true), 0);
            const attempt made = with_failing_allocation(n, [&] { return look(reader, this->run[0]); });
            const std::set<int> answers{no_memory, TROX_DAQ_READER_NO_DATA};
            EXPECT_EQ(answers.count(made.status), made.has_failed ? 1U : 0U)
                << "allocation " << n << ", answer " << made.status;
            EXPECT_EQ(reader.get_number_of_files(), 1);
            EXPECT_EQ(reader.get_file_name(0), this->run[1]);
            return made.has_failed;
        });
        EXPECT_GE(number, 3);
    }
}

template <class T> using reader_memory_of_dumps = reader_memory<T>;
TYPED_TEST_SUITE(reader_memory_of_dumps, trox_test::reader_types_since_2010, trox_test::reader_type_names);

TYPED_TEST(reader_memory_of_dumps, dumps_are_whole_or_tell_what_failed)
{
    const std::string begin = TypeParam::class_name + "::print_channel_event_headers() ";
    const long number = fail_each_allocation([&](long n) {
        typename TypeParam::reader reader;
        const attempt made = with_failing_allocation(n, [&] {
            reader.print_channel_event_headers(this->run[0].c_str(), trace_name);
            return 0;
        });
        const bool is_whole = made.printed.find("==========END=OF=EVENT=HEADERS") != std::string::npos;
        const bool tells = made.printed.find(begin) != std::string::npos;
        EXPECT_NE(is_whole, tells) << "allocation " << n << ": " << made.printed;
        EXPECT_TRUE(is_whole || made.has_failed);
        EXPECT_EQ(reader.get_number_of_files(), 0);
        return made.has_failed;
    });
    EXPECT_GE(number, 5);
}

} // namespace
