// Writes the first image of a channel as a portable graymap (binary, P5):
//     trox_example_image_to_graymap CHANNEL GRAYMAP FILE...
#include <trox_daq_data.h>
#include <trox_daq_reader_2010.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace
{

/// Pixels of one or two bytes are stored as they are, wider ones scaled to two.
bool write_graymap(const char* path, const float* pixels, int nx, int ny, int bpp)
{
    const std::size_t count = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny);
    const float limit = bpp == 1 ? 255.0F : 65535.0F;
    const float highest = *std::max_element(pixels, pixels + count);
    const float scale = highest > limit ? limit / highest : 1.0F;
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        const auto gray = static_cast<unsigned>(pixels[i] * scale);
        if (bpp != 1) {
            bytes += static_cast<char>(gray / 256);
        }
        bytes += static_cast<char>(gray % 256);
    }
    std::ofstream file(path, std::ios::binary);
    file << "P5\n" << nx << " " << ny << "\n" << static_cast<unsigned>(limit) << "\n" << bytes;
    return file.flush().good();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s CHANNEL GRAYMAP FILE...\n", argv[0]);
        return 2;
    }
    const std::vector<std::string> files(argv + 3, argv + argc);
    daq_channel_entry channel{argv[1], {}};
    std::vector<daq_channel_entry*> channels{&channel};
    trox_daq_reader_2010 reader;
    reader.set_skip_bad_records(true);
    if (reader.init(files, &channels) != TROX_DAQ_READER_OK || reader.start() != TROX_DAQ_READER_OK) {
        std::fprintf(stderr, "%s\n", reader.get_last_error());
        return 1;
    }
    std::vector<trox_channel_entry_long*> records;
    trox_daq_getdata event(false);
    while (reader.get_data(nullptr, &records, TROX_DAQ_READ_CHAN_EVENT_NEXT) == TROX_DAQ_READER_OK) {
        event.Clean(false);
        event.SetRes(&records);
        int bpp = 0;
        if (event.SetImage(0) <= 0 || event.GetImagePar(nullptr, nullptr, &bpp, nullptr) != 0) {
            continue;
        }
        // Pixels whose head does not fit them are not converted.
        if (const float* pixels = event.ConvertImage()) {
            std::printf("event %u: %d x %d pixels\n", event.GetEventHead()->event_number, event.GetImageNx(),
                        event.GetImageNy());
            return write_graymap(argv[2], pixels, event.GetImageNx(), event.GetImageNy(), bpp) ? 0 : 1;
        }
    }
    std::fprintf(stderr, "no image found\n");
    return 1;
}
