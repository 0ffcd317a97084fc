// Decoding single records: heads, lengths, positions and compression.
#include "decoded_record.h"

using namespace trox_test;

namespace
{

TYPED_TEST_SUITE(decoded_record, channel_generations);

} // namespace

TYPED_TEST(decoded_record, has_the_heads_in_host_order_and_their_texts_unchanged)
{
    this->add_subhead(this->trace, 0x1000, this->head_size + 8);
    this->channel_.word(1).real(2.5F);
    ASSERT_EQ(this->decode(), decode_outcome::record);
    EXPECT_EQ(this->printed_, "");
    EXPECT_EQ(this->record_.event_id.event_number, 4711U);
    EXPECT_EQ(this->record_.event_id.time.timeup, 1339666200U);
    EXPECT_EQ(this->record_.event_id.time.timelow, 250001U);
    const auto* header = reinterpret_cast<const typename TypeParam::event_header*>(this->record_.sbchdata[0].evhd);
    EXPECT_EQ(header->pattern, TypeParam::event_header_pattern);
    EXPECT_EQ(header->event_length, 1000U);
    EXPECT_EQ(header->tmask, 0x55);
    EXPECT_EQ(header->status, -2);
    EXPECT_EQ(header->num_svr_block, 3);
    const auto* server = reinterpret_cast<const typename TypeParam::server_block_head*>(this->record_.sbchdata[0].sbhd);
    EXPECT_EQ(server->time.timelow, 17U);
    EXPECT_EQ(server->ltotal, 640);
    EXPECT_STREQ(server->server, "SVR.\x01\x02");
    EXPECT_EQ(server->status, 0x0B);
    EXPECT_EQ(server->nchan, 2);
    EXPECT_STREQ(this->block()->chname, "TEST/CHANNEL");
    EXPECT_EQ(this->block()->dtype, TypeParam::trace_type);
    EXPECT_EQ(this->block()->error, 0x1000);
    EXPECT_EQ(this->block()->ldata, static_cast<int>(this->head_size + 8));
    EXPECT_EQ(this->record_.sbchdata[0].data, this->record_.sbchdata[0].chhd + this->head_size);
    EXPECT_EQ(this->template payload_at<std::int32_t>(0), 1);
    EXPECT_EQ(this->template payload_at<float>(4), 2.5F);
}

TYPED_TEST(decoded_record, has_an_event_header_that_tells_its_layout_whatever_the_file_says)
{
    this->add_subhead(this->trace, 0, this->head_size);
    for (const std::uint32_t stored : {0xFFEEFFEEU, 0xFFEEFF10U, 0xFFEEFF24U, 0xFFEEFFEFU, 0U}) {
        this->headers_.patch(this->basket_head, stored);
        ASSERT_EQ(this->decode(), decode_outcome::record);
        const auto* header = reinterpret_cast<const typename TypeParam::event_header*>(this->record_.sbchdata[0].evhd);
        const std::uint32_t published = std::is_same_v<TypeParam, channel_legacy>                         ? 0xFFEEFFEE
                                        : std::is_same_v<TypeParam, channel_2010> && stored == 0xFFEEFFEE ? 0xFFEEFF10
                                                                                                          : stored;
        EXPECT_EQ(header->pattern, published) << std::hex << stored;
    }
}

TYPED_TEST(decoded_record, without_a_row_fails)
{
    this->add_subhead(this->trace, 0, this->head_size);
    this->has_row_ = false;
    this->expect_failure(decode_outcome::failed_hard, no_pointer);
}

TYPED_TEST(decoded_record, of_a_row_that_points_outside_fails)
{
    this->add_subhead(this->trace, 0, this->head_size);
    const auto good = this->row_;
    ASSERT_EQ(this->decode(), decode_outcome::record);
    using position = decltype(good.evhd);
    const auto last_header = static_cast<position>(headers_at + this->basket_head);
    for (const position wrong :
         {position{0}, static_cast<position>(headers_at - 1), static_cast<position>(last_header + 1),
          static_cast<position>(0xFFFFFFFF), static_cast<position>(-1)}) {
        this->row_ = good;
        this->row_.evhd = wrong;
        this->expect_failure(decode_outcome::failed_hard, no_pointer);
    }
    this->row_ = good;
    this->row_.sbhd = static_cast<position>(blocks_at + this->basket_head + 1);
    this->expect_failure(decode_outcome::failed_hard, no_pointer);
    this->row_ = good;
    this->row_.chhd = static_cast<position>(channel_at + this->basket_head + 1);
    this->expect_failure(decode_outcome::failed_hard, no_pointer);
    this->row_.chhd = 0xFFFFFFFF;
    this->expect_failure(decode_outcome::failed_hard, no_pointer);
}

TYPED_TEST(decoded_record, with_a_length_up_to_its_sub_head_has_no_payload)
{
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, this->head_size - 1, this->head_size}) {
        this->empty_channel();
        this->add_subhead(this->trace, 0x20, length);
        ASSERT_EQ(this->decode(), decode_outcome::record) << length;
        EXPECT_EQ(this->block()->ldata, static_cast<int>(length));
        EXPECT_EQ(this->block()->error, 0x20);
        EXPECT_EQ(this->printed_, "");
    }
}

TYPED_TEST(decoded_record, with_a_negative_length_or_one_past_the_basket_fails)
{
    for (const std::size_t length :
         {std::size_t{0xFFFFFFFF}, std::size_t{0x80000000}, this->head_size + 5, std::size_t{0x7FFFFFFF}}) {
        this->empty_channel();
        this->add_subhead(this->trace, 0, length);
        this->channel_.fill(4);
        this->expect_failure(decode_outcome::failed_hard, not_converted);
    }
    this->empty_channel();
    this->add_subhead(this->trace, 0, this->head_size + 4);
    this->channel_.fill(4);
    EXPECT_EQ(this->decode(), decode_outcome::record) << "the record ends with the basket";
}

TYPED_TEST(decoded_record, of_an_unassigned_type_or_too_short_a_payload_fails)
{
    for (const int dtype : {0, 30, 55, 63, 0x7FFF}) {
        this->empty_channel();
        this->add_subhead(dtype, 0, this->head_size + 4);
        this->channel_.fill(4);
        this->expect_failure(decode_outcome::failed_hard, not_converted);
    }
    this->empty_channel();
    this->add_subhead(TROX_BLOCK_IMAGE, 0, this->head_size + 36);
    this->channel_.fill(36);
    this->expect_failure(decode_outcome::failed_hard, not_converted);
}

TYPED_TEST(decoded_record, that_was_zipped_loses_its_zip_flag_and_gets_its_full_length)
{
    byte_builder payload;
    payload.word(7).word(0x01020304).real(0.75F).raw("xyz");
    this->add_zipped(this->trace, 1, 15, this->stored_stream(payload));
    ASSERT_EQ(this->decode(), decode_outcome::record) << this->printed_;
    EXPECT_EQ(this->block()->error, 0x21);
    EXPECT_EQ(this->block()->ldata, static_cast<int>(this->head_size + 15));
    EXPECT_EQ(this->template payload_at<std::int32_t>(0), 7);
    EXPECT_EQ(this->template payload_at<std::int32_t>(4), 0x01020304);
    EXPECT_EQ(this->template payload_at<float>(8), 0.75F);
    EXPECT_EQ(this->template payload_at<char>(12), 'x') << "bytes left over are kept";
    EXPECT_EQ(this->template payload_at<char>(14), 'z');
}

TYPED_TEST(decoded_record, of_an_unknown_compressor_fails_and_shows_the_zip_header)
{
    for (const std::uint32_t flags : {0U, 4U, 0xFFFFFFFCU}) {
        this->empty_channel();
        this->add_zipped(this->trace, flags, 15, byte_builder().fill(4));
        char text[32];
        std::snprintf(text, sizeof text, "0x%x", flags);
        this->expect_failure(decode_outcome::failed_hard,
                             std::string("Unknown unzipper: ") + text + "!!! exiting tid:[0-9]+\n.*15.*\n.*4\n");
    }
}

TYPED_TEST(decoded_record, of_another_length_than_announced_fails)
{
    this->add_zipped(this->trace, 1, 16, this->stored_stream(byte_builder().fill(12)));
    this->expect_failure(decode_outcome::failed_hard, "Orig size \\(16\\) != unzip size \\(12\\) tid:[0-9]+\n");
}

TYPED_TEST(decoded_record, that_does_not_uncompress_fails_but_not_hard)
{
    this->add_zipped(this->trace, 1, 16, byte_builder().fill(20, 0xEE));
    this->expect_failure(decode_outcome::failed,
                         std::string("make_zlib.*  !!!! inflate.. returnd -3 !!!!") + not_uncompressed);
    this->empty_channel();
    this->add_zipped(this->trace, 1, 8, this->stored_stream(byte_builder().fill(12)));
    this->expect_failure(decode_outcome::failed,
                         std::string("make_zlib.*  !!!! inflate.. returnd -5 !!!!") + not_uncompressed);
    this->empty_channel();
    this->add_zipped(this->trace, 1, 0, this->stored_stream(byte_builder()));
    this->expect_failure(decode_outcome::failed, std::string("make_zlib.. invalid parameter.s.\n") + not_uncompressed);
}

TYPED_TEST(decoded_record, whose_zipped_bytes_pass_the_basket_fails)
{
    const std::size_t zip_length = this->basket_head + this->head_size + 8;
    this->add_zipped(this->trace, 1, 12, this->stored_stream(byte_builder().fill(12)));
    ASSERT_EQ(this->decode(), decode_outcome::record);
    const auto length = static_cast<std::uint32_t>(this->channel_.size() - this->basket_head - this->head_size - 12);
    for (const std::uint32_t wrong : {length + 1, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        this->channel_.patch(zip_length, wrong);
        this->expect_failure(decode_outcome::failed, not_uncompressed);
    }
    this->empty_channel();
    this->add_subhead(this->trace, 0x40000000, this->head_size);
    this->expect_failure(decode_outcome::failed, not_uncompressed); // no zip header
}

TYPED_TEST(decoded_record, whose_announced_length_cannot_come_from_its_bytes_is_refused)
{
    byte_builder stream = this->stored_stream(byte_builder().fill(12));
    const auto length = static_cast<std::uint32_t>(stream.size());
    this->add_zipped(this->trace, 1, length * 1032 + 64, stream);
    EXPECT_EQ(this->decode(), decode_outcome::failed_hard) << "just believable: decompressed, and then too short";
    EXPECT_THAT(this->printed_, ::testing::StartsWith("Orig size"));
    this->empty_channel();
    this->add_zipped(this->trace, 1, length * 1032 + 65, stream);
    this->expect_failure(decode_outcome::failed, not_uncompressed);
    this->empty_channel();
    this->add_zipped(this->trace, 1, 0xFFFFFFFF, stream);
    this->expect_failure(decode_outcome::failed, not_uncompressed);
}

TYPED_TEST(decoded_record, of_lzo_decompresses_or_counts_as_of_an_unknown_compressor)
{
    // "TROX" sixteen times: a literal run of 4, then a match of length 60 at distance 4.
    byte_builder stream;
    for (const int byte : std::initializer_list<int>{21, 'T', 'R', 'O', 'X', 0x20, 27, 12, 0, 17, 0, 0}) {
        stream.fill(1, static_cast<std::uint8_t>(byte));
    }
    this->add_zipped(this->trace, 2, 64, stream);
    if (trox_detail::has_lzo()) {
        ASSERT_EQ(this->decode(), decode_outcome::record) << this->printed_;
        EXPECT_EQ(this->template payload_at<std::uint32_t>(60), 0x54524F58U) << "T R O X, swapped";
        this->empty_channel();
        this->add_zipped(this->trace, 2, 12 * 256 + 65, stream);
        this->expect_failure(decode_outcome::failed, not_uncompressed);
        this->empty_channel();
        this->add_zipped(this->trace, 2, 60, stream);
        this->expect_failure(decode_outcome::failed, std::string("make_lzo - internal error - decompression failed: "
                                                                 "-[0-9]+\n") +
                                                         not_uncompressed);
    } else {
        this->expect_failure(decode_outcome::failed_hard,
                             "Unknown unzipper: 0x2!!! exiting tid:[0-9]+\n.*64.*\n.*12\n");
    }
}

TYPED_TEST(decoded_record, that_is_zipped_with_both_flags_is_zlib)
{
    this->add_zipped(this->trace, 3, 12, this->stored_stream(byte_builder().fill(12)));
    EXPECT_EQ(this->decode(), decode_outcome::record);
}

TYPED_TEST(decoded_record, whose_uncompressed_payload_does_not_convert_has_no_block)
{
    this->add_zipped(55, 1, 12, this->stored_stream(byte_builder().fill(12)));
    ASSERT_EQ(this->decode(), decode_outcome::record_without_block);
    EXPECT_EQ(this->record_.event_id.event_number, 4711U);
    EXPECT_NE(this->record_.sbchdata[0].evhd, 0U);
    EXPECT_NE(this->record_.sbchdata[0].sbhd, 0U);
    EXPECT_EQ(this->record_.sbchdata[0].chhd, 0U);
    EXPECT_EQ(this->record_.sbchdata[0].data, 0U);
}
