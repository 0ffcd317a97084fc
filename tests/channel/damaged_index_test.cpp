// Damage in the file's event index: what it means for the records of channels in order and out of order.
#include "captured_output.h"
#include "channel_contents.h"
#include "channel_types.h"
#include "open_channel.h"

using namespace trox_test;

namespace
{

template <class T> class damaged_index : public ::testing::Test
{
protected:
    using generation = typename T::generation;
    using info = typename generation::event_info;

    /// Records of these numbers, 200 ms apart.
    void write(const std::vector<typename T::event_number>& numbers)
    {
        scenario_options<T> options;
        options.events = static_cast<int>(numbers.size());
        options.numbers = numbers;
        scenario_.renew(options);
        all_ = read(true);
        ASSERT_EQ(numbers_of(all_), std::vector<std::uint64_t>(numbers.begin(), numbers.end()));
        ASSERT_EQ(bad_, 0);
    }
    /// Position of a field of the index entry of event `i`.
    std::uint64_t in_entry(int i, std::size_t field)
    {
        const std::uint64_t entry = scenario_.file().map().event_index.position + 2 * sizeof(typename T::word);
        return entry + sizeof(typename generation::event_index_head) + static_cast<std::size_t>(i) * sizeof(info) +
               field;
    }
    std::vector<record_contents> read(bool skip)
    {
        std::vector<record_contents> contents;
        capture([&] {
            open_channel<T> open(scenario_.path(), scenario_names[zlib_channel], -1, nullptr,
                                 [&](typename T::reader& reader) { reader.set_skip_bad_records(skip); });
            bad_ = open.reader.get_number_of_bad_records();
            typename T::time_id first{};
            open.reader.get_time_limits(&first, nullptr);
            contents = contents_of<T>(open.reader, first.event_number);
        });
        return contents;
    }
    static std::vector<std::uint64_t> numbers_of(const std::vector<record_contents>& records)
    {
        std::vector<std::uint64_t> numbers;
        for (const record_contents& record : records) {
            numbers.push_back(record.number);
        }
        return numbers;
    }
    /// Reads the damaged file, and expects all records but those listed, unchanged and in their places.
    void expect_all_but(const std::vector<int>& lost)
    {
        scenario_.rewrite();
        std::vector<record_contents> expected;
        for (int i = 0; i < static_cast<int>(all_.size()); ++i) {
            if (std::find(lost.begin(), lost.end(), i) == lost.end()) {
                expected.push_back(all_[static_cast<std::size_t>(i)]);
            }
        }
        const auto got = read(true);
        EXPECT_EQ(numbers_of(got), numbers_of(expected));
        EXPECT_TRUE(got == expected);
        EXPECT_EQ(bad_, static_cast<int>(lost.size()));
        EXPECT_TRUE(read(false) == all_) << "without skipping nobody looks at the index";
    }

    static inline const std::vector<typename T::event_number> out_of_order{103, 101, 102, 109, 105, 104};
    static inline const std::vector<typename T::event_number> in_order{101, 102, 103, 104, 105, 109};
    scenario_file<T> scenario_;
    std::vector<record_contents> all_;
    int bad_ = 0;
};
TYPED_TEST_SUITE(damaged_index, channel_generations);

} // namespace

TYPED_TEST(damaged_index, costs_a_record_out_of_order_whose_number_it_denies)
{
    this->write(this->out_of_order);
    const auto at = this->in_entry(3, offsetof(typename TestFixture::info, event_number));
    ASSERT_EQ(this->scenario_.file().template get<typename TypeParam::event_number>(at), 109U);
    this->scenario_.file().put(at, typename TypeParam::event_number{108});
    this->expect_all_but({3});
}

TYPED_TEST(damaged_index, costs_a_record_out_of_order_whose_time_it_denies)
{
    this->write(this->out_of_order);
    const auto at = this->in_entry(1, offsetof(typename TestFixture::info, time));
    ASSERT_EQ(this->scenario_.file().template get<std::uint32_t>(at), 1000U);
    this->scenario_.file().put(at, std::uint32_t{1001});
    this->expect_all_but({1});
}

TYPED_TEST(damaged_index, costs_a_record_out_of_order_that_it_does_not_know)
{
    this->write(this->out_of_order);
    const auto at = this->in_entry(4, offsetof(typename TestFixture::info, offset));
    this->scenario_.file().put_word(at, this->scenario_.file().template get<typename TypeParam::word>(at) + 1);
    this->expect_all_but({4});
}

TYPED_TEST(damaged_index, costs_both_records_out_of_order_that_it_takes_for_one)
{
    this->write(this->out_of_order);
    const auto second = this->in_entry(2, offsetof(typename TestFixture::info, offset));
    const auto fifth = this->in_entry(5, offsetof(typename TestFixture::info, offset));
    this->scenario_.file().put_word(fifth, this->scenario_.file().template get<typename TypeParam::word>(second));
    this->expect_all_but({2, 5});
}

TYPED_TEST(damaged_index, costs_every_record_out_of_order_when_it_knows_none)
{
    this->write(this->out_of_order);
    for (int i = 0; i < static_cast<int>(this->all_.size()); ++i) {
        this->scenario_.file().put_word(this->in_entry(i, offsetof(typename TestFixture::info, offset)), 0);
    }
    this->scenario_.rewrite();
    EXPECT_TRUE(this->read(true).empty());
    EXPECT_EQ(this->bad_, static_cast<int>(this->all_.size()));
}

TYPED_TEST(damaged_index, costs_nothing_where_records_are_in_order)
{
    this->write(this->in_order);
    for (int i = 0; i < static_cast<int>(this->all_.size()); ++i) {
        this->scenario_.file().put(this->in_entry(i, offsetof(typename TestFixture::info, event_number)),
                                   typename TypeParam::event_number{7});
        this->scenario_.file().put_word(this->in_entry(i, offsetof(typename TestFixture::info, offset)), 0);
    }
    this->expect_all_but({});
}
