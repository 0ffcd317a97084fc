// Payloads of the nine sample files, converted and taken apart, against what an independent writer says is in
// them. Records that LZO packs are left to the readers' tests: this library does not unpack.
#include "evutl_api.h"
#include "sha256.h"

#include <bit>
#include <cstring>
#include <set>
#include <zlib.h>

namespace
{

using namespace trox_test;
using nlohmann::json;

std::uint32_t word_at(const std::vector<std::uint8_t>& bytes, std::size_t position)
{
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + position, sizeof word);
    return __builtin_bswap32(word);
}

template <class Record> Record load(const void* source)
{
    Record record;
    std::memcpy(&record, source, sizeof record);
    return record;
}

/// Payload bytes of a record as in the file, unpacked; nothing for a record that LZO packs.
template <class Api>
std::optional<std::vector<std::uint8_t>> stored_payload(const std::vector<std::uint8_t>& bytes, const json& record)
{
    const std::size_t subhead = record["pos"][2];
    const std::size_t data = record["pos"][3];
    constexpr std::size_t head = sizeof(typename Api::subhead);
    if (!record.contains("zip")) {
        const int type = record["dtype"].template get<int>();
        const std::set<int> updates{1, 4, 5};
        const std::set<int> updates_2010{33, 36, 37};
        std::size_t size = record["ldata"].template get<std::size_t>() - head;
        size = updates.count(type) ? 96 : updates_2010.count(type) ? 272 : type == 3 ? 20 : size;
        const auto begin = bytes.begin() + static_cast<long>(data);
        return std::vector<std::uint8_t>(begin, begin + static_cast<long>(size));
    }
    if (record["zip"][0] != 1) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> payload(record["zip"][1].template get<std::size_t>());
    uLongf size = payload.size();
    EXPECT_EQ(uncompress(payload.data(), &size, bytes.data() + subhead + head + 12, record["zip"][2]), Z_OK);
    EXPECT_EQ(size, payload.size());
    return payload;
}

/// A block in host order at an address that suits no word, as a reader might lay it out.
template <class Api> class odd_block
{
public:
    odd_block(const json& record, const std::vector<std::uint8_t>& payload)
        : bytes_(1 + sizeof(typename Api::subhead) + payload.size()), payload_size_(payload.size())
    {
        typename Api::subhead subhead{};
        std::strcpy(subhead.chname, "X");
        subhead.dtype = record["dtype"];
        subhead.ldata = static_cast<std::int32_t>(sizeof subhead + payload.size());
        std::memcpy(bytes_.data() + 1, &subhead, sizeof subhead);
        EXPECT_EQ(trox_convert_data(payload.data(), data(), subhead.dtype, static_cast<int>(payload.size())), 0);
    }

    unsigned char* data()
    {
        return bytes_.data() + 1 + sizeof(typename Api::subhead);
    }

    const typename Api::subhead* subhead() const
    {
        return reinterpret_cast<const typename Api::subhead*>(bytes_.data() + 1);
    }

    std::size_t payload_size() const
    {
        return payload_size_;
    }

private:
    std::vector<unsigned char> bytes_;
    std::size_t payload_size_;
};

/// Compares floats at any address with the dump's list, or its summary of a long one.
void expect_floats(const void* values, std::size_t count, const json& expected)
{
    const auto* bytes = static_cast<const unsigned char*>(values);
    const auto value = [bytes](std::size_t i) { return load<float>(bytes + 4 * i); };
    if (expected.is_object()) {
        EXPECT_EQ(count, expected["n"]);
        for (std::size_t i = 0; i < expected["first"].size(); ++i) {
            EXPECT_EQ(value(i), expected["first"][i].get<float>());
        }
        EXPECT_EQ(value(count - 1), expected["last"].get<float>());
        EXPECT_EQ(sha256(values, 4 * count).substr(0, 12), expected["sha"]);
        return;
    }
    ASSERT_EQ(count, expected.size());
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(value(i), expected[i].get<float>());
    }
}

void expect_time(const void* time, const json& expected)
{
    const auto stamp = load<time_stamp>(time);
    EXPECT_EQ(json({stamp.timeup, stamp.timelow}), expected);
}

struct spectrum_parameters {
    float start = 0;
    float inc = 0;
    void* extra = nullptr;
    int length = 0;
    int groups = 1;
    float group_inc = 0;
    trox_spect_statistics_2010* stat = nullptr;
};

int parameters_of(const trox_serv_block_subhead* block, int member, spectrum_parameters& out)
{
    return get_spect_params_for_data_type_2009(block, &out.start, &out.inc, &out.extra, &out.length, member);
}

int parameters_of(const trox_serv_block_subhead_2010* block, int member, spectrum_parameters& out)
{
    return get_spect_params_for_data_type_2010(block, &out.start, &out.inc, &out.extra, &out.length, &out.groups,
                                               &out.group_inc, &out.stat, member);
}

float* data_of(const trox_serv_block_subhead* block, int member)
{
    return get_pointer_to_data_2009(block, member);
}

float* data_of(const trox_serv_block_subhead_2010* block, int member)
{
    return get_pointer_to_data_2010(block, member);
}

void expect_code(const trox_serv_block_subhead*, const json&) {}

void expect_code(const trox_serv_block_subhead_2010* block, const json& value)
{
    EXPECT_EQ(get_spect_code_description_2010(block), value["code"]);
}

void expect_statistics(const spectrum_parameters& found, const json& value, std::size_t member)
{
    if (!value.contains("stat")) {
        EXPECT_EQ(found.stat, nullptr);
        return;
    }
    ASSERT_NE(found.stat, nullptr);
    const auto statistics = load<trox_spect_statistics_2010>(found.stat);
    EXPECT_EQ(statistics.mask, value["stat"][member][0]);
    for (std::size_t i = 0; i < 32; ++i) {
        const json& values = value["stat"][member][1];
        EXPECT_EQ(statistics.val[i], i < values.size() ? values[i].get<float>() : 0.0F);
    }
}

template <class Api> void expect_spectrum(odd_block<Api>& block, const json& value)
{
    const auto members = value["nmemb"].get<int>();
    const std::size_t head_offset = value.contains("roi") ? 16 : 0;
    if (head_offset != 0) {
        const auto region = load<trox_roi_head>(block.data());
        EXPECT_EQ(json({region.x, region.y, region.width, region.height}), value["roi"]);
    }
    expect_code(block.subhead(), value);
    EXPECT_EQ(data_of(block.subhead(), members), nullptr);
    EXPECT_EQ(data_of(block.subhead(), -1), nullptr);
    for (int member = 0; member < members; ++member) {
        spectrum_parameters found;
        ASSERT_EQ(parameters_of(block.subhead(), member, found), 0);
        EXPECT_EQ(found.start, value["start"].get<float>());
        EXPECT_EQ(found.inc, value["inc"].get<float>());
        EXPECT_EQ(found.length, value["nsamp"]);
        EXPECT_EQ(found.extra, block.data() + head_offset);
        EXPECT_EQ(found.groups, value.value("groups", 1));
        EXPECT_EQ(found.group_inc, value.value("ginc", 0.0F));
        expect_statistics(found, value, static_cast<std::size_t>(member));
        const float* const floats = data_of(block.subhead(), member);
        ASSERT_NE(floats, nullptr);
        expect_floats(floats, static_cast<std::size_t>(found.length * found.groups), value["memb"][member]);
    }
}

template <class Record> void expect_update(const unsigned char* data, const json& value)
{
    const auto update = load<Record>(data);
    EXPECT_EQ(update.upd_prop, value["name"]);
    EXPECT_EQ(update.upd_ch_status, value["status"]);
    expect_time(&update.upd_ch_time, value["time"]);
    EXPECT_EQ(update.upd_ch_data, value["value"].get<float>());
}

void expect_environment(const unsigned char* data, const json& value)
{
    const auto found = load<trox_env_data_block>(data);
    EXPECT_EQ(found.env_ch_idx, value["idx"]);
    EXPECT_EQ(found.env_ch_status, value["status"]);
    expect_time(&found.env_ch_time, value["time"]);
    EXPECT_EQ(found.env_ch_data, value["value"].get<float>());
}

void expect_name_values(const unsigned char* data, const json& value)
{
    EXPECT_EQ(load<std::int32_t>(data), value["id"]);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(data) + 4), value["comment"]);
    EXPECT_EQ(load<std::int32_t>(data + 84), value["ndata"]);
    std::size_t i = 0;
    for (const json& item : value["items"]) {
        const auto channel = load<trox_name_value_channel>(data + 88 + 84 * i++);
        EXPECT_EQ(channel.name, item[0]);
        EXPECT_EQ(channel.value, item[1].get<float>());
    }
}

void expect_image(const unsigned char* data, const json& value)
{
    const auto head = load<trox_image_frame_head>(data);
    EXPECT_EQ(
        json({head.w, head.h, head.bpp, head.compr, head.frame, head.event_nm, head.length}),
        json({value["w"], value["h"], value["bpp"], value["compr"], value["frame"], value["event"], value["length"]}));
    EXPECT_EQ(sha256(data + sizeof head, value["pixels_n"].get<std::size_t>()), value["pixels_sha256"]);
}

void expect_extended_image(const unsigned char* data, const json& value)
{
    const auto head = load<trox_image_ext_frame_head>(data);
    const json& fields = value["fields"];
    EXPECT_EQ(head.width, fields["width"]);
    EXPECT_EQ(head.aoi_height, fields["aoi_height"]);
    EXPECT_EQ(head.event, fields["event"]);
    EXPECT_EQ(head.scale_x, fields["scale_x"].get<float>());
    EXPECT_EQ(head.image_rotation, fields["image_rotation"].get<float>());
    EXPECT_EQ(head.image_flags, fields["image_flags"]);
    EXPECT_EQ(head.length, value["length"]);
    EXPECT_EQ(sha256(data + sizeof head, value["pixels_n"].get<std::size_t>()), value["pixels_sha256"]);
}

template <class Api> void expect_equipment(const odd_block<Api>& block, const unsigned char* data, const json& value)
{
    const auto head = load<trox_eqdata_head>(data);
    EXPECT_EQ(json({head.type, head.status, head.length}), json({value["type"], value["status"], value["length"]}));
    expect_time(&head.time, value["time"]);
    const auto* elements = reinterpret_cast<const unsigned char*>(data_of(block.subhead(), 0));
    ASSERT_EQ(elements, data + sizeof head);
    const json& expected = value["value"];
    if (expected.is_object()) {
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(elements), static_cast<std::size_t>(head.length)),
                  expected["text"]);
        return;
    }
    ASSERT_EQ(static_cast<std::size_t>(head.length), expected.size());
    for (const json& element : expected) {
        if (head.type == DATA_INT || head.type == DATA_A_INT) {
            EXPECT_EQ(load<std::int32_t>(elements), element);
        } else {
            EXPECT_EQ(load<float>(elements), element.get<float>());
        }
        elements += 4;
    }
}

template <class Api> void expect_value(odd_block<Api>& block, const json& value)
{
    const std::string kind = value["k"];
    if (kind == "spect") {
        expect_spectrum(block, value);
    } else if (kind == "upd" && Api::generation == sample_generation::legacy) {
        expect_update<trox_upd_data_block>(block.data(), value);
    } else if (kind == "upd") {
        expect_update<trox_upd_data_block_2010>(block.data(), value);
    } else if (kind == "env") {
        expect_environment(block.data(), value);
    } else if (kind == "nv") {
        expect_name_values(block.data(), value);
    } else if (kind == "img") {
        expect_image(block.data(), value);
    } else if (kind == "imgx") {
        expect_extended_image(block.data(), value);
    } else {
        ASSERT_EQ(kind, "eq");
        expect_equipment(block, block.data(), value);
    }
}

template <class Api> class sample_payloads : public ::testing::Test
{
};

TYPED_TEST_SUITE(sample_payloads, all_generations, generation_name);

TYPED_TEST(sample_payloads, every_value_is_as_expected)
{
    std::set<std::string> kinds;
    for (const std::string& name : sample_names(TypeParam::generation)) {
        SCOPED_TRACE(name);
        const auto bytes = read_bytes(sample_directory(TypeParam::generation) + name);
        const json dump = read_dump(name);
        for (const json& channel : dump["channels"]) {
            SCOPED_TRACE(channel["name"]);
            for (const json& record : channel["records"]) {
                const auto payload = stored_payload<TypeParam>(bytes, record);
                if (!payload) {
                    continue;
                }
                constexpr std::size_t dtype_offset = offsetof(typename TypeParam::subhead, dtype);
                const std::size_t subhead = record["pos"][2];
                EXPECT_EQ(word_at(bytes, subhead + dtype_offset), record["dtype"]);
                odd_block<TypeParam> block(record, *payload);
                expect_value(block, record["v"]);
                kinds.insert(record["v"]["k"]);
                if (record["v"]["k"] != "env") { // published as an update, which a channel reader makes of it
                    EXPECT_EQ(sha256(block.data(), block.payload_size()).substr(0, 12), record["out"]["sha"]);
                }
                ASSERT_FALSE(::testing::Test::HasFailure()) << record["ev"];
            }
        }
    }
    // The plain images are all packed with LZO.
    EXPECT_EQ(kinds, (std::set<std::string>{"spect", "upd", "env", "nv", "imgx", "eq"}));
}

TEST(sha256, is_that_of_the_published_examples)
{
    EXPECT_EQ(sha256("abc", 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(sha256("", 0), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    const std::string long_text = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    EXPECT_EQ(sha256(long_text.data(), long_text.size()),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

} // namespace
