// The front end: reading properties with little code, the typed values of an event's records, looking into single
// files, and building time stamps.
//
// Layer: above the readers. Operations answer small negative codes for failures and tell them on standard error, in a
// line that begins with the operation's name.
#ifndef TROX_DAQ_DATA_H
#define TROX_DAQ_DATA_H

#include "event.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class trox_daq_reader;
class trox_daq_reader_2010;
class trox_daq_reader_2024;

#pragma GCC visibility push(default)

namespace trox_detail
{

/// What an accessor knows of the record that it has selected; nothing is owned.
struct selected_record {
    int Ichan = 0;
    bool data_2010 = false;
    int Nmemb = 0;
    int DataType = 0;
    int PropType = 0;
    int ChanType = 0;
    char* PropName = nullptr;
    trox_eventheader* EventHeader = nullptr;
    trox_eventheader_2024* EventHeader_2024 = nullptr;
    trox_serv_block_head* SrvbHeader = nullptr;
    trox_serv_block_subhead* ChanHeader = nullptr;
    trox_serv_block_head_2010* SrvbHeader_2010 = nullptr;
    trox_serv_block_subhead_2010* ChanHeader_2010 = nullptr;
    trox_serv_block_head_2024* SrvbHeader_2024 = nullptr;
    void* Data = nullptr;
    unsigned char* payload = nullptr; ///< where it begins; Data may be its first value
    std::size_t payload_size = 0;
};

} // namespace trox_detail

/// A cursor over the records of one event, as a reader hands them out: selects one channel after the other, tells what
/// kind of data it has, and gives its values.
///
///     trox_daq_getdata event(false);
///     for (int kind = event.SetRes(&records) > 0 ? event.SetChan(0) : 0; kind > 0; kind = event.SetNextChan()) {
///         if (kind == 3) {
///             const float* samples = event.GetSpect(0);
///         }
///     }
///
/// Kinds of values (`GetPropType`): 2 single values and name/value lists, 3 spectra and traces, 4 images, 5 values of
/// the control system. Classes of channels (`GetChanType`): 1 fast, 2 slow (updates, environment, begin and end of
/// run).
///
/// Everything handed out lies in the records, which are borrowed: they must outlive the use of the accessor, and end
/// with the reader's next event. Only the float image is the accessor's own. A payload that is shorter than its head
/// announces counts as missing. One thread at a time. An index of the current record outside the records throws
/// std::out_of_range; nothing else throws but lack of memory.
class trox_daq_getdata : private trox_detail::selected_record
{
public:
    using records = std::vector<trox_channel_entry_long*>;
    using records_2024 = std::vector<trox_channel_entry_long_2024*>;

    /// For records of the 2024 generation, or of the two others, which are told apart by their event headers.
    explicit trox_daq_getdata(bool data_2024);
    ~trox_daq_getdata();
    trox_daq_getdata(const trox_daq_getdata&) = delete;
    trox_daq_getdata& operator=(const trox_daq_getdata&) = delete;

    /// Back to the state of a new accessor.
    void Clean(bool data_2024);
    void set_data_2024(bool on);
    bool is_data_2024() const;

    // --- records and channels ---------------------------------------------------------------------
    //
    // Operations that select a channel answer its kind of value, 0 when there is no such channel (the selected one
    // stays, with all that is known of it), and -1 without records.

    /// Takes the records of an event and selects the first. Their number; -11 no records, -12 null, else as for a
    /// record without heads (-1) or with an unset number of pointer sets (-4). After -11 and -12 nothing can be
    /// selected, and what was selected before is still told, as long as its records live. Adds to the counts of
    /// classes, which only `Clean` sets back; a fast record without sub-head counts for none.
    int SetRes(records* result);
    int SetRes_2024(records_2024* result);
    int SetChan(int n);
    int SetNextChan();
    /// The next channel of a class: fast without images, images, slow.
    int SetFastNext();
    int SetImageNext();
    int SetSlowNext();
    /// The n-th channel of a class, counted from 0.
    int SetFast(int n);
    int SetImage(int n);
    int SetSlow(int n);
    /// The first channel of this name; of update records the name in the payload counts, which is not cut. -11 not
    /// found, -10 without records.
    int SetProp(const char* name);
    /// Index of a member of the channel's block type by name, -1 without it; the name of a member, null without it.
    int GetMembNumb(const char* name) const;
    const char* GetMembName(int i) const;

    records* GetRes() const;
    records_2024* GetRes_2024() const;
    int GetNchan() const;    ///< records
    int GetChanNumb() const; ///< index of the selected one
    int Get_NFast() const;
    int Get_NSlow() const;
    int Get_NImage() const;
    const char* GetPropName() const; ///< ends with its field, if it has no NUL
    int GetPropType() const;
    int GetChanType() const;
    int GetDataType() const;
    int GetNmemb() const;
    // Heads of the selected record; null where its generation has another type.
    trox_eventheader* GetEventHead() const;
    trox_eventheader_2024* GetEventHead_2024() const;
    trox_serv_block_head* GetServBlockHead() const;
    trox_serv_block_head_2010* GetServBlockHead_2010() const;
    trox_serv_block_head_2024* GetServBlockHead_2024() const;
    trox_serv_block_subhead* GetChanHead() const;
    trox_serv_block_subhead_2010* GetChanHead_2010() const; ///< of 2010 and 2024 records
    void* GetData() const;                                  ///< the payload, or its first value; null without one

    // --- heads: each argument may be null; 0, or -1 ----------------------------------------------

    /// Of the header that stands for the whole event: of the highest number, a machine event's before those of updates.
    int GetEventInfo(unsigned* number, int* type, unsigned* length, unsigned* seconds, unsigned* microseconds,
                     int* status, int* nservers);
    int GetEventInfo_2024(unsigned long* number, int* type, unsigned* length, unsigned* seconds, unsigned* microseconds,
                          int* status, int* nservers);
    int GetServBlockInfo(unsigned* seconds, unsigned* microseconds, int* ltotal, int* mpulse, int* tmask, int* status,
                         int* nchan) const;
    int GetServBlockInfo_2024(unsigned* seconds, unsigned* microseconds, int* ltotal, unsigned long* mpulse, int* tmask,
                              int* status, int* nchan) const;
    /// Of the sub-head. The name fills its field where it has no NUL: 32 characters in legacy records, else 256.
    int GetChanInfo(char** name, int* dtype, int* error, int* ldata) const;

    // --- values -----------------------------------------------------------------------------------

    /// The payload as text, and its length; null for one without a NUL, and always for 2010 and 2024 records: programs
    /// tell the generations apart by it. The first argument is not used.
    char* GetString(int member, int* length) const;
    /// Value, status and second of an update. 0; 1 for any other channel.
    int GetSlowPrm(float* value, int* status, long* seconds) const;
    /// A name/value list. 0; 1 for any other channel.
    int GetValNamPrm(trox_name_value_block** block, int* id, char** comment, int* ndata,
                     trox_name_value_channel** entries) const;
    /// Entry `i` of a name/value list; the name ends with its field, if it has no NUL. 0, or 1. -1 is no failure: what
    /// stands in front of the first entry, comment and count, is taken for one. Farther in front nothing is.
    int GetValNamChan(char** name, float* value, int i) const;
    /// Value of an update, or of entry `i` of a name/value list; 0.0 without it. In front of a list's first entry the
    /// words of its head are taken for the values of -1 and -2.
    float GetSingle(int i) const;
    /// Samples of a member of a spectrum: all groups, one behind the other. Null without them, but not for a spectrum
    /// of 0 samples: `GetSpectPar` gives their number.
    float* GetSpect(int member) const;
    /// Axis of a member of a spectrum: first value, step, samples (of a group), number of groups and the step between
    /// them, statistics (null without); `extra` becomes the address of the spectrum's head. 0, -1 for another block
    /// type, -2 without payload.
    int GetSpectPar(float* start, float* inc, void** extra, int* length, int member, int* groups = nullptr,
                    float* group_inc = nullptr, trox_spect_statistics_2010** stat = nullptr) const;
    /// One sample, counted through all groups; 0.0 behind the last.
    float GetSpectVal(int member, int index) const;
    /// Axis of a region of interest, and the address of the region's head (trox_roi_head). As `GetSpectPar`.
    int GetRoiPar(void** roi, float* start, float* inc, void** extra, int* length, int member) const;
    /// The value of a property in one call; `name` null means the selected channel, else the channel is selected.
    /// Spectra give `data`, the samples of member `i`, null without them; single values give `value`, of a name/value
    /// list that of entry `i`, also of one behind or in front of the list where the payload reaches so far, else 0.0.
    /// 0, -1 without records, -2 when the channel selected before has no payload (also with a `name`), 2 a payload that
    /// cannot be read, 3 no such channel or no value, 4 another kind. For update records of the 2024 generation use
    /// `GetSlowPrm`: the value is looked for here where the legacy generation has it.
    int GetDataPtrs(const char* name, float* value, float** data, int i);
    /// Description code of a spectrum; -1 for legacy records, -2 without payload.
    int GetDescr() const;

    // --- images -----------------------------------------------------------------------------------
    //
    // Without payload the answer is that (-2 or null), whatever the channel's type; so it is for spectra.

    /// The first pixel; null for other channels, and when the pixels are not all there.
    void* GetImage() const;
    /// The image's head, at any address: copy it. A trox_image_frame_head (block type 13) or trox_image_ext_frame_head
    /// (27); null for other channels.
    void* GetImageHeader() const;
    /// Frame number, compression, bytes per pixel and bytes of pixels. 0, -1 for other channels, -2 without payload.
    int GetImagePar(int* frame, int* compr, int* bpp, int* length) const;
    /// Axes in pixels. Bytes of pixels, or as above.
    int GetImageSize(int* xstart, int* xinc, int* nx, int* ystart, int* yinc, int* ny) const;
    /// The pixels as floats, row by row, the largest float for what is larger; null when they are not width * height *
    /// bytes per pixel. Owned by the accessor until the next conversion, `Clean` or its end.
    float* ConvertImage();
    float* GetImageFloat() const;
    /// A pixel of the converted image; 0.0 outside.
    float GetImageVal(int ix, int iy) const;
    // Axes of the converted image.
    float GetImageXstart() const;
    float GetImageXinc() const;
    int GetImageNx() const;
    float GetImageYstart() const;
    float GetImageYinc() const;
    int GetImageNy() const;

    // --- printing, on standard output -------------------------------------------------------------

    void PrintEvent() const;
    /// Selects a channel and prints its heads and what its members hold.
    void PrintProp(int ich);

private:
    trox_daq_getdata& operator=(trox_daq_getdata&&) = default;
    bool is_ready() const;
    int tell_not_ready(const char* operation, int answer) const;
    template <class Record> int select_record(Record* record, const char* ent, const char* header);
    template <class Record> void count_classes(const std::vector<Record*>& list);
    template <class Record> int take_records(std::vector<Record*>* list);
    int set_head();
    template <class BlockHead, class Subhead>
    int set_heads(const trox_event_chan_ptr_long_entry& blocks, BlockHead*& block, Subhead*& head, const char* no_block,
                  int event_type);
    template <class Subhead> void set_kind(Subhead& head, int event_type);
    int select(int n);
    template <class Matches> int select_match(int first, int n, Matches matches);
    bool is_fast() const;
    bool is_image() const;
    bool is_slow() const;
    template <class Header>
    int select_representative(Header* trox_detail::selected_record::*header, const char* operation,
                              Header& representative);
    bool is_update() const;
    template <class Update> bool load_update(Update& update) const;
    unsigned char* behind_head() const;
    trox_name_value_block* name_values() const;
    bool is_in_payload(std::int64_t position, std::size_t size) const;
    int tell_no_list(const char* operation) const;
    const char* missing_head() const;
    void print_member(int i) const;
    bool print_entries(const char* member) const;
    void print_spectrum(int member) const;
    void print_axes() const;

    int Status = 0;
    records* Res = nullptr;
    records_2024* Res2024 = nullptr;
    bool data_2024;
    int Nchan = 0;
    int NFast = 0;
    int NSlow = 0;
    int NImage = 0;
    int Nptr = 1;
    float ImageXstart = 0;
    float ImageXinc = 0;
    int ImageNx = 0;
    float ImageYstart = 0;
    float ImageYinc = 0;
    int ImageNy = 0;
    std::unique_ptr<float[]> ImageFloat;
};

/// The shortest way to data: names a text file that lists data files, the properties (channels) that are wanted, and a
/// range; gives the records of event after event.
///
///     trox_daq_data data;
///     if (data.Init("files.txt", &properties, 0, &period, &start, &stop) == 0) {
///         trox_daq_getdata event(false);
///         while (data.GetData() == 0) {
///             event.Clean(false);
///             event.SetRes(data.GetRes());
///             ...
///         }
///     }
///
/// `Init` reads files of the legacy or the 2010 generation, `Init2024` those of the 2024 generation. Files and channels
/// are as the readers take them.
///
/// The list file: one data file a line, the first word of it. Lines of less than five characters (their end included),
/// blank lines, and lines that begin with "#", "%" or "*" are passed over; a line counts up to 255 characters, what
/// follows is a line of its own.
///
/// Everything handed out is the front end's own, until `Clean`, which a new Init begins with; records until the next
/// `GetData`. One thread at a time.
class trox_daq_data
{
public:
    trox_daq_data();
    /// Cleans.
    ~trox_daq_data();
    trox_daq_data(const trox_daq_data&) = delete;
    trox_daq_data& operator=(const trox_daq_data&) = delete;

    /// Reads legacy and 2010 files. Of each property counts `prname`, without the last of its `prlen` characters; those
    /// with a `prlen` of 2 or less are passed over. The list of properties is borrowed until `Clean`; the readers copy
    /// the range. 0; -1 null list file, or no properties; -2 the list file cannot be read; -3 it names no files; -4 no
    /// property counts; -5 nothing can be started; -6, -7, -8 period, start or stop refused (null); -9 a file, -10 a
    /// channel cannot be added.
    int Init(const char* list_file, std::vector<trox_sprop*>* props, int debug, trox_time_id* period,
             trox_time_id* start, trox_time_id* stop);
    /// The same for 2024 files.
    int Init2024(const char* list_file, std::vector<trox_sprop*>* props, int debug, trox_time_id_2024* period,
                 trox_time_id_2024* start, trox_time_id_2024* stop);
    /// Reads the next event. 0, -1 before Init, -2 no more events.
    int GetData();
    void Clean();

    int GetStatus() const; ///< 1 after Init
    int GetNfile() const;
    int GetNprop() const;
    int GetDebug() const;
    const char* GetFileName() const; ///< of the list file
    std::vector<std::string>* GetFiles() const;
    std::vector<trox_sprop*>* GetLprop() const;
    // A range of the front end's own. Init hands the caller's straight to the readers: null.
    trox_time_id* GetPeriod() const;
    trox_time_id* GetStart() const;
    trox_time_id* GetStop() const;
    trox_time_id_2024* GetPeriod_2024() const;
    trox_time_id_2024* GetStart_2024() const;
    trox_time_id_2024* GetStop_2024() const;
    // The present records and the readers; null where there are none.
    trox_daq_getdata::records* GetRes() const;
    trox_daq_getdata::records_2024* GetRes_2024() const;
    trox_daq_reader* GetReader() const;
    trox_daq_reader_2010* GetReader_2010() const;
    trox_daq_reader_2024* GetReader_2024() const;

    // --- printing, on standard output; of the present event, by class of channel -----------------

    void PrintFiles() const;
    void PrintProp() const;
    void PrintHeader() const;
    void PrintFast() const;
    void PrintNameVal() const;
    void PrintSlow() const;
    void PrintImage() const;
    void PrintAll() const;

private:
    template <class Wording, class TimeId> int set_range(TimeId* period, TimeId* start, TimeId* stop);
    template <class Wording> int add_files(const char* list_file);
    template <class Wording> int add_properties();
    template <class Wording, class TimeId>
    int prepare(const char* list_file, std::vector<trox_sprop*>* props, TimeId* period, TimeId* start, TimeId* stop);
    template <class Wording, class Call> int call_readers(const char* what, int code, Call call);
    template <class Print> void for_each_channel(Print print) const;

    int Status = 0;
    int Nfile = 0;
    std::string FileName;
    std::unique_ptr<std::vector<std::string>> Files;
    int Nprop = 0;
    std::vector<trox_sprop*>* Lprop = nullptr;
    int Debug = 0;
    std::unique_ptr<trox_time_id> Period;
    std::unique_ptr<trox_time_id> Start;
    std::unique_ptr<trox_time_id> Stop;
    std::unique_ptr<trox_time_id_2024> Period_2024;
    std::unique_ptr<trox_time_id_2024> Start_2024;
    std::unique_ptr<trox_time_id_2024> Stop_2024;
    std::unique_ptr<trox_daq_reader> Reader;
    std::unique_ptr<trox_daq_reader_2010> Reader_2010;
    std::unique_ptr<trox_daq_reader_2024> Reader_2024;
    std::unique_ptr<trox_daq_getdata::records> Res;
    std::unique_ptr<trox_daq_getdata::records_2024> Res2024;
};

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
