// Texts that no test can make the library print: pinned where they are kept.
#include "channel_types.h"
#include "generation/messages_channel_2010.h"
#include "generation/messages_channel_2024.h"
#include "generation/messages_channel_legacy.h"

using namespace trox_test;
using trox_detail::channel_message;
using trox_detail::common_channel_message;
using trox_detail::common_channel_texts;

namespace
{

template <class T> class channel_message_texts : public ::testing::Test
{
};
TYPED_TEST_SUITE(channel_message_texts, channel_generations);

} // namespace

TYPED_TEST(channel_message_texts, of_a_slow_look_up)
{
    EXPECT_STREQ(trox_detail::channel_texts<typename TypeParam::generation>::text(channel_message::lookup_timing),
                 TypeParam::lookup_timing_format);
}

TEST(common_channel_message_texts, of_compressors_that_cannot_be_initialised)
{
    EXPECT_STREQ(common_channel_texts::text(common_channel_message::zlib_init_failed),
                 "make_zlib() - inflateInit() failed: %d !!!\n");
    EXPECT_STREQ(common_channel_texts::text(common_channel_message::lzo_init_failed),
                 "make_lzo - internal error - lzo_init() failed !!!\n");
    EXPECT_STREQ(common_channel_texts::text(common_channel_message::lzo_init_hint),
                 "make_lzo - (this usually indicates a compiler bug - try recompiling\n"
                 "without optimizations, and enable `-DLZO_DEBUG' for diagnostics)\n");
}

TEST(common_channel_message_texts, of_a_worker_without_records)
{
    EXPECT_STREQ(common_channel_texts::text(common_channel_message::no_out_array),
                 "Wrong out from object tid:%lu... exiting\n");
}
