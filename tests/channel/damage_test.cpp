// Damaged rows, records and baskets: what is skipped when bad records are skipped, and that nothing else is.
#include "captured_output.h"
#include "channel_contents.h"
#include "channel_types.h"
#include "open_channel.h"

#include <functional>
#include <optional>

using namespace trox_test;

namespace
{

template <class T> class damaged_channel : public ::testing::Test
{
protected:
    /// All records of a channel of the undamaged file.
    std::vector<record_contents> whole(std::size_t channel)
    {
        open_channel<T> open(scenario_.path(), scenario_names[channel]);
        return contents_of<T>(open.reader, scenario_first_number);
    }

    /// Reads the damaged file with bad records skipped, by several numbers of workers, and expects all records but
    /// those listed, unchanged.
    void expect_all_but(std::size_t channel, const std::vector<record_contents>& all, const std::vector<int>& bad)
    {
        scenario_.rewrite();
        std::vector<record_contents> expected;
        for (int i = 0; i < static_cast<int>(all.size()); ++i) {
            if (std::find(bad.begin(), bad.end(), i) == bad.end()) {
                expected.push_back(all[static_cast<std::size_t>(i)]);
            }
        }
        const std::vector<std::string> listed{scenario_names[channel]};
        for (const int workers : {1, 2, 10}) {
            std::unique_ptr<open_channel<T>> open;
            capture([&] {
                open = std::make_unique<open_channel<T>>(scenario_.path(), scenario_names[channel], -1,
                                                         workers == 2 ? &listed : nullptr,
                                                         [&](typename T::reader& reader) {
                                                             reader.set_skip_bad_records(true);
                                                             reader.set_number_of_threads(workers);
                                                         });
            });
            expect_exactly(open->reader, expected, static_cast<int>(bad.size()));
        }
    }
    static void expect_exactly(typename T::reader& reader, const std::vector<record_contents>& expected, int bad)
    {
        EXPECT_TRUE(reader.is_done());
        EXPECT_EQ(reader.get_number_of_bad_records(), bad);
        ASSERT_EQ(reader.get_number_of_records(), static_cast<int>(expected.size()));
        typename T::time_id first{};
        typename T::time_id last{};
        reader.get_time_limits(&first, &last);
        EXPECT_EQ(first.event_number, expected.front().number);
        EXPECT_EQ(last.event_number, expected.back().number);
        const auto got = contents_of<T>(reader, static_cast<typename T::event_number>(expected.front().number));
        EXPECT_TRUE(got == expected);
    }

    /// Position of a row's sub-head, of a field in it, of a field in the zip header behind it.
    std::uint64_t subhead(std::size_t channel, int i)
    {
        return scenario_.file().row(channel, static_cast<std::size_t>(i)).chhd;
    }
    std::uint64_t ldata(std::size_t channel, int i)
    {
        return subhead(channel, i) + offsetof(typename T::subhead, ldata);
    }
    std::uint64_t zip_head(std::size_t channel, int i)
    {
        return subhead(channel, i) + sizeof(typename T::subhead);
    }
    void change_row(std::size_t channel, int i, const std::function<void(row_positions&)>& change)
    {
        row_positions row = scenario_.file().row(channel, static_cast<std::size_t>(i));
        change(row);
        scenario_.file().put_row(channel, static_cast<std::size_t>(i), row);
    }

    /// Damages a basket's head in every way; all records must be there all the same.
    void expect_any_basket_head(std::size_t channel)
    {
        SCOPED_TRACE(scenario_names[channel]);
        const auto all = whole(channel);
        const auto basket = scenario_.file().map().channels[channel];
        scenario_.file().put_word(basket.position, 0x12345678);
        expect_all_but(channel, all, {});
        scenario_.file().put_word(basket.position, 0xCBACBAF3);
        for (const std::uint64_t length :
             {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{8}, basket.length / 2, basket.length - 1,
              basket.length + 1, std::uint64_t{0x7FFFFFFF}, std::uint64_t{0xFFFFFFFF}}) {
            SCOPED_TRACE(length);
            scenario_.file().put_word(basket.position + sizeof(typename T::word), length);
            expect_all_but(channel, all, {});
        }
    }

    scenario_file<T> scenario_;
};
TYPED_TEST_SUITE(damaged_channel, channel_generations);

} // namespace

TYPED_TEST(damaged_channel, loses_rows_that_point_outside_the_event_baskets)
{
    const auto all = this->whole(plain_channel);
    ASSERT_EQ(all.size(), static_cast<std::size_t>(scenario_events));
    this->change_row(plain_channel, 3, [](row_positions& row) { row.evhd = 0; });
    this->change_row(plain_channel, 5, [](row_positions& row) { row.sbhd = 0xFFFFFFFF; });
    this->expect_all_but(plain_channel, all, {3, 5});
}

TYPED_TEST(damaged_channel, loses_rows_that_point_outside_the_channels_basket)
{
    for (const auto channel : {plain_channel, zlib_channel, update_channel}) {
        const auto all = this->whole(channel);
        this->change_row(channel, 4,
                         [&](row_positions& row) { row.chhd = this->scenario_.file().map().trailer.position; });
        this->change_row(channel, 6, [](row_positions& row) { row.chhd = 0; });
        this->expect_all_but(channel, all, {4, 6});
    }
}

TYPED_TEST(damaged_channel, loses_its_last_row_too)
{
    const auto all = this->whole(plain_channel);
    this->change_row(plain_channel, 9, [](row_positions& row) { row.chhd = 0xFFFFFFFF; });
    this->expect_all_but(plain_channel, all, {9});
}

TYPED_TEST(damaged_channel, loses_only_the_first_record_to_a_damaged_first_row)
{
    for (const auto channel : {plain_channel, zlib_channel, members_channel, update_channel, environment_channel}) {
        SCOPED_TRACE(scenario_names[channel]);
        const auto all = this->whole(channel);
        for (const std::uint64_t position :
             {std::uint64_t{0}, std::uint64_t{0xFFFFFFFF}, this->scenario_.file().map().pointers.position}) {
            this->change_row(channel, 0, [&](row_positions& row) { row.chhd = position; });
            this->expect_all_but(channel, all, {0});
        }
    }
}

TYPED_TEST(damaged_channel, determines_its_limits_without_the_bad_records)
{
    const auto all = this->whole(zlib_channel);
    for (const int i : {0, 1, 9}) {
        this->scenario_.file().put(this->zip_head(zlib_channel, i) + 12, std::uint32_t{0xFFFFFFFF});
    }
    this->expect_all_but(zlib_channel, all, {0, 1, 9});
}

TYPED_TEST(damaged_channel, survives_a_basket_head_of_any_content)
{
    for (const auto channel :
         {plain_channel, zlib_channel, lzo_channel, members_channel, update_channel, environment_channel}) {
        this->expect_any_basket_head(channel);
    }
}

namespace
{

/// The same file in the layouts that the format allows.
template <class T> class damaged_layout : public damaged_channel<T>
{
protected:
    void use(const tw::layout_options& layout)
    {
        scenario_options<T> options;
        options.layout = layout;
        damaged_channel<T>::scenario_.renew(options);
    }
};
TYPED_TEST_SUITE(damaged_layout, channel_generations);

} // namespace

TYPED_TEST(damaged_layout, survives_a_basket_head_of_any_content)
{
    for (const tw::update_layout updates :
         {tw::update_layout::own, tw::update_layout::shared, tw::update_layout::away}) {
        tw::layout_options layout;
        layout.seed = 5;
        layout.baskets = layout.records = layout.tables = tw::arrangement::shuffled;
        layout.max_gap = 50;
        layout.odd_positions = true;
        layout.updates = updates;
        this->use(layout);
        for (const auto channel : {plain_channel, zlib_channel, update_channel, environment_channel}) {
            this->expect_any_basket_head(channel);
        }
    }
}

TYPED_TEST(damaged_layout, loses_a_record_whose_length_passes_other_baskets)
{
    tw::layout_options layout;
    layout.max_gap = 50;
    this->use(layout);
    const auto all = this->whole(plain_channel);
    for (const std::int32_t length : {20000, 0x7FFFFFF}) {
        this->scenario_.file().put(this->ldata(plain_channel, 9), length);
        this->expect_all_but(plain_channel, all, {9});
    }
}

TYPED_TEST(damaged_layout, loses_a_record_whose_length_passes_into_the_server_blocks)
{
    tw::layout_options layout;
    layout.baskets = tw::arrangement::reversed; // so that no other channel's basket follows
    this->use(layout);
    const auto all = this->whole(plain_channel);
    const auto basket = this->scenario_.file().map().channels[plain_channel];
    ASSERT_EQ(basket.position + basket.length, this->scenario_.file().map().server_blocks.position);
    const auto rest = basket.position + basket.length - this->subhead(plain_channel, 9);
    for (const std::uint64_t length : {rest + 1, rest + 100, std::uint64_t{0x7FFFFFFF}}) {
        this->scenario_.file().put(this->ldata(plain_channel, 9), static_cast<std::int32_t>(length));
        this->expect_all_but(plain_channel, all, {9});
    }
}

TYPED_TEST(damaged_channel, loses_records_with_impossible_lengths)
{
    const auto all = this->whole(plain_channel);
    auto& file = this->scenario_.file();
    file.put(this->ldata(plain_channel, 2), std::int32_t{-1});
    file.put(this->ldata(plain_channel, 4), std::int32_t{0x7FFFFFFF});
    this->expect_all_but(plain_channel, all, {2, 4});
}

TYPED_TEST(damaged_channel, loses_a_record_whose_length_passes_the_end_of_the_basket)
{
    const auto all = this->whole(plain_channel);
    auto& file = this->scenario_.file();
    const auto basket = file.map().channels[plain_channel];
    const auto rest = basket.position + basket.length - this->subhead(plain_channel, 9);
    file.put(this->ldata(plain_channel, 9), static_cast<std::int32_t>(rest + 1));
    this->expect_all_but(plain_channel, all, {9});
}

TYPED_TEST(damaged_channel, keeps_records_whose_length_says_that_they_have_no_payload)
{
    auto& file = this->scenario_.file();
    constexpr std::int32_t head = sizeof(typename TypeParam::subhead);
    file.put(this->ldata(plain_channel, 2), std::int32_t{0});
    file.put(this->ldata(plain_channel, 3), std::int32_t{head - 1});
    file.put(this->ldata(plain_channel, 4), head);
    this->scenario_.rewrite();
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN"); // nothing fails, so nothing needs skipping
    EXPECT_EQ(open.reader.get_number_of_records(), scenario_events);
    typename TypeParam::time_id id{event_number_of(3), {}};
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(open.reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
    EXPECT_EQ(block_of<TypeParam>(*record)->ldata, head - 1);
}

TYPED_TEST(damaged_channel, loses_records_with_damaged_zip_headers)
{
    const auto all = this->whole(zlib_channel);
    auto& file = this->scenario_.file();
    file.put(this->zip_head(zlib_channel, 1), std::uint32_t{4});              // unknown compressor
    file.put(this->zip_head(zlib_channel, 3) + 4, std::uint32_t{0x7FFFFFFF}); // announced length
    file.put(this->zip_head(zlib_channel, 5) + 4, std::uint32_t{0});          // the same, none
    file.put(this->zip_head(zlib_channel, 6) + 8, std::uint32_t{0xFFFFFFFF}); // compressed length
    file.put(this->zip_head(zlib_channel, 8) + 8, std::uint32_t{5});          // ends early
    this->expect_all_but(zlib_channel, all, {1, 3, 5, 6, 8});
}

TYPED_TEST(damaged_channel, loses_records_of_unassigned_types_zipped_or_not)
{
    for (const auto channel : {plain_channel, zlib_channel}) {
        const auto all = this->whole(channel);
        this->scenario_.file().put(this->subhead(channel, 7) + offsetof(typename TypeParam::subhead, dtype), 55);
        this->expect_all_but(channel, all, {7});
    }
}

TYPED_TEST(damaged_channel, loses_slow_values_whose_data_lie_outside)
{
    for (const auto channel : {update_channel, environment_channel}) {
        SCOPED_TRACE(scenario_names[channel]);
        const auto all = this->whole(channel);
        this->change_row(channel, 2, [](row_positions& row) { row.data = 0; });
        this->change_row(channel, 8, [](row_positions& row) { row.data = 0xFFFFFFFF; });
        this->expect_all_but(channel, all, {2, 8});
    }
}

TYPED_TEST(damaged_channel, loses_a_record_whose_event_number_means_not_decoded)
{
    const auto all = this->whole(plain_channel);
    const auto number_at =
        this->scenario_.file().row(plain_channel, 5).evhd + offsetof(typename TypeParam::event_header, event_number);
    this->scenario_.file().put(number_at, TypeParam::undecoded);
    this->expect_all_but(plain_channel, all, {5});
    // Without skipping it counts as decoded, and look-ups end at it.
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN");
    EXPECT_EQ(open.reader.get_number_of_records(), scenario_events);
    int status = 0;
    EXPECT_NE(find_by_number(open.reader, event_number_of(1), 0, &status), nullptr);
    EXPECT_EQ(find_by_number(open.reader, 77, TROX_DAQ_READ_CHAN_EVENT_NEXT, &status), nullptr);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NO_DATA);
}

TYPED_TEST(damaged_channel, has_no_more_records_than_the_table_has_rows)
{
    const auto all = this->whole(plain_channel);
    auto& file = this->scenario_.file();
    const auto count_at =
        file.dictionary_position(plain_channel) + offsetof(typename TypeParam::dictionary_entry, count);
    file.put(count_at, scenario_events + 3);
    this->scenario_.rewrite();
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN", -1, nullptr,
                                 [](typename TypeParam::reader& reader) { reader.set_skip_bad_records(true); });
    this->expect_exactly(open.reader, all, 3);
}

TYPED_TEST(damaged_channel, without_any_good_record_is_done_and_empty)
{
    for (int i = 0; i < scenario_events; ++i) {
        this->scenario_.file().put(this->zip_head(zlib_channel, i), std::uint32_t{8});
    }
    this->scenario_.rewrite();
    capture([&] {
        open_channel<TypeParam> open(this->scenario_.path(), "TEST/ZLIB", -1, nullptr,
                                     [](typename TypeParam::reader& reader) { reader.set_skip_bad_records(true); });
        EXPECT_EQ(open.reader.get_number_of_records(), 0);
        EXPECT_EQ(open.reader.get_number_of_bad_records(), scenario_events);
        typename TypeParam::entry* record = nullptr;
        int status = 0;
        EXPECT_EQ(find_by_number(open.reader, 103, 0, &status), nullptr);
        EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NO_DATA);
        time_stamp time = event_time_of(2);
        EXPECT_EQ(open.reader.find_entry_by_time(&time, 0, &status), nullptr);
        EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NO_DATA);
        EXPECT_EQ(open.reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST),
                  TROX_DAQ_READ_CHAN_INV_PARAM);
        typename TypeParam::time_id id{103, {}};
        EXPECT_NE(open.reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
        EXPECT_EQ(record, nullptr);
    });
}

TYPED_TEST(damaged_channel, with_rows_that_all_point_nowhere_does_not_start)
{
    for (int i = 0; i < scenario_events; ++i) {
        this->change_row(plain_channel, i, [](row_positions& row) { row = {}; });
    }
    this->scenario_.rewrite();
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&loader, "TEST/PLAIN", -1, nullptr);
    reader.set_skip_bad_records(true);
    start_signal signal;
    capture([&] { EXPECT_EQ(start(reader, signal), TROX_DAQ_READ_CHAN_INTERN_ERROR); });
    EXPECT_TRUE(signal.is_raised());
}
