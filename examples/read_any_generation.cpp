// Prints the first sample, or the value, of channels in every event of data files of any generation:
//     trox_example_read_any_generation PATTERN FILE...
#include <trox/trox.h>

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv)
try {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s PATTERN FILE...\n", argv[0]);
        return 2;
    }
    const auto data = trox::data_set::open_files(std::vector<std::string>(argv + 2, argv + argc));
    trox::event_reader events(data, {{trox::pattern_from_text(argv[1])}});
    for (const trox::event& event : events) {
        std::printf("%llu  %s", static_cast<unsigned long long>(event.number()), trox::to_text(event.time()).c_str());
        for (const trox::record& record : event.records()) {
            if (const auto trace = record ? record.trace() : std::nullopt) {
                std::printf("  %g", static_cast<double>(trace->samples[0]));
            } else if (const auto value = record ? record.number() : std::nullopt) {
                std::printf("  %g", *value);
            } else {
                std::printf("  -");
            }
        }
        std::printf("\n");
    }
    return 0;
} catch (const trox::error& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
