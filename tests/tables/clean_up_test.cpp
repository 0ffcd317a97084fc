// Emptying a table loader, also under the feet of those who use it.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "channel_waiting.h"

#include <memory>
#include <thread>

using namespace trox_test;

namespace
{

template <class T> class clean_loader : public ::testing::Test
{
protected:
    static scenario_options<T> described()
    {
        scenario_options<T> options;
        options.descriptions_xml = "<channels><channel daq_name=\"TEST/PLAIN\">"
                                   "<bit n=\"1\" name=\"A\"/><bit n=\"2\" name=\"B\"/>"
                                   "<dim n=\"0\" name=\"X\"><stat n=\"0\" name=\"MEAN\"/></dim></channel></channels>";
        return options;
    }
    scenario_file<T> scenario_{described()};
    typename T::loader loader_{1};
};
TYPED_TEST_SUITE(clean_loader, channel_generations);

} // namespace

TYPED_TEST(clean_loader, is_harmless_on_an_empty_loader_and_when_repeated)
{
    this->loader_.clean_up();
    this->loader_.clean_up();
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 1, nullptr), 0);
    this->loader_.clean_up();
    this->loader_.clean_up();
    EXPECT_EQ(this->loader_.get_file_descr(), -1);
}

TYPED_TEST(clean_loader, leaves_the_loader_as_constructed_but_for_the_debug_level)
{
    auto& loader = this->loader_;
    loader.set_debug(1);
    const std::vector<std::string> list{"TEST/PLAIN"};
    capture([&] { loader.get_all_tables(this->scenario_.path(), 1, &list); });
    loader.clean_up();
    EXPECT_STREQ(loader.get_file_name(), "");
    EXPECT_EQ(loader.get_file_len(), 0);
    EXPECT_EQ(loader.get_evh_basket(), nullptr);
    EXPECT_EQ(loader.get_evh_base(), nullptr);
    EXPECT_EQ(loader.get_sbh_base(), nullptr);
    EXPECT_EQ(loader.get_ref_tbl(), nullptr);
    EXPECT_EQ(loader.get_xcd_table(), nullptr);
    EXPECT_FALSE(loader.are_baskets_copied());
    EXPECT_TRUE(loader.is_ecp_tab_full());
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/PLAIN"), -1);
    EXPECT_TRUE(loader.get_descr_list()->empty());
    EXPECT_EQ(loader.get_debug(), 1);
}

TYPED_TEST(clean_loader, tells_of_descriptions_whose_counts_do_not_fit_their_lists)
{
    auto& loader = this->loader_;
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 1, nullptr), 0);
    loader.get_descr_list()->front()->nbits = 0;
    loader.get_descr_list()->front()->ndims = 0;
    loader.set_debug(1);
    EXPECT_EQ(capture([&] { loader.clean_up(); }).out,
              "ERROR: nbits = 0, but bits.size()=2\nERROR: ndims = 0, but ndims.size()=1\n");
}

TYPED_TEST(clean_loader, is_silent_about_such_descriptions_without_debugging)
{
    auto& loader = this->loader_;
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 1, nullptr), 0);
    loader.get_descr_list()->front()->nbits = 0;
    EXPECT_EQ(capture([&] { loader.clean_up(); }).out, "");
}

TYPED_TEST(clean_loader, may_run_in_several_threads_at_once)
{
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 1, nullptr), 0);
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([this] { this->loader_.clean_up(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(this->loader_.get_file_descr(), -1);
    }
}

TYPED_TEST(clean_loader, leaves_a_started_channel_reader_all_its_records)
{
    const std::vector<std::string> fast{"TEST/PLAIN"};
    for (const std::vector<std::string>* list : {static_cast<const std::vector<std::string>*>(nullptr), &fast}) {
        ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, list), 0);
        typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
        start_signal signal;
        ASSERT_EQ(start(reader, signal), 0);
        this->loader_.clean_up();
        ASSERT_TRUE(signal.wait());
        typename TypeParam::entry* record = nullptr;
        ASSERT_EQ(reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_LAST), 0);
        EXPECT_EQ(floats_of<TypeParam>(*record), samples_of(plain_channel, scenario_events - 1, 1));
    }
}

TYPED_TEST(clean_loader, between_construction_and_start_leaves_a_reader_what_it_took)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/ZLIB", -1, nullptr);
    this->loader_.clean_up();
    ASSERT_TRUE(start_and_wait(reader));
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(floats_of<TypeParam>(*record), samples_of(zlib_channel, 0, 1));
}

TYPED_TEST(clean_loader, by_loading_another_file_does_not_disturb_readers_of_the_first)
{
    scenario_options<TypeParam> shorter;
    shorter.events = 2;
    const scenario_file<TypeParam> other(shorter);
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader first(&this->loader_, "TEST/ZLIB", -1, nullptr);
    start_signal signal;
    ASSERT_EQ(start(first, signal), 0);
    ASSERT_EQ(this->loader_.get_all_tables(other.path(), 0, nullptr), 0);
    typename TypeParam::reader second(&this->loader_, "TEST/ZLIB", -1, nullptr);
    ASSERT_TRUE(start_and_wait(second));
    ASSERT_TRUE(signal.wait());
    EXPECT_EQ(first.get_number_of_records(), scenario_events);
    EXPECT_EQ(second.get_number_of_records(), 2);
}

TYPED_TEST(clean_loader, and_destruction_before_its_readers_is_safe)
{
    auto loader = std::make_unique<typename TypeParam::loader>(0);
    ASSERT_EQ(loader->get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader waiting(loader.get(), "TEST/LZO", -1, nullptr);
    typename TypeParam::reader started(loader.get(), "TEST/MEMBERS", 2, nullptr);
    start_signal signal;
    ASSERT_EQ(start(started, signal), 0);
    loader.reset();
    ASSERT_TRUE(signal.wait());
    ASSERT_TRUE(start_and_wait(waiting));
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(started.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(floats_of<TypeParam>(*record).size(), static_cast<std::size_t>(trace_samples));
    started.clean();
    waiting.clean();
}

TYPED_TEST(clean_loader, keeps_a_shared_loader_alive_while_a_reader_uses_it)
{
    auto loader = std::make_shared<typename TypeParam::loader>(0);
    ASSERT_EQ(loader->get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(loader.get(), "TEST/PLAIN", -1, nullptr);
    const std::weak_ptr<typename TypeParam::loader> watched = loader;
    loader.reset();
    EXPECT_FALSE(watched.expired());
    EXPECT_EQ(reader.get_cfg()->get_file_name(), this->scenario_.path());
    reader.clean();
    EXPECT_TRUE(watched.expired());
}
