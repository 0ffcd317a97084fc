// What the classes of a generation have, and what they have not: an absent operation does not compile.
#include "channel_types.h"

#include <type_traits>

using namespace trox_test;

namespace
{

template <class Reader>
concept can_find_by_event_id = requires(Reader& reader)
{
    reader.find_entry_by_event_id(1, 0, nullptr);
};
template <class Reader>
concept can_find_by_event_id_2024 = requires(Reader& reader)
{
    reader.find_entry_by_event_id_2024(1, 0, nullptr);
};
template <class Reader>
concept tells_by_time_fix = requires(const Reader& reader)
{
    reader.is_by_time_fix();
};
template <class Reader>
concept takes_by_time_fix = requires(Reader& reader)
{
    reader.set_by_time_fix(true);
};
template <class Reader>
concept prints_event_headers = requires(Reader& reader)
{
    reader.print_event_headers();
};
template <class Reader>
concept prints_server_block_headers = requires(Reader& reader)
{
    reader.print_server_block_headers();
};
template <class Reader>
concept prints_channel_headers = requires(Reader& reader)
{
    reader.print_channel_headers();
};
template <class Reader>
concept prints_channel = requires(Reader& reader)
{
    reader.print_channel();
};

/// All getters, on a reader that cannot be changed.
template <class Reader>
concept has_constant_getters = requires(const Reader& reader, int* number, typename Reader::time_id* event)
{
    reader.get_evh_basket();
    reader.get_sbh_basket();
    reader.get_chn_basket();
    reader.get_evh_base();
    reader.get_sbh_base();
    reader.get_chn_base();
    reader.get_evh_offset();
    reader.get_sbh_offset();
    reader.get_chn_offset();
    reader.get_cfg();
    reader.get_time_diff();
    reader.get_step();
    reader.get_chan_name(number);
    reader.get_time_limits(event, event);
    reader.get_data_table_pointer(0);
    reader.get_file_descr();
};

/// Takes events with these identities and hands out these records.
template <class Reader, class TimeId, class Entry>
concept delivers = requires(Reader& reader, TimeId* event, Entry** out)
{
    {
        reader.get_chan_data(event, out, 0)
        } -> std::same_as<int>;
    {
        reader.set_step(event)
        } -> std::same_as<int>;
    reader.get_time_limits(event, event);
};

/// Loads a file by name, with names as text of either kind.
template <class Loader>
concept loads_files = requires(Loader& loader, const std::vector<std::string>* names, std::vector<char*>* c_names)
{
    {
        loader.get_all_tables(std::string(), 0, names)
        } -> std::same_as<int>;
    {
        loader.get_all_tables("", 0, c_names)
        } -> std::same_as<int>;
};

template <class T> class every_generation : public ::testing::Test
{
};
TYPED_TEST_SUITE(every_generation, channel_generations);

} // namespace

TEST(legacy_channel_reader, has_no_check_of_neighbours_and_no_dumps)
{
    EXPECT_FALSE(tells_by_time_fix<trox_daq_read_chan>);
    EXPECT_FALSE(takes_by_time_fix<trox_daq_read_chan>);
    EXPECT_FALSE(prints_event_headers<trox_daq_read_chan>);
    EXPECT_FALSE(prints_server_block_headers<trox_daq_read_chan>);
    EXPECT_FALSE(prints_channel_headers<trox_daq_read_chan>);
    EXPECT_FALSE(prints_channel<trox_daq_read_chan>);
}

TEST(younger_channel_readers, have_the_check_of_neighbours_and_the_dumps)
{
    const auto has_all = []<class Reader>(std::type_identity<Reader>) {
        return tells_by_time_fix<Reader> && takes_by_time_fix<Reader> && prints_event_headers<Reader> &&
               prints_server_block_headers<Reader> && prints_channel_headers<Reader> && prints_channel<Reader>;
    };
    EXPECT_TRUE(has_all(std::type_identity<trox_daq_read_chan_2010>{}));
    EXPECT_TRUE(has_all(std::type_identity<trox_daq_read_chan_2024>{}));
}

TEST(look_up_by_number, has_a_name_of_its_own_in_2024)
{
    EXPECT_TRUE(can_find_by_event_id<trox_daq_read_chan>);
    EXPECT_TRUE(can_find_by_event_id<trox_daq_read_chan_2010>);
    EXPECT_FALSE(can_find_by_event_id<trox_daq_read_chan_2024>);
    EXPECT_FALSE(can_find_by_event_id_2024<trox_daq_read_chan>);
    EXPECT_FALSE(can_find_by_event_id_2024<trox_daq_read_chan_2010>);
    EXPECT_TRUE(can_find_by_event_id_2024<trox_daq_read_chan_2024>);
    using find_2024 = trox_channel_entry_long_2024* (trox_daq_read_chan_2024::*)(unsigned long, int, int*);
    EXPECT_TRUE((std::is_same_v<decltype(&trox_daq_read_chan_2024::find_entry_by_event_id_2024), find_2024>));
}

TYPED_TEST(every_generation, has_getters_for_readers_that_cannot_be_changed)
{
    EXPECT_TRUE(has_constant_getters<typename TypeParam::reader>);
    EXPECT_TRUE(loads_files<typename TypeParam::loader>);
}

TEST(channel_readers, deliver_the_events_and_records_of_their_generation)
{
    EXPECT_TRUE((delivers<trox_daq_read_chan, trox_time_id, trox_channel_entry_long>));
    EXPECT_TRUE((delivers<trox_daq_read_chan_2010, trox_time_id, trox_channel_entry_long>));
    EXPECT_TRUE((delivers<trox_daq_read_chan_2024, trox_time_id_2024, trox_channel_entry_long_2024>));
    EXPECT_FALSE((delivers<trox_daq_read_chan, trox_time_id_2024, trox_channel_entry_long_2024>));
    EXPECT_FALSE((delivers<trox_daq_read_chan_2024, trox_time_id, trox_channel_entry_long>));
}

TEST(numbers_of_loaders_and_readers, have_the_width_of_their_generation)
{
    const auto length = []<class Loader>(const Loader* loader) -> decltype(loader->get_file_len()) { return 0; };
    const auto offset = []<class Loader>(const Loader* loader) -> decltype(loader->get_evh_offset()) { return 0; };
    const trox_file_get_tables* legacy = nullptr;
    const trox_file_get_tables_2010* middle = nullptr;
    const trox_file_get_tables_2024* young = nullptr;
    EXPECT_TRUE((std::is_same_v<decltype(length(legacy)), std::int64_t>));
    EXPECT_TRUE((std::is_same_v<decltype(length(middle)), std::int64_t>));
    EXPECT_TRUE((std::is_same_v<decltype(length(young)), std::size_t>));
    EXPECT_TRUE((std::is_same_v<decltype(offset(legacy)), unsigned long>));
    EXPECT_TRUE((std::is_same_v<decltype(offset(middle)), unsigned long>));
    EXPECT_TRUE((std::is_same_v<decltype(offset(young)), off_t>));
    EXPECT_EQ(sizeof(trox_event_chan_ptr_entry), 16U);
    EXPECT_EQ(sizeof(trox_event_chan_ptr_entry_2024), 32U);
    EXPECT_EQ(sizeof(trox_channel_entry_long_2024), 272U);
    EXPECT_EQ(offsetof(trox_channel_entry_long_2024, sbchdata), 16U);
}
