// Prints the first sample of one channel in every event of some data files:
//     trox_example_read_events CHANNEL FILE...
#include <event_util.h>
#include <trox_daq_reader_2010.h>

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s CHANNEL FILE...\n", argv[0]);
        return 2;
    }
    const std::vector<std::string> files(argv + 2, argv + argc);
    daq_channel_entry channel{argv[1], {}};
    std::vector<daq_channel_entry*> channels{&channel};

    trox_daq_reader_2010 reader;
    reader.set_skip_bad_records(true);
    if (reader.init(files, &channels) != TROX_DAQ_READER_OK || reader.start() != TROX_DAQ_READER_OK) {
        std::fprintf(stderr, "%s\n", reader.get_last_error());
        return 1;
    }
    std::vector<trox_channel_entry_long*> event;
    while (reader.get_data(nullptr, &event, TROX_DAQ_READ_CHAN_EVENT_NEXT) == TROX_DAQ_READER_OK) {
        for (const trox_channel_entry_long* record : event) {
            const auto* block = reinterpret_cast<const trox_serv_block_subhead_2010*>(record->sbchdata[0].chhd);
            int length = 0; // stays 0 when the record is no trace, or has not got the samples that it announces
            get_spect_params_for_data_type_2010(block, nullptr, nullptr, nullptr, &length, nullptr, nullptr, nullptr,
                                                0);
            if (length > 0) {
                const float* samples = get_pointer_to_data_2010(block, 0);
                std::printf("%u  %.256s  %g\n", record->event_id.event_number, block->chname, samples[0]);
            }
        }
    }
}
