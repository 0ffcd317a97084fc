// Records of one event, typed by hand, as a reader would hand them out.
#ifndef TROX_TEST_TYPED_RECORDS_H
#define TROX_TEST_TYPED_RECORDS_H

#include "access_types.h"
#include "captured_output.h"

#include <cstring>
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace trox_test
{

/// Bytes of a payload, put together from records.
class payload_bytes
{
public:
    template <class Record> payload_bytes& add(const Record& record)
    {
        const auto* at = reinterpret_cast<const unsigned char*>(&record);
        bytes_.insert(bytes_.end(), at, at + sizeof record);
        return *this;
    }
    payload_bytes& add_text(std::string_view text)
    {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }
    const std::vector<unsigned char>& get() const
    {
        return bytes_;
    }

private:
    std::vector<unsigned char> bytes_;
};

/// One record; sub-head and payload lie in one heap block of exactly their size, so that a read outside is seen.
template <class T> class typed_record
{
public:
    typed_record(std::string_view name, int dtype, const std::vector<unsigned char>& payload = {},
                 int event_type = TROX_EV_NORMAL, std::uint64_t number = 7)
        : bytes_(std::make_unique<unsigned char[]>(sizeof(typename T::subhead) + payload.size()))
    {
        header.pattern = T::pattern;
        header.event_type = event_type;
        header.event_length = 1000;
        header.event_number = static_cast<decltype(header.event_number)>(number);
        header.event_time = {1339666200, 250000};
        header.status = 3;
        header.num_svr_block = 2;
        block.time = {1339666201, 125};
        block.ltotal = 600;
        block.mpulse = static_cast<decltype(block.mpulse)>(number);
        block.tmask = 0x21;
        block.status = 0x40;
        block.nchan = 5;
        std::memcpy(head().chname, name.data(), std::min(name.size(), sizeof head().chname));
        head().dtype = dtype;
        head().error = 0x1000;
        head().ldata = static_cast<std::int32_t>(sizeof head() + payload.size());
        std::copy(payload.begin(), payload.end(), data());
        auto& addresses = record.sbchdata[0];
        addresses.evhd = address_of(&header);
        addresses.sbhd = address_of(&block);
        addresses.chhd = address_of(&head());
        addresses.data = address_of(data());
    }

    typename T::subhead& head()
    {
        return *reinterpret_cast<typename T::subhead*>(bytes_.get());
    }
    unsigned char* data()
    {
        return bytes_.get() + sizeof(typename T::subhead);
    }

    typename T::header header{};
    typename T::block block{};
    typename T::record record{};

private:
    template <class Object> static std::uint64_t address_of(Object* object)
    {
        return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object));
    }

    std::unique_ptr<unsigned char[]> bytes_;
};

/// Head and floats of a spectrum. `announced` samples (of each member) stand in the head.
template <class T>
std::vector<unsigned char> spectrum(int members, int announced, const std::vector<float>& values, int groups = 1,
                                    const std::vector<trox_spect_statistics_2010>& statistics = {})
{
    typename T::spectrum_head head{};
    head.nmemb = members;
    head.nsamp = announced;
    head.start = 500.0F;
    head.inc = 0.25F;
    if constexpr (!T::is_legacy) {
        head.groups = groups;
        head.group_inc = 1000.0F;
        head.code = 12;
        head.flags = statistics.empty() ? 0 : 1;
    }
    payload_bytes bytes;
    bytes.add(head);
    for (const auto& item : statistics) {
        bytes.add(item);
    }
    for (const float value : values) {
        bytes.add(value);
    }
    return bytes.get();
}

template <class T> std::vector<unsigned char> update(std::string_view name, float value)
{
    typename T::update block{};
    std::memcpy(block.upd_prop, name.data(), std::min(name.size(), sizeof block.upd_prop));
    block.upd_ch_status = 4;
    block.upd_ch_time = {1339666199, 5};
    block.upd_ch_data = value;
    return payload_bytes().add(block).get();
}

/// A name/value list whose head announces `announced` entries.
inline std::vector<unsigned char> name_values(int announced, const std::vector<std::pair<std::string, float>>& entries)
{
    struct list_head {
        std::int32_t id;
        char comment[80];
        std::int32_t ndata;
    } head{11, "a comment", announced};
    payload_bytes bytes;
    bytes.add(head);
    for (const auto& [name, value] : entries) {
        trox_name_value_channel entry{};
        name.copy(entry.name, sizeof entry.name);
        entry.value = value;
        bytes.add(entry);
    }
    return bytes.get();
}

/// A basic image; `length` stands in the head.
inline std::vector<unsigned char> image(int w, int h, int bpp, int length, const std::vector<unsigned char>& pixels)
{
    trox_image_frame_head head{};
    head.w = w;
    head.h = h;
    head.bpp = bpp;
    head.compr = 6;
    head.frame = 17;
    head.event_nm = 388120042;
    head.length = length;
    auto bytes = payload_bytes().add(head).get();
    bytes.insert(bytes.end(), pixels.begin(), pixels.end());
    return bytes;
}

inline std::vector<unsigned char> extended_image(int nx, int ny, int bpp, int length,
                                                 const std::vector<unsigned char>& pixels)
{
    trox_image_ext_frame_head head{};
    head.width = 640;
    head.height = 480;
    head.aoi_width = nx;
    head.aoi_height = ny;
    head.x_start = 100;
    head.y_start = 50;
    head.bpp = bpp;
    head.ebitpp = 8;
    head.hbin = 2;
    head.vbin = 4;
    head.frame = 18;
    head.event = 42;
    head.scale_x = 0.5F;
    head.length = length;
    auto bytes = payload_bytes().add(head).get();
    bytes.insert(bytes.end(), pixels.begin(), pixels.end());
    return bytes;
}

/// Records of one event and an accessor on them.
template <class T> class record_access : public ::testing::Test
{
protected:
    typed_record<T>& add(std::string_view name, int dtype, const std::vector<unsigned char>& payload = {},
                         int event_type = TROX_EV_NORMAL, std::uint64_t number = 7)
    {
        owned_.push_back(std::make_unique<typed_record<T>>(name, dtype, payload, event_type, number));
        records_.push_back(&owned_.back()->record);
        return *owned_.back();
    }
    typed_record<T>& add_trace(std::string_view name, std::uint64_t number = 7)
    {
        return add(name, T::trace_type, spectrum<T>(1, 3, {1.5F, 2.5F, 3.5F}), TROX_EV_NORMAL, number);
    }
    typed_record<T>& add_image(std::string_view name)
    {
        return add(name, TROX_BLOCK_IMAGE, image(2, 1, 1, 2, {9, 8}), TROX_EV_IMAGE);
    }
    typed_record<T>& add_update(std::string_view name, float value = 2.5F, std::uint64_t number = 7)
    {
        return add(name, T::update_type, update<T>(name, value), TROX_EV_UPD, number);
    }
    int set_records()
    {
        return trox_test::set_records<T>(access_, &records_);
    }
    /// Selects the only record; what the selection prints is dropped.
    void select_single()
    {
        capture([&] { ASSERT_EQ(set_records(), 1); });
    }
    std::string selected_name() const
    {
        const auto* head = head_of<T>(access_);
        return {head->chname, strnlen(head->chname, sizeof head->chname)};
    }
    static constexpr std::int32_t head_size = sizeof(typename T::subhead);

    std::vector<std::unique_ptr<typed_record<T>>> owned_;
    std::vector<typename T::record*> records_;
    trox_daq_getdata access_{T::is_2024};
};

} // namespace trox_test

#endif
