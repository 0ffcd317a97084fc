// Prints what every channel of one event holds:
//     trox_example_walk_event EVENT_NUMBER FILE CHANNEL...
#include <trox_daq_data.h>
#include <trox_daq_reader_2010.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

void print_spectrum(trox_daq_getdata& event)
{
    std::printf("  spectrum");
    for (int member = 0; member < event.GetNmemb(); ++member) {
        int length = 0;
        int groups = 1;
        if (event.GetSpectPar(nullptr, nullptr, nullptr, &length, member, &groups) == 0 && length > 0) {
            std::printf("  member %d: %d x %d samples from %g", member, groups, length,
                        static_cast<double>(event.GetSpectVal(member, 0)));
        }
    }
}

void print_single_values(trox_daq_getdata& event)
{
    float value = 0;
    if (event.GetSlowPrm(&value, nullptr, nullptr) == 0) {
        std::printf("  slow value %g", static_cast<double>(value));
    }
    int entries = 0;
    if (event.GetValNamPrm(nullptr, nullptr, nullptr, &entries, nullptr) == 0) {
        for (int i = 0; i < entries; ++i) {
            char* name = nullptr;
            event.GetValNamChan(&name, &value, i);
            std::printf("  %.80s %g", name, static_cast<double>(value));
        }
    }
}

void print_image(trox_daq_getdata& event)
{
    int nx = 0;
    int ny = 0;
    const int length = event.GetImageSize(nullptr, nullptr, &nx, nullptr, nullptr, &ny);
    std::printf("  image of %d x %d pixels, %d bytes", nx, ny, length);
}

void print_channel(trox_daq_getdata& event, int kind)
{
    std::printf("%s", event.GetPropName());
    switch (kind) {
    case 2:
        print_single_values(event);
        break;
    case 3:
        print_spectrum(event);
        break;
    case 4:
        print_image(event);
        break;
    default:
        std::printf("  value of the control system");
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s EVENT_NUMBER FILE CHANNEL...\n", argv[0]);
        return 2;
    }
    const std::vector<std::string> files{argv[2]};
    std::vector<daq_channel_entry> entries;
    for (int i = 3; i < argc; ++i) {
        entries.push_back({argv[i], {}});
    }
    std::vector<daq_channel_entry*> channels;
    for (auto& entry : entries) {
        channels.push_back(&entry);
    }
    trox_time_id wanted{static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10)), {}};
    trox_daq_reader_2010 reader;
    reader.set_skip_bad_records(true);
    if (reader.init(files, &channels) != TROX_DAQ_READER_OK || reader.set_start_point(&wanted) != TROX_DAQ_READER_OK ||
        reader.start() != TROX_DAQ_READER_OK) {
        std::fprintf(stderr, "%s\n", reader.get_last_error());
        return 1;
    }
    std::vector<trox_channel_entry_long*> records;
    if (reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT) != TROX_DAQ_READER_OK) {
        std::fprintf(stderr, "%s\n", reader.get_last_error());
        return 1;
    }
    trox_daq_getdata event(false);
    const int count = event.SetRes(&records);
    std::printf("event %u, %d channels\n", event.GetEventHead()->event_number, count);
    for (int kind = event.SetChan(0); kind > 0; kind = event.SetNextChan()) {
        print_channel(event, kind);
    }
}
