// Lists the channels of data files, of whatever generation:
//     trox_example_list_channels FILE...
#include <trox_daq_data.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE...\n", argv[0]);
        return 2;
    }
    for (int i = 1; i < argc; ++i) {
        trox_daq_browser browser;
        if (browser.Init(argv[i]) != 0) {
            return 1;
        }
        std::printf("%s\n", browser.GetFileName());
        browser.PrintChan();
    }
}
