// Channel descriptions in XML.
#include "byte_builder.h"
#include "event_util.h"

#include <gtest/gtest.h>
#include <memory>

namespace
{

/// Decoded descriptions, owned.
struct decoded_list {
    int status = 0;
    std::vector<chan_descr_2010*> channels;

    decoded_list() = default;
    decoded_list(const decoded_list&) = delete;
    decoded_list& operator=(const decoded_list&) = delete;
    ~decoded_list()
    {
        for (auto* channel : channels) {
            delete channel;
        }
    }
};

/// A description table as a reader gives it: head in host order, text without a closing NUL.
template <class Head> std::vector<unsigned char> description_table(std::string_view xml)
{
    constexpr std::size_t head_size = offsetof(Head, xml);
    Head head{};
    head.pattern = 0xCDACDAF3;
    head.length = static_cast<decltype(head.length)>(head_size + xml.size());
    std::vector<unsigned char> bytes(head_size);
    std::memcpy(bytes.data(), &head, head_size);
    bytes.insert(bytes.end(), xml.begin(), xml.end());
    return bytes;
}

template <class Head> void decode(std::string_view xml, decoded_list& result)
{
    // A heap block of exactly the table's size, so that a sanitizer sees every read beyond it.
    const std::vector<unsigned char> bytes = description_table<Head>(xml);
    result.status = trox_load_chan_descr(reinterpret_cast<const Head*>(bytes.data()), &result.channels);
}

int status_of(std::string_view xml)
{
    decoded_list result;
    decode<trox_xml_chan_descr_header>(xml, result);
    EXPECT_TRUE(result.status == 0 || result.channels.empty());
    return result.status;
}

template <class Head> class descriptions : public ::testing::Test
{
};
using heads =
    ::testing::Types<trox_xml_chan_descr_header, trox_xml_chan_descr_header_2010, trox_xml_chan_descr_header_2024>;
TYPED_TEST_SUITE(descriptions, heads);

TYPED_TEST(descriptions, have_every_field)
{
    decoded_list result;
    decode<TypeParam>(R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- two channels -->
<channels>
  <channel daq_name="A/B" prop_name="P" desc="x &lt; y &amp; &#65;" units="mm" stream="3" ev_type="4294967295"
           count="17" dtype="19" db_key="-5" max_size="4128" sb_name="S" set_point="1" subsystem="Q">
    <bit n="3" name="ON" desc="is on"/>
    <bit n="0x10" name="OFF" desc="is off"/>
    <dim n="1" name="T" desc="time" units="us"><stat n="2" name="MAX" desc="largest" units="V"/></dim>
  </channel>
  <channel daq_name="C" count="" />
</channels>)",
                      result);
    ASSERT_EQ(result.status, 0);
    ASSERT_EQ(result.channels.size(), 2U);
    const chan_descr_2010& a = *result.channels[0];
    EXPECT_STREQ(a.daq_name, "A/B");
    EXPECT_STREQ(a.prop_name, "P");
    EXPECT_STREQ(a.prop_desc, "x < y & A");
    EXPECT_STREQ(a.units, "mm");
    EXPECT_EQ(a.stream, 3);
    EXPECT_EQ(a.ev_type, 4294967295U);
    EXPECT_EQ(a.count, 17);
    EXPECT_EQ(a.dtype, 19U);
    EXPECT_EQ(a.db_key, -5);
    EXPECT_EQ(a.max_size, 4128);
    EXPECT_STREQ(a.sb_name, "S");
    EXPECT_EQ(a.set_point, 1);
    EXPECT_STREQ(a.subsystem, "Q");
    ASSERT_EQ(a.nbits, 2);
    EXPECT_EQ(a.bits[0]->bit, 3);
    EXPECT_STREQ(a.bits[0]->bit_name, "ON");
    EXPECT_STREQ(a.bits[0]->bit_desc, "is on");
    EXPECT_EQ(a.bits[1]->bit, 16);
    ASSERT_EQ(a.ndims, 1);
    EXPECT_EQ(a.dims[0]->dim, 1);
    EXPECT_STREQ(a.dims[0]->dim_name, "T");
    EXPECT_STREQ(a.dims[0]->dim_desc, "time");
    EXPECT_STREQ(a.dims[0]->units, "us");
    ASSERT_EQ(a.dims[0]->nstats, 1);
    EXPECT_EQ(a.dims[0]->stats[0]->stat, 2);
    EXPECT_STREQ(a.dims[0]->stats[0]->stat_name, "MAX");
    EXPECT_STREQ(a.dims[0]->stats[0]->stat_desc, "largest");
    EXPECT_STREQ(a.dims[0]->stats[0]->units, "V");
    const chan_descr_2010& c = *result.channels[1];
    EXPECT_STREQ(c.daq_name, "C");
    EXPECT_STREQ(c.prop_name, "");
    EXPECT_EQ(c.count, 0);
    EXPECT_EQ(c.nbits, 0);
    EXPECT_EQ(c.ndims, 0);
}

TYPED_TEST(descriptions, of_an_empty_table_add_nothing)
{
    decoded_list result;
    decode<TypeParam>("", result);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.channels.empty());
}

TYPED_TEST(descriptions, refuse_null_and_a_length_below_the_head)
{
    decoded_list result;
    EXPECT_EQ(trox_load_chan_descr(static_cast<const TypeParam*>(nullptr), &result.channels), 1);
    TypeParam head{};
    head.length = offsetof(TypeParam, xml);
    EXPECT_EQ(trox_load_chan_descr(&head, nullptr), 1);
    head.length = offsetof(TypeParam, xml) - 1;
    EXPECT_EQ(trox_load_chan_descr(&head, &result.channels), 4);
    head.length = static_cast<decltype(head.length)>(-1);
    EXPECT_EQ(trox_load_chan_descr(&head, &result.channels), 4);
}

TEST(description_texts, that_are_too_long_are_cut)
{
    const std::string longest(300, 'x');
    decoded_list result;
    decode<trox_xml_chan_descr_header>("<channels><channel daq_name='" + longest + "' units='" + longest +
                                           "' subsystem='" + longest + "'><bit name='" + longest + "' desc='" +
                                           longest + "'/></channel></channels>",
                                       result);
    ASSERT_EQ(result.status, 0);
    const chan_descr_2010& channel = *result.channels.at(0);
    EXPECT_EQ(channel.daq_name, longest.substr(0, 255));
    EXPECT_EQ(channel.units, longest.substr(0, 15));
    EXPECT_EQ(channel.subsystem, longest.substr(0, 63));
    EXPECT_EQ(channel.bits.at(0)->bit_name, longest.substr(0, 63));
    EXPECT_EQ(channel.bits.at(0)->bit_desc, longest.substr(0, 79));
}

TEST(description_list, is_appended_to_and_kept_on_failure)
{
    decoded_list result;
    decode<trox_xml_chan_descr_header>("<channels><channel daq_name='A'/></channels>", result);
    decode<trox_xml_chan_descr_header>("<channels><channel daq_name='B'/></channels>", result);
    ASSERT_EQ(result.channels.size(), 2U);
    EXPECT_STREQ(result.channels[1]->daq_name, "B");
    decode<trox_xml_chan_descr_header>("<channels><channel daq_name='C'/><channel/></channels>", result);
    EXPECT_NE(result.status, 0);
    EXPECT_EQ(result.channels.size(), 2U);
}

TEST(description_text, that_is_wrong_is_refused)
{
    EXPECT_EQ(status_of("<channels/>"), 0);
    EXPECT_EQ(status_of("<channels><other/>text</channels>"), 0);
    for (const char* const xml : {
             " ",
             "channels",
             "<channels>",
             "<channels/><channels/>",
             "<channels></channel>",
             "<channels><channel daq_name='A'></channels>",
             "<channels><channel daq_name=A/></channels>",
             "<channels><channel daq_name='A' daq_name='B'/></channels>",
             "<channels><channel daq_name='&unknown;'/></channels>",
             "<channel daq_name='A'/>",
             "<channels><channel/></channels>",
             "<channels><channel daq_name=''/></channels>",
             "<channels><channel daq_name='A' count='x'/></channels>",
             "<channels><channel daq_name='A' count='1 '/></channels>",
             "<channels><channel daq_name='A' count='2147483648'/></channels>",
             "<channels><channel daq_name='A' ev_type='-1'/></channels>",
             "<channels><channel daq_name='A' dtype='0x'/></channels>",
             "<channels><channel daq_name='A'><bit n='q'/></channel></channels>",
             "<channels><channel daq_name='A'><dim n='q'/></channel></channels>",
             "<channels><channel daq_name='A'><dim><stat n='q'/></dim></channel></channels>",
         }) {
        EXPECT_EQ(status_of(xml), 3) << xml;
    }
    EXPECT_EQ(status_of(std::string_view("<channels/>\0", 12)), 3);
}

TEST(description_text, with_entities_or_external_references_is_refused)
{
    EXPECT_EQ(status_of("<!DOCTYPE channels [<!ENTITY a 'aaaa'>]><channels/>"), 3);
    EXPECT_EQ(status_of("<!DOCTYPE channels [<!ENTITY a SYSTEM '/etc/passwd'>]><channels>&a;</channels>"), 3);
    EXPECT_EQ(status_of("<!DOCTYPE channels SYSTEM '/etc/passwd'><channels/>"), 3);
    EXPECT_EQ(status_of("<!DOCTYPE channels [<!ATTLIST channel daq_name CDATA 'A'>]><channels><channel/></channels>"),
              3);
}

TEST(description_text, nested_without_end_is_refused)
{
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<channels>";
    }
    EXPECT_EQ(status_of(deep), 3);
}

} // namespace
