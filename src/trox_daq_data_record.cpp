// The event record accessor: records, and the selection of channels.
#include "trox_daq_data.h"

#include "event_util.h"
#include "generation/event_patterns.h"
#include "generic/accessor.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

using namespace trox_detail::accessor;
using trox_detail::legacy_event_pattern;

namespace
{

template <class T> T* at(std::uint64_t address)
{
    return reinterpret_cast<T*>(static_cast<std::uintptr_t>(address));
}

/// Block type of a sub-head.
int dtype_at(std::uint64_t address, bool is_legacy)
{
    return is_legacy ? at<trox_serv_block_subhead>(address)->dtype : at<trox_serv_block_subhead_2010>(address)->dtype;
}

bool is_image_type(int dtype)
{
    return dtype == TROX_BLOCK_IMAGE || dtype == TROX_BLOCK_IMAGE_EXT;
}

int kind_of(int dtype, const trox_serv_block_subhead& /*head*/)
{
    if (dtype <= TROX_EOR_BLOCK || dtype == TROX_BLOCK_NAME_VALUE) {
        return single_values;
    }
    return dtype == TROX_BLOCK_EQDATA ? control_system_value : is_image_type(dtype) ? image : spectrum;
}

int kind_of(int dtype, const trox_serv_block_subhead_2010& /*head*/)
{
    const bool is_single = dtype <= TROX_EOR_BLOCK || dtype == TROX_BLOCK_NAME_VALUE ||
                           (dtype >= TROX_UPD_BLOCK_2010 && dtype <= TROX_EOR_BLOCK_2010);
    if (is_single) {
        return single_values;
    }
    return dtype == TROX_BLOCK_EQDATA ? control_system_value : is_image_type(dtype) ? image : spectrum;
}

void* first_value(const trox_serv_block_subhead& head)
{
    return get_pointer_to_data_2009(&head, 0);
}

void* first_value(const trox_serv_block_subhead_2010& head)
{
    return get_pointer_to_data_2010(&head, 0);
}

/// Whether the values of a kind are found by the event utility library.
bool has_first_value(int kind, const trox_serv_block_subhead& /*head*/)
{
    return kind == spectrum || kind == control_system_value;
}

bool has_first_value(int kind, const trox_serv_block_subhead_2010& /*head*/)
{
    return kind == spectrum;
}

/// Bytes of the name that the payloads of slow channels begin with.
std::size_t name_size(const trox_serv_block_subhead& /*head*/)
{
    return sizeof(trox_upd_data_block::upd_prop);
}

std::size_t name_size(const trox_serv_block_subhead_2010& /*head*/)
{
    return sizeof(trox_upd_data_block_2010::upd_prop);
}

/// Whether a payload has the whole name: its field, or at least its closing NUL.
bool has_name(const unsigned char* payload, std::size_t size, std::size_t field)
{
    return size >= field || (size != 0 && std::memchr(payload, 0, size) != nullptr);
}

} // namespace

// --- construction -------------------------------------------------------------------------------------

trox_daq_getdata::trox_daq_getdata(bool is_2024) : data_2024(is_2024)
{
    data_2010 = !is_2024;
}

trox_daq_getdata::~trox_daq_getdata() = default;

void trox_daq_getdata::Clean(bool is_2024)
{
    *this = trox_daq_getdata(is_2024);
}

void trox_daq_getdata::set_data_2024(bool on)
{
    data_2024 = on;
}

bool trox_daq_getdata::is_data_2024() const
{
    return data_2024;
}

// --- one record ---------------------------------------------------------------------------------------

/// Makes record `Ichan` the selected one.
int trox_daq_getdata::set_head()
{
    // The heads of the record before are not those of this one, whatever comes of it.
    EventHeader = nullptr;
    EventHeader_2024 = nullptr;
    SrvbHeader = nullptr;
    SrvbHeader_2010 = nullptr;
    SrvbHeader_2024 = nullptr;
    ChanHeader = nullptr;
    ChanHeader_2010 = nullptr;
    Data = nullptr;
    payload = nullptr;
    payload_size = 0;
    const auto index = static_cast<std::size_t>(Ichan);
    if (data_2024) {
        return select_record(Res2024 != nullptr ? Res2024->at(index) : nullptr, "SetHead(2024): ent = NULL",
                             "SetHead: event header(2024) pointer = NULL");
    }
    return select_record(Res != nullptr ? Res->at(index) : nullptr, "SetHead: ent = NULL",
                         "SetHead: event header pointer = NULL");
}

template <class Record> int trox_daq_getdata::select_record(Record* record, const char* ent, const char* header)
{
    constexpr int no_pointer_sets = -4;
    if (record == nullptr) {
        return tell(ent);
    }
    if (Nptr < 1) {
        return no_pointer_sets;
    }
    const trox_event_chan_ptr_long_entry& blocks = record->sbchdata[0];
    if (blocks.evhd == 0) {
        return tell(header);
    }
    if constexpr (std::is_same_v<Record, trox_channel_entry_long_2024>) {
        EventHeader_2024 = at<trox_eventheader_2024>(blocks.evhd);
        return set_heads(blocks, SrvbHeader_2024, ChanHeader_2010, "SetHead_2024: srvb pointer = NULL",
                         EventHeader_2024->event_type);
    } else {
        EventHeader = at<trox_eventheader>(blocks.evhd);
        data_2010 = EventHeader->pattern != legacy_event_pattern; // the data decide, whatever the accessor was made for
        return data_2010
                   ? set_heads(blocks, SrvbHeader_2010, ChanHeader_2010, "SetHead_2010: srvb pointer = NULL",
                               EventHeader->event_type)
                   : set_heads(blocks, SrvbHeader, ChanHeader, "SetHead: srvb pointer = NULL", EventHeader->event_type);
    }
}

/// Takes the heads behind the event's; `no_block` tells that there is no server block head.
template <class BlockHead, class Subhead>
int trox_daq_getdata::set_heads(const trox_event_chan_ptr_long_entry& blocks, BlockHead*& block, Subhead*& head,
                                const char* no_block, int event_type)
{
    if (blocks.sbhd == 0) {
        return tell(no_block);
    }
    block = at<BlockHead>(blocks.sbhd);
    if (blocks.chhd == 0) {
        return tell("SetHead: channel header pointer = NULL");
    }
    head = at<Subhead>(blocks.chhd);
    payload = at<unsigned char>(blocks.data);
    set_kind(*head, event_type);
    return 0;
}

template <class Subhead> void trox_daq_getdata::set_kind(Subhead& head, int event_type)
{
    DataType = head.dtype;
    switch (get_event_struct_type(event_type)) {
    case TROX_EV_STRUCT_GLOBAL:
        ChanType = slow;
        break;
    case TROX_EV_STRUCT_LOCAL:
    case TROX_EV_STRUCT_ML:
        ChanType = fast;
        break;
    default:
        std::fputs("SetHead() unknown event structure\n", stderr);
    }
    PropType = kind_of(DataType, head);
    const auto length = static_cast<std::size_t>(std::max(head.ldata, 0));
    payload_size = payload == nullptr || length <= sizeof(Subhead) ? 0 : length - sizeof(Subhead);
    // A negative length is not "no payload": programs see it by the address that they get with no values.
    if (head.ldata < 0 || length > sizeof(Subhead)) {
        Data = has_first_value(PropType, head) ? first_value(head) : nullptr;
        Data = Data != nullptr ? Data : payload;
    }
    const bool begins_with_name = ChanType == slow && has_name(payload, payload_size, name_size(head));
    PropName = begins_with_name ? reinterpret_cast<char*>(payload) : head.chname;
    Nmemb = get_channel_number(DataType, &head);
    Status = ready;
}

// --- all records --------------------------------------------------------------------------------------

template <class Record> int trox_daq_getdata::take_records(std::vector<Record*>* list)
{
    constexpr int no_list = -12;
    constexpr int no_records = -11;
    // Without records nothing but this is forgotten: programs go on with what they have selected.
    if (list == nullptr) {
        Nchan = 0;
        return no_list;
    }
    if (list->empty()) {
        return no_records;
    }
    Nchan = static_cast<int>(list->size());
    Ichan = 0;
    if (const int status = set_head(); status != 0) {
        return status;
    }
    count_classes(*list);
    return Nchan;
}

int trox_daq_getdata::SetRes(records* result)
{
    Res = result;
    return take_records(result);
}

int trox_daq_getdata::SetRes_2024(records_2024* result)
{
    Res2024 = result;
    return take_records(result);
}

template <class Record> void trox_daq_getdata::count_classes(const std::vector<Record*>& list)
{
    using header = std::conditional_t<std::is_same_v<Record, trox_channel_entry_long_2024>, trox_eventheader_2024,
                                      trox_eventheader>;
    for (const Record* record : list) {
        if (record == nullptr || record->sbchdata[0].evhd == 0) {
            continue;
        }
        const auto& head = *at<header>(record->sbchdata[0].evhd);
        switch (get_event_struct_type(head.event_type)) {
        case TROX_EV_STRUCT_GLOBAL:
            ++NSlow;
            break;
        case TROX_EV_STRUCT_LOCAL:
        case TROX_EV_STRUCT_ML:
            if (record->sbchdata[0].chhd != 0) {
                const bool is_legacy = std::is_same_v<header, trox_eventheader> && head.pattern == legacy_event_pattern;
                ++(is_image_type(dtype_at(record->sbchdata[0].chhd, is_legacy)) ? NImage : NFast);
            }
            break;
        default:
            std::fprintf(stderr, "Unknown event structure !!!! %d\n", head.event_type);
        }
    }
}

bool trox_daq_getdata::is_ready() const
{
    const bool has_records = data_2024 ? Res2024 != nullptr && !Res2024->empty() : Res != nullptr && !Res->empty();
    return Status == ready && has_records && Nchan > 0;
}

int trox_daq_getdata::tell_not_ready(const char* operation, int answer) const
{
    std::fprintf(stderr, "trox_daq_getdata::%s: Status= %d Res= %p Res2024= %p Nchan= %d\n", operation, Status,
                 static_cast<void*>(Res), static_cast<void*>(Res2024), Nchan);
    return answer;
}

// --- selecting ----------------------------------------------------------------------------------------

bool trox_daq_getdata::is_fast() const
{
    return ChanType == fast && PropType != image;
}

bool trox_daq_getdata::is_image() const
{
    return ChanType == fast && PropType == image;
}

bool trox_daq_getdata::is_slow() const
{
    return ChanType == slow;
}

int trox_daq_getdata::select(int n)
{
    if (n < 0 || n >= Nchan) {
        return 0;
    }
    Ichan = n;
    const int status = set_head();
    return status != 0 ? status : PropType;
}

/// The n-th record that matches, from record `first` on.
template <class Matches> int trox_daq_getdata::select_match(int first, int n, Matches matches)
{
    const trox_detail::selected_record before = *this;
    for (int i = first; i < Nchan; ++i) {
        if (const int kind = select(i); kind < 0) {
            return kind;
        }
        if (matches() && n-- == 0) {
            return PropType;
        }
    }
    // Not selected anew: that would tell of an unknown event structure again, and take the class from the walk.
    static_cast<trox_detail::selected_record&>(*this) = before;
    return 0;
}

int trox_daq_getdata::SetChan(int n)
{
    return is_ready() ? select(n) : tell_not_ready("SetChan", failed);
}

int trox_daq_getdata::SetNextChan()
{
    return is_ready() ? select(Ichan + 1) : tell_not_ready("SetNextChan", failed);
}

int trox_daq_getdata::SetFastNext()
{
    return is_ready() ? select_match(Ichan + 1, 0, [this] { return is_fast(); })
                      : tell_not_ready("SetFastNext", failed);
}

int trox_daq_getdata::SetImageNext()
{
    return is_ready() ? select_match(Ichan + 1, 0, [this] { return is_image(); })
                      : tell_not_ready("SetImageNext", failed);
}

int trox_daq_getdata::SetSlowNext()
{
    return is_ready() ? select_match(Ichan + 1, 0, [this] { return is_slow(); })
                      : tell_not_ready("SetSlowNext", failed);
}

int trox_daq_getdata::SetFast(int n)
{
    if (!is_ready()) {
        return tell_not_ready("SetFast", failed);
    }
    return n < 0 || n >= NFast ? 0 : select_match(0, n, [this] { return is_fast(); });
}

int trox_daq_getdata::SetImage(int n)
{
    if (!is_ready()) {
        return tell_not_ready("SetImage", failed);
    }
    return n < 0 || n >= NImage ? 0 : select_match(0, n, [this] { return is_image(); });
}

int trox_daq_getdata::SetSlow(int n)
{
    if (!is_ready()) {
        return tell_not_ready("SetSlow", failed);
    }
    return n < 0 || n >= NSlow ? 0 : select_match(0, n, [this] { return is_slow(); });
}

int trox_daq_getdata::SetProp(const char* name)
{
    constexpr int not_ready = -10;
    constexpr int not_found = -11;
    if (!is_ready()) {
        return tell_not_ready("SetProp", not_ready);
    }
    if (name == nullptr) {
        return not_found;
    }
    const std::string_view wanted(name);
    const auto matches = [&] {
        if (trox_upd_data_block_2010 update; ChanHeader_2010 != nullptr && load_update(update)) {
            return text_of(update.upd_prop) == wanted;
        }
        if (trox_upd_data_block update; ChanHeader != nullptr && load_update(update)) {
            return text_of(update.upd_prop) == wanted;
        }
        return (ChanHeader != nullptr ? text_of(ChanHeader->chname) : text_of(ChanHeader_2010->chname)) == wanted;
    };
    const int kind = select_match(0, 0, matches);
    return kind == 0 ? not_found : kind;
}

int trox_daq_getdata::GetMembNumb(const char* name) const
{
    const int members = get_channel_number(DataType, nullptr);
    for (int i = 0; name != nullptr && i < members; ++i) {
        const char* member = get_chan_name(DataType, i);
        if (member != nullptr && std::strcmp(member, name) == 0) {
            return i;
        }
    }
    return failed;
}

const char* trox_daq_getdata::GetMembName(int i) const
{
    return i >= 0 && i < get_channel_number(DataType, nullptr) ? get_chan_name(DataType, i) : nullptr;
}
