// Typed values of every record of the sample runs.
#include "sample_run.h"

#include "detail/big_endian.h"
#include "sha256.h"

#include <gtest/gtest.h>
#include <set>

using namespace trox_test;
using nlohmann::json;

namespace
{

std::string sum_of(const void* data, std::size_t size)
{
    return sha256(data, size).substr(0, 12);
}

void expect_floats(const json& expected, const float* values, std::size_t count)
{
    ASSERT_NE(values, nullptr);
    if (expected.is_array()) {
        ASSERT_EQ(count, expected.size());
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_EQ(values[i], expected[i].get<float>()) << i;
        }
        return;
    }
    ASSERT_EQ(count, expected.at("n").get<std::size_t>());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(values[i], expected.at("first")[i].get<float>());
    }
    EXPECT_EQ(values[count - 1], expected.at("last").get<float>());
    EXPECT_EQ(sum_of(values, count * sizeof(float)), expected.at("sha").get<std::string>());
}

void expect_statistics(const json& expected, const trox_spect_statistics_2010* found)
{
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->mask, expected.at(0).get<unsigned>());
    const auto& values = expected.at(1);
    for (std::size_t i = 0; i < std::size(found->val); ++i) {
        EXPECT_EQ(found->val[i], i < values.size() ? values[i].get<float>() : 0.0F) << i;
    }
}

} // namespace

template <class T> class sample_values : public ::testing::Test
{
protected:
    // --- one kind each; the record is selected ------------------------------------------------------

    void expect_spectrum(const json& v)
    {
        ASSERT_EQ(event_.GetPropType(), 3);
        ASSERT_EQ(event_.GetNmemb(), v.at("nmemb").get<int>());
        EXPECT_EQ(event_.GetDescr(), T::is_legacy ? -1 : v.at("code").get<int>());
        for (int member = 0; member < event_.GetNmemb(); ++member) {
            float start = 0;
            float inc = 0;
            void* extra = nullptr;
            int length = 0;
            int groups = 0;
            float group_inc = 0;
            trox_spect_statistics_2010* stat = nullptr;
            ASSERT_EQ(event_.GetSpectPar(&start, &inc, &extra, &length, member, &groups, &group_inc, &stat), 0);
            EXPECT_EQ(start, v.at("start").get<float>());
            EXPECT_EQ(inc, v.at("inc").get<float>());
            EXPECT_EQ(length, v.at("nsamp").get<int>());
            EXPECT_EQ(groups, v.at("groups").get<int>());
            EXPECT_EQ(group_inc, v.at("ginc").get<float>());
            EXPECT_EQ(trox_detail::load_record<std::int32_t>(extra), v.at("nmemb").get<int>());
            const auto index = static_cast<std::size_t>(member);
            if (v.contains("stat")) {
                expect_statistics(v.at("stat").at(index), stat);
            } else {
                EXPECT_EQ(stat, nullptr);
            }
            const int samples = length * std::max(groups, 1);
            const float* values = event_.GetSpect(member);
            expect_floats(v.at("memb").at(index), values, static_cast<std::size_t>(samples));
            EXPECT_EQ(event_.GetSpectVal(member, samples - 1), values[samples - 1]);
            float* by_name = nullptr;
            EXPECT_EQ(event_.GetDataPtrs(nullptr, nullptr, &by_name, member), 0);
            EXPECT_EQ(by_name, values);
        }
        if (v.contains("roi")) {
            expect_region(v);
        }
    }

    void expect_region(const json& v)
    {
        void* roi = nullptr;
        float start = 0;
        int length = 0;
        ASSERT_EQ(event_.GetRoiPar(&roi, &start, nullptr, nullptr, &length, 0), 0);
        const auto region = trox_detail::load_record<trox_roi_head>(roi);
        EXPECT_EQ(json::array({region.x, region.y, region.width, region.height}), v.at("roi"));
        EXPECT_EQ(start, v.at("start").get<float>());
        EXPECT_EQ(length, v.at("nsamp").get<int>());
        ++regions_;
    }

    /// An update, or an environment value, which is delivered as one.
    void expect_slow_value(const json& v)
    {
        ASSERT_EQ(event_.GetPropType(), 2);
        ASSERT_EQ(event_.GetChanType(), 2);
        float value = 0;
        int status = -1;
        long seconds = 0;
        ASSERT_EQ(event_.GetSlowPrm(&value, &status, &seconds), 0);
        EXPECT_EQ(value, v.at("value").get<float>());
        EXPECT_EQ(status, v.at("status").get<int>());
        EXPECT_EQ(seconds, v.at("time").at(0).get<long>());
        EXPECT_EQ(event_.GetSingle(0), value);
        if constexpr (!T::is_2024) {
            float again = 0;
            EXPECT_EQ(event_.GetDataPtrs(nullptr, &again, nullptr, 0), 0);
            EXPECT_EQ(again, value);
        }
    }

    void expect_list(const json& v)
    {
        ASSERT_EQ(event_.GetPropType(), 2);
        int id = -1;
        char* comment = nullptr;
        int ndata = -1;
        ASSERT_EQ(event_.GetValNamPrm(nullptr, &id, &comment, &ndata, nullptr), 0);
        EXPECT_EQ(id, v.at("id").get<int>());
        EXPECT_STREQ(comment, v.at("comment").get<std::string>().c_str());
        ASSERT_EQ(ndata, v.at("ndata").get<int>());
        for (int i = 0; i < ndata; ++i) {
            const auto& item = v.at("items").at(static_cast<std::size_t>(i));
            char* name = nullptr;
            float value = 0;
            ASSERT_EQ(event_.GetValNamChan(&name, &value, i), 0);
            EXPECT_STREQ(name, item.at(0).get<std::string>().c_str());
            EXPECT_EQ(value, item.at(1).get<float>());
            EXPECT_EQ(event_.GetSingle(i), value);
            float again = 0;
            EXPECT_EQ(event_.GetDataPtrs(nullptr, &again, nullptr, i), 0);
            EXPECT_EQ(again, value);
        }
    }

    void expect_image(const json& v)
    {
        const auto head = trox_detail::load_record<trox_image_frame_head>(event_.GetImageHeader());
        EXPECT_EQ(head.w, v.at("w").get<int>());
        EXPECT_EQ(head.h, v.at("h").get<int>());
        EXPECT_EQ(head.bpp, v.at("bpp").get<int>());
        EXPECT_EQ(head.event_nm, v.at("event").get<std::uint64_t>());
        // Arithmetic instead of shifts: offsets and steps above the sizes.
        const int w = v.at("w");
        const int h = v.at("h");
        const int bpp = v.at("bpp");
        expect_pixels(v, {w / 65536, bpp / 262144, w % 65536, h / 65536, bpp / 16 % 16384, h % 65536},
                      std::max(bpp % 16, 1), v.at("frame"), v.at("compr"));
        packed_ += w >= 65536 ? 1 : 0;
    }

    void expect_extended_image(const json& v)
    {
        const auto head = trox_detail::load_record<trox_image_ext_frame_head>(event_.GetImageHeader());
        const json found{{"width", head.width},
                         {"height", head.height},
                         {"aoi_width", head.aoi_width},
                         {"aoi_height", head.aoi_height},
                         {"x_start", head.x_start},
                         {"y_start", head.y_start},
                         {"bpp", head.bpp},
                         {"ebitpp", head.ebitpp},
                         {"hbin", head.hbin},
                         {"vbin", head.vbin},
                         {"source_format", head.source_format},
                         {"image_format", head.image_format},
                         {"frame", head.frame},
                         {"event", head.event},
                         {"image_flags", head.image_flags},
                         {"ispare2", head.ispare2},
                         {"ispare3", head.ispare3},
                         {"ispare4", head.ispare4}};
        const json& fields = v.at("fields");
        for (const auto& [field, value] : found.items()) {
            EXPECT_EQ(value, fields.at(field)) << field;
        }
        EXPECT_EQ(head.scale_x, fields.at("scale_x").get<float>());
        EXPECT_EQ(head.scale_y, fields.at("scale_y").get<float>());
        EXPECT_EQ(head.image_rotation, fields.at("image_rotation").get<float>());
        EXPECT_EQ(head.fspare4, fields.at("fspare4").get<float>());
        expect_pixels(v,
                      {fields.at("x_start"), fields.at("hbin"), fields.at("aoi_width"), fields.at("y_start"),
                       fields.at("vbin"), fields.at("aoi_height")},
                      fields.at("bpp"), fields.at("frame"), 0);
    }

    void expect_pixels(const json& v, const std::array<int, 6>& axes, int bpp, int frame, int compr)
    {
        ASSERT_EQ(event_.GetPropType(), 4);
        std::array<int, 6> a{};
        const int length = v.at("length");
        ASSERT_EQ(event_.GetImageSize(&a[0], &a[1], &a[2], &a[3], &a[4], &a[5]), length);
        EXPECT_EQ(a, axes);
        std::array<int, 4> p{};
        ASSERT_EQ(event_.GetImagePar(&p[0], &p[1], &p[2], &p[3]), 0);
        EXPECT_EQ(p, (std::array{frame, compr, bpp, length}));
        const auto* pixels = static_cast<const unsigned char*>(event_.GetImage());
        ASSERT_NE(pixels, nullptr);
        EXPECT_EQ(sha256(pixels, static_cast<std::size_t>(length)), v.at("pixels_sha256").get<std::string>());
        const float* floats = event_.ConvertImage();
        ASSERT_EQ(floats != nullptr, v.at("match").get<bool>());
        if (floats == nullptr) {
            return;
        }
        ++converted_;
        EXPECT_EQ(event_.GetImageNx(), a[2]);
        EXPECT_EQ(event_.GetImageNy(), a[5]);
        for (int y = 0; y < a[5]; ++y) {
            for (int x = 0; x < a[2]; ++x) {
                double expected = 0;
                for (int byte = 0; byte < bpp; ++byte) {
                    expected = 256 * expected + *pixels++;
                }
                ASSERT_EQ(event_.GetImageVal(x, y), static_cast<float>(expected)) << x << " " << y;
            }
        }
    }

    void expect_control_value(const json& v)
    {
        ASSERT_EQ(event_.GetPropType(), 5);
        const auto* data = static_cast<const unsigned char*>(event_.GetData());
        ASSERT_NE(data, nullptr);
        const auto* elements = T::is_legacy ? data : data + sizeof(trox_eqdata_head);
        const auto head = trox_detail::load_record<trox_eqdata_head>(elements - sizeof(trox_eqdata_head));
        EXPECT_EQ(head.type, v.at("type").get<int>());
        EXPECT_EQ(head.status, v.at("status").get<int>());
        EXPECT_EQ(json::array({head.time.timeup, head.time.timelow}), v.at("time"));
        ASSERT_EQ(head.length, v.at("length").get<int>());
        const auto& value = v.at("value");
        if (value.is_object()) {
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(elements), static_cast<std::size_t>(head.length)),
                      value.at("text").get<std::string>());
            ++texts_;
            return;
        }
        ASSERT_EQ(value.size(), static_cast<std::size_t>(head.length));
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (head.type == DATA_FLOAT || head.type == DATA_A_FLOAT) {
                EXPECT_EQ(trox_detail::load_record<float>(elements + 4 * i), value[i].get<float>());
            } else {
                EXPECT_EQ(trox_detail::load_record<std::int32_t>(elements + 4 * i), value[i].get<std::int32_t>());
            }
        }
    }

    // --- any record -----------------------------------------------------------------------------------

    void expect_heads(const json& record)
    {
        int dtype = 0;
        int error = 0;
        int ldata = 0;
        ASSERT_EQ(event_.GetChanInfo(nullptr, &dtype, &error, &ldata), 0);
        EXPECT_EQ(dtype, record.at("out").at("dtype").template get<int>());
        EXPECT_EQ(error, record.at("out").at("error").template get<int>());
        EXPECT_EQ(ldata, record.at("out").at("ldata").template get<int>());
        EXPECT_EQ(event_head_of<T>(event_)->event_type, record.at("type").template get<int>());
        EXPECT_STREQ(block_head_of<T>(event_)->server, record.at("sb").template get<std::string>().c_str());
        const auto low_bits = record.at("ev").template get<std::uint64_t>() & 0x7FFFFFFFU;
        if constexpr (T::is_2024) {
            unsigned long mpulse = 0;
            ASSERT_EQ(event_.GetServBlockInfo_2024(nullptr, nullptr, nullptr, &mpulse, nullptr, nullptr, nullptr), 0);
            EXPECT_EQ(mpulse, low_bits);
        } else {
            int mpulse = 0;
            ASSERT_EQ(event_.GetServBlockInfo(nullptr, nullptr, nullptr, &mpulse, nullptr, nullptr, nullptr), 0);
            EXPECT_EQ(static_cast<std::uint64_t>(mpulse), low_bits);
        }
    }

    void expect_value(const json& v)
    {
        const std::string kind = v.at("k");
        if (kind == "spect") {
            expect_spectrum(v);
        } else if (kind == "upd" || kind == "env") {
            expect_slow_value(v);
        } else if (kind == "nv") {
            expect_list(v);
        } else if (kind == "img") {
            expect_image(v);
        } else if (kind == "imgx") {
            expect_extended_image(v);
        } else if (kind == "eq") {
            expect_control_value(v);
        } else {
            FAIL() << "kind " << kind;
        }
        kinds_.insert(kind);
    }

    trox_daq_getdata event_{T::is_2024};
    std::set<std::string> kinds_;
    int regions_ = 0;
    int packed_ = 0;
    int converted_ = 0;
    int texts_ = 0;
};
TYPED_TEST_SUITE(sample_values, all_samples, access_names);

TYPED_TEST(sample_values, are_those_of_the_expected_files)
{
    const dumped_records<TypeParam> dumped;
    const json expected = expected_events<TypeParam>("evid_all");
    std::size_t records = 0;
    for (const auto& channel : expected.at("channels")) {
        records += channel.at("records").size();
    }
    sample_run<TypeParam> run(expected);
    std::set<const json*> visited;
    while (run.next(this->event_)) {
        for (int i = 0; i < this->event_.GetNchan(); ++i) {
            ASSERT_GT(this->event_.SetChan(i), 0);
            const std::string name = this->event_.GetPropName();
            const json& record = dumped.find(name, *event_head_of<TypeParam>(this->event_));
            if (visited.insert(&record).second) {
                SCOPED_TRACE(name + " of event " + record.at("ev").dump());
                this->expect_heads(record);
                this->expect_value(record.at("v"));
                ASSERT_FALSE(this->HasFatalFailure());
            }
        }
    }
    EXPECT_EQ(visited.size(), records) << "every record that is delivered";
    EXPECT_EQ(this->kinds_, (std::set<std::string>{"spect", "upd", "env", "nv", "img", "imgx", "eq"}));
    EXPECT_GT(this->regions_, 0);
    EXPECT_GT(this->packed_, 0);
    EXPECT_GT(this->converted_, 0);
    EXPECT_GT(this->texts_, 0);
}
