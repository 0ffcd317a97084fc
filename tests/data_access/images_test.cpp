// Images: pixels, axes and the conversion to floats.
#include "typed_records.h"

#include "generic/accessor.h"

#include <array>

using namespace trox_test;

template <class T> class images : public record_access<T>
{
protected:
    void select_image(const std::vector<unsigned char>& payload, int type = TROX_BLOCK_IMAGE)
    {
        this->records_.clear();
        this->add("IMAGE", type, payload, TROX_EV_IMAGE);
        this->select_single();
        ASSERT_EQ(this->access_.GetPropType(), 4);
    }
    std::array<int, 6> axes(int expected_answer)
    {
        std::array<int, 6> a{-9, -9, -9, -9, -9, -9};
        EXPECT_EQ(this->access_.GetImageSize(&a[0], &a[1], &a[2], &a[3], &a[4], &a[5]), expected_answer);
        return a;
    }
    std::array<int, 4> parameters(int expected_answer)
    {
        std::array<int, 4> p{-9, -9, -9, -9};
        EXPECT_EQ(this->access_.GetImagePar(&p[0], &p[1], &p[2], &p[3]), expected_answer);
        return p;
    }
};
TYPED_TEST_SUITE(images, all_access, access_names);

TYPED_TEST(images, basic_image)
{
    this->select_image(image(2, 1, 2, 4, {0x12, 0x34, 0x00, 0x05}));
    EXPECT_EQ(this->access_.GetImageHeader(), this->owned_[0]->data());
    EXPECT_EQ(this->access_.GetImage(), this->owned_[0]->data() + 40);
    EXPECT_EQ(this->parameters(0), (std::array{17, 6, 2, 4}));
    EXPECT_EQ(this->axes(4), (std::array{0, 0, 2, 0, 0, 1}));
    EXPECT_EQ(this->access_.GetImagePar(nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(this->access_.GetImageSize(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 4);
}

TYPED_TEST(images, basic_image_with_packed_words)
{
    // Offsets in the upper halves of w and h; steps 3 and 5 above the bytes per pixel.
    this->select_image(image(100 << 16 | 2, 50 << 16 | 1, 3 << 18 | 5 << 4 | 2, 4, {0x12, 0x34, 0x00, 0x05}));
    EXPECT_EQ(this->parameters(0), (std::array{17, 6, 2, 4}));
    EXPECT_EQ(this->axes(4), (std::array{100, 3, 2, 50, 5, 1}));
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageXstart(), 100.0F);
    EXPECT_EQ(this->access_.GetImageYstart(), 50.0F);
    EXPECT_EQ(this->access_.GetImageXinc(), 0.0F) << "packed steps are told by GetImageSize only";
    EXPECT_EQ(this->access_.GetImageYinc(), 0.0F);
}

TYPED_TEST(images, packed_words_are_taken_with_their_sign_where_they_have_one)
{
    this->select_image(image(-1, static_cast<int>(0x80000001U), static_cast<int>(0xFFFFFFF1U), 0, {}));
    EXPECT_EQ(this->axes(0), (std::array{-1, -1, 0xFFFF, -0x8000, 0x3FFF, 1}));
}

TYPED_TEST(images, bytes_per_pixel_0_count_as_1)
{
    this->select_image(image(2, 1, 0, 2, {7, 9}));
    EXPECT_EQ(this->parameters(0)[2], 1);
    const float* pixels = this->access_.ConvertImage();
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(pixels[1], 9.0F);
}

TYPED_TEST(images, extended_image)
{
    this->select_image(extended_image(2, 1, 1, 2, {7, 9}), TROX_BLOCK_IMAGE_EXT);
    EXPECT_EQ(this->access_.GetImageHeader(), this->owned_[0]->data());
    EXPECT_EQ(this->access_.GetImage(), this->owned_[0]->data() + 100);
    EXPECT_EQ(this->parameters(0), (std::array{18, 0, 1, 2}));
    EXPECT_EQ(this->axes(2), (std::array{100, 2, 2, 50, 4, 1}));
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageXstart(), 100.0F);
    EXPECT_EQ(this->access_.GetImageXinc(), 2.0F);
    EXPECT_EQ(this->access_.GetImageNx(), 2);
    EXPECT_EQ(this->access_.GetImageYstart(), 50.0F);
    EXPECT_EQ(this->access_.GetImageYinc(), 4.0F);
    EXPECT_EQ(this->access_.GetImageNy(), 1);
}

TYPED_TEST(images, ConvertImage_of_2_by_2_with_bpp_2_and_length_8_succeeds_and_with_7_not)
{
    const std::vector<unsigned char> pixels{0, 1, 0, 2, 1, 0, 0xFF, 0xFF};
    this->select_image(image(2, 2, 2, 8, pixels));
    const float* values = this->access_.ConvertImage();
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values, this->access_.GetImageFloat());
    EXPECT_EQ((std::vector<float>(values, values + 4)), (std::vector<float>{1, 2, 256, 65535}));
    this->select_image(image(2, 2, 2, 7, pixels));
    EXPECT_EQ(this->access_.ConvertImage(), nullptr);
}

TYPED_TEST(images, pixels_are_big_endian_of_any_number_of_bytes)
{
    this->select_image(image(1, 2, 3, 6, {1, 2, 3, 0, 0, 4}));
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageVal(0, 0), 66051.0F); // 1 * 65536 + 2 * 256 + 3
    EXPECT_EQ(this->access_.GetImageVal(0, 1), 4.0F);
    this->select_image(extended_image(1, 1, 4, 4, {0x80, 0, 0, 0}), TROX_BLOCK_IMAGE_EXT);
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageVal(0, 0), 2147483648.0F);
    this->select_image(image(1, 1, 15, 15, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageVal(0, 0), 0x1p112F);
}

TYPED_TEST(images, wide_pixels_are_rounded_once)
{
    // Half a float's step above 2^64 and above 2^112 is rounded to the even neighbour below, one more to the one above.
    const auto pixel = [&](const std::vector<unsigned char>& bytes) {
        const int size = static_cast<int>(bytes.size());
        this->select_image(extended_image(1, 1, size, size, bytes), TROX_BLOCK_IMAGE_EXT);
        EXPECT_NE(this->access_.ConvertImage(), nullptr);
        return this->access_.GetImageVal(0, 0);
    };
    EXPECT_EQ(pixel({1, 0, 0, 1, 0, 0, 0, 0}), 0x1p56F);
    EXPECT_EQ(pixel({1, 0, 0, 1, 0, 0, 0, 1}), 0x1.000002p56F) << "a double would have lost the last bit";
    EXPECT_EQ(pixel({1, 0, 0, 1, 0, 0, 0, 0, 0}), 0x1p64F);
    EXPECT_EQ(pixel({1, 0, 0, 1, 0, 0, 0, 0, 1}), 0x1.000002p64F);
    EXPECT_EQ(pixel({1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), 0x1p112F);
    EXPECT_EQ(pixel({1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), 0x1.000002p112F);
    EXPECT_EQ(pixel({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7}), 7.0F);
    EXPECT_EQ(pixel(std::vector<unsigned char>(20)), 0.0F);
}

TYPED_TEST(images, pixels_above_the_largest_float_are_that)
{
    constexpr float largest = 0x1.fffffep127F;
    for (const int size : {16, 17, 40, 300}) {
        this->select_image(extended_image(1, 1, size, size, std::vector<unsigned char>(size, 0xFF)),
                           TROX_BLOCK_IMAGE_EXT);
        ASSERT_NE(this->access_.ConvertImage(), nullptr);
        EXPECT_EQ(this->access_.GetImageVal(0, 0), largest) << size;
    }
    this->select_image(extended_image(1, 1, 15, 15, std::vector<unsigned char>(15, 0xFF)), TROX_BLOCK_IMAGE_EXT);
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageVal(0, 0), 0x1p120F);
}

TYPED_TEST(images, pixel_values_outside_are_0)
{
    EXPECT_EQ(this->access_.GetImageVal(0, 0), 0.0F) << "nothing converted yet";
    this->select_image(image(3, 2, 1, 6, {1, 2, 3, 4, 5, 6}));
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageVal(2, 1), 6.0F);
    EXPECT_EQ(this->access_.GetImageVal(0, 1), 4.0F);
    for (const auto& [ix, iy] : {std::pair{3, 0}, {0, 2}, {-1, 0}, {0, -1}, {INT32_MAX, INT32_MAX}}) {
        EXPECT_EQ(this->access_.GetImageVal(ix, iy), 0.0F) << ix << " " << iy;
    }
}

TYPED_TEST(images, shapes_that_do_not_make_the_length_are_not_converted)
{
    const std::vector<unsigned char> pixels(8, 1);
    for (const auto& [w, h, bpp, length] :
         {std::array{2, 2, 2, 0}, {2, 2, 2, -8}, {0, 2, 2, 8}, {2, 0, 2, 8}, {2, 2, 1, 8}, {3, 2, 2, 8}}) {
        this->select_image(image(w, h, bpp, length, pixels));
        EXPECT_EQ(this->access_.ConvertImage(), nullptr) << w << " " << h << " " << bpp << " " << length;
    }
    for (const auto& [nx, ny, bpp] :
         {std::array{-2, -2, 2}, {2, 2, 0}, {2, 2, -2}, {INT32_MAX, INT32_MAX, INT32_MAX}}) {
        this->select_image(extended_image(nx, ny, bpp, 8, pixels), TROX_BLOCK_IMAGE_EXT);
        EXPECT_EQ(this->access_.ConvertImage(), nullptr) << nx << " " << ny << " " << bpp;
    }
    EXPECT_EQ(this->access_.GetImageFloat(), nullptr);
}

TYPED_TEST(images, a_failed_conversion_keeps_the_image_before)
{
    this->select_image(image(1, 1, 1, 1, {7}));
    const float* before = this->access_.ConvertImage();
    ASSERT_NE(before, nullptr);
    this->select_image(image(1, 1, 1, 0, {}));
    EXPECT_EQ(this->access_.ConvertImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageFloat(), before);
    EXPECT_EQ(this->access_.GetImageVal(0, 0), 7.0F);
}

TYPED_TEST(images, a_length_larger_than_the_payload_is_missing)
{
    for (const bool is_extended : {false, true}) {
        const std::vector<unsigned char> pixels(7, 1);
        this->select_image(is_extended ? extended_image(2, 2, 2, 8, pixels) : image(2, 2, 2, 8, pixels),
                           is_extended ? TROX_BLOCK_IMAGE_EXT : TROX_BLOCK_IMAGE);
        EXPECT_EQ(this->access_.GetImage(), nullptr);
        EXPECT_EQ(this->access_.GetImageHeader(), this->owned_.back()->data()) << "the head is whole";
        this->axes(-2);
        this->parameters(-2);
        EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.ConvertImage(), nullptr); }).err,
                  "*** error: idx2 6 len 7 ix 1 iy 1 bpp 2\n");
    }
    // What is announced but not there gets no memory.
    this->select_image(extended_image(46340, 46340, 1, 46340 * 46340, {1}), TROX_BLOCK_IMAGE_EXT);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.ConvertImage(), nullptr); }).err,
              "*** error: idx2 46340 len 1 ix 0 iy 1 bpp 1\n");
}

TYPED_TEST(images, without_a_whole_head_are_missing)
{
    for (const int type : {int{TROX_BLOCK_IMAGE}, int{TROX_BLOCK_IMAGE_EXT}}) {
        const std::size_t head = type == TROX_BLOCK_IMAGE ? 40 : 100;
        for (const std::size_t size : {std::size_t{0}, head - 1}) {
            this->select_image(std::vector<unsigned char>(size), type);
            EXPECT_EQ(this->access_.GetImage(), nullptr);
            EXPECT_EQ(this->access_.GetImageHeader(), nullptr);
            EXPECT_EQ(this->access_.ConvertImage(), nullptr);
            this->axes(-2);
            this->parameters(-2);
        }
        this->select_image(std::vector<unsigned char>(head), type);
        EXPECT_NE(this->access_.GetImage(), nullptr);
        this->axes(0);
    }
}

TYPED_TEST(images, without_payload_are_missing_whatever_the_type_of_the_channel)
{
    this->axes(-2);
    this->parameters(-2);
    this->add("FAST", TypeParam::trace_type);
    this->select_single();
    EXPECT_EQ(this->access_.GetImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageHeader(), nullptr);
    EXPECT_EQ(this->access_.ConvertImage(), nullptr);
    this->axes(-2);
    this->parameters(-2);
    EXPECT_EQ(this->access_.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0), -2) << "as spectra";
    EXPECT_EQ(this->access_.GetDescr(), -2);
}

TYPED_TEST(images, of_other_channels_are_refused)
{
    this->add_trace("FAST");
    this->select_single();
    EXPECT_EQ(this->access_.GetImage(), nullptr);
    EXPECT_EQ(this->access_.GetImageHeader(), nullptr);
    EXPECT_EQ(this->access_.ConvertImage(), nullptr);
    this->axes(-1);
    this->parameters(-1);
}

// --- adding pixels ----------------------------------------------------------------------------------------

TEST(add_pixels, adds_to_what_is_there)
{
    const std::array<unsigned char, 4> bytes{1, 2, 3, 4};
    std::array<float, 2> values{10, 20};
    EXPECT_TRUE(trox_detail::accessor::add_pixels({bytes.data(), 4, 2, 1, 2}, values.data(), 2));
    EXPECT_EQ(values, (std::array<float, 2>{10 + 258, 20 + 772}));
}

TEST(add_pixels, a_pixel_behind_the_data_is_told)
{
    const std::array<unsigned char, 5> bytes{1, 2, 3, 4, 5};
    std::array<float, 6> values{};
    const auto add = [&](std::size_t size, int nx, int ny, int bpp) {
        return capture([&] {
                   EXPECT_FALSE(trox_detail::accessor::add_pixels({bytes.data(), size, nx, ny, bpp}, values.data(), 6));
               })
            .err;
    };
    EXPECT_EQ(add(5, 3, 2, 1), "*** error: idx2 5 len 5 ix 2 iy 1 bpp 1\n");
    EXPECT_EQ(add(1, 1, 1, 2), "*** error: idx2 0 len 1 ix 0 iy 0 bpp 2\n");
}

TEST(add_pixels, a_pixel_without_a_place_is_told)
{
    const std::array<unsigned char, 6> bytes{1, 2, 3, 4, 5, 6};
    std::array<float, 5> values{};
    EXPECT_EQ(capture([&] {
                  EXPECT_FALSE(trox_detail::accessor::add_pixels({bytes.data(), 6, 3, 2, 1}, values.data(), 5));
              }).err,
              "*** error: idx1 5 size 5 ix 2 iy 1 nx 3 ny 2\n");
}
