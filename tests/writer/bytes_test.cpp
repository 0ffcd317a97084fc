// One tiny file per generation, every byte typed by hand.
#include "be_bytes.h"
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace writer_test;

namespace
{

// One event of one server with one record of named channel C: the words 1.0 and 0x01020304.
void write_tiny(const std::string& path, tw::generation format)
{
    tw::file_writer file(path, format);
    const auto channel = file.add_channel("C");
    file.begin_event({7, {1000, 20}, TROX_EV_NORMAL, 3, 4});
    file.begin_server_block({"S", {}, {}, 5, 6});
    const std::vector<unsigned char> host = {0, 0, 0x80, 0x3F, 4, 3, 2, 1};
    file.add_record(channel, tw::record{9, host, 0x1000});
    file.end_event();
    file.finish();
}

TEST(tiny_file, of_the_legacy_generation_is_byte_exact)
{
    be_bytes should;
    should.text("TROXDAQ", 8).u32(2009).u32(0);
    // 16: event headers
    should.u32(0xEBAEBAF3).u32(8 + 36);
    should.u32(0xFFEEFFEE).u32(36 + 76 + 52).u32(7).u32(1).u32(1000).u32(20).u32(3).u32(4).u32(1);
    // 60: server blocks
    should.u32(0xBBABBAF3).u32(8 + 76);
    should.u32(1000).u32(20).u32(76 + 52).u32(7).text("S", 48).u32(5).u32(6).u32(1);
    // 144: the channel
    should.u32(0xCBACBAF3).u32(8 + 52);
    should.text("C", 32).u32(9).u32(0x1000).u32(52).f32(1).u32(0x01020304);
    // 204: dictionary
    should.u32(0xDCADCAF3).u32(8 + 96).u32(1).text("C", 80).u32(2).u32(0x200).u32(1);
    // 308: event index
    should.u32(0xEDAEDAF3).u32(1);
    should.u32(1).u32(1000).u32(20).u32(1000).u32(20).u32(7).u32(7).u32(32 + 16);
    should.u32(1000).u32(20).u32(7).u32(24);
    // 364: pointers
    should.u32(0xECAECAF3).u32(12 + 16).u32(1).u32(24).u32(68).u32(152).u32(152 + 44);
    // 392: references; 560: trailer
    should.u32(0xFAEFAEF1).u32(168).u32(308).u32(0).u32(316).zeros(30 * 4);
    should.u32(204).u32(364).u32(0).u32(0).u32(16).u32(60).u32(144);
    should.u32(392);
    scratch_directory directory;
    write_tiny(directory.path("a.raw"), tw::generation::legacy);
    EXPECT_EQ(read_file(directory.path("a.raw")), should.bytes());
}

TEST(tiny_file, of_the_2010_generation_is_byte_exact)
{
    be_bytes should;
    should.text("TROXDAQ", 8).u32(2010).u32(0);
    // 16: event headers
    should.u32(0xEBAEBAF3).u32(8 + 36);
    should.u32(0xFFEEFF10).u32(36 + 284 + 276).u32(7).u32(1).u32(1000).u32(20).u32(3).u32(4).u32(1);
    // 60: server blocks
    should.u32(0xBBABBAF3).u32(8 + 284);
    should.u32(1000).u32(20).u32(284 + 276).u32(7).text("S", 256).u32(5).u32(6).u32(1);
    // 352: the channel
    should.u32(0xCBACBAF3).u32(8 + 276);
    should.text("C", 256).u32(9).u32(0x1000).u32(276).f32(1).u32(0x01020304);
    // 636: dictionary
    should.u32(0xDCADCAF3).u32(8 + 272).u32(1).text("C", 256).u32(2).u32(0x200).u32(1);
    // 916: event index
    should.u32(0xEDAEDAF3).u32(1);
    should.u32(1).u32(1000).u32(20).u32(1000).u32(20).u32(7).u32(7).u32(32 + 16);
    should.u32(1000).u32(20).u32(7).u32(24);
    // 972: pointers
    should.u32(0xECAECAF3).u32(12 + 16).u32(1).u32(24).u32(68).u32(360).u32(360 + 268);
    // 1000: references; 1168: trailer, its CRC computed with another program
    should.u32(0xFAEFAEF2).u32(168).u32(916).u32(0).u32(924).zeros(30 * 4);
    should.u32(636).u32(972).u32(0).u32(0).u32(16).u32(60).u32(352);
    should.u32(1000).u32(0xDFC747F6).u32(0x7A11F010);
    scratch_directory directory;
    write_tiny(directory.path("a.raw"), tw::generation::v2010);
    EXPECT_EQ(read_file(directory.path("a.raw")), should.bytes());
}

TEST(tiny_file, of_the_2024_generation_is_byte_exact)
{
    be_bytes should;
    should.text("TROXDAQ", 8).u32(2024).u32(0);
    // 16: event headers
    should.u64(0xEBAEBAF3).u64(16 + 48);
    should.u32(0xFFEEFF24).u32(1).u64(48 + 304 + 276).u64(7).u32(1000).u32(20).u32(3).u32(4).u32(1).u32(0);
    // 80: server blocks
    should.u64(0xBBABBAF3).u64(16 + 304);
    should.u64(0xFFBBFF24).u64(304 + 276).u64(7).u32(1000).u32(20).text("S", 256).u32(5).u32(6).u32(1).u32(0);
    // 400: the channel
    should.u64(0xCBACBAF3).u64(16 + 276);
    should.text("C", 256).u32(9).u32(0x1000).u32(276).f32(1).u32(0x01020304);
    // 692: dictionary
    should.u64(0xDCADCAF3).u64(16 + 272).u32(1).text("C", 256).u32(2).u32(0x200).u32(1);
    // 980: event index
    should.u64(0xEDAEDAF3).u64(1);
    should.u64(1).u32(1000).u32(20).u32(1000).u32(20).u64(7).u64(7).u64(48 + 24);
    should.u32(1000).u32(20).u64(7).u64(32);
    // 1068: pointers
    should.u64(0xECAECAF3).u64(24 + 32).u64(1).u64(32).u64(96).u64(416).u64(416 + 268);
    // 1124: references; 1460: trailer, its CRC computed with another program
    should.u64(0xFAEFAEF3).u64(336).u64(980).u64(0).u64(996).zeros(30 * 8);
    should.u64(692).u64(1068).u64(0).u64(0).u64(16).u64(80).u64(400);
    should.u64(1124).u64(0xF4F3A97C).u64(0x7A11F024);
    scratch_directory directory;
    write_tiny(directory.path("a.raw"), tw::generation::v2024);
    EXPECT_EQ(read_file(directory.path("a.raw")), should.bytes());
}

} // namespace
