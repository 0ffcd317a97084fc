// Prints a trace's highest sample beside a slow value, event by event, from a list of data files:
//     trox_example_read_properties LIST_FILE TRACE SLOW
#include <trox_daq_data.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s LIST_FILE TRACE SLOW\n", argv[0]);
        return 2;
    }
    const std::string trace = argv[2];
    const std::string slow = argv[3];

    // Of a property its name counts, with the length that includes the closing NUL.
    trox_sprop trace_property{};
    trace_property.prname = trace.c_str();
    trace_property.prlen = static_cast<int>(trace.size()) + 1;
    trox_sprop slow_property{};
    slow_property.prname = slow.c_str();
    slow_property.prlen = static_cast<int>(slow.size()) + 1;
    std::vector<trox_sprop*> properties{&trace_property, &slow_property};

    trox_time_id period{1, {0, 100000}}; // every event, ten a second
    trox_time_id open{};                 // no start, no stop: all events
    trox_daq_data data;
    if (data.Init(argv[1], &properties, 0, &period, &open, &open) != 0) {
        return 1; // the reason is on standard error
    }
    trox_daq_getdata event(false);
    while (data.GetData() == 0) {
        event.Clean(false);
        event.SetRes(data.GetRes());
        unsigned number = 0;
        event.GetEventInfo(&number, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        std::printf("%u", number);
        float* samples = nullptr;
        if (event.GetDataPtrs(trace.c_str(), nullptr, &samples, 0) == 0 && samples != nullptr) {
            float start = 0;
            float inc = 0;
            int length = 0;
            event.GetSpectPar(&start, &inc, nullptr, &length, 0);
            if (length > 0) {
                const auto highest = std::max_element(samples, samples + length) - samples;
                std::printf("  peak %g at %g", samples[highest], start + inc * static_cast<float>(highest));
            }
        }
        float value = 0;
        if (event.GetDataPtrs(slow.c_str(), &value, nullptr, 0) == 0) {
            std::printf("  %s %g", slow.c_str(), value);
        }
        std::printf("\n");
    }
}
