// The event record accessor: printing.
#include "trox_daq_data.h"

#include "event_util.h"
#include "generic/accessor.h"

using namespace trox_detail::accessor;

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

template <class Subhead, class Block> void print_heads(const Subhead& head, const Block& block, int kind)
{
    const std::string_view name = text_of(head.chname);
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
    if (ChanHeader != nullptr) {
        print_heads(*ChanHeader, *SrvbHeader, PropType);
    } else if (SrvbHeader_2024 != nullptr) {
        print_heads(*ChanHeader_2010, *SrvbHeader_2024, PropType);
    } else {
        print_heads(*ChanHeader_2010, *SrvbHeader_2010, PropType);
    }
    std::printf(" Nmemb= %d\n", Nmemb);
    print_members();
}

/// What each member holds, or the entries of a list, or the image's axes.
void trox_daq_getdata::print_members()
{
    if (PropType == image) {
        int xstart = 0;
        int xinc = 0;
        int nx = 0;
        int ystart = 0;
        int yinc = 0;
        int ny = 0;
        const int length = GetImageSize(&xstart, &xinc, &nx, &ystart, &yinc, &ny);
        std::printf(" xstart %d xinc %d ystart %d yinc %d nx %d ny %d len %d\n", xstart, xinc, ystart, yinc, nx, ny,
                    length);
        return;
    }
    if (const trox_name_value_block* list = name_values(); list != nullptr) {
        for (int i = 0; i < list->ndata; ++i) {
            const std::string_view name = text_of(list->values[i].name);
            std::printf("%.*s value= %g\n", static_cast<int>(name.size()), name.data(),
                        static_cast<double>(list->values[i].value));
        }
        return;
    }
    for (int i = 0; i < Nmemb; ++i) {
        const char* name = get_chan_name(DataType, i);
        std::printf("%s", name != nullptr ? name : "");
        if (PropType == spectrum) {
            float start = 0;
            float inc = 0;
            int length = 0;
            int groups = 1;
            float group_inc = 0;
            if (GetSpectPar(&start, &inc, nullptr, &length, i, &groups, &group_inc) == 0) {
                std::printf(" start %g inc %g ndata %d groups %d groups_inc %g", static_cast<double>(start),
                            static_cast<double>(inc), length, groups, static_cast<double>(group_inc));
            }
        } else if (PropType == control_system_value) {
            int length = 0;
            const char* text = GetString(i, &length);
            std::printf(" string: %s len= %d", text != nullptr ? text : "", length);
        } else if (float value = 0; GetSlowPrm(&value, nullptr, nullptr) == 0) {
            std::printf(" value= %g", static_cast<double>(value));
        }
        std::printf("\n");
    }
}
