// docs/typed-values.md against the examples that it shows and the block types that it lists.
#include "markdown.h"
#include "scan.h"

#include "event_util.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>

namespace
{

using trox_test::markdown_page;
using trox_test::markdown_row;

const std::filesystem::path root = TROX_SOURCE_DIR;

const markdown_page& page()
{
    static const markdown_page page = trox_test::read_markdown(root / "docs/typed-values.md");
    return page;
}

const std::vector<markdown_row>& types()
{
    return page().table("Block types").rows;
}

/// Bytes of a payload's fixed part, as the page gives them.
std::map<std::string, int> fixed_sizes()
{
    std::map<std::string, int> sizes;
    for (const markdown_row& row : page().table("Payloads").rows) {
        sizes[row.at(0)] = std::stoi(row.at(1));
    }
    return sizes;
}

/// What the page must say of a type's members.
std::string members_of(int type)
{
    if (type == TROX_BLOCK_GENERIC_SPECT) {
        return "CH0, CH1, ... as many as the block has";
    }
    std::string names;
    for (int i = 0; i < get_channel_number(type, nullptr); ++i) {
        names += (i == 0 ? "" : ", ") + std::string(get_chan_name(type, i));
    }
    return names;
}

/// Whether the first sample of a member is found in a block of `members` members with one sample each, which has
/// `in_front` bytes in front of the spectrum's head.
bool is_spectrum(int type, std::size_t in_front)
{
    constexpr std::size_t most_members = 8;
    struct block_2010 {
        trox_serv_block_subhead_2010 head;
        unsigned char payload[sizeof(trox_roi_head) + sizeof(trox_spect_head_2010) + most_members * sizeof(float)];
    } block{};
    trox_spect_head_2010 spectrum{};
    spectrum.nmemb = std::max(get_channel_number(type, nullptr), 1);
    spectrum.nsamp = 1;
    spectrum.groups = 1;
    std::memcpy(block.payload + in_front, &spectrum, sizeof spectrum);
    block.head.dtype = type;
    block.head.ldata = static_cast<std::int32_t>(sizeof block.head + in_front + sizeof spectrum +
                                                 static_cast<std::size_t>(spectrum.nmemb) * sizeof(float));
    const void* found = get_pointer_to_data_2010(&block.head, 0);
    return found == block.payload + in_front + sizeof spectrum;
}

TEST(typed_values_page, lists_every_block_type_with_its_members)
{
    std::map<std::string, long> expected;
    for (const auto& [name, value] :
         trox_test::enumerators_in(trox_test::read_text(root / "include/event.h"), "TROX_")) {
        const bool is_type = name.find("_BLOCK") != std::string::npos && name.find("SBLOCK") == std::string::npos;
        if (is_type && name != "TROX_BLOCK_MAX_2010") {
            expected["`" + name + "`"] = value;
        }
    }
    std::map<std::string, long> listed;
    for (const markdown_row& row : types()) {
        const int type = std::stoi(row.at(0));
        listed[row.at(1)] = type;
        EXPECT_EQ(row.at(2), members_of(type)) << "type " << type;
    }
    EXPECT_EQ(listed, expected);
    EXPECT_EQ(types().size(), listed.size());
    EXPECT_GT(listed.size(), 50U);
    for (int type = 0; type < 70; ++type) {
        const bool is_listed =
            std::any_of(listed.begin(), listed.end(), [&](const auto& e) { return e.second == type; });
        EXPECT_EQ(get_channel_number(type, nullptr) > 0, is_listed) << type;
    }
}

TEST(typed_values_page, tells_where_the_samples_of_a_type_lie)
{
    for (const markdown_row& row : types()) {
        const int type = std::stoi(row.at(0));
        const bool is_region = row.at(3) == "region of interest";
        EXPECT_EQ(is_spectrum(type, 0), row.at(3) == "spectrum") << "type " << type;
        EXPECT_EQ(is_spectrum(type, sizeof(trox_roi_head)), is_region) << "type " << type;
    }
}

TEST(typed_values_page, gives_the_fixed_part_of_every_payload)
{
    const auto sizes = fixed_sizes();
    EXPECT_EQ(sizes.at("update"), static_cast<int>(sizeof(trox_upd_data_block)));
    EXPECT_EQ(sizes.at("update of 2010"), static_cast<int>(sizeof(trox_upd_data_block_2010)));
    EXPECT_EQ(sizes.at("environment value"), static_cast<int>(sizeof(trox_env_data_block)));
    EXPECT_EQ(sizes.at("image"), static_cast<int>(sizeof(trox_image_frame_head)));
    EXPECT_EQ(sizes.at("extended image"), static_cast<int>(sizeof(trox_image_ext_frame_head)));
    EXPECT_EQ(sizes.at("name/value list"), static_cast<int>(offsetof(trox_name_value_block, values)));
    EXPECT_EQ(sizes.at("control-system value"), static_cast<int>(sizeof(trox_eqdata_head)));
    EXPECT_EQ(sizes.at("spectrum"), static_cast<int>(sizeof(trox_spect_head_2010)));
    EXPECT_EQ(sizes.at("region of interest"), static_cast<int>(sizeof(trox_roi_head) + sizeof(trox_spect_head_2010)));
    EXPECT_EQ(sizes.size(), 10U);
    for (const markdown_row& row : types()) {
        const std::string& payload = row.at(3);
        ASSERT_TRUE(sizes.contains(payload)) << payload;
        if (payload == "spectrum" || payload == "region of interest" || payload == "words") {
            continue; // converted word by word, whatever their length
        }
        const int type = std::stoi(row.at(0));
        const int size = sizes.at(payload);
        std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
        EXPECT_EQ(trox_convert_data(bytes.data(), bytes.data(), type, size), 0) << "type " << type;
        EXPECT_NE(trox_convert_data(bytes.data(), bytes.data(), type, size - 1), 0) << "type " << type;
    }
}

TEST(typed_values_page, shows_pieces_of_the_examples_as_they_are)
{
    std::string examples;
    for (const char* name : {"read_properties.cpp", "walk_event.cpp", "image_to_graymap.cpp"}) {
        for (const std::string& line : trox_test::lines_of(trox_test::read_text(root / "examples" / name))) {
            const std::size_t text = std::min(line.find_first_not_of(' '), line.size());
            examples += line.substr(text) + '\n';
        }
    }
    const auto pieces =
        trox_test::pieces_between(trox_test::read_text(root / "docs/typed-values.md"), "```cpp\n", "```\n");
    ASSERT_EQ(pieces.size(), 3U);
    for (const std::string& piece : pieces) {
        std::string shown;
        for (const std::string& line : trox_test::lines_of(piece)) {
            const std::size_t text = std::min(line.find_first_not_of(' '), line.size());
            shown += line.substr(text) + '\n';
        }
        EXPECT_GT(trox_test::lines_of(piece).size(), 4U);
        EXPECT_NE(examples.find(shown), std::string::npos) << piece;
    }
}

} // namespace
