// The front end: looking into single files, and building time stamps.
#ifndef TROX_DAQ_DATA_H
#define TROX_DAQ_DATA_H

#include <memory>
#include <string>

class trox_daq_reader;
class trox_daq_reader_2010;
class trox_daq_reader_2024;

#pragma GCC visibility push(default)

/// Lists the channels of one data file of any generation, by trying the readers of the three in turn.
///
///     trox_daq_browser browser;
///     if (browser.Init("/daq_data/linac/linac_main_run1042_file1_20120614T093000.raw") == 0) {
///         browser.PrintChan();
///     }
///
/// A file is found as the readers' `add_file` finds it. Failures are told on standard error. One thread at a time.
class trox_daq_browser
{
public:
    trox_daq_browser();
    /// Cleans.
    ~trox_daq_browser();
    trox_daq_browser(const trox_daq_browser&) = delete;
    trox_daq_browser& operator=(const trox_daq_browser&) = delete;

    /// Forgets the file and ends the readers.
    void Clean();
    /// Takes a file's name and makes a reader of each generation; the file is not looked at yet. 0, -1 null, -2 a name
    /// of less than two characters.
    int Init(const char* file);
    /// Number of channels in the file's dictionary. Readers of another generation than the file's end here: what
    /// follows asks those that are left. -1 before `Init`, -2 when no reader can read the file.
    int GetNchan();
    /// Name of channel `i`, counted from 0, with the number of its events and the masks of its event and block types;
    /// each pointer may be null. Null before `Init` or `GetNchan`, behind the last channel, and for one without events.
    /// Valid until the next call of another operation.
    const char* GetChanName(int i, int* count, int* ev_mask, int* dtype_mask);
    /// The file's channel dictionary, on standard output, as each reader that is left prints it.
    void ListChan();
    /// A line per channel with events, on standard output: running number and index, events, event type and mask, block
    /// type and mask, name. A type is 0 where the mask has not exactly one bit, or one above 29.
    void PrintChan();

    /// 1 after `Init`, else 0.
    int GetStatus() const;
    /// Valid until `Init` or `Clean`.
    const char* GetFileName() const;
    /// The readers; null where there is none. The browser's own.
    trox_daq_reader* GetReader() const;
    trox_daq_reader_2010* GetReader_2010() const;
    trox_daq_reader_2024* GetReader_2024() const;

private:
    bool is_ready(const char* operation) const;

    int Status = 0;
    std::string FileName;
    std::unique_ptr<trox_daq_reader> Reader;
    std::unique_ptr<trox_daq_reader_2010> Reader2010;
    std::unique_ptr<trox_daq_reader_2024> Reader2024;
};

/// Seconds since the epoch of a local date and time; months and days count from 1, and the system decides about
/// daylight saving. Prints the result on standard output. -1 where the system knows no such time.
long trox_daq_time(int year, int month, int day, int hour, int minute, int second);

/// Asks the run catalogue for the data files of an experiment between two times, seconds since the epoch, and prints
/// the request and the answer's status on standard output. `dir` (may be null) is only printed. Always 0. A null `exp`
/// throws std::logic_error.
int GetFileList(char* dir, char* exp, long start, long end);

#pragma GCC visibility pop

#endif
