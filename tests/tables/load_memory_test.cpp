// Loading when any one object cannot be made: the load answers an error, and the loader is empty and usable.
#include "allocations.h"
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "event_util.h"
#include "failing_calls.h"

#include <functional>

using namespace trox_test;

namespace
{

template <class T> class load_without_memory : public ::testing::Test
{
protected:
    using load_call = std::function<int(typename T::loader&)>;

    /// Loads with the first object failing, the second, ..., until there is none left to fail. Their number.
    long fail_each_object(const load_call& load)
    {
        constexpr long bound = 2000;
        for (long n = 1; n < bound; ++n) {
            typename T::loader loader(0);
            EXPECT_EQ(loader.get_all_tables(scenario_.path(), 0, nullptr), 0) << "what the next load replaces";
            int status = 99;
            bool has_failed = false;
            {
                const failing_allocation fails(n);
                EXPECT_NO_THROW(status = load(loader));
                has_failed = fails.has_failed();
            }
            if (!has_failed) {
                EXPECT_EQ(status, 0);
                EXPECT_EQ(loader.status(), 0);
                return n - 1;
            }
            EXPECT_TRUE(is_known_error(status)) << "object " << n << ": " << status;
            EXPECT_EQ(loader.status(), status);
            EXPECT_FALSE(loader.lacks_listed_channels());
            EXPECT_EQ(loader.get_file_descr(), -1) << "object " << n;
            EXPECT_STREQ(loader.get_file_name(), "");
            EXPECT_TRUE(loader.get_descr_list()->empty());
            EXPECT_EQ(mappings_of(scenario_.path()), 0U);
            EXPECT_EQ(load(loader), 0) << "once there is memory again";
        }
        ADD_FAILURE() << "no end";
        return bound;
    }
    /// Codes of a lack of memory: the table readers' own, or that of the table whose reader lacked it.
    static bool is_known_error(int status)
    {
        return status == 2 || status == 3 || status == 5 || status == 6 || status == 7;
    }

    static scenario_options<T> described()
    {
        scenario_options<T> options;
        options.descriptions_xml = "<channels><channel daq_name=\"TEST/PLAIN\"><bit bit=\"1\"/></channel></channels>";
        return options;
    }

    scenario_file<T> scenario_{described()};
};
TYPED_TEST_SUITE(load_without_memory, channel_generations);

} // namespace

TYPED_TEST(load_without_memory, answers_an_error_whichever_object_cannot_be_made)
{
    const std::size_t descriptors = open_descriptors();
    const auto load = [&](auto& loader) { return loader.get_all_tables(this->scenario_.path(), 1, nullptr); };
    EXPECT_GE(this->fail_each_object(load), 3) << "the file, its name, and the description";
    EXPECT_EQ(open_descriptors(), descriptors);
}

TYPED_TEST(load_without_memory, answers_an_error_for_lists_of_channels_too)
{
    const std::vector<std::string> list{"TEST/PLAIN", "TEST/NAME/THAT/DOES/NOT/FIT/INTO/A/SHORT/STRING"};
    const auto load = [&](auto& loader) { return loader.get_all_tables(this->scenario_.path(), 0, &list); };
    EXPECT_GE(this->fail_each_object(load), 5);
    std::string names[] = {list[0], list[1]};
    std::vector<char*> pointers{names[0].data(), nullptr, names[1].data()};
    const auto load_zero_terminated = [&](auto& loader) {
        return loader.get_all_tables(this->scenario_.path().c_str(), 0, &pointers);
    };
    EXPECT_GE(this->fail_each_object(load_zero_terminated), 5);
}

TYPED_TEST(load_without_memory, tells_it_while_debugging)
{
    typename TypeParam::loader loader(0);
    const std::string path = this->scenario_.path();
    for (const int level : {0, 1}) {
        loader.set_debug(level);
        int status = 0;
        const captured_output printed = capture([&] {
            const failing_allocation fails(1);
            status = loader.get_all_tables(path, 0, nullptr);
        });
        EXPECT_EQ(status, TROX_EVUTL_OUT_OF_MEMORY);
        EXPECT_EQ(printed.err, level != 0 ? "malloc: Cannot allocate memory\n" : "");
        EXPECT_EQ(printed.out, "");
    }
}
