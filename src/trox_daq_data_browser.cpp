#include "trox_daq_data.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"
#include "trox_xml.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <vector>

namespace
{

constexpr int ready = 1;

/// The number of the only bit of a mask, of those that stand for types; 0 for any other mask.
int type_of(int mask)
{
    constexpr int types = 30;
    for (int bit = 0; bit < types; ++bit) {
        if (static_cast<unsigned>(mask) == 1U << bit) {
            return bit;
        }
    }
    return 0;
}

/// True, and the number of channels, when a reader can read the file; else the reader ends.
template <class Reader> bool count_channels(std::unique_ptr<Reader>& reader, const std::string& file, int& count)
{
    if (reader == nullptr) {
        return false;
    }
    if (reader->get_number_of_channels(file.c_str(), &count, 0) == 0) {
        return true;
    }
    reader.reset();
    return false;
}

/// Name of a channel with events; null when the reader has none at this place.
template <class Reader>
const char* name_of(const std::unique_ptr<Reader>& reader, int i, int& count, int* ev_mask, int* dtype_mask)
{
    const char* name = reader == nullptr ? nullptr : reader->get_channel_name(i, &count, ev_mask, dtype_mask);
    return name != nullptr && count > 0 ? name : nullptr;
}

} // namespace

trox_daq_browser::trox_daq_browser() = default;

trox_daq_browser::~trox_daq_browser()
{
    Clean();
}

void trox_daq_browser::Clean()
{
    FileName.clear();
    Reader.reset();
    Reader2010.reset();
    Reader2024.reset();
    Status = 0;
}

int trox_daq_browser::Init(const char* file)
{
    constexpr std::size_t shortest = 2;
    if (file == nullptr) {
        std::fputs("trox_daq_browser::Init: no input filename\n", stderr);
        return -1;
    }
    const std::size_t length = std::strlen(file);
    if (length < shortest) {
        std::fprintf(stderr, "trox_daq_browser::Init: wrong filename len= %zu\n", length);
        return -2;
    }
    FileName = file;
    Reader = std::make_unique<trox_daq_reader>();
    Reader2010 = std::make_unique<trox_daq_reader_2010>();
    Reader2024 = std::make_unique<trox_daq_reader_2024>();
    Status = ready;
    return 0;
}

bool trox_daq_browser::is_ready(const char* operation) const
{
    if (Status != ready) {
        std::fprintf(stderr, "trox_daq_browser::%s: wrong Status %d\n", operation, Status);
    }
    return Status == ready;
}

int trox_daq_browser::GetNchan()
{
    if (!is_ready("GetNchan")) {
        return -1;
    }
    int count = 0;
    const bool is_known = count_channels(Reader, FileName, count) || count_channels(Reader2010, FileName, count) ||
                          count_channels(Reader2024, FileName, count);
    return is_known ? count : -2;
}

const char* trox_daq_browser::GetChanName(int i, int* count, int* ev_mask, int* dtype_mask)
{
    if (!is_ready("GetNchan")) { // under the name that callers look for
        return nullptr;
    }
    int events = 0;
    const char* name = name_of(Reader, i, events, ev_mask, dtype_mask);
    name = name != nullptr ? name : name_of(Reader2010, i, events, ev_mask, dtype_mask);
    name = name != nullptr ? name : name_of(Reader2024, i, events, ev_mask, dtype_mask);
    if (count != nullptr) {
        *count = events;
    }
    return name;
}

void trox_daq_browser::ListChan()
{
    if (!is_ready("ListChan")) {
        return;
    }
    const auto list = [this](const auto& reader) {
        if (reader != nullptr) {
            reader->print_all_channels(FileName.c_str());
        }
    };
    list(Reader);
    list(Reader2010);
    list(Reader2024);
}

void trox_daq_browser::PrintChan()
{
    if (!is_ready("PrintChan")) {
        return;
    }
    const int channels = GetNchan();
    int printed = 0;
    for (int i = 0; i < channels; ++i) {
        int count = 0;
        int ev_mask = 0;
        int dtype_mask = 0;
        const char* name = GetChanName(i, &count, &ev_mask, &dtype_mask);
        if (name == nullptr || count < 1) {
            continue;
        }
        // The "d" behind the first mask is part of the line: programs take it apart.
        std::printf("%d-%d %d  evtype: %d mask: %xd dtype: %d mask:%x %s\n", printed, i, count, type_of(ev_mask),
                    static_cast<unsigned>(ev_mask), type_of(dtype_mask), static_cast<unsigned>(dtype_mask), name);
        ++printed;
    }
    std::printf("collected %d- channels\n", printed);
}

int trox_daq_browser::GetStatus() const
{
    return Status;
}

const char* trox_daq_browser::GetFileName() const
{
    return FileName.c_str();
}

trox_daq_reader* trox_daq_browser::GetReader() const
{
    return Reader.get();
}

trox_daq_reader_2010* trox_daq_browser::GetReader_2010() const
{
    return Reader2010.get();
}

trox_daq_reader_2024* trox_daq_browser::GetReader_2024() const
{
    return Reader2024.get();
}

long trox_daq_time(int year, int month, int day, int hour, int minute, int second)
{
    constexpr int first_year = 1900;
    constexpr int lowest = std::numeric_limits<int>::min();
    std::tm calendar{};
    calendar.tm_year = std::max(year, lowest + first_year) - first_year;
    calendar.tm_mon = std::max(month, lowest + 1) - 1;
    calendar.tm_mday = day;
    calendar.tm_hour = hour;
    calendar.tm_min = minute;
    calendar.tm_sec = second;
    calendar.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&calendar);
    constexpr std::size_t calendar_size = 32; // ctime_r writes 26 characters, or answers null
    char text[calendar_size]{};
    std::printf("trox_daq_time: %s\n", ::ctime_r(&seconds, text) != nullptr ? text : "\n");
    return seconds;
}

int GetFileList(char* dir, char* exp, long start, long end)
{
    std::string experiment(exp); // of null throws
    std::printf("GetFileList: dir %s exp %s start %ld end %ld\n", dir != nullptr ? dir : "", exp, start, end);
    std::printf("TROX_DAQ_DATA_RAW_FORMAT= %d\n", TROX_DAQ_DATA_RAW_FORMAT);
    std::vector<trox_root_xml_files*> lists;
    std::string xml_name;
    const int status =
        get_files_for_period(start, end, &lists, &xml_name, &experiment, "/daq/trox/adm", TROX_DAQ_DATA_RAW_FORMAT);
    std::printf("ret= %d\n", status);
    for (const trox_root_xml_files* list : lists) {
        delete list;
    }
    return 0;
}
