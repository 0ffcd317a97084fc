// The property front end: printing.
#include "trox_daq_data.h"

#include "detail/big_endian.h"
#include "generic/accessor.h"

#include <span>

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
            // The length counts what ends the name, which need not be a NUL.
            const bool has_name = property->prname != nullptr && property->prlen > 1;
            std::printf("%.*s len %d prlen %d nmemb %d dtype %d\n", has_name ? property->prlen - 1 : 0,
                        has_name ? property->prname : "", property->len, property->prlen, property->nmemb,
                        property->dtype);
        }
    }
}

namespace
{

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

constexpr int most_values = 8;

void print_samples(const trox_daq_getdata& event)
{
    float start = 0;
    float inc = 0;
    int length = 0;
    const float* values = event.GetSpect(0);
    if (event.GetData() != nullptr) {
        event.GetSpectPar(&start, &inc, nullptr, &length, 0);
    }
    std::printf(" start %g inc %g ndata %d arr", static_cast<double>(start), static_cast<double>(inc), length);
    for (int i = 0; values != nullptr && i < length && i < most_values; ++i) {
        std::printf(" %g", static_cast<double>(values[i]));
    }
}

/// What directly follows the sub-head, and how much of it there is.
std::span<const unsigned char> payload_of(const trox_daq_getdata& event)
{
    const auto behind = [&](const auto* head) {
        const bool has_payload = event.GetData() != nullptr && head->ldata > static_cast<int>(sizeof *head);
        return std::span<const unsigned char>(reinterpret_cast<const unsigned char*>(head + 1),
                                              has_payload ? static_cast<std::size_t>(head->ldata) - sizeof *head : 0);
    };
    return event.GetChanHead() != nullptr ? behind(event.GetChanHead()) : behind(event.GetChanHead_2010());
}

/// The elements of a control-system value, as far as their type is a known one and they are all there.
void print_elements(const trox_daq_getdata& event)
{
    std::span<const unsigned char> payload = payload_of(event);
    trox_eqdata_head head{};
    if (payload.size() >= sizeof head) {
        head = trox_detail::load_record<trox_eqdata_head>(payload.data());
        payload = payload.subspan(sizeof head);
    }
    const bool is_text = head.type == DATA_STRING;
    const bool is_real = head.type == DATA_FLOAT || head.type == DATA_A_FLOAT;
    const bool is_known = is_text || is_real || head.type == DATA_INT || head.type == DATA_A_INT;
    const std::size_t room = payload.size() / (is_text ? 1 : sizeof(float));
    const int count = is_known && head.length > 0 && static_cast<std::size_t>(head.length) <= room ? head.length : 0;
    std::printf(" start 0 inc 1 ndata %d arr", count);
    if (is_text && count > 0) {
        std::printf(" %.*s", count, reinterpret_cast<const char*>(payload.data()));
    }
    for (int i = 0; !is_text && i < count && i < most_values; ++i) {
        const unsigned char* element = payload.data() + static_cast<std::size_t>(i) * sizeof(float);
        if (is_real) {
            std::printf(" %g", static_cast<double>(trox_detail::load_record<float>(element)));
        } else {
            std::printf(" %d", trox_detail::load_record<std::int32_t>(element));
        }
    }
}

void print_single_value(const trox_daq_getdata& event)
{
    if (float value = 0; event.GetSlowPrm(&value, nullptr, nullptr) == 0) {
        std::printf(" start 0 inc 1 ndata 1 arr %g", static_cast<double>(value));
    } else {
        std::printf(" start 0 inc 1 ndata 0 arr");
    }
}

/// Lists and images have lines of their own, whatever their class.
bool has_line_of_its_own(const trox_daq_getdata& event)
{
    return event.GetImageHeader() != nullptr || event.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr) == 0;
}

void print_fast(const trox_daq_getdata& event)
{
    if (event.GetChanType() != fast || has_line_of_its_own(event)) {
        return;
    }
    print_name("fast", event);
    print_type(event);
    if (event.GetPropType() == spectrum) {
        print_samples(event);
    } else if (event.GetPropType() == control_system_value) {
        print_elements(event);
    } else {
        print_single_value(event);
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
    if (event.GetChanType() != slow || has_line_of_its_own(event)) {
        return;
    }
    print_name("slow", event);
    float value = 0;
    int status = 0;
    long seconds = 0;
    if (event.GetSlowPrm(&value, &status, &seconds) != 0) {
        print_type(event); // no update: neither value nor time
        std::printf("\n");
        return;
    }
    unsigned event_seconds = 0;
    if (const auto* header = event.GetEventHead_2024(); header != nullptr) {
        event_seconds = header->event_time.timeup;
    } else if (const auto* older = event.GetEventHead(); older != nullptr) {
        event_seconds = older->event_time.timeup;
    }
    // The pair of times is the update's and the event's.
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
