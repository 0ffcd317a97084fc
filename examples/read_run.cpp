// Prints the records per event of some channels of a run, which the run catalogue knows:
//     trox_example_read_run CATALOGUE_DIRECTORY DATA_DIRECTORY EXPERIMENT STREAM RUN CHANNEL...
#include <trox_daq_reader_2010.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    if (argc < 7) {
        std::fprintf(stderr, "usage: %s CATALOGUE_DIRECTORY DATA_DIRECTORY EXPERIMENT STREAM RUN CHANNEL...\n",
                     argv[0]);
        return 2;
    }
    std::vector<daq_channel_entry> entries;
    for (int i = 6; i < argc; ++i) {
        entries.push_back({argv[i], {}});
    }
    std::vector<daq_channel_entry*> channels;
    for (auto& entry : entries) {
        channels.push_back(&entry);
    }

    trox_daq_request request;
    request.cdir = argv[1];
    request.ddir = argv[2];
    std::snprintf(request.exp_name, sizeof request.exp_name, "%s", argv[3]);
    std::snprintf(request.stream_name, sizeof request.stream_name, "%s", argv[4]);
    request.run_first = std::atoi(argv[5]);
    // The reader has no defaults for these: with a period of zero it would deliver the first event for ever.
    request.period = {1, {0, 100000}}; // every event, ten a second
    request.time_diff = {0, 50000};    // 0.05 s, for matching by time

    trox_daq_reader_2010 reader;
    reader.set_skip_bad_records(true);
    if (reader.init(&request, &channels) != TROX_DAQ_READER_OK || reader.start() != TROX_DAQ_READER_OK) {
        std::fprintf(stderr, "%s\n", reader.get_last_error());
        return 1;
    }
    std::vector<trox_channel_entry_long*> event;
    while (reader.get_data(nullptr, &event, TROX_DAQ_READ_CHAN_EVENT_NEXT) == TROX_DAQ_READER_OK) {
        std::printf("%u  %zu of %d channels\n", event.front()->event_id.event_number, event.size(),
                    reader.get_number_of_channels());
    }
}
