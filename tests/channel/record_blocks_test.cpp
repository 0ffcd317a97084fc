// Decoding single records: what is published for slow values, and blocks cut to one member.
#include "decoded_record.h"

using namespace trox_test;

namespace
{

/// Adds to typed records those of slow values and of several members.
template <class T> class decoded_block : public decoded_record<T>
{
protected:
    static constexpr auto update_size = sizeof(typename T::update_block);
    static constexpr auto name_size = sizeof(T::update_block::upd_prop);
    using base = decoded_record<T>;

    std::uint64_t channel_end() const
    {
        return channel_at + base::channel_.size();
    }
    void add_update_data(const std::string& name, std::uint32_t status, float value)
    {
        base::row_.data = static_cast<decltype(base::row_.data)>(channel_end());
        base::channel_.text(name, name_size).word(status).word(1339666300).word(77).real(value);
    }
    void add_environment_data(std::uint32_t status, float value)
    {
        base::row_.data = static_cast<decltype(base::row_.data)>(channel_end());
        base::channel_.word(1).word(status).word(1339666300).word(77).real(value);
    }
    /// What is published for slow values of either kind.
    void expect_update(const char* name, int status, float value)
    {
        EXPECT_EQ(base::block()->dtype, T::update_type);
        EXPECT_EQ(base::block()->ldata, static_cast<int>(base::head_size + update_size));
        EXPECT_STREQ(base::block()->chname, "TEST/CHANNEL");
        const auto update = base::template payload_at<typename T::update_block>(0);
        EXPECT_STREQ(update.upd_prop, name);
        EXPECT_EQ(update.upd_ch_status, status);
        EXPECT_EQ(update.upd_ch_time.timeup, 1339666300U);
        EXPECT_EQ(update.upd_ch_time.timelow, 77U);
        EXPECT_EQ(update.upd_ch_data, value);
    }

    /// A spectrum of `members` members of two floats each, the floats 10 m + s.
    static byte_builder spectrum(std::uint32_t members)
    {
        byte_builder payload;
        payload.word(members).word(2);
        if constexpr (T::spectrum_head_size > 16) {
            payload.word(1).word(0).real(0).real(1).real(0).word(0);
        } else {
            payload.real(0).real(1);
        }
        for (std::uint32_t i = 0; i < 2 * members; ++i) {
            payload.real(static_cast<float>(10 * (i / 2) + i % 2));
        }
        return payload;
    }
    void add_spectrum(int dtype, std::uint32_t members)
    {
        const byte_builder payload = spectrum(members);
        base::add_subhead(dtype, 0, base::head_size + payload.size());
        base::channel_.raw({reinterpret_cast<const char*>(payload.bytes().data()), payload.size()});
    }
    void add_zipped_spectrum(int dtype, std::uint32_t members)
    {
        const byte_builder payload = spectrum(members);
        base::add_zipped(dtype, 1, static_cast<std::uint32_t>(payload.size()), base::stored_stream(payload));
    }
    /// Decodes for one member and tells which member the block holds alone, -1 for the whole block.
    int cut_to(int subchan)
    {
        if (base::decode(subchan) != decode_outcome::record) {
            return -99;
        }
        const auto type = static_cast<unsigned>(base::block()->dtype);
        if (type >> 16 == 0) {
            return -1;
        }
        EXPECT_EQ(type >> 16, type & 0xFFFF) << "the block's type in both halves";
        EXPECT_EQ(base::template payload_at<std::int32_t>(0), 1) << "one member";
        EXPECT_EQ(base::block()->ldata, static_cast<int>(base::head_size + T::spectrum_head_size + 8));
        EXPECT_EQ(base::block()->chname, "TEST/CHANNEL:" + std::to_string(subchan));
        return static_cast<int>(base::template payload_at<float>(T::spectrum_head_size) / 10);
    }
};
TYPED_TEST_SUITE(decoded_block, channel_generations);

} // namespace

// --- slow values ----------------------------------------------------------------------------------------

TYPED_TEST(decoded_block, of_an_update_takes_its_data_from_where_the_row_says)
{
    this->channel_.fill(13); // the row's data lie before its sub-head, at any position
    this->add_update_data("FULL/NAME", 0x81, 120.75F);
    this->row_.chhd = static_cast<decltype(this->row_.chhd)>(this->channel_end());
    this->add_subhead(TypeParam::update_type, 0x10, this->head_size + this->update_size);
    ASSERT_EQ(this->decode(), decode_outcome::record) << this->printed_;
    this->expect_update("FULL/NAME", 0x81, 120.75F);
    EXPECT_EQ(this->block()->error, 0x10);
}

TYPED_TEST(decoded_block, of_begin_and_end_of_run_is_published_as_an_update)
{
    for (const int dtype : {TypeParam::update_type, TypeParam::update_type + 3, TypeParam::update_type + 4,
                            TypeParam::update_type | 0x50000}) {
        this->empty_channel();
        this->add_subhead(dtype, 0, 0);
        this->add_update_data("RUN", 5, 1.5F);
        ASSERT_EQ(this->decode(), decode_outcome::record) << this->printed_;
        this->expect_update("RUN", 5, 1.5F);
    }
}

TYPED_TEST(decoded_block, of_an_update_does_not_depend_on_the_length_in_a_shared_sub_head)
{
    for (const std::uint32_t length : {0U, 268U, 0x7FFFFFFFU}) {
        this->empty_channel();
        this->add_subhead(TypeParam::update_type, 0, length);
        this->add_update_data("SHARED", 5, 1.5F);
        ASSERT_EQ(this->decode(), decode_outcome::record) << this->printed_;
        this->expect_update("SHARED", 5, 1.5F);
    }
    this->empty_channel();
    this->add_subhead(TypeParam::update_type, 0, 0xFFFFFFFF);
    this->add_update_data("NEGATIVE", 5, 1.5F);
    this->expect_failure(decode_outcome::failed_hard, not_converted);
}

TYPED_TEST(decoded_block, of_an_update_whose_data_lie_outside_fails)
{
    this->add_subhead(TypeParam::update_type, 0, this->head_size + this->update_size);
    this->add_update_data("OUTSIDE", 5, 1.5F);
    using position = decltype(this->row_.data);
    const position good = this->row_.data;
    for (const position wrong : {static_cast<position>(good + 1), position{0}, static_cast<position>(0xFFFFFFFF)}) {
        this->row_.data = wrong;
        this->expect_failure(decode_outcome::failed_hard, not_converted);
    }
}

TYPED_TEST(decoded_block, of_an_environment_value_is_published_as_an_update_with_the_channels_name)
{
    this->add_subhead(TROX_ENV_BLOCK, 0x4, this->head_size + 20);
    this->add_environment_data(3, 23.5F);
    ASSERT_EQ(this->decode(), decode_outcome::record) << this->printed_;
    this->expect_update("TEST/CHANNEL", 3, 23.5F);
    EXPECT_EQ(this->block()->error, 0x4);
}

TYPED_TEST(decoded_block, of_an_environment_value_cuts_a_name_that_is_too_long)
{
    this->add_subhead(TROX_ENV_BLOCK, 0, this->head_size + 20);
    this->add_environment_data(3, 23.5F);
    this->name_ = std::string(400, 'N');
    ASSERT_EQ(this->decode(), decode_outcome::record);
    EXPECT_EQ(this->template payload_at<typename TypeParam::update_block>(0).upd_prop,
              std::string(this->name_size - 1, 'N'));
}

TYPED_TEST(decoded_block, of_an_environment_value_whose_data_lie_outside_fails)
{
    this->add_subhead(TROX_ENV_BLOCK, 0, this->head_size + 20);
    this->add_environment_data(3, 23.5F);
    ++this->row_.data;
    this->expect_failure(decode_outcome::failed_hard, "Failed to convert env  [0-9]+ .. exiting\n");
}

TYPED_TEST(decoded_block, of_the_later_environment_type_is_an_ordinary_block)
{
    this->add_subhead(TROX_ENV_BLOCK_2010, 0, this->head_size + 20);
    this->add_environment_data(3, 23.5F);
    ASSERT_EQ(this->decode(), decode_outcome::record);
    EXPECT_EQ(this->block()->dtype, TROX_ENV_BLOCK_2010);
    EXPECT_EQ(this->block()->ldata, static_cast<int>(this->head_size + 20));
    EXPECT_EQ(this->template payload_at<float>(16), 23.5F);
}

// --- members --------------------------------------------------------------------------------------------

TYPED_TEST(decoded_block, of_several_members_is_cut_to_the_one_asked_for)
{
    this->add_spectrum(TypeParam::four_member_type, 4);
    EXPECT_EQ(this->cut_to(-1), -1);
    for (int member = 0; member < 4; ++member) {
        EXPECT_EQ(this->cut_to(member), member);
    }
    this->empty_channel();
    this->add_zipped_spectrum(TypeParam::four_member_type, 4);
    EXPECT_EQ(this->cut_to(-1), -1);
    EXPECT_EQ(this->cut_to(2), 2);
}

TYPED_TEST(decoded_block, of_a_member_that_is_not_there_stays_whole_and_says_so)
{
    this->add_spectrum(TypeParam::four_member_type, 4);
    EXPECT_EQ(this->cut_to(4), -1);
    EXPECT_EQ(this->printed_, TypeParam::cut_failed("TEST/CHANNEL", 4));
    EXPECT_EQ(this->template payload_at<std::int32_t>(0), 4);
}

TYPED_TEST(decoded_block, of_one_member_is_cut_where_it_was_zipped_and_only_for_member_0)
{
    this->add_spectrum(TypeParam::trace_type, 1);
    EXPECT_EQ(this->cut_to(0), -1) << "a plain block of one member is not cut";
    EXPECT_EQ(this->cut_to(1), -1);
    EXPECT_EQ(this->printed_, "");
    this->empty_channel();
    this->add_zipped_spectrum(TypeParam::trace_type, 1);
    EXPECT_EQ(this->cut_to(0), 0) << "a decompressed one is";
    EXPECT_EQ(this->cut_to(1), -1);
    EXPECT_EQ(this->printed_, "") << "not tried at all";
    EXPECT_EQ(this->cut_to(-1), -1);
}

TYPED_TEST(decoded_block, of_a_generic_spectrum_is_cut_whatever_its_number_of_members)
{
    for (const std::uint32_t members : {1U, 3U}) {
        this->empty_channel();
        this->add_spectrum(TROX_BLOCK_GENERIC_SPECT, members);
        EXPECT_EQ(this->cut_to(0), 0);
        EXPECT_EQ(this->cut_to(static_cast<int>(members) - 1), static_cast<int>(members) - 1);
        EXPECT_EQ(this->cut_to(-1), -1);
        EXPECT_EQ(this->cut_to(7), -1);
        EXPECT_EQ(this->printed_, TypeParam::cut_failed("TEST/CHANNEL", 7));
    }
}

TYPED_TEST(decoded_block, without_payload_stays_as_it_is_when_it_should_be_cut)
{
    this->add_subhead(TypeParam::four_member_type, 0, this->head_size);
    EXPECT_EQ(this->cut_to(1), -1);
    EXPECT_EQ(this->printed_, TypeParam::cut_failed("TEST/CHANNEL", 1));
}
