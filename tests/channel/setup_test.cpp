// Channel readers before they are started: what they take from a loader, their settings and their accessors.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <cstdlib>
#include <optional>

using namespace trox_test;

namespace
{

template <class T> class channel_setup : public ::testing::Test
{
protected:
    void load(const std::vector<std::string>* list = nullptr)
    {
        ASSERT_EQ(loader_.get_all_tables(scenario_.path(), 1, list), 0);
    }
    void expect_not_initialized(typename T::reader& reader)
    {
        int status = 0;
        start_signal signal;
        EXPECT_EQ(capture([&] { status = start(reader, signal); }).out, T::start_not_initialized(""));
        EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
        EXPECT_TRUE(signal.is_raised()) << "a failed start signals as well";
        EXPECT_FALSE(reader.is_done());
        EXPECT_STREQ(reader.get_chan_name(nullptr), "");
        EXPECT_EQ(reader.get_data_table_pointer(0), nullptr);
    }

    static scenario_options<T> described()
    {
        scenario_options<T> options;
        options.descriptions_xml =
            "<channels><channel daq_name=\"TEST/PLAIN\" prop_name=\"PROPERTY\" desc=\"TEXT\" units=\"mm\" stream=\"4\">"
            "<bit n=\"5\" name=\"READY\" desc=\"DONE\"/><bit n=\"6\" name=\"FAULT\"/>"
            "<dim n=\"2\" name=\"AXIS\" desc=\"ALONG\"><stat n=\"1\" name=\"MEAN\" units=\"m\"/></dim></channel>"
            "</channels>";
        return options;
    }
    scenario_file<T> scenario_{described()};
    typename T::loader loader_{0};
};
TYPED_TEST_SUITE(channel_setup, channel_generations);

template <class T> class channel_setup_since_2010 : public ::testing::Test
{
};
TYPED_TEST_SUITE(channel_setup_since_2010, channel_generations_since_2010);

} // namespace

TYPED_TEST(channel_setup, without_a_loader_gives_an_unusable_reader)
{
    typename TypeParam::reader reader(nullptr, "TEST/PLAIN", 1, nullptr);
    EXPECT_EQ(reader.get_cfg(), nullptr);
    EXPECT_EQ(reader.get_evh_basket(), nullptr);
    EXPECT_EQ(reader.get_file_descr(), -1);
    this->expect_not_initialized(reader);
}

TYPED_TEST(channel_setup, on_an_empty_loader_gives_an_unusable_reader)
{
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    EXPECT_EQ(reader.get_cfg(), &this->loader_);
    EXPECT_EQ(reader.get_evh_basket(), nullptr);
    EXPECT_EQ(reader.get_evh_base(), nullptr);
    this->expect_not_initialized(reader);
}

TYPED_TEST(channel_setup, without_a_name_stops_behind_the_event_header_basket)
{
    this->load();
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        typename TypeParam::reader reader(&this->loader_, name, -1, nullptr);
        EXPECT_EQ(reader.get_evh_basket(), this->loader_.get_evh_basket());
        EXPECT_EQ(reader.get_sbh_basket(), nullptr);
        EXPECT_EQ(reader.get_file_descr(), -1);
        this->expect_not_initialized(reader);
    }
}

TYPED_TEST(channel_setup, takes_baskets_and_offsets_of_a_mapped_file)
{
    this->load();
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", 3, nullptr);
    EXPECT_EQ(reader.get_evh_base(), this->loader_.get_evh_base());
    EXPECT_EQ(reader.get_sbh_base(), this->loader_.get_sbh_base());
    EXPECT_EQ(reader.get_evh_offset(), this->loader_.get_evh_offset());
    EXPECT_EQ(reader.get_sbh_offset(), this->loader_.get_sbh_offset());
    EXPECT_EQ(reader.get_file_descr(), this->loader_.get_file_descr());
    int subchan = 0;
    EXPECT_STREQ(reader.get_chan_name(&subchan), "TEST/PLAIN");
    EXPECT_EQ(subchan, 3);
    EXPECT_EQ(reader.get_chn_basket(), nullptr);
    EXPECT_EQ(reader.get_chn_base(), nullptr);
    EXPECT_EQ(reader.get_chn_offset(), 0U);
}

TYPED_TEST(channel_setup, finds_a_basket_position_at_base_plus_position_less_offset_in_both_modes)
{
    using word = typename TypeParam::word;
    const std::vector<std::string> fast{"TEST/PLAIN"};
    const auto& map = this->scenario_.file().map();
    for (const std::vector<std::string>* list : {static_cast<const std::vector<std::string>*>(nullptr), &fast}) {
        this->load(list);
        typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
        const unsigned char* headers = reader.get_evh_base() + (map.event_headers.position - reader.get_evh_offset());
        EXPECT_EQ(trox_detail::load_big_endian<word>(headers), 0xEBAEBAF3);
        const unsigned char* blocks = reader.get_sbh_base() + (map.server_blocks.position - reader.get_sbh_offset());
        EXPECT_EQ(trox_detail::load_big_endian<word>(blocks), 0xBBABBAF3);
    }
}

TYPED_TEST(channel_setup, has_a_step_of_one_event_and_a_fifth_of_a_second_and_a_tolerance_of_95_ms)
{
    typename TypeParam::reader reader(nullptr, "", -1, nullptr);
    EXPECT_EQ(reader.get_step()->event_number, 1U);
    EXPECT_EQ(reader.get_step()->time.timeup, 0U);
    EXPECT_EQ(reader.get_step()->time.timelow, 200000U);
    EXPECT_EQ(reader.get_time_diff()->timeup, 0U);
    EXPECT_EQ(reader.get_time_diff()->timelow, 95000U);
}

TYPED_TEST(channel_setup, takes_a_step_and_a_tolerance_and_refuses_null)
{
    typename TypeParam::reader reader(nullptr, "", -1, nullptr);
    typename TypeParam::time_id step{5, {1, 20}};
    time_stamp tolerance{1, 5};
    EXPECT_EQ(reader.set_step(&step), 0);
    EXPECT_EQ(reader.set_time_diff(&tolerance), 0);
    EXPECT_EQ(reader.set_step(nullptr), -7);
    EXPECT_EQ(reader.set_time_diff(nullptr), -7);
    EXPECT_EQ(reader.get_step()->event_number, 5U);
    EXPECT_EQ(reader.get_step()->time.timelow, 20U);
    EXPECT_EQ(reader.get_time_diff()->timeup, 1U);
    EXPECT_EQ(reader.get_time_diff()->timelow, 5U);
}

TYPED_TEST(channel_setup, takes_thread_counts_from_1_to_10)
{
    typename TypeParam::reader reader(nullptr, "", -1, nullptr);
    for (const int n : {1, 2, 10}) {
        EXPECT_EQ(reader.set_number_of_threads(n), 0);
        EXPECT_EQ(reader.set_max_number_of_threads(n), 0);
    }
    for (const int n : {0, -1, 11, 1000}) {
        EXPECT_EQ(reader.set_number_of_threads(n), 1);
        EXPECT_EQ(reader.set_max_number_of_threads(n), 1);
    }
}

TYPED_TEST(channel_setup_since_2010, checks_neighbours_by_number_unless_told_otherwise)
{
    typename TypeParam::reader reader(nullptr, "", -1, nullptr);
    EXPECT_TRUE(reader.is_by_time_fix());
    reader.set_by_time_fix(false);
    EXPECT_FALSE(reader.is_by_time_fix());
}

TYPED_TEST(channel_setup, skips_bad_records_only_when_told_by_call_or_environment)
{
    constexpr const char* variable = "TROX_DAQ_READER_SKIP_BAD_RECORDS";
    const char* before = std::getenv(variable);
    const std::optional<std::string> kept = before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    ::unsetenv(variable);
    typename TypeParam::reader reader(nullptr, "", -1, nullptr);
    EXPECT_FALSE(reader.is_skip_bad_records());
    reader.set_skip_bad_records(true);
    EXPECT_TRUE(reader.is_skip_bad_records());
    ::setenv(variable, "1", 1);
    typename TypeParam::reader by_environment(nullptr, "", -1, nullptr);
    EXPECT_TRUE(by_environment.is_skip_bad_records());
    by_environment.set_skip_bad_records(false);
    EXPECT_FALSE(by_environment.is_skip_bad_records());
    kept ? ::setenv(variable, kept->c_str(), 1) : ::unsetenv(variable);
}

TYPED_TEST(channel_setup, finds_the_rows_of_its_column_in_a_full_table)
{
    const open_channel<TypeParam> open(this->scenario_.path(), "TEST/LZO");
    auto& reader = const_cast<typename TypeParam::reader&>(open.reader);
    for (int i = 0; i < scenario_events; ++i) {
        const auto expected = this->scenario_.file().row(lzo_channel, static_cast<std::size_t>(i));
        ASSERT_NE(reader.get_data_table_pointer(i), nullptr);
        EXPECT_EQ(reader.get_data_table_pointer(i)->chhd, expected.chhd);
        EXPECT_EQ(reader.get_data_table_pointer(i)->evhd, expected.evhd);
    }
    EXPECT_EQ(reader.get_data_table_pointer(-1), nullptr);
    EXPECT_EQ(reader.get_data_table_pointer(scenario_events), nullptr);
}

TYPED_TEST(channel_setup, finds_the_rows_of_its_column_in_a_table_by_list_before_it_is_started)
{
    const std::vector<std::string> list{"TEST/UPDATE", "TEST/LZO"};
    this->load(&list);
    typename TypeParam::reader reader(&this->loader_, "TEST/LZO", -1, nullptr);
    for (int i = 0; i < scenario_events; ++i) {
        ASSERT_NE(reader.get_data_table_pointer(i), nullptr);
        EXPECT_EQ(reader.get_data_table_pointer(i)->data,
                  this->scenario_.file().row(lzo_channel, static_cast<std::size_t>(i)).data);
    }
}

TYPED_TEST(channel_setup, copies_the_description_so_that_the_loaders_may_go)
{
    this->load();
    chan_descr_2010* description = this->loader_.get_descr_list()->front();
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, description);
    this->loader_.clean_up();
    const std::string printed = capture([&] { reader.print_chan_descr(); }).out;
    for (const char* text :
         {"PROPERTY", "TEST/PLAIN", "TEXT", "mm", "READY", "DONE", "FAULT", "AXIS", "ALONG", "MEAN"}) {
        EXPECT_THAT(printed, ::testing::HasSubstr(text));
    }
    reader.clean_descr();
    const std::string released = capture([&] { reader.print_chan_descr(); }).out;
    EXPECT_THAT(released, ::testing::HasSubstr("PROPERTY"));
    EXPECT_THAT(released, ::testing::Not(::testing::HasSubstr("READY")));
    EXPECT_THAT(released, ::testing::Not(::testing::HasSubstr("AXIS")));
    reader.clean_descr();
}

TYPED_TEST(channel_setup, copies_no_more_bits_and_dimensions_than_counted_and_listed)
{
    this->load();
    chan_descr_2010* description = this->loader_.get_descr_list()->front();
    description->nbits = 1;
    description->ndims = 7;
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, description);
    const std::string printed = capture([&] { reader.print_chan_descr(); }).out;
    EXPECT_THAT(printed, ::testing::HasSubstr("READY"));
    EXPECT_THAT(printed, ::testing::Not(::testing::HasSubstr("FAULT")));
    EXPECT_THAT(printed, ::testing::HasSubstr("AXIS"));
    description->nbits = -1;
    description->ndims = 0;
    typename TypeParam::reader none(&this->loader_, "TEST/PLAIN", -1, description);
    EXPECT_THAT(capture([&] { none.print_chan_descr(); }).out, ::testing::Not(::testing::HasSubstr("READY")));
    description->nbits = 2;
    description->ndims = 1;
}

TYPED_TEST(channel_setup, copies_texts_that_fill_their_fields)
{
    chan_descr_2010 description;
    std::fill(std::begin(description.prop_name), std::end(description.prop_name), 'P');
    std::fill(std::begin(description.units), std::end(description.units), 'U');
    this->load();
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, &description);
    const std::string printed = capture([&] { reader.print_chan_descr(); }).out;
    EXPECT_THAT(printed, ::testing::HasSubstr(std::string(255, 'P')));
    EXPECT_THAT(printed, ::testing::Not(::testing::HasSubstr(std::string(256, 'P'))));
    EXPECT_THAT(printed, ::testing::Not(::testing::HasSubstr(std::string(16, 'U'))));
}

TYPED_TEST(channel_setup, without_a_description_says_so)
{
    this->load();
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    EXPECT_EQ(capture([&] { reader.print_chan_descr(); }).out, "TEST/PLAIN NO DESCRIPTION SET\n");
    reader.clean_descr();
}

TYPED_TEST(channel_setup, then_clean_only_clears_what_was_taken)
{
    this->load();
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    const int descriptor = reader.get_file_descr();
    reader.clean();
    EXPECT_EQ(reader.get_cfg(), nullptr);
    EXPECT_EQ(reader.get_evh_basket(), nullptr);
    EXPECT_EQ(reader.get_sbh_basket(), nullptr);
    EXPECT_EQ(reader.get_evh_base(), nullptr);
    EXPECT_EQ(reader.get_sbh_base(), nullptr);
    EXPECT_EQ(reader.get_file_descr(), descriptor) << "the descriptor stays as it is";
    EXPECT_STREQ(reader.get_chan_name(nullptr), "TEST/PLAIN");
    start_signal signal;
    EXPECT_EQ(capture([&] { EXPECT_EQ(start(reader, signal), -4); }).out,
              TypeParam::start_not_initialized("TEST/PLAIN"));
    reader.clean();
}
