// The event record accessor: single values, lists, spectra.
#include "trox_daq_data.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "generic/accessor.h"

#include <cstdint>

using namespace trox_detail::accessor;

// --- updates ------------------------------------------------------------------------------------------

bool trox_daq_getdata::is_update() const
{
    return (ChanHeader != nullptr && DataType == TROX_UPD_BLOCK) ||
           (ChanHeader_2010 != nullptr && DataType == TROX_UPD_BLOCK_2010);
}

/// False for another channel, and for a payload that is too short.
template <class Update> bool trox_daq_getdata::load_update(Update& update) const
{
    if (!is_update() || payload_size < sizeof update) {
        return false;
    }
    update = trox_detail::load_record<Update>(payload);
    return true;
}

template bool trox_daq_getdata::load_update(trox_upd_data_block&) const;
template bool trox_daq_getdata::load_update(trox_upd_data_block_2010&) const;

int trox_daq_getdata::GetSlowPrm(float* value, int* status, long* seconds) const
{
    const auto put_all = [&](const auto& update) {
        put(value, update.upd_ch_data);
        put(status, update.upd_ch_status);
        put(seconds, static_cast<long>(update.upd_ch_time.timeup));
        return 0;
    };
    if (trox_upd_data_block_2010 update; ChanHeader_2010 != nullptr && load_update(update)) {
        return put_all(update);
    }
    if (trox_upd_data_block update; ChanHeader != nullptr && load_update(update)) {
        return put_all(update);
    }
    return 1;
}

// --- text, names and values ---------------------------------------------------------------------------

// The legacy sub-head is asked for whatever the generation: programs tell text of younger files by the null.
char* trox_daq_getdata::GetString(int /*member*/, int* length) const
{
    const auto* begin = static_cast<const unsigned char*>(Data);
    std::size_t room = Data != nullptr ? payload_size : 0;
    if (ChanHeader != nullptr && room != 0 && begin != payload) { // a control-system value, behind its head
        room -= static_cast<std::size_t>(begin - reinterpret_cast<const unsigned char*>(ChanHeader + 1));
    }
    const void* end = ChanHeader != nullptr && room != 0 ? std::memchr(Data, 0, room) : nullptr;
    if (end == nullptr) {
        std::fprintf(stderr, "trox_daq_getdata::GetString: %d\n", Status);
        return nullptr;
    }
    put(length, static_cast<int>(static_cast<const unsigned char*>(end) - begin));
    return static_cast<char*>(Data);
}

/// What lies directly behind the selected sub-head; null without one. Lists and regions are looked for there.
unsigned char* trox_daq_getdata::behind_head() const
{
    return ChanHeader != nullptr        ? reinterpret_cast<unsigned char*>(ChanHeader + 1)
           : ChanHeader_2010 != nullptr ? reinterpret_cast<unsigned char*>(ChanHeader_2010 + 1)
                                        : nullptr;
}

/// The name/value list of the selected channel, with all its entries; null for another channel.
trox_name_value_block* trox_daq_getdata::name_values() const
{
    constexpr std::size_t head = offsetof(trox_name_value_block, values);
    unsigned char* block = behind_head();
    if (DataType != TROX_BLOCK_NAME_VALUE || block == nullptr || payload_size < head) {
        return nullptr;
    }
    const auto count = trox_detail::load_record<std::int32_t>(block + offsetof(trox_name_value_block, ndata));
    const std::size_t room = (payload_size - head) / sizeof(trox_name_value_channel);
    const bool is_whole = count >= 0 && static_cast<std::size_t>(count) <= room;
    return is_whole ? reinterpret_cast<trox_name_value_block*>(block) : nullptr;
}

int trox_daq_getdata::GetValNamPrm(trox_name_value_block** block, int* id, char** comment, int* ndata,
                                   trox_name_value_channel** entries) const
{
    trox_name_value_block* list = name_values();
    if (list == nullptr) {
        return 1;
    }
    put(block, list);
    put(id, list->id);
    put(comment, static_cast<char*>(list->comment));
    put(ndata, list->ndata);
    put(entries, static_cast<trox_name_value_channel*>(list->values));
    return 0;
}

/// Whether bytes of the payload are there, counted from its begin.
bool trox_daq_getdata::is_in_payload(std::int64_t position, std::size_t size) const
{
    return position >= 0 && static_cast<std::uint64_t>(position) <= payload_size &&
           size <= payload_size - static_cast<std::size_t>(position);
}

namespace
{

/// Where entry `i` of a name/value list lies in the payload, or would lie.
std::int64_t position_of_entry(int i)
{
    return static_cast<std::int64_t>(offsetof(trox_name_value_block, values)) +
           std::int64_t{i} * static_cast<std::int64_t>(sizeof(trox_name_value_channel));
}

std::int64_t position_of_value(int i)
{
    return position_of_entry(i) + static_cast<std::int64_t>(offsetof(trox_name_value_channel, value));
}

} // namespace

/// Why there is no sub-head to look at; null when there is one.
const char* trox_daq_getdata::missing_head() const
{
    if (ChanHeader != nullptr || ChanHeader_2010 != nullptr) {
        return nullptr;
    }
    return data_2010 || data_2024 ? " ChanHeader_2010 == NULL" : " ChanHeader == NULL";
}

/// Tells that the selected channel has no such list or value, and answers 1.
int trox_daq_getdata::tell_no_list(const char* operation) const
{
    if (const char* missing = missing_head(); missing != nullptr) {
        std::fprintf(stderr, "trox_daq_getdata::%s %d%s\n", operation, Status, missing);
    } else {
        std::fprintf(stderr, "trox_daq_getdata::%s %d DType%d\n", operation, Status, DataType);
    }
    return 1;
}

int trox_daq_getdata::GetValNamChan(char** name, float* value, int i) const
{
    const trox_name_value_block* list = name_values();
    if (list != nullptr && i >= list->ndata) {
        std::fprintf(stderr, "trox_daq_getdata::GetValNamChan()  channel is too big %d max: %d\n", i, list->ndata);
        return 1;
    }
    // Negative numbers are not refused as such: programs get what stands in front of the list, as far as it is there.
    if (list == nullptr || !is_in_payload(position_of_entry(i), sizeof(trox_name_value_channel))) {
        return tell_no_list("GetValNamChan()");
    }
    unsigned char* entry = behind_head() + position_of_entry(i);
    put(name, reinterpret_cast<char*>(entry + offsetof(trox_name_value_channel, name)));
    put(value, trox_detail::load_record<float>(entry + offsetof(trox_name_value_channel, value)));
    return 0;
}

float trox_daq_getdata::GetSingle(int i) const
{
    if (float value = 0.0F; GetSlowPrm(&value, nullptr, nullptr) == 0) {
        return value;
    }
    const trox_name_value_block* list = name_values();
    if (list != nullptr && i >= list->ndata) {
        std::fprintf(stderr, "trox_daq_getdata::GetSingle: member number is too big %d max: %d\n", i, list->ndata);
        return 0.0F;
    }
    if (list == nullptr || !is_in_payload(position_of_value(i), sizeof(float))) {
        tell_no_list("GetSingle:");
        return 0.0F;
    }
    return trox_detail::load_record<float>(behind_head() + position_of_value(i));
}

// --- spectra ------------------------------------------------------------------------------------------

float* trox_daq_getdata::GetSpect(int member) const
{
    if (Data == nullptr) {
        return nullptr;
    }
    if (member < 0 || member >= Nmemb) {
        std::fprintf(stderr, "GetSpect() invalid memb:%d  max: %d\n", member, Nmemb);
        return nullptr;
    }
    return ChanHeader_2010 != nullptr ? get_pointer_to_data_2010(ChanHeader_2010, member)
                                      : get_pointer_to_data_2009(ChanHeader, member);
}

int trox_daq_getdata::GetSpectPar(float* start, float* inc, void** extra, int* length, int member, int* groups,
                                  float* group_inc, trox_spect_statistics_2010** stat) const
{
    put(groups, 1);
    put(group_inc, 0.0F);
    if (Data == nullptr) {
        return no_payload;
    }
    const int status = ChanHeader_2010 != nullptr
                           ? get_spect_params_for_data_type_2010(ChanHeader_2010, start, inc, extra, length, groups,
                                                                 group_inc, stat, member)
                           : get_spect_params_for_data_type_2009(ChanHeader, start, inc, extra, length, member);
    if (status != 0) {
        std::fprintf(stderr, "trox_daq_getdata::GetSpectPar: error datatype:%d data_2010: %d\n", DataType,
                     static_cast<int>(data_2010));
        return failed;
    }
    return 0;
}

float trox_daq_getdata::GetSpectVal(int member, int index) const
{
    int length = 0;
    int groups = 1;
    if (GetSpectPar(nullptr, nullptr, nullptr, &length, member, &groups) != 0) {
        length = 0;
    }
    const std::int64_t samples = std::int64_t{length} * (groups == 0 ? 1 : groups);
    if (index < 0 || index >= samples) {
        std::fprintf(stderr, "GetSpectVal() index is too big: %d max: %d\n", index, length);
        return 0.0F;
    }
    const float* values = GetSpect(member);
    return values != nullptr ? values[index] : 0.0F;
}

int trox_daq_getdata::GetRoiPar(void** roi, float* start, float* inc, void** extra, int* length, int member) const
{
    const bool is_region = DataType >= TROX_BLOCK_IMG_ROI1 && DataType <= TROX_BLOCK_IMG_ROI3;
    if (missing_head() != nullptr) {
        // The same text for all generations, unlike that of lists: programs look for it.
        std::fprintf(stderr, "trox_daq_getdata::GetRoiPrm: %d ChanHeader == NULL\n", Status);
        return failed;
    }
    if (!is_region) {
        if (ChanHeader != nullptr) { // younger records say nothing
            std::fprintf(stderr, "trox_daq_getdata::GetRoiPrm: %d DType%d\n", Status, DataType);
        }
        return failed;
    }
    const int status = GetSpectPar(start, inc, extra, length, member);
    if (status == 0) {
        put(roi, static_cast<void*>(behind_head()));
    }
    return status;
}

int trox_daq_getdata::GetDescr() const
{
    if (Data == nullptr) {
        return no_payload;
    }
    return ChanHeader_2010 == nullptr ? failed : get_spect_code_description_2010(ChanHeader_2010);
}

// --- a property in one call ---------------------------------------------------------------------------

int trox_daq_getdata::GetDataPtrs(const char* name, float* value, float** data, int i)
{
    constexpr int not_readable = 2;
    constexpr int not_there = 3;
    constexpr int other_kind = 4;
    if (!is_ready()) {
        std::fprintf(stderr, "trox_daq_getdata::GetDataPtrs: wrong status= %d\n", Status);
        return failed;
    }
    if (Data == nullptr) {
        return no_payload;
    }
    const int kind = name != nullptr ? SetProp(name) : PropType;
    if (kind == spectrum) {
        GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0); // tells a block without members
        put(data, GetSpect(i));
        return 0;
    }
    if (kind != single_values) {
        return kind <= 1 || kind == image ? not_there : other_kind;
    }
    if (ChanType == slow) {
        // 2024 records are looked at as legacy ones here: programs that want their values ask GetSlowPrm.
        const std::size_t at =
            data_2010 ? offsetof(trox_upd_data_block_2010, upd_ch_data) : offsetof(trox_upd_data_block, upd_ch_data);
        if (payload_size < at + sizeof(float)) {
            return not_readable;
        }
        put(value, trox_detail::load_record<float>(payload + at));
        return 0;
    }
    if (DataType != TROX_BLOCK_NAME_VALUE) {
        return not_there;
    }
    if (name_values() == nullptr) {
        return not_readable;
    }
    // The number is not compared with the list's count: programs rely on the 0, and only memory sets the bounds.
    const bool is_there = is_in_payload(position_of_value(i), sizeof(float));
    put(value, is_there ? trox_detail::load_record<float>(behind_head() + position_of_value(i)) : 0.0F);
    return 0;
}
