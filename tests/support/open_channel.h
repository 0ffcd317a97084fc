// A channel of a file, read to its end.
#ifndef TROX_TEST_OPEN_CHANNEL_H
#define TROX_TEST_OPEN_CHANNEL_H

#include "channel_waiting.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace trox_test
{

/// Loader and reader of one channel; `configure(reader)` runs before the start.
template <class T> struct open_channel {
    open_channel(const std::string& path, const char* name, int subchan = -1,
                 const std::vector<std::string>* list = nullptr)
        : open_channel(path, name, subchan, list, [](typename T::reader&) {})
    {
    }
    template <class Configure>
    open_channel(const std::string& path, const char* name, int subchan, const std::vector<std::string>* list,
                 Configure configure)
        : loaded(loader.get_all_tables(path, 0, list)), reader(&loader, name, subchan, nullptr)
    {
        configure(reader);
        if (loaded != 0 || !start_and_wait(reader)) {
            throw std::runtime_error("the channel cannot be read");
        }
    }

    typename T::loader loader{0};
    int loaded;
    typename T::reader reader;
};

} // namespace trox_test

#endif
