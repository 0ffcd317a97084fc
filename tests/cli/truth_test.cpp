// What list, info and show say as JSON, compared with what the independent writer put into the sample files.
#include "run_trox.h"
#include "sample_files.h"
#include "sha256.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <gtest/gtest.h>
#include <map>

namespace
{

using nlohmann::json;
using trox_test::run_trox;
using trox_test::sample_generation;

/// [seconds, microseconds] as JSON output has times.
std::string time_text(const json& time)
{
    const auto seconds = time.at(0).get<std::time_t>();
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%06dZ", time.at(1).get<int>());
    return text.data();
}

std::string hash_start(const std::string& bytes)
{
    return trox_test::sha256(bytes.data(), bytes.size()).substr(0, 12);
}

void expect_floats(const json& shown, const json& expected)
{
    if (expected.is_array()) {
        ASSERT_EQ(shown.size(), expected.size());
        for (std::size_t i = 0; i < shown.size(); ++i) {
            EXPECT_EQ(shown[i].get<float>(), expected[i].get<float>());
        }
        return;
    }
    ASSERT_EQ(shown.size(), expected.at("n").get<std::size_t>());
    std::string bytes;
    for (const json& value : shown) {
        const auto number = value.get<float>();
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    EXPECT_EQ(hash_start(bytes), expected.at("sha"));
}

void expect_trace(const json& shown, const json& value)
{
    ASSERT_EQ(shown.at("members").size(), value.at("nmemb").get<std::size_t>());
    for (std::size_t i = 0; i < shown.at("members").size(); ++i) {
        const json& member = shown.at("members")[i];
        EXPECT_EQ(member.at("samples"), value.at("nsamp"));
        EXPECT_EQ(member.at("groups"), value.value("groups", 1));
        EXPECT_EQ(member.at("start"), value.at("start"));
        EXPECT_EQ(member.at("increment"), value.at("inc"));
        expect_floats(member.at("values"), value.at("memb").at(i));
        if (value.contains("stat")) {
            EXPECT_EQ(member.at("statistics"), value.at("stat").at(i).at(1));
        }
    }
    if (value.contains("roi")) {
        const json& region = shown.at("region");
        EXPECT_EQ(json::array({region["x"], region["y"], region["width"], region["height"]}), value.at("roi"));
    }
}

/// The pixels' bytes as the file has them: the most significant one first.
void expect_image(const json& shown, const json& value)
{
    const bool is_extended = value.at("k") == "imgx";
    const json& fields = is_extended ? value.at("fields") : value;
    const json& image = shown.at("image");
    // Some cameras pack more into the upper halves of width and height.
    EXPECT_EQ(image.at("width"), fields.at(is_extended ? "aoi_width" : "w").get<unsigned>() & 0xFFFFU);
    EXPECT_EQ(image.at("height"), fields.at(is_extended ? "aoi_height" : "h").get<unsigned>() & 0xFFFFU);
    EXPECT_EQ(image.at("frame"), fields.at("frame"));
    const auto size = image.at("bytes_per_pixel").get<unsigned>();
    std::string bytes;
    for (const json& pixel : shown.at("pixels")) {
        for (unsigned i = 0; i < size; ++i) {
            bytes.push_back(static_cast<char>((pixel.at("value").get<unsigned>() >> (8 * (size - 1 - i))) & 0xFFU));
        }
    }
    EXPECT_EQ(bytes.size(), value.at("pixels_n").get<std::size_t>());
    EXPECT_EQ(trox_test::sha256(bytes.data(), bytes.size()), value.at("pixels_sha256"));
}

void expect_names(const json& shown, const json& value)
{
    EXPECT_EQ(shown.at("list").at("id"), value.at("id"));
    EXPECT_EQ(shown.at("list").at("comment"), value.at("comment"));
    ASSERT_EQ(shown.at("values").size(), value.at("items").size());
    for (std::size_t i = 0; i < shown.at("values").size(); ++i) {
        EXPECT_EQ(shown.at("values")[i].at("name"), value.at("items")[i].at(0));
        EXPECT_EQ(shown.at("values")[i].at("value").get<float>(), value.at("items")[i].at(1).get<float>());
    }
}

void expect_slow(const json& shown, const json& value)
{
    EXPECT_EQ(shown.at("slow").at("value").get<float>(), value.at("value").get<float>());
    EXPECT_EQ(shown.at("slow").at("status"), value.at("status"));
    EXPECT_EQ(shown.at("slow").at("set_time"), time_text(value.at("time")));
}

void expect_state(const json& shown, const json& value)
{
    const json& control = shown.at("control");
    EXPECT_EQ(control.at("type"), value.at("type"));
    EXPECT_EQ(control.at("status"), value.at("status"));
    if (value.contains("text")) {
        EXPECT_EQ(control.at("text"), value.at("text"));
    } else {
        EXPECT_TRUE(control.at("text").is_null());
        expect_floats(control.at("numbers"), value.at("value"));
    }
}

void expect_value(const json& shown, const json& value)
{
    const std::string kind = value.at("k");
    if (kind == "spect") {
        expect_trace(shown, value);
    } else if (kind == "img" || kind == "imgx") {
        expect_image(shown, value);
    } else if (kind == "nv") {
        expect_names(shown, value);
    } else if (kind == "eq") {
        expect_state(shown, value);
    } else {
        expect_slow(shown, value);
    }
}

class truth : public testing::TestWithParam<sample_generation>
{
protected:
    static std::string path_of(const std::string& name)
    {
        return trox_test::sample_directory(GetParam()) + name;
    }
};

TEST_P(truth, show_tells_the_first_and_the_last_record_of_each_channel)
{
    constexpr unsigned compressed = 0x40000000;
    std::size_t compared = 0;
    for (const auto& name : trox_test::sample_names(GetParam())) {
        const json dump = trox_test::read_dump(name);
        for (const json& channel : dump.at("channels")) {
            const json& records = channel.at("records");
            for (const std::size_t index : {std::size_t{0}, records.size() - 1}) {
                if (records.empty()) {
                    break;
                }
                const json& record = records.at(index);
                SCOPED_TRACE(channel.at("name").get<std::string>() + ", record " + std::to_string(index));
                const auto result =
                    run_trox({"show", path_of(name), "-c", channel.at("name"), "--event",
                              std::to_string(record.at("ev").get<std::uint64_t>()), "--json", "--slice", "0:"});
                ASSERT_EQ(result.code, 0) << result.err;
                const json shown = result.json();
                const json& head = shown.at("record");
                EXPECT_EQ(head.at("channel"), channel.at("name"));
                EXPECT_EQ(head.at("event"), record.at("ev"));
                EXPECT_EQ(head.at("time"), time_text(record.at("t")));
                EXPECT_EQ(head.at("server"), record.at("sb"));
                EXPECT_EQ(head.at("errors").get<unsigned>(), record.at("error").get<unsigned>() & ~compressed);
                EXPECT_EQ(head.at("offset"), record.at("pos").at(2));
                EXPECT_EQ(head.at("updated"), true);
                expect_value(shown, record.at("v"));
                ++compared;
            }
        }
    }
    EXPECT_GE(compared, 2 * (16 + 14 + 16));
}

TEST_P(truth, list_tells_names_descriptions_records_and_bytes_of_each_channel)
{
    std::map<std::string, json> expected;
    const auto names = trox_test::sample_names(GetParam());
    for (const auto& name : names) {
        const json dump = trox_test::read_dump(name);
        for (const json& channel : dump.at("channels")) {
            json& sum = expected.try_emplace(channel.at("name"), json::object()).first->second;
            sum["records"] = sum.value("records", 0U) + channel.at("records").size();
            if (!channel.at("records").empty()) {
                sum["bytes"] = sum.value("bytes", 0U) + channel.at("basket").at(1).get<unsigned>();
                sum["block_type"] = sum.value("block_type", channel.at("records")[0].at("out").at("dtype").get<int>());
            }
        }
        for (const json& description : dump.at("descriptions")) {
            expected[description.at("daq_name").get<std::string>()].update(description);
        }
    }
    const auto result = run_trox({"list", trox_test::sample_directory(GetParam()), "--json"});
    ASSERT_EQ(result.code, 0) << result.err;
    const json listed = result.json().at("channels");
    ASSERT_EQ(listed.size(), expected.size());
    const auto text_of = [](const json& text) { return text.is_null() ? "" : text.get<std::string>(); };
    for (const json& channel : listed) {
        SCOPED_TRACE(channel.dump());
        const json& sum = expected.at(channel.at("name").get<std::string>());
        EXPECT_EQ(channel.at("records"), sum.at("records"));
        EXPECT_EQ(channel.at("stored_bytes"), sum.at("bytes"));
        EXPECT_EQ(channel.at("block_type"), sum.at("block_type"));
        EXPECT_EQ(text_of(channel.at("unit")), sum.at("units"));
        EXPECT_EQ(text_of(channel.at("description")), sum.at("desc"));
        EXPECT_EQ(text_of(channel.at("server")), sum.at("sb_name"));
        EXPECT_EQ(text_of(channel.at("property")), sum.at("prop_name"));
    }
}

TEST_P(truth, info_tells_the_events_of_each_type)
{
    struct type_sum {
        std::uint64_t count = 0;
        json first;
        json last;
    };
    std::map<int, type_sum> expected;
    std::uint64_t size = 0;
    for (const auto& name : trox_test::sample_names(GetParam())) {
        const json dump = trox_test::read_dump(name);
        size += dump.at("size").get<std::uint64_t>();
        for (const json& entry : dump.at("eit")) {
            type_sum& sum = expected[entry.at("event_type").get<int>()];
            sum.first = sum.count == 0 ? entry.at("first") : sum.first;
            sum.last = entry.at("last");
            sum.count += entry.at("events").size();
        }
    }
    const auto result = run_trox({"info", trox_test::sample_directory(GetParam()), "--json"});
    ASSERT_EQ(result.code, 0) << result.err;
    const json told = result.json();
    EXPECT_EQ(told.at("summary").at("size"), size);
    EXPECT_EQ(told.at("summary").at("files"), 3);
    ASSERT_EQ(told.at("event_types").size(), expected.size());
    for (const json& type : told.at("event_types")) {
        const type_sum& sum = expected.at(type.at("type").get<int>());
        EXPECT_EQ(type.at("events"), sum.count);
        EXPECT_EQ(type.at("first_event"), sum.first.at(0));
        EXPECT_EQ(type.at("last_event"), sum.last.at(0));
        EXPECT_EQ(type.at("first_time"), time_text({sum.first.at(1), sum.first.at(2)}));
        EXPECT_EQ(type.at("last_time"), time_text({sum.last.at(1), sum.last.at(2)}));
    }
}

std::string name_of(const testing::TestParamInfo<sample_generation>& which)
{
    return std::array{"legacy", "v2010", "v2024"}.at(static_cast<std::size_t>(which.param));
}

INSTANTIATE_TEST_SUITE_P(generations, truth,
                         testing::Values(sample_generation::legacy, sample_generation::g2010, sample_generation::g2024),
                         name_of);

} // namespace
