// Where the event header and server block baskets are in memory, mapped and copied.
#include "channel_scenario.h"
#include "channel_types.h"

using namespace trox_test;

namespace
{

template <class T> class loaded_baskets : public ::testing::Test
{
protected:
    /// A file with one channel of one record on each event type given.
    std::string write_file(const std::vector<std::pair<std::string, int>>& channels, const tw::file_options& options)
    {
        const std::string path = directory_.file("types.raw");
        tw::file_options replacing = options;
        replacing.replace_existing = true;
        tw::file_writer file(path, T::format, replacing);
        std::uint32_t number = 50;
        for (const auto& [name, type] : channels) {
            const auto channel = file.add_channel(name);
            file.begin_event({++number, {77, number}, type});
            file.begin_server_block({"TEST.SVR"});
            file.add_record(channel, tw::spectrum_payload(T::format, T::trace_type, {1, 2, 3}));
            file.end_event();
        }
        map_ = file.finish();
        return path;
    }

    temp_directory directory_;
    tw::file_map map_;
    typename T::loader loader_{0};
};
TYPED_TEST_SUITE(loaded_baskets, channel_generations);

template <class T> std::uint32_t number_in_header(const unsigned char* header)
{
    constexpr std::size_t low_word = sizeof(T::event_header::event_number) - sizeof(std::uint32_t);
    return trox_detail::load_big_endian<std::uint32_t>(header + offsetof(typename T::event_header, event_number) +
                                                       low_word);
}

const std::vector<std::pair<std::string, int>> fast_and_slow{{"FAST", TROX_EV_NORMAL}, {"SLOW", TROX_EV_UPD},
                                                             {"ENV", TROX_EV_ENV},     {"BOR", TROX_EV_BOR},
                                                             {"EOR", TROX_EV_EOR},     {"IMAGE", TROX_EV_IMAGE}};

} // namespace

TYPED_TEST(loaded_baskets, are_found_at_position_less_offset_from_the_base_while_mapped)
{
    tw::file_options options;
    options.layout.odd_positions = true;
    const std::string path = this->write_file(fast_and_slow, options);
    ASSERT_EQ(this->loader_.get_all_tables(path, 0, nullptr), 0);
    const auto position = this->map_.event_headers.position;
    EXPECT_EQ(this->loader_.get_evh_offset(), position / 4096 * 4096) << "the offset of a mapping is a page's";
    const unsigned char* basket = this->loader_.get_evh_base() + (position - this->loader_.get_evh_offset());
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(this->loader_.get_evh_basket()), basket);
    EXPECT_EQ(number_in_header<TypeParam>(basket + 2 * sizeof(typename TypeParam::word)), 51U);
    const auto blocks = this->map_.server_blocks.position;
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(this->loader_.get_sbh_basket()),
              this->loader_.get_sbh_base() + (blocks - this->loader_.get_sbh_offset()));
}

TYPED_TEST(loaded_baskets, are_found_at_position_less_offset_from_the_basket_once_copied)
{
    if (!TypeParam::may_copy_baskets) {
        GTEST_SKIP() << "this generation always maps";
    }
    const std::string path = this->write_file(fast_and_slow, {});
    const std::vector<std::string> list{"FAST"};
    ASSERT_EQ(this->loader_.get_all_tables(path, 0, &list), 0);
    ASSERT_TRUE(this->loader_.are_baskets_copied());
    EXPECT_EQ(this->loader_.get_evh_offset(), this->map_.event_headers.position);
    EXPECT_EQ(this->loader_.get_sbh_offset(), this->map_.server_blocks.position);
    const auto* basket = reinterpret_cast<const unsigned char*>(this->loader_.get_evh_basket());
    EXPECT_EQ(number_in_header<TypeParam>(basket + 2 * sizeof(typename TypeParam::word)), 51U);
    EXPECT_NE(this->loader_.get_evh_base(), nullptr) << "where the mapping was";
}

TYPED_TEST(loaded_baskets, are_copied_for_one_listed_channel_on_a_fast_event_type)
{
    const std::string path = this->write_file(fast_and_slow, {});
    const auto copied = [&](const std::vector<std::string>& list) {
        EXPECT_EQ(this->loader_.get_all_tables(path, 0, &list), 0);
        return this->loader_.are_baskets_copied();
    };
    const bool on = TypeParam::may_copy_baskets;
    EXPECT_EQ(copied({"FAST"}), on);
    EXPECT_EQ(copied({"IMAGE"}), on);
    EXPECT_EQ(copied({"SLOW", "ENV", "FAST"}), on);
    EXPECT_EQ(copied({"FAST", "SLOW"}), on);
}

TYPED_TEST(loaded_baskets, stay_mapped_for_slow_and_absent_channels)
{
    const std::string path = this->write_file(fast_and_slow, {});
    for (const std::vector<std::string>& list :
         {std::vector<std::string>{"SLOW", "ENV", "BOR", "EOR"}, std::vector<std::string>{"SLOW", "NOT.IN.THE.FILE"}}) {
        ASSERT_EQ(this->loader_.get_all_tables(path, 0, &list), 0);
        EXPECT_FALSE(this->loader_.are_baskets_copied());
    }
}

TYPED_TEST(loaded_baskets, are_mapped_again_when_the_next_load_does_not_copy)
{
    const std::string path = this->write_file(fast_and_slow, {});
    const std::vector<std::string> list{"FAST"};
    ASSERT_EQ(this->loader_.get_all_tables(path, 0, &list), 0);
    ASSERT_EQ(this->loader_.get_all_tables(path, 0, nullptr), 0);
    EXPECT_FALSE(this->loader_.are_baskets_copied());
    const auto position = this->map_.event_headers.position;
    const unsigned char* header = this->loader_.get_evh_base() + (position - this->loader_.get_evh_offset()) +
                                  2 * sizeof(typename TypeParam::word);
    EXPECT_EQ(number_in_header<TypeParam>(header), 51U);
}
