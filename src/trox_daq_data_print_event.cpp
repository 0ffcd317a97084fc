// The property front end: printing.
#include "trox_daq_data.h"

#include "detail/big_endian.h"
#include "generic/accessor.h"

using namespace trox_detail::accessor;

void trox_daq_data::PrintFiles() const
{
    std::printf("trox_daq_data: Nfile= %d\n", Nfile);
    for (int i = 0; i < Nfile; ++i) {
        std::printf("%d = %s\n", i, (*Files)[static_cast<std::size_t>(i)].c_str());
    }
}

void trox_daq_data::PrintProp() const
{
    std::printf("trox_daq_data: Nprop= %d\n", Nprop);
    if (Lprop == nullptr) {
        return;
    }
    for (const trox_sprop* property : *Lprop) {
        if (property != nullptr) {
            const bool has_name = property->prname != nullptr && property->prlen > 0; // maybe without a closing NUL
            std::printf("%.*s len %d prlen %d nmemb %d dtype %d\n", has_name ? property->prlen : 0,
                        has_name ? property->prname : "", property->len, property->prlen, property->nmemb,
                        property->dtype);
        }
    }
}

namespace
{

/// A channel's name, which ends with its field if it has no NUL.
std::string_view name_of(const trox_daq_getdata& event)
{
    if (const auto* head = event.GetChanHead(); head != nullptr) {
        return text_of(head->chname);
    }
    return text_of(event.GetChanHead_2010()->chname);
}

void print_name(const char* label, const trox_daq_getdata& event)
{
    const std::string_view name = name_of(event);
    std::printf(" %s: %.*s", label, static_cast<int>(name.size()), name.data());
}

void print_type(const trox_daq_getdata& event)
{
    int dtype = 0;
    int error = 0;
    int length = 0;
    event.GetChanInfo(nullptr, &dtype, &error, &length);
    std::printf(" dtype %d error %d length %d", dtype, error, length);
}

void print_fast(const trox_daq_getdata& event)
{
    if (event.GetChanType() != fast || event.GetPropType() != spectrum) {
        return;
    }
    float start = 0;
    float inc = 0;
    int length = 0;
    const float* values = event.GetSpect(0);
    if (event.GetData() != nullptr) {
        event.GetSpectPar(&start, &inc, nullptr, &length, 0);
    }
    print_name("fast", event);
    print_type(event);
    std::printf(" start %g inc %g ndata %d arr", static_cast<double>(start), static_cast<double>(inc), length);
    constexpr int most_values = 8;
    for (int i = 0; values != nullptr && i < length && i < most_values; ++i) {
        std::printf(" %g", static_cast<double>(values[i]));
    }
    std::printf("\n");
}

void print_name_values(const trox_daq_getdata& event)
{
    int count = 0;
    trox_name_value_channel* entries = nullptr;
    if (event.GetValNamPrm(nullptr, nullptr, nullptr, &count, &entries) != 0) {
        return;
    }
    print_name("NameValue", event);
    print_type(event);
    std::printf(" start 0 inc 1 ndata %d arr", count);
    for (int i = 0; i < count; ++i) {
        const std::string_view name = text_of(entries[i].name);
        std::printf(" %.*s=%g", static_cast<int>(name.size()), name.data(), static_cast<double>(entries[i].value));
    }
    std::printf("\n");
}

void print_slow(const trox_daq_getdata& event)
{
    float value = 0;
    int status = 0;
    long seconds = 0;
    if (event.GetChanType() != slow || event.GetSlowPrm(&value, &status, &seconds) != 0) {
        return;
    }
    print_name("slow", event);
    unsigned event_seconds = 0;
    if (const auto* header = event.GetEventHead_2024(); header != nullptr) {
        event_seconds = header->event_time.timeup;
    } else if (const auto* older = event.GetEventHead(); older != nullptr) {
        event_seconds = older->event_time.timeup;
    }
    std::printf(" dtype %d stat %d time %ld - %u value %g\n", event.GetDataType(), status, seconds, event_seconds,
                static_cast<double>(value));
}

void print_basic_image(const trox_daq_getdata& event, int error)
{
    const auto head = trox_detail::load_record<trox_image_frame_head>(event.GetImageHeader());
    int nx = 0;
    int ny = 0;
    int bpp = 0;
    int length = 0;
    event.GetImageSize(nullptr, nullptr, &nx, nullptr, nullptr, &ny);
    event.GetImagePar(nullptr, nullptr, &bpp, &length);
    print_name("image", event);
    std::printf(" error %d length %d x %d y %d bpp %d ev_num %lu\n", error, length, nx, ny, bpp,
                static_cast<unsigned long>(head.event_nm));
}

void print_extended_image(const trox_daq_getdata& event, int error)
{
    const auto head = trox_detail::load_record<trox_image_ext_frame_head>(event.GetImageHeader());
    print_name("image_ext", event);
    std::printf(" error %d ev_num %u len %d", error, head.event, head.length);
    std::printf(" width %d height %d aoi_width %d aoi_height %d x_start %d y_start %d bpp %d ebitpp %d hbin %d vbin %d",
                head.width, head.height, head.aoi_width, head.aoi_height, head.x_start, head.y_start, head.bpp,
                head.ebitpp, head.hbin, head.vbin);
    std::printf(" source_format %d image_format %d frame %u scale_x %g scale_y %g image_rotation %g",
                head.source_format, head.image_format, head.frame, static_cast<double>(head.scale_x),
                static_cast<double>(head.scale_y), static_cast<double>(head.image_rotation));
    std::printf(" fspare2 %g fspare3 %g fspare4 %g image_flags %d ispare2 %d ispare3 %d ispare4 %d\n",
                static_cast<double>(head.fspare2), static_cast<double>(head.fspare3), static_cast<double>(head.fspare4),
                head.image_flags, head.ispare2, head.ispare3, head.ispare4);
}

void print_image(const trox_daq_getdata& event)
{
    if (event.GetImageHeader() == nullptr) {
        return;
    }
    int error = 0;
    event.GetChanInfo(nullptr, nullptr, &error, nullptr);
    if (event.GetDataType() == TROX_BLOCK_IMAGE_EXT) {
        print_extended_image(event, error);
    } else {
        print_basic_image(event, error);
    }
}

} // namespace

/// Calls `print` with an accessor on each record of the present event.
template <class Print> void trox_daq_data::for_each_channel(Print print) const
{
    const bool is_2024 = Res2024 != nullptr;
    trox_daq_getdata event(is_2024);
    const int channels = is_2024 ? event.SetRes_2024(Res2024.get()) : event.SetRes(Res.get());
    for (int i = 0; i < channels; ++i) {
        if (event.SetChan(i) > 0) {
            print(event);
        }
    }
}

void trox_daq_data::PrintHeader() const
{
    const bool is_2024 = Res2024 != nullptr;
    trox_daq_getdata event(is_2024);
    if ((is_2024 ? event.SetRes_2024(Res2024.get()) : event.SetRes(Res.get())) < 1) {
        return;
    }
    unsigned long number = 0;
    unsigned number_32 = 0;
    int type = 0;
    unsigned length = 0;
    unsigned seconds = 0;
    unsigned microseconds = 0;
    int status = 0;
    int servers = 0;
    const int failure =
        is_2024 ? event.GetEventInfo_2024(&number, &type, &length, &seconds, &microseconds, &status, &servers)
                : event.GetEventInfo(&number_32, &type, &length, &seconds, &microseconds, &status, &servers);
    if (failure != 0) {
        return;
    }
    std::printf("trox_daq_data::%s: nprop= %d event %lu type %d status %d Nsvrb %d len %u time %u - %u\n",
                is_2024 ? "PrintHeader2024" : "PrintHeader", Nprop, is_2024 ? number : number_32, type, status, servers,
                length, seconds, microseconds);
}

void trox_daq_data::PrintFast() const
{
    for_each_channel(print_fast);
}

void trox_daq_data::PrintNameVal() const
{
    for_each_channel(print_name_values);
}

void trox_daq_data::PrintSlow() const
{
    for_each_channel(print_slow);
}

void trox_daq_data::PrintImage() const
{
    for_each_channel(print_image);
}

void trox_daq_data::PrintAll() const
{
    PrintHeader();
    PrintFast();
    PrintNameVal();
    PrintSlow();
    PrintImage();
}
