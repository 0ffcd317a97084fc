// Whatever a record's bytes are, no operation reads outside its block. The blocks lie in heap blocks of exactly their
// size, for the sanitizers.
#include "every_operation.h"
#include "typed_records.h"

using namespace trox_test;

namespace
{

/// A payload of each layout, and its type.
template <class T> std::vector<std::pair<int, std::vector<unsigned char>>> payloads()
{
    auto region = payload_bytes().add(trox_roi_head{5, 3, 18, 12}).get();
    const auto samples = spectrum<T>(1, 2, {1.5F, 2.5F});
    region.insert(region.end(), samples.begin(), samples.end());
    return {{T::trace_type, spectrum<T>(1, 3, {1, 2, 3})},
            {TROX_BLOCK_GENERIC_SPECT, spectrum<T>(2, 2, {1, 2, 3, 4, 5, 6, 7, 8}, T::is_legacy ? 1 : 2)},
            {TROX_BLOCK_IMG_ROI1, region},
            {T::update_type, update<T>("SLOW", 2.5F)},
            {TROX_BLOCK_NAME_VALUE, name_values(2, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}})},
            {TROX_BLOCK_EQDATA,
             payload_bytes().add(trox_eqdata_head{DATA_STRING, 0, {1, 2}, 7}).add_text({"locked\0", 7}).get()},
            {TROX_BLOCK_IMAGE, image(2, 2, 1, 4, {1, 2, 3, 4})},
            {TROX_BLOCK_IMAGE_EXT, extended_image(2, 1, 2, 4, {1, 2, 3, 4})}};
}

} // namespace

template <class T> class every_record : public ::testing::Test
{
protected:
    /// What is wrong with the answers for a record of these bytes, in a fast and in a slow event.
    static std::string ask(int dtype, const std::vector<unsigned char>& payload)
    {
        std::string wrong;
        capture([&] {
            typed_record<T> fast("FAST", dtype, payload);
            typed_record<T> slow(std::string(sizeof(T::subhead::chname), 's'), dtype, payload, TROX_EV_UPD);
            wrong = every_operation<T>::ask({&fast.record, &slow.record});
        });
        return wrong;
    }
};
TYPED_TEST_SUITE(every_record, all_access, access_names);

TYPED_TEST(every_record, of_any_type_with_any_payload_is_read_inside_its_block)
{
    for (const auto& [own_type, payload] : payloads<TypeParam>()) {
        for (int dtype = -1; dtype < 66; ++dtype) {
            ASSERT_EQ(this->ask(dtype, payload), "") << own_type << " as " << dtype;
        }
        ASSERT_EQ(this->ask(own_type << 16 | own_type, payload), "") << own_type << " as a cut block";
    }
}

TYPED_TEST(every_record, cut_at_any_byte_is_read_inside_its_block)
{
    for (const auto& [dtype, payload] : payloads<TypeParam>()) {
        for (std::size_t size = 0; size < payload.size(); ++size) {
            const auto end = payload.begin() + static_cast<std::ptrdiff_t>(size);
            ASSERT_EQ(this->ask(dtype, {payload.begin(), end}), "") << dtype << " cut at " << size;
        }
    }
}

TYPED_TEST(every_record, with_any_byte_of_its_payload_flipped_is_read_inside_its_block)
{
    for (const auto& [dtype, payload] : payloads<TypeParam>()) {
        for (std::size_t byte = 0; byte < payload.size(); ++byte) {
            for (const int bits : {0xFF, 0x01, 0x80}) {
                auto damaged = payload;
                damaged[byte] = static_cast<unsigned char>(damaged[byte] ^ bits);
                ASSERT_EQ(this->ask(dtype, damaged), "") << dtype << " flipped at " << byte;
            }
        }
    }
}
