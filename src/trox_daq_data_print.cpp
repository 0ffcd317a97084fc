// The event record accessor: printing.
#include "trox_daq_data.h"

#include "event_util.h"
#include "generic/accessor.h"

using namespace trox_detail::accessor;

namespace
{

/// The name at the begin of an update, as the sub-head's generation has it.
template <class Update, class Subhead> std::string_view name_of(const Subhead& head, const void* update)
{
    if (update == nullptr) {
        return text_of(head.chname);
    }
    const auto* name = static_cast<const char*>(update);
    return {name, strnlen(name, sizeof Update::upd_prop)};
}

} // namespace

std::string_view trox_detail::accessor::name_of(const trox_daq_getdata& event)
{
    const void* update = event.GetSlowPrm(nullptr, nullptr, nullptr) == 0 ? event.GetData() : nullptr;
    if (const auto* head = event.GetChanHead(); head != nullptr) {
        return ::name_of<trox_upd_data_block>(*head, update);
    }
    return ::name_of<trox_upd_data_block_2010>(*event.GetChanHead_2010(), update);
}

void trox_daq_getdata::PrintEvent() const
{
    const auto print = [](const auto& header) {
        std::printf("event %lu time %u %u Nsvrb %d\n", static_cast<unsigned long>(header.event_number),
                    header.event_time.timeup, header.event_time.timelow, header.num_svr_block);
    };
    if (EventHeader_2024 != nullptr) {
        print(*EventHeader_2024);
    } else if (EventHeader != nullptr) {
        print(*EventHeader);
    }
}

namespace
{

template <class Subhead, class Block>
void print_heads(std::string_view name, const Subhead& head, const Block& block, int kind)
{
    std::printf(" channel %.*s dtype %d error %d proptype %d mpls %ld time %u-%u", static_cast<int>(name.size()),
                name.data(), head.dtype, head.error, kind, static_cast<long>(block.mpulse), block.time.timeup,
                block.time.timelow);
    std::printf(" tmask(hex) %x status(hex) %x\n", static_cast<unsigned>(block.tmask),
                static_cast<unsigned>(block.status));
    std::printf(" Ldata %d", head.ldata);
}

} // namespace

void trox_daq_getdata::PrintProp(int ich)
{
    if (!is_ready()) {
        std::fprintf(stderr, "trox_daq_getdata::PrintProp: wrong Status= %d\n", Status);
        return;
    }
    if (ich < 0 || ich >= Nchan) {
        std::fprintf(stderr, "trox_daq_getdata::PrintProp: wrong ich= %d Nchan= %d\n", ich, Nchan);
        return;
    }
    if (SetChan(ich) < 0) {
        return;
    }
    const std::string_view name = name_of(*this);
    if (ChanHeader != nullptr) {
        print_heads(name, *ChanHeader, *SrvbHeader, PropType);
    } else if (SrvbHeader_2024 != nullptr) {
        print_heads(name, *ChanHeader_2010, *SrvbHeader_2024, PropType);
    } else {
        print_heads(name, *ChanHeader_2010, *SrvbHeader_2010, PropType);
    }
    std::printf(" Nmemb= %d\n", Nmemb);
    for (int i = 0; i < Nmemb; ++i) {
        print_member(i);
    }
}

/// The selected channel's axes in pixels.
void trox_daq_getdata::print_axes() const
{
    int xstart = 0;
    int xinc = 0;
    int nx = 0;
    int ystart = 0;
    int yinc = 0;
    int ny = 0;
    const int length = GetImageSize(&xstart, &xinc, &nx, &ystart, &yinc, &ny);
    std::printf(" xstart %d xinc %d ystart %d yinc %d nx %d ny %d len %d", xstart, xinc, ystart, yinc, nx, ny, length);
}

void trox_daq_getdata::print_spectrum(int member) const
{
    float start = 0;
    float inc = 0;
    int length = 0;
    int groups = 1;
    float group_inc = 0;
    if (GetSpectPar(&start, &inc, nullptr, &length, member, &groups, &group_inc) == 0) {
        std::printf(" start %g inc %g ndata %d groups %d groups_inc %g", static_cast<double>(start),
                    static_cast<double>(inc), length, groups, static_cast<double>(group_inc));
    }
}

/// The entries of a name/value list, a line each; false without any.
bool trox_daq_getdata::print_entries(const char* member) const
{
    const trox_name_value_block* list = name_values();
    for (int i = 0; list != nullptr && i < list->ndata; ++i) {
        const std::string_view name = text_of(list->values[i].name);
        std::printf("%s %.*s value= %g\n", member, static_cast<int>(name.size()), name.data(),
                    static_cast<double>(list->values[i].value));
    }
    return list != nullptr && list->ndata > 0;
}

/// A member's name, and what it holds.
void trox_daq_getdata::print_member(int i) const
{
    const char* known_name = get_chan_name(DataType, i);
    const char* name = known_name != nullptr ? known_name : "";
    if (print_entries(name)) {
        return;
    }
    std::printf("%s", name);
    if (PropType == image) {
        print_axes();
    } else if (PropType == spectrum) {
        print_spectrum(i);
    } else if (PropType == control_system_value) {
        int length = 0;
        const char* text = GetString(i, &length);
        std::printf(" string: %s len= %d", text != nullptr ? text : "", length);
    } else {
        std::printf(" value= %g", static_cast<double>(GetSingle(i))); // 0 where there is none, which is told
    }
    std::printf("\n");
}
